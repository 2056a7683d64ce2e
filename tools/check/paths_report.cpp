
#include "check/accepted.h"
#include "check/report.h"
#include "io/descriptors.h"
#include "text/escape.h"

namespace tool {
namespace {

class PathsReport : public CheckReport {
 public:
  explicit PathsReport(bool nul) : _nul(nul) {}

  // An entry with several mismatches is named once; each stray member has a path of its own.
  void mismatches(const std::string& /*set*/, const std::string& /*path*/,
                  const std::vector<Finding>& findings) override {
    std::string last;
    bool any = false;
    for (const Finding& finding : findings) {
      std::string const path = pathOf(*finding.error);
      if (finding.accepted || (any && path == last))
        continue;
      write(path);
      last = path;
      any = true;
    }
  }

 private:
  void write(const std::string& path) const {
    writeOut((_nul ? path : escaped(path)) + (_nul ? '\0' : '\n'));
  }

  bool _nul;
};

}  // namespace

std::unique_ptr<CheckReport> pathsReport(bool nul) {
  return std::make_unique<PathsReport>(nul);
}

}  // namespace tool
