#include "support/witness.h"

#include <sstream>
#include <stdexcept>

#include "support/files.h"

const char noSignals[] = "0000000000000000";

const char* witness() {
  return ZEMO_EXEC_WITNESS;
}

Report readReport(const std::string& path) {
  Report report;
  std::istringstream content(readFile(path));
  for (std::string record; std::getline(content, record, '\0');) {
    size_t const end = record.find('=');
    std::string const name = record.substr(0, end);
    std::string const value = record.substr(end + 1);
    if (name == "word")
      report.words.push_back(value);
    else if (name == "variable")
      report.variables.push_back(value);
    else if (name == "descriptor")
      report.descriptors[std::stoi(value)] = value.substr(value.find(' ') + 1);
    else if (name == "blocked")
      report.blocked = value;
    else if (name == "ignored")
      report.ignored = value;
    else if (name == "process")
      report.process = std::stoi(value);
    else if (name == "parent")
      report.parent = std::stoi(value);
    else if (name == "group")
      report.group = std::stoi(value);
    else
      throw std::runtime_error("unexpected record " + record);
  }
  return report;
}
