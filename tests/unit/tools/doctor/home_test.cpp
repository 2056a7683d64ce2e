// doctor: GnuPG and its home, the signatures, and users with write access to them.

#include <unistd.h>

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

TEST_F(DoctorHomeTest, FilesThatOthersMayWriteAreNamed) {
  for (const std::string& path : {home("wam.full.base.list"), home("wam.full.base.list.asc"),
                                  home("pubring.kbx"), home("gpg.conf")}) {
    changeMode(path, 0664);
    expectProblem(doctor(), unchecked, "'" + path + "' is writable by its group",
                  "chmod go-w " + path);
    changeMode(path, 0646);
    expectProblem(doctor(), unchecked, "'" + path + "' is writable by others",
                  "chmod go-w " + path);
    changeMode(path, 0644);
  }
}

TEST_F(DoctorHomeTest, ParentsThatOthersMayWriteAreNamedOnce) {
  for (const char* const path : {"/usr", "/usr/zemo", listDir}) {
    changeMode(path, 0777);
    expectProblem(doctor(), unchecked,
                  std::string("'") + path + "' is writable by its group and others",
                  std::string("chmod go-w ") + path);
    changeMode(path, 0755);
  }
}

TEST_F(DoctorHomeTest, FilesThatAreNotRootsAreNamed) {
  if (chown(home("gpg.conf").c_str(), 1, 0) != 0)
    GTEST_SKIP() << "there is no other user here";
  ProgramRun const run = doctor();
  expectProblem(run, unchecked, "'" + home("gpg.conf") + "' belongs to user 1, not to root",
                "chown root " + home("gpg.conf"));
}

TEST_F(DoctorHomeTest, LinksAreFollowedToTheirTargetsParents) {
  makeDirectory("/usr/zemo/other/inner");
  changeMode("/usr/zemo/other", 0775);
  changeMode("/usr/zemo/other/inner", 0755);
  writeFile("/usr/zemo/other/inner/gpg.conf", readFile(home("gpg.conf")));
  remove(home("gpg.conf"));
  makeLink("../other/./inner/../inner/gpg.conf", home("gpg.conf"));
  expectProblem(doctor(), unchecked, "'/usr/zemo/other' is writable by its group",
                "chmod go-w /usr/zemo/other");
  changeMode("/usr/zemo/other", 0755);
  EXPECT_EQ(doctor().status, 0);
  remove(home("gpg.conf"));
  makeLink("/usr/zemo/other/inner/gpg.conf", home("gpg.conf"));
  changeMode("/usr/zemo/other/inner", 0757);
  expectProblem(doctor(), unchecked, "'/usr/zemo/other/inner' is writable by others",
                "chmod go-w /usr/zemo/other/inner");
  remove("/usr/zemo/other");
}

