// doctor: the lines of the lists, and the directories with fixed members.

#include <unistd.h>

#include "fixture.h"

class DoctorEntriesTest : public DoctorTest {
 protected:
  // The set wam with a single list of these lines.
  static ProgramRun doctorOf(const std::string& lines) {
    addList("wam.full.base.list", lines);
    return doctor();
  }

  static std::string where(int number, const std::string& list = "wam.full.base.list") {
    return "line " + std::to_string(number) + " of '" + home(list) + "'";
  }
};

TEST_F(DoctorEntriesTest, ShortLines) {
  expectProblem(doctorOf(sized("/a") + "\n/b\tx\n"), unchecked,
                where(4) + " has fewer than seven columns, and counts as an entry without a path",
                "give these lines all seven columns, or delete them, and sign the lists");
  expectAmong(doctorOf("-/b\n\n"), unchecked, where(3) + " has fewer than seven columns");
  expectAmong(doctor(), unchecked,
              where(4) + " has fewer than seven columns, and counts as an entry without a path");
}

TEST_F(DoctorEntriesTest, EmptyPaths) {
  expectProblem(doctorOf(sized("") + "\n"), unchecked, where(3) + " has an empty path",
                "give these lines a path, or delete them, and sign the lists");
}

TEST_F(DoctorEntriesTest, PathsThatNoCallerNames) {
  for (const char* const path : {"a/b", "/a//b", "/a/./b", "/a/../b", "/a/", "/a/.", "/a/.."})
    expectProblem(doctorOf(sized(path) + "\n"), unchecked,
                  "'" + std::string(path) + "', " + where(3) +
                      ", is not a path by which callers look up files",
                  "write these paths as 'realpath -sm' prints them, and sign the lists");
}

TEST_F(DoctorEntriesTest, PathsThatOnlyLookUnusualAreFine) {
  EXPECT_EQ(doctorOf(sized("/") + "\n" + sized("/a/...") + "\n" + sized("/a/.b") + "\n" +
                     sized("/..c") + "\n")
                .status,
            0);
}

TEST_F(DoctorEntriesTest, APathTwiceInOneList) {
  expectProblem(doctorOf(sized("/\x1b") + "\n" + sized("/b") + "\n" + sized("/\x1b") + "\n"),
                unchecked,
                "'/\\033' appears twice in one list, on " + where(3) + " and on " + where(5),
                "delete all but the intended line, and sign the lists");
}

TEST_F(DoctorEntriesTest, AnOverrideByANamedListIsFine) {
  addList("wam.full.more.list", sized("/a") + "\n");
  writeFile(home("listorder"), "wam.full.base.list\nwam.full.more.list\n");
  EXPECT_EQ(doctor().status, 0);
}

TEST_F(DoctorEntriesTest, AnOverrideThatOnlyByteOrderDecides) {
  addList("wam.full.more.list", sized("/b") + "\n" + sized("/a") + "\n");
  std::string const problem = "for '/a', " + where(4, "wam.full.more.list") + " overrides " +
                              where(3) +
                              " only because of the lists' names: listorder names neither list";
  expectAmong(doctor(), unchecked, problem);
  addList("wam.full.z.list", "");
  writeFile(home("listorder"), "wam.full.z.list\n");
  expectAmong(doctor(), unchecked, problem);
  addList("wam.full.more.list", "-" + sized("/a") + "\n" + sized("/b") + "\n");
  expectAmong(doctor(), unchecked,
              "for '/a', " + where(3, "wam.full.more.list") + " overrides " + where(3) +
                  " only because of the lists' names: listorder names neither list");
}

TEST_F(DoctorEntriesTest, RemovalLinesThatRemoveNothing) {
  expectProblem(doctorOf("-" + sized("/b") + "\n" + sized("/b") + "\n"), unchecked,
                "the removal of '/b', " + where(3) + ", removes nothing",
                "delete these lines and sign the lists, or correct the lists' order");
  EXPECT_EQ(doctorOf(sized("/b") + "\n-" + sized("/b") + "\n" + sized("/c") + "\n").status, 0);
  expectAmong(
      doctorOf(sized("/b") + "\n-" + sized("/b") + "\n-" + sized("/b") + "\n" + sized("/b") + "\n"),
      unchecked, "the removal of '/b', " + where(5) + ", removes nothing");
}

