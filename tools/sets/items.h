// The words for what is compared, and for what can be wrong.

#ifndef ZEMO_TOOLS_SETS_ITEMS_H
#define ZEMO_TOOLS_SETS_ITEMS_H

#include <zemo/selfcheck.h>

#include <array>
#include <string>
#include <vector>

namespace tool {

// What an entry states beside its path, in the order in which it is checked.
struct Item {
  const char* name;
  ZEMO::SELF_CHECK::CHECK_ITEM item;
  ZEMO::SELF_CHECK::CHECK_ERROR error;
};
extern const std::array<Item, 6> items;

// The set of the items with these names; "all" names them all. Throws UsageError for another name.
ZEMO::SELF_CHECK::CHECK_ITEM itemsNamed(const std::vector<std::string>& names);

// The names of the items in the set.
std::vector<std::string> namesOf(ZEMO::SELF_CHECK::CHECK_ITEM set);

// The word for a mismatch: the item's name, "missing" or "stray"; "unknown" for another number.
std::string kindName(ZEMO::SELF_CHECK::CHECK_ERROR error);

}  // namespace tool

#endif
