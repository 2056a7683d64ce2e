// zemo-selfcheck check --state: sets that are put back as a whole, with their manifests.

#include "fixture.h"

namespace {

using ::testing::HasSubstr;

class ManifestStateTest : public ManifestTest {
 protected:
  ProgramRun remembering(const std::vector<std::string>& words = {}) const {
    std::vector<std::string> all = {"--state", files.path()};
    all.insert(all.end(), words.begin(), words.end());
    return check(all);
  }
  std::string state() const { return readFile(file); }

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
  EXPECT_EQ(check({"--accept-older"}).status, usage);
}
