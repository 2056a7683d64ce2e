// The programs that VLIBExecl runs, and how it reports the outcome.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zemo/core.h>

#include <chrono>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/caller.h"
#include "support/files.h"
#include "support/temporary_directory.h"
#include "support/witness.h"

namespace {

constexpr int untouched = 77;
constexpr int allStreams = VLIB_EXEC_STDIN_NULL | VLIB_EXEC_STDOUT_NULL | VLIB_EXEC_STDERR_NULL;
constexpr int everyOption =
    VLIB_EXEC_WAIT | allStreams | VLIB_EXEC_CLEAN_ENVIRONMENT | VLIB_EXEC_ISOLATE;

template <size_t... Index>
int executeWords(const char* program, int options, const std::vector<std::string>& words,
                 std::index_sequence<Index...> /*unused*/) {
  return execute(program, options, words.at(Index).c_str()...);
}

class ExecTest : public ::testing::Test {
 protected:
  void SetUp() override { VLIBErrSet(untouched); }

  std::string at(const std::string& name) const { return _directory / name; }
  bool exists(const std::string& name) const { return VLIBFileExist(at(name).c_str()) != 0; }

  static void expectSuccess(int result) {
    EXPECT_EQ(result, 0);
    EXPECT_EQ(VLIBErrGet(), untouched);
  }

  static void expectFailure(int result, int code = VLIB_ERR_PROGRAM_FAILED) {
    EXPECT_LT(result, 0);
    EXPECT_EQ(VLIBErrGet(), code);
    VLIBErrSet(untouched);
  }

  static void expectCannotRun(const std::string& program) {
    expectFailure(execute(program.c_str(), VLIB_EXEC_WAIT));
    expectFailure(execute(program.c_str(), everyOption));
    if (!underValgrind())
      expectFailure(execute(program.c_str(), 0));
  }

  template <typename... Words>
  Report report(int options, Words... words) {
    std::string const file = at("report");
    EXPECT_EQ(execute(witness(), options | VLIB_EXEC_WAIT, file.c_str(), words...), 0);
    return readReport(file);
  }

  // The words that arrive for `words`, without the program and the name of the report.
  template <size_t Count>
  std::vector<std::string> arrivedOf(std::vector<std::string> words) {
    std::string const file = at("report");
    words.insert(words.begin(), file);
    EXPECT_EQ(executeWords(witness(), VLIB_EXEC_WAIT, words, std::make_index_sequence<Count + 1>()),
              0);
    std::vector<std::string> all = readReport(file).words;
    all.erase(all.begin(), all.begin() + 2);
    return all;
  }

