// zemo-selfcheck remove-key: removes all given keys from the ring, or none.

#include "support/gnupg_home.h"
#include "support/signing_key.h"
#include "support/tool_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

const GnupgHome& keys() {
  static GnupgHome* const home = [] {
    static GnupgHome made;
    made.make("Maker");
    made.make("Second");
    made.addSubkey("Second");
    return &made;
  }();
  return *home;
}

class RemoveKeyCommandTest : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    if (IsSkipped())
      return;
    std::string const exported = keys().exported({"Maker", "Second"}, files / "keys");
    ASSERT_EQ(tool({"init-home", "--import", exported}).status, 0);
    makeDirectory(std::string(listDir) + "/packages");
  }

  static std::string key(const std::string& id, std::size_t index = 0) {
    return keys().fingerprint(id, index);
  }
  static std::string ring() { return readFile(std::string(listDir) + "/pubring.kbx"); }
};

}  // namespace

TEST_F(RemoveKeyCommandTest, RemovesAKey) {
  ProgramRun const run = tool({"remove-key", key("Maker")});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output,
            "removed " + key("Maker") + " 'Maker'\nall lists that verified before still do\n");
  ProgramRun const left = tool({"init-home"});
  EXPECT_THAT(left.output, HasSubstr(key("Second") + " 'Second'\n"));
  EXPECT_THAT(left.output, Not(HasSubstr(key("Maker"))));
  EXPECT_EQ(statusOf(std::string(listDir) + "/pubring.kbx").st_mode & 07777U, 0644U);
  EXPECT_EQ(namesIn(listDir), (std::vector<std::string>{"gpg.conf", "packages", "pubring.kbx"}));
}

TEST_F(RemoveKeyCommandTest, SaysWhichListsOfAllSetsNoLongerVerify) {
  std::string const first = writeList("wam.full.a.list", "");
  std::string const second = writeList("wam.full.b.list", "");
  std::string const other = writeList("wam.quick.c d.list", "");
  std::string const package = writeList(std::string(listDir) + "/packages/p", "p.full.x.list", "");
  keys().sign(first, "-u Maker");
  keys().sign(second, "-u Second");
  keys().sign(other, "-u Maker");
  keys().sign(package, "-u Maker -u Second");
  writeList("wam.full.unsigned.list", "");
  ProgramRun const run = tool({"remove-key", key("Maker")});
  EXPECT_EQ(run.status, notLoaded) << run.errors;
  EXPECT_EQ(run.output, "removed " + key("Maker") + " 'Maker'\nno longer verifies: " + first +
                            "\nno longer verifies: " + other + "\nno longer verifies: " + package +
                            "\n");
}

TEST_F(RemoveKeyCommandTest, OptionsThatMayDecideWhatVerifiesKeepItFromSaying) {
  keys().sign(writeList("wam.full.a.list", ""), "-u Second");
  appendToFile(std::string(listDir) + "/gpg.conf", "list-only\n");
  ProgramRun const run = tool({"remove-key", key("Maker")});
  EXPECT_EQ(run.status, unchecked);
  EXPECT_EQ(run.output, "removed " + key("Maker") + " 'Maker'\n");
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: unable to tell which lists still verify: line 7 of "
            "'/usr/zemo/selfcheck/gpg.conf', 'list-only', is not known to be harmless; remove that "
            "line\n");
}

TEST_F(RemoveKeyCommandTest, RemovesSeveralAndTheLast) {
  ProgramRun const run = tool({"remove-key", key("Second"), key("Maker"), key("Maker")});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(tool({"init-home"}).output, "/usr/zemo/selfcheck trusts 0 keys\n");
}

TEST_F(RemoveKeyCommandTest, AnUnknownKeyRemovesNothing) {
  std::string const before = ring();
  std::string const unknown(40, 'A');
  ProgramRun const run = tool({"remove-key", key("Maker"), unknown});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: key " + unknown + " is not in the key ring; nothing was removed\n");
  EXPECT_EQ(ring(), before);
}

TEST_F(RemoveKeyCommandTest, ASubkeyIsNotRemovedAlone) {
  std::string const before = ring();
  ProgramRun const run = tool({"remove-key", key("Second", 1)});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("is a subkey of " + key("Second")));
  EXPECT_EQ(ring(), before);
}

