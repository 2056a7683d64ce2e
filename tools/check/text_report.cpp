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

  void mismatches(const std::string& /*set*/, const std::string& /*path*/,
                  const std::vector<Finding>& findings) override {
    for (const Finding& finding : findings) {
      std::string const text = finding.error->toString();
      if (finding.accepted)
        line(yellow, text, " (accepted)");
      else
        line(red, text, "");
    }
  }

  void unchecked(const std::string& /*set*/, const std::string& path,
                 const std::vector<std::string>& /*log*/) override {
    line(red, path, " could not be checked");
  }

  void end(const Counters& counters, int status) override {
    line(status == 0 ? green : red, summaryLine(counters), "");
  }

 private:
  void line(const char* colour, const std::string& text, const char* after) const {
    std::string whole = _colour ? colour : "";
    whole += _nul ? text : escaped(text);
    whole += after;
    whole += _colour ? plain : "";
    whole += _nul ? '\0' : '\n';
    writeOut(whole);
  }

  bool _nul;
  bool _colour;
};

}  // namespace

std::unique_ptr<CheckReport> textReport(bool nul) {
  return std::make_unique<TextReport>(nul);
}

}  // namespace tool
