#include "doctor/columns.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "io/exit_status.h"

using ZEMO::SELF_CHECK::ProtectedFile;

namespace tool {
namespace {

// True for a plain number not above `most`.
bool isNumber(const std::string& text, int base, uint64_t most) {
  uint64_t number = 0;
  const char* const end = text.data() + text.size();
  auto const read = std::from_chars(text.data(), end, number, base);
  return read.ec == std::errc() && read.ptr == end && number <= most;
}

bool isId(const std::string& text) {
  return text == "$pkg" || text == "$pkg_sys" || isNumber(text, 10, UINT32_MAX);
}

bool isDigest(const std::string& text) {
  return text.size() == 40 && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

bool isDevice(const std::string& text) {
  std::size_t const comma = text.find(',');
  return comma != std::string::npos && isNumber(text.substr(0, comma), 10, UINT32_MAX) &&
         isNumber(text.substr(comma + 1), 10, UINT32_MAX);
}

// Why no file of the entry's type can have this content; empty if one can.
std::string wrongContent(const ProtectedFile& entry) {
  const std::string& text = entry._hash;
  if (entry._type == "f" && text != "FIXED" && !isDigest(text))  // reported elsewhere
    return "is not a SHA-1 of 40 lower-case digits";
  if (entry._type == "c" && !isDevice(text))
    return "is not a pair of device numbers such as 1,3";
  std::string upper = text;
  std::transform(upper.begin(), upper.end(), upper.begin(),
                 [](unsigned char c) { return c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c; });
  if (entry._type != "l" && upper == "FIXED" && text != upper)
    return "is not FIXED in upper case, so every member is reported";
  return "";
}

}  // namespace

std::vector<std::string> wrongColumns(const ProtectedFile& entry) {
  std::vector<std::string> wrong;
  auto const judge = [&wrong](const char* name, const std::string& text, bool fits,
                              const std::string& why) {
    if (text != "-" && !fits)
      wrong.push_back(std::string("the ") + name + " " + inQuotes(text) + " " + why);
  };
  judge("size", entry._size, isNumber(entry._size, 10, INT64_MAX), "is not a number");
  std::string const content = wrongContent(entry);
  judge("content", entry._hash, content.empty(), content);
  judge("type", entry._type,
        entry._type.size() == 1 && std::string("fdlbcsp").find(entry._type) != std::string::npos,
        "is not f, d, l, b, c, s or p");
  judge("permission", entry._permission, isNumber(entry._permission, 8, 07777),
        "is not an octal number up to 7777");
  judge("owner", entry._owner, isId(entry._owner), "is not a number");
  judge("group", entry._group, isId(entry._group), "is not a number");
  return wrong;
}

}  // namespace tool
