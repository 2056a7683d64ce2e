// doctor: GnuPG and its home.

#include <unistd.h>

#include <filesystem>

#include "fixture.h"
#include "support/gnupg_home.h"

class DoctorHomeTest : public DoctorTest {};

TEST_F(DoctorHomeTest, AMachineWithoutProblems) {
  ProgramRun const run = doctor();
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(linesOf(run.output).size(), 1U) << run.output;
  EXPECT_EQ(run.output.find("all is well: "), 0U) << run.output;
  EXPECT_EQ(run.errors, "");
}

TEST_F(DoctorHomeTest, VerboseNamesWhatIsFine) {
  ProgramRun const run = doctor({"--verbose"});
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.output.find("ok GnuPG runs\n"), std::string::npos);
  EXPECT_NE(run.output.find("ok '" + home("wam.full.base.list") + "' verifies for this user\n"),
            std::string::npos);
  EXPECT_NE(run.output.find("ok set 'wam' has 1 entry in 1 list\n"), std::string::npos);
}

TEST_F(DoctorHomeTest, LeavesNoFilesBehind) {
  std::string const before = runProgram({"/bin/ls", "-AR", listDir}).output;
  doctor();
  EXPECT_EQ(runProgram({"/bin/ls", "-AR", listDir}).output, before);
}

TEST_F(DoctorHomeTest, EachLineOfGpgConfIsNeeded) {
  std::string const path = home("gpg.conf");
  std::vector<std::string> const options = {"trust-model always",    "weak-digest SHA1",
                                            "no-auto-key-retrieve",  "no-auto-key-import",
                                            "no-auto-check-trustdb", "ignore-time-conflict"};
  for (const std::string& missing : options) {
    std::string content = "# a comment\n";
    for (const std::string& option : options)
      content += (option == missing ? "# " : "  ") + option + " \n";
    writeFile(path, content);
    ProgramRun const run = doctor();
    EXPECT_NE(run.output.find("problem: '" + path + "' lacks the line '" + missing + "': "),
              std::string::npos)
        << run.output;
    EXPECT_NE(run.output.find("    fix: sed -i '$a " + missing + "' " + path + "\n"),
              std::string::npos);
    EXPECT_EQ(run.status & unchecked, unchecked);
    EXPECT_EQ(linesOf(run.output).size(), 3U) << run.output;
    remove(home("trustdb.gpg"));  // GnuPG creates one without that line
  }
}

TEST_F(DoctorHomeTest, OptionsThatMayDecideWhatVerifies) {
  appendToFile(home("wam.full.base.list"), sized("/b") + "\n");  // verifies nevertheless
  appendToFile(home("gpg.conf"), "no-greeting\nskip-verify\n# ours\n trust-model\tpgp\n");
  ProgramRun const run = doctor();
  expectAmong(run, notLoaded,
              "line 8 of '" + home("gpg.conf") + "', 'skip-verify', is not known to be harmless");
  expectAmong(
      run, notLoaded,
      "line 10 of '" + home("gpg.conf") + "', 'trust-model pgp', is not known to be harmless");
  EXPECT_EQ(linesOf(run.output).size(), 4U) << run.output;  // nor is more than that told
  std::string const fix = linesOf(run.output).at(2);
  ASSERT_EQ(fix, "    fix: sed -i '8d;10d' " + home("gpg.conf"));
  runShell(fix.substr(9));
  key().sign(home("wam.full.base.list"));
  changeMode(home("wam.full.base.list.asc"), 0644);
  EXPECT_EQ(doctor().status, 0) << doctor().output;
}

TEST_F(DoctorHomeTest, EveryOptionFileCounts) {
  writeFile(home("common.conf"), "# ours\nuse-keyboxd\n");
  expectProblem(
      doctor(), notLoaded,
      "line 2 of '" + home("common.conf") +
          "', 'use-keyboxd', makes GnuPG ask a daemon for keys instead of reading the key ring",
      "sed -i '2d' " + home("common.conf"));
  remove(home("common.conf"));
  for (const std::string name : {"gpg.conf", "common.conf"}) {
    expectProblem(toolAfter(systemWide(name, "allow-weak-digest-algos\\n"), {"doctor"}), notLoaded,
                  "line 1 of '/etc/gnupg/" + name +
                      "', 'allow-weak-digest-algos', is not known to be harmless",
                  "sed -i '1d' /etc/gnupg/" + name);
    EXPECT_EQ(toolAfter(systemWide(name, "no-autostart\\n"), {"doctor"}).status, 0);
    expectProblem(toolAfter(systemWide(name, "no-autostart\\n") + "\nchmod 666 /etc/gnupg/" + name,
                            {"doctor"}),
                  unchecked, "'/etc/gnupg/" + name + "' is writable by its group and others",
                  "chmod go-w /etc/gnupg/" + name);
  }
}

// A stand-in for GnuPG ends with 0 and prints nothing.
TEST_F(DoctorHomeTest, AnExitStatusAloneIsNoVerdict) {
  expectAmong(toolAfter("mount --bind /usr/bin/true /usr/bin/gpg", {"doctor"}), notLoaded,
              "'" + home("wam.full.base.list") +
                  "' does not verify for this user: GnuPG does not say that a signature is good, "
                  "but its exit status is 0, so the library accepts the list");
}

