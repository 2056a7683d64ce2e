// zemo-selfcheck sign: the new pair or the old one, and no other files.

#include "support/gnupg_home.h"
#include "support/signing_key.h"
#include "support/tool_fixture.h"

namespace {

using ::testing::HasSubstr;

// Made once for all tests.
const GnupgHome& keys() {
  static GnupgHome* const home = [] {
    static GnupgHome made;
    made.make("Maker <maker@example.org>");
    made.make("Second <second@example.org>", "rsa1024");
    made.make("Expired", "ed25519", "1y", "--faked-system-time '20200101T000000!'");
    made.make("Locked", "ed25519", "never", "", "secret");
    made.make("Subbed");
    made.addSubkey("Subbed");
    return &made;
  }();
  return *home;
}

const std::string label = "set=wam mode=full list=base serial=7 date=2026-09-21T12:00:00Z";

class SignCommandTest : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    if (IsSkipped())
      return;
    static const std::string ring = [] {
      static TemporaryDirectory const directory;
      return keys().exported({}, directory / "ring");
    }();
    ASSERT_EQ(tool({"init-home", "--import", ring}).status, 0);
    path = std::string(listDir) + "/wam.full.base.list";
    write(path);
  }

  static void write(const std::string& list, const std::string& line2 = label) {
    writeFile(list, "WAM_SELF_CHECK\n" + line2 + "\n/etc/passwd\t-\t-\tf\t-\t-\t-\n", 0600);
  }
  static ProgramRun sign(const std::string& list, const std::string& key) {
    return tool({"sign", list, "--key", key, "--homedir", keys().path()});
  }
  static mode_t modeOf(const std::string& file) { return statusOf(file).st_mode & 07777U; }

  const std::vector<std::string> onlyPair = {"gpg.conf", "pubring.kbx", "wam.full.base.list",
                                             "wam.full.base.list.asc"};
  std::string path;
};

}  // namespace

TEST_F(SignCommandTest, TheListVerifiesByTheKeyAndDigest) {
  std::string const content = readFile(path);
  ProgramRun const run = sign(path, "Maker");
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(run.output, path + ".asc: signed by " + keys().fingerprint("Maker") +
                            " 'Maker <maker@example.org>'\n");
  EXPECT_EQ(readFile(path), content);
  EXPECT_EQ(modeOf(path), 0644U);
  EXPECT_EQ(modeOf(path + ".asc"), 0644U);
  EXPECT_THAT(readFile(path + ".asc"), HasSubstr("-----BEGIN PGP SIGNATURE-----"));
  EXPECT_EQ(namesIn(listDir), onlyPair);
  ProgramRun const verified = tool({"verify", "--strict", "--key", keys().fingerprint("Maker")});
  EXPECT_EQ(verified.status, 0) << verified.output;
  EXPECT_THAT(verified.output, HasSubstr("good, SHA512, made "));
}

TEST_F(SignCommandTest, ASecondSignatureReplacesTheFirst) {
  ASSERT_EQ(sign(path, "Maker").status, 0);
  ASSERT_EQ(sign(path, keys().fingerprint("Second")).status, 0);
  EXPECT_EQ(tool({"verify", "--key", keys().fingerprint("Second")}).status, 0);
  EXPECT_EQ(namesIn(listDir), onlyPair);
}

TEST_F(SignCommandTest, SeveralListsAndNamesLikeOptions) {
  std::string const other = std::string(listDir) + "/-x y.list";
  write(other);
  std::string const command = "cd " + std::string(listDir) + " && " + quoted(ZEMO_TOOL) +
                              " sign --key Maker --homedir " + quoted(keys().path()) +
                              " -- wam.full.base.list '-x y.list'";
  ProgramRun const run = runProgram({"/bin/sh", "-c", command});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(readFile(other + ".asc"), HasSubstr("BEGIN PGP SIGNATURE"));
  EXPECT_EQ(tool({"verify"}).status, 0);
}

