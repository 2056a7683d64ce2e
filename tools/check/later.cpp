#include "check/later.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <chrono>

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

// True if a regular file of this size does not match the list. Entries of other types have no size
// to compare.
bool differs(const ProtectedFile& entry, uint64_t size) {
  const std::string& listed = entry._size;
  if (listed == "-")
    return entry._type != "f" && entry._type != "-";
  uint64_t number = 0;
  const char* const end = listed.data() + listed.size();
  auto const read = std::from_chars(listed.data(), end, number);
  return read.ec != std::errc() || read.ptr != end || number != size;
}

// True if only root can write to a file that matches its entry. Such a file need not be examined
// before its check, which would take a tenth of the time that small files take.
bool isRoots(const ProtectedFile& entry) {
  constexpr unsigned writers = 022;
  const std::string& text = entry._permission;
  unsigned permission = writers;
  (void)std::from_chars(text.data(), text.data() + text.size(), permission, 8);
  return entry._owner == "0" && (permission & writers) == 0;
}

// True if another program has a lease on the regular file. Asking notifies that program, which
// gives the lease up. While `held` is open, nobody can take a lease that prevents reading.
bool isLeased(const std::string& path, Descriptor& held) {
  held = Descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC));
  return held.get() < 0 && errno == EWOULDBLOCK;
}

}  // namespace

bool LateBudget::takes(uint64_t bytes) {
  if (bytes > _bytes)
    return false;
  _bytes -= bytes;
  return true;
}

bool LateBudget::mayWait() {
  using namespace std::chrono;
  int64_t const now = duration_cast<seconds>(steady_clock::now().time_since_epoch()).count();
  int64_t none = 0;
  (void)_end.compare_exchange_strong(none, now + _wait);
  return now < _end.load();
}

Delay delayOf(const ProtectedFile& entry, CHECK_ITEM wanted, Descriptor& held) {
  Delay delay;
  struct stat status = {};
  if ((wanted & CHECK_ITEM_HASH) == 0 || entry._hash == "-" || isRoots(entry) ||
      lstat(entry._path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
    return delay;
  delay.size = static_cast<uint64_t>(status.st_size);
  // Only a file's owner and root can take a lease on it, and root has no need to.
  if (status.st_uid != 0 && isLeased(entry._path, held))
    delay.reason = Delay::Reason::LEASE;
  else if (differs(entry, delay.size))
    delay.reason = Delay::Reason::SIZE;
  return delay;
}

std::string reasonOf(const Delay& delay) {
  if (delay.reason == Delay::Reason::LEASE)
    return "another program holds a lease on it";
  return "its size of " + std::to_string(delay.size) +
         " bytes differs from the one in its entry and is too large to read";
}

}  // namespace tool
