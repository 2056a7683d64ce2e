// The files of a set as `doctor` has read them.

#ifndef ZEMO_TOOLS_DOCTOR_SET_FILES_H
#define ZEMO_TOOLS_DOCTOR_SET_FILES_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sets/list_file.h"

namespace tool {

struct SetFiles {
  std::string set;
  std::string mode;
  std::string directory;
  std::vector<std::string> lists;                    // paths, in reading order
  std::vector<std::optional<ListFile>> contents;     // of each list, if readable
  std::vector<std::string> orderLines;               // of `listorder`
  std::map<std::string, std::size_t> orderPosition;  // orderPositions() of these lines
  std::optional<uint64_t> acceptedSerial;            // the highest of a manifest so far, if known
};

}  // namespace tool

#endif
