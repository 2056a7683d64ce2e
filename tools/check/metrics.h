// The file of metrics that a check leaves for node_exporter's textfile collector.

#ifndef ZEMO_TOOLS_CHECK_METRICS_H
#define ZEMO_TOOLS_CHECK_METRICS_H

#include <string>
#include <vector>

#include "check/metrics_text.h"

namespace tool {

// Throws Failure(STATUS_NOT_LOADED) if writeMetrics() could not write to `file` now, or what is
// there is neither empty nor a file of metrics of ours.
void requireMetricsFile(const std::string& file);

// Puts the file in the place of the one that the run before has left, from which the times of the
// last clean runs are taken over. Everybody may read it. Throws as requireMetricsFile() does,
// if that has become so; what is there then stays.
void writeMetrics(const std::string& file, const std::string& mode, std::vector<SetRun> runs);

}  // namespace tool

#endif
