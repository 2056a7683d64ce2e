// zemo-selfcheck init-home: a home that every caller can verify with, and that contains nothing
// else.

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <csignal>

#include "support/gnupg_home.h"
#include "support/signing_key.h"
#include "support/started_program.h"
#include "support/tool_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

const GnupgHome& keys() {
  static GnupgHome* const home = [] {
    static GnupgHome made;
    made.make("Maker\x1b[2J <maker@example.org>");
    made.make("Second");
    made.make("Future", "ed25519", "never", "--faked-system-time '20600101T000000!'");
    return &made;
  }();
  return *home;
}

const std::string configuration =
    "trust-model always\nweak-digest SHA1\nno-auto-key-retrieve\nno-auto-key-import\n"
    "no-auto-check-trustdb\nignore-time-conflict\n";

class InitHomeCommandTest : public ToolTest {
 protected:
  static mode_t modeOf(const std::string& path) { return statusOf(path).st_mode & 07777U; }

  std::string maker() const { return keys().exported({"Maker"}, files / "maker.gpg"); }
  std::string second() const { return keys().exported({"Second"}, files / "second.gpg"); }

  const std::string home = files / "new/home";
};

}  // namespace

TEST_F(InitHomeCommandTest, MakesTheSystemsHome) {
  ProgramRun const run = tool({"init-home", "--import", maker()});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(run.output, keys().fingerprint("Maker") +
                            " 'Maker\\033[2J <maker@example.org>'\n"
                            "/usr/zemo/selfcheck trusts 1 key\n");
  std::string const directory = listDir;
  EXPECT_EQ(readFile(directory + "/gpg.conf"), configuration);
  EXPECT_EQ(modeOf(directory + "/gpg.conf"), 0644U);
  EXPECT_EQ(modeOf(directory + "/pubring.kbx"), 0644U);
  EXPECT_EQ(namesIn(directory), (std::vector<std::string>{"gpg.conf", "pubring.kbx"}));
}

TEST_F(InitHomeCommandTest, ListsVerifyByIt) {
  ASSERT_EQ(tool({"init-home", "--import", maker()}).status, 0);
  std::string const path = writeList("wam.full.base.list", "");
  keys().sign(path, "-u Maker");
  EXPECT_EQ(tool({"verify"}).status, 0);
  keys().sign(path, "-u Maker --digest-algo SHA1");
  EXPECT_EQ(tool({"verify"}).status, notLoaded);
}

TEST_F(InitHomeCommandTest, MakesDirectoriesWhateverTheUmask) {
  std::string const command =
      "umask 077; " + quoted(ZEMO_TOOL) + " init-home --homedir " + quoted(home);
  changeMode(files.path(), 0755);
  ProgramRun const run = runProgram({"/bin/sh", "-c", command});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, home + " trusts 0 keys\n");
  EXPECT_EQ(modeOf(files / "new"), 0755U);
  EXPECT_EQ(modeOf(home), 0755U);
  EXPECT_EQ(modeOf(home + "/gpg.conf"), 0644U);
  EXPECT_EQ(modeOf(home + "/pubring.kbx"), 0644U);
  EXPECT_EQ(namesIn(home), (std::vector<std::string>{"gpg.conf", "pubring.kbx"}));
}

