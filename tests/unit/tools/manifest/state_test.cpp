// zemo-selfcheck check --state: sets that are put back as a whole, with their manifests.

#include <unistd.h>

#include "fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class ManifestStateTest : public ManifestTest {
 protected:
  ProgramRun remembering(const std::vector<std::string>& words = {}) const {
    std::vector<std::string> all = {"--state", files.path()};
    all.insert(all.end(), words.begin(), words.end());
    return check(all);
  }
  std::string state() const { return readFile(file); }

  static ProgramRun asNobody(const std::vector<std::string>& words) {
    std::vector<std::string> all = {"/usr/bin/setpriv", "--reuid=" + std::to_string(nobody),
                                    "--clear-groups", ZEMO_TOOL};
    all.insert(all.end(), words.begin(), words.end());
    return runProgram(all);
  }
  static ProgramRun checkAsNobody() { return asNobody({"check", "--require", "manifest"}); }

  // False if there is no such user here, or if the user cannot run the program.
  static bool isNobodyThere() {
    return chown(stateDir, nobody, nobody) == 0 && asNobody({"--version"}).status == 0;
  }

  static constexpr uid_t nobody = 65534;
  const std::string ownFile = std::string(stateDir) + "/wam.full.serial";
  const std::string file = files / "wam.full.serial";
};

}  // namespace

TEST_F(ManifestStateTest, ASetThatWasPutBackAsAWhole) {
  runShell("mkdir " + (files / "old") + " && cp " + manifest + "* " + (files / "old"));
  ASSERT_EQ(signAll("6").status, 0);
  ASSERT_EQ(remembering().status, 0);
  EXPECT_EQ(state(), "6\n");
  EXPECT_EQ(statusOf(file).st_mode & 07777U, 0600U);
  runShell("cp " + (files / "old") + "/* " + listDir);
  EXPECT_EQ(check().status, 0) << "nothing but the number gives it away";
  ProgramRun const run = remembering();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("set 'wam': rolled back: the manifest has the serial 5, but 6 "
                                    "was accepted before\n"));
  EXPECT_THAT(run.errors,
              HasSubstr("because it is older than one that was accepted before; install "
                        "the newer one, or give --accept-older if it is meant\n"));
  EXPECT_THAT(run.errors, Not(HasSubstr("doctor"))) << "it does not know this directory";
  EXPECT_THAT(remembering({"--format", "json"}).output, HasSubstr(R"("state":"rolled_back")"));
  EXPECT_EQ(state(), "6\n");
  EXPECT_EQ(remembering({"--accept-older"}).status, 0);
  EXPECT_EQ(state(), "5\n");
  EXPECT_EQ(remembering().status, 0);
}

TEST_F(ManifestStateTest, OnlyAManifestThatFitsIsRemembered) {
  ASSERT_EQ(remembering().status, 0);
  ASSERT_EQ(signAll("9").status, 0);
  std::string const order = readFile(home("listorder"));
  writeFile(home("listorder"), "wam.full.local.list\nwam.full.base.list\n");
  EXPECT_EQ(remembering().status, notLoaded);
  EXPECT_EQ(state(), "5\n");
  writeFile(home("listorder"), order);
  EXPECT_EQ(remembering().status, 0);
  EXPECT_EQ(state(), "9\n");
}

TEST_F(ManifestStateTest, WhatItCannotTrustEndsTheCheckBeforeItBegins) {
  ASSERT_EQ(signAll("1").status, 0);
  for (const char* const content :
       {"", "2", "2\n\n", "02\n", "-2\n", "x\n", "99999999999999999999\n"}) {
    writeFile(file, content);
    ProgramRun const run = remembering();
    EXPECT_EQ(run.status, notLoaded);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, HasSubstr("'" + file + "' does not contain a serial number"));
  }
  remove(file);
  makeLink("/dev/null", file);
  EXPECT_EQ(remembering().status, notLoaded);
  remove(file);
  makeFifo(file);
  EXPECT_EQ(remembering().status, notLoaded);
  remove(file);
  changeMode(files.path(), 0777);
  EXPECT_THAT(remembering().errors,
              HasSubstr("is not safe to use because it is writable by others"));
  changeMode(files.path(), 0700);
  EXPECT_EQ(check({"--state", files / "none"}).status, notLoaded);
  EXPECT_EQ(remembering().status, 0);
}

