// The metrics of a check in the text format of Prometheus.

#ifndef ZEMO_TOOLS_CHECK_METRICS_TEXT_H
#define ZEMO_TOOLS_CHECK_METRICS_TEXT_H

#include <ctime>
#include <string>
#include <vector>

#include "check/counters.h"
#include "check/set_check.h"

namespace tool {

// True if the set was verified and completely checked, and only accepted mismatches were found.
bool isClean(const SetRun& run);

// All samples of the runs, each of which has its own set; each metric comes with its HELP and TYPE.
// `root` is the directory of another root; if it is empty, no sample has the label.
std::string metricsText(const std::string& mode, const std::vector<SetRun>& runs,
                        const std::string& root = "");

// True if `content` begins like every text of metricsText().
bool isMetricsText(const std::string& content);

// The start of the line with the set's lastClean, up to the value.
std::string lastCleanSample(const std::string& set, const std::string& mode,
                            const std::string& root = "");

}  // namespace tool

#endif