TEST_F(InitHomeCommandTest, AddsKeysWhenRunAgain) {
  ASSERT_EQ(tool({"init-home", "--homedir", home, "--import", maker()}).status, 0);
  ProgramRun const run = tool({"init-home", "--import", second(), "--homedir", home + "/"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr(keys().fingerprint("Maker")));
  EXPECT_THAT(run.output, HasSubstr(keys().fingerprint("Second")));
  EXPECT_THAT(run.output, HasSubstr(home + " trusts 2 keys\n"));
  EXPECT_EQ(tool({"init-home", "--homedir", home}).output, run.output);
  EXPECT_EQ(namesIn(home), (std::vector<std::string>{"gpg.conf", "pubring.kbx"}));
}

TEST_F(InitHomeCommandTest, TakesSeveralFiles) {
  EXPECT_THAT(tool({"init-home", "--homedir", home, "--import", maker(), second()}).output,
              HasSubstr("trusts 2 keys"));
}

TEST_F(InitHomeCommandTest, TakesArmouredKeys) {
  runShell("gpg --homedir " + quoted(keys().path()) + " --armor --export Maker >" +
           quoted(files / "-maker &3.asc"));
  EXPECT_EQ(tool({"init-home", "--homedir", home, "--import", files / "-maker &3.asc"}).status, 0);
}

TEST_F(InitHomeCommandTest, TakesARevocation) {
  GnupgHome other;
  other.make("Gone");
  std::string const file = other.exported({"Gone"}, files / "gone.gpg");
  ASSERT_EQ(tool({"init-home", "--homedir", home, "--import", file}).status, 0);
  std::string const revocation =
      other.path() + "/openpgp-revocs.d/" + other.fingerprint("Gone") + ".rev";
  runShell("sed 's/^:---/---/' " + quoted(revocation) + " >" + quoted(files / "rev.asc"));
  ProgramRun const run = tool({"init-home", "--homedir", home, "--import", files / "rev.asc"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(run.output, HasSubstr("'Gone' (revoked)\n"));
}

TEST_F(InitHomeCommandTest, MakesAClosedHomeReadable) {
  ASSERT_EQ(tool({"init-home", "--homedir", home}).status, 0);
  changeMode(home + "/pubring.kbx", 0600);
  changeMode(home + "/gpg.conf", 0600);
  EXPECT_EQ(tool({"init-home", "--homedir", home}).status, 0);
  EXPECT_EQ(modeOf(home + "/gpg.conf"), 0644U);
  EXPECT_EQ(modeOf(home + "/pubring.kbx"), 0644U);
}

TEST_F(InitHomeCommandTest, WarnsOfDirectoriesThatOthersCannotEnter) {
  changeMode(files.path(), 0700);
  ProgramRun const run = tool({"init-home", "--homedir", home});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.errors, HasSubstr("warning: other users cannot enter '" + files.path() + "'"));
}

TEST_F(InitHomeCommandTest, RefusesSecretKeysAndLeavesNothing) {
  std::string const secret = keys().exportedSecret("Maker", files / "secret.gpg");
  ProgramRun const run = tool({"init-home", "--homedir", home, "--import", second(), secret});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: cannot import '" + secret +
                "': it contains secret keys; export the public keys instead (gpg --export)\n");
  EXPECT_EQ(namesIn(files.path()), (std::vector<std::string>{"second.gpg", "secret.gpg"}));
}

TEST_F(InitHomeCommandTest, RefusesFilesWithoutKeysAndChangesNothing) {
  ASSERT_EQ(tool({"init-home", "--homedir", home, "--import", maker()}).status, 0);
  std::string const before = readFile(home + "/pubring.kbx");
  writeFile(files / "text", "no keys\n");
  writeFile(files / "empty", "");
  std::string const cut = readFile(maker()) + readFile(second()).substr(0, 40);
  writeFile(files / "cut", cut);
  makeFifo(files / "fifo");
  for (const std::string name : {"text", "empty", "cut", "fifo", "none"}) {
    ProgramRun const run =
        tool({"init-home", "--homedir", home, "--import", second(), files / name});
    EXPECT_EQ(run.status, notLoaded) << name;
    EXPECT_EQ(linesOf(run.errors).size(), 1U) << run.errors;
    EXPECT_EQ(readFile(home + "/pubring.kbx"), before) << name;
  }
}

TEST_F(InitHomeCommandTest, KeepsAConfigurationThatHasItsLines) {
  makeDirectory(home);
  writeFile(home + "/gpg.conf", "# ours\nno-greeting\n" + configuration);
  EXPECT_EQ(tool({"init-home", "--homedir", home}).status, 0);
  EXPECT_EQ(readFile(home + "/gpg.conf"), "# ours\nno-greeting\n" + configuration);
}

TEST_F(InitHomeCommandTest, RefusesAnotherConfigurationAndSaysWhatItLacks) {
  makeDirectory(home);
  std::string const other =
      "trust-model always\n#weak-digest SHA1\nno-auto-key-retrieve\nignore-time-conflict\n";
  writeFile(home + "/gpg.conf", other);
  ProgramRun const run = tool({"init-home", "--homedir", home, "--import", maker()});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: '" + home +
                "/gpg.conf' exists but lacks 'weak-digest SHA1', "
                "'no-auto-key-import' and 'no-auto-check-trustdb': add what is missing or "
                "remove the file\n");
  EXPECT_EQ(readFile(home + "/gpg.conf"), other);
  EXPECT_EQ(namesIn(home), std::vector<std::string>{"gpg.conf"});
}

