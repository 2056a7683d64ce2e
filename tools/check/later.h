// Files that are read after all others, because their owners could keep a check busy.

#ifndef ZEMO_TOOLS_CHECK_LATER_H
#define ZEMO_TOOLS_CHECK_LATER_H

#include <zemo/selfcheck.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "io/descriptors.h"

namespace tool {

// The reason why a file's content is not compared together with the others.
struct Delay {
  enum class Reason : uint8_t {
    NONE,
    SIZE,   // a regular file whose size differs from its entry's
    LEASE,  // another program has a lease on it
  };
  Reason reason = Reason::NONE;
  uint64_t size = 0;  // of the file, if the reason is SIZE
};

// The limits on reading late files, for all files of a run together.
class LateBudget {
 public:
  static constexpr uint64_t bytesAtAll = uint64_t{1} << 30U;
  static constexpr int64_t longestWait = 60;  // seconds; the kernel ends a lease after 45

  explicit LateBudget(uint64_t bytes = bytesAtAll, int64_t wait = longestWait)
      : _bytes(bytes), _wait(wait) {}

  // Returns true if this many more bytes may be read, and counts them as read. For one thread at a
  // time.
  bool takes(uint64_t bytes);

  // Returns false once all waiting for leases must end. The first call starts the time. Any thread
  // may call this.
  bool mayWait();

 private:
  uint64_t _bytes;
  int64_t _wait;
  std::atomic<int64_t> _end{0};
};

// Examines the entry's file before its check. There is no reason for a delay if nothing is wrong,
// the file cannot be examined, or its entry lets only root write to it. `held` keeps others from
// taking a lease on the file as long as it exists; files of root need none.
Delay delayOf(const ZEMO::SELF_CHECK::ProtectedFile& entry, ZEMO::SELF_CHECK::CHECK_ITEM wanted,
              Descriptor& held);

// Why a file whose content was not compared for this reason was not read.
std::string reasonOf(const Delay& delay);

}  // namespace tool

#endif
