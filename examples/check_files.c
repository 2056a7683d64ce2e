/* Checks the named files against the system's own lists: check_files PATH... */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>
#include <zemo/selfcheck/self_check_files.h>

int main(int argc, char** argv) {
  openlog("check_files", LOG_PERROR, LOG_USER); /* also show the library's log lines here */
  VLIBSzList* paths = VLIBSzListAlloc(argc);
  SELFCHECK_RESULT* results = calloc((size_t)argc, sizeof *results);
  for (int i = 1; i < argc; i++)
    if (VLIBSzListPush(&paths, argv[i]) < 0)
      exit(2);
  if (SelfCheckFiles(paths, results) != 0) {
    (void)fputs("check_files: nothing was established; the system log says why\n", stderr);
    exit(2);
  }
  for (int i = 1; i < argc; i++) {
    uint32_t flags;
    memcpy(&flags, &results[i - 1], sizeof flags);
    printf("%s: 0x%03x%s%s%s\n", argv[i], flags, flags == 0 ? " intact" : "",
           results[i - 1].notListed ? " not listed" : "",
           results[i - 1].inFixedDir ? ", in a directory with fixed members" : "");
  }
  free(results);
  VLIBSzListFree(paths);
  return 0;
}
