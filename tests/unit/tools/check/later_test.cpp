// zemo-selfcheck check: files whose owners could keep it busy.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "fixture.h"
#include "support/started_program.h"

namespace {

class CheckLaterTest : public CheckTest {
 protected:
  static void grow(const std::string& path, off_t size) {
    ASSERT_EQ(truncate(path.c_str(), size), 0);
  }

  static std::string tooMany(const std::string& path, off_t size) {
    return "zemo-selfcheck: Content of [" + path + "] not compared: its size of " +
           std::to_string(size) +
           " bytes differs from the one in its entry and is too large to read\n";
  }
};

constexpr off_t tebibyte = off_t{1} << 40U;

// A process that holds a lease on a file for as long as the kernel allows.
class Lease {
 public:
  explicit Lease(const std::string& path) {
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0)
      return;
    _process = fork();
    if (_process == 0) {
      (void)signal(SIGIO, SIG_IGN);
      int const file = open(path.c_str(), O_RDWR | O_CLOEXEC);
      if (file >= 0 && fcntl(file, F_SETLEASE, F_WRLCK) == 0 && write(ready[1], "x", 1) == 1)
        (void)pause();
      _exit(0);
    }
    (void)close(ready[1]);
    char byte = 0;
    _holds = read(ready[0], &byte, 1) == 1;
    (void)close(ready[0]);
  }
  ~Lease() { end(); }
  Lease(const Lease&) = delete;
  Lease& operator=(const Lease&) = delete;

  bool holds() const { return _holds; }
  void end() {
    if (_process > 0) {
      (void)kill(_process, SIGKILL);
      (void)waitpid(_process, nullptr, 0);
    }
    _process = -1;
  }

 private:
  pid_t _process = -1;
  bool _holds = false;
};

}  // namespace

TEST_F(CheckLaterTest, AGrownFileKeepsNoOtherSetFromBeingChecked) {
  std::string const grown = std::string(packagesDir) + "/a/target/grown";
  makeDirectory(std::string(packagesDir) + "/a/target");
  writeFile(grown, "x");
  packageList("a", {entryLine(grown, "1", "00", "f", "-", "-", "-"), existing("/nowhere/a")});
  packageList("b", {existing("/nowhere/b")});
  grow(grown, tebibyte);
  StartedProgram program({ZEMO_TOOL, "check", "--jobs", "1", "a", "b"});
  ASSERT_TRUE(program.endsWithin(20));
  ProgramRun const run = program.run();
  EXPECT_EQ(run.status, changed | missing | unchecked);
  EXPECT_EQ(run.output, "a: /nowhere/a not exist expect[] but get[]\na: " + grown +
                            " size expect[1] but get[1099511627776]\na: " + grown +
                            " could not be checked: its size of 1099511627776 bytes differs from "
                            "the one in its entry and is too large to read\nb: /nowhere/b not "
                            "exist expect[] but get[]\n"
                            "checked 2 entries of 2 sets: 1 changed, 2 missing, 0 stray, 1 could "
                            "not be checked\n");
  EXPECT_EQ(run.errors, tooMany(grown, tebibyte));
}

// The entry does not say how much there is to read.
TEST_F(CheckLaterTest, AFileThatTakesForEverKeepsNoOtherSetFromBeingChecked) {
  std::string const endless = std::string(packagesDir) + "/a/target/endless";
  makeDirectory(std::string(packagesDir) + "/a/target");
  writeFile(endless, "x");
  grow(endless, tebibyte);
  packageList("a", {entryLine(endless, "-", "00", "f", "-", "-", "-"), existing("/var/zz")});
  packageList("b", {existing("/nowhere/b")});
  StartedProgram program({ZEMO_TOOL, "check", "--jobs", "1", "a", "b"});
  EXPECT_FALSE(program.endsWithin(4));
  program.signal(SIGTERM);
  ASSERT_TRUE(program.endsWithin(2));
  EXPECT_EQ(
      program.run().output,
      "b: /nowhere/b not exist expect[] but get[]\n"
      "interrupted, partial result: checked 1 of 3 entries of 2 sets: 0 changed, 1 missing, 0 "
      "stray, 0 could not be checked\n");
  EXPECT_EQ(program.run().errors, "zemo-selfcheck: interrupted while checking '" + endless + "'\n");
}

