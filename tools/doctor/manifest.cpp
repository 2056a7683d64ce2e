#include "doctor/manifest.h"

#include <array>
#include <set>

#include "io/paths.h"
#include "sets/highest_serial.h"
#include "sets/manifest_check.h"

namespace tool {
namespace {

using Difference = ManifestDifference::Kind;

const char* const installAll =
    "install the lists, the manifest and their .asc again, all from the same signing, with "
    "zemo-selfcheck install";

// The command that gives the lists the manifest's order and leaves all other lines.
std::string correctOrder(const SetFiles& files, const Manifest& manifest) {
  constexpr std::size_t most = 50;
  std::set<std::string> names;
  for (const ManifestLine& line : manifest.lists)
    names.insert(line.name);
  std::string words;
  std::size_t count = names.size();
  for (const std::string& line : files.orderLines) {
    if (line.empty() || names.count(line) != 0)
      continue;
    words += " " + shellWord(line);
    ++count;
  }
  for (const ManifestLine& line : manifest.lists)
    words += " " + shellWord(line.name);
  std::string const order = shellWord(joined(files.directory, "listorder"));
  if (count > most)
    return "write the lists' names into " + order + " in the manifest's order";
  return "printf '%s\\n'" + words + " >" + order;
}

// How to correct all differences of this kind.
std::string fixOf(Difference kind, const SetFiles& files, const Manifest& manifest) {
  switch (kind) {
    case Difference::MISSING:
      return "install the whole set again with zemo-selfcheck install, or, if it is not needed "
             "any more, a manifest without each missing list";
    case Difference::EXTRA:
      return "remove each such list, its .asc and its line in listorder, or install a manifest "
             "that has it with zemo-selfcheck install";
    case Difference::ORDER:
      return correctOrder(files, manifest);
    default:
      return installAll;
  }
}

void tellDifferences(const SetFiles& files, const ManifestCheck& check, Findings& findings) {
  std::string const where = inQuotes(check.path);
  for (Difference const kind : {Difference::MISSING, Difference::EXTRA, Difference::ORDER,
                                Difference::OLDER, Difference::BYTES}) {
    Repeated found;
    for (const ManifestDifference& difference : check.differences) {
      if (difference.kind == kind)
        found.add("set " + inQuotes(files.set) + " does not fit " + where + ": " + difference.what);
    }
    if (found.count() != 0)
      findings.problems(STATUS_UNCHECKED, found, fixOf(kind, files, *check.manifest), "");
  }
}

void tellMissing(const SetFiles& files, const ManifestCheck& check, Findings& findings) {
  std::string const remembered = serialFile(serialDirectory, files.set, files.mode);
  findings.problem(STATUS_UNCHECKED, "set " + inQuotes(files.set) + ": " + check.reason,
                   "install the set with its manifest, with zemo-selfcheck install, or, if it is "
                   "to have none from now on, rm " +
                       shellWord(remembered));
}

void tellRolledBack(const SetFiles& files, const ManifestCheck& check, Findings& findings) {
  findings.problem(STATUS_UNCHECKED, "set " + inQuotes(files.set) + ": " + check.reason,
                   "install the newer set with zemo-selfcheck install, or, if the older one is "
                   "meant, zemo-selfcheck check --require manifest --accept-older --mode " +
                       shellWord(files.mode) + " " + shellWord(files.set));
}

}  // namespace

void checkManifest(const SetFiles& files, const HomeState& home, Ownership& ownership,
                   Findings& findings) {
  if (!home.runs || home.doubtful)
    return;
  ManifestCheck check = checkManifest(files.set, files.mode);
  if (files.acceptedSerial)
    requireSerial(check, *files.acceptedSerial);
  if (check.state == ManifestCheck::State::NONE) {
    if (files.acceptedSerial)
      tellMissing(files, check, findings);
    return;
  }
  bool const isFile = ownership.look(check.path, Kind::FILE, STATUS_UNCHECKED, installAll);
  bool const isSigned =
      ownership.look(check.path + ".asc", Kind::FILE, STATUS_UNCHECKED, installAll);
  if (!isFile || !isSigned)
    return;
  if (!check.manifest) {
    findings.problem(STATUS_UNCHECKED, objectionsTo(check).front(), installAll);
    return;
  }
  for (const Signature& signature : check.signature.signatures) {
    for (const Objection& objection : objectionsTo(signature))
      findings.problem(STATUS_UNCHECKED, inQuotes(check.path) + ": " + objection.what,
                       objection.remedy);
  }
  tellDifferences(files, check, findings);
  if (check.state == ManifestCheck::State::ROLLED_BACK)
    tellRolledBack(files, check, findings);
  else if (check.differences.empty())
    findings.well("set " + inQuotes(files.set) + " is the one that " + inQuotes(check.path) +
                  " describes");
}

}  // namespace tool
