// What a file of metrics says of the last clean run, which the next one goes on to say.

#ifndef ZEMO_TOOLS_CHECK_LAST_CLEAN_H
#define ZEMO_TOOLS_CHECK_LAST_CLEAN_H

#include <ctime>
#include <string>
#include <string_view>

namespace tool {

// The time in the sample of this set and mode in `content`, any bytes; 0 if there is none that
// metricsText() could have written, or it is later than `now`.
std::time_t lastCleanIn(std::string_view content, const std::string& set, const std::string& mode,
                        std::time_t now);

}  // namespace tool

#endif
