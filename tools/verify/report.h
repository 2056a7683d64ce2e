// The findings of `verify` as text or as JSON lines.

#ifndef ZEMO_TOOLS_VERIFY_REPORT_H
#define ZEMO_TOOLS_VERIFY_REPORT_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "verify/judgement.h"

namespace tool {

struct VerifyPlan {
  std::vector<std::string> sets;
  std::string mode;
  Demands demands;
  std::optional<std::string> root;
  std::optional<std::string> lists;
};

struct VerifyCounts {
  std::size_t lists = 0;
  std::size_t unusable = 0;
  std::size_t rejected = 0;
  std::size_t emptySets = 0;
  std::size_t rejectedManifests = 0;
  std::string unknownSets;  // why the sets of packages are unknown; names are escaped
};

class VerifyReport {
 public:
  virtual ~VerifyReport() = default;

  virtual void begin(const VerifyPlan& plan) = 0;

  // Before its lists. If there are none, `unreadable` may give the reason.
  virtual void set(const std::string& set, std::size_t lists, const std::string& unreadable) = 0;
  virtual void list(const std::string& set, const Judgement& judgement) = 0;
  virtual void manifest(const std::string& set, const ManifestJudgement& judgement) = 0;
  virtual void end(const VerifyCounts& counts, int status) = 0;
};

std::unique_ptr<VerifyReport> verifyText();
std::unique_ptr<VerifyReport> verifyJson();

}  // namespace tool

#endif
