#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "check/report.h"
#include "io/descriptors.h"
#include "text/escape.h"

namespace tool {
namespace {

const char* const red = "\x1b[31m";
const char* const green = "\x1b[32m";
const char* const yellow = "\x1b[33m";
const char* const plain = "\x1b[0m";

bool wantsColour() {
  const char* const no = getenv("NO_COLOR");
  const char* const terminal = getenv("TERM");
  return isatty(STDOUT_FILENO) == 1 && (no == nullptr || *no == '\0') && terminal != nullptr &&
         strcmp(terminal, "dumb") != 0;
}

class TextReport : public CheckReport {
 public:
  explicit TextReport(bool nul) : _nul(nul), _colour(wantsColour()) {}

  void begin(const CheckPlan& plan) override { _named = plan.sets.size() > 1; }

  void mismatches(const std::string& set, const std::string& /*path*/,
                  const std::vector<Finding>& findings) override {
    for (const Finding& finding : findings) {
      std::string const text = before(set) + finding.error->toString();
      if (finding.accepted)
        line(yellow, text, " (accepted)");
      else
        line(red, text, "");
    }
  }

  void unchecked(const std::string& set, const std::string& path,
                 const std::vector<std::string>& /*log*/, const std::string& reason) override {
    line(red, before(set) + path, " could not be checked" + (reason.empty() ? "" : ": " + reason));
  }

  void end(const Counters& counters, int status) override {
    line(status == 0 ? green : red, summaryLine(counters), "");
  }

 private:
  // The names of sets have no slash, so the path begins at the first one.
  std::string before(const std::string& set) const { return _named ? set + ": " : ""; }

  void line(const char* colour, const std::string& text, const std::string& after) const {
    std::string whole = _colour ? colour : "";
    whole += _nul ? text : escaped(text);
    whole += after;
    whole += _colour ? plain : "";
    whole += _nul ? '\0' : '\n';
    writeOut(whole);
  }

  bool _nul;
  bool _colour;
  bool _named = false;  // lines begin with the set's name
};

}  // namespace

std::unique_ptr<CheckReport> textReport(bool nul) {
  return std::make_unique<TextReport>(nul);
}

}  // namespace tool
