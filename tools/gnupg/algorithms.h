// Digest algorithms by the numbers that signatures have for them.

#ifndef ZEMO_TOOLS_GNUPG_ALGORITHMS_H
#define ZEMO_TOOLS_GNUPG_ALGORITHMS_H

#include <string>

namespace tool {

constexpr int digestUnknown = 0;
constexpr int digestSha512 = 10;

// "SHA512"; "digest NUMBER" for one that has no name here.
std::string digestName(int number);

// Two texts with one digest can be made: MD5, SHA-1, RIPEMD-160.
bool isWeakDigest(int number);

}  // namespace tool

#endif
