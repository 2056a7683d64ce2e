#include "doctor/findings.h"

#include "io/descriptors.h"
#include "text/escape.h"
#include "text/json.h"
#include "text/strings.h"

namespace tool {
namespace {

constexpr std::size_t shownOfAKind = 10;

// Long enough to show a path of any length in full.
constexpr std::size_t longestLine = 20000;

std::string bounded(const std::string& text) {
  if (text.size() <= longestLine)
    return text;
  return text.substr(0, longestLine) + "... and " + std::to_string(text.size() - longestLine) +
         " more bytes";
}

}  // namespace

void Repeated::add(const std::string& what) {
  if (_count < shownOfAKind)
    _first.push_back(what);
  ++_count;
}

void Findings::begin(const std::string& mode, const std::optional<std::string>& root,
                     const std::optional<std::string>& lists) const {
  if (!_json)
    return;
  Json record = startRecord();
  putText(record, "mode", mode);
  if (root)
    putText(record, "root", *root);
  if (lists)
    putText(record, "lists", *lists);
  writeLine(recordLine(record));
}

void Findings::well(const std::string& what) {
  ++_well;
  if (_verbose && _json)
    write("ok", {what}, 1, "", STATUS_INTACT);
  else if (_verbose)
    writeLine("ok" + _where + (_where.empty() ? " " : ": ") + bounded(what));
}

void Findings::problem(ExitStatus status, const std::string& what, const std::string& fix) {
  Repeated once;
  once.add(what);
  problems(status, once, fix, "");
}

void Findings::problems(ExitStatus status, const Repeated& what, const std::string& fix,
                        const std::string& otherwise) {
  if (what.count() == 0) {
    well(otherwise);
    return;
  }
  _status |= status;
  _problems += what.count();
  if (_json) {
    write("problem", what.first(), what.count(), fix, status);
    return;
  }
  for (const std::string& problem : what.first())
    writeLine("problem" + _where + ": " + bounded(problem));
  if (what.count() > what.first().size())
    writeLine("problem" + _where + ": and " + std::to_string(what.count() - what.first().size()) +
              " more like these");
  writeLine((_where.empty() ? "    fix: " : "    fix there: ") + fix);
}

void Findings::hint(const std::string& what, const std::string& how) {
  if (_json) {
    write("hint", {what}, 1, how, STATUS_INTACT);
    return;
  }
  writeLine("hint" + _where + ": " + bounded(what));
  writeLine((_where.empty() ? "    fix: " : "    fix there: ") + how);
}

void Findings::write(const char* kind, const std::vector<std::string>& what, std::size_t count,
                     const std::string& fix, int status) const {
  std::vector<std::string> texts;
  texts.reserve(what.size());
  for (const std::string& text : what)
    texts.push_back(bounded(text));
  Json record;
  record["record"] = kind;
  if (status != STATUS_INTACT)
    record["status"] = status;
  if (!_where.empty())
    record["other_root"] = true;
  record["count"] = count;
  putTexts(record, "what", texts);
  if (!fix.empty())
    putText(record, "fix", fix);
  writeLine(recordLine(record));
}

void Findings::settle() {
  if (_problems == 0 && !_leftOut.empty())
    problem(STATUS_UNCHECKED, inQuotes(_leftOut) + " could not be examined for a moment",
            "run this again");
}

void Findings::summarize(std::size_t sets) const {
  if (_json) {
    Json record;
    record["record"] = "summary";
    record["problems"] = _problems;
    record["passed"] = _well;
    record["sets"] = sets;
    record["status"] = _status;
    writeLine(recordLine(record));
    return;
  }
  std::string const passed =
      counted(_well, "check", "checks") + " of " + counted(sets, "set", "sets") + " passed";
  if (_problems == 0)
    writeLine("all is well: " + passed);
  else
    writeLine(counted(_problems, "problem", "problems") + "; " + passed);
}

std::string shellWord(const std::string& name) {
  static const char* const plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-+,:@%";
  if (!name.empty() && name.find_first_not_of(plain) == std::string::npos)
    return name;
  // Shells understand the octal digits of escaped() in this form of quotes.
  std::string word = "$'";
  for (char const c : escaped(name))
    word += c == '\'' ? std::string("\\047") : std::string(1, c);
  return word + "'";
}

std::string reasonFrom(const std::vector<std::string>& lines) {
  std::string reason;
  for (const std::string& line : lines)
    reason += (reason.empty() ? "" : "; ") + escaped(line);
  return reason;
}

}  // namespace tool