TEST_F(DoctorEntriesTest, APathThatIsRemovedMayBeNamedAgain) {
  EXPECT_EQ(doctorOf(sized("/b") + "\n-" + sized("/b") + "\n" + sized("/b") + "\n").status, 0);
}

TEST_F(DoctorEntriesTest, PlaceholdersInTheSystemsOwnSet) {
  for (const std::string& line : {entryLine("/$pkg_dir/a", "-", "-", "f", "-", "$pkg", "-"),
                                  entryLine("/$pkg_dir/a", "-", "-", "f", "-", "-", "$pkg_sys")})
    expectProblem(doctorOf(line + "\n"), unchecked,
                  "'/$pkg_dir/a', " + where(3) +
                      ", has a placeholder, which is resolved only in a package's set",
                  "replace the placeholders, or move these lines to the package's own set, and "
                  "sign the lists");
  EXPECT_EQ(doctorOf(entryLine("/a", "-", "-", "f", "-", "$pkg_dir", "$pkg1") + "\n")
                .output.find("has a placeholder"),
            std::string::npos);
}

TEST_F(DoctorEntriesTest, EachPlaceholderIsFoundByItself) {
  EXPECT_EQ(doctorOf(entryLine("/a", "-", "-", "f", "-", "$pkg", "-") + "\n").status, unchecked);
  EXPECT_EQ(doctorOf(entryLine("/a", "-", "-", "f", "-", "-", "$pkg_sys") + "\n").status,
            unchecked);
}

TEST_F(DoctorEntriesTest, NamesThatLookLikeAPlaceholderAreNoProblem) {
  std::string const start = "ok '/$pkg_dir/a', " + where(3) + ", has '$pkg_dir' as part";
  for (const std::string& line :
       {sized("/$pkg_dir/a"), entryLine("/$pkg_dir/a", "-", "$pkg_dir/b", "l", "-", "-", "-")}) {
    EXPECT_EQ(doctorOf(line + "\n").status, 0);
    ProgramRun const run = doctor({"--verbose"});
    EXPECT_NE(run.output.find(start), std::string::npos) << run.output;
  }
}

TEST_F(DoctorEntriesTest, PlaceholdersOfAPackageAreResolvedBeforePathsAreCompared) {
  addList(installDemo(), "demo.full.base.list",
          sized("$pkg_dir/a") + "\n" + sized("/var/packages/demo/target/a") + "\n");
  std::string const list = home("packages/demo/demo.full.base.list");
  expectProblem(doctor(), unchecked,
                "'/var/packages/demo/target/a' appears twice in one list, on line 3 of '" + list +
                    "' and on line 4 of '" + list + "'",
                "delete all but the intended line, and sign the lists");
}

TEST_F(DoctorEntriesTest, TenOfManySimilarProblemsAreNamed) {
  std::string lines;
  for (int i = 0; i < 25; ++i)
    lines += "short\n";
  ProgramRun const run = doctorOf(lines);
  std::vector<std::string> const said = linesOf(run.output);
  ASSERT_EQ(said.size(), 13U) << run.output;
  EXPECT_EQ(said[10], "problem: and 15 more like these");
  EXPECT_EQ(said[12].find("25 problems; "), 0U) << said[12];
}

