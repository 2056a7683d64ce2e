// Numbers as the columns of a list state them.

#ifndef ZEMO_FUZZ_MODELS_NUMBER_H
#define ZEMO_FUZZ_MODELS_NUMBER_H

#include <cstdint>
#include <string>

namespace fuzz {

// Blanks, a sign, then digits up to what is none; without any, 0. What a 64-bit number cannot hold
// is the nearest that it can.
int64_t signedNumberOf(const std::string& text);

// The same without sign: behind a minus, the number is subtracted from 2 to the 64th power.
uint64_t unsignedNumberOf(const std::string& text, unsigned base);

}  // namespace fuzz

#endif
