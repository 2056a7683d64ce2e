// The arguments of `make`.

#ifndef ZEMO_TOOLS_MAKE_PLAN_H
#define ZEMO_TOOLS_MAKE_PLAN_H

#include <zemo/selfcheck.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "make/paths.h"
#include "run/workers.h"
#include "sets/label.h"
#include "sets/new_list.h"

namespace tool {

// The arguments as given.
struct MakeOptions : NewListOptions {
  std::optional<std::string> again;
  bool noVerify = false;
  std::vector<std::string> paths;
  std::optional<std::string> root;
  bool oneFileSystem = false;
  std::optional<std::string> from;
  bool nul = false;
  std::vector<std::string> dpkg;
  bool dpkgAll = false;
  bool conffiles = false;
  bool allowChanged = false;
  std::vector<std::string> exclude;
  std::vector<std::string> fixed;
  std::vector<std::string> omit;
  std::vector<std::string> base;
  unsigned jobs = processors();
  std::string format = "text";
  bool noProgress = false;
};

// The checked arguments; all paths are absolute.
struct MakePlan {
  std::string output;
  // The paths under which the walk may find the list and its signature.
  std::set<std::string> ownNames;
  std::optional<std::string> root;  // as given; below it are the files, but not bases and output
  std::vector<std::string> trees;
  bool oneFileSystem = false;         // list directories where something is mounted without members
  std::optional<std::string> from;    // the source of further names
  bool nul = false;                   // those names end with zero bytes
  std::vector<std::string> debs;      // names of packages that dpkg has installed
  bool allDebs = false;               // all of its packages
  bool conffiles = false;             // list the content of configuration files
  bool allowChanged = false;          // list files that are not as their package installed them
  std::vector<std::string> excluded;  // patterns
  Exclusions exclusions;
  std::vector<std::string> fixed;
  ZEMO::SELF_CHECK::CHECK_ITEM omitted = {};
  bool forPackage = false;  // the list belongs to a package's set
  std::string readAs;       // the set as which the library reads the lists
  std::string mode;
  std::vector<std::string> bases;
  Label label;
  unsigned jobs = 1;
  bool progress = true;
};

// Throws UsageError for wrong arguments. Examines only the base lists, the output and the
// place of the other root on disk.
MakePlan planOf(const MakeOptions& given);

}  // namespace tool

#endif