 private:
  TemporaryDirectory _directory;
  Watchdog _watchdog;
};

TEST_F(ExecTest, OptionsHaveTheNumbersThatCallersPass) {
  EXPECT_EQ(everyOption, 187);
  EXPECT_EQ(VLIB_EXEC_WAIT, 0x01);
  EXPECT_EQ(VLIB_EXEC_STDIN_NULL, 0x02);
  EXPECT_EQ(VLIB_EXEC_STDOUT_NULL, 0x08);
  EXPECT_EQ(VLIB_EXEC_STDERR_NULL, 0x10);
  EXPECT_EQ(VLIB_EXEC_CLEAN_ENVIRONMENT, 0x20);
  EXPECT_EQ(VLIB_EXEC_ISOLATE, 0x80);
}

TEST_F(ExecTest, ExitStatusZeroIsSuccess) {
  expectSuccess(shell(0, "exit 0"));
  expectSuccess(shell(everyOption, "exit 0"));
}

TEST_F(ExecTest, EveryOtherExitStatusIsFailure) {
  for (const char* const status : {"1", "2", "126", "127", "128", "255"}) {
    expectFailure(shell(0, "exit $0", status));
    expectFailure(shell(everyOption, "exit $0", status));
  }
}

TEST_F(ExecTest, DeathByASignalIsFailure) {
  for (const char* const signal : {"KILL", "TERM", "SEGV", "HUP", "PIPE", "USR1"})
    expectFailure(shell(everyOption, "ulimit -c 0; kill -$0 $$; sleep 10", signal));
}

// The program's parent, a process between program and caller, reports how the program ended.
TEST_F(ExecTest, DeathOfTheProcessInBetweenIsFailure) {
  expectFailure(shell(everyOption, "kill -KILL $PPID; exit 0", ""));
  for (const char* const signal : {"TERM", "HUP", "USR1"})  // blocked in that process
    expectSuccess(shell(everyOption, "kill -$0 $PPID; exit 0", signal));
}

TEST_F(ExecTest, MissingProgramIsFailure) {
  expectCannotRun(at("missing"));
}

TEST_F(ExecTest, EmptyProgramIsFailure) {
  expectCannotRun("");
}

TEST_F(ExecTest, DirectoryIsFailure) {
  expectCannotRun(at(""));
}

TEST_F(ExecTest, FileWithoutExecutePermissionIsFailure) {
  writeFile(at("program"), "#!/bin/sh\n", 0644);
  expectCannotRun(at("program"));
}

TEST_F(ExecTest, FileThatIsNoProgramIsFailure) {
  writeFile(at("program"), "exit 0\n", 0755);
  expectCannotRun(at("program"));
}

TEST_F(ExecTest, ScriptWithoutItsInterpreterIsFailure) {
  writeFile(at("program"), "#!" + at("missing") + "\n", 0755);
  expectCannotRun(at("program"));
}

TEST_F(ExecTest, ScriptWithInterpreterIsRun) {
  writeFile(at("program"), "#!/bin/sh\n[ \"$1\" = word ]\n", 0755);
  expectSuccess(execute(at("program").c_str(), VLIB_EXEC_WAIT, "word"));
  expectFailure(execute(at("program").c_str(), VLIB_EXEC_WAIT, "other"));
}

TEST_F(ExecTest, ProgramIsNotSearchedInPath) {
  expectCannotRun("sh");
  expectSuccess(execute("/bin/sh", VLIB_EXEC_WAIT, "-c", "exit 0"));
}

TEST_F(ExecTest, NoProgramIsFailure) {
  expectFailure(execute(nullptr, VLIB_EXEC_WAIT), VLIB_ERR_BAD_PARAMETER);
  expectFailure(execute(nullptr, 0, "word"), VLIB_ERR_BAD_PARAMETER);
}

TEST_F(ExecTest, UnknownOptionBitsAreRefusedAndNothingRuns) {
  std::string const file = at("file");
  for (unsigned int bit = 1; bit != 0; bit <<= 1) {
    auto const option = static_cast<int>(bit);
    if ((everyOption & option) != 0)
      continue;
    SCOPED_TRACE(option);
    expectFailure(shell(option, ": >\"$0\"", file.c_str()), VLIB_ERR_BAD_PARAMETER);
    expectFailure(shell(option | everyOption, ": >\"$0\"", file.c_str()), VLIB_ERR_BAD_PARAMETER);
  }
  expectFailure(shell(-1, ": >\"$0\"", file.c_str()), VLIB_ERR_BAD_PARAMETER);
  EXPECT_FALSE(exists("file"));
}

TEST_F(ExecTest, ReturnsAfterTheEndWhenItIsToWait) {
  expectSuccess(shell(everyOption, "sleep 0.3; : >\"$0\"", at("end").c_str()));
  EXPECT_TRUE(exists("end"));
}

TEST_F(ExecTest, ReturnsBeforeTheEndWhenItIsNotToWait) {
  if (underValgrind())
    GTEST_SKIP() << "needs memory that is shared with the child";
  std::string const directory = at("");
  constexpr char script[] = R"(cd "$0" && for i in $(seq 600); do
      [ -e go ] && : >end && exit; sleep 0.1; done)";
  expectSuccess(execute("/bin/sh", everyOption & ~VLIB_EXEC_WAIT, "-c", script, directory.c_str()));
  EXPECT_FALSE(exists("end"));
  writeFile(at("go"), "");
  EXPECT_TRUE(appears(at("end")));
}

TEST_F(ExecTest, StartIsAllThatCountsWhenItIsNotToWait) {
  if (underValgrind())
    GTEST_SKIP() << "needs memory that is shared with the child";
  expectSuccess(execute("/bin/sh", 0, "-c", "exit 3"));
  expectSuccess(execute("/bin/sh", everyOption & ~VLIB_EXEC_WAIT, "-c", "kill -KILL $$"));
}

