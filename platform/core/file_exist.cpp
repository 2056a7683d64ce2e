#include <sys/stat.h>
#include <zemo/core.h>

int VLIBFileExist(const char* path) {
  struct stat st;
  return path != nullptr && stat(path, &st) == 0 ? 1 : 0;
}
