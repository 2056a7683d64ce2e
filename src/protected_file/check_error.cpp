#include <zemo/selfcheck/check_error.h>

namespace ZEMO::SELF_CHECK {

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
  return "";  // a caller can ask for any number
}

std::string CheckError::toString() {
  // The "/" is always written, even behind a directory path that ends in one.
  if (_error == CHECK_ERROR_UNKNOWN_FILE)
    return _filePath + "/" + _actual + " " + type2String(_error);
  return _filePath + " " + type2String(_error) + " expect[" + _expected + "] but get[" + _actual +
         "]";
}

}  // namespace ZEMO::SELF_CHECK
