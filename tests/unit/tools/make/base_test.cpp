// zemo-selfcheck make --base: a list of the differences from earlier lists.

#include <unistd.h>

#include "fixture.h"

using Lines = std::vector<std::string>;

class MakeBaseTest : public MakeTest {
 protected:
  void SetUp() override {
    MakeTest::SetUp();
    makeDirectory(files / "d");
    for (const char* const name : {"d/a", "d/b", "d/c", "other"})
      writeFile(files / name, name);
    base = lists / "wam.full.base.list";
    output = base;
    if (!IsSkipped()) {
      ASSERT_EQ(make({files.path()}).status, 0);
    }
    output = lists / "wam.full.update.list";
  }

  static std::string removal(const std::string& path) { return "-" + path + "\t-\t-\t-\t-\t-\t-"; }

  std::string base;
};

TEST_F(MakeBaseTest, OnlyWhatDiffersIsWritten) {
  writeFile(files / "d/b", "changed");
  writeFile(files / "d/new", "");
  remove(files / "d/a");
  ProgramRun const run = make({files / "d", "--base", base});
  EXPECT_EQ(run.output, "wam.full.update.list: 2 files, 1 removal\n");
  EXPECT_EQ(entries(), (Lines{removal(files / "d/a"), linesFor({files / "d/b"})[0],
                              linesFor({files / "d/new"})[0]}));
  EXPECT_TRUE(isIntact({base, output}));
  EXPECT_FALSE(isIntact({base}));
}

TEST_F(MakeBaseTest, SeveralBasesAreMergedInOrder) {
  writeFile(files / "d/b", "changed");
  std::string const second = lists / "wam.full.second.list";
  ASSERT_EQ(tool({"make", "--output", second, "--base", base, "--", files / "d"}).status, 0);
  ASSERT_EQ(make({files / "d", "--base", base, second}).status, 0);
  EXPECT_EQ(entries(), Lines{});
  ASSERT_EQ(make({files / "d", "--base", second, base}).status, 0);
  EXPECT_EQ(entries(), linesFor({files / "d/b"}));
}

TEST_F(MakeBaseTest, ListWithoutDifferencesIsWrittenWithoutEntries) {
  ProgramRun const run = make({files / "d", "--base", base});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "wam.full.update.list: no entries: nothing differs from the base lists\n");
  EXPECT_EQ(linesOf(readFile(output)).size(), 2U);
  EXPECT_TRUE(isIntact({base, output}));
}

TEST_F(MakeBaseTest, NothingOutsideTheTreesIsRemoved) {
  remove(files / "other");
  remove(files / "d/a");
  writeFile(files / "dx", "");
  ASSERT_EQ(make({files / "d", "--base", base}).status, 0);
  EXPECT_EQ(entries(), Lines{removal(files / "d/a")});
}

TEST_F(MakeBaseTest, TreeThatIsGoneIsRemoved) {
  remove(files / "d");
  ASSERT_EQ(make({files / "d", "--base", base}).status, 0);
  EXPECT_EQ(entries(), (Lines{removal(files / "d"), removal(files / "d/a"), removal(files / "d/b"),
                              removal(files / "d/c")}));
  EXPECT_EQ(make({files / "none", "--base", base}).status, unchecked);
}

TEST_F(MakeBaseTest, ExcludedFilesAreRemoved) {
  ASSERT_EQ(make({files / "d", "--base", base, "--exclude", "b"}).status, 0);
  EXPECT_EQ(entries(), Lines{removal(files / "d/b")});
}

TEST_F(MakeBaseTest, MembersOfAFixedDirectoryAreRemoved) {
  remove(files / "d/a");
  remove(files / "other");
  makeDirectory(files / "d/sub");
  ASSERT_EQ(make({"--base", base, "--fixed", files / "d"}).status, 0);
  EXPECT_EQ(entries()[1], removal(files / "d/a"));
  EXPECT_EQ(entries().size(), 3U);
}

TEST_F(MakeBaseTest, WithNamesFromElsewhereMissingFilesAreRemoved) {
  remove(files / "other");
  writeFile(files / "names", (files / "d/a") + "\n" + (files / "other"));
  ASSERT_EQ(make({"--from", files / "names", "--base", base}).status, 0);
  EXPECT_EQ(entries(), Lines{removal(files / "other")});
}

TEST_F(MakeBaseTest, UnreadableBaseIsRefused) {
  writeFile(files / "no-list", "x\n");
  ProgramRun const run = make({files / "d", "--base", base, files / "no-list"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(linesOf(run.errors).back(),
            "zemo-selfcheck: base list '" + (files / "no-list") + "' cannot be read");
  EXPECT_EQ(make({files / "d", "--base", files / "none"}).status, notLoaded);
  EXPECT_FALSE(isWritten());
}

TEST_F(MakeBaseTest, ListIsNotItsOwnBase) {
  writeFile(output, readFile(base));
  EXPECT_EQ(make({files / "d", "--base", output}).status, usage);
  ASSERT_EQ(link(output.c_str(), (files / "same").c_str()), 0);
  EXPECT_EQ(make({files / "d", "--base", files / "same"}).status, usage);
}

TEST_F(MakeBaseTest, FixedDirectoriesOfTheBaseStayFixed) {
  output = base;
  ASSERT_EQ(make({files / "d", "--fixed", files / "d"}).status, 0);
  output = lists / "wam.full.update.list";
  ASSERT_EQ(make({files / "d", "--base", base}).output,
            "wam.full.update.list: no entries: nothing differs from the base lists\n");
  writeFile(files / "d/new", "");
  changeMode(files / "d", 0700);
  ProgramRun const run = make({files / "d", "--base", base});
  EXPECT_EQ(run.output, "wam.full.update.list: 1 file, 1 directory (1 fixed)\n");
  EXPECT_EQ(run.status, 0);
}

TEST_F(MakeBaseTest, PathsMayFollowOptionsThatTakeSeveralValues) {
  writeFile(files / "d/b", "changed");
  Lines const expected = linesFor({files / "d/b"});
  ASSERT_EQ(make({"--base", base, files / "d"}).status, 0);
  EXPECT_EQ(entries(), expected);
  ASSERT_EQ(make({"--dpkg", "base-files", files / "d/b"}).status, 0);
  EXPECT_GT(entries().size(), 20U);
  EXPECT_NE(readFile(output).find(expected[0]), std::string::npos);
}

TEST_F(MakeBaseTest, BracketsInNamesAreNotLists) {
  makeDirectory(files / "[d,other]");
  std::filesystem::path const before = std::filesystem::current_path();
  std::filesystem::current_path(files.path());
  ProgramRun const run = make({"[d,other]"});
  std::filesystem::current_path(before);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(entries(), linesFor({files / "[d,other]"}));
}
