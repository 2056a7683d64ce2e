// SHA-1 written from its definition, independent of the library's implementation.

#ifndef ZEMO_TESTS_SUPPORT_PLAIN_SHA1_H
#define ZEMO_TESTS_SUPPORT_PLAIN_SHA1_H

#include <string>

// The digest of `content` as 40 lower-case hexadecimal digits.
std::string plainSha1(std::string content);

#endif
