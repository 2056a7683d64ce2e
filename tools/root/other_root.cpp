#include "root/other_root.h"

#include <zemo/selfcheck.h>

#include <ctime>
#include <exception>
#include <thread>

#include "io/directory.h"
#include "io/exit_status.h"
#include "run/log_relay.h"
#include "sets/sets.h"

namespace tool {
namespace {

// Files that are read at first use must be this machine's: libcrypto's configuration and modules,
// the time zone, and the kernel's numbers.
void useLibraries() {
  std::string digest;
  if (!ZEMO::SELF_CHECK::calculateHash("/dev/null", digest))
    throw Failure(STATUS_NOT_LOADED, "cannot compute hashes");
  tzset();
  (void)isWithoutNumber(0);
}

}  // namespace

OtherRoot::OtherRoot(const std::string& directory, const std::optional<std::string>& lists)
    : _knowsIds(isolateMounts()),
      _unclear(unclearIds()),
      _tree(std::make_unique<const Tree>(directory)) {
  if (lists)
    putListsOf(Tree(*lists), "/");
  else
    putListsOf(*_tree, systemDirectory);
  prepare();
}

OtherRoot::OtherRoot(const std::string& directory)
    : _knowsIds(isolateMounts()),
      _unclear(unclearIds()),
      _tree(std::make_unique<const Tree>(directory)) {
  prepare();
}

void OtherRoot::prepare() const {
  useLibraries();
  holdCollectedLog();
  inside([] {});  // fails now rather than after the report has begun
}

void OtherRoot::inside(const std::function<void()>& look) const {
  std::exception_ptr thrown;
  std::thread([&] {
    try {
      _tree->enter();
      look();
    } catch (...) {
      thrown = std::current_exception();
    }
  }).join();
  sendHeldLog();
  if (thrown != nullptr)
    std::rethrow_exception(thrown);
}

std::shared_ptr<const OtherRoot> chosenRoot(const std::optional<std::string>& directory,
                                            const std::optional<std::string>& lists) {
  if (lists && !directory)
    throw UsageError("--lists needs --root");
  return directory ? std::make_shared<const OtherRoot>(*directory, lists) : nullptr;
}

}  // namespace tool
