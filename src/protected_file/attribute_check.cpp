// The comparison of a file's metadata with its entry.

#include <sys/stat.h>
#include <zemo/selfcheck/protected_file.h>

#include <cstdlib>

#include "protected_file/file_type.h"
#include "protected_file/formatted.h"
#include "protected_file/mismatch.h"

namespace ZEMO::SELF_CHECK {
namespace {

long decimal(const std::string& text) {
  return strtol(text.c_str(), nullptr, 10);
}

// Ids and modes are 32 bits wide; what a list states beyond that is cut off.
uint32_t low32(const std::string& text, int base) {
  return static_cast<uint32_t>(strtoul(text.c_str(), nullptr, base));
}

}  // namespace

bool ProtectedFile::check(bool& changed, CHECK_ITEM items) {
  struct stat st = {};
  if (lstat(_path.c_str(), &st) != 0) {
    recordMismatch(*this, changed, CHECK_ERROR_NOT_EXIST, "", "");
    return true;
  }

  bool const isLink = S_ISLNK(st.st_mode);
  auto const wanted = [items](CHECK_ITEM item, const std::string& expected) {
    return (items & item) != 0 && isChecked(expected);
  };

  if (wanted(CHECK_ITEM_SIZE, _size) && (isLink || S_ISREG(st.st_mode)) &&
      decimal(_size) != st.st_size)
    recordMismatch(*this, changed, CHECK_ERROR_SIZE, _size, formatted("%ld", st.st_size));

  if (wanted(CHECK_ITEM_OWNER, _owner) && !isLink && low32(_owner, 10) != st.st_uid)
    recordMismatch(*this, changed, CHECK_ERROR_OWNER, _owner, formatted("%u", st.st_uid));

  if (wanted(CHECK_ITEM_GROUP, _group) && !isLink && low32(_group, 10) != st.st_gid)
    recordMismatch(*this, changed, CHECK_ERROR_GROUP, _group, formatted("%u", st.st_gid));

  if (wanted(CHECK_ITEM_TYPE, _type)) {
    char const letter = typeLetter(st.st_mode);
    if (_type.size() != 1 || _type.front() != letter)
      recordMismatch(*this, changed, CHECK_ERROR_TYPE, _type, std::string(1, letter));
  }

  constexpr mode_t permissionBits = 07777;
  mode_t const permission = st.st_mode & permissionBits;
  if (wanted(CHECK_ITEM_PERMISSION, _permission) && !isLink && low32(_permission, 8) != permission)
    recordMismatch(*this, changed, CHECK_ERROR_PERMISSION, _permission,
                   formatted("%o", permission));

  return (items & CHECK_ITEM_HASH) == 0 || !checkHash(st, changed);
}

}  // namespace ZEMO::SELF_CHECK
