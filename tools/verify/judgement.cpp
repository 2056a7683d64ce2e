#include "verify/judgement.h"

#include <fcntl.h>
#include <zemo/core.h>

#include <algorithm>
#include <cerrno>
#include <map>

#include "io/descriptors.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"
#include "sets/list_file.h"
#include "sets/sets.h"

namespace tool {
namespace {

// `line` as its author may have meant it.
std::string meantBy(std::string line) {
  std::size_t const end = line.find_last_not_of(" \t\r");
  line.erase(end == std::string::npos ? 0 : end + 1);
  line.erase(0, line.find_first_not_of(" \t"));
  return line.substr(line.rfind('/') + 1);
}

class Order {
 public:
  explicit Order(const std::string& directory) {
    try {
      _lines = orderLines(directory);
      _positions = orderPositions(_lines);
    } catch (const Failure& failure) {
      _unreadable = failure.what();
    }
    std::string const path = directory + "/listorder";
    _exists = VLIBFileExist(path.c_str()) != 0;
    if (!irregular(path).empty()) {
      _irregular = true;
      return;
    }
    Descriptor const file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (_exists && file.get() < 0)
      _unreadable = withReason(inQuotes(path) + " cannot be read", errno);
  }

  Place placeOf(const std::string& list) const {
    Place place;
    place.orderExists = _exists;
    place.orderIrregular = _irregular;
    place.unreadable = _unreadable;
    std::string const name = fileName(list);
    auto const position = _positions.find(name);
    if (position != _positions.end()) {
      place.line = position->second;
      return place;
    }
    for (std::size_t i = 0; i < _lines.size(); ++i) {
      if (meantBy(_lines[i]) == meantBy(name))
        place.almost = i + 1;
    }
    return place;
  }

 private:
  std::vector<std::string> _lines;
  std::map<std::string, std::size_t> _positions;
  bool _exists = false;
  bool _irregular = false;
  std::string _unreadable;
};

Binding bindingOf(const std::string& list, const std::string& set, const std::string& mode) {
  Binding binding;
  try {
    binding.label = parseLabel(readListFile(list).label);
  } catch (const Failure& failure) {
    binding.state = Binding::State::NoList;
    binding.reason = failure.what();
    return binding;
  }
  if (!binding.label)
    return binding;
  const Label& label = *binding.label;
  bool const bound = isLabelOf(label, list, set, mode);
  binding.state = bound ? Binding::State::Bound : Binding::State::OtherList;
  return binding;
}

bool isPinned(const Signature& signature, const std::vector<std::string>& pinned) {
  return std::any_of(pinned.begin(), pinned.end(), [&signature](const std::string& key) {
    return key == signature.fingerprint || key == signature.primary;
  });
}

// Every signature must meet the demands: a good one does not compensate for another.
void objectTo(const Signature& signature, const Demands& demands,
              std::vector<std::string>& objections) {
  if (!isGood(signature))
    return;  // it does not verify, which is worse
  if (demands.strict) {
    for (const Objection& objection : objectionsTo(signature))
      objections.push_back(objection.what);
  }
  if ((demands.strict || !demands.pinned.empty()) && !isPinned(signature, demands.pinned))
    objections.push_back("key " + signature.fingerprint + " is not one given by --key");
}

std::vector<std::string> objectionsTo(const Judgement& judgement, const Demands& demands) {
  std::vector<std::string> objections;
  if (judgement.binding.state == Binding::State::OtherList)
    objections.emplace_back("line 2 says that this is another list");
  for (const Signature& signature : judgement.check.signatures)
    objectTo(signature, demands, objections);
  if (!demands.strict)
    return objections;
  if (judgement.binding.state == Binding::State::NoLabel)
    objections.emplace_back("line 2 does not say which list this is");
  if (judgement.place.orderExists && judgement.place.line == 0)
    objections.emplace_back(judgement.place.orderIrregular ? "listorder is not a regular file"
                                                           : "listorder does not name this list");
  return objections;
}

}  // namespace

std::vector<Judgement> judgeLists(const std::string& set, const std::string& mode,
                                  const Demands& demands) {
  Order const order(setDirectory(set));
  std::vector<Judgement> judgements;
  for (const std::string& list : listsOf(set, mode)) {
    Judgement judgement;
    judgement.path = list;
    judgement.place = order.placeOf(list);
    judgement.check = checkSignature(list);
    judgement.binding = bindingOf(list, set, mode);
    judgement.objections = objectionsTo(judgement, demands);
    judgements.push_back(std::move(judgement));
  }
  return judgements;
}

ManifestJudgement judgeManifest(const std::string& set, const std::string& mode,
                                const Demands& demands) {
  ManifestJudgement judgement;
  judgement.check = checkManifest(set, mode);
  auto const accepted = demands.accepted.find(set);
  bool const isKnown = accepted != demands.accepted.end();
  if (isKnown)
    requireSerial(judgement.check, accepted->second);
  for (const Signature& signature : judgement.check.signature.signatures)
    objectTo(signature, demands, judgement.objections);
  if (demands.strict && (isKnown || judgement.check.state != ManifestCheck::State::NONE)) {
    for (const std::string& objection : objectionsTo(judgement.check))
      judgement.objections.push_back(objection);
  }
  return judgement;
}

bool isUsable(const Judgement& judgement) {
  return judgement.check.verified && judgement.binding.state != Binding::State::NoList;
}

}  // namespace tool