TEST_F(InitHomeCommandTest, RefusesEveryOptionFileThatMayDecideWhatVerifies) {
  ASSERT_EQ(tool({"init-home", "--homedir", home}).status, 0);
  std::string const ring = readFile(home + "/pubring.kbx");
  writeFile(home + "/common.conf", "# ours\nuse-keyboxd\n");
  ProgramRun const own = tool({"init-home", "--homedir", home, "--import", maker()});
  EXPECT_EQ(own.status, notLoaded);
  EXPECT_EQ(own.errors, "zemo-selfcheck: line 2 of '" + home +
                            "/common.conf', 'use-keyboxd', makes GnuPG ask a daemon for keys "
                            "instead of reading the key ring; remove that line\n");
  remove(home + "/common.conf");
  ProgramRun const shared = toolAfter(systemWide("gpg.conf", "quiet\\nkeyring /tmp/x\\n"),
                                      {"init-home", "--homedir", home, "--import", maker()});
  EXPECT_EQ(shared.status, notLoaded);
  EXPECT_EQ(shared.errors,
            "zemo-selfcheck: line 2 of '/etc/gnupg/gpg.conf', 'keyring /tmp/x', is not known to be "
            "harmless; remove that line\n");
  EXPECT_EQ(readFile(home + "/pubring.kbx"), ring);
}

TEST_F(InitHomeCommandTest, NamesKeysThatGnupgSkips) {
  std::string const whole = readFile(maker());
  auto const length = static_cast<unsigned char>(whole.at(1));
  writeFile(files / "part.gpg", whole.substr(0, 2U + length));  // without user ids
  ProgramRun const run =
      tool({"init-home", "--homedir", home, "--import", second(), files / "part.gpg"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.errors, "zemo-selfcheck: cannot import '" + files / "part.gpg" +
                            "': GnuPG does not accept key " + keys().fingerprint("Maker") +
                            "; it may have no self-signed user ID\n");
  EXPECT_FALSE(std::filesystem::exists(home));
}

TEST_F(InitHomeCommandTest, TakesKeysFromTheFutureAndSaysThatTheClockIsBehind) {
  std::string const file = keys().exported({"Future"}, files / "future.gpg");
  ProgramRun const run = tool({"init-home", "--import", file});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors, "zemo-selfcheck: warning: this machine's clock is slow: key " +
                            keys().fingerprint("Future") +
                            " was created at 2060-01-01T00:00:00Z\n");
  EXPECT_EQ(run.output,
            keys().fingerprint("Future") + " 'Future'\n/usr/zemo/selfcheck trusts 1 key\n");
  keys().sign(writeList("wam.full.base.list", ""),
              "-u Future --faked-system-time '20600102T000000!'");
  EXPECT_EQ(tool({"verify"}).status, 0);
}

TEST_F(InitHomeCommandTest, RefusesFilesThatGnupgTakesInstead) {
  for (const std::string name : {"pubring.gpg", "gpg.conf-2"}) {
    makeDirectory(home);
    writeFile(home + "/" + name, "");
    EXPECT_EQ(tool({"init-home", "--homedir", home}).status, notLoaded) << name;
    EXPECT_EQ(namesIn(home), std::vector<std::string>{name});
    remove(home);
  }
}

TEST_F(InitHomeCommandTest, RefusesADamagedRing) {
  makeDirectory(home);
  writeFile(home + "/pubring.kbx", std::string(100, 'x'));
  EXPECT_EQ(tool({"init-home", "--homedir", home, "--import", maker()}).status, notLoaded);
  EXPECT_EQ(readFile(home + "/pubring.kbx"), std::string(100, 'x'));
  EXPECT_EQ(namesIn(home), std::vector<std::string>{"pubring.kbx"});
}

TEST_F(InitHomeCommandTest, AKeptConfigurationThatGnupgRefusesIsFound) {
  makeDirectory(home);
  writeFile(home + "/gpg.conf", configuration + "charset nonsense\n");
  ProgramRun const run = tool({"init-home", "--homedir", home});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("GnuPG cannot use the home directory '" + home + "'"));
  EXPECT_EQ(namesIn(home), std::vector<std::string>{"gpg.conf"});
}

