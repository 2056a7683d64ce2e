// The packages that the lists of the fuzzers may belong to, and what binding one does.

#ifndef ZEMO_FUZZ_MODELS_PACKAGE_H
#define ZEMO_FUZZ_MODELS_PACKAGE_H

#include <string>

#include "models/entry.h"

namespace fuzz {

// "demo" has a user, "plain" has none, that of "broken" cannot be found out; no other is installed.
// The library sees them as packages that are installed; the password database knows every user.
void installPackages();

constexpr uint32_t packageUser = 5001;
constexpr uint32_t packageGroup = 5002;

// Binds the package, unless that fails. Returns 0, or the number that the library logs then.
int bind(const std::string& package, Binding& binding);

}  // namespace fuzz

#endif
