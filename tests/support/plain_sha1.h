// SHA-1 written out from its definition: another way to the same digest than the library's.

#ifndef ZEMO_TESTS_SUPPORT_PLAIN_SHA1_H
#define ZEMO_TESTS_SUPPORT_PLAIN_SHA1_H

#include <string>

// The digest of `content` as 40 lower-case hexadecimal digits.
std::string plainSha1(std::string content);

#endif