TEST_F(RemoveKeyCommandTest, AHomeThatOthersCanChangeIsRefused) {
  std::string const home = files / "home";
  std::string const exported = keys().exported({"Maker"}, files / "maker");
  ASSERT_EQ(tool({"init-home", "--homedir", home, "--import", exported}).status, 0);
  std::string const before = readFile(home + "/pubring.kbx");
  changeMode(home, 0777);
  EXPECT_EQ(tool({"remove-key", "--homedir", home, key("Maker")}).status, notLoaded);
  changeMode(home, 0755);
  std::filesystem::rename(home + "/pubring.kbx", files / "ring");
  makeLink(files / "ring", home + "/pubring.kbx");
  ProgramRun const run = tool({"remove-key", "--homedir", home, key("Maker")});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("is a symbolic link"));
  EXPECT_EQ(readFile(files / "ring"), before);
}

TEST_F(RemoveKeyCommandTest, AnotherHome) {
  std::string const exported = keys().exported({"Maker"}, files / "maker");
  ASSERT_EQ(tool({"init-home", "--homedir", files / "h", "--import", exported}).status, 0);
  std::string const before = ring();
  ProgramRun const run = tool({"remove-key", "--homedir", files / "h", "--", key("Maker")});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "removed " + key("Maker") + " 'Maker'\n");
  EXPECT_EQ(ring(), before);
  EXPECT_EQ(namesIn(files / "h"), (std::vector<std::string>{"gpg.conf", "pubring.kbx"}));
}

TEST_F(RemoveKeyCommandTest, AnImpossibleSetDoesNotKeepTheKey) {
  makeDirectory(std::string(listDir) + "/packages/a*b");
  ProgramRun const run = tool({"remove-key", key("Maker")});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors, "");
  EXPECT_THAT(run.output, HasSubstr("removed " + key("Maker")));
}

TEST_F(RemoveKeyCommandTest, TheSystemsHomeByAnotherPath) {
  std::string const list = writeList("wam.full.a.list", "");
  keys().sign(list, "-u Maker -u Second");
  ProgramRun const run = tool({"remove-key", key("Maker"), "--homedir", "/usr/zemo/selfcheck/"});
  EXPECT_EQ(run.status, notLoaded) << run.errors;
  EXPECT_THAT(run.output, HasSubstr("no longer verifies: " + list + "\n"));
  keys().sign(list, "-u Second");
  EXPECT_THAT(
      tool({"remove-key", key("Second"), "--homedir", "/usr/zemo/../zemo/selfcheck"}).output,
      HasSubstr("no longer verifies: " + list + "\n"));
}

TEST_F(RemoveKeyCommandTest, FifosAreNotWaitedFor) {
  std::string const list = writeList("wam.full.a.list", "");
  makeFifo(list + ".asc");
  makeFifo(std::string(listDir) + "/wam.full.b.list");
  writeFile(std::string(listDir) + "/wam.full.b.list.asc", "");
  ProgramRun const run = runProgram(
      {"/usr/bin/timeout", "--kill-after=1", "20", ZEMO_TOOL, "remove-key", key("Maker")});
  EXPECT_EQ(run.status, 0) << run.errors;
  std::string const conf = std::string(listDir) + "/gpg.conf";
  remove(conf);
  makeFifo(conf);
  ProgramRun const refused = runProgram(
      {"/usr/bin/timeout", "--kill-after=1", "20", ZEMO_TOOL, "remove-key", key("Second")});
  EXPECT_EQ(refused.status, notLoaded);
  EXPECT_EQ(refused.errors, "zemo-selfcheck: '" + conf + "' is not a regular file\n");
}

TEST_F(RemoveKeyCommandTest, HelpHasAnExample) {
  EXPECT_THAT(tool({"remove-key", "--help"}).output, HasSubstr("Example"));
}

TEST_F(RemoveKeyCommandTest, WithoutARing) {
  EXPECT_EQ(tool({"remove-key", key("Maker"), "--homedir", files / "none"}).status, notLoaded);
  makeDirectory(files / "empty");
  EXPECT_EQ(tool({"remove-key", key("Maker"), "--homedir", files / "empty"}).status, notLoaded);
  EXPECT_TRUE(namesIn(files / "empty").empty());
}

TEST_F(RemoveKeyCommandTest, WrongUsage) {
  for (const std::vector<std::string>& words :
       std::vector<std::vector<std::string>>{{"remove-key"},
                                             {"remove-key", key("Maker"), "--homedir", ""},
                                             {"remove-key", "Maker"},
                                             {"remove-key", ""},
                                             {"remove-key", key("Maker").substr(20)}}) {
    ProgramRun const run = tool(words);
    EXPECT_EQ(run.status, usage);
    EXPECT_EQ(linesOf(run.errors).size(), 1U);
  }
}
