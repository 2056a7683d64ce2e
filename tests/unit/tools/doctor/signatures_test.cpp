// doctor: the signatures of lists and the keys that made them.

#include <unistd.h>

#include "fixture.h"
#include "support/gnupg_home.h"

class DoctorSignaturesTest : public DoctorTest {};

TEST_F(DoctorSignaturesTest, ListsAndSignaturesThatThisCallerCannotRead) {
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

TEST_F(DoctorSignaturesTest, EmptyListsAndSignaturesAreToBeInstalledAgain) {
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

TEST_F(DoctorSignaturesTest, AListWithoutSignature) {
  remove(home("wam.full.base.list.asc"));
  ProgramRun const run = doctor();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(linesOf(run.output)[0],
            "problem: '" + home("wam.full.base.list.asc") + "' does not exist");
  EXPECT_EQ(linesOf(run.output)[1],
            "    fix: zemo-selfcheck sign " + home("wam.full.base.list") + " --key KEY");
}

TEST_F(DoctorSignaturesTest, AListThatWasChanged) {
  appendToFile(home("wam.full.base.list"), sized("/b") + "\n");
  expectProblem(doctor(), notLoaded,
                "'" + home("wam.full.base.list") +
                    "' does not verify for this user: bad: the list is not the one that was signed",
                "install the list and its .asc again, both from the same signing");
}

TEST_F(DoctorSignaturesTest, ASignatureFileWithoutSignature) {
  writeFile(home("wam.full.base.list.asc"), "nonsense\n");
  expectProblem(
      doctor(), notLoaded,
      "'" + home("wam.full.base.list") +
          "' does not verify for this user: the signature file holds no complete signature",
      "install the list and its .asc again, both from the same signing");
}

TEST_F(DoctorSignaturesTest, ASignatureOverText) {
  key().sign(home("wam.full.base.list"), "--textmode");
  changeMode(home("wam.full.base.list.asc"), 0644);
  expectProblem(doctor(), unchecked,
                "'" + home("wam.full.base.list") +
                    "': the signature covers text, not the exact bytes of the list",
                "have the list signed with zemo-selfcheck sign");
}

TEST_F(DoctorSignaturesTest, ASignatureFromTheFuture) {
  key().sign(home("wam.full.base.list"), "--faked-system-time '20600102T000000!'");
  changeMode(home("wam.full.base.list.asc"), 0644);
  expectProblem(doctor(), unchecked,
                "'" + home("wam.full.base.list") +
                    "': the signature is dated in the future: 2060-01-02T00:00:00Z",
                "set this machine's clock; if it is right, have the list signed again on a machine "
                "whose clock is right");
}

TEST_F(DoctorSignaturesTest, KeysThatHaveExpiredOrAreRevoked) {
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

TEST_F(DoctorSignaturesTest, AClockThatIsBehind) {
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

TEST_F(DoctorSignaturesTest, ASignatureByAnotherKey) {
  SigningKey const other;
  other.sign(home("wam.full.base.list"));
  changeMode(home("wam.full.base.list.asc"), 0644);
  ProgramRun const run = doctor();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_NE(run.output.find(" in the key ring\n"), std::string::npos) << run.output;
}