TEST_F(SignCommandTest, TheCallersHomeIsTheDefault) {
  ProgramRun const run = runProgram(
      {"/usr/bin/env", "GNUPGHOME=" + keys().path(), ZEMO_TOOL, "sign", path, "--key", "Maker"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(tool({"verify"}).status, 0);
}

TEST_F(SignCommandTest, SubkeysAreTheirKeys) {
  EXPECT_EQ(sign(path, "Subbed").status, 0);
  EXPECT_THAT(tool({"verify"}).output, HasSubstr("key        " + keys().fingerprint("Subbed", 1)));
  EXPECT_EQ(sign(path, keys().fingerprint("Subbed") + "!").status, 0);
  EXPECT_THAT(tool({"verify"}).output,
              HasSubstr("key        " + keys().fingerprint("Subbed") + " "));
}

TEST_F(SignCommandTest, LabelsThatDoNotFitCauseAWarning) {
  write(path, "free text");
  ProgramRun const none = sign(path, "Maker");
  EXPECT_EQ(none.status, 0);
  EXPECT_THAT(none.errors, HasSubstr("warning: '" + path + "' does not say in line 2"));
  std::string const other = std::string(listDir) + "/wam.full.other.list";
  write(other);
  EXPECT_THAT(sign(other, "Maker").errors,
              HasSubstr("says in line 2 that it is 'wam.full.base.list'"));
}

TEST_F(SignCommandTest, AllListsAreExaminedBeforeTheFirstIsSigned) {
  std::string const broken = std::string(listDir) + "/wam.full.broken.list";
  writeFile(broken, "something else\n");
  ProgramRun const run = tool({"sign", path, broken, "--key", "Maker", "--homedir", keys().path()});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output, "");
  EXPECT_THAT(run.errors, HasSubstr("is not a check list"));
  EXPECT_FALSE(tool({"verify"}).status == 0);
  EXPECT_EQ(namesIn(listDir),
            (std::vector<std::string>{"gpg.conf", "pubring.kbx", "wam.full.base.list",
                                      "wam.full.broken.list"}));
}

TEST_F(SignCommandTest, MissingListsLinksAndDirectories) {
  makeLink(path, std::string(listDir) + "/link.list");
  EXPECT_THAT(sign(std::string(listDir) + "/link.list", "Maker").errors,
              HasSubstr("is a symbolic link"));
  EXPECT_EQ(sign(std::string(listDir) + "/none.list", "Maker").status, notLoaded);
  EXPECT_EQ(sign(listDir, "Maker").status, notLoaded);
}

// Signing publishes a list. A list that its owner keeps secret can have a name in other users'
// directories.
TEST_F(SignCommandTest, AListWithOtherNamesInADirectoryThatOthersCanWriteTo) {
  std::string const secret = files / "secret";
  std::string const named = files / "shared/wam.full.base.list";
  makeDirectory(files / "shared");
  write(secret);
  std::filesystem::create_hard_link(secret, named);
  changeMode(files / "shared", 01777);
  ProgramRun const run = sign(named, "Maker");
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors,
              HasSubstr("has other hard links, in a directory that is writable by others"));
  EXPECT_EQ(modeOf(named), 0600U);
  EXPECT_EQ(namesIn(files / "shared"), std::vector<std::string>{"wam.full.base.list"});
  changeMode(files / "shared", 0755);
  EXPECT_EQ(sign(named, "Maker").status, 0) << "nobody else can write there";
  EXPECT_EQ(modeOf(secret), 0600U);
}

TEST_F(SignCommandTest, AHomeThatOthersCanChangeIsRefused) {
  changeMode(keys().path(), 0777);
  ProgramRun const run = sign(path, "Maker");
  changeMode(keys().path(), 0700);
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("is not safe to use because it is writable by others"));
}

TEST_F(SignCommandTest, KeysThatCannotSign) {
  ASSERT_EQ(sign(path, "Maker").status, 0);
  std::string const before = readFile(path + ".asc");
  EXPECT_EQ(sign(path, "nobody").errors, "zemo-selfcheck: no secret key matches 'nobody'\n");
  EXPECT_EQ(sign(path, "nobody").status, notLoaded);
  EXPECT_THAT(sign(path, "Expired").errors, HasSubstr("the secret key cannot be used"));
  EXPECT_EQ(sign(path, "Expired").status, notLoaded);
  EXPECT_EQ(sign(path, "--").status, notLoaded);
  EXPECT_EQ(readFile(path + ".asc"), before);
  EXPECT_EQ(namesIn(listDir), onlyPair);
}

