#include "gnupg/keys.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "gnupg/status_lines.h"
#include "io/exit_status.h"
#include "text/strings.h"

namespace tool {
namespace {

std::vector<std::string> fieldsOf(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream text(line);
  for (std::string field; std::getline(text, field, ':');)
    fields.push_back(field);
  fields.resize(std::max<std::size_t>(fields.size(), 12));
  return fields;
}

// Listings write colons, control bytes and backslashes in user ids as in C: \x3a, \n, \\.
std::string withoutBackslashes(const std::string& text) {
  static const std::string letters = "nrfvb0\\";
  static const std::string bytes("\n\r\f\v\b\0\\", 7);
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::size_t const letter = i + 1 < text.size() ? letters.find(text[i + 1]) : std::string::npos;
    if (text[i] == '\\' && letter != std::string::npos) {
      result += bytes[letter];
      i += 1;
    } else if (text.compare(i, 2, "\\x") == 0 && i + 3 < text.size()) {
      result += static_cast<char>(std::strtol(text.substr(i + 2, 2).c_str(), nullptr, 16));
      i += 3;
    } else {
      result += text[i];
    }
  }
  return result;
}

}  // namespace

std::vector<Key> keysIn(const std::string& listing) {
  std::vector<Key> keys;
  bool ofPrimary = false;
  std::istringstream text(listing);
  for (std::string line; std::getline(text, line);) {
    std::vector<std::string> const fields = fieldsOf(line);
    const std::string& type = fields[0];
    if (type == "pub" || type == "sec") {
      Key key;
      key.revoked = fields[1] == "r";
      key.created = static_cast<std::time_t>(numberIn(fields[5]));
      key.expires = static_cast<std::time_t>(numberIn(fields[6]));
      // GnuPG does not report a revoked key as expired as well.
      key.expired = fields[1] == "e";
      keys.push_back(std::move(key));
      ofPrimary = true;
    } else if (keys.empty()) {
      continue;
    } else if (type == "sub" || type == "ssb") {
      ofPrimary = false;
    } else if (type == "fpr" && ofPrimary) {
      keys.back().fingerprint = fields[9];
    } else if (type == "fpr") {
      keys.back().subkeys.push_back(fields[9]);
    } else if (type == "uid") {
      keys.back().userIds.push_back(withoutBackslashes(fields[9]));
    }
  }
  return keys;
}

std::string keyText(const Key& key) {
  std::vector<std::string> ids;
  for (const std::string& id : key.userIds)
    ids.push_back(inQuotes(id));
  std::string text = key.fingerprint + (ids.empty() ? "" : " ") + joinedBy(", ", ids);
  if (key.revoked)
    text += " (revoked)";
  else if (key.expired)
    text += " (expired " + utcText(key.expires) + ")";
  return text;
}

}  // namespace tool
