#include "text/json.h"

#include <charconv>
#include <cstdint>
#include <ctime>
#include <utility>

#include "text/escape.h"
#include "text/strings.h"

namespace tool {

Json startRecord() {
  Json record;
  record["record"] = "start";
  record["format"] = 1;
  record["program"] = "zemo-selfcheck";
  record["version"] = ZEMO_VERSION;
  record["time"] = utcText(std::time(nullptr));
  return record;
}

std::string jsonText(const std::string& bytes) {
  std::string text;
  std::string_view rest = bytes;
  while (!rest.empty()) {
    std::size_t const length = utf8Length(rest);
    if (length == 0)
      text += "\xef\xbf\xbd";
    else
      text += rest.substr(0, length);
    rest.remove_prefix(length == 0 ? 1 : length);
  }
  return text;
}

void putText(Json& record, const std::string& name, const std::string& bytes) {
  record[name] = jsonText(bytes);
  if (!isUtf8(bytes))
    record[name + "_hex"] = hexadecimal(bytes);
}

void putTexts(Json& record, const std::string& name, const std::vector<std::string>& texts) {
  Json plain = Json::array();
  Json exact = Json::array();
  bool same = true;
  for (const std::string& text : texts) {
    plain.push_back(jsonText(text));
    exact.push_back(hexadecimal(text));
    same = same && isUtf8(text);
  }
  record[name] = std::move(plain);
  if (!same)
    record[name + "_hex"] = std::move(exact);
}

void putNumber(Json& record, const std::string& name, const std::string& column) {
  int64_t number = 0;
  const char* const end = column.data() + column.size();
  std::from_chars_result const result = std::from_chars(column.data(), end, number);
  if (result.ec == std::errc() && result.ptr == end && std::to_string(number) == column)
    record[name] = number;
  else
    putText(record, name, column);
}

std::string recordLine(const Json& record) {
  return record.dump(-1, ' ', true);
}

}  // namespace tool
