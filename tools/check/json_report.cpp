#include "check/report.h"
#include "io/descriptors.h"
#include "root/package.h"
#include "sets/items.h"
#include "sets/manifest_json.h"
#include "text/json.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

bool isNumber(CHECK_ERROR error) {
  return error == CHECK_ERROR_SIZE || error == CHECK_ERROR_OWNER || error == CHECK_ERROR_GROUP;
}

Json mismatch(const Finding& finding) {
  const CheckError& error = *finding.error;
  Json record;
  record["kind"] = kindName(error._error);
  if (error._error == CHECK_ERROR_UNKNOWN_FILE) {
    putText(record, "name", error._actual);
  } else if (error._error == CHECK_ERROR_NOT_EXIST) {
    if (!finding.unsearchable.empty())
      putText(record, "unsearchable", finding.unsearchable);
  } else {
    auto const put = isNumber(error._error) ? putNumber : putText;
    put(record, "expected", error._expected);
    put(record, "actual", error._actual);
  }
  if (finding.accepted)
    record["accepted"] = true;
  return record;
}

class JsonReport : public CheckReport {
 public:
  void begin(const CheckPlan& plan) override {
    Json record = startRecord();
    putTexts(record, "sets", plan.sets);
    putText(record, "mode", plan.mode);
    record["items"] = namesOf(plan.items);
    if (plan.root) {
      putText(record, "root", *plan.root);
      record["package_users"] = passwordFile;
    }
    if (plan.lists)
      putText(record, "lists", *plan.lists);
    writeLine(recordLine(record));
  }

  void manifest(const std::string& set, const ManifestCheck& check) override {
    Json record = about("manifest", set);
    putManifest(record, check);
    writeLine(recordLine(record));
  }

  void notLoaded(const std::string& set, const std::string& reason) override {
    Json record = about("not_loaded", set);
    putText(record, "reason", reason);
    writeLine(recordLine(record));
  }

  void mismatches(const std::string& set, const std::string& path,
                  const std::vector<Finding>& findings) override {
    Json record = about("entry", set);
    putText(record, "path", path);
    record["mismatches"] = Json::array();
    for (const Finding& finding : findings)
      record["mismatches"].push_back(mismatch(finding));
    writeLine(recordLine(record));
  }

  void unchecked(const std::string& set, const std::string& path,
                 const std::vector<std::string>& log, const std::string& reason) override {
    Json record = about("unchecked", set);
    putText(record, "path", path);
    putTexts(record, "log", log);
    if (!reason.empty())
      putText(record, "reason", reason);
    writeLine(recordLine(record));
  }

  void end(const Counters& counters, int status) override {
    Json record;
    record["record"] = "summary";
    record["sets"] = counters.sets;
    record["not_loaded"] = counters.notLoaded;
    record["entries"] = counters.entries;
    record["checked"] = counters.checked;
    record["changed"] = counters.changed;
    record["missing"] = counters.missing;
    record["stray"] = counters.stray;
    record["unchecked"] = counters.unchecked;
    record["accepted"] = counters.accepted;
    record["partial"] = counters.partial;
    if (counters.setsUnknown)
      record["sets_unknown"] = true;
    record["status"] = status;
    writeLine(recordLine(record));
  }

 private:
  static Json about(const char* kind, const std::string& set) {
    Json record;
    record["record"] = kind;
    putText(record, "set", set);
    return record;
  }
};

}  // namespace

std::unique_ptr<CheckReport> jsonReport() {
  return std::make_unique<JsonReport>();
}

}  // namespace tool
