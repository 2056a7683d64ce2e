#include "check/metrics.h"

#include <sys/stat.h>

#include <cerrno>

#include "check/last_clean.h"
#include "common/atomic_file.h"
#include "common/failure.h"
#include "common/regular_file.h"

namespace tool {
namespace {

// No file of ours is larger.
constexpr off_t largest = off_t{16} << 20U;

// The old file; empty if there is none, or none that could be ours. Throws if the new one must not
// take its place: somebody named a device, or a link whose target would not change.
std::string contentBefore(const std::string& file) {
  struct stat status = {};
  if (lstat(file.c_str(), &status) != 0)
    return "";  // if it is more than missing, writing will tell
  if (!S_ISREG(status.st_mode))
    throw Failure(STATUS_UNCHECKED,
                  "cannot replace " + inQuotes(file) + ": it is not a regular file");
  if (status.st_size > largest)
    return "";
  try {
    return readWholeFile(file);
  } catch (const Failure&) {
    return "";
  }
}

}  // namespace

void writeMetrics(const std::string& file, const std::string& mode, std::vector<SetRun> runs) {
  std::string const before = contentBefore(file);
  for (SetRun& run : runs)
    run.lastClean = isClean(run) ? run.ended : lastCleanIn(before, run.set, mode, run.ended);
  AtomicFile written(file, 0644);
  written.write(metricsText(mode, runs));
  written.commit();
}

}  // namespace tool
