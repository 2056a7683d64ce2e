#include "support/target.h"

#include <cstdlib>

namespace fuzz {

std::map<std::string, Run>& targets() {
  static std::map<std::string, Run> all;
  return all;
}

bool inPrivateRoot() {
  const char* const where = getenv("ZEMO_PRIVATE_ROOT");
  return where != nullptr && std::string(where) == "yes";
}

}  // namespace fuzz
