#include "make/problems.h"

#include "io/exit_status.h"
#include "text/strings.h"

namespace tool {

void Problems::add(const std::string& path, const std::string& reason) {
  std::lock_guard<std::mutex> const lock(_mutex);
  _reasons.emplace(path, inQuotes(path) + " cannot be listed: " + reason);
}

void Problems::cannotRead(const std::string& path, int error) {
  std::lock_guard<std::mutex> const lock(_mutex);
  _reasons.emplace(path, withReason("cannot read " + inQuotes(path), error));
}

void Problems::refuse() {
  std::lock_guard<std::mutex> const lock(_mutex);
  if (_reasons.empty())
    return;
  for (const auto& [path, reason] : _reasons)
    say(reason);
  throw Failure(STATUS_UNCHECKED,
                "no list was written, because of " + counted(_reasons.size(), "file", "files"));
}

}  // namespace tool
