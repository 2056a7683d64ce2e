// zemo-selfcheck doctor on a system below a directory, without problems until a test causes one.

#include <filesystem>

#include "../doctor/fixture.h"

namespace {

class OtherRootDoctorTest : public DoctorTest {
 protected:
  static constexpr char sets[] = "/usr/zemo/selfcheck";

  void SetUp() override {
    DoctorTest::SetUp();
    if (IsSkipped())
      return;
    changeMode(root.path(), 0755);
    for (const char* const path : {"usr/bin", "usr/zemo/selfcheck", "etc"})
      makeDirectory(root / path);
    changeMode(root / "usr/zemo", 0755);
    writeFile(root / "usr/bin/gpg", "", 0755);
    for (const char* const name : {"pubring.kbx", "gpg.conf"})
      writeFile(inside(name), readFile(home(name)));
    addList(inside(""), "wam.full.base.list", sized("/a") + "\n");
  }

  // A file in the root's own directory of lists.
  std::string inside(const std::string& name) const { return root.path() + sets + "/" + name; }

  void package(const std::string& user) const {
    makeDirectory(root / "var/packages/demo/target");
    writeFile(root / "var/packages/demo/user", user);
    makeDirectory(inside("packages/demo"));
    changeMode(inside("packages"), 0755);
    addList(inside("packages/demo"), "demo.full.base.list", sized("$pkg_dir/a") + "\n");
  }

  ProgramRun look(std::vector<std::string> words = {}) const {
    words.insert(words.begin(), {"--root", root.path()});
    return doctor(words);
  }

  // The only problem, which is in the other root.
  static void expectThere(const ProgramRun& run, int status, const std::string& problem,
                          const std::string& fix) {
    std::vector<std::string> const lines = linesOf(run.output);
    EXPECT_EQ(run.status, status) << run.output;
    ASSERT_EQ(lines.size(), 3U) << run.output;
    EXPECT_EQ(lines[0], "problem in the other root: " + problem);
    EXPECT_EQ(lines[1], "    fix there: " + fix);
  }

