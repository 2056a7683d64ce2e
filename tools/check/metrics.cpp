#include "check/metrics.h"

#include <sys/stat.h>

#include <optional>

#include "check/last_clean.h"
#include "io/atomic_file.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"

namespace tool {
namespace {

// Metrics files of this program are never larger.
constexpr std::size_t largest = std::size_t{16} << 20U;

// Refuses a device, which may have side effects when opened, and a link, whose target would not
// change.
void refuseIrregular(const std::string& file) {
  struct stat status = {};
  if (lstat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
    throw Failure(STATUS_NOT_LOADED,
                  "cannot replace " + inQuotes(file) + ": it is not a regular file");
}

// The old file's content; empty if there is none or it is too large. Throws if the new file must
// not replace it, because the user named an unrelated file.
std::string contentBefore(const Directory& directory, const std::string& file) {
  refuseIrregular(file);
  std::optional<RegularFile> const old = RegularFile::ifThere(directory, file);
  if (!old)
    return "";
  std::string content = old->content(largest);
  if (!content.empty() && !isMetricsText(content))
    throw Failure(STATUS_NOT_LOADED, "cannot replace " + inQuotes(file) +
                                         ": it is not a metrics file of this program");
  return old->status().st_size > static_cast<off_t>(largest) ? "" : content;
}

}  // namespace

void requireMetricsFile(const std::string& file) {
  refuseIrregular(file);  // first, for the right reason where the directory is not writable
  Directory const directory(directoryOf(file));
  AtomicFile const probe(directory, file, 0644);
  (void)contentBefore(directory, file);
}

void writeMetrics(const std::string& file, const std::string& mode, std::vector<SetRun> runs,
                  const std::string& root) {
  Directory const directory(directoryOf(file));
  AtomicFile written(directory, file, 0644);
  std::string const before = contentBefore(directory, file);
  for (SetRun& run : runs)
    run.lastClean = isClean(run) ? run.ended : lastCleanIn(before, run.set, mode, run.ended, root);
  written.write(metricsText(mode, runs, root));
  written.commit();
}

}  // namespace tool
