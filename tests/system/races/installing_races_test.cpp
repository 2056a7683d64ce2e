// The program zemo-selfcheck is killed while it installs a set, and checks one that is exchanged.

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <set>
#include <thread>

#include "races.h"
#include "support/files.h"
#include "support/program.h"
#include "support/signing_key.h"
#include "support/temporary_directory.h"

namespace {

// Calls that change what is on the disk. A process that is killed before another call leaves the
// same as if it was killed before the next of these.
bool isChange(const Call& call) {
  static const std::set<long> changes = {
      SYS_mkdir,     SYS_mkdirat, SYS_link,     SYS_linkat,    SYS_rename,   SYS_renameat,
      SYS_renameat2, SYS_unlink,  SYS_unlinkat, SYS_rmdir,     SYS_write,    SYS_openat,
      SYS_fchmod,    SYS_fchown,  SYS_fsync,    SYS_ftruncate, SYS_fsetxattr};
  return changes.count(call.number) != 0;
}

using Files = std::map<std::string, std::string>;

class InstallingRacesTest : public RacesTest {
 protected:
  InstallingRacesTest() : RacesTest(some) {}

  void SetUp() override {
    RacesTest::SetUp();
    if (IsSkipped())
      return;
    TemporaryDirectory const scratch;
    changeMode(scratch.path(), 0700);
    key().trustedBy(scratch.path());
    for (const char* const directory : {"/usr", "/usr/zemo", listDir})
      changeMode(directory, 0755);
    writeFile(std::string(listDir) + "/pubring.kbx", readFile(scratch / "pubring.kbx"));
    writeFile(std::string(listDir) + "/gpg.conf",
              "trust-model always\nweak-digest SHA1\n"
              "no-auto-key-retrieve\nno-auto-key-import\n"
              "no-auto-check-trustdb\nignore-time-conflict\n");
    changeMode(files.path(), 0755);
    writeFile(files / "file", "content");
    // Both sets fit. They have one list in common, with other bytes, and one of their own.
    send("old", {"base", "first"}, "1");
    send("new", {"base", "second"}, "2");
  }

  static SigningKey& key() {
    static SigningKey key;
    return key;
  }

  static ProgramRun tool(std::vector<std::string> words) {
    words.insert(words.begin(), ZEMO_TOOL);
    return runProgram(words);
  }

  void send(const std::string& directory, const std::vector<std::string>& lists,
            const std::string& serial) {
    makeDirectory(files / directory);
    std::string const start = (files / directory) + "/wam.full.";
    std::vector<std::string> words = {"sign",     "--manifest", start + "manifest",
                                      "--serial", serial,       "--key",
                                      "Maker",    "--homedir",  key().home()};
    for (const std::string& list : lists) {
      writeFile(start + list + ".list", "WAM_SELF_CHECK\nset=wam mode=full list=" + list +
                                            " serial=" + serial + " date=2026-09-21T12:00:00Z\n" +
                                            entryLine(files / "file") + "\n");
      words.push_back(start + list + ".list");
    }
    ProgramRun const run = tool(words);
    ASSERT_EQ(run.status, 0) << run.errors;
  }

  std::string place() const { return files / "place/set"; }

  // Installs the old set.
  void prepare() const {
    remove(files / "place");
    makeDirectory(place() + "/packages/demo");
    writeFile(place() + "/packages/demo/demo.full.base.list", "of a package");
    writeFile(place() + "/pubring.kbx", "ring");
    for (const auto& [name, content] : filesIn(files / "old"))
      writeFile(place() + "/" + name, content);
    writeFile(place() + "/listorder", "wam.full.base.list\nwam.full.first.list\n");
  }

  static Files filesIn(const std::string& directory) {
    Files found;
    for (const auto& member : std::filesystem::directory_iterator(directory)) {
      std::string const name = member.path().filename();
      if (name.rfind("wam.", 0) == 0 || name == "listorder")
        found[name] = readFile(member.path());
    }
    return found;
  }

  std::string state() const {
    Files const now = filesIn(place());
    if (now.count("wam.full.unfinished-install.list") != 0)
      return "not loaded";
    Files before = filesIn(files / "old");
    before["listorder"] = "wam.full.base.list\nwam.full.first.list\n";
    Files after = filesIn(files / "new");
    after["listorder"] = "wam.full.base.list\nwam.full.second.list\n";
    return now == before ? "old" : now == after ? "new" : "half";
  }

  std::string others() const {
    return readFile(place() + "/packages/demo/demo.full.base.list") +
           readFile(place() + "/pubring.kbx");
  }

