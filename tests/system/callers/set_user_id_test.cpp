// Set-user-ID programs as callers: users who start one control its environment, but must not
// control its results.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>

#include "support/caller.h"
#include "support/files.h"
#include "support/program.h"
#include "support/witness.h"
#include "whole_library.h"

namespace {

using ::testing::ElementsAre;

class SetUserIdTest : public WholeLibraryTest {
 protected:
  void SetUp() override {
    WholeLibraryTest::SetUp();
    if (IsSkipped())
      return;
    if (sanitized || underValgrind())
      GTEST_SKIP() << "this tool does not work in a set-user-ID program";
    if (!mayBecome(emptyAccount))
      GTEST_SKIP() << "needs a second account";
    // Not in the temporary folder, which may be mounted without support for such programs.
    makeDirectory(_directory);
    std::filesystem::copy_file(ZEMO_SELF_CHECK_PROGRAM, _program);
    changeMode(_program, 04755);
  }
  void TearDown() override { remove(_directory); }

  // Starts the program for the paths of the set, as another user and with every environment
  // variable that could mislead it or GnuPG. `output` receives its results.
  void start(const std::string& output) {
    int const fd = open(output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    std::string configuration = "OPENSSL_CONF=" + withoutDigests();
    ASSERT_EQ(dup2(fd, STDOUT_FILENO), STDOUT_FILENO);
    ASSERT_EQ(setresuid(emptyAccount, emptyAccount, emptyAccount), 0);
    std::vector<std::string> words = paths();
    words.insert(words.begin(), _program);
    std::vector<char*> arguments;
    for (std::string& word : words)
      arguments.push_back(word.data());
    arguments.push_back(nullptr);
    char preload[] = "LD_PRELOAD=/missing.so";
    char home[] = "GNUPGHOME=/missing";
    char path[] = "PATH=/missing";
    char* const environment[] = {preload, home, path, configuration.data(), nullptr};
    (void)execve(_program.c_str(), arguments.data(), environment);
    FAIL() << "the program was not started";
  }

  // The path of an OpenSSL configuration without digests.
  std::string withoutDigests() const {
    std::string path = _directory + "/openssl.cnf";
    writeFile(path,
              "openssl_conf = all\n[all]\nproviders = providers\n"
              "[providers]\nnull = null\n[null]\nactivate = 1\n");
    return path;
  }

  std::string const _directory = "/usr/zemo/caller";
  std::string const _program = _directory + "/self_check";
};

TEST_F(SetUserIdTest, GetsTheRightResults) {
  std::string const output = _directory + "/output";
  inCaller([&] { start(output); });
  EXPECT_EQ(readFile(output), "secure\n001\n080\n000\n180\n");
}

// A program without set-user-ID does use that environment, but it then fails instead of returning a
// wrong result.
TEST_F(SetUserIdTest, OtherProgramsWithoutDigestFail) {
  changeMode(_program, 0755);
  std::vector<std::string> words = paths();
  words.insert(words.begin(), {"/usr/bin/env", "OPENSSL_CONF=" + withoutDigests(), _program});
  ProgramRun const run = runProgram(words);
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.output, "");
}

TEST_F(SetUserIdTest, GnuPGGetsNothingOfTheEnvironment) {
  std::string const output = _directory + "/output";
  changeMode(_directory, 0777);
  inCaller([&] {
    // In this process's own mount namespace, a program that reports how it was started replaces
    // GnuPG. The first argument, the name of the report, is --homedir.
    ASSERT_EQ(unshare(CLONE_NEWNS), 0);
    ASSERT_EQ(mount(witness(), "/usr/bin/gpg", nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(chdir(_directory.c_str()), 0);
    start(output);
  });
  EXPECT_EQ(readFile(output), "secure\n001\n080\n000\n180\n");
  Report const report = readReport(_directory + "/--homedir");
  EXPECT_THAT(report.words, ElementsAre("/usr/bin/gpg", "--homedir", listDir, "--verify",
                                        ::testing::EndsWith(".asc"), ::testing::_));
  EXPECT_THAT(
      report.variables,
      ElementsAre("PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C"));
}

}  // namespace
