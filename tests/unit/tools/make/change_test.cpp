// zemo-selfcheck make: files that change or vanish while the list is made, signals, and progress.

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <csignal>
#include <future>

#include "fixture.h"
#include "lease.h"

class MakeChangeTest : public MakeTest {
 protected:
  void SetUp() override {
    MakeTest::SetUp();
    for (const char* const name : {"a", "b", "c"})
      writeFile(files / name, name);
  }

  // Starts `make` with one thread, which reads the files in the order of their names.
  std::future<ProgramRun> start() {
    return std::async(std::launch::async, [this] {
      return runProgram({"/bin/sh", "-c", "echo $$ >\"$0\"; exec \"$@\"", lists / "pid", ZEMO_TOOL,
                         "make", "--output", output, "--jobs", "1", files.path()});
    });
  }
};

TEST_F(MakeChangeTest, FileThatChangesAfterItWasReadIsFound) {
  Lease b(files / "b");
  REQUIRE_LEASE(b);
  auto running = start();
  b.waitForOpen();
  writeFile(files / "a", "longer");
  b.release();
  ProgramRun const run = running.get();
  EXPECT_EQ(run.status, changed);
  EXPECT_EQ(run.output, "");
  std::vector<std::string> const lines = linesOf(run.errors);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0], "zemo-selfcheck: " + (files / "a") + " size expect[1] but get[6]");
  EXPECT_EQ(lines[1].find("zemo-selfcheck: " + (files / "a") + " hash expect["), 0U);
  EXPECT_FALSE(isWritten());
}

TEST_F(MakeChangeTest, FilesThatVanishBeforeTheyAreReadAreLeftOut) {
  makeDirectory(files / "d");
  writeFile(files / "d/e", "e");
  Lease a(files / "a");
  REQUIRE_LEASE(a);
  auto running = start();
  a.waitForOpen();
  remove(files / "b");
  remove(files / "d");
  a.release();
  ProgramRun const run = running.get();
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(linesOf(run.errors)[0],
            "zemo-selfcheck: '" + (files / "b") +
                "' and 2 more are left out: deleted while the list was being made");
  EXPECT_EQ(entries(), linesFor({files.path(), files / "a", files / "c"}));
}

TEST_F(MakeChangeTest, FilesThatVanishBetweenReadingAndComparingAreLeftOut) {
  Lease b(files / "b");
  REQUIRE_LEASE(b);
  auto running = start();
  b.waitForOpen();
  remove(files / "a");
  b.release();
  ProgramRun const run = running.get();
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(linesOf(run.errors)[0], "zemo-selfcheck: '" + (files / "a") +
                                        "' is left out: deleted while the list was being made");
  EXPECT_EQ(entries(), linesFor({files.path(), files / "b", files / "c"}));
  EXPECT_TRUE(isIntact({output}));
}

TEST_F(MakeChangeTest, BaseEntriesOfFilesThatVanishAreRemoved) {
  std::string const base = lists / "wam.full.aaa.list";
  ASSERT_EQ(tool({"make", "--output", base, files.path()}).status, 0);
  writeFile(files / "a", "another");
  Lease b(files / "b");
  REQUIRE_LEASE(b);
  auto running = std::async(std::launch::async, [this, base] {
    return tool({"make", "--output", output, "--jobs", "1", "--base", base, "--", files.path()});
  });
  b.waitForOpen();
  remove(files / "a");
  b.release();
  EXPECT_EQ(running.get().status, 0);
  EXPECT_EQ(entries(), std::vector<std::string>{"-" + (files / "a") + "\t-\t-\t-\t-\t-\t-"});
  EXPECT_TRUE(isIntact({base, output}));
}

// A change of another file still counts.
TEST_F(MakeChangeTest, FilesThatVanishHideNoChange) {
  Lease c(files / "c");
  REQUIRE_LEASE(c);
  auto running = start();
  c.waitForOpen();
  remove(files / "a");
  writeFile(files / "b", "longer");
  c.release();
  EXPECT_EQ(running.get().status, changed);
  EXPECT_FALSE(isWritten());
}

TEST_F(MakeChangeTest, FileThatBecomesAFifoIsNotWaitedFor) {
  Lease a(files / "a");
  REQUIRE_LEASE(a);
  auto running = start();
  a.waitForOpen();
  remove(files / "b");
  makeFifo(files / "b");
  a.release();
  EXPECT_EQ(running.get().status, 0);
  EXPECT_NE(readFile(output).find((files / "b") + "\t-\t-\tp\t"), std::string::npos);
}

TEST_F(MakeChangeTest, SignalsEndItAndLeaveNothingBehind) {
  for (int const number : {SIGINT, SIGTERM, SIGHUP}) {
    writeFile(output, "old");
    Lease b(files / "b");
    REQUIRE_LEASE(b);
    auto running = start();
    b.waitForOpen();
    Lease a(files / "a");  // has been read, and is read again when the list is compared
    b.release();
    a.waitForOpen();
    std::size_t temporary = 0;
    for (const auto& member : std::filesystem::directory_iterator(lists.path()))
      temporary += member.path().filename().string().rfind(".zemo-", 0) == 0 ? 1 : 0;
    EXPECT_EQ(temporary, 1U);
    kill(std::stoi(readFile(lists / "pid")), number);
    EXPECT_EQ(running.get().status, 128 + number);
    remove(lists / "pid");
    EXPECT_TRUE(isOutputAlone());
    EXPECT_EQ(readFile(output), "old");
  }
}

TEST_F(MakeChangeTest, IgnoredSignalsStayIgnored) {
  Lease b(files / "b");
  REQUIRE_LEASE(b);
  (void)signal(SIGHUP, SIG_IGN);
  auto running = start();
  b.waitForOpen();
  Lease a(files / "a");
  b.release();
  a.waitForOpen();
  kill(std::stoi(readFile(lists / "pid")), SIGHUP);
  a.release();
  EXPECT_EQ(running.get().status, 0);
  (void)signal(SIGHUP, SIG_DFL);
}

class MakeProgressTest : public MakeTest {
 protected:
  // The output of `make` on a terminal that is its standard error.
  std::string shownBy(const std::string& options) {
    int const master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0)
      return "no terminal";
    std::string const terminal = ptsname(master);
    int const held = open(terminal.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(runProgram({"/bin/sh", "-c", "exec \"$@\" " + options + " 2>" + terminal, "sh",
                          ZEMO_TOOL, "make", "--output", output, files.path()})
                  .status,
              0);
    char text[4096] = {};
    ssize_t const length = read(master, text, sizeof text);
    close(held);
    close(master);
    std::string shown = length > 0 ? std::string(text, static_cast<std::size_t>(length)) : "";
    return withoutWarning(std::move(shown));
  }
};

TEST_F(MakeProgressTest, IsShownOnATerminalAndErased) {
  writeFile(files / "a", "x");
  std::string const shown = shownBy("");
  if (shown == "no terminal")
    GTEST_SKIP() << shown;
  EXPECT_EQ(shown.find("\r1 file, 0 B\x1b[K"), 0U) << shown;
  EXPECT_EQ(shown.substr(shown.size() - 4), "\r\x1b[K");
}

TEST_F(MakeProgressTest, IsNotShownWhenNotWanted) {
  writeFile(files / "a", "x");
  std::string const shown = shownBy("--no-progress");
  if (shown == "no terminal")
    GTEST_SKIP() << shown;
  EXPECT_EQ(shown, "");
}
