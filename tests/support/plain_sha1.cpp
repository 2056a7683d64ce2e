#include "support/plain_sha1.h"

#include <array>
#include <cstdint>
#include <cstdio>

namespace {

uint32_t rotated(uint32_t word, int bits) {
  return word << bits | word >> (32 - bits);
}

using State = std::array<uint32_t, 5>;

void addBlock(State& state, const char* block) {
  uint32_t words[80];
  for (int i = 0; i < 16; ++i) {
    words[i] = 0;
    for (int byte = 0; byte < 4; ++byte)
      words[i] = words[i] << 8 | static_cast<unsigned char>(block[4 * i + byte]);
  }
  for (int i = 16; i < 80; ++i)
    words[i] = rotated(words[i - 3] ^ words[i - 8] ^ words[i - 14] ^ words[i - 16], 1);

  auto [a, b, c, d, e] = state;
  for (int i = 0; i < 80; ++i) {
    uint32_t mixed = 0;
    if (i < 20)
      mixed = ((b & c) | (~b & d)) + 0x5a827999;
    else if (i < 40)
      mixed = (b ^ c ^ d) + 0x6ed9eba1;
    else if (i < 60)
      mixed = ((b & c) | (b & d) | (c & d)) + 0x8f1bbcdc;
    else
      mixed = (b ^ c ^ d) + 0xca62c1d6;
    uint32_t const next = rotated(a, 5) + mixed + e + words[i];
    e = d;
    d = c;
    c = rotated(b, 30);
    b = a;
    a = next;
  }
  state = {state[0] + a, state[1] + b, state[2] + c, state[3] + d, state[4] + e};
}

}  // namespace

std::string plainSha1(std::string content) {
  uint64_t const bits = 8 * static_cast<uint64_t>(content.size());
  content += '\x80';
  while (content.size() % 64 != 56)
    content += '\0';
  for (int shift = 56; shift >= 0; shift -= 8)
    content += static_cast<char>(bits >> shift);

  State state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476, 0xc3d2e1f0};
  for (size_t at = 0; at < content.size(); at += 64)
    addBlock(state, content.data() + at);

  std::string digest;
  for (uint32_t const word : state) {
    char digits[9];
    (void)snprintf(digits, sizeof digits, "%08x", word);
    digest += digits;
  }
  return digest;
}
