// A target: a function that takes an input and ends the process if the code under test behaves
// differently from a plain model. Targets register themselves; a fuzzer contains one, the replay
// program all of them.

#ifndef ZEMO_FUZZ_ENGINE_TARGET_H
#define ZEMO_FUZZ_ENGINE_TARGET_H

#include <map>
#include <string>

#include "engine/input.h"

namespace fuzz {

using Run = void (*)(Input input);

std::map<std::string, Run>& targets();

struct Target {
  Target(const char* name, Run run) { targets().emplace(name, run); }
};

struct NoPrivateRoot {};

// For targets that write to the library's constant directories: throws NoPrivateRoot if these are
// the real ones (see scripts/private-root).
void needPrivateRoot();

}  // namespace fuzz

#endif
