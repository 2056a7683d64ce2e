#include "root/other_root.h"

#include <zemo/selfcheck.h>

#include <ctime>
#include <exception>
#include <thread>

#include "io/exit_status.h"
#include "root/isolation.h"
#include "root/lists.h"
#include "run/log_relay.h"
#include "sets/sets.h"

namespace tool {
namespace {

// Files that libraries read at first use must be this machine's: libcrypto's configuration and
// modules, and the time zone.
void useLibraries() {
  std::string digest;
  if (!ZEMO::SELF_CHECK::calculateHash("/dev/null", digest))
    throw Failure(STATUS_NOT_LOADED, "cannot compute hashes");
  tzset();
}

// Fails now rather than after the report has begun.
void tryToEnter(const Tree& tree) {
  std::exception_ptr thrown;
  std::thread([&] {
    try {
      tree.enter();
    } catch (...) {
      thrown = std::current_exception();
    }
  }).join();
  if (thrown != nullptr)
    std::rethrow_exception(thrown);
}

}  // namespace

OtherRoot::OtherRoot(const std::string& directory, const std::optional<std::string>& lists)
    : _knowsIds(isolateMounts()), _tree(std::make_unique<const Tree>(directory)) {
  if (lists)
    putListsOf(Tree(*lists), "/");
  else
    putListsOf(*_tree, systemDirectory);
  useLibraries();
  holdCollectedLog();
  tryToEnter(*_tree);
}

std::shared_ptr<const OtherRoot> chosenRoot(const std::optional<std::string>& directory,
                                            const std::optional<std::string>& lists) {
  if (lists && !directory)
    throw UsageError("--lists needs --root");
  return directory ? std::make_shared<const OtherRoot>(*directory, lists) : nullptr;
}

}  // namespace tool
