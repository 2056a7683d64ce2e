// How a check reports its findings: one kind of report for people and two for programs.

#ifndef ZEMO_TOOLS_CHECK_REPORT_H
#define ZEMO_TOOLS_CHECK_REPORT_H

#include <zemo/selfcheck.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "check/counters.h"
#include "sets/manifest_check.h"

namespace tool {

// The sets, mode and items to check.
struct CheckPlan {
  std::vector<std::string> sets;
  std::string mode;
  ZEMO::SELF_CHECK::CHECK_ITEM items;
  std::optional<std::string> root = {};   // --root
  std::optional<std::string> lists = {};  // --lists
};

// One mismatch; the entry owns the record.
struct Finding {
  ZEMO::SELF_CHECK::CheckError* error;
  bool accepted;
  std::string unsearchable =
      {};  // of a missing file: the directory that may not be searched, or empty
};

// One thread calls these: begin(), then for each set in turn manifest(), if one is required and the
// lists could be loaded, and either notLoaded(), or mismatches() and unchecked() in path order,
// then end().
class CheckReport {
 public:
  CheckReport() = default;
  virtual ~CheckReport() = default;
  CheckReport(const CheckReport&) = delete;
  CheckReport& operator=(const CheckReport&) = delete;

  virtual void begin(const CheckPlan& /*plan*/) {}
  virtual void manifest(const std::string& /*set*/, const ManifestCheck& /*check*/) {}
  virtual void notLoaded(const std::string& /*set*/, const std::string& /*reason*/) {}
  // The mismatches of the entry at `path`, at least one.
  virtual void mismatches(const std::string& /*set*/, const std::string& /*path*/,
                          const std::vector<Finding>& /*findings*/) {}
  // The entry at `path` could not be checked; `log` holds what the library logged about it, and
  // `reason` says why, if that is known.
  virtual void unchecked(const std::string& /*set*/, const std::string& /*path*/,
                         const std::vector<std::string>& /*log*/, const std::string& /*reason*/) {}
  // `status` is the program's exit status.
  virtual void end(const Counters& /*counters*/, int /*status*/) {}
};

// Prints every mismatch in the library's words, one per line, after the set's name if there are
// several sets, and a summary; in colour on a terminal unless the variable NO_COLOR is set. With
// `nul`, lines end with a zero byte and names are not escaped.
std::unique_ptr<CheckReport> textReport(bool nul);

// Prints the paths with mismatches that are not accepted, one per line. `nul` as above.
std::unique_ptr<CheckReport> pathsReport(bool nul);

// Prints one JSON object per line; share/zemoselfcheck/check.schema.json defines its form.
std::unique_ptr<CheckReport> jsonReport();

}  // namespace tool

#endif