TEST_F(InitHomeCommandTest, RefusesAConfigurationThatMayDecideWhatVerifies) {
  makeDirectory(home);
  std::string const other = configuration + "# ours\n trust-model\tpgp\n";
  writeFile(home + "/gpg.conf", other, 0600);
  ProgramRun const run = tool({"init-home", "--homedir", home, "--import", maker()});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors, "zemo-selfcheck: line 8 of '" + home +
                            "/gpg.conf', 'trust-model pgp', is not known to be harmless; remove "
                            "that line\n");
  EXPECT_EQ(readFile(home + "/gpg.conf"), other);
  EXPECT_EQ(modeOf(home + "/gpg.conf"), 0600U);
  EXPECT_EQ(namesIn(home), std::vector<std::string>{"gpg.conf"});
}

TEST_F(InitHomeCommandTest, BlanksBetweenWordsDoNotMatter) {
  makeDirectory(home);
  std::string const other = "  weak-digest\tSHA1 \n" + configuration.substr(0, 19) +
                            "no-auto-key-retrieve\nno-auto-key-import\nignore-time-conflict\n"
                            "no-auto-check-trustdb";
  writeFile(home + "/gpg.conf", other);
  EXPECT_EQ(tool({"init-home", "--homedir", home}).status, 0);
  EXPECT_EQ(readFile(home + "/gpg.conf"), other);
}

TEST_F(InitHomeCommandTest, RefusesWhatIsNotARegularFileWithoutWaiting) {
  for (const std::string name : {"gpg.conf", "pubring.kbx", "trustdb.gpg"}) {
    makeDirectory(home);
    makeFifo(home + "/" + name);
    ProgramRun const run = runProgram(
        {"/usr/bin/timeout", "--kill-after=1", "10", ZEMO_TOOL, "init-home", "--homedir", home});
    EXPECT_EQ(run.status, notLoaded) << name;
    EXPECT_THAT(run.errors, HasSubstr("'" + home + "/" + name + "' is not a regular file"));
    EXPECT_EQ(namesIn(home), std::vector<std::string>{name});
    remove(home);
  }
}

TEST_F(InitHomeCommandTest, RefusesAHomeThatOthersCanWriteTo) {
  makeDirectory(home);
  changeMode(home, 0777);
  ProgramRun const run = tool({"init-home", "--homedir", home, "--import", maker()});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: '" + home + "' is not safe to use because it is writable by others\n");
  EXPECT_TRUE(namesIn(home).empty());
  changeMode(home, 0755);
  changeMode(files / "new", 0777);
  EXPECT_EQ(tool({"init-home", "--homedir", home}).status, notLoaded);
  EXPECT_EQ(tool({"init-home", "--homedir", files / "new/other/home"}).status, notLoaded);
  EXPECT_EQ(namesIn(files / "new"), std::vector<std::string>{"home"});
  EXPECT_TRUE(namesIn(home).empty());
}

// The gpg.conf of the home makes GnuPG write files for anyone who runs it.
TEST_F(InitHomeCommandTest, RefusesAHomeThatSomebodyElseOwns) {
  makeDirectory(home);
  writeFile(home + "/gpg.conf", configuration + "log-file " + (files / "written") + "\n");
  if (chown(home.c_str(), 1234, 1234) != 0)
    GTEST_SKIP() << "cannot give a directory away";
  ProgramRun const run = tool({"init-home", "--homedir", home, "--import", maker()});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: '" + home + "' is not safe to use because it belongs to user 1234\n");
  ASSERT_EQ(chown(home.c_str(), 0, 0), 0);
  ASSERT_EQ(chown((home + "/gpg.conf").c_str(), 1234, 1234), 0);
  EXPECT_EQ(
      tool({"init-home", "--homedir", home}).errors,
      "zemo-selfcheck: '" + home + "/gpg.conf' belongs to user 1234, who could have changed it\n");
  EXPECT_FALSE(std::filesystem::exists(files / "written"));
}

