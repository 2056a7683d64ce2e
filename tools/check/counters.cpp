#include "check/counters.h"

#include "io/exit_status.h"
#include "text/strings.h"

namespace tool {

Counters between(const Counters& earlier, const Counters& later) {
  Counters counters = later;
  for (std::size_t Counters::*const member :
       {&Counters::sets, &Counters::notLoaded, &Counters::entries, &Counters::checked,
        &Counters::changed, &Counters::missing, &Counters::hidden, &Counters::stray,
        &Counters::unchecked, &Counters::accepted})
    counters.*member -= earlier.*member;
  for (const auto& [kind, number] : earlier.kinds)
    counters.kinds[kind] -= number;
  return counters;
}

int exitStatus(const Counters& counters) {
  int status = STATUS_INTACT;
  if (counters.changed > 0)
    status |= STATUS_CHANGED;
  if (counters.missing > 0)
    status |= STATUS_MISSING;
  if (counters.stray > 0)
    status |= STATUS_STRAY;
  if (counters.unchecked > 0 || counters.partial)
    status |= STATUS_UNCHECKED;
  if (counters.notLoaded > 0 || counters.setsUnknown || counters.checked == 0)
    status |= STATUS_NOT_LOADED;
  return status;
}

std::string summaryLine(const Counters& counters) {
  std::string line = counters.partial ? "interrupted, partial result: " : "";
  line += "checked ";
  if (counters.partial)
    line +=
        std::to_string(counters.checked) + " of " + counted(counters.entries, "entry", "entries");
  else
    line += counted(counters.checked, "entry", "entries");
  line += " of " + counted(counters.sets, "set", "sets") + ": " + std::to_string(counters.changed) +
          " changed, " + std::to_string(counters.missing) + " missing, " +
          std::to_string(counters.stray) + " stray, " + std::to_string(counters.unchecked) +
          " could not be checked";
  if (counters.accepted > 0)
    line += ", " + std::to_string(counters.accepted) + " accepted";
  if (counters.notLoaded > 0)
    line += "; " + counted(counters.notLoaded, "set", "sets") + " could not be loaded";
  if (counters.notReached > 0)
    line += "; " + counted(counters.notReached, "set was", "sets were") + " not loaded yet";
  if (counters.setsUnknown)
    line += "; the sets of packages are unknown";
  if (counters.withoutIds)
    line += "; owner and group were not compared";
  return line;
}

}  // namespace tool
