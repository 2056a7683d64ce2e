// doctor: the sets and their directories.

#include <algorithm>

#include "fixture.h"

class DoctorSetsTest : public DoctorTest {};

TEST_F(DoctorSetsTest, NoListAtAll) {
  remove(home("wam.full.base.list"));
  expectProblem(doctor(), notLoaded,
                "set 'wam' has no list for mode 'full' in '/usr/zemo/selfcheck'",
                "make, sign and install one (see zemo-selfcheck-make(1))");
}

TEST_F(DoctorSetsTest, ModeNamesOtherLists) {
  EXPECT_EQ(doctor({"--mode", "quick"}).status, notLoaded);
  addList("wam.quick.base.list", sized("/a") + "\n");
  EXPECT_EQ(doctor({"--mode", "quick"}).status, 0);
}

TEST_F(DoctorSetsTest, ListsWithoutEntries) {
  addList("wam.full.base.list", "");
  expectProblem(doctor(), notLoaded,
                "the lists of set 'wam' have no entries, so nothing is checked",
                "make, sign and install others (see zemo-selfcheck-make(1))");
}

TEST_F(DoctorSetsTest, ManyListsAreAHintAndNoProblem) {
  std::string names = "wam.full.base.list\n";
  std::string const first = addList("wam.full.100.list", "");
  for (int number = 100; number < 119; ++number) {
    if (number == 118) {
      EXPECT_EQ(doctor().output.find("hint"), std::string::npos);
    }
    std::string const name = "wam.full." + std::to_string(number) + ".list";
    writeFile(home(name), readFile(first));
    writeFile(home(name + ".asc"), readFile(first + ".asc"));
    names += name + "\n";
    order(names);
  }
  ProgramRun const run = doctor();
  EXPECT_EQ(run.status, 0) << run.output;
  std::vector<std::string> const lines = linesOf(run.output);
  ASSERT_EQ(lines.size(), 3U) << run.output;
  EXPECT_EQ(lines[0], "hint: set 'wam' has 20 lists, and each delays every load of the set");
  EXPECT_EQ(lines[1],
            "    fix: join lists that are read one after the other with zemo-selfcheck merge (see "
            "zemo-selfcheck-make(1))");
  EXPECT_EQ(lines[2].find("all is well: "), 0U) << lines[2];
}

TEST_F(DoctorSetsTest, AListWithAnotherHeader) {
  writeFile(home("wam.full.base.list"), "WAM_SELF_CHECK\r\ntext\r\n");
  key().sign(home("wam.full.base.list"));
  changeMode(home("wam.full.base.list.asc"), 0644);
  expectProblem(doctor(), notLoaded,
                "'" + home("wam.full.base.list") +
                    "' is not a check list: its first line is not WAM_SELF_CHECK",
                "make, sign and install the list again: it must begin with the line WAM_SELF_CHECK "
                "and a second line of any text");
}

TEST_F(DoctorSetsTest, AListThatSaysThatItIsAnother) {
  writeFile(home("wam.full.base.list"),
            "WAM_SELF_CHECK\nset=wam mode=full list=old serial=7 date=2026-09-21T12:00:00Z\n" +
                sized("/a") + "\n");
  key().sign(home("wam.full.base.list"));
  changeMode(home("wam.full.base.list.asc"), 0644);
  expectProblem(doctor(), unchecked,
                "'" + home("wam.full.base.list") +
                    "' is labelled as another list in its second line: set 'wam', mode 'full', "
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

TEST_F(DoctorSetsTest, APackageSetWithoutProblems) {
  addList(installDemo(), "demo.full.base.list", sized("$pkg_dir/a") + "\n");
  ProgramRun const run = doctor();
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_NE(run.output.find(" of 2 sets passed\n"), std::string::npos);
}

TEST_F(DoctorSetsTest, APackageThatIsNotInstalled) {
  addList(installDemo(), "demo.full.base.list", sized("$pkg_dir/a") + "\n");
  remove(std::string(packagesDir) + "/demo");
  ProgramRun const run = doctor();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors, "");
  EXPECT_NE(run.output.find("problem: set 'demo' has no package: protected_file:113 package "
                            "[demo] is not installed.\n    fix: install the package, or, if it is "
                            "gone for good, remove the directory of its set: "
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
                "the user of package 'demo' is not known: protected_file:119 Failed to get "
                "package user for package [demo]",
                "write the name of an existing account as the only line of '" + user + "'");
}

TEST_F(DoctorSetsTest, NamesThatAnotherModeHasToo) {
  std::string const list = addList("wam.full.test.base.list", sized("/b") + "\n");
  order("wam.full.base.list\nwam.full.test.base.list\n");
  expectProblem(
      doctor(), unchecked,
      "'" + list +
          "' is read as a list of mode 'full', but it is named like one of mode 'full.test'",
      "give the other mode a name without a dot, or the list the name that its second line states, "
      "and sign it");
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
      std::string const fix = line.rfind("    fix: ", 0) == 0 ? line.substr(9) : "";
      if (std::none_of(commands.begin(), commands.end(), [&fix](const std::string& command) {
            return fix.rfind(command + " ", 0) == 0;
          }))
        continue;  // a sentence
      runShell("umask 022; " + fix);
      ++pasted;
    }
    EXPECT_GT(pasted, 0U) << problem;
    EXPECT_EQ(doctor().status, 0) << problem << "\n" << doctor().output;
  }
}

TEST_F(DoctorSetsTest, AFileInsteadOfThePackagesDirectory) {
  writeFile(home("packages"), "");
  expectProblem(doctor(), notLoaded, "'" + home("packages") + "' is not a directory",
                "remove '" + home("packages") +
                    "', and then create it as a directory with the sets of packages, if there are "
                    "any");
}

TEST_F(DoctorSetsTest, AnEmptyPackagesDirectory) {
  installDemo();
  expectProblem(doctor(), notLoaded,
                "set 'demo' has no list for mode 'full' in '" + home("packages/demo") + "'",
                "make, sign and install one (see zemo-selfcheck-make(1)), or remove the directory");
}

TEST_F(DoctorSetsTest, DirectoriesThatNoSetCanHave) {
  installDemo();
  remove(home("packages/demo"));
  makeDirectory(home("packages/wam"));
  makeDirectory(home("packages/a*'\x1b"));
  ProgramRun const run = doctor();
  expectAmong(run, unchecked,
              "no set can be loaded from '" + home("packages/wam") +
                  "': the set of that name is in '/usr/zemo/selfcheck'");
  expectAmong(run, unchecked,
              "no set can be loaded from '" + home("packages/a*'\\033") +
                  "': 'a*'\\033' is not a valid set name");
  EXPECT_NE(run.output.find("    fix: rename or remove this directory\n"), std::string::npos);
}

TEST_F(DoctorSetsTest, ProblemsOfBothKindsAreAdded) {
  changeMode(home("gpg.conf"), 0666);
  remove(home("wam.full.base.list.asc"));
  EXPECT_EQ(doctor().status, unchecked | notLoaded);
}
