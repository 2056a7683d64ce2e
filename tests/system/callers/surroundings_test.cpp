// The whole library in callers with unusual surroundings: signals, children, descriptors, the
// working directory, the environment and the locale.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zemo/core.h>

#include <atomic>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <locale>
#include <map>
#include <thread>

#include "support/caller.h"
#include "support/files.h"
#include "support/signing_key.h"
#include "support/temporary_directory.h"
#include "whole_library.h"

namespace {

std::atomic<long> handlerCalls{0};

void count(int /*signal*/) {
  ++handlerCalls;
}

// Without SA_RESTART, so that system calls fail when a signal interrupts them.
void handle(int signal, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  ASSERT_EQ(sigaction(signal, &action, nullptr), 0);
}

// The mode of every file of the set, by path.
std::map<std::string, mode_t> modesOfSet() {
  std::map<std::string, mode_t> modes;
  for (const auto& file : std::filesystem::directory_iterator(PrivateRootTest::listDir))
    modes[file.path()] = statusOf(file.path()).st_mode;
  return modes;
}

using SurroundingsTest = WholeLibraryTest;

TEST_F(SurroundingsTest, SigchldIgnored) {
  inCaller([] {
    handle(SIGCHLD, SIG_IGN);
    expectRightResults();
  });
}

TEST_F(SurroundingsTest, EveryChildReapedInAThread) {
  if (underValgrind())
    GTEST_SKIP() << "needs memory that is shared with the child";
  inCaller([] {
    std::atomic<bool> stop{false};
    std::thread reaper([&stop] {
      while (!stop) {
        if (waitpid(-1, nullptr, __WALL) < 0)
          std::this_thread::yield();
      }
    });
    expectRightResults();
    stop = true;
    reaper.join();
  });
}

TEST_F(SurroundingsTest, ATimerThatInterruptsEvery100Microseconds) {
  inCaller([] {
    handle(SIGALRM, count);
    itimerval const often = {{0, 100}, {0, 100}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
    for (int i = 0; i < 3; ++i)
      expectRightResults();
    itimerval const never = {};
    ASSERT_EQ(setitimer(ITIMER_REAL, &never, nullptr), 0);
    EXPECT_GT(handlerCalls, 10);
  });
}

TEST_F(SurroundingsTest, AllSignalsBlocked) {
  inCaller([] {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    expectRightResults();
  });
}

TEST_F(SurroundingsTest, EverySubsetOfTheStreamsClosed) {
  for (unsigned int closed = 1; closed < 8; ++closed) {
    inCaller([closed] {
      for (int fd = 0; fd <= 2; ++fd) {
        if ((closed >> fd & 1) != 0)
          (void)close(fd);
      }
      expectRightResults();
    });
  }
}

TEST_F(SurroundingsTest, NothingMayBeCreatedReadable) {
  auto const before = modesOfSet();
  inCaller([] {
    (void)umask(0777);
    expectRightResults();
  });
  EXPECT_EQ(modesOfSet(), before);
}

TEST_F(SurroundingsTest, WorkingDirectoryGone) {
  TemporaryDirectory const directory;
  std::string const here = directory / "gone";
  makeDirectory(here);
  inCaller([&here] {
    ASSERT_EQ(chdir(here.c_str()), 0);
    remove(here);
    expectRightResults();
  });
}

TEST_F(SurroundingsTest, NoEnvironment) {
  inCaller([] {
    (void)clearenv();
    expectRightResults();
  });
}

TEST_F(SurroundingsTest, AnEnvironmentThatWouldMisleadGnuPG) {
  inCaller([] {
    for (const char* const name : {"GNUPGHOME", "HOME", "LD_PRELOAD", "LD_LIBRARY_PATH", "PATH",
                                   "LANG", "LC_ALL", "LANGUAGE", "TZ", "GPG_TTY"})
      ASSERT_EQ(setenv(name, "/missing", 1), 0);
    expectRightResults();
  });
}

// Sets the locale of the C library and of C++ streams.
void takeLocale(const char* name) {
  ASSERT_NE(setlocale(LC_ALL, name), nullptr) << name;
  (void)std::locale::global(std::locale(name));
}

TEST_F(SurroundingsTest, ALocaleOfMultibyteCharacters) {
  inCaller([] {
    takeLocale("C.UTF-8");
    expectRightResults();
  });
}

// This locale groups digits, and its lower-case i differs.
TEST_F(SurroundingsTest, ATurkishLocale) {
  TemporaryDirectory const locales;
  if (VLIBFileExist("/usr/share/i18n/locales/tr_TR") == 0)
    GTEST_SKIP() << "needs the package locales";
  if (underValgrind())
    GTEST_SKIP() << "the C library leaks the memory in which it keeps LOCPATH";
  runShell("localedef -i tr_TR -f UTF-8 " + quoted(locales / "tr_TR.UTF-8"));
  inCaller([&locales] {
    ASSERT_EQ(setenv("LOCPATH", locales.path().c_str(), 1), 0);
    takeLocale("tr_TR.UTF-8");
    ASSERT_STREQ(localeconv()->thousands_sep, ".");
    expectRightResults();
  });
}

}  // namespace
