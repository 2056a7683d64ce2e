// doctor: the sets, their directories and their listorder.

#include <algorithm>

#include "fixture.h"

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
                "make, sign and install one, see zemo-selfcheck-make(1)");
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
                "make, sign and install others, see zemo-selfcheck-make(1)");
}

TEST_F(DoctorSetsTest, AnOrderThatIsADevice) {
  makeLink("/dev/null", home("listorder"));
  ProgramRun const run = doctor();
  expectAmong(run, unchecked, "'" + home("listorder") + "' is not a regular file");
  EXPECT_NE(run.output.find("   mend: remove '" + home("listorder") +
                            "', and then write one with the lists' names\n"),
            std::string::npos)
      << run.output;
  EXPECT_EQ(run.output.find("chmod"), std::string::npos) << run.output;
}

TEST_F(DoctorSetsTest, AnOrderThatIsADirectory) {
  makeDirectory(home("listorder"));
  changeMode(home("listorder"), 0755);
  expectProblem(doctor(), unchecked, "'" + home("listorder") + "' is not a regular file",
                "remove '" + home("listorder") + "', and then write one with the lists' names");
}

TEST_F(DoctorSetsTest, AListWithAnotherHeader) {
  writeFile(home("wam.full.base.list"), "WAM_SELF_CHECK\r\ntext\r\n");
  key().sign(home("wam.full.base.list"));
  changeMode(home("wam.full.base.list.asc"), 0644);
  expectProblem(
      doctor(), notLoaded,
      "'" + home("wam.full.base.list") + "' is no check list: its first line is not WAM_SELF_CHECK",
      "make, sign and install the list again: it begins with the line WAM_SELF_CHECK and a line of "
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
                    "' does not exist, so that 2 lists are read in the byte order of their names, "
                    "the last of which overrides",
                "printf '%s\\n' wam.full.base.list wam.full.more.list >" + home("listorder"));
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

TEST_F(DoctorSetsTest, TheFixForBlanksHelps) {
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

TEST_F(DoctorSetsTest, APackageSetWithoutProblems) {
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
                            "[demo] is not installed.\n   mend: either the package has to be "
                            "installed, or, if it is gone for good, "
                            "the directory of its set removed: "
                            "'/usr/zemo/selfcheck/packages/demo'\n"),
            std::string::npos)
      << run.output;
}

// Its lists must not be taken for those of a removed package.
TEST_F(DoctorSetsTest, APackageWhoseUserIsNotKnown) {
  addList(installDemo(), "demo.full.base.list", sized("$pkg_dir/a") + "\n");
  std::string const user = std::string(packagesDir) + "/demo/user";
  makeLink("nowhere", user);
  expectProblem(doctor(), notLoaded,
                "the user of the package 'demo' is not known: protected_file:119 Failed to get "
                "package user for package [demo]",
                "put the name of an account that exists on the only line of '" + user + "'");
}

TEST_F(DoctorSetsTest, NamesThatAnotherModeHasToo) {
  std::string const list = addList("wam.full.test.base.list", sized("/b") + "\n");
  order("wam.full.base.list\nwam.full.test.base.list\n");
  expectProblem(doctor(), unchecked,
                "'" + list +
                    "' is read as a list of the mode 'full', though it is named like one of the "
                    "mode 'full.test'",
                "give the other mode a name without a dot, or the list one that its second line "
                "states, and sign it");
  writeFile(list,
            "WAM_SELF_CHECK\nset=wam mode=full list=test.base serial=1 "
            "date=2026-09-21T12:00:00Z\n" +
                sized("/b") + "\n");
  key().sign(list);
  changeMode(list + ".asc", 0644);
  EXPECT_EQ(doctor().status, 0) << doctor().output;
}

// Each command that is printed for a problem, when pasted, leaves a machine without problems.
TEST_F(DoctorSetsTest, CommandsThatArePrintedHelp) {
  std::vector<std::string> const problems = {
      "chmod 666 gpg.conf",
      "chmod 600 pubring.kbx",
      "chmod 700 .",
      "chmod 777 . /usr/zemo",
      "sed -i 1d gpg.conf",
      "printf '' >gpg.conf",
      "echo no-batch >gpg.conf-2",
      "ln -s nowhere gpg.conf-3",
      "mkdir -m 777 packages",
      "printf 'wam.full.base.list\\r\\n' >listorder",
      "printf ' wam.full.base.list\\n' >listorder",
      "printf '/x/wam.full.base.list\\n' >listorder",
      "echo wam.full.base.list >listorder; chmod 646 listorder",
      "mv list2 wam.full.more.list; mv list2.asc wam.full.more.list.asc; rm listorder",
  };
  std::vector<std::string> const commands = {"chmod", "chown", "echo", "printf", "rm", "sed"};
  addList("wam.full.more.list", sized("/b") + "\n");
  runShell("cd " + std::string(listDir) +
           " && mv wam.full.more.list list2 && mv wam.full.more.list.asc list2.asc");
  for (const std::string& problem : problems) {
    runShell("cd " + std::string(listDir) + " && " + problem);
    std::size_t pasted = 0;
    for (const std::string& line : linesOf(doctor().output)) {
      std::string const mend = line.rfind("   mend: ", 0) == 0 ? line.substr(9) : "";
      if (std::none_of(commands.begin(), commands.end(), [&mend](const std::string& command) {
            return mend.rfind(command + " ", 0) == 0;
          }))
        continue;  // a sentence
      runShell("umask 022; " + mend);
      ++pasted;
    }
    EXPECT_GT(pasted, 0U) << problem;
    EXPECT_EQ(doctor().status, 0) << problem << "\n" << doctor().output;
  }
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
      "make, sign and install one, see zemo-selfcheck-make(1), or remove the directory");
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
  EXPECT_NE(run.output.find("   mend: this directory needs another name, or should be removed\n"),
            std::string::npos);
}

TEST_F(DoctorSetsTest, ProblemsOfBothKindsAreAdded) {
  changeMode(home("gpg.conf"), 0666);
  remove(home("wam.full.base.list.asc"));
  EXPECT_EQ(doctor().status, unchecked | notLoaded);
}