// Making one file readable must not make another readable.
TEST_F(InitHomeCommandTest, FollowsNoLinkToWhatItMakesReadable) {
  ASSERT_EQ(tool({"init-home", "--homedir", home}).status, 0);
  for (const std::string name : {"gpg.conf", "pubring.kbx"}) {
    std::string const secret = files / name;
    std::filesystem::rename(home + "/" + name, secret);
    changeMode(secret, 0600);
    makeLink(secret, home + "/" + name);
    ProgramRun const run = tool({"init-home", "--homedir", home});
    EXPECT_EQ(run.status, notLoaded);
    EXPECT_EQ(run.errors, "zemo-selfcheck: '" + home + "/" + name +
                              "' is a symbolic link: give the path that it leads to\n");
    EXPECT_EQ(modeOf(secret), 0600U);
    std::filesystem::rename(secret, home + "/" + name);
    EXPECT_EQ(tool({"init-home", "--homedir", home}).status, 0);
  }
  makeLink(home, files / "link");
  EXPECT_EQ(tool({"init-home", "--homedir", files / "link"}).status, notLoaded);
}

TEST_F(InitHomeCommandTest, AnotherUsersLockDoesNotBlock) {
  ASSERT_EQ(tool({"init-home", "--homedir", home, "--import", maker()}).status, 0);
  int const opened = open(home.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(opened, LOCK_EX), 0);
  EXPECT_EQ(tool({"init-home", "--homedir", home}).status, 0);
  EXPECT_EQ(tool({"remove-key", "--homedir", home, keys().fingerprint("Maker")}).status, 0);
  (void)close(opened);
}

TEST_F(InitHomeCommandTest, TakesPipesAndStandardInput) {
  std::string const start = quoted(ZEMO_TOOL) + " init-home --homedir " + quoted(home);
  std::string const key = quoted(maker());
  for (const std::string& command :
       {start + " --import <(sleep 0.2; cat " + key + ")",
        "{ head -c 9 " + key + "; sleep 0.2; tail -c +10 " + key + "; } | " + start + " --import -",
        "cat " + key + " | " + start + " --import /dev/stdin", start + " --import - <" + key}) {
    ProgramRun const run = runProgram({"/bin/bash", "-c", command});
    EXPECT_EQ(run.status, 0) << command << "\n" << run.errors;
    EXPECT_THAT(run.output, HasSubstr("trusts 1 key\n")) << command;
    remove(home);
  }
}

TEST_F(InitHomeCommandTest, EndlessPipesAreRefused) {
  for (const std::string& command :
       {"cat /dev/zero | " + quoted(ZEMO_TOOL) + " init-home --import -",
        quoted(ZEMO_TOOL) + " init-home --import /dev/zero"}) {
    ProgramRun const run = runProgram({"/bin/bash", "-c", command});
    EXPECT_EQ(run.status, notLoaded) << command;
    EXPECT_EQ(linesOf(run.errors).size(), 1U) << run.errors;
  }
  EXPECT_TRUE(namesIn(listDir).empty());
}

// In a separate mount namespace, /usr/bin/gpg is another program.
TEST_F(InitHomeCommandTest, ASignalLeavesNoNewDirectory) {
  writeFile(files / "gpg", "#!/bin/sh\necho $$ >" + quoted(files / "pid") + "\nexec sleep 20\n",
            0755);
  std::string const script = "mount --bind " + quoted(files / "gpg") +
                             " /usr/bin/gpg || exit 99; exec " + quoted(ZEMO_TOOL) +
                             " init-home --homedir " + quoted(home);
  StartedProgram program({"/usr/bin/unshare", "--mount", "/bin/sh", "-c", script});
  auto const pid = [this] {
    return std::filesystem::exists(files / "pid") ? readFile(files / "pid") : std::string();
  };
  bool const started = eventually([&] { return !pid().empty() || program.endsWithin(0); });
  if (program.endsWithin(0))
    GTEST_SKIP() << "cannot mount: " << program.run().errors;
  ASSERT_TRUE(started);
  EXPECT_TRUE(std::filesystem::exists(home));
  program.signal(SIGINT);
  EXPECT_TRUE(program.endsWithin(10));
  EXPECT_EQ(program.run().status, 128 + SIGINT);
  kill(std::stoi(pid()), SIGKILL);
  EXPECT_FALSE(std::filesystem::exists(files / "new"));
}

