#include "check/estimate.h"

#include <charconv>
#include <string>

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

uint64_t numberIn(const std::string& text) {
  uint64_t number = 0;
  (void)std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

}  // namespace

uint64_t bytesOf(const ProtectedFile& entry, CHECK_ITEM wanted) {
  if ((wanted & CHECK_ITEM_HASH) == 0 || entry._type != "f" || entry._hash == "-")
    return 0;
  return numberIn(entry._size);
}

bool isQuick(const ProtectedFile& entry, CHECK_ITEM wanted) {
  constexpr uint64_t small = 16384;
  if ((wanted & CHECK_ITEM_HASH) == 0 || entry._hash == "-")
    return true;
  if (entry._type == "d")
    return false;  // FIXED, with any number of members
  return entry._type != "f" || (entry._size != "-" && numberIn(entry._size) <= small);
}

uint64_t bytesRead(const ProtectedFile& entry, CHECK_ITEM wanted) {
  uint64_t bytes = bytesOf(entry, wanted);
  for (const CheckError* error : entry._errors) {
    if (error->_error == CHECK_ERROR_NOT_EXIST || error->_error == CHECK_ERROR_TYPE)
      return 0;
    if (error->_error == CHECK_ERROR_SIZE && bytes != 0)
      bytes = numberIn(error->_actual);
  }
  return bytes;
}

}  // namespace tool
