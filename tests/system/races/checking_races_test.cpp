// Files, fixed directories and lists change while the library checks a set or named files.

#include <zemo/selfcheck/file_list.h>

#include "set_fixture.h"
#include "support/doubles/recorded_log.h"
#include "support/files.h"

namespace {

using namespace ZEMO::SELF_CHECK;

class CheckingRacesTest : public SetRacesTest {
 protected:
  void makeFiles() const {
    clear(files.path());
    makeDirectory(directory);
    writeFile(file, "content\n");
    makeLink("file", link);
    letATickPass();
  }

  // A directory with fixed members, a file and a link.
  std::string lines() const {
    std::string fixed = entryLine(directory);
    fixed.replace(fixed.find("\t-\t-\t"), 5, "\t-\tFIXED\t");
    return fixed + "\n" + entryLine(file) + "\n" + entryLine(link) + "\n";
  }

  Operation checkOfSet() {
    makeFiles();
    clearLists();
    writeSigned("a", lines());
    return {files.path(), [this] { makeFiles(); },
            [] {
              FileList list("wam", "full");
              if (!list.loadList(false))
                return failed;
              clearLog();
              if (!list.check(CHECK_ITEM_ALL))
                return changed;
              return recordedLog().empty() ? intact : failed;
            }};
  }

  // Calls the C function for the file, whose list is `lines`.
  Operation checkOfNamed(const std::string& lines) {
    return {listDir,
            [this, lines] {
              makeFiles();
              clearLists();
              writeSigned("a", lines);
              writeFile(std::string(listDir) + "/listorder", "wam.full.a.list\n");
            },
            [this] { return checkNamed(file); }};
  }

  std::string const directory = files / "directory";
  std::string const file = directory + "/file";
  std::string const link = directory + "/link";
};

TEST_F(CheckingRacesTest, FileOfASet) {
  race(checkOfSet(), file, fileChanges());
}

TEST_F(CheckingRacesTest, LinkOfASet) {
  race(checkOfSet(), link, without({"unreadable", "copy"}, replacements()));
}

TEST_F(CheckingRacesTest, FixedDirectoryOfASet) {
  race(checkOfSet(), directory, directoryChanges());
}

TEST_F(CheckingRacesTest, NamedFile) {
  makeFiles();
  race(checkOfNamed(lines()), file, fileChanges());
}

// Without this list, the file would be intact. The library opens it twice, to verify and to parse
// it.
TEST_F(CheckingRacesTest, ListOfANamedFile) {
  makeFiles();
  race(checkOfNamed(lines()), listOf("a"), without({"copy", "grown"}, fileChanges()));
}

// A file that is not intact stays so, whatever happens to the files of the set.
TEST_F(CheckingRacesTest, ChangedFileNeverPasses) {
  makeFiles();
  std::string const truth = lines();
  Operation operation = checkOfNamed(truth);
  operation.unchanged = changed;
  operation.prepare = [this, prepare = operation.prepare] {
    prepare();
    writeFile(file, "changed\n");
  };
  std::string const list = listOf("a");
  for (const std::string& object : {list, list + ".asc", std::string(listDir) + "/listorder"})
    race(operation, object, fileChanges(), [](const Situation& /*situation*/, int outcome) {
      return outcome == changed || outcome == failed;
    });
}

}  // namespace
