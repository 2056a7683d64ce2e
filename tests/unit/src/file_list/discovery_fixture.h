// A directory of check lists, and the lists found in it.

#ifndef ZEMO_TESTS_UNIT_SRC_FILE_LIST_DISCOVERY_FIXTURE_H
#define ZEMO_TESTS_UNIT_SRC_FILE_LIST_DISCOVERY_FIXTURE_H

#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include <string>
#include <vector>

#include "support/doubles/recorded_log.h"
#include "support/files.h"
#include "support/temporary_directory.h"

class DiscoveryTest : public ::testing::Test {
 protected:
  void SetUp() override { clearLog(); }

  // Makes wam.full.NAME.list for every name.
  void makeLists(const std::vector<std::string>& names) const {
    for (const std::string& name : names)
      writeFile(path(list(name)), "");
  }

  void writeOrder(const std::string& content) const { writeFile(path("listorder"), content); }

  std::string path(const std::string& name) const { return _directory / name; }

  static std::string list(const std::string& name) { return "wam.full." + name + ".list"; }

  // The NAMEs of the lists found in the directory, in order.
  std::vector<std::string> found() const {
    std::vector<std::string> names;
    std::string const before = path("wam.full.");
    for (const std::string& match : glob(_directory.path(), before + "*.list"))
      names.push_back(match.substr(before.size(), match.size() - before.size() - 5));
    return names;
  }

  TemporaryDirectory _directory;
};

#endif
