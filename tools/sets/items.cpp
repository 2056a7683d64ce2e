#include "sets/items.h"

#include "io/exit_status.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {

const std::array<Item, 6> items = {{
    {"size", CHECK_ITEM_SIZE, CHECK_ERROR_SIZE},
    {"owner", CHECK_ITEM_OWNER, CHECK_ERROR_OWNER},
    {"group", CHECK_ITEM_GROUP, CHECK_ERROR_GROUP},
    {"type", CHECK_ITEM_TYPE, CHECK_ERROR_TYPE},
    {"permission", CHECK_ITEM_PERMISSION, CHECK_ERROR_PERMISSION},
    {"hash", CHECK_ITEM_HASH, CHECK_ERROR_HASH},
}};

CHECK_ITEM itemsNamed(const std::vector<std::string>& names) {
  auto set = static_cast<CHECK_ITEM>(0);
  for (const std::string& name : names) {
    bool known = false;
    for (const Item& item : items) {
      if (name != "all" && name != item.name)
        continue;
      set |= item.item;
      known = true;
    }
    if (!known)
      throw UsageError("unknown item " + inQuotes(name) +
                       "; the items are size, owner, group, type, permission, hash and all");
  }
  return set;
}

std::vector<std::string> namesOf(CHECK_ITEM set) {
  std::vector<std::string> names;
  for (const Item& item : items) {
    if ((set & item.item) != 0)
      names.emplace_back(item.name);
  }
  return names;
}

std::string kindName(CHECK_ERROR error) {
  if (error == CHECK_ERROR_NOT_EXIST)
    return "missing";
  if (error == CHECK_ERROR_UNKNOWN_FILE)
    return "stray";
  for (const Item& item : items) {
    if (item.error == error)
      return item.name;
  }
  return "unknown";
}

}  // namespace tool
