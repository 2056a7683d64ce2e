#include <stdio.h>
#include <zemo/selfcheck/self_check_files.h>

int main(void) {
  int result = SelfCheckFiles(NULL, NULL);
  printf("SelfCheckFiles %d\n", result);
  return result == -1 ? 0 : 1;
}
