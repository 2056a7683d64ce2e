#include "io/temporary_path.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>

#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

using tool::TemporaryPath;

void make(const std::string& path) {
  int const file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  if (file >= 0)
    (void)close(file);
}

// Acts like a program that the signal also ends, but that continues for a little while.
[[noreturn]] void makeAgainAndAgain(const std::string& path) {
  auto const end = std::chrono::steady_clock::now() + std::chrono::milliseconds(30);
  while (std::chrono::steady_clock::now() < end)
    make(path);
  _exit(0);
}

TEST(TemporaryPaths, AreRemovedBySignalThoughAnotherProgramMakesThemAgain) {
  TemporaryDirectory const temporary;
  std::string const directory = temporary / "scratch";
  std::string const file = directory + "/file";
  for (int round = 0; round < 20; ++round) {
    makeDirectory(directory);
    pid_t const process = fork();
    ASSERT_GE(process, 0);
    if (process == 0) {
      TemporaryPath const first(directory);
      TemporaryPath const second(file);
      if (fork() == 0)
        makeAgainAndAgain(file);
      (void)usleep(5000);
      (void)raise(SIGTERM);
      _exit(1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(process, &status, 0), process);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_FALSE(std::filesystem::exists(directory));
    std::filesystem::remove_all(directory);
  }
}

// As by timeout(1), which signals the program and then its process group.
TEST(TemporaryPaths, AreRemovedHoweverOftenTheSignalComes) {
  TemporaryDirectory const temporary;
  std::string const file = temporary / "file";
  for (int round = 0; round < 200; ++round) {
    int ready[2];
    ASSERT_EQ(pipe2(ready, O_CLOEXEC), 0);
    pid_t const process = fork();
    ASSERT_GE(process, 0);
    if (process == 0) {
      TemporaryPath const path(file);
      make(file);
      if (write(ready[1], "x", 1) == 1)
        (void)pause();
      _exit(1);
    }
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    int status = 0;
    while (waitpid(process, &status, WNOHANG) == 0)
      (void)kill(process, SIGTERM);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_FALSE(std::filesystem::exists(file)) << round;
    std::filesystem::remove(file);
    (void)close(ready[0]);
    (void)close(ready[1]);
  }
}

}  // namespace
