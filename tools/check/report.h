// How a check tells what it finds. There is one kind of report for people and two for programs.

#ifndef ZEMO_TOOLS_CHECK_REPORT_H
#define ZEMO_TOOLS_CHECK_REPORT_H

#include <zemo/selfcheck.h>

#include <memory>
#include <string>
#include <vector>

#include "check/counters.h"

namespace tool {

// What is going to be checked.
struct CheckPlan {
  std::vector<std::string> sets;
  std::string mode;
  ZEMO::SELF_CHECK::CHECK_ITEM items;
};

// One mismatch; the record belongs to its entry.
struct Finding {
  ZEMO::SELF_CHECK::CheckError* error;
  bool accepted;
};

// One thread calls these: begin(), then for each set in turn either notLoaded(), or mismatches()
// and unchecked() in the order of paths, then end().
class CheckReport {
 public:
  CheckReport() = default;
  virtual ~CheckReport() = default;
  CheckReport(const CheckReport&) = delete;
  CheckReport& operator=(const CheckReport&) = delete;

  virtual void begin(const CheckPlan& /*plan*/) {}
  virtual void notLoaded(const std::string& /*set*/) {}
  // The entry at `path` has these, one at least.
  virtual void mismatches(const std::string& /*set*/, const std::string& /*path*/,
                          const std::vector<Finding>& /*findings*/) {}
  // The check of the entry at `path` could not be carried out; `log` is what the library said of
  // it.
  virtual void unchecked(const std::string& /*set*/, const std::string& /*path*/,
                         const std::vector<std::string>& /*log*/) {}
  // `status` is the exit status of the program.
  virtual void end(const Counters& /*counters*/, int /*status*/) {}
};

// Every mismatch as the library words it, one a line, and a summary; in colour on a terminal,
// unless the variable NO_COLOR is set. With `nul` lines end by a zero byte and names are written as
// they are.
std::unique_ptr<CheckReport> textReport(bool nul);

// The paths of what is not accepted, one a line. `nul` as above.
std::unique_ptr<CheckReport> pathsReport(bool nul);

// One JSON object a line; share/zemoselfcheck/check.schema.json says of what form.
std::unique_ptr<CheckReport> jsonReport();

}  // namespace tool

#endif
