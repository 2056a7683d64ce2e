// The one-letter name of a file's type, as check lists write it.

#ifndef ZEMO_SELFCHECK_SRC_PROTECTED_FILE_FILE_TYPE_H
#define ZEMO_SELFCHECK_SRC_PROTECTED_FILE_FILE_TYPE_H

#include <sys/stat.h>

namespace ZEMO::SELF_CHECK {

constexpr char typeLetter(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFREG:
      return 'f';
    case S_IFDIR:
      return 'd';
    case S_IFLNK:
      return 'l';
    case S_IFBLK:
      return 'b';
    case S_IFCHR:
      return 'c';
    case S_IFSOCK:
      return 's';
    case S_IFIFO:
      return 'p';
    default:
      return 'x';
  }
}

}  // namespace ZEMO::SELF_CHECK

#endif
