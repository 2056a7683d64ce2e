// JSON lines that the program prints, and the schemas that it installs.

#ifndef ZEMO_TESTS_UNIT_TOOLS_JSON_LINES_H
#define ZEMO_TESTS_UNIT_TOOLS_JSON_LINES_H

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/program.h"

inline bool canValidate() {
  static bool const can = runProgram({"/usr/bin/python3", "-c", "import jsonschema"}).status == 0;
  return can;
}

// The lines that do not conform to the command's schema, with the reasons.
inline std::string rejected(const std::string& command, const std::string& lines) {
  std::string const schema = std::string(ZEMO_SCHEMAS) + "/" + command + ".schema.json";
  ProgramRun const run = runProgram({"/usr/bin/python3", ZEMO_VALIDATE_JSON, schema}, lines);
  return run.output + run.errors;
}

// The records in `lines`, all of which must conform to the schema.
inline std::vector<nlohmann::json> recordsOf(const std::string& command, const std::string& lines) {
  if (canValidate()) {
    EXPECT_EQ(rejected(command, lines), "");
  }
  std::vector<nlohmann::json> records;
  for (const std::string& line : linesOf(lines))
    records.push_back(nlohmann::json::parse(line));
  return records;
}

// The kinds of the records.
inline std::vector<std::string> kindsOf(const std::vector<nlohmann::json>& records) {
  std::vector<std::string> names;
  for (const nlohmann::json& record : records)
    names.push_back(record.at("record"));
  return names;
}

#endif
