#include "check/accepted.h"

#include <sstream>

#include "io/exit_status.h"
#include "io/names_input.h"
#include "sets/items.h"
#include "text/escape.h"
#include "text/strings.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

constexpr uint32_t allKinds = ~0U;

uint32_t bitOf(CHECK_ERROR error) {
  return 1U << (static_cast<unsigned>(error) & 31U);
}

// The bit of the kind with this name; 0 if there is none.
uint32_t kindNamed(const std::string& name) {
  for (CHECK_ERROR const error : {CHECK_ERROR_NOT_EXIST, CHECK_ERROR_UNKNOWN_FILE}) {
    if (name == kindName(error))
      return bitOf(error);
  }
  for (const Item& item : items) {
    if (name == item.name)
      return bitOf(item.error);
  }
  return 0;
}

uint32_t kindsNamed(const std::string& names, const std::string& where) {
  uint32_t kinds = 0;
  std::istringstream words(names);
  for (std::string name; std::getline(words, name, ',');) {
    uint32_t const kind = kindNamed(name);
    if (kind == 0)
      throw UsageError(where + ": unknown kind of mismatch " + inQuotes(name));
    kinds |= kind;
  }
  if (kinds == 0)
    throw UsageError(where + ": no kind of mismatch follows the TAB");
  return kinds;
}

}  // namespace

Accepted::Accepted(const std::string& file) : _file(file) {
  std::size_t number = 0;
  for (const std::string& line : readOwnLines(file)) {
    ++number;
    if (!line.empty() && line.front() != '#')
      add(line, number);
  }
}

void Accepted::add(const std::string& line, std::size_t number) {
  std::string const where = "line " + std::to_string(number) + " of " + inQuotes(_file);
  if (line.back() == '\r')
    throw UsageError(where +
                     " ends with a carriage return, which would become part of its last word");
  std::size_t const tab = line.find('\t');
  std::optional<std::string> const path = unescaped(line.substr(0, tab));
  if (!path)
    throw UsageError(where + ": a backslash must be followed by three octal digits");
  if (path->empty() || path->front() != '/')
    throw UsageError(where + ": the path " + inQuotes(*path) + " is not absolute");
  uint32_t const kinds =
      tab == std::string::npos ? allKinds : kindsNamed(line.substr(tab + 1), where);
  Kinds& known = _kinds[*path];
  known.bits |= kinds;
  if (known.number == 0)
    known.number = number;
}

bool Accepted::covers(const CheckError& error) const {
  if (_kinds.empty())
    return false;
  uint32_t const bit = bitOf(error._error);
  auto const accepts = [&](const std::string& key) {
    auto const found = _kinds.find(key);
    bool const accepted = found != _kinds.end() && (found->second.bits & bit) != 0;
    if (accepted)
      found->second.used = true;
    return accepted;
  };
  std::string const path = pathOf(error);
  if (accepts(path))
    return true;
  for (std::size_t slash = path.find('/'); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    if (accepts(path.substr(0, slash + 1)))
      return true;
  }
  return false;
}

std::string Accepted::unused() const {
  std::size_t count = 0;
  const std::pair<const std::string, Kinds>* first = nullptr;
  for (const auto& one : _kinds) {
    if (one.second.used)
      continue;
    ++count;
    if (first == nullptr || one.second.number < first->second.number)
      first = &one;
  }
  if (first == nullptr)
    return "";
  return inQuotes(first->first) + " in line " + std::to_string(first->second.number) + " of " +
         inQuotes(_file) + (count > 1 ? " and " + counted(count - 1, "other", "others") : "");
}

FileList::Hook Accepted::hook() const {
  return [this](boost::shared_ptr<ProtectedFile>& entry, bool& changed) {
    for (const CheckError* error : entry->_errors) {
      if (!covers(*error))
        return 0;
    }
    changed = false;
    return 0;
  };
}

std::string pathOf(const CheckError& error) {
  if (error._error != CHECK_ERROR_UNKNOWN_FILE)
    return error._filePath;
  // Only the root directory ends in a slash.
  return error._filePath + (error._filePath == "/" ? "" : "/") + error._actual;
}

}  // namespace tool
