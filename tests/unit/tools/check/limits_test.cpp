// zemo-selfcheck check with closed streams, or short of descriptors, threads or memory.

#include <fcntl.h>
#include <unistd.h>

#include "fixture.h"
#include "support/started_program.h"

namespace {

class CheckLimitsTest : public CheckTest {
 protected:
  // Holds for every run: it ends by itself, and only a complete check is a success.
  static void expectHonest(const ProgramRun& run, const std::string& whole, int status,
                           const std::string& where) {
    EXPECT_LT(run.status, 128) << where << run.errors;
    EXPECT_NE(run.status, 0) << where;  // the set has a finding
    if (run.status == status)
      EXPECT_TRUE(run.output == whole) << where << run.output.substr(0, 1000);
    else
      EXPECT_NE(run.errors, "") << where << run.status;
  }
};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

const std::string oneIntact =
    "checked 1 entry of 1 set: 0 changed, 0 missing, 0 stray, 0 could not be checked\n";

}  // namespace

TEST_F(CheckLimitsTest, StandardInputMayBeClosed) {
  list({existing("/")});
  ProgramRun const run = checkAfter("exec <&-", {});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, oneIntact);
}

TEST_F(CheckLimitsTest, ClosedOutputIsNotASuccess) {
  list({existing("/")});
  ProgramRun const run = checkAfter("exec >&-", {});
  EXPECT_EQ(run.status, unchecked);
  EXPECT_EQ(run.errors, "zemo-selfcheck: cannot write to standard output: Bad file descriptor\n");
  EXPECT_EQ(checkAfter("exec >&-", {"--quiet"}).status, 0);
}

TEST_F(CheckLimitsTest, StandardErrorMayBeClosed) {
  list({entryLine(file("a")), existing("/nowhere")});
  ProgramRun const run = checkAfter("exec 2>&-", {"wam", "none"});
  EXPECT_EQ(run.status, missing | notLoaded);
  EXPECT_EQ(run.output,
            "wam: /nowhere not exist expect[] but get[]\n"
            "checked 2 entries of 1 set: 0 changed, 1 missing, 0 stray, 0 could not be checked; 1 "
            "set could not be loaded\n");
}

TEST_F(CheckLimitsTest, AllStreamsClosed) {
  list({existing("/")});
  EXPECT_EQ(checkAfter("exec <&- >&- 2>&-", {}).status, unchecked);
  EXPECT_EQ(checkAfter("exec <&- >&- 2>&-", {"--quiet"}).status, 0);
}

TEST_F(CheckLimitsTest, FullDiskKeepsWhatWasFound) {
  list({existing("/"), existing("/nowhere")});
  for (const std::string format : {"text", "json", "paths"}) {
    ProgramRun const run = checkAfter("exec >/dev/full", {"--format", format});
    EXPECT_EQ(run.status, missing | unchecked) << format;
    EXPECT_EQ(run.errors,
              "zemo-selfcheck: cannot write to standard output: No space left on device\n");
  }
  EXPECT_EQ(checkAfter("exec 2>/dev/full", {}).status, missing);
}

TEST_F(CheckLimitsTest, FullDiskInTheMiddle) {
  std::vector<std::string> lines;
  for (int i = 0; i < 5000; ++i)
    lines.push_back(existing("/nowhere/" + std::to_string(i)));
  list(lines);
  ProgramRun const run = checkAfter("exec >/dev/full", {});
  EXPECT_EQ(run.status, missing | unchecked);
  EXPECT_EQ(run.errors.find("zemo-selfcheck: cannot write to standard output"), 0U);
  EXPECT_EQ(linesOf(run.errors).size(), 1U);
}

TEST_F(CheckLimitsTest, BrokenPipe) {
  list({existing("/nowhere")});
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  std::string const redirection = "exec >&" + std::to_string(ends[1]);
  EXPECT_EQ(checkAfter(redirection, {}).status, 128 + SIGPIPE);
  ProgramRun const run = checkAfter("trap '' PIPE; " + redirection, {});
  close(ends[1]);
  EXPECT_EQ(run.status, missing | unchecked);
  EXPECT_EQ(run.errors, "zemo-selfcheck: cannot write to standard output: Broken pipe\n");
}

TEST_F(CheckLimitsTest, FewDescriptors) {
  std::vector<std::string> lines = {existing("/nowhere")};
  for (int i = 0; i < 50; ++i)
    lines.push_back(entryLine(file(std::to_string(i))));
  list(lines);
  for (const std::string option : {"--jobs=8", "--no-verify"}) {
    std::string const whole = check({option}).output;
    bool wasWhole = false;
    for (int limit = 3; limit <= 20; ++limit) {
      ProgramRun const run = checkAfter("ulimit -n " + std::to_string(limit), {option});
      expectHonest(run, whole, missing, option + " " + std::to_string(limit) + ": ");
      wasWhole = run.status == missing;
    }
    EXPECT_TRUE(wasWhole) << option;
  }
}

TEST_F(CheckLimitsTest, LittleMemory) {
  if (sanitized)
    GTEST_SKIP() << "sanitizers need more memory than any limit here";
  std::vector<std::string> lines;
  for (int i = 0; i < 1500; ++i)
    lines.push_back(existing("/nowhere/" + std::to_string(i)));
  list(lines);
  std::string const whole = check({"--no-verify"}).output;
  bool wasWhole = false;
  for (int megabytes = 8; megabytes <= 512; megabytes += megabytes / 6) {
    ProgramRun const run =
        checkAfter("ulimit -v " + std::to_string(megabytes * 1024), {"--no-verify", "--jobs=32"});
    expectHonest(run, whole, missing, std::to_string(megabytes) + " MB: ");
    wasWhole = run.status == missing;
  }
  EXPECT_TRUE(wasWhole);
}

// That many threads need nearly all of the address space for their stacks, and leave no memory for
// some of the entries or for the whole program.
TEST_F(CheckLimitsTest, EntriesWithoutMemoryAreNotTakenForChecked) {
  if (sanitized)
    GTEST_SKIP() << "sanitizers need more memory than any limit here";
  std::vector<std::string> lines;
  for (int i = 0; i < 2000; ++i)
    lines.push_back(existing("/nowhere/" + std::to_string(i)));
  list(lines);
  std::string const whole = check().output;
  for (int kilobytes = 200000; kilobytes < 500000; kilobytes += 17300) {
    ProgramRun const run =
        checkAfter("ulimit -v " + std::to_string(kilobytes), {"--no-verify", "--jobs=1024"});
    expectHonest(run, whole, missing, std::to_string(kilobytes) + " kB: ");
  }
}

TEST_F(CheckLimitsTest, NoThreads) {
  std::string const path = list({existing("/nowhere")});
  std::vector<std::string> words = {"/usr/bin/setpriv", "--reuid=65534", "--clear-groups",
                                    "/bin/sh", "-c"};
  std::vector<std::string> probe = words;
  probe.insert(probe.end(), {"test -x \"$1\" && test -r \"$2\"", "sh", ZEMO_TOOL, path});
  if (runProgram(probe).status != 0)
    GTEST_SKIP() << "needs another user, who may run the program";
  words.insert(words.end(),
               {"ulimit -u 1; exec \"$@\"", "sh", ZEMO_TOOL, "check", "--no-verify", "--jobs=4"});
  ProgramRun const run = runProgram(words);
  EXPECT_EQ(run.status, missing) << run.errors;
  EXPECT_EQ(linesOf(run.output).size(), 2U);
}
