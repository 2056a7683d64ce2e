// The file of metrics that a check leaves for node_exporter's textfile collector.

#ifndef ZEMO_TOOLS_CHECK_METRICS_H
#define ZEMO_TOOLS_CHECK_METRICS_H

#include <string>
#include <vector>

#include "check/metrics_text.h"

namespace tool {

// Puts the file in the place of the one that the run before has left, from which the times of the
// last clean runs are taken over. Everybody may read it. Throws Failure if it cannot be written, or
// if there is something else than a regular file; what is there then stays.
void writeMetrics(const std::string& file, const std::string& mode, std::vector<SetRun> runs);

}  // namespace tool

#endif
