// Comparing an entry with the file on disk.

#include <sys/stat.h>
#include <zemo/selfcheck/protected_file.h>

#include <cstddef>

#include "protected_file/comparison.h"

namespace ZEMO::SELF_CHECK {
namespace {

bool isSame(const struct stat& a, const struct stat& b) {
  return a.st_mode == b.st_mode && a.st_uid == b.st_uid && a.st_gid == b.st_gid &&
         a.st_size == b.st_size;
}

}  // namespace

bool ProtectedFile::check(bool& changed, CHECK_ITEM items) {
  struct stat st = {};
  if (lstat(_path.c_str(), &st) != 0) {
    recordMismatch(*this, changed, CHECK_ERROR_NOT_EXIST, "", "");
    return true;
  }
  std::size_t const records = _errors.size();
  compareMetadata(*this, st, items, changed);
  if ((items & CHECK_ITEM_HASH) == 0)
    return true;

  struct stat read = st;
  bool const compared = compareContent(*this, st, changed, read);
  // The file with the right metadata may have been replaced by another with the right content; then
  // neither was intact.
  if (_errors.size() == records && !isSame(st, read))
    compareMetadata(*this, read, items, changed);
  return compared;
}

bool ProtectedFile::checkHash(const struct stat& st, bool& changed) {
  struct stat read = {};
  return !compareContent(*this, st, changed, read);
}

ProtectedFile::~ProtectedFile() {
  for (CheckError*& error : _errors) {
    delete error;
    error = nullptr;
  }
}

}  // namespace ZEMO::SELF_CHECK
