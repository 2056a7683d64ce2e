// The JSON report: everything in it can be read back. An input is a sequence of records, each begun
// by a letter: s START, n NOT LOADED, e ENTRY, u UNCHECKED, z SUMMARY. Their texts are lines.

#include "text/json.h"

#include <array>
#include <list>

#include "check/report.h"
#include "engine/agree.h"
#include "engine/captured_output.h"
#include "engine/target.h"
#include "models/escape.h"
#include "sets/items.h"

using namespace ZEMO::SELF_CHECK;
using tool::Json;

namespace {

std::string fromHexadecimal(const std::string& digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  return bytes;
}

// A column as a reader sees it: a number, the text, or the bytes if they are not valid text.
std::string bytesOf(const Json& record, const std::string& name) {
  if (record.at(name).is_number())
    return record.at(name).dump();
  if (record.contains(name + "_hex"))
    return fromHexadecimal(record.at(name + "_hex"));
  return record.at(name);
}

std::vector<std::string> allBytesOf(const Json& record, const std::string& name) {
  std::vector<std::string> texts = record.at(name);
  if (!record.contains(name + "_hex"))
    return texts;
  std::vector<std::string> bytes;
  for (const Json& digits : record.at(name + "_hex"))
    bytes.push_back(fromHexadecimal(digits));
  fuzz::agree("number of texts", texts.size(), bytes.size());
  return bytes;
}

using Compare = std::function<void(const Json&)>;

// Makes records, and the checks of their contents.
class Reporter {
 public:
  explicit Reporter(fuzz::Input& input) : _input(input) {}

  void report(char kind) {
    if (kind == 's')
      start();
    else if (kind == 'n')
      notLoaded();
    else if (kind == 'e')
      entry();
    else if (kind == 'u')
      unchecked();
    else if (kind == 'z')
      summary();
  }

  const std::vector<Compare>& expected() const { return _expected; }

 private:
  std::vector<std::string> texts() {
    std::vector<std::string> all;
    for (int count = _input.byte() % 4; count > 0; --count)
      all.push_back(_input.line());
    return all;
  }

  void start() {
    tool::CheckPlan const plan = {texts(), _input.line(), CHECK_ITEM(_input.byte())};
    _report->begin(plan);
    _expected.emplace_back([plan](const Json& record) {
      fuzz::agree("record", record.at("record"), "start");
      fuzz::agree("sets", allBytesOf(record, "sets"), plan.sets);
      fuzz::agree("mode", bytesOf(record, "mode"), plan.mode);
      std::vector<std::string> const items = record.at("items");
      fuzz::agree("items", tool::itemsNamed(items) & 63, plan.items & 63);
    });
  }

  void notLoaded() {
    std::string const set = _input.line();
    std::string const reason = _input.line();
    _report->notLoaded(set, reason);
    _expected.emplace_back([set, reason](const Json& record) {
      fuzz::agree("record", record.at("record"), "not_loaded");
      fuzz::agree("set", bytesOf(record, "set"), set);
      fuzz::agree("reason", bytesOf(record, "reason"), reason);
    });
  }

  void entry() {
    std::string const set = _input.line();
    std::string const path = _input.line();
    std::vector<tool::Finding> findings;
    for (int count = _input.byte() % 4; count > 0; --count)
      findings.push_back(finding());
    _report->mismatches(set, path, findings);
    _expected.emplace_back([set, path, findings](const Json& record) {
      fuzz::agree("record", record.at("record"), "entry");
      fuzz::agree("set", bytesOf(record, "set"), set);
      fuzz::agree("path", bytesOf(record, "path"), path);
      fuzz::agree("number of mismatches", record.at("mismatches").size(), findings.size());
      for (std::size_t i = 0; i < findings.size(); ++i)
        compare(record.at("mismatches").at(i), findings[i]);
    });
  }

  tool::Finding finding() {
    CheckError& error = _errors.emplace_back();
    error._error = CHECK_ERROR(_input.byte() % 10);
    error._expected = _input.line();
    error._actual = _input.line();
    bool const accepted = _input.byte() % 2 == 1;
    return {&error, accepted, _input.line()};
  }

  static void compare(const Json& record, const tool::Finding& finding) {
    const CheckError& error = *finding.error;
    static const std::array<const char*, 10> kinds = {"unknown",    "size",  "hash",  "type",
                                                      "permission", "owner", "group", "unknown",
                                                      "missing",    "stray"};
    fuzz::agree("kind", record.at("kind"), kinds[static_cast<std::size_t>(error._error)]);
    fuzz::agree("accepted", record.value("accepted", false), finding.accepted);
    if (error._error == CHECK_ERROR_UNKNOWN_FILE) {
      fuzz::agree("name", bytesOf(record, "name"), error._actual);
    } else if (error._error != CHECK_ERROR_NOT_EXIST) {
      fuzz::agree("expected", bytesOf(record, "expected"), error._expected);
      fuzz::agree("actual", bytesOf(record, "actual"), error._actual);
    } else if (!finding.unsearchable.empty()) {
      fuzz::agree("unsearchable", bytesOf(record, "unsearchable"), finding.unsearchable);
    }
  }

  void unchecked() {
    std::string const set = _input.line();
    std::string const path = _input.line();
    std::vector<std::string> const log = texts();
    std::string const reason = _input.line();
    _report->unchecked(set, path, log, reason);
    _expected.emplace_back([set, path, log, reason](const Json& record) {
      fuzz::agree("record", record.at("record"), "unchecked");
      fuzz::agree("set", bytesOf(record, "set"), set);
      fuzz::agree("path", bytesOf(record, "path"), path);
      fuzz::agree("log", allBytesOf(record, "log"), log);
      if (!reason.empty())
        fuzz::agree("reason", bytesOf(record, "reason"), reason);
    });
  }

  void summary() {
    tool::Counters counters;
    counters.changed = _input.byte();
    counters.missing = _input.byte();
    counters.stray = _input.byte();
    counters.unchecked = _input.byte();
    counters.partial = _input.byte() % 2 == 1;
    int const status = _input.byte() % 32;
    _report->end(counters, status);
    _expected.emplace_back([counters, status](const Json& record) {
      fuzz::agree("record", record.at("record"), "summary");
      fuzz::agree("changed", record.at("changed"), counters.changed);
      fuzz::agree("missing", record.at("missing"), counters.missing);
      fuzz::agree("stray", record.at("stray"), counters.stray);
      fuzz::agree("unchecked", record.at("unchecked"), counters.unchecked);
      fuzz::agree("partial", record.at("partial"), counters.partial);
      fuzz::agree("status", record.at("status"), status);
    });
  }

  fuzz::Input& _input;
  std::unique_ptr<tool::CheckReport> _report = tool::jsonReport();
  std::list<CheckError> _errors;
  std::vector<Compare> _expected;
};

void run(fuzz::Input input) {
  Reporter reporter(input);
  fuzz::Output const output = fuzz::captured([&] {
    while (!input.atEnd())
      reporter.report(static_cast<char>(input.byte()));
  });
  fuzz::require(fuzz::isHarmless(output.out), "the report is harmless");
  std::vector<std::string> const lines = fuzz::split(output.out, '\n');
  fuzz::agree("lines", lines.size(), reporter.expected().size() + 1);
  for (std::size_t i = 0; i < reporter.expected().size(); ++i)
    reporter.expected()[i](Json::parse(lines[i]));
}

fuzz::Target const target("json", run);

}  // namespace
