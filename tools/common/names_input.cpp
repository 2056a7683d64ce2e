#include "common/names_input.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "common/descriptors.h"
#include "common/failure.h"

namespace tool {

std::vector<std::string> readNames(const std::string& from, bool nul) {
  Descriptor file;
  if (from != "-")
    file = Descriptor(open(from.c_str(), O_RDONLY | O_CLOEXEC));
  int const descriptor = from == "-" ? STDIN_FILENO : file.get();
  if (descriptor < 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot open " + inQuotes(from), errno));
  std::vector<std::string> names;
  std::string name;
  std::array<char, 65536> buffer{};
  for (;;) {
    ssize_t const length = read(descriptor, buffer.data(), buffer.size());
    if (length < 0 && errno == EINTR)
      continue;
    if (length < 0)
      throw Failure(STATUS_NOT_LOADED, withReason("cannot read " + inQuotes(from), errno));
    for (ssize_t i = 0; i < length; ++i) {
      char const c = buffer.at(static_cast<std::size_t>(i));
      if (c != (nul ? '\0' : '\n')) {
        name += c;
      } else if (!name.empty()) {
        names.push_back(std::move(name));
        name.clear();
      }
    }
    if (length == 0)
      break;
  }
  if (!name.empty())
    names.push_back(std::move(name));
  return names;
}

}  // namespace tool
