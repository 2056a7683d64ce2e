// Lists to parse, one at a time.

#ifndef ZEMO_TESTS_UNIT_SRC_FILE_LIST_PARSING_FIXTURE_H
#define ZEMO_TESTS_UNIT_SRC_FILE_LIST_PARSING_FIXTURE_H

#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include <string>
#include <vector>

#include "loading_fixture.h"
#include "support/doubles/recorded_log.h"
#include "support/files.h"
#include "support/temporary_directory.h"

inline LogLine notOpened(const std::string& list) {
  return logged("file_list", 104, "Open input file [%s] failed", list);
}

inline LogLine noSecondLine() {
  return logged("file_list", 113, "Format Error");
}

inline LogLine notInstalled(const std::string& package) {
  return logged("protected_file", 113, "package [%s] is not installed.", package);
}

class ParsingTest : public LoadingTest {
 protected:
  // Parses a file with this content into the list.
  bool parse(const std::string& content) {
    writeFile(path(), content);
    return _list.parseList(path());
  }

  // Parses a list with these lines into the list; this succeeds and logs nothing.
  void add(const std::string& lines) {
    clearLog();
    EXPECT_TRUE(parse("WAM_SELF_CHECK\nfree text\n" + lines));
    EXPECT_EQ(recordedLog(), std::vector<LogLine>());
  }

  std::vector<std::string> paths() const { return pathsOf(_list); }

  std::string path() const { return _directory / "list"; }

 private:
  TemporaryDirectory _directory;
};

#endif
