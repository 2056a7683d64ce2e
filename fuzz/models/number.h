// Numbers in the columns of a list.

#ifndef ZEMO_FUZZ_MODELS_NUMBER_H
#define ZEMO_FUZZ_MODELS_NUMBER_H

#include <cstdint>
#include <string>

namespace fuzz {

// Blanks, a sign, then digits up to another character; 0 without digits. Values that do not fit
// into 64 bits become the nearest that does.
int64_t signedNumberOf(const std::string& text);

// The same for unsigned numbers: after a minus, the number is subtracted from 2 to the 64th power.
uint64_t unsignedNumberOf(const std::string& text, unsigned base);

}  // namespace fuzz

#endif
