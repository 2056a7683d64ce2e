// What is fuzzed: a function of an input, which ends the process where the code under test does not
// do what a plain model of it does. Targets register themselves; a fuzzer holds one, the replay
// all.

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

// For targets that write to the library's constant directories: throws NoPrivateRoot where these
// are the machine's (see scripts/private-root).
void needPrivateRoot();

}  // namespace fuzz

#endif