TEST_F(DoctorHomeTest, TheFixOfAFileWithoutLastLineFeedHelps) {
  std::string const path = home("gpg.conf");
  writeFile(path,
            "trust-model always\nno-auto-key-retrieve\nno-auto-key-import\nignore-time-conflict\n"
            "no-auto-check-trustdb");
  ProgramRun const run = doctor();
  EXPECT_EQ(run.status, unchecked);
  std::string const fix = linesOf(run.output).at(1);
  ASSERT_EQ(fix.find("    fix: "), 0U) << fix;
  runShell(fix.substr(9));
  EXPECT_EQ(doctor().status, 0) << doctor().output;
}

TEST_F(DoctorHomeTest, TheFixesOfAnEmptyFileHelp) {
  writeFile(home("gpg.conf"), "");
  for (int i = 0; i < 5 && doctor().status != 0; ++i) {
    for (const std::string& line : linesOf(doctor().output)) {
      if (line.find("    fix: ") == 0 && line.find("init-home") == std::string::npos)
        runShell(line.substr(9));
    }
    remove(home("trustdb.gpg"));
  }
  EXPECT_EQ(doctor().status, 0) << doctor().output;
}

TEST_F(DoctorHomeTest, FilesThatGnupgReadsInstead) {
  for (const char* const name : {"gpg.conf-2", "gpg.conf-2.2", "gpg.conf-9.9.9"}) {
    writeFile(home(name), readFile(home("gpg.conf")));
    expectProblem(doctor(), unchecked,
                  "'" + home(name) + "' replaces gpg.conf for GnuPG of that version",
                  "rm " + home(name));
    remove(home(name));
  }
}

// Consequences are not reported separately, even if GnuPG cannot create a trust database.
TEST_F(DoctorHomeTest, AHomeWithoutGpgConf) {
  remove(home("gpg.conf"));
  std::string const problem =
      "'" + home("gpg.conf") +
      "' does not exist: GnuPG fails for every user who cannot create a trust database";
  changeMode(home("pubring.kbx"), 0444);  // GnuPG locks what it may write
  changeMode(listDir, 0555);
  ProgramRun const run =
      runProgram({"/usr/bin/setpriv", "--bounding-set", "-all", ZEMO_TOOL, "doctor"});
  changeMode(listDir, 0755);
  changeMode(home("pubring.kbx"), 0644);
  expectProblem(run, unchecked | notLoaded, problem, "zemo-selfcheck init-home");
  expectProblem(doctor(), unchecked, problem, "zemo-selfcheck init-home");
  remove(home("trustdb.gpg"));
  ASSERT_EQ(tool({"init-home"}).status, 0);
  EXPECT_EQ(doctor().status, 0) << doctor().output;
}

// As left by a power cut.
TEST_F(DoctorHomeTest, AHomeWithoutKeyRing) {
  remove(home("pubring.kbx"));
  ProgramRun const run = doctor();
  expectAmong(run, notLoaded, "'" + home("pubring.kbx") + "', the key ring, does not exist");
  EXPECT_NE(run.output.find("does not verify for this user: there is no key ring "),
            std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(home("pubring.kbx")));  // nor does doctor create one
}

TEST_F(DoctorHomeTest, FilesThatOnlyTheirOwnerMayRead) {
  for (const char* const name : {"pubring.kbx", "gpg.conf"}) {
    changeMode(home(name), 0600);
    expectProblem(doctor(), unchecked,
                  "'" + home(name) + "' is not readable by everyone, so other users cannot verify",
                  "chmod a+r " + home(name));
    changeMode(home(name), 0644);
  }
  changeMode(listDir, 0700);
  expectProblem(doctor(), unchecked,
                "'/usr/zemo/selfcheck' is not readable by everyone, so other users cannot verify",
                "chmod a+rx /usr/zemo/selfcheck");
}

TEST_F(DoctorHomeTest, FilesThatThisCallerCannotReadAreReported) {
  changeMode(home("pubring.kbx"), 0);
  changeMode(home("gpg.conf"), 0);
  std::vector<std::string> const words = {"/usr/bin/setpriv", "--bounding-set",
                                          "-dac_override,-dac_read_search", ZEMO_TOOL, "doctor"};
  ProgramRun const run = runProgram(words);
  expectAmong(run, unchecked | notLoaded,
              "'" + home("pubring.kbx") + "' cannot be read by this user");
  expectAmong(run, unchecked | notLoaded, "'" + home("gpg.conf") + "' cannot be read by this user");
  EXPECT_NE(run.output.find("'" + home("wam.full.base.list") + "' does not verify"),
            std::string::npos);
}