TEST_F(ManifestStateTest, ANumberThatCannotBeRemembered) {
  ProgramRun const run = toolAfter("mount --bind " + files.path() + " " + files.path() +
                                       " && mount -o remount,ro,bind " + files.path(),
                                   {"check", "--require", "manifest", "--state", files.path()});
  EXPECT_EQ(run.status, unchecked) << run.errors;
  EXPECT_THAT(run.output, HasSubstr("checked 2 entries"));
}

TEST_F(ManifestStateTest, WrongUsage) {
  EXPECT_EQ(tool({"check", "--state", files.path()}).status, usage);
  EXPECT_EQ(tool({"check", "--accept-older"}).status, usage);
  EXPECT_EQ(tool({"check", "--root", "/", "--require", "manifest", "--accept-older"}).status,
            usage);
}

TEST_F(ManifestStateTest, TheDefaultPlace) {
  remove(stateDir);
  EXPECT_EQ(tool({"check"}).status, 0);
  EXPECT_NE(access(stateDir, F_OK), 0) << "no manifest was required";
  ASSERT_EQ(check().status, 0);
  EXPECT_EQ(statusOf(stateDir).st_mode & 07777U, 0700U);
  EXPECT_EQ(statusOf(ownFile).st_mode & 07777U, 0600U);
  EXPECT_EQ(readFile(ownFile), "5\n");
  ASSERT_EQ(signAll("4").status, 0);
  ProgramRun const run = check();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("rolled back: the manifest has the serial 4, but 5 was "));
  EXPECT_EQ(check({"--accept-older"}).status, 0);
  EXPECT_EQ(readFile(ownFile), "4\n");
}

TEST_F(ManifestStateTest, AnotherPlaceInsteadOfTheDefault) {
  ASSERT_EQ(check().status, 0);
  ASSERT_EQ(signAll("4").status, 0);
  EXPECT_EQ(remembering().status, 0);
  EXPECT_EQ(state(), "4\n");
  EXPECT_EQ(readFile(ownFile), "5\n");
}

TEST_F(ManifestStateTest, TheDefaultPlaceIsNotThatOfAnotherRoot) {
  writeFile(ownFile, "9\n");
  ProgramRun const run = check({"--root", "/", "--lists", listDir});
  EXPECT_THAT(run.errors, Not(HasSubstr("rolled back")));
  EXPECT_EQ(readFile(ownFile), "9\n");
}

TEST_F(ManifestStateTest, ADefaultPlaceThatOthersCanChange) {
  changeMode(stateDir, 0777);
  ProgramRun run = check();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("is not safe to use because it is writable by others\n"));
  changeMode(stateDir, 0755);
  remove(stateDir);
  makeLink(files.path(), stateDir);
  run = check();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("because it is a symbolic link"));
  remove(stateDir);
  makeDirectory(stateDir);
}

// The nightly check runs as this user; root looks at the same numbers.
TEST_F(ManifestStateTest, ADefaultPlaceOfTheNightlyCheck) {
  if (!isNobodyThere())
    GTEST_SKIP() << "there is no other user here";
  ASSERT_EQ(check().status, 0);
  EXPECT_EQ(readFile(ownFile), "5\n");
  ASSERT_EQ(chown(ownFile.c_str(), nobody, nobody), 0);
  ASSERT_EQ(signAll("6").status, 0);
  ProgramRun const run = checkAsNobody();
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(readFile(ownFile), "6\n");
}

TEST_F(ManifestStateTest, AnOrdinaryUser) {
  if (!isNobodyThere())
    GTEST_SKIP() << "there is no other user here";
  ASSERT_EQ(chown(stateDir, 0, 0), 0);
  changeMode(stateDir, 0700);
  writeFile(ownFile, "9\n");
  ProgramRun run = checkAsNobody();
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: it is not known whether the manifests are the newest: "
            "cannot read '" +
                ownFile + "': Permission denied\n");
  changeMode(stateDir, 0755);
  changeMode(ownFile, 0644);
  run = checkAsNobody();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("rolled back"));
  writeFile(ownFile, "5\n");
  run = checkAsNobody();
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: serials are compared, but not remembered: only root and the owner of "
            "'/var/lib/zemo-selfcheck' write there\n");
  remove(ownFile);
  remove(stateDir);
  run = checkAsNobody();
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: it is not known whether the manifests are the newest: cannot open "
            "the directory '/var/lib/zemo-selfcheck': No such file or directory\n");
  makeDirectory(stateDir);
}

