// zemo-selfcheck check: signals that end it.

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

#include "metrics_fixture.h"
#include "support/started_program.h"

namespace {

#if defined(__SANITIZE_THREAD__)
constexpr double aSecond = 3.0;  // the sanitizer itself waits for a second when the program ends
#else
constexpr double aSecond = 1.0;
#endif

class CheckInterruptionTest : public CheckMetricsTest {
 protected:
  // Entries of a changed file, a file that takes long to read, and another changed file, in this
  // order.
  void arrange() const {
    std::string const big = file("big", "");
    ASSERT_EQ(truncate(big.c_str(), off_t{8} << 30U), 0);
    list({entryLine(file("a"), "1", "-", "f", "-", "-", "-"),
          entryLine(big, "8589934592", "00", "f", "-", "-", "-"),
          entryLine(file("z"), "2", "-", "f", "-", "-", "-")});
  }

  // Makes the verification of the set wait for a writer of its list.
  static std::string arrangeHangingVerification() {
    std::string path = list({existing("/")});
    ::remove(path.c_str());
    makeFifo(path);
    return path;
  }

  // Lets the process that reads the FIFO, for which nobody waits, run to its end.
  static void release(const std::string& fifo) {
    EXPECT_TRUE(eventually([&] {
      int const writer = open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
      if (writer >= 0)
        close(writer);
      return writer >= 0;
    }));
  }

  static bool hasOpen(pid_t process, const std::string& path) {
    std::error_code gone;
    std::string const directory = "/proc/" + std::to_string(process) + "/fd";
    for (auto fd = std::filesystem::directory_iterator(directory, gone);
         !gone && fd != std::filesystem::directory_iterator(); fd.increment(gone)) {
      if (std::filesystem::read_symlink(fd->path(), gone) == path)
        return true;
    }
    return false;
  }

