// The parts of comparing a file with its entry.

#ifndef ZEMO_SELFCHECK_SRC_PROTECTED_FILE_COMPARISON_H
#define ZEMO_SELFCHECK_SRC_PROTECTED_FILE_COMPARISON_H

#include <sys/stat.h>
#include <zemo/selfcheck/protected_file.h>

#include <string>

namespace ZEMO::SELF_CHECK {

// The letter for a file's type in check lists.
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

// Formats a number as printf() would, at most 63 bytes. Not a stream, because streams follow the
// process's C++ locale, which may group digits.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...);

// A column "-" is not compared; any other text is, even the empty one.
inline bool isChecked(const std::string& column) {
  return column != "-";
}

// Appends a record to the entry's errors and sets `changed`.
void recordMismatch(ProtectedFile& entry, bool& changed, CHECK_ERROR kind, std::string expected,
                    std::string actual);

// The part of check() that needs only the metadata `st`: everything but the content.
void compareMetadata(ProtectedFile& entry, const struct stat& st, CHECK_ITEM items, bool& changed);

// Like entry.checkHash(st, changed), but returns true if the comparison was made or there was
// nothing to compare. If the content had to be read, stores in `read` the metadata of the file that
// was read, as of the end of reading. It may be another file than the one that `st` describes.
bool compareContent(ProtectedFile& entry, const struct stat& st, bool& changed, struct stat& read);

}  // namespace ZEMO::SELF_CHECK

#endif