  TemporaryDirectory root;
};

TEST_F(OtherRootDoctorTest, AllIsWell) {
  remove(home("wam.full.base.list"));  // this machine's lists do not matter
  ProgramRun const run = look({"--verbose"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors, "");
  std::vector<std::string> const lines = linesOf(run.output);
  EXPECT_EQ(lines.back().find("all is well: "), 0U) << run.output;
  for (const char* const line :
       {"ok GnuPG runs",
        "ok in the other root: '/usr/zemo/selfcheck/pubring.kbx' is the same as the key ring of "
        "this machine",
        "ok in the other root: '/usr/zemo/selfcheck/wam.full.base.list' verifies for this user",
        "ok in the other root: '/usr/zemo/selfcheck/gpg.conf' and all directories above it can be "
        "changed only by root"})
    EXPECT_NE(run.output.find(std::string(line) + "\n"), std::string::npos) << line << run.output;
}

TEST_F(OtherRootDoctorTest, ThisMachinesHomeIsToldApart) {
  writeFile(home("gpg.conf"), "trust-model always\n");
  std::string const output = look().output;
  EXPECT_EQ(output.find("problem: '/usr/zemo/selfcheck/gpg.conf' lacks the line"), 0U) << output;
  EXPECT_EQ(output.find("in the other root"), std::string::npos);
}

TEST_F(OtherRootDoctorTest, OwnersAndPermissionsAreTheRoots) {
  changeMode(inside("wam.full.base.list"), 0666);
  expectThere(look(), unchecked,
              "'/usr/zemo/selfcheck/wam.full.base.list' is writable by its "
              "group and others",
              "chmod go-w /usr/zemo/selfcheck/wam.full.base.list");
  changeMode(inside("wam.full.base.list"), 0644);
  changeMode(root / "usr/zemo", 0777);
  expectThere(look(), unchecked, "'/usr/zemo' is writable by its group and others",
              "chmod go-w /usr/zemo");
}

TEST_F(OtherRootDoctorTest, OptionsAreReadAndNeverUsed) {
  writeFile(inside("gpg.conf"), readFile(inside("gpg.conf")) + "skip-verify\n");
  expectThere(
      look(), notLoaded,
      "line 7 of '/usr/zemo/selfcheck/gpg.conf', 'skip-verify', is not known to be harmless",
      "sed -i '7d' /usr/zemo/selfcheck/gpg.conf");
  std::filesystem::resize_file(inside("gpg.conf"), uint64_t{1} << 40U);
  expectThere(look(), notLoaded,
              "'/usr/zemo/selfcheck/gpg.conf' has more than 1048576 bytes, so it is not read",
              "rm /usr/zemo/selfcheck/gpg.conf");
}

TEST_F(OtherRootDoctorTest, KeyRingIsComparedWithThisMachines) {
  writeFile(inside("pubring.kbx"), std::string(8, '\0') + "KBXf and more");
  ProgramRun const run = look();
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(linesOf(run.output)[0],
            "hint in the other root: '/usr/zemo/selfcheck/pubring.kbx' is not the key ring of this "
            "machine, so other lists may verify by it");
  writeFile(inside("pubring.kbx"), "no keys");
  expectThere(look(), notLoaded, "'/usr/zemo/selfcheck/pubring.kbx' is not a key ring",
              "zemo-selfcheck init-home --import KEYFILE");
  remove(inside("pubring.kbx"));
  expectThere(look(), notLoaded, "'/usr/zemo/selfcheck/pubring.kbx', the key ring, does not exist",
              "zemo-selfcheck init-home --import KEYFILE");
}

TEST_F(OtherRootDoctorTest, FifosAreNotOpened) {
  remove(inside("gpg.conf"));
  makeFifo(inside("gpg.conf"));
  expectThere(look(), notLoaded, "'/usr/zemo/selfcheck/gpg.conf' is not a regular file",
              "rm /usr/zemo/selfcheck/gpg.conf && zemo-selfcheck init-home --import KEYFILE");
}

TEST_F(OtherRootDoctorTest, StrangersListsDoNotVerify) {
  SigningKey const stranger;
  stranger.sign(inside("wam.full.base.list"));
  ProgramRun const run = look();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output.find("problem in the other root: '/usr/zemo/selfcheck/wam.full.base.list' "
                            "does not verify for this user: "),
            0U)
      << run.output;
}

TEST_F(OtherRootDoctorTest, PackagesAreTheRoots) {
  package("daemon");
  writeFile(root / "etc/passwd", "daemon:x:1:1::/:/bin/sh\n");
  ProgramRun const run = look();
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_NE(run.output.find("of 2 sets passed"), std::string::npos);
  remove(root / "etc/passwd");
  expectThere(look(), notLoaded,
              "cannot read '/etc/passwd' in '" + root.path() + "': No such file or directory",
              "install the package, correct its user, or, if it is gone for good, remove the "
              "directory of its set: '/usr/zemo/selfcheck/packages/demo'");
}

TEST_F(OtherRootDoctorTest, EntriesAreLookedUpThere) {
  addList(inside(""), "wam.full.base.list", fixed("/here") + "\n" + sized("/open/a") + "\n");
  writeFile(root / "here", "");
  makeDirectory(root / "open");
  changeMode(root / "open", 0777);
  std::string const output = look().output;
  EXPECT_NE(output.find("problem in the other root: '/here' is not a directory, but its entry in"),
            std::string::npos)
      << output;
  EXPECT_NE(output.find("problem in the other root: '/open', above entries of set 'wam', is "
                        "writable by others"),
            std::string::npos)
      << output;
}

TEST_F(OtherRootDoctorTest, NothingIsBehindLinksOutOfIt) {
  for (const char* const target : {"../../../../../../../../usr/zemo", "/usr/zemo"}) {
    remove(root / "usr/zemo");
    makeLink(target, root / "usr/zemo");  // leads to itself
    ProgramRun const run = look();
    EXPECT_EQ(run.status, notLoaded);
    EXPECT_EQ(run.errors, "zemo-selfcheck: cannot read '/usr/zemo/selfcheck' in '" + root.path() +
                              "': Too many levels of symbolic links\n");
  }
}

TEST_F(OtherRootDoctorTest, ListsFromElsewhereHaveNoOwners) {
  TemporaryDirectory const lists;
  addList(lists.path(), "wam.full.one.list", sized("/a") + "\n");
  changeMode(lists / "wam.full.one.list", 0666);
  remove(inside("wam.full.base.list"));
  ProgramRun const run = look({"--lists", lists.path()});
  EXPECT_EQ(run.status, 0) << run.output;
  remove(lists / "wam.full.one.list.asc");
  expectThere(look({"--lists", lists.path()}), notLoaded,
              "'/usr/zemo/selfcheck/wam.full.one.list.asc' does not exist",
              "zemo-selfcheck sign /usr/zemo/selfcheck/wam.full.one.list --key KEY");
}

TEST_F(OtherRootDoctorTest, ListsNeedARoot) {
  EXPECT_EQ(doctor({"--lists", "/"}).status, usage);
}

TEST_F(OtherRootDoctorTest, OwnersWithoutNumbersAreNotExamined) {
  std::vector<std::string> const words = {
      "/usr/bin/setpriv", "--bounding-set=-sys_admin,-sys_chroot",
      "--inh-caps=-all",  ZEMO_TOOL,
      "doctor",           "--root",
      root.path()};
  ProgramRun const run = runProgram(words);
  EXPECT_EQ(run.status, 0) << run.output << run.errors;
  EXPECT_EQ(linesOf(run.output)[0], "hint: the owners in the other root are not examined");
}

}  // namespace