  // Waits until the program reads the big file and has had time to check the others.
  void untilReading(const StartedProgram& program) const {
    ASSERT_TRUE(eventually([&] { return hasOpen(program.process(), files / "big"); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }

  // The state and the parent of a process; nothing if the process does not exist.
  static std::pair<char, pid_t> stateOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string text;
    std::getline(file, text);
    std::istringstream rest(text.substr(text.rfind(')') + 1));
    std::pair<char, pid_t> state = {'X', 0};
    rest >> state.first >> state.second;
    return state;
  }

  // The GnuPG process for which the program waits, its grandchild; 0 if there is none.
  static pid_t gpgOf(const StartedProgram& program) {
    for (const auto& member : std::filesystem::directory_iterator("/proc")) {
      auto const process = static_cast<pid_t>(atoi(member.path().filename().c_str()));
      std::ifstream file(member.path() / "comm");
      std::string name;
      if (process > 0 && std::getline(file, name) && name == "gpg" &&
          stateOf(stateOf(process).second).second == program.process())
        return process;
    }
    return 0;
  }

  static bool hasEnded(pid_t process) {
    char const state = stateOf(process).first;
    return state == 'X' || state == 'Z';
  }

  std::string changedA() const { return (files / "a") + " size expect[1] but get[7]\n"; }
  std::string duringBig() const {
    return "zemo-selfcheck: interrupted while checking '" + (files / "big") + "'\n";
  }
  std::string changedZ() const { return (files / "z") + " size expect[2] but get[7]\n"; }
};

const std::string partial =
    "interrupted, partial result: checked 1 of 3 entries of 1 set: 1 changed, 0 missing, 0 stray, "
    "0 "
    "could not be checked\n";
const std::string partialWithoutOther =
    partial.substr(0, partial.size() - 1) + "; 1 set was not loaded yet\n";
const std::string partialOfTwo =
    "interrupted, partial result: checked 2 of 3 entries of 1 set: 2 changed, 0 missing, 0 stray, "
    "0 "
    "could not be checked\n";
const std::string partialOfNone =
    "interrupted, partial result: checked 0 of 0 entries of 0 sets: 0 changed, 0 missing, 0 "
    "stray, 0 "
    "could not be checked; 1 set was not loaded yet\n";

}  // namespace

TEST_F(CheckInterruptionTest, EndsWithWhatWasFoundSoFar) {
  arrange();
  for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
    StartedProgram program({ZEMO_TOOL, "check", "--jobs", "1"});
    untilReading(program);
    program.signal(signal);
    ASSERT_TRUE(program.endsWithin(aSecond)) << signal;
    EXPECT_EQ(program.run().status, changed | unchecked);
    EXPECT_EQ(program.run().output, changedA() + partial);
    EXPECT_EQ(program.run().errors, duringBig());
  }
}

// timeout(1) sends its signal to the program, and then to its own process group, which contains the
// program. However close together the signals come, no report is lost.
TEST_F(CheckInterruptionTest, RepeatedSignalsCountOnce) {
  arrange();
  int whole = 0;
  constexpr int runs = 30;
  for (int run = 0; run < runs; ++run) {
    StartedProgram program({ZEMO_TOOL, "check", "--jobs", "1"});
    ASSERT_TRUE(eventually([&] { return hasOpen(program.process(), files / "big"); }));
    int const signal = run % 2 == 0 ? SIGTERM : SIGINT;
    program.signal(signal);
    if (run % 3 != 0)
      std::this_thread::sleep_for(std::chrono::microseconds(run * 30));
    program.signal(signal);
    program.signal(SIGHUP);
    ASSERT_TRUE(program.endsWithin(aSecond));
    whole += program.run().status == (changed | unchecked) &&
                     program.run().output == changedA() + partial
                 ? 1
                 : 0;
  }
  EXPECT_EQ(whole, runs);
}

TEST_F(CheckInterruptionTest, ReportsWhatOtherThreadsHaveFound) {
  arrange();
  StartedProgram program({ZEMO_TOOL, "check", "--jobs", "2"});
  untilReading(program);
  program.signal(SIGINT);
  ASSERT_TRUE(program.endsWithin(aSecond));
  EXPECT_EQ(program.run().output, changedA() + changedZ() + partialOfTwo);
}

// The big file may be done while later findings are written. Then it must be reported, or the check
// must be partial.
TEST_F(CheckInterruptionTest, UnreportedFindingsMakeItPartial) {
  constexpr std::size_t others = 20000;
  std::string const big = file("big", "");
  ASSERT_EQ(truncate(big.c_str(), off_t{64} << 20U), 0);
  std::vector<std::string> lines = {entryLine(big, "67108864", "00", "f", "-", "-", "-")};
  for (std::size_t i = 0; i < others; ++i)
    lines.push_back(entryLine("/nowhere/" + std::to_string(i), "-", "-", "f", "-", "-", "-"));
  list(lines);
  for (int milliseconds = 20; milliseconds <= 140; milliseconds += 15) {
    StartedProgram program({ZEMO_TOOL, "check", "--jobs", "2", "--no-verify"});
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    program.signal(SIGINT);
    ASSERT_TRUE(program.endsWithin(aSecond));
    if (program.run().status == 128 + SIGINT)
      continue;  // before the watch began
    std::vector<std::string> const output = linesOf(program.run().output);
    ASSERT_FALSE(output.empty());
    bool const isPartial = output.back().rfind("interrupted, partial result: ", 0) == 0;
    EXPECT_EQ((program.run().status & unchecked) != 0, isPartial);
    if (!isPartial) {
      EXPECT_EQ(output.size(), others + 2);
      EXPECT_EQ(program.run().status, changed | missing);
    }
  }
}

TEST_F(CheckInterruptionTest, JsonSaysThatItIsPartial) {
  arrange();
  StartedProgram program({ZEMO_TOOL, "check", "--jobs", "1", "--format", "json"});
  untilReading(program);
  program.signal(SIGINT);
  ASSERT_TRUE(program.endsWithin(aSecond));
  std::vector<std::string> const lines = linesOf(program.run().output);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_NE(lines[1].find("\"record\":\"entry\""), std::string::npos);
  EXPECT_EQ(
      lines[2],
      R"({"record":"summary","sets":1,"not_loaded":0,"entries":3,"checked":1,"changed":1,"missing":0,)"
      R"("stray":0,"unchecked":0,"accepted":0,"partial":true,"status":9})");
}

TEST_F(CheckInterruptionTest, FormatsWithoutSummaryReportOnStandardError) {
  arrange();
  for (const std::string words : {"--format=paths", "--quiet"}) {
    StartedProgram program({ZEMO_TOOL, "check", "--jobs", "1", words});
    untilReading(program);
    program.signal(SIGINT);
    ASSERT_TRUE(program.endsWithin(aSecond));
    EXPECT_EQ(program.run().output, words == "--quiet" ? "" : (files / "a") + "\n");
    EXPECT_EQ(program.run().errors, duringBig() + "zemo-selfcheck: " + partial);
    EXPECT_EQ(program.run().status, changed | unchecked);
  }
}

TEST_F(CheckInterruptionTest, FurtherSetsAreNotLoaded) {
  arrange();
  packageList("demo", {existing("/")});
  StartedProgram program({ZEMO_TOOL, "check", "--jobs", "1", "--all"});
  untilReading(program);
  program.signal(SIGINT);
  ASSERT_TRUE(program.endsWithin(aSecond));
  EXPECT_EQ(program.run().output, "wam: " + changedA() + partialWithoutOther);
}

TEST_F(CheckInterruptionTest, MetricsSayWhatWasNotChecked) {
  arrange();
  packageList("demo", {existing("/")});
  writeFile(metrics, "# HELP zemo_selfcheck_mismatches text\n" + cleanSample("1000000000") + "\n" +
                         cleanSample("1000000001", "demo") + "\n");
  StartedProgram program({ZEMO_TOOL, "check", "--jobs", "1", "--all", "--metrics", metrics});
  untilReading(program);
  program.signal(SIGTERM);
  ASSERT_TRUE(program.endsWithin(aSecond));
  EXPECT_EQ(program.run().status, changed | unchecked);
  EXPECT_EQ(program.run().output, "wam: " + changedA() + partialWithoutOther);
  EXPECT_EQ(value("interrupted"), "1");
  EXPECT_EQ(value("set_loaded"), "1");
  EXPECT_EQ(value("entries"), "3");
  EXPECT_EQ(value("unchecked_entries"), "2");
  EXPECT_EQ(mismatches("size"), "1");
  EXPECT_EQ(value("exit_status"), "9");
  EXPECT_EQ(value("last_clean_timestamp_seconds"), "1000000000");
  EXPECT_EQ(value("interrupted", "demo"), "1");
  EXPECT_EQ(value("set_loaded", "demo"), "0");
  EXPECT_EQ(value("exit_status", "demo"), "24");
  EXPECT_EQ(value("last_clean_timestamp_seconds", "demo"), "1000000001");
}

TEST_F(CheckInterruptionTest, EndsWhileGnuPgHangs) {
  std::string const fifo = arrangeHangingVerification();
  StartedProgram program({ZEMO_TOOL, "check", "--metrics", metrics});
  ASSERT_TRUE(eventually([&] { return gpgOf(program) != 0; }));
  EXPECT_FALSE(program.endsWithin(0.3));
  program.signal(SIGINT);
  bool const ended = program.endsWithin(aSecond);
  release(fifo);
  ASSERT_TRUE(ended);
  EXPECT_EQ(program.run().status, unchecked | notLoaded);
  EXPECT_EQ(program.run().output, partialOfNone);
  EXPECT_EQ(value("interrupted"), "1");
  EXPECT_EQ(value("set_loaded"), "0");
}

// A typed Ctrl-C also reaches GnuPG, whose end then does not mean a bad signature.
TEST_F(CheckInterruptionTest, CtrlCOnATerminalWhileGnuPgHangs) {
  arrangeHangingVerification();
  StartedProgram program({ZEMO_TOOL, "check"}, StartedProgram::file, StartedProgram::terminal);
  ASSERT_TRUE(eventually([&] { return gpgOf(program) != 0; }));
  pid_t const gpg = gpgOf(program);
  program.screen().type("\x03");
  ASSERT_TRUE(program.endsWithin(aSecond));
  EXPECT_EQ(program.run().status, unchecked | notLoaded);
  EXPECT_EQ(program.run().output, partialOfNone);
  EXPECT_TRUE(eventually([&] { return hasEnded(gpg); }));
}

TEST_F(CheckInterruptionTest, IgnoredSignalsStayIgnored) {
  arrange();
  StartedProgram program(
      {"/bin/sh", "-c", "trap '' INT HUP; exec \"$@\"", "sh", ZEMO_TOOL, "check", "--jobs", "1"});
  untilReading(program);
  program.signal(SIGINT);
  program.signal(SIGHUP);
  EXPECT_FALSE(program.endsWithin(0.3));
  program.signal(SIGTERM);
  ASSERT_TRUE(program.endsWithin(aSecond));
  EXPECT_EQ(program.run().output, changedA() + partial);
}

class CheckBlockedOutputTest : public CheckInterruptionTest {
 protected:
  // Starts a check that writes more than the pipe holds, and waits until the pipe is full.
  void SetUp() override {
    CheckInterruptionTest::SetUp();
    if (IsSkipped())
      return;
    std::vector<std::string> lines;
    for (int i = 0; i < 5000; ++i)
      lines.push_back(existing("/nowhere/" + std::to_string(i)));
    list(lines);
    makeFifo(files / "pipe");
    reader = open((files / "pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    program = std::make_unique<StartedProgram>(std::vector<std::string>{
        "/bin/sh", "-c", "exec \"$@\" >'" + (files / "pipe") + "'", "sh", ZEMO_TOOL, "check"});
    ASSERT_TRUE(eventually([&] {
      int waiting = 0;
      return ioctl(reader, FIONREAD, &waiting) == 0 && waiting >= 60000;
    }));
  }

