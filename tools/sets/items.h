// The words for attributes and for kinds of mismatch.

#ifndef ZEMO_TOOLS_SETS_ITEMS_H
#define ZEMO_TOOLS_SETS_ITEMS_H

#include <zemo/selfcheck.h>

#include <array>
#include <string>
#include <vector>

namespace tool {

// An attribute that an entry states in addition to its path, in the order of checks.
struct Item {
  const char* name;
  ZEMO::SELF_CHECK::CHECK_ITEM item;
  ZEMO::SELF_CHECK::CHECK_ERROR error;
};
extern const std::array<Item, 6> items;

// The set of the items with these names; "all" means all of them. Throws UsageError for other
// names.
ZEMO::SELF_CHECK::CHECK_ITEM itemsNamed(const std::vector<std::string>& names);

// The names of the items in the set.
std::vector<std::string> namesOf(ZEMO::SELF_CHECK::CHECK_ITEM set);

// The word for a kind of mismatch: the item's name, "missing" or "stray"; "unknown" for other
// numbers.
std::string kindName(ZEMO::SELF_CHECK::CHECK_ERROR error);

}  // namespace tool

#endif
