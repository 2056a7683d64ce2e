#include "run/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "io/exit_status.h"
#include "support/doubles/scripted_files.h"
#include "support/files.h"
#include "support/program.h"

using tool::Command;
using tool::Outcome;
using tool::run;

namespace {

Command shell(const std::string& script) {
  Command command;
  command.words = {"/bin/sh", "-c", script};
  return command;
}

// Under valgrind, the child has no shared memory in which to report the reason.
bool cannotLearnOfFailures() {
  return getenv("ZEMO_UNDER_VALGRIND") != nullptr;
}

}  // namespace

TEST(Process, OutputAndStatus) {
  Outcome const outcome = run(shell("printf 'a\\0b\\n'; exit 7"));
  EXPECT_EQ(outcome.output, std::string("a\0b\n", 4));
  EXPECT_EQ(outcome.status, 7);
}

// Part of an answer would be taken for the whole. A program with more output than a pipe holds must
// not wait for a reader either.
TEST(Process, OutputThatCannotBeReadIsAFailure) {
  scriptedReads.goodCalls = 0;
  EXPECT_THROW(run(shell("head -c 1000000 /dev/zero; exit 0")), tool::Failure);
  scriptedReads = {};
}

TEST(Process, SignalIsAStatusBeyond128) {
  EXPECT_EQ(run(shell("kill -9 $$")).status, 128 + SIGKILL);
}

TEST(Process, WordsAreNotShellText) {
  Command command;
  command.words = {"printf", "%s|", "a b", "$HOME", "", "'"};
  EXPECT_EQ(run(command).output, "a b|$HOME||'|");
}

TEST(Process, StandardInputIsEmpty) {
  EXPECT_EQ(run(shell("cat; echo end")).output, "end\n");
}

TEST(Process, CapturesAnotherDescriptor) {
  Command command = shell("echo out; echo err >&2; echo status >&3");
  command.captured = 3;
  command.showErrors = false;
  EXPECT_EQ(run(command).output, "status\n");
  command = shell("echo out; echo err >&2");
  command.captured = 2;
  EXPECT_EQ(run(command).output, "err\n");
}

TEST(Process, CapturesWhicheverDescriptorItsPipeGets) {
  for (int captured = 3; captured < 12; ++captured) {
    Command command = shell("echo found >&" + std::to_string(captured));
    if (captured > 9)  // the shell takes one digit
      command = {{"/bin/sh", "-c", "echo found >/proc/self/fd/" + std::to_string(captured)}};
    command.captured = captured;
    EXPECT_EQ(run(command).output, "found\n") << captured;
  }
}

TEST(Process, InheritsNoDescriptorOfThePipe) {
  std::string const script = "ls /proc/self/fd | wc -l";
  EXPECT_EQ(run(shell(script)).output, runProgram({"/bin/sh", "-c", script}).output);
}

TEST(Process, MuchOutput) {
  EXPECT_EQ(run(shell("head -c 3000000 /dev/zero")).output.size(), 3000000U);
}

TEST(Process, EnvironmentIsOursInPlainC) {
  setenv("ZEMO_TEST_VARIABLE", "mine", 1);
  setenv("LC_ALL", "xx_XX", 1);
  std::string const script = "echo $ZEMO_TEST_VARIABLE,$LC_ALL";
  EXPECT_EQ(run(shell(script)).output, "mine,C\n");
  Command clean = shell(script + "; echo $HOME");
  clean.cleanEnvironment = true;
  EXPECT_EQ(run(clean).output, ",C\n\n");
  unsetenv("LC_ALL");
  unsetenv("ZEMO_TEST_VARIABLE");
}

TEST(Process, ProgramThatCannotBeStarted) {
  if (cannotLearnOfFailures())
    GTEST_SKIP() << "valgrind copies the memory of a child";
  Command command;
  command.words = {"/nowhere/\x1b"};
  try {
    run(command);
    FAIL();
  } catch (const tool::Failure& failure) {
    EXPECT_EQ(failure.status(), tool::STATUS_NOT_LOADED);
    EXPECT_STREQ(failure.what(), "cannot run '/nowhere/\\033': No such file or directory");
  }
}

TEST(Process, LeavesNoDescriptorOpen) {
  int const before = openDescriptors();
  run(shell("true"));
  EXPECT_EQ(openDescriptors(), before);
  if (cannotLearnOfFailures())
    GTEST_SKIP() << "valgrind copies the memory of a child";
  Command command;
  command.words = {"/nowhere"};
  EXPECT_THROW(run(command), tool::Failure);
  EXPECT_EQ(openDescriptors(), before);
}
