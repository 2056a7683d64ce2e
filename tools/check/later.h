// Files that are read after all others, because those who own them could keep a check busy.

#ifndef ZEMO_TOOLS_CHECK_LATER_H
#define ZEMO_TOOLS_CHECK_LATER_H

#include <zemo/selfcheck.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "io/descriptors.h"

namespace tool {

// Why the content of a file is not compared with those of the others.
struct Delay {
  enum class Reason {
    NONE,
    SIZE,   // it is a regular file of another size than its entry's
    LEASE,  // another program has a lease on it
  };
  Reason reason = Reason::NONE;
  uint64_t size = 0;  // of the file, for SIZE
};

// The limits for all files of a run together that are read after the others.
class LateBudget {
 public:
  static constexpr uint64_t bytesAtAll = uint64_t{1} << 30U;
  static constexpr int64_t longestWait = 60;  // seconds; the kernel ends a lease after 45

  explicit LateBudget(uint64_t bytes = bytesAtAll, int64_t wait = longestWait)
      : _bytes(bytes), _wait(wait) {}

  // Whether this many more bytes may be read; then they count as read. For one thread at a time.
  bool takes(uint64_t bytes);

  // False when all waiting for leases has to end. The first call begins it. Any thread may call it.
  bool mayWait();

 private:
  uint64_t _bytes;
  int64_t _wait;
  std::atomic<int64_t> _end{0};
};

// Looks at the entry's file before its check. Where nothing is to be said of it, or it cannot be
// looked at, or root alone can write to it by its entry, there is no reason. `held` keeps others
// from taking a lease on the file while it lives; root's files need none.
Delay delayOf(const ZEMO::SELF_CHECK::ProtectedFile& entry, ZEMO::SELF_CHECK::CHECK_ITEM wanted,
              Descriptor& held);

// The line for an entry that was not checked for that reason.
std::string notCompared(const std::string& path, const Delay& delay);

}  // namespace tool

#endif
