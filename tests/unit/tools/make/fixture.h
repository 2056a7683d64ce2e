// zemo-selfcheck make, run on trees that the tests create.

#ifndef ZEMO_TESTS_UNIT_TOOLS_MAKE_FIXTURE_H
#define ZEMO_TESTS_UNIT_TOOLS_MAKE_FIXTURE_H

#include <zemo/selfcheck.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "support/tool_fixture.h"

class MakeTest : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    setenv("SOURCE_DATE_EPOCH", "1790000000", 1);
  }

  void TearDown() override {
    unsetenv("SOURCE_DATE_EPOCH");
    unsetenv("DPKG_ADMINDIR");
  }

  // Without the warning about the directories above the test's own, which no list names.
  ProgramRun make(std::vector<std::string> words) {
    words.insert(words.begin(), {"make", "--output", output});
    ProgramRun run = tool(words);
    run.errors = withoutWarning(run.errors);
    return run;
  }

  static std::string withoutWarning(std::string errors) {
    std::size_t const warning = errors.find(unlisted);
    if (warning != std::string::npos)
      errors.erase(warning, errors.find('\n', warning) + 1 - warning);
    return errors;
  }

  // The same as a caller who cannot read files against their permissions, even as root.
  ProgramRun makeAsOthers(std::vector<std::string> words) {
    words.insert(words.begin(),
                 {"/usr/bin/setpriv", "--bounding-set=-dac_override,-dac_read_search", ZEMO_TOOL,
                  "make", "--output", output});
    return runProgram(words);
  }

  // The entry lines of the list that was written.
  std::vector<std::string> entries() const { return entriesOf(output); }

  static std::vector<std::string> entriesOf(const std::string& list) {
    std::vector<std::string> lines = linesOf(readFile(list));
    lines.erase(lines.begin(), lines.begin() + 2);
    return lines;
  }

  // The lines of `paths`, as they are on disk. The last three columns of links are "-".
  static std::vector<std::string> linesFor(const std::vector<std::string>& paths) {
    std::vector<std::string> lines;
    for (const std::string& path : paths) {
      std::string line = entryLine(path);
      if (std::filesystem::is_symlink(path)) {
        for (int columns = 0; columns < 3; ++columns)
          line.erase(line.rfind('\t'));
        line += "\t-\t-\t-";
      }
      lines.push_back(line);
    }
    return lines;
  }

  // Loads lists as the library does, and checks all of their entries.
  static bool isIntact(const std::vector<std::string>& lists, const std::string& set = "wam") {
    using namespace ZEMO::SELF_CHECK;
    ProtectedFile::_pkginfo = {};  // another test's package
    FileList list(set, "full");
    for (const std::string& path : lists) {
      if (!list.parseList(path))
        return false;
    }
    return list.fillFixedDirInfo() && list.checkFiles(CHECK_ITEM_ALL);
  }

  // True if the list's directory contains nothing, or only the list.
  bool isOutputAlone() const {
    for (const auto& member : std::filesystem::directory_iterator(lists.path())) {
      if (member.path() != output)
        return false;
    }
    return true;
  }

  bool isWritten() const { return std::filesystem::exists(output); }

  static constexpr char unlisted[] = "zemo-selfcheck: warning: no list requires ";

  TemporaryDirectory lists;
  std::string output = lists / "wam.full.base.list";
};

#endif
