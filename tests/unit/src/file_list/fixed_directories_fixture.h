// Sets that contain directories with fixed members.

#ifndef ZEMO_TESTS_UNIT_SRC_FILE_LIST_FIXED_DIRECTORIES_FIXTURE_H
#define ZEMO_TESTS_UNIT_SRC_FILE_LIST_FIXED_DIRECTORIES_FIXTURE_H

#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include <boost/make_shared.hpp>
#include <string>
#include <vector>

#include "loading_fixture.h"
#include "support/doubles/recorded_log.h"
#include "support/files.h"

class FixedDirectoriesTest : public LoadingTest {
 protected:
  // Creates an entry with this hash column, under its path.
  void add(const std::string& path, const std::string& hash = "-") {
    (*_list.getProtectedFiles())[path] = boost::make_shared<ZEMO::SELF_CHECK::ProtectedFile>(
        entryLine(path, "-", hash, "-", "-", "-", "-"));
  }

  void addFixed(const std::string& path) { add(path, "FIXED"); }

  // Collects the directories and their members; this neither fails nor logs.
  void collect() {
    EXPECT_TRUE(_list.fillFixedDirInfo());
    EXPECT_EQ(recordedLog(), std::vector<LogLine>());
  }

  std::vector<std::string> namesOf(const std::string& path) const {
    return entryOf(_list, path)->_fixedEntries;
  }

  // True if the path, which is not listed, is in a directory with fixed members.
  static bool isInFixedDirectory(ZEMO::SELF_CHECK::FileList& list, const std::string& path) {
    std::vector<SELFCHECK_RESULT> results;
    EXPECT_TRUE(list.checkFiles({path}, results));
    EXPECT_EQ(results.at(0).notListed, 1U) << path;
    return results.at(0).inFixedDir != 0;
  }
  bool isInFixedDirectory(const std::string& path) { return isInFixedDirectory(_list, path); }
};

#endif