TEST_F(SignCommandTest, AmbiguousKeysAreWrongUsage) {
  ProgramRun const run = sign(path, "example.org");
  EXPECT_EQ(run.status, usage);
  EXPECT_EQ(linesOf(run.errors).size(), 1U);
  EXPECT_THAT(run.errors, HasSubstr(keys().fingerprint("Maker")));
  EXPECT_THAT(run.errors, HasSubstr(keys().fingerprint("Second")));
}

TEST_F(SignCommandTest, ThePassphraseIsAskedFor) {
  keys().askBy("echo 'D secret'; echo OK");
  EXPECT_EQ(sign(path, "Locked").status, 0);
  EXPECT_EQ(tool({"verify", "--key", keys().fingerprint("Locked")}).status, 0);
}

// Like a PIN. The program's standard input is not the terminal, as below xargs.
TEST_F(SignCommandTest, ThePassphraseIsTypedOnTheTerminal) {
  keys().askBy("read -r typed <$terminal; echo \"D $typed\"; echo OK");
  std::string const command = std::string(ZEMO_TOOL) + " sign " + path +
                              " --key Locked --homedir " + keys().path() + " </dev/null";
  ProgramRun run = runProgram({"/usr/bin/script", "-qec", command, "/dev/null"}, "secret\n");
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_EQ(tool({"verify", "--key", keys().fingerprint("Locked")}).status, 0);
}

TEST_F(SignCommandTest, WithoutATerminalItSaysWhatToDo) {
  keys().askBy("[ -z \"$terminal\" ] && echo 'ERR 83918950 Inappropriate ioctl <Pinentry>'");
  ProgramRun const run = runProgram({"/usr/bin/env", "-u", "GPG_TTY", ZEMO_TOOL, "sign", path,
                                     "--key", "Locked", "--homedir", keys().path()});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("cannot sign '" + path +
                                    "': no terminal to ask for the passphrase on: run this in "
                                    "one, or sign something else with this key first"));
  EXPECT_EQ(namesIn(listDir),
            (std::vector<std::string>{"gpg.conf", "pubring.kbx", "wam.full.base.list"}));
}

TEST_F(SignCommandTest, AWrongPassphraseKeepsTheOldSignature) {
  ASSERT_EQ(sign(path, "Maker").status, 0);
  std::string const before = readFile(path + ".asc");
  keys().askBy("echo 'D wrong'; echo OK");
  ProgramRun const run = sign(path, "Locked");
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("cannot sign '" + path + "': wrong passphrase\n"));
  EXPECT_EQ(readFile(path + ".asc"), before);
  EXPECT_EQ(namesIn(listDir), onlyPair);
}

TEST_F(SignCommandTest, ACancelledPassphraseKeepsTheOldSignature) {
  ASSERT_EQ(sign(path, "Maker").status, 0);
  std::string const before = readFile(path + ".asc");
  keys().askBy("echo 'ERR 83886179 Operation cancelled <Pinentry>'");
  ProgramRun const run = sign(path, "Locked");
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("cannot sign '" + path + "': cancelled\n"));
  EXPECT_EQ(readFile(path + ".asc"), before);
}

TEST_F(SignCommandTest, AListThatChangesMeanwhileStaysAsItIs) {
  keys().askBy("echo more >>" + path + "; echo 'D secret'; echo OK");
  ProgramRun const run = sign(path, "Locked");
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("changed while it was being signed"));
  EXPECT_THAT(readFile(path), HasSubstr("more\n"));
  EXPECT_EQ(namesIn(listDir),
            (std::vector<std::string>{"gpg.conf", "pubring.kbx", "wam.full.base.list"}));
}

