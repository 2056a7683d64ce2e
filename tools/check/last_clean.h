// Reads the time of the last clean run from the previous metrics file, so that new metrics can
// repeat it.

#ifndef ZEMO_TOOLS_CHECK_LAST_CLEAN_H
#define ZEMO_TOOLS_CHECK_LAST_CLEAN_H

#include <ctime>
#include <string>
#include <string_view>

namespace tool {

// The time in the sample of this set and mode in `content`, which may be any bytes. Returns 0 if
// `content` has no such sample that metricsText() could have written, or if the time is later than
// `now`.
std::time_t lastCleanIn(std::string_view content, const std::string& set, const std::string& mode,
                        std::time_t now, const std::string& root = "");

}  // namespace tool

#endif
