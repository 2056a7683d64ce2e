// Digest algorithms by their numbers in signatures.

#ifndef ZEMO_TOOLS_GNUPG_ALGORITHMS_H
#define ZEMO_TOOLS_GNUPG_ALGORITHMS_H

#include <string>

namespace tool {

constexpr int digestUnknown = 0;
constexpr int digestSha512 = 10;

// The name, such as "SHA512"; "digest NUMBER" for an algorithm that has no name here.
std::string digestName(int number);

// True if collisions can be made: MD5, SHA-1, RIPEMD-160.
bool isWeakDigest(int number);

}  // namespace tool

#endif
