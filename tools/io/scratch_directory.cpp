#include "io/scratch_directory.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "io/descriptors.h"
#include "io/exit_status.h"

namespace tool {
namespace {

std::string templateForDirectories() {
  const char* const chosen = getenv("TMPDIR");
  std::string const parent = chosen != nullptr && *chosen != '\0' ? chosen : "/tmp";
  return parent + "/zemo-selfcheck.XXXXXX";
}

}  // namespace

ScratchDirectory::ScratchDirectory(const std::vector<std::string>& names)
    : _path(templateForDirectories()) {
  HeldSignals const untilNoted;
  if (mkdtemp(_path.data()) == nullptr)
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot create directory " + inQuotes(_path), errno));
  _temporaryPaths.push_back(std::make_unique<TemporaryPath>(_path));
  for (const std::string& name : names)
    _temporaryPaths.push_back(std::make_unique<TemporaryPath>(*this / name));
}

ScratchDirectory::~ScratchDirectory() {
  std::error_code ignored;  // files that cannot be removed stay and do no harm
  std::filesystem::remove_all(_path, ignored);
  // Without a descriptor for listing the directory, remove the known names and then the directory.
  while (!_temporaryPaths.empty())
    _temporaryPaths.pop_back();
}

void writeWholeFile(const std::string& path, const std::string& content) {
  auto const fail = [&path](int error) {
    throw Failure(STATUS_NOT_LOADED, withReason("cannot write " + inQuotes(path), error));
  };
  Descriptor const file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (file.get() < 0)
    fail(errno);
  if (int const error = writeAll(file.get(), content); error != 0)
    fail(error);
}

}  // namespace tool
