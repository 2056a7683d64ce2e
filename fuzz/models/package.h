// The packages that the fuzzers' lists may belong to, and the effect of binding one.

#ifndef ZEMO_FUZZ_MODELS_PACKAGE_H
#define ZEMO_FUZZ_MODELS_PACKAGE_H

#include <string>

#include "models/entry.h"

namespace fuzz {

// "demo" has a user, "plain" has none, and that of "broken" cannot be determined; no other package
// is installed. The library sees these packages as installed; the password database knows every
// user.
void installPackages();

constexpr uint32_t packageUser = 5001;
constexpr uint32_t packageGroup = 5002;

// Binds the package, unless that fails. Returns 0, or the number of the library's log line.
int bind(const std::string& package, Binding& binding);

}  // namespace fuzz

#endif
