// The meaning of an entry line, column by column.

#ifndef ZEMO_FUZZ_MODELS_ENTRY_H
#define ZEMO_FUZZ_MODELS_ENTRY_H

#include <zemo/selfcheck/protected_file.h>

#include <array>
#include <cstdint>
#include <string>

namespace fuzz {

// The values of the placeholders.
struct Binding {
  bool isSet = false;
  uint32_t uid = 0;
  uint32_t gid = 0;
  std::string directory;
};

using Columns = std::array<std::string, 7>;

Columns columnsOf(const std::string& line, const Binding& binding);

// The columns of the library's entry.
Columns columnsOf(const ZEMO::SELF_CHECK::ProtectedFile& entry);

}  // namespace fuzz

#endif
