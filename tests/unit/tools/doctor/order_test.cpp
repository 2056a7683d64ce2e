// doctor: listorder.

#include "fixture.h"

class DoctorOrderTest : public DoctorTest {
 protected:
  static std::string line(int number, const std::string& text) {
    return "line " + std::to_string(number) + " of '" + home("listorder") + "', '" + text + "', ";
  }
};

TEST_F(DoctorOrderTest, AnOrderThatIsADevice) {
  makeLink("/dev/null", home("listorder"));
  ProgramRun const run = doctor();
  expectAmong(run, unchecked, "'" + home("listorder") + "' is not a regular file");
  EXPECT_NE(run.output.find("    fix: remove '" + home("listorder") +
                            "', and then create it with the lists' names\n"),
            std::string::npos)
      << run.output;
  EXPECT_EQ(run.output.find("chmod"), std::string::npos) << run.output;
}

TEST_F(DoctorOrderTest, AnOrderThatIsADirectory) {
  makeDirectory(home("listorder"));
  changeMode(home("listorder"), 0755);
  expectProblem(doctor(), unchecked, "'" + home("listorder") + "' is not a regular file",
                "remove '" + home("listorder") + "', and then create it with the lists' names");
}

TEST_F(DoctorOrderTest, SeveralListsWithoutOrder) {
  addList("wam.full.more.list", sized("/b") + "\n");
  expectProblem(doctor(), unchecked,
                "'" + home("listorder") +
                    "' does not exist, so 2 lists are read in the byte order of their names, and "
                    "the last one overrides the others",
                "printf '%s\\n' wam.full.base.list wam.full.more.list >" + home("listorder"));
}

TEST_F(DoctorOrderTest, AListThatTheOrderDoesNotName) {
  addList("wam.full.more.list", sized("/b") + "\n" + sized("/c") + "\n");
  order("wam.full.base.list\n");
  expectProblem(doctor(), unchecked,
                "'" + home("listorder") +
                    "' does not name 'wam.full.more.list', which is read before all lists that it "
                    "names, so they override its 2 entries",
                "write each name on its own line, at its place, in " + home("listorder"));
}

TEST_F(DoctorOrderTest, AnOrderThatNamesNoListOfTheSet) {
  addList("wam.full.more.list", sized("/b") + "\n");
  order("");
  expectAmong(doctor(), unchecked,
              "'" + home("listorder") +
                  "' does not name 'wam.full.base.list', nor any other list of set 'wam'");
}

TEST_F(DoctorOrderTest, NamesInTheOrderThatMatchNoList) {
  order("wam.full.base.list\nwam.full.gone.list\n\ngpg.conf\n");
  ProgramRun const run = doctor();
  expectAmong(run, unchecked, line(2, "wam.full.gone.list") + "names no list of set 'wam'");
  expectAmong(run, unchecked, line(4, "gpg.conf") + "names no list of set 'wam'");
  EXPECT_EQ(linesOf(run.output).size(), 4U) << run.output;
}

TEST_F(DoctorOrderTest, NamesOfAnotherModesListsAreFine) {
  addList("wam.quick.base.list", "");
  order("wam.full.base.list\nwam.quick.base.list\n");
  EXPECT_EQ(doctor().status, 0);
}

TEST_F(DoctorOrderTest, CarriageReturnsInTheOrder) {
  order("wam.full.base.list\r\n");
  expectProblem(
      doctor(), unchecked,
      line(1, "wam.full.base.list\\015") + "ends with a carriage return, so it names no list",
      "sed -i 's/^[[:space:]]*//; s/[[:space:]]*$//' " + home("listorder"));
}

TEST_F(DoctorOrderTest, BlanksInTheOrder) {
  order(" wam.full.base.list\nwam.full.base.list\t\n");
  ProgramRun const run = doctor();
  expectAmong(
      run, unchecked,
      line(1, " wam.full.base.list") + "has blanks before or after the name, so it names no list");
  expectAmong(run, unchecked,
              line(2, "wam.full.base.list\\011") +
                  "has blanks before or after the name, so it names no list");
}

TEST_F(DoctorOrderTest, TheFixForBlanksHelps) {
  order(" wam.full.base.list \r\n");
  runShell("sed -i 's/^[[:space:]]*//; s/[[:space:]]*$//' " + home("listorder"));
  changeMode(home("listorder"), 0644);
  EXPECT_EQ(doctor().status, 0);
}

TEST_F(DoctorOrderTest, PathsInTheOrder) {
  order(home("wam.full.base.list") + "\nwam.full.base.list\n");
  expectProblem(doctor(), unchecked,
                line(1, home("wam.full.base.list")) + "includes a directory, so it names no list",
                "sed -i 's|.*/||' " + home("listorder"));
}

TEST_F(DoctorOrderTest, NamesOnSeveralLines) {
  order("wam.full.base.list\n\nwam.full.base.list\nwam.full.base.list\n");
  expectProblem(doctor(), unchecked,
                "'wam.full.base.list' appears on lines 1, 3 and 4 of '" + home("listorder") +
                    "', and the last of them counts",
                "delete all but the intended line in " + home("listorder"));
}

TEST_F(DoctorOrderTest, AnOrderThatThisCallerCannotRead) {
  order("wam.full.base.list\n");
  changeMode(home("listorder"), 0);
  ProgramRun const run = runProgram({"/usr/bin/setpriv", "--bounding-set",
                                     "-dac_override,-dac_read_search", ZEMO_TOOL, "doctor"});
  expectProblem(run, unchecked,
                "'" + home("listorder") +
                    "' cannot be read by this user, for whom the lists have another order",
                "chmod a+r " + home("listorder"));
}