TEST_F(DoctorHomeTest, AHomeThatThisCallerCannotSearchIsReported) {
  changeMode(listDir, 0);
  ProgramRun const run = runProgram({"/usr/bin/setpriv", "--bounding-set",
                                     "-dac_override,-dac_read_search", ZEMO_TOOL, "doctor"});
  changeMode(listDir, 0755);
  expectAmong(run, unchecked | notLoaded, "'/usr/zemo/selfcheck' cannot be read by this user");
  expectAmong(run, unchecked | notLoaded,
              "the lists in '/usr/zemo/selfcheck' cannot be found by this user");
  EXPECT_EQ(run.output.find("does not exist"), std::string::npos) << run.output;
}

TEST_F(DoctorHomeTest, NoHomeAtAll) {
  remove(std::string(listDir));
  ProgramRun const run = doctor();
  makeDirectory(listDir);
  expectProblem(run, notLoaded, "'/usr/zemo/selfcheck' does not exist",
                "zemo-selfcheck init-home --import KEYFILE");
}

TEST_F(DoctorHomeTest, FifosAreNotWaitedFor) {
  for (const char* const name : {"gpg.conf", "pubring.kbx", "trustdb.gpg", "wam.full.base.list",
                                 "wam.full.base.list.asc", "listorder"}) {
    bool const isThere = access(home(name).c_str(), F_OK) == 0;
    std::string const content = isThere ? readFile(home(name)) : "";
    remove(home(name));
    makeFifo(home(name));
    ProgramRun const run =
        runProgram({"/usr/bin/timeout", "--kill-after=1", "60", ZEMO_TOOL, "doctor"});
    EXPECT_TRUE((run.status & ~(unchecked | notLoaded)) == 0 && run.status != 0) << run.status;
    EXPECT_NE(run.output.find("problem: '" + home(name) + "' is not a regular file\n"),
              std::string::npos)
        << run.output;
    remove(home(name));
    if (isThere)
      writeFile(home(name), content);
  }
}

TEST_F(DoctorHomeTest, AGpgConfThatGnupgDoesNotUnderstand) {
  appendToFile(home("gpg.conf"), "charset nonsense\n");
  ProgramRun const run = doctor();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_NE(run.output.find("does not verify for this user: GnuPG exited with status 2"),
            std::string::npos)
      << run.output;
}

TEST_F(DoctorHomeTest, TheCommandThatShowsTheReasonNamesSetAndMode) {
  for (const std::string set : {"demo", "-x"}) {
    std::string const directory = home("packages/" + set);
    addList(directory, set + ".quick.base.list", sized("/a") + "\n");
  }
  changeMode(home("packages"), 0755);
  appendToFile(home("gpg.conf"), "charset nonsense\n");
  std::string const output = doctor({"--mode", "quick"}).output;
  std::string const start = "    fix: correct the key ring or gpg.conf; for the reason, run ";
  std::size_t printed = 0;
  for (const std::string& line : linesOf(output)) {
    if (line.rfind(start, 0) != 0)
      continue;
    ++printed;
    std::string const command = line.substr(start.size());
    ASSERT_EQ(command.rfind("zemo-selfcheck verify ", 0), 0U) << output;
    ProgramRun const run =
        runProgram({"/bin/sh", "-c", quoted(ZEMO_TOOL) + command.substr(command.find(' '))});
    EXPECT_EQ(run.output.find("set " + std::string(printed == 1 ? "-x" : "demo") +
                              ", mode quick: 1 list\n"),
              0U)
        << command << "\n"
        << run.output << run.errors;
  }
  EXPECT_EQ(printed, 2U) << output;
}

TEST_F(DoctorHomeTest, NoGnupg) {
  // In a separate mount namespace, /usr/bin/gpg is an empty file without execute permission.
  writeFile(files / "none", "");
  std::string const script = "mount --bind " + quoted(files / "none") +
                             " /usr/bin/gpg || exit 99; exec " + quoted(ZEMO_TOOL) + " doctor";
  ProgramRun const run = runProgram({"/usr/bin/unshare", "--mount", "/bin/sh", "-c", script});
  if (run.status == 99 || run.status == 1)
    GTEST_SKIP() << "cannot mount: " << run.errors;
  expectAmong(run, notLoaded, "GnuPG, '/usr/bin/gpg', cannot be run by this user");
  expectAmong(run, notLoaded,
              "'" + home("wam.full.base.list") + "' is not verified: GnuPG was not run");
}

TEST_F(DoctorHomeTest, WrongUsageIsOneLine) {
  for (const std::string word : {"--nonsense", "wam", "--mode="}) {
    ProgramRun const run = doctor({word});
    EXPECT_EQ(run.status, usage) << word;
    EXPECT_EQ(run.output, "") << word;
    EXPECT_EQ(linesOf(run.errors).size(), 1U) << run.errors;
  }
  EXPECT_EQ(doctor({"--mode", "a*"}).status, usage);
}

TEST_F(DoctorHomeTest, HelpHasAnExampleAndNamesItsLimit) {
  std::string help = doctor({"--help"}).output;
  std::replace(help.begin(), help.end(), '\n', ' ');
  EXPECT_NE(help.find("zemo-selfcheck doctor --verbose"), std::string::npos);
  EXPECT_NE(help.find("access control lists are not examined"), std::string::npos);
}
