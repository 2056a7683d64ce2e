#include "check/last_clean.h"

#include <charconv>

#include "check/metrics_text.h"
#include "text/strings.h"

namespace tool {

std::time_t lastCleanIn(std::string_view content, const std::string& set, const std::string& mode,
                        std::time_t now, const std::string& root) {
  std::string const start = lastCleanSample(set, mode, root);
  while (!content.empty()) {
    std::size_t const end = content.find('\n');
    if (end == std::string_view::npos)
      return 0;  // we write whole lines
    std::string_view value = content.substr(0, end);
    content.remove_prefix(end + 1);
    if (!startsWith(value, start))
      continue;
    value.remove_prefix(start.size());
    std::time_t time = 0;
    (void)std::from_chars(value.data(), value.data() + value.size(), time);
    bool const ours = time > 0 && time <= now && std::to_string(time) == value;
    return ours ? time : 0;
  }
  return 0;
}

}  // namespace tool