// All metadata is compared before the content.
TEST_F(CheckLaterTest, OnlyTheContentOfAGrownFileIsNotCompared) {
  std::string const a = file("a");
  std::string const b = file("b");
  list({entryLine(a, "7", "00", "f", "7", "-", "-"), entryLine(b, "7", "00", "f", "7", "-", "-")});
  grow(a, tebibyte);
  ProgramRun const run = check();
  EXPECT_EQ(run.output, a + " size expect[7] but get[1099511627776]\n" + a +
                            " permission expect[7] but get[644]\n" + a +
                            " could not be checked: its size of 1099511627776 bytes differs from "
                            "the one in its entry and is too large to read\n" +
                            b + " permission expect[7] but get[644]\n" + b +
                            " hash expect[00] but get[040f06fd774092478d450774f5ba30c5da78acc8]\n"
                            "checked 1 entry of 1 set: 2 changed, 0 missing, 0 stray, 1 could not "
                            "be checked\n");
}

TEST_F(CheckLaterTest, AFileInTheirPlaceIsNotReadEither) {
  std::string const a = file("a");
  list({entryLine(a, "-", "FIXED", "d", "-", "-", "-")});
  grow(a, tebibyte);
  ProgramRun const run = check();
  EXPECT_EQ(run.status, changed | unchecked | notLoaded);
  EXPECT_EQ(run.errors, tooMany(a, tebibyte));
}

TEST_F(CheckLaterTest, AFileThatHasGrownALittleIsReadAsUsual) {
  std::string const a = file("a");
  list({entryLine(a, "3", "00", "f", "-", "-", "-"), existing("/nowhere")});
  EXPECT_EQ(check().output,
            "/nowhere not exist expect[] but get[]\n" + a + " size expect[3] but get[7]\n" + a +
                " hash expect[00] but get[040f06fd774092478d450774f5ba30c5da78acc8]\n"
                "checked 2 entries of 1 set: 1 changed, 1 missing, 0 stray, 0 could not be "
                "checked\n");
}

TEST_F(CheckLaterTest, LeasedFilesAreWaitedForWhenTheOthersAreDone) {
  std::string const a = file("a");
  list({entryLine(a), existing(files / "z")});
  if (chown(a.c_str(), 1, 1) != 0)
    GTEST_SKIP() << "needs a second user";
  list({entryLine(a), existing(files / "z")});
  Lease lease(a);
  if (!lease.holds())
    GTEST_SKIP() << "this file system has no leases";
  StartedProgram interrupted({ZEMO_TOOL, "check", "--jobs", "1"});
  EXPECT_FALSE(interrupted.endsWithin(1));
  interrupted.signal(SIGTERM);
  ASSERT_TRUE(interrupted.endsWithin(2));
  EXPECT_NE(interrupted.run().output.find((files / "z") + " not exist expect[] but get[]\n"),
            std::string::npos)
      << interrupted.run().output;
  StartedProgram waiting({ZEMO_TOOL, "check", "--jobs", "1"});
  EXPECT_FALSE(waiting.endsWithin(0.5));
  lease.end();
  ASSERT_TRUE(waiting.endsWithin(10));
  EXPECT_EQ(waiting.run().status, missing);
}

TEST_F(CheckLaterTest, ALeasedFileThatIsEmptyIsRead) {
  std::string const a = file("a");
  list({entryLine(a, "7", "00", "f", "-", "-", "-")});
  writeFile(a, "");
  if (chown(a.c_str(), 1, 1) != 0)
    GTEST_SKIP() << "needs a second user";
  Lease lease(a);
  if (!lease.holds())
    GTEST_SKIP() << "this file system has no leases";
  StartedProgram waiting({ZEMO_TOOL, "check", "--jobs", "1"});
  EXPECT_FALSE(waiting.endsWithin(0.5));
  lease.end();
  ASSERT_TRUE(waiting.endsWithin(10));
  EXPECT_EQ(waiting.run().status, changed) << waiting.run().errors;
}