// GnuPG can read the copy but not the home: again, another program replaces it.
TEST_F(InitHomeCommandTest, AProofThatFailsInTheEndSaysWhatHasBeenDone) {
  runShell("cp /usr/bin/gpg " + quoted(files / "real-gpg"));
  writeFile(files / "gpg",
            "#!/bin/sh\n[ \"$2\" != " + quoted(home) + " ] || exit 2\nexec " +
                quoted(files / "real-gpg") + " \"$@\"\n",
            0755);
  std::string const script = "mount --bind " + quoted(files / "gpg") +
                             " /usr/bin/gpg || exit 99; exec " + quoted(ZEMO_TOOL) +
                             " init-home --homedir " + quoted(home);
  ProgramRun const run = runProgram({"/usr/bin/unshare", "--mount", "/bin/sh", "-c", script});
  if (run.status == 99 || run.status == 1)
    GTEST_SKIP() << "cannot mount: " << run.errors;
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("GnuPG cannot use the home directory '" + home + "'"));
  EXPECT_THAT(run.errors, HasSubstr("; this run has installed gpg.conf and the key ring\n"));
  EXPECT_EQ(namesIn(home), (std::vector<std::string>{"gpg.conf", "pubring.kbx"}));
  ProgramRun const again = runProgram({"/usr/bin/unshare", "--mount", "/bin/sh", "-c", script});
  EXPECT_EQ(again.status, notLoaded);
  EXPECT_THAT(again.errors, Not(HasSubstr("installed")));
}

// The home serves users who cannot write to it, and none of them leaves anything in it.
class InitHomeCallersTest : public InitHomeCommandTest {
 protected:
  void SetUp() override {
    InitHomeCommandTest::SetUp();
    if (IsSkipped())
      return;
    ASSERT_EQ(tool({"init-home", "--import", maker()}).status, 0);
    keys().sign(writeList("wam.full.base.list", ""), "-u Maker");
    before = runProgram({"/bin/ls", "-lA", "--time-style=full-iso", listDir}).output;
  }
  void expectVerified(const ProgramRun& run) const {
    EXPECT_EQ(run.status, 0) << run.output << run.errors;
    EXPECT_EQ(runProgram({"/bin/ls", "-lA", "--time-style=full-iso", listDir}).output, before);
  }
  std::string before;
};

TEST_F(InitHomeCallersTest, AnotherUserVerifies) {
  std::vector<std::string> words = {
      "/usr/bin/setpriv",    "--reuid",         "65534",   "--regid",  "65534", "--clear-groups",
      "--bounding-set=-all", "--inh-caps=-all", ZEMO_TOOL, "--version"};
  if (runProgram(words).status != 0)
    GTEST_SKIP() << "cannot become another user, or that cannot reach the program";
  words.back() = "verify";
  expectVerified(runProgram(words));
}

TEST_F(InitHomeCallersTest, ACallerThatMayOnlyReadAndSearchVerifies) {
  expectVerified(runProgram(
      {"/usr/bin/setpriv", "--bounding-set", "-all,+dac_read_search", ZEMO_TOOL, "verify"}));
}

TEST_F(InitHomeCallersTest, AReadOnlyHomeVerifies) {
  std::string const directory = listDir;
  std::string const script = "mount --bind " + directory + " " + directory +
                             " && mount -o remount,bind,ro " + directory + " || exit 99; touch " +
                             directory + "/x 2>/dev/null && exit 98; exec " + quoted(ZEMO_TOOL) +
                             " verify";
  ProgramRun const run = runProgram({"/usr/bin/unshare", "--mount", "/bin/sh", "-c", script});
  if (run.status == 99 || run.status == 1)
    GTEST_SKIP() << "cannot mount: " << run.errors;
  expectVerified(run);
}

TEST_F(InitHomeCommandTest, HelpHasAnExample) {
  EXPECT_THAT(tool({"init-home", "--help"}).output, HasSubstr("Example"));
}

TEST_F(InitHomeCommandTest, AFileInPlaceOfTheDirectory) {
  writeFile(files / "new", "");
  EXPECT_EQ(tool({"init-home", "--homedir", home}).status, notLoaded);
  EXPECT_EQ(tool({"init-home", "--homedir", files / "new"}).status, notLoaded);
}

TEST_F(InitHomeCommandTest, WrongUsage) {
  for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
           {"init-home", "--import"}, {"init-home", "--homedir", ""}, {"init-home", "word"}}) {
    ProgramRun const run = tool(words);
    EXPECT_EQ(run.status, usage);
    EXPECT_EQ(linesOf(run.errors).size(), 1U);
  }
  EXPECT_TRUE(namesIn(listDir).empty());
}
