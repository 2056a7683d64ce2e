#include "gnupg/algorithms.h"

namespace tool {

std::string digestName(int number) {
  switch (number) {
    case 1:
      return "MD5";
    case 2:
      return "SHA1";
    case 3:
      return "RIPEMD160";
    case 8:
      return "SHA256";
    case 9:
      return "SHA384";
    case digestSha512:
      return "SHA512";
    case 11:
      return "SHA224";
    default:
      return "digest " + std::to_string(number);
  }
}

bool isWeakDigest(int number) {
  return number >= 1 && number <= 3;
}

}  // namespace tool
