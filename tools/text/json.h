// JSON records.

#ifndef ZEMO_TOOLS_TEXT_JSON_H
#define ZEMO_TOOLS_TEXT_JSON_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace tool {

// Keeps the order in which members are added.
using Json = nlohmann::ordered_json;

// The first record of an output, without its details. Its format is raised when a record loses a
// member or changes its meaning.
Json startRecord();

// `bytes` with U+FFFD for each byte that is not UTF-8, because JSON cannot represent such bytes.
std::string jsonText(const std::string& bytes);

// Adds jsonText(bytes) under `name` and, if that differs from `bytes`, all of the bytes in
// hexadecimal digits under `name`_hex.
void putText(Json& record, const std::string& name, const std::string& bytes);

// The same for several texts: arrays under `name` and, if any of them differs, `name`_hex.
void putTexts(Json& record, const std::string& name, const std::vector<std::string>& texts);

// Adds a column of an entry under `name`: as a number if it is a decimal number in normal notation,
// otherwise as text.
void putNumber(Json& record, const std::string& name, const std::string& column);

// The record as one line without a line feed. It is ASCII, so that no name can control a terminal.
std::string recordLine(const Json& record);

}  // namespace tool

#endif