// The list has its signature when the manifest's is made.
TEST_F(SignCommandTest, AManifestOfAListThatChangesMeanwhileIsNotWritten) {
  std::string const asked = files / "asked";
  keys().askBy("echo >>" + asked + "; [ $(wc -l <" + asked + ") = 1 ] || echo more >>" + path +
               "; echo 'D secret'; echo OK");
  appendToFile(keys().path() + "/gpg-agent.conf", "default-cache-ttl 0\n");
  ProgramRun const run = tool({"sign", "--manifest", std::string(listDir) + "/wam.full.manifest",
                               path, "--key", "Locked", "--homedir", keys().path()});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.output, HasSubstr(path + ".asc: signed by"));
  EXPECT_THAT(run.errors, HasSubstr("'" + path + "' changed while it was being signed"));
  EXPECT_EQ(namesIn(listDir), onlyPair);
}

TEST_F(SignCommandTest, ASignalEndsItAndLeavesNothing) {
  keys().askBy("sleep 3; echo 'ERR 83886179 Operation cancelled <Pinentry>'");
  ProgramRun const run = runProgram({"/usr/bin/timeout", "--preserve-status", "-s", "TERM", "1",
                                     "/usr/bin/env", "TMPDIR=" + files.path(), ZEMO_TOOL, "sign",
                                     path, "--key", "Locked", "--homedir", keys().path()});
  EXPECT_EQ(run.status, 128 + 15);
  EXPECT_EQ(namesIn(listDir),
            (std::vector<std::string>{"gpg.conf", "pubring.kbx", "wam.full.base.list"}));
  EXPECT_TRUE(namesIn(files.path()).empty());
}

TEST_F(SignCommandTest, TwoSignersLeaveAPairThatVerifies) {
  std::string const command =
      quoted(ZEMO_TOOL) + " sign " + path + " --homedir " + quoted(keys().path()) + " --key ";
  ProgramRun const run = runProgram(
      {"/bin/sh", "-c", command + "Maker & " + command + "Second & " + command + "Subbed; wait"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(tool({"verify"}).status, 0);
  EXPECT_EQ(namesIn(listDir), onlyPair);
}

TEST_F(SignCommandTest, ADirectoryThatCannotBeWritten) {
  changeMode(listDir, 0555);
  ProgramRun const run = runProgram({"/usr/bin/setpriv", "--bounding-set", "-all", ZEMO_TOOL,
                                     "sign", path, "--key", "Maker", "--homedir", keys().path()});
  changeMode(listDir, 0755);
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("cannot write '" + path + "': Permission denied"));
}

// If a list is signed already, the old and the new signature both fit the list at every moment.
TEST_F(SignCommandTest, AStopBetweenTheTwoRenamesLeavesAPairThatVerifies) {
  ASSERT_EQ(sign(path, "Maker").status, 0);
  std::string const oldSignature = readFile(path + ".asc");
  ino_t const oldList = statusOf(path).st_ino;
  ASSERT_EQ(sign(path, "Second").status, 0);
  EXPECT_NE(statusOf(path).st_ino, oldList);  // renamed over, so there is such a moment
  writeFile(path + ".asc", oldSignature);
  EXPECT_EQ(tool({"verify", "--key", keys().fingerprint("Maker")}).status, 0);
}

// The second rename fails: nothing can replace a directory.
TEST_F(SignCommandTest, AFailureBetweenTheTwoRenamesKeepsTheList) {
  std::string const content = readFile(path);
  makeDirectory(path + ".asc/member");
  ProgramRun const run = sign(path, "Maker");
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("cannot replace '" + path + ".asc'"));
  EXPECT_EQ(readFile(path), content);
  EXPECT_EQ(namesIn(listDir), onlyPair);
}

TEST_F(SignCommandTest, HelpHasAnExample) {
  EXPECT_THAT(tool({"sign", "--help"}).output, HasSubstr("Example"));
}

TEST_F(SignCommandTest, WrongUsage) {
  for (const std::vector<std::string>& words :
       std::vector<std::vector<std::string>>{{"sign", path},
                                             {"sign", path, "--key", "Maker", "--homedir", ""},
                                             {"sign", "--key", "Maker"},
                                             {"sign", files / "none.list", "--key", ""}}) {
    ProgramRun const run = tool(words);
    EXPECT_EQ(run.status, usage);
    EXPECT_EQ(linesOf(run.errors).size(), 1U);
  }
  EXPECT_EQ(tool({"sign", path, "--key", "Maker", "--homedir", files / "none"}).status, notLoaded);
}
