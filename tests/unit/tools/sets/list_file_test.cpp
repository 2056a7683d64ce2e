#include "sets/list_file.h"

#include <gtest/gtest.h>

#include "io/exit_status.h"
#include "sets/sets.h"
#include "support/files.h"
#include "support/temporary_directory.h"

using namespace ZEMO::SELF_CHECK;
using tool::ListFile;
using tool::readListFile;

namespace {

class ListFileTest : public testing::Test {
 protected:
  std::string holding(const std::string& text) const {
    writeFile(directory / "list", text);
    return directory / "list";
  }

  // The reason that is given for the list at `path`, after its name.
  static std::string reasonFor(const std::string& path) {
    try {
      readListFile(path);
    } catch (const tool::Failure& failure) {
      EXPECT_EQ(failure.status(), tool::STATUS_NOT_LOADED);
      std::string const what = failure.what();
      EXPECT_NE(what.find("'" + path + "'"), std::string::npos);
      return what.substr(what.rfind(": ") + 2);
    }
    return "";
  }

  TemporaryDirectory directory;
};

}  // namespace

TEST_F(ListFileTest, LinesHaveNumbersAndColumns) {
  ListFile const list = readListFile(
      holding("WAM_SELF_CHECK\nlabel text\n/a\t1\t2\tf\t4\t5\t6\n-/b\t-\t-\t-\t-\t-\t-\nshort"));
  EXPECT_EQ(list.label, "label text");
  ASSERT_EQ(list.lines.size(), 3U);
  EXPECT_EQ(list.lines[0].number, 3U);
  EXPECT_FALSE(list.lines[0].removal);
  EXPECT_TRUE(list.lines[0].complete);
  EXPECT_EQ(tool::entryLine(*list.lines[0].entry), "/a\t1\t2\tf\t4\t5\t6");
  EXPECT_TRUE(list.lines[1].removal);
  EXPECT_EQ(list.lines[1].entry->_path, "/b");
  EXPECT_EQ(list.lines[2].number, 5U);
  EXPECT_FALSE(list.lines[2].complete);
  EXPECT_EQ(list.lines[2].entry->_path, "");
}

TEST_F(ListFileTest, PlaceholdersStayAndTheBindingToo) {
  ProtectedFile::_pkginfo.isSet = true;
  ProtectedFile::_pkginfo.uid = 9;
  ProtectedFile::_pkginfo.targetDir = "/target";
  ListFile const list =
      readListFile(holding("WAM_SELF_CHECK\n\n$pkg_dir/a\t-\t-\tf\t-\t$pkg\t$pkg_sys\n"));
  EXPECT_EQ(tool::entryLine(*list.lines.at(0).entry), "$pkg_dir/a\t-\t-\tf\t-\t$pkg\t$pkg_sys");
  EXPECT_TRUE(ProtectedFile::_pkginfo.isSet);
  EXPECT_EQ(ProtectedFile::_pkginfo.targetDir, "/target");
  EXPECT_THROW(readListFile(directory / "none"), tool::Failure);
  EXPECT_TRUE(ProtectedFile::_pkginfo.isSet);
  tool::forgetPackage();
  EXPECT_FALSE(ProtectedFile::_pkginfo.isSet);
  EXPECT_EQ(ProtectedFile::_pkginfo.uid, 0U);
  EXPECT_EQ(ProtectedFile::_pkginfo.targetDir, "");
}

TEST_F(ListFileTest, HeadOnlyIsAnEmptyList) {
  EXPECT_TRUE(readListFile(holding("WAM_SELF_CHECK\nx")).lines.empty());
  EXPECT_TRUE(readListFile(holding("WAM_SELF_CHECK\nx\n")).lines.empty());
}

TEST_F(ListFileTest, FilesThatAreNotLists) {
  EXPECT_EQ(reasonFor(holding("")), "its first line is not WAM_SELF_CHECK");
  EXPECT_EQ(reasonFor(holding("WAM_SELF_CHECK\r\nx\n")), "its first line is not WAM_SELF_CHECK");
  EXPECT_EQ(reasonFor(holding("WAM_SELF_CHECK\n")), "it has no second line");
  EXPECT_EQ(reasonFor(directory / "none"), "No such file or directory");
  EXPECT_EQ(reasonFor(directory.path()), "it is not a regular file");
  makeFifo(directory / "fifo");
  EXPECT_EQ(reasonFor(directory / "fifo"), "it is not a regular file");
}
