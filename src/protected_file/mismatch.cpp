// The records of mismatches and their text.

#include <zemo/selfcheck/check_error.h>

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <utility>

#include "protected_file/comparison.h"

namespace ZEMO::SELF_CHECK {

std::string formatted(const char* format, ...) {
  char text[64] = "";
  va_list arguments;
  va_start(arguments, format);
  (void)vsnprintf(text, sizeof text, format, arguments);  // cannot fail: plain numbers only
  va_end(arguments);
  return text;
}

void recordMismatch(ProtectedFile& entry, bool& changed, CHECK_ERROR kind, std::string expected,
                    std::string actual) {
  // Owned here until the vector holds it, so that nothing leaks if the vector cannot grow.
  std::unique_ptr<CheckError> error(
      new CheckError{kind, entry._path, std::move(expected), std::move(actual)});
  entry._errors.push_back(error.get());
  (void)error.release();  // the entry deletes it from now on
  changed = true;
}

std::string CheckError::type2String(CHECK_ERROR error) {
  switch (error) {
    case CHECK_ERROR_SIZE:
      return "size";
    case CHECK_ERROR_HASH:
      return "hash";
    case CHECK_ERROR_TYPE:
      return "type";
    case CHECK_ERROR_PERMISSION:
      return "permission";
    case CHECK_ERROR_OWNER:
      return "owner";
    case CHECK_ERROR_GROUP:
      return "group";
    case CHECK_ERROR_NOT_EXIST:
      return "not exist";
    case CHECK_ERROR_UNKNOWN_FILE:
      return "is unknown file";
  }
  return "";  // callers may pass any number
}

std::string CheckError::toString() {
  // The "/" is always added, even after a directory path that ends in one.
  if (_error == CHECK_ERROR_UNKNOWN_FILE)
    return _filePath + "/" + _actual + " " + type2String(_error);
  return _filePath + " " + type2String(_error) + " expect[" + _expected + "] but get[" + _actual +
         "]";
}

}  // namespace ZEMO::SELF_CHECK