TEST_F(ExecTest, WordsArrive) {
  std::string const file = at("report");
  EXPECT_EQ(report(0, "one", "two").words,
            (std::vector<std::string>{witness(), file, "one", "two"}));
}

TEST_F(ExecTest, ProgramWithoutWordsIsItsOwnFirst) {
  writeFile(at("program"), "#!/bin/sh\n[ $# = 0 ]\n", 0755);
  expectSuccess(execute(at("program").c_str(), VLIB_EXEC_WAIT));
  expectFailure(execute(at("program").c_str(), VLIB_EXEC_WAIT, ""));
}

TEST_F(ExecTest, WordsArriveAsTheyAre) {
  std::vector<std::string> const words = {
      "",      " ",    "two words", "tab\t",    "line\nfeed", "'single'",    "\"double\"",
      "$HOME", "`ls`", "*",         "\\back\\", "; exit 9",   "\xC3\xA4\xFF"};
  EXPECT_EQ(arrivedOf<13>(words), words);
}

TEST_F(ExecTest, TwoHundredWordsArrive) {
  std::vector<std::string> words;
  for (int i = 0; i < 200; ++i)
    words.push_back("word " + std::to_string(i));
  EXPECT_EQ(arrivedOf<200>(words), words);
}

TEST_F(ExecTest, LongWordArrives) {
  std::vector<std::string> const words = {std::string(100000, 'x')};
  EXPECT_EQ(arrivedOf<1>(words), words);
}

TEST_F(ExecTest, WordThatIsTooLongForTheKernelIsFailure) {
  std::string const word(1 << 20, 'x');
  expectFailure(execute("/bin/true", VLIB_EXEC_WAIT, word.c_str()));
}

TEST_F(ExecTest, WordsAfterTheNullPointerDoNotArrive) {
  std::string const file = at("report");
  expectSuccess(VLIBExecl(witness(), VLIB_EXEC_WAIT, file.c_str(), "one",
                          static_cast<char*>(nullptr), "two", static_cast<char*>(nullptr)));
  EXPECT_EQ(readReport(file).words.size(), 3U);
}

TEST_F(ExecTest, EnvironmentIsInherited) {
  if (underValgrind())
    GTEST_SKIP() << "this tool changes the environment of programs";
  ASSERT_EQ(setenv("ZEMO_TEST_VARIABLE", "a value", 1), 0);
  std::vector<std::string> const variables = report(VLIB_EXEC_ISOLATE | allStreams).variables;
  unsetenv("ZEMO_TEST_VARIABLE");
  std::vector<std::string> own;
  for (char** variable = environ; *variable != nullptr; ++variable)
    own.emplace_back(*variable);
  own.emplace_back("ZEMO_TEST_VARIABLE=a value");
  EXPECT_EQ(variables, own);
}

TEST_F(ExecTest, CleanEnvironmentIsPathAndLocale) {
  ASSERT_EQ(setenv("LC_ALL", "de_DE", 1), 0);
  std::vector<std::string> const variables = report(VLIB_EXEC_CLEAN_ENVIRONMENT).variables;
  unsetenv("LC_ALL");
  ASSERT_EQ(variables.size(), 2U);
  EXPECT_EQ(variables[0], "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin");
  EXPECT_EQ(variables[1], "LC_ALL=C");
}

TEST_F(ExecTest, StreamsAreInherited) {
  std::map<int, std::string> arrived;
  {
    Descriptor const in(0, at("in"));
    Descriptor const out(1, at("out"));
    Descriptor const error(2, at("error"));
    arrived = report(VLIB_EXEC_ISOLATE).descriptors;
  }
  EXPECT_EQ(arrived, (std::map<int, std::string>{{0, at("in")}, {1, at("out")}, {2, at("error")}}));
}

