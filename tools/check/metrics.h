// The metrics file that a check writes for node_exporter's textfile collector.

#ifndef ZEMO_TOOLS_CHECK_METRICS_H
#define ZEMO_TOOLS_CHECK_METRICS_H

#include <string>
#include <vector>

#include "check/metrics_text.h"

namespace tool {

// Throws Failure(STATUS_NOT_LOADED) if writeMetrics() could not write to `file` now, or if the
// existing file is neither empty nor a metrics file of this program.
void requireMetricsFile(const std::string& file);

// Replaces the file of the previous run and carries over its times of last clean runs. The new file
// is readable by everybody. Throws as requireMetricsFile() does if its conditions no longer hold;
// the existing file then stays.
void writeMetrics(const std::string& file, const std::string& mode, std::vector<SetRun> runs,
                  const std::string& root = "");

}  // namespace tool

#endif
