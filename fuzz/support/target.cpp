#include "support/target.h"

#include <cstdlib>

namespace fuzz {

std::map<std::string, Run>& targets() {
  static std::map<std::string, Run> all;
  return all;
}

void needPrivateRoot() {
  const char* const where = getenv("ZEMO_PRIVATE_ROOT");
  if (where == nullptr || std::string(where) != "yes")
    throw NoPrivateRoot();
}

}  // namespace fuzz
