// One entry line, with and without a package binding. The first line of an input is the binding, as
// UID:GID:DIRECTORY, or empty; the rest is the entry line.

#include <zemo/selfcheck.h>

#include <cstdlib>

#include "engine/agree.h"
#include "engine/target.h"
#include "models/entry.h"
#include "support/doubles/recorded_log.h"

using namespace ZEMO::SELF_CHECK;

namespace {

fuzz::Binding bindingOf(const std::string& text) {
  fuzz::Input input(text);
  fuzz::Binding binding;
  binding.isSet = !input.atEnd();
  binding.uid = static_cast<uint32_t>(strtoul(input.upTo(':').c_str(), nullptr, 10));
  binding.gid = static_cast<uint32_t>(strtoul(input.upTo(':').c_str(), nullptr, 10));
  binding.directory = input.rest();
  return binding;
}

void run(fuzz::Input input) {
  fuzz::Binding const binding = bindingOf(input.line());
  PkgInfo& bound = ProtectedFile::_pkginfo;
  bound.isSet = binding.isSet;
  bound.uid = binding.uid;
  bound.gid = binding.gid;
  bound.targetDir = binding.directory;
  std::string const line = input.rest();
  clearLog();

  ProtectedFile const entry(line);
  fuzz::agree("columns", fuzz::columnsOf(entry), fuzz::columnsOf(line, binding));
  fuzz::require(entry._errors.empty() && entry._fixedEntries.empty(), "nothing else is filled");
  fuzz::require(recordedLog().empty(), "nothing is logged");
}

fuzz::Target const target("entry", run);

}  // namespace
