/*
 * The exported function, called from C. Checks the paths given as arguments and prints the returned
 * value, then one hexadecimal result per line. Before the call, every result is ffffffff.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <zemo/core.h>
#include <zemo/selfcheck/self_check_files.h>

static void printFlags(const SELFCHECK_RESULT* result) {
  uint32_t mask = 0;
  memcpy(&mask, result, sizeof mask);
  printf("%x%s%s\n", (unsigned int)mask, result->notExist ? " missing" : "",
         result->notListed ? " unlisted" : "");
}

int main(int argc, char** argv) {
  int const count = argc - 1;
  SELFCHECK_RESULT* const results = malloc(((size_t)count + 1) * sizeof *results);
  VLIBSzList* paths = VLIBSzListAlloc(count);
  if (results == NULL || paths == NULL)
    return EXIT_FAILURE;
  memset(results, 0xff, ((size_t)count + 1) * sizeof *results);
  for (int i = 0; i < count; ++i) {
    if (VLIBSzListPush(&paths, argv[1 + i]) < 0)
      return EXIT_FAILURE;
  }

  printf("%d\n", SelfCheckFiles(paths, results));
  for (int i = 0; i < count; ++i)
    printFlags(&results[i]);

  VLIBSzListFree(paths);
  free(results);
  return EXIT_SUCCESS;
}