TEST_F(ManifestStateTest, DoctorAndVerifyNoticeThatASetWasPutBack) {
  runShell("mkdir " + (files / "old") + " && cp " + manifest + "* " + (files / "old"));
  ASSERT_EQ(signAll("6").status, 0);
  ASSERT_EQ(check().status, 0);
  EXPECT_EQ(doctor().status, 0) << doctor().output;
  EXPECT_EQ(verify().status, 0) << verify().output;
  runShell("cp " + (files / "old") + "/* " + listDir);
  std::string const what = "rolled back: the manifest has the serial 5, but 6 was accepted before";
  ProgramRun run = doctor();
  EXPECT_EQ(run.status, unchecked);
  EXPECT_THAT(run.output,
              HasSubstr("problem: set 'wam': " + what + "\n    fix: install the newer"));
  EXPECT_THAT(run.output, HasSubstr("meant, zemo-selfcheck check --require manifest --accept-older "
                                    "--mode full wam\n"));
  run = verify();
  EXPECT_EQ(run.status, unchecked);
  EXPECT_THAT(run.output, HasSubstr(manifest + ": rolled back, rejected\n"));
  EXPECT_THAT(run.output, HasSubstr("  reason     " + what + "\n"));
  run = tool({"verify", "--strict", "--key", fingerprint(), "--format", "json"});
  EXPECT_THAT(run.output, HasSubstr(R"("state":"rolled_back")"));
  EXPECT_EQ(tool({"verify"}).status, 0) << "without --strict, it does not count";
  EXPECT_THAT(doctor({"--root", "/"}).output, Not(HasSubstr("rolled back")));
  run = tool({"verify", "--strict", "--key", fingerprint(), "--root", "/"});
  EXPECT_THAT(run.output, Not(HasSubstr("rolled back")));
  EXPECT_EQ(readFile(ownFile), "6\n");
  ASSERT_EQ(check({"--accept-older", "--mode", "full", "wam"}).status, 0);
  EXPECT_EQ(doctor().status, 0) << doctor().output;
}

TEST_F(ManifestStateTest, DoctorAndVerifyMissAManifestThatWasAccepted) {
  ASSERT_EQ(check().status, 0);
  remove(manifest);
  remove(manifest + ".asc");
  std::string const what =
      "there is no '" + manifest + "', but a manifest with the serial 5 was accepted before";
  ProgramRun run = doctor();
  EXPECT_EQ(run.status, unchecked);
  EXPECT_THAT(run.output, HasSubstr("problem: set 'wam': " + what + "\n    fix: install the set"));
  EXPECT_THAT(run.output, HasSubstr(" rm " + ownFile + "\n"));
  run = verify();
  EXPECT_EQ(run.status, unchecked);
  EXPECT_THAT(run.output, HasSubstr(manifest + ": does not exist, rejected\n"));
  EXPECT_THAT(run.output, HasSubstr("  reason     " + what + "\n"));
  EXPECT_THAT(check().errors, HasSubstr(what));
  remove(ownFile);
  EXPECT_EQ(doctor().status, 0) << doctor().output;
  EXPECT_EQ(verify().status, 0) << verify().output;
}

TEST_F(ManifestStateTest, DoctorWithoutReadableNumbers) {
  remove(manifest);
  remove(manifest + ".asc");
  writeFile(ownFile, "x\n");
  std::string const what = ": it is not known whether the manifests are the newest: '";
  ProgramRun run = doctor();
  EXPECT_EQ(run.status, unchecked);
  EXPECT_THAT(run.output, HasSubstr("problem" + what + ownFile + "' does not contain a serial"));
  EXPECT_THAT(verify().errors, HasSubstr("does not contain a serial number\n"));
  remove(ownFile);
  changeMode(stateDir, 0777);
  run = doctor();
  EXPECT_EQ(run.status, unchecked);
  EXPECT_THAT(run.output, HasSubstr("problem" + what + stateDir + "' is not safe to use"));
  remove(stateDir);
  EXPECT_EQ(doctor().output.find("problem"), std::string::npos);
  makeLink(files.path(), stateDir);
  run = doctor();
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_THAT(run.output, HasSubstr("hint" + what + stateDir + "'"));
  remove(stateDir);
  makeDirectory(stateDir);
  writeFile(ownFile, "5\n");
  changeMode(stateDir, 0700);
  EXPECT_EQ(doctor().status, unchecked);
  ASSERT_EQ(chown(stateDir, 0, 0), 0);
  if (asNobody({"--version"}).status != 0)
    GTEST_SKIP() << "there is no other user here";
  run = asNobody({"doctor"});
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_THAT(run.output, Not(HasSubstr("manifest")));
}
