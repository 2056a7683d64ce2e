// JSON records.

#ifndef ZEMO_TOOLS_TEXT_JSON_H
#define ZEMO_TOOLS_TEXT_JSON_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace tool {

// Keeps the order in which members are put in.
using Json = nlohmann::ordered_json;

// `bytes` with U+FFFD for each byte that is no UTF-8, which JSON has no other way to write.
std::string jsonText(const std::string& bytes);

// Puts jsonText(bytes) under `name` and, if that is not the same, all of the bytes in hexadecimal
// digits under `name`_hex.
void putText(Json& record, const std::string& name, const std::string& bytes);

// The same for several texts: arrays under `name` and, if any of them is not the same, `name`_hex.
void putTexts(Json& record, const std::string& name, const std::vector<std::string>& texts);

// Puts a column of an entry under `name`: a decimal number as a number if it is written as one
// writes numbers, all else as text.
void putNumber(Json& record, const std::string& name, const std::string& column);

// Writes the record as one line to standard output.
void writeRecord(const Json& record);

}  // namespace tool

#endif