  void TearDown() override {
    program = nullptr;
    if (reader >= 0)
      close(reader);
  }

  int reader = -1;
  std::unique_ptr<StartedProgram> program;
};

TEST_F(CheckBlockedOutputTest, EndsThoughNobodyReads) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer holds signals back while a call waits";
#endif
  EXPECT_FALSE(program->endsWithin(0.2));
  program->signal(SIGINT);
  ASSERT_TRUE(program->endsWithin(aSecond + 0.3));
  EXPECT_EQ(program->run().status, missing | unchecked);
}

// The first entry cannot be checked. The next ones are intact, so "nothing was checked" no longer
// holds.
TEST_F(CheckInterruptionTest, ForcedEndCountsIntactEntries) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer holds signals back while a call waits";
#endif
  list({entryLine("/proc/self/mem", "-", "x", "f", "-", "-", "-"), existing("/usr")});
  std::string const path = files / "pipe";
  makeFifo(path);
  int const pipe = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  std::string const much(4096, 'x');
  while (write(pipe, much.data(), much.size()) > 0) {
  }
  StartedProgram program(
      {"/bin/sh", "-c", "exec \"$@\" >'" + path + "'", "sh", ZEMO_TOOL, "check", "--jobs", "1"});
  EXPECT_FALSE(program.endsWithin(0.5));
  program.signal(SIGINT);
  EXPECT_TRUE(program.endsWithin(aSecond + 0.3));
  EXPECT_EQ(program.run().status, unchecked);
  (void)close(pipe);
}

TEST_F(CheckBlockedOutputTest, FurtherSignalsChangeNothing) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer holds signals back while a call waits";
#endif
  program->signal(SIGINT);
  EXPECT_FALSE(program->endsWithin(0.1));
  program->signal(SIGINT);
  program->signal(SIGTERM);
  ASSERT_TRUE(program->endsWithin(aSecond + 0.3));
  EXPECT_EQ(program->run().status, missing | unchecked);
}

TEST_F(CheckBlockedOutputTest, GoesOnWhenSomebodyReadsAgain) {
  std::string text;
  std::vector<char> buffer(100000);
  while (!program->endsWithin(0)) {
    ssize_t const length = read(reader, buffer.data(), buffer.size());
    if (length > 0)
      text.append(buffer.data(), static_cast<std::size_t>(length));
  }
  for (ssize_t length = 1; length > 0;) {
    length = read(reader, buffer.data(), buffer.size());
    if (length > 0)
      text.append(buffer.data(), static_cast<std::size_t>(length));
  }
  EXPECT_EQ(program->run().status, missing);
  EXPECT_EQ(linesOf(text).size(), 5001U);
}
