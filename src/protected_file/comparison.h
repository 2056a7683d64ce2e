// What the comparison of a file with its entry is made of.

#ifndef ZEMO_SELFCHECK_SRC_PROTECTED_FILE_COMPARISON_H
#define ZEMO_SELFCHECK_SRC_PROTECTED_FILE_COMPARISON_H

#include <sys/stat.h>
#include <zemo/selfcheck/protected_file.h>

#include <string>

namespace ZEMO::SELF_CHECK {

// The one-letter name of a file's type, as check lists write it.
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

// A number as text: what printf would print, at most 63 bytes of it. C formats and not streams,
// because streams follow the C++ locale that the process has set, which may group digits.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...);

// A column that reads "-" is not compared; any other text is, the empty one included.
inline bool isChecked(const std::string& column) {
  return column != "-";
}

// Appends a record to the entry's errors and sets `changed`.
void recordMismatch(ProtectedFile& entry, bool& changed, CHECK_ERROR kind, std::string expected,
                    std::string actual);

// All of check() that the metadata `st` tells of, which is all but the content.
void compareMetadata(ProtectedFile& entry, const struct stat& st, CHECK_ITEM items, bool& changed);

// Like entry.checkHash(st, changed), but true when the comparison was made or there was nothing to
// compare. If the content had to be read, stores in `read` the metadata that what was read has by
// then, which may be another file than the one that `st` tells of.
bool compareContent(ProtectedFile& entry, const struct stat& st, bool& changed, struct stat& read);

}  // namespace ZEMO::SELF_CHECK

#endif
