#include "engine/target.h"

#include <cstdlib>

namespace fuzz {

std::map<std::string, Run>& targets() {
  static std::map<std::string, Run> all;
  return all;
}

void needPrivateRoot() {
  // Verified once per process, before a target empties a directory that could belong to the
  // machine.
  // NOLINTNEXTLINE(cert-env33-c): the command is a constant; only the script can prove this.
  static bool const proved = std::system(ZEMO_PRIVATE_ROOT_SCRIPT " --verify 2>/dev/null") == 0;
  if (!proved)
    throw NoPrivateRoot();
}

}  // namespace fuzz
