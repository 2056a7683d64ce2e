// doctor: the sets, their directories and their listorder.

#include "tools/doctor_fixture.h"

class DoctorSetsTest : public DoctorTest {
 protected:
  static void order(const std::string& content) { writeFile(home("listorder"), content); }
  static std::string line(int number, const std::string& text) {
    return "line " + std::to_string(number) + " of '" + home("listorder") + "', '" + text + "', ";
  }
};

TEST_F(DoctorSetsTest, NoListAtAll) {
  remove(home("wam.full.base.list"));
  expectProblem(doctor(), notLoaded,
                "there is no list of the set 'wam' and the mode 'full' in '/usr/zemo/selfcheck'",
                "make, sign and install one: zemo-selfcheck make --help");
}

TEST_F(DoctorSetsTest, ModeNamesOtherLists) {
  EXPECT_EQ(doctor({"--mode", "quick"}).status, notLoaded);
  addList("wam.quick.base.list", sized("/a") + "\n");
  EXPECT_EQ(doctor({"--mode", "quick"}).status, 0);
}

TEST_F(DoctorSetsTest, ListsWithoutEntries) {
  addList("wam.full.base.list", "");
  expectProblem(doctor(), notLoaded,
                "the lists of the set 'wam' have no entries, so that nothing is checked",
                "make, sign and install others: zemo-selfcheck make --help");
}

TEST_F(DoctorSetsTest, AnOrderThatIsADevice) {
  makeLink("/dev/null", home("listorder"));
  ProgramRun const run = doctor();
  expectAmong(run, unchecked, "'" + home("listorder") + "' is not a regular file");
  EXPECT_NE(run.output.find("   mend: rm " + home("listorder") +
                            ", and write one with the lists' names\n"),
            std::string::npos)
      << run.output;
  EXPECT_EQ(run.output.find("chmod"), std::string::npos) << run.output;
}

TEST_F(DoctorSetsTest, AnOrderThatIsADirectory) {
  makeDirectory(home("listorder"));
  changeMode(home("listorder"), 0755);
  expectProblem(doctor(), unchecked, "'" + home("listorder") + "' is not a regular file",
                "rm -r " + home("listorder") + ", and write one with the lists' names");
}

TEST_F(DoctorSetsTest, AListWithAnotherHeader) {
  writeFile(home("wam.full.base.list"), "WAM_SELF_CHECK\r\ntext\r\n");
  key().sign(home("wam.full.base.list"));
  changeMode(home("wam.full.base.list.asc"), 0644);
  expectProblem(
      doctor(), notLoaded,
      "'" + home("wam.full.base.list") + "' is no check list: its first line is not WAM_SELF_CHECK",
      "install the list again; a list begins with the line WAM_SELF_CHECK and a line of "
      "any text");
}

TEST_F(DoctorSetsTest, AListThatSaysThatItIsAnother) {
  writeFile(home("wam.full.base.list"),
            "WAM_SELF_CHECK\nset=wam mode=full list=old serial=7 date=2026-09-21T12:00:00Z\n" +
                sized("/a") + "\n");
  key().sign(home("wam.full.base.list"));
  changeMode(home("wam.full.base.list.asc"), 0644);
  expectProblem(doctor(), unchecked,
                "'" + home("wam.full.base.list") +
                    "' says in its second line that it is another list: set 'wam', mode 'full', "
                    "list 'old'",
                "install the list that belongs there, and its .asc");
  runShell("sed -i s/list=old/list=base/ " + home("wam.full.base.list"));
  key().sign(home("wam.full.base.list"));
  changeMode(home("wam.full.base.list.asc"), 0644);
  EXPECT_EQ(doctor().status, 0) << doctor().output;
}

TEST_F(DoctorSetsTest, AListThatIsALinkToNothing) {
  makeLink("nowhere", home("wam.full.z.list"));
  order("wam.full.base.list\nwam.full.z.list\n");
  expectAmong(doctor(), notLoaded,
              "'" + home("wam.full.z.list") + "': '" + home("nowhere") + "' does not exist");
}

