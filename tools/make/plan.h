// What `make` is asked for.

#ifndef ZEMO_TOOLS_MAKE_PLAN_H
#define ZEMO_TOOLS_MAKE_PLAN_H

#include <zemo/selfcheck.h>

#include <optional>
#include <string>
#include <vector>

#include "make/paths.h"
#include "run/workers.h"
#include "sets/label.h"
#include "sets/sets.h"

namespace tool {

// The arguments, word by word.
struct MakeOptions {
  std::string output;
  std::vector<std::string> paths;
  std::optional<std::string> from;
  bool nul = false;
  std::vector<std::string> dpkg;
  bool conffiles = false;
  bool allowChanged = false;
  std::vector<std::string> exclude;
  std::vector<std::string> fixed;
  std::vector<std::string> omit;
  std::optional<std::string> package;
  std::string mode = defaultMode;
  std::vector<std::string> base;
  std::optional<std::string> serial;
  unsigned jobs = processors();
  bool noProgress = false;
};

// The same, checked; all paths are absolute.
struct MakePlan {
  std::string output;
  std::vector<std::string> trees;
  std::optional<std::string> from;  // where to read further names
  bool nul = false;                 // they are ended by zero bytes
  std::vector<std::string> debs;    // names of packages that dpkg has installed
  bool conffiles = false;           // state what configuration files contain
  bool allowChanged = false;        // and what is not as its package installed it
  Exclusions exclusions;
  std::vector<std::string> fixed;
  ZEMO::SELF_CHECK::CHECK_ITEM omitted = {};
  bool forPackage = false;  // the list is one of a package's set
  std::string mode;
  std::vector<std::string> bases;
  Label label;
  unsigned jobs = 1;
  bool progress = true;
};

// Throws UsageError for wrong arguments. On disk, only the base lists and the output are looked at.
MakePlan planOf(const MakeOptions& given);

}  // namespace tool

#endif