TEST_F(ExecTest, EachStreamIsNullOnItsOwn) {
  std::vector<std::pair<int, int>> const streams = {
      {0, VLIB_EXEC_STDIN_NULL}, {1, VLIB_EXEC_STDOUT_NULL}, {2, VLIB_EXEC_STDERR_NULL}};
  for (const auto& [stream, option] : streams) {
    std::map<int, std::string> expected = {{0, at("in")}, {1, at("out")}, {2, at("error")}};
    expected[stream] = "/dev/null";
    std::map<int, std::string> arrived;
    {
      Descriptor const in(0, at("in"));
      Descriptor const out(1, at("out"));
      Descriptor const error(2, at("error"));
      arrived = report(VLIB_EXEC_ISOLATE | option).descriptors;
    }
    EXPECT_EQ(arrived, expected);
  }
}

TEST_F(ExecTest, NullStreamsCanBeReadAndWritten) {
  expectSuccess(shell(everyOption, "echo text && echo text >&2 && ! read line"));
}

TEST_F(ExecTest, InheritedStreamsCarryText) {
  writeFile(at("in"), "text\n");
  int result = -1;
  {
    Descriptor const in(0, at("in"));
    Descriptor const out(1, at("out"));
    Descriptor const error(2, at("error"));
    result = shell(0, "read line; echo \"out $line\"; echo \"error $line\" >&2");
  }
  expectSuccess(result);
  EXPECT_EQ(readFile(at("out")), "out text\n");
  EXPECT_EQ(readFile(at("error")), "error text\n");
}

TEST_F(ExecTest, DiscardedOutputIsNotSeen) {
  int result = -1;
  {
    Descriptor const out(1, at("out"));
    Descriptor const error(2, at("error"));
    result = shell(VLIB_EXEC_STDOUT_NULL | VLIB_EXEC_STDERR_NULL, "echo text; echo text >&2");
  }
  expectSuccess(result);
  EXPECT_EQ(readFile(at("out")), "");
  EXPECT_EQ(readFile(at("error")), "");
}

TEST_F(ExecTest, StreamsOfTheCallerStayAsTheyAre) {
  Descriptor const in(0, at("in"));
  Descriptor const error(2, at("error"));
  expectSuccess(shell(everyOption, "echo text >&2"));
  expectFailure(execute(at("missing").c_str(), everyOption));
  EXPECT_EQ(write(2, "own", 3), 3);
  EXPECT_EQ(readFile(at("error")), "own");
}

TEST_F(ExecTest, WorkingDirectoryIsInherited) {
  std::string const before = std::filesystem::current_path();
  makeDirectory(at("here"));
  std::filesystem::current_path(at("here"));
  int const result = shell(everyOption, ": >file");
  std::filesystem::current_path(before);
  expectSuccess(result);
  EXPECT_TRUE(exists("here/file"));
}

TEST_F(ExecTest, UmaskIsInherited) {
  mode_t const before = umask(0137);
  int const result = shell(everyOption, ": >\"$0\"", at("file").c_str());
  umask(before);
  expectSuccess(result);
  EXPECT_EQ(statusOf(at("file")).st_mode & 0777U, 0640U);
}

TEST_F(ExecTest, LimitsAreInherited) {
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_CORE, &before), 0);
  rlimit const own = {0, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_CORE, &own), 0);
  int const result = shell(everyOption, "[ \"$(ulimit -S -c)\" = 0 ]");
  ASSERT_EQ(setrlimit(RLIMIT_CORE, &before), 0);
  expectSuccess(result);
}

TEST_F(ExecTest, ProgramIsAGrandchild) {
  Report const seen = report(0);
  EXPECT_NE(seen.process, getpid());
  EXPECT_NE(seen.parent, getpid());
}

TEST_F(ExecTest, ProgramIsInTheProcessGroupOfTheCaller) {
  EXPECT_EQ(report(0).group, getpgrp());
}

TEST_F(ExecTest, ProgramMayHaveChildrenThatOutliveIt) {
  std::string const directory = at("");
  constexpr char script[] = R"(cd "$0" && { for i in $(seq 600); do
      [ -e go ] && : >end && exit; sleep 0.1; done; } & exit 0)";
  expectSuccess(shell(everyOption, script, directory.c_str()));
  writeFile(at("go"), "");
  EXPECT_TRUE(appears(at("end")));
}

}  // namespace
