// The metrics of a check in the text format of Prometheus.

#ifndef ZEMO_TOOLS_CHECK_METRICS_TEXT_H
#define ZEMO_TOOLS_CHECK_METRICS_TEXT_H

#include <ctime>
#include <string>
#include <vector>

#include "check/counters.h"
#include "check/set_check.h"

namespace tool {

// Verified, checked as a whole, and nothing found but what is accepted.
bool isClean(const SetRun& run);

// All samples of the runs, which are of different sets; each metric with its HELP and TYPE.
std::string metricsText(const std::string& mode, const std::vector<SetRun>& runs);

// `content` begins as all texts of metricsText() do.
bool isMetricsText(const std::string& content);

// The start of the line that holds the set's lastClean, up to the value.
std::string lastCleanSample(const std::string& set, const std::string& mode);

}  // namespace tool

#endif
