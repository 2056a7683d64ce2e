// The system's own set, loaded without its signatures, for checks of named files.

#ifndef ZEMO_TESTS_UNIT_SRC_ENTRY_POINT_NAMED_FILES_FIXTURE_H
#define ZEMO_TESTS_UNIT_SRC_ENTRY_POINT_NAMED_FILES_FIXTURE_H

#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include <string>
#include <utility>
#include <vector>

#include "support/doubles/recorded_log.h"
#include "support/files.h"
#include "support/private_root.h"
#include "support/result_mask.h"
#include "support/temporary_directory.h"

class NamedFilesTest : public PrivateRootTest {
 protected:
  void SetUp() override {
    PrivateRootTest::SetUp();
    clearLog();
  }

  // Makes the file `name` and returns its path.
  std::string file(const std::string& name, const std::string& content = "content") {
    std::string path = _directory / name;
    writeFile(path, content);
    return path;
  }

  // Makes the directory `name` and returns its path.
  std::string directory(const std::string& name) {
    std::string path = _directory / name;
    makeDirectory(path);
    return path;
  }

  std::string pathOf(const std::string& name) const { return _directory / name; }

  // Loads a list of these entry lines.
  void load(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
      text += line + "\n";
    writeList("wam.full.base.list", text);
    ASSERT_TRUE(_list.loadList(false));
  }

  // The results for these paths; the check must succeed.
  std::vector<uint32_t> check(const std::vector<std::string>& paths) {
    std::vector<SELFCHECK_RESULT> results;
    EXPECT_TRUE(_list.checkFiles(paths, results));
    return masksOf(results);
  }

  uint32_t check(const std::string& path) {
    std::vector<uint32_t> const masks = check(std::vector<std::string>{path});
    return masks.size() == 1 ? masks[0] : 0xffffffff;
  }

  ZEMO::SELF_CHECK::ProtectedFile& entry(const std::string& path) {
    return *_list.getProtectedFiles()->at(path);
  }

  TemporaryDirectory _directory;
  ZEMO::SELF_CHECK::FileList _list = {"wam", "full"};
};

// The entry line of a directory with fixed members.
inline std::string fixedLine(const std::string& path) {
  return entryLine(path, "-", "FIXED", "d", "-", "-", "-");
}

#endif
