#include "sets/manifest_json.h"

#include "text/strings.h"

namespace tool {

void putManifest(Json& record, const ManifestCheck& check) {
  record["state"] = stateName(check.state);
  if (check.manifest) {
    record["serial"] = check.manifest->label.serial;
    record["date"] = utcText(check.manifest->label.date);
  }
  if (!check.reason.empty())
    putText(record, "reason", check.reason);
  if (!check.differences.empty())
    record["differences"] = Json::array();
  for (const ManifestDifference& difference : check.differences) {
    Json one;
    one["kind"] = kindName(difference.kind);
    putText(one, "list", difference.list);
    record["differences"].push_back(one);
  }
}

}  // namespace tool
