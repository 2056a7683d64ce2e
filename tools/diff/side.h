// One of the two sides that `diff` compares.

#ifndef ZEMO_TOOLS_DIFF_SIDE_H
#define ZEMO_TOOLS_DIFF_SIDE_H

#include <zemo/selfcheck.h>

#include <boost/shared_ptr.hpp>
#include <map>
#include <optional>
#include <string>

namespace tool {

// The last statement of a list about a path. A removal line removes the path's earlier entries; its
// other columns have no meaning.
struct Statement {
  bool removal = false;
  boost::shared_ptr<ZEMO::SELF_CHECK::ProtectedFile> entry;
};

struct Side {
  std::string name;                             // as given
  std::optional<std::string> label;             // line 2, for a list
  std::map<std::string, Statement> statements;  // by path
};

// True if `name` refers to a list file, not a set: it contains a slash or ends in ".list".
bool namesList(const std::string& name);

// Reads a list, leaving its placeholders unresolved, or merges a set, resolving its placeholders.
// Throws Failure(STATUS_NOT_LOADED) if that fails, or UsageError if neither can have this name.
Side readSide(const std::string& name, const std::string& mode, bool verify);

}  // namespace tool

#endif
