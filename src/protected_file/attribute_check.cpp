// Comparing a file's metadata with its entry.

#include <cstdlib>

#include "protected_file/comparison.h"

namespace ZEMO::SELF_CHECK {
namespace {

long decimal(const std::string& text) {
  return strtol(text.c_str(), nullptr, 10);
}

// Ids and modes are 32 bits wide; higher bits of the listed number are ignored.
uint32_t low32(const std::string& text, int base) {
  return static_cast<uint32_t>(strtoul(text.c_str(), nullptr, base));
}

}  // namespace

void compareMetadata(ProtectedFile& entry, const struct stat& st, CHECK_ITEM items, bool& changed) {
  bool const isLink = S_ISLNK(st.st_mode);
  auto const wanted = [items](CHECK_ITEM item, const std::string& expected) {
    return (items & item) != 0 && isChecked(expected);
  };

  const std::string& size = entry._size;
  if (wanted(CHECK_ITEM_SIZE, size) && (isLink || S_ISREG(st.st_mode)) &&
      decimal(size) != st.st_size)
    recordMismatch(entry, changed, CHECK_ERROR_SIZE, size, formatted("%ld", st.st_size));

  const std::string& owner = entry._owner;
  if (wanted(CHECK_ITEM_OWNER, owner) && !isLink && low32(owner, 10) != st.st_uid)
    recordMismatch(entry, changed, CHECK_ERROR_OWNER, owner, formatted("%u", st.st_uid));

  const std::string& group = entry._group;
  if (wanted(CHECK_ITEM_GROUP, group) && !isLink && low32(group, 10) != st.st_gid)
    recordMismatch(entry, changed, CHECK_ERROR_GROUP, group, formatted("%u", st.st_gid));

  const std::string& type = entry._type;
  if (wanted(CHECK_ITEM_TYPE, type)) {
    char const letter = typeLetter(st.st_mode);
    if (type.size() != 1 || type.front() != letter)
      recordMismatch(entry, changed, CHECK_ERROR_TYPE, type, std::string(1, letter));
  }

  constexpr mode_t permissionBits = 07777;
  const std::string& permission = entry._permission;
  mode_t const found = st.st_mode & permissionBits;
  if (wanted(CHECK_ITEM_PERMISSION, permission) && !isLink && low32(permission, 8) != found)
    recordMismatch(entry, changed, CHECK_ERROR_PERMISSION, permission, formatted("%o", found));
}

}  // namespace ZEMO::SELF_CHECK