TEST_F(DoctorHomeTest, ALinkToItselfEndsTheSearch) {
  remove(home("gpg.conf"));
  makeLink("gpg.conf", home("gpg.conf"));
  expectAmong(doctor(), notLoaded,
              "'" + home("gpg.conf") + "' leads through a link that cannot be followed");
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

TEST_F(DoctorHomeTest, DevicesMayBeWritableByOthers) {
  for (const char* const name :
       {"gpg.conf", "pubring.kbx", "trustdb.gpg", "wam.full.base.list", "wam.full.base.list.asc"}) {
    bool const isThere = access(home(name).c_str(), F_OK) == 0;
    std::string const content = isThere ? readFile(home(name)) : "";
    remove(home(name));
    makeLink("/dev/null", home(name));
    ProgramRun const run = doctor();
    expectAmong(run, run.status, "'" + home(name) + "' is not a regular file");
    EXPECT_NE(run.status & notLoaded, 0);
    bool const command = run.output.find("    fix: rm " + home(name)) != std::string::npos;
    EXPECT_TRUE(command || run.output.find("    fix: remove '" + home(name) + "', and then ") !=
                               std::string::npos)
        << run.output;
    EXPECT_EQ(run.output.find("chmod"), std::string::npos) << run.output;
    remove(home(name));
    if (isThere)
      writeFile(home(name), content);
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

TEST_F(DoctorHomeTest, ListsAndSignaturesThatThisCallerCannotRead) {
  for (const char* const name : {"wam.full.base.list", "wam.full.base.list.asc"}) {
    changeMode(home(name), 0);
    ProgramRun const run = runProgram({"/usr/bin/setpriv", "--bounding-set",
                                       "-dac_override,-dac_read_search", ZEMO_TOOL, "doctor"});
    expectAmong(run, notLoaded,
                "'" + home("wam.full.base.list") + "' does not verify for this user: '" +
                    home(name) + "' cannot be read by this user");
    EXPECT_EQ(run.output.find("key ring"), std::string::npos) << run.output;
    std::size_t const fix = run.output.rfind("    fix: ");
    runShell(run.output.substr(fix + 9, run.output.find('\n', fix) - fix - 9));
    EXPECT_EQ(doctor().status, 0) << doctor().output;
    changeMode(home(name), 0644);
  }
}

// As left by a power cut.
TEST_F(DoctorHomeTest, EmptyListsAndSignaturesAreToBeInstalledAgain) {
  std::string const signature = readFile(home("wam.full.base.list.asc"));
  writeFile(home("wam.full.base.list.asc"), "");
  expectProblem(
      doctor(), notLoaded,
      "'" + home("wam.full.base.list") +
          "' does not verify for this user: the signature file holds no complete signature",
      "install the list and its .asc again, both from the same signing");
  for (const std::string& left : {std::string(), signature}) {
    writeFile(home("wam.full.base.list"), "");
    writeFile(home("wam.full.base.list.asc"), left);
    ProgramRun const run = doctor();
    EXPECT_EQ(run.status, notLoaded);
    EXPECT_EQ(run.output.find("zemo-selfcheck sign"), std::string::npos) << run.output;
    EXPECT_NE(
        run.output.find("    fix: install the list and its .asc again, both from the same signing"),
        std::string::npos)
        << run.output;
  }
}

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

TEST_F(DoctorHomeTest, AListWithoutSignature) {
  remove(home("wam.full.base.list.asc"));
  ProgramRun const run = doctor();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(linesOf(run.output)[0],
            "problem: '" + home("wam.full.base.list.asc") + "' does not exist");
  EXPECT_EQ(linesOf(run.output)[1],
            "    fix: zemo-selfcheck sign " + home("wam.full.base.list") + " --key KEY");
}

TEST_F(DoctorHomeTest, AListThatWasChanged) {
  appendToFile(home("wam.full.base.list"), sized("/b") + "\n");
  expectProblem(doctor(), notLoaded,
                "'" + home("wam.full.base.list") +
                    "' does not verify for this user: bad: the list is not the one that was signed",
                "install the list and its .asc again, both from the same signing");
}

TEST_F(DoctorHomeTest, ASignatureFileWithoutSignature) {
  writeFile(home("wam.full.base.list.asc"), "nonsense\n");
  expectProblem(
      doctor(), notLoaded,
      "'" + home("wam.full.base.list") +
          "' does not verify for this user: the signature file holds no complete signature",
      "install the list and its .asc again, both from the same signing");
}

TEST_F(DoctorHomeTest, ASignatureOverText) {
  key().sign(home("wam.full.base.list"), "--textmode");
  changeMode(home("wam.full.base.list.asc"), 0644);
  expectProblem(doctor(), unchecked,
                "'" + home("wam.full.base.list") +
                    "': the signature covers text, not the exact bytes of the list",
                "have the list signed with zemo-selfcheck sign");
}

TEST_F(DoctorHomeTest, ASignatureFromTheFuture) {
  key().sign(home("wam.full.base.list"), "--faked-system-time '20600102T000000!'");
  changeMode(home("wam.full.base.list.asc"), 0644);
  expectProblem(doctor(), unchecked,
                "'" + home("wam.full.base.list") +
                    "': the signature is dated in the future: 2060-01-02T00:00:00Z",
                "set this machine's clock; if it is right, have the list signed again on a machine "
                "whose clock is");
}

TEST_F(DoctorHomeTest, KeysThatHaveExpiredOrAreRevoked) {
  GnupgHome keys;
  std::string const list = home("wam.full.base.list");
  keys.make("Expired", "ed25519", "1y", "--faked-system-time '20200101T000000!'");
  keys.make("Revoked");
  keys.sign(list, "-u Revoked");
  std::string const byRevoked = readFile(list + ".asc");
  keys.sign(list, "-u Expired --faked-system-time '20200102T000000!'");
  std::string const byExpired = readFile(list + ".asc");
  keys.revoke("Revoked");
  ASSERT_EQ(
      tool({"init-home", "--import", keys.exported({"Expired", "Revoked"}, files / "keys")}).status,
      0);
  writeFile(list + ".asc", byExpired);
  expectProblem(doctor(), unchecked,
                "'" + list + "': key " + keys.fingerprint("Expired") + " has expired",
                "have the list signed with a key that has not expired");
  writeFile(list + ".asc", byRevoked);
  expectProblem(doctor(), unchecked,
                "'" + list + "': key " + keys.fingerprint("Revoked") + " is revoked",
                "have the list signed with another key, and remove this one from the key ring");
}

TEST_F(DoctorHomeTest, AClockThatIsBehind) {
  GnupgHome keys;
  keys.make("Future", "ed25519", "never", "--faked-system-time '20600101T000000!'");
  keys.sign(home("wam.full.base.list"), "--faked-system-time '20600102T000000!'");
  changeMode(home("wam.full.base.list.asc"), 0644);
  ASSERT_EQ(tool({"init-home", "--import", keys.exported({"Future"}, files / "keys")}).status, 0);
  std::string const configuration = readFile(home("gpg.conf"));
  runShell("sed -i /ignore-time-conflict/d " + home("gpg.conf"));
  ProgramRun const run = doctor();
  expectAmong(run, unchecked | notLoaded,
              "'" + home("gpg.conf") +
                  "' lacks the line 'ignore-time-conflict': no list verifies while the clock is "
                  "set before the key's creation");
  EXPECT_NE(run.output.find("this machine's clock is slow (the signature is dated in the future)\n "
                            "   fix: set this machine's clock; "),
            std::string::npos)
      << run.output;
  writeFile(home("gpg.conf"), configuration);
  EXPECT_EQ(doctor().status, unchecked);  // it verifies, and is from the future
}

TEST_F(DoctorHomeTest, ASignatureByAnotherKey) {
  SigningKey const other;
  other.sign(home("wam.full.base.list"));
  changeMode(home("wam.full.base.list.asc"), 0644);
  ProgramRun const run = doctor();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_NE(run.output.find(" in the key ring\n"), std::string::npos) << run.output;
}

TEST_F(DoctorHomeTest, AGpgConfThatGnupgDoesNotUnderstand) {
  appendToFile(home("gpg.conf"), "charset nonsense\n");
  ProgramRun const run = doctor();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_NE(run.output.find("does not verify for this user: GnuPG exited with status 2"),
            std::string::npos)
      << run.output;
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