TEST_F(DoctorSetsTest, SeveralListsWithoutOrder) {
  addList("wam.full.more.list", sized("/b") + "\n");
  expectProblem(doctor(), unchecked,
                "'" + home("listorder") +
                    "' does not exist, so that 2 lists are read in the byte order of their names",
                "printf '%s\\n' wam.full.base.list wam.full.more.list >" + home("listorder") +
                    ", in the order in which they shall be read, the last overrides");
  order("wam.full.base.list\nwam.full.more.list\n");
  EXPECT_EQ(doctor().status, 0);
}

TEST_F(DoctorSetsTest, AListThatTheOrderDoesNotName) {
  addList("wam.full.more.list", sized("/b") + "\n" + sized("/c") + "\n");
  order("wam.full.base.list\n");
  expectProblem(doctor(), unchecked,
                "'" + home("listorder") +
                    "' does not name 'wam.full.more.list', which is read before all that it names: "
                    "they override its 2 entries",
                "write each name on a line of its own at its place in " + home("listorder"));
}

TEST_F(DoctorSetsTest, AnOrderThatNamesNoListOfTheSet) {
  addList("wam.full.more.list", sized("/b") + "\n");
  order("");
  expectAmong(doctor(), unchecked,
              "'" + home("listorder") +
                  "' does not name 'wam.full.base.list', nor any other list of the set 'wam'");
}

TEST_F(DoctorSetsTest, NamesInTheOrderThatMatchNoList) {
  order("wam.full.base.list\nwam.full.gone.list\n\ngpg.conf\n");
  ProgramRun const run = doctor();
  expectAmong(run, unchecked, line(2, "wam.full.gone.list") + "names no list of the set 'wam'");
  expectAmong(run, unchecked, line(4, "gpg.conf") + "names no list of the set 'wam'");
  EXPECT_EQ(linesOf(run.output).size(), 4U) << run.output;
}

TEST_F(DoctorSetsTest, NamesOfAnotherModesListsAreFine) {
  addList("wam.quick.base.list", "");
  order("wam.full.base.list\nwam.quick.base.list\n");
  EXPECT_EQ(doctor().status, 0);
}

TEST_F(DoctorSetsTest, CarriageReturnsInTheOrder) {
  order("wam.full.base.list\r\n");
  expectProblem(
      doctor(), unchecked,
      line(1, "wam.full.base.list\\015") + "ends with a carriage return, and so names no list",
      "sed -i 's/^[[:space:]]*//; s/[[:space:]]*$//' " + home("listorder"));
}

TEST_F(DoctorSetsTest, BlanksInTheOrder) {
  order(" wam.full.base.list\nwam.full.base.list\t\n");
  ProgramRun const run = doctor();
  expectAmong(run, unchecked,
              line(1, " wam.full.base.list") +
                  "has blanks before or behind the name, and so names no list");
  expectAmong(run, unchecked,
              line(2, "wam.full.base.list\\011") +
                  "has blanks before or behind the name, and so names no list");
}

TEST_F(DoctorSetsTest, ThatMendForBlanksHelps) {
  order(" wam.full.base.list \r\n");
  runShell("sed -i 's/^[[:space:]]*//; s/[[:space:]]*$//' " + home("listorder"));
  changeMode(home("listorder"), 0644);
  EXPECT_EQ(doctor().status, 0);
}

TEST_F(DoctorSetsTest, PathsInTheOrder) {
  order(home("wam.full.base.list") + "\nwam.full.base.list\n");
  expectProblem(doctor(), unchecked,
                line(1, home("wam.full.base.list")) + "names a directory, too, and so no list",
                "sed -i 's|.*/||' " + home("listorder"));
}

