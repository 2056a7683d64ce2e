// Looking at another root directory from this machine. Nothing of it is executed, loaded or
// trusted.

#ifndef ZEMO_TOOLS_ROOT_OTHER_ROOT_H
#define ZEMO_TOOLS_ROOT_OTHER_ROOT_H

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "root/isolation.h"
#include "root/lists.h"
#include "root/tree.h"

namespace tool {

// Prepares this process, which must not have started a thread: sets are then loaded from the lists
// of the other root, by this machine's GnuPG, key ring and libraries, and threads that enter()
// `tree` check its files.
class OtherRoot {
 public:
  // `lists` is laid out like /usr/zemo/selfcheck; by default, the root's own directory is used.
  // Throws Failure(STATUS_NOT_LOADED).
  OtherRoot(const std::string& directory, const std::optional<std::string>& lists);

  // The same without lists, for looking only at files: this machine needs no key ring, and sets
  // cannot be loaded.
  explicit OtherRoot(const std::string& directory);

  const Tree& tree() const { return *_tree; }

  // False if owners and groups cannot be compared, because this process cannot see their numbers.
  bool knowsIds() const { return _knowsIds; }

  // Numbers that an owner or a group in this root may have without being compared rightly.
  const UnclearIds& unclear() const { return _unclear; }

  // Calls `look` in a thread that has entered the tree, as all threads that it starts have, and
  // waits for its end. Passes on what it throws.
  void inside(const std::function<void()>& look) const;

  // From now on, sets are loaded from this machine's lists again. Throws Failure.
  static void leave() { takeListsAway(); }

 private:
  void prepare() const;

  bool _knowsIds;
  UnclearIds _unclear;
  std::unique_ptr<const Tree> _tree;
};

// The other root that the options --root and --lists choose; null without them. Throws UsageError
// for --lists alone, and as the constructor does.
std::shared_ptr<const OtherRoot> chosenRoot(const std::optional<std::string>& directory,
                                            const std::optional<std::string>& lists);

}  // namespace tool

#endif
