// One of the two things that `diff` compares.

#ifndef ZEMO_TOOLS_DIFF_SIDE_H
#define ZEMO_TOOLS_DIFF_SIDE_H

#include <zemo/selfcheck.h>

#include <boost/shared_ptr.hpp>
#include <map>
#include <optional>
#include <string>

namespace tool {

// What a list says last of a path. A removal line takes the path's earlier entries away; its other
// columns mean nothing.
struct Statement {
  bool removal = false;
  boost::shared_ptr<ZEMO::SELF_CHECK::ProtectedFile> entry;
};

struct Side {
  std::string name;                             // as it was given
  std::optional<std::string> label;             // line 2, of a list
  std::map<std::string, Statement> statements;  // by path
};

// True when `name` means the file of a list, and no set: it has a slash or ends in ".list".
bool namesList(const std::string& name);

// Reads a list, with its placeholders as they are written, or merges a set, with its placeholders
// resolved. Throws Failure(STATUS_NOT_LOADED) if that fails, UsageError if nothing can have this
// name.
Side readSide(const std::string& name, const std::string& mode, bool verify);

}  // namespace tool

#endif