TEST_F(DoctorSetsTest, NamesOnSeveralLines) {
  order("wam.full.base.list\n\nwam.full.base.list\nwam.full.base.list\n");
  expectProblem(doctor(), unchecked,
                "'wam.full.base.list' stands on the lines 1, 3, 4 of '" + home("listorder") +
                    "', and the last of them counts",
                "delete all but the line that is meant in " + home("listorder"));
}

TEST_F(DoctorSetsTest, AnOrderThatThisCallerCannotRead) {
  order("wam.full.base.list\n");
  changeMode(home("listorder"), 0);
  ProgramRun const run = runProgram({"/usr/bin/setpriv", "--bounding-set",
                                     "-dac_override,-dac_read_search", ZEMO_TOOL, "doctor"});
  expectProblem(run, unchecked,
                "'" + home("listorder") +
                    "' cannot be read by this caller, for whom the lists have another order",
                "chmod a+r " + home("listorder"));
}

TEST_F(DoctorSetsTest, AnOrderThatOthersMayWrite) {
  order("wam.full.base.list\n");
  changeMode(home("listorder"), 0666);
  expectProblem(doctor(), unchecked,
                "'" + home("listorder") + "' can be written by its group and others",
                "chmod go-w " + home("listorder"));
}

TEST_F(DoctorSetsTest, APackagesSetThatIsWell) {
  addList(installDemo(), "demo.full.base.list", sized("$pkg_dir/a") + "\n");
  ProgramRun const run = doctor();
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_NE(run.output.find(" of 2 sets\n"), std::string::npos);
}

TEST_F(DoctorSetsTest, APackageThatIsNotInstalled) {
  addList(installDemo(), "demo.full.base.list", sized("$pkg_dir/a") + "\n");
  remove(std::string(packagesDir) + "/demo");
  ProgramRun const run = doctor();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors, "");
  EXPECT_NE(run.output.find("problem: the set 'demo' has no package: protected_file:113 package "
                            "[demo] is not installed.\n   mend: install the package, or rm -r "
                            "/usr/zemo/selfcheck/packages/demo\n"),
            std::string::npos)
      << run.output;
}

TEST_F(DoctorSetsTest, APackagesDirectoryThatOthersMayWrite) {
  addList(installDemo(), "demo.full.base.list", sized("/b") + "\n");
  changeMode(home("packages/demo"), 0775);
  expectProblem(doctor(), unchecked, "'" + home("packages/demo") + "' can be written by its group",
                "chmod go-w " + home("packages/demo"));
}

TEST_F(DoctorSetsTest, AnEmptyPackagesDirectory) {
  installDemo();
  expectProblem(
      doctor(), notLoaded,
      "there is no list of the set 'demo' and the mode 'full' in '" + home("packages/demo") + "'",
      "make, sign and install one: zemo-selfcheck make --help; or rmdir " + home("packages/demo"));
}

TEST_F(DoctorSetsTest, DirectoriesThatNoSetCanHave) {
  installDemo();
  remove(home("packages/demo"));
  makeDirectory(home("packages/wam"));
  makeDirectory(home("packages/a*'\x1b"));
  ProgramRun const run = doctor();
  expectAmong(run, unchecked,
              "no set can be loaded from '" + home("packages/wam") +
                  "': the set of that name lies in '/usr/zemo/selfcheck'");
  expectAmong(run, unchecked,
              "no set can be loaded from '" + home("packages/a*'\\033") +
                  "': 'a*'\\033' cannot be the name of a set");
  EXPECT_NE(run.output.find("   mend: rename or remove $'" + home("packages/a*\\047\\033") + "'\n"),
            std::string::npos);
}

TEST_F(DoctorSetsTest, ProblemsOfBothKindsAreAdded) {
  changeMode(home("gpg.conf"), 0666);
  remove(home("wam.full.base.list.asc"));
  EXPECT_EQ(doctor().status, unchecked | notLoaded);
}