  // Kills the installation before each of its changes.
  void killEverywhere(bool byRenames) {
    Operation const installing = {
        files / "place", [this] { prepare(); },
        [this, byRenames] {
          std::string const set = place();
          if (byRenames && (unshare(CLONE_NEWNS) != 0 ||
                            mount(set.c_str(), set.c_str(), nullptr, MS_BIND, nullptr) != 0))
            return 98;
          int const null = open("/dev/null", O_WRONLY | O_CLOEXEC);
          (void)dup2(null, STDOUT_FILENO);
          (void)dup2(null, STDERR_FILENO);
          // The leak search does not work in a traced process.
          (void)setenv("ASAN_OPTIONS", "exitcode=99:detect_leaks=0", 1);
          std::string const sent = files / "new";
          (void)execl(ZEMO_TOOL, ZEMO_TOOL, "install", "--lists", set.c_str(), sent.c_str(),
                      nullptr);
          return 99;
        },
        intact, nullptr};
    std::vector<std::size_t> points;
    Ending ending = run(installing, place(), [&](std::size_t number, const Call& call) {
      if (isChange(call))
        points.push_back(number);
      return true;
    });
    ASSERT_TRUE(ending.kind == Ending::exited && ending.value == 0) << ending.value;
    ASSERT_EQ(state(), "new");
    ASSERT_GT(points.size(), 20U);
    std::map<std::string, int> states;
    for (std::size_t const point : points) {
      if (isSkippedNow())
        continue;
      ending = run(installing, place(), [&](std::size_t number, const Call& call) {
        if (number == point)
          (void)kill(call.thread, SIGKILL);
        return number < point;
      });
      EXPECT_EQ(ending.kind, Ending::killed);
      std::string const found = state();
      ++states[found];
      EXPECT_NE(found, "half") << point;
      EXPECT_TRUE(byRenames || found != "not loaded") << point;
      EXPECT_EQ(others(), "of a packagering");
      ProgramRun const again = tool({"install", "--lists", place(), files / "new"});
      EXPECT_EQ(again.status, 0) << again.errors;
      EXPECT_EQ(state(), "new") << point;
      EXPECT_EQ(others(), "of a packagering");
      EXPECT_EQ(membersOf(files / "place"), "set ");
      EXPECT_EQ(membersOf(place() + "/.previous"), "wam.full ");
      EXPECT_FALSE(std::filesystem::exists(place() + "/.zemo-lock"));
    }
    std::cout << points.size() << " changes; killed before";
    for (const auto& [name, number] : states)
      std::cout << ", " << name << ": " << number;
    std::cout << "\n";
  }

  static std::string membersOf(const std::string& directory) {
    std::set<std::string> names;
    if (std::filesystem::exists(directory)) {
      for (const auto& member : std::filesystem::directory_iterator(directory))
        names.insert(member.path().filename());
    }
    std::string text;
    for (const std::string& name : names)
      text += name + " ";
    return text;
  }

  TemporaryDirectory files;
};

}  // namespace

TEST_F(InstallingRacesTest, KilledBeforeAnyChange) {
  killEverywhere(false);
}

TEST_F(InstallingRacesTest, KilledBeforeAnyChangeFileByFile) {
  killEverywhere(true);
}

TEST_F(InstallingRacesTest, CheckDuringExchanges) {
  int const exchanges = getenv("ZEMO_RACES_ONE_IN") == nullptr ? 8 : 200;
  ASSERT_EQ(tool({"install", files / "old"}).status, 0);
  std::atomic<bool> ended{false};
  std::map<int, int> installed;
  std::thread installing([&] {
    for (int i = 0; i < exchanges; ++i) {
      ProgramRun const run =
          tool({"install", "--accept-older", files / (i % 2 == 0 ? "new" : "old")});
      ++installed[run.status];
      EXPECT_EQ(run.status, 0) << run.errors;
    }
    ended = true;
  });
  std::map<int, int> checked;
  int again = 0;
  while (!ended) {
    ProgramRun const run = tool({"check", "--require", "manifest", "--accept-older"});
    ++checked[run.status];
    again += run.errors.find("; loading it again") != std::string::npos ? 1 : 0;
    EXPECT_EQ(run.status, 0) << run.errors;
  }
  installing.join();
  EXPECT_EQ(installed, (std::map<int, int>{{0, exchanges}}));
  EXPECT_EQ(checked.size(), 1U);
  std::cout << exchanges << " exchanges, " << checked[0] << " checks ended with 0, " << again
            << " of them loaded the set again\n";
}