TEST_F(DoctorEntriesTest, ColumnsThatNoFileCanHave) {
  std::string const digest(40, 'a');
  struct Case {
    std::string line;
    std::string wrong;
  };
  std::vector<Case> const cases = {
      {entryLine("/a", "1e3", "-", "f", "-", "-", "-"), "the size '1e3' is not a number"},
      {entryLine("/a", "", "-", "f", "-", "-", "-"), "the size '' is not a number"},
      {entryLine("/a", "-1", "-", "f", "-", "-", "-"), "the size '-1' is not a number"},
      {entryLine("/a", "-", std::string(40, 'A'), "f", "-", "-", "-"),
       "the content '" + std::string(40, 'A') + "' is not a SHA-1 of 40 lower-case digits"},
      {entryLine("/a", "-", "1:3", "c", "-", "-", "-"),
       "the content '1:3' is not a pair of device numbers such as 1,3"},
      {entryLine("/a", "-", "fixed", "d", "-", "-", "-"),
       "the content 'fixed' is not FIXED in upper case, so every member is reported"},
      {entryLine("/a", "-", "-", "F", "-", "-", "-"), "the type 'F' is not f, d, l, b, c, s or p"},
      {entryLine("/a", "-", "-", "f", "u=rw", "-", "-"),
       "the permission 'u=rw' is not an octal number up to 7777"},
      {entryLine("/a", "-", "-", "f", "10000", "-", "-"),
       "the permission '10000' is not an octal number up to 7777"},
      {entryLine("/a", "-", "-", "f", "-", "www-data", "-"),
       "the owner 'www-data' is not a number"},
      {entryLine("/a", "-", "-", "f", "-", "-", "0 "), "the group '0 ' is not a number"},
      {entryLine("/a", "-", "-", "f", "-", "4294967296", "-"),
       "the owner '4294967296' is not a number"},
  };
  for (const Case& one : cases)
    expectProblem(doctorOf(one.line + "\n"), unchecked,
                  "'/a', " + where(3) + ", states an impossible value: " + one.wrong,
                  "write these columns as zemo-selfcheck-list(5) says, or -, and sign the lists");
  EXPECT_EQ(doctorOf(entryLine("/a", "007", digest, "f", "07777", "4294967295", "0") + "\n" +
                     entryLine("/b", "-", "1,3", "c", "-", "-", "-") + "\n" +
                     entryLine("/c", "3", "fixed", "l", "-", "-", "-") + "\n-" +
                     entryLine("/c", "x", "x", "x", "x", "x", "x") + "\n")
                .status,
            0);
}

TEST_F(DoctorEntriesTest, FilesBelowDirectoriesThatOthersCanWrite) {
  std::string const lines = sized(files / "d/e/f") + "\n" + sized(files / "d/e/g") + "\n";
  makeDirectory(files / "d/e");
  changeMode(files / "d", 0755);
  changeMode(files / "d/e", 0755);
  EXPECT_EQ(doctorOf(lines).status, 0) << doctor().output;
  changeMode(files / "d", 0757);
  expectProblem(doctor(), unchecked,
                "'" + (files / "d") + "', above entries of set 'wam', is writable by others",
                "let only root change them, or list nothing below them");
  changeMode(files / "d", 01777);  // as /tmp is
  EXPECT_EQ(doctor().status, 0);
  changeMode(files / "d", 0755);
  if (chown((files / "d/e").c_str(), 7, 8) != 0)
    GTEST_SKIP() << "there is no other user here";
  expectProblem(doctor(), unchecked,
                "'" + (files / "d/e") + "', above entries of set 'wam', belongs to user 7",
                "let only root change them, or list nothing below them");
  ASSERT_EQ(chown((files / "d/e").c_str(), 0, 8), 0);
  changeMode(files / "d/e", 0775);
  expectProblem(doctor(), unchecked,
                "'" + (files / "d/e") + "', above entries of set 'wam', is writable by its group",
                "let only root change them, or list nothing below them");
}

TEST_F(DoctorEntriesTest, UnverifiedListsAreNotSearched) {
  std::string const list = addList("wam.full.base.list", "short\n");
  appendToFile(list, "short\n");
  ProgramRun const run = doctor();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(linesOf(run.output).size(), 3U) << run.output;
  EXPECT_EQ(run.output.find("seven columns"), std::string::npos) << run.output;
}

