// The judgement on one list: its place, its label, its signatures.

#ifndef ZEMO_TOOLS_VERIFY_JUDGEMENT_H
#define ZEMO_TOOLS_VERIFY_JUDGEMENT_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "gnupg/signature_check.h"
#include "sets/label.h"
#include "sets/manifest_check.h"

namespace tool {

// The position that `listorder` gives a list.
struct Place {
  std::size_t line = 0;    // that names it; 0: none, so it is read before all named lists
  std::size_t almost = 0;  // that would name it without blanks, a carriage return or "./"
  bool orderExists = false;
  bool orderIrregular = false;  // it is a directory, a FIFO or the like, and has no effect
  std::string unreadable;       // why `listorder` cannot be read
};

// Line 2 of a list.
struct Binding {
  enum class State { Bound, OtherList, NoLabel, NoList };
  State state = State::NoLabel;
  std::optional<Label> label;
  std::string reason;  // for NoList: why the library cannot read it; names are escaped
};

struct Judgement {
  std::string path;
  Place place;
  Binding binding;
  SignatureCheck check;
  std::vector<std::string> objections;  // faults that the library accepts
};

struct Demands {
  bool strict = false;
  std::vector<std::string> pinned;           // fingerprints of signing keys or their primary keys
  std::map<std::string, uint64_t> accepted;  // by set: the highest serial of a manifest so far
};

// Examines every list of the set in the order in which the library reads them.
std::vector<Judgement> judgeLists(const std::string& set, const std::string& mode,
                                  const Demands& demands);

struct ManifestJudgement {
  ManifestCheck check;
  std::vector<std::string> objections;  // names are escaped
};

// Examines the manifest of the set. Its signature meets the same demands as a list's. If they are
// strict, an existing manifest must fit. If one was accepted before, it must exist, and not be
// older.
ManifestJudgement judgeManifest(const std::string& set, const std::string& mode,
                                const Demands& demands);

// True if the library accepts its signature and can read it.
bool isUsable(const Judgement& judgement);

}  // namespace tool

#endif