TEST_F(DoctorEntriesTest, OutputHasALimit) {
  std::string const output = doctorOf("-" + sized("/" + std::string(1000000, 'x')) + "\n").output;
  EXPECT_LT(output.size(), 30000U);
  EXPECT_NE(output.find("x... and "), std::string::npos);
}

TEST_F(DoctorEntriesTest, FixedEntriesThatAreNoDirectoriesByTheirType) {
  expectProblem(doctorOf(fixed("/nowhere", "f") + "\n"), unchecked,
                "the entry for '/nowhere' is FIXED, but its type is 'f', in '" +
                    home("wam.full.base.list") + "'",
                "give these entries the type d, and sign the lists");
  EXPECT_EQ(doctorOf(fixed("/nowhere", "-") + "\n").status, 0);
}

TEST_F(DoctorEntriesTest, FixedEntriesThatAreNoDirectoriesOnDisk) {
  makeDirectory(files / "d");
  makeLink("d", files / "l");
  expectProblem(doctorOf(fixed(files / "d") + "\n" + fixed(files / "l") + "\n"), unchecked,
                "'" + (files / "l") + "' is not a directory, but its entry in '" +
                    home("wam.full.base.list") + "' is FIXED",
                "write FIXED only for directories, not for links to them, and sign the lists");
}

TEST_F(DoctorEntriesTest, FixedDirectoriesThatCannotBeExamined) {
  makeDirectory(files / "closed/d");
  changeMode(files / "closed", 0);
  addList("wam.full.base.list", fixed(files / "closed/d") + "\n");
  ProgramRun const run = runProgram({"/usr/bin/setpriv", "--bounding-set",
                                     "-dac_override,-dac_read_search", ZEMO_TOOL, "doctor"});
  changeMode(files / "closed", 0755);
  expectProblem(run, unchecked,
                "cannot examine FIXED directory '" + (files / "closed/d") + "': Permission denied",
                "run this as root");
}

TEST_F(DoctorEntriesTest, NamesOfNeighboursThatAFixedDirectoryLetsIn) {
  expectProblem(
      doctorOf(fixed("/n/x") + "\n" + sized("/n/xy") + "\n" + sized("/n/x/a") + "\n"), unchecked,
      "the FIXED directory '/n/x' may hold 'xy' because of the entry for '/n/xy' next to it",
      "move one of the two entries to another set, rename one of them, or look for members of that "
      "name yourself");
  expectAmong(doctorOf(fixed("/n/x") + "\n" + sized("/n/x-y") + "\n" + sized("/n/x.d/deep") + "\n" +
                       sized("/n/x.z") + "\n" + sized("/n/x0") + "\n"),
              unchecked,
              "the FIXED directory '/n/x' may hold 'x.z' because of the entry for '/n/x.z' next to "
              "it");
  EXPECT_EQ(linesOf(doctor().output).size(), 5U) << doctor().output;
}

TEST_F(DoctorEntriesTest, NeighboursThatLetNothingInAreFine) {
  EXPECT_EQ(doctorOf(fixed("/n/x") + "\n" + sized("/n/x/a") + "\n" + sized("/n/x/b/c") + "\n" +
                     sized("/n/xy/a") + "\n" + sized("/n/y") + "\n")
                .status,
            0);
  // The name is also a member's.
  EXPECT_EQ(doctorOf(fixed("/n/x") + "\n" + sized("/n/xy") + "\n" + sized("/n/x/xy") + "\n").status,
            0);
  EXPECT_EQ(doctorOf(fixed("/") + "\n" + sized("/n") + "\n").status, 0);
}

TEST_F(DoctorEntriesTest, ManyEntriesAreFast) {
  std::string lines;
  for (int i = 0; i < 60000; ++i)
    lines += (i % 10 == 0 ? fixed("/many/" + std::to_string(i))
                          : sized("/many/0/" + std::to_string(i))) +
             "\n";
  EXPECT_EQ(doctorOf(lines).status, unchecked);
  EXPECT_EQ(doctorOf(lines + lines).status, unchecked);
}
