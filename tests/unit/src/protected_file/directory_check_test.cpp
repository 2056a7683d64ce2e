// The members of directories.

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <functional>

#include "content_check_fixture.h"
#include "support/without_input.h"

namespace {

// Reading a directory fails after this many members, including . and ..; if negative, never.
int readableMembers = -1;
bool everyDirectoryIsCloseOnExec = true;
bool memoryForStreams = true;

// How often a directory was read to its end, and an action at each end.
int readings = 0;
std::function<void()> atEnd = [] {};

// The members that are found; by default, all.
std::function<bool(const std::string&)> isMet = [](const std::string&) { return true; };

// The clock of change times, if a test sets it.
timespec coarseClock = {};

}  // namespace

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (clock == CLOCK_REALTIME_COARSE && coarseClock.tv_sec != 0) {
    *time = coarseClock;
    return 0;
  }
  return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

// Called before the C library itself makes the descriptor close-on-exec.
DIR* fdopendir(int fd) {
  static auto* const real = reinterpret_cast<DIR* (*)(int)>(dlsym(RTLD_NEXT, "fdopendir"));
  if ((fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0)
    everyDirectoryIsCloseOnExec = false;
  if (memoryForStreams)
    return real(fd);
  errno = ENOMEM;
  return nullptr;
}

// readdir64 under its other name.
dirent* readdir(DIR* directory) {
  static auto* const real = reinterpret_cast<dirent* (*)(DIR*)>(dlsym(RTLD_NEXT, "readdir64"));
  if (readableMembers == 0) {
    errno = EIO;
    return nullptr;
  }
  for (;;) {
    if (readableMembers > 0)
      --readableMembers;
    dirent* const member = real(directory);
    if (member == nullptr) {
      ++readings;
      atEnd();
    }
    if (member == nullptr || isMet(member->d_name))
      return member;
  }
}

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class DirectoryCheckTest : public ContentCheckTest {
 protected:
  void SetUp() override {
    ContentCheckTest::SetUp();
    readableMembers = -1;
    everyDirectoryIsCloseOnExec = true;
    readings = 0;
  }

  void TearDown() override {
    readableMembers = -1;
    atEnd = [] {};
    isMet = [](const std::string&) { return true; };
    coarseClock = {};
    ContentCheckTest::TearDown();
  }

  std::vector<std::string> checkFixed(std::vector<std::string> fixedEntries) const {
    return check("FIXED", statusOf(path), std::move(fixedEntries));
  }

  void makeMembers(const std::vector<std::string>& names) const {
    makeDirectory(path);
    for (const std::string& name : names)
      writeFile(path + "/" + name, "");
  }

  std::string unknown(const std::string& name) const {
    return path + "/" + name + " is unknown file";
  }

  void expectOpenDirectoryFailureLogged() const {
    EXPECT_THAT(recordedLog(),
                ElementsAre(logged("protected_file", 262, "opendir [%s] failed", path)));
  }
};

TEST_F(DirectoryCheckTest, EmptyDirectoryIsIntact) {
  makeDirectory(path);
  EXPECT_THAT(checkFixed({}), IsEmpty());
  EXPECT_THAT(checkFixed({"absent"}), IsEmpty());
}

TEST_F(DirectoryCheckTest, AllowedMembersAreIntact) {
  makeMembers({"a", "b"});
  EXPECT_THAT(checkFixed({"b", "a"}), IsEmpty());
}

TEST_F(DirectoryCheckTest, AllowedMembersMayBeAbsent) {
  makeMembers({"a"});
  EXPECT_THAT(checkFixed({"a", "absent"}), IsEmpty());
}

TEST_F(DirectoryCheckTest, StrayMemberIsRecorded) {
  makeMembers({"a", "evil", "b"});
  EXPECT_THAT(checkFixed({"a", "b"}), ElementsAre(unknown("evil")));
}

TEST_F(DirectoryCheckTest, RecordOfStrayMemberHasDirectoryAndBareName) {
  makeMembers({"evil"});
  ProtectedFile entry(entryLine(path, "-", "FIXED", "-", "-", "-", "-"));
  bool changed = false;
  EXPECT_FALSE(entry.checkHash(statusOf(path), changed));
  EXPECT_TRUE(changed);
  ASSERT_EQ(entry._errors.size(), 1U);
  EXPECT_EQ(entry._errors[0]->_error, CHECK_ERROR_UNKNOWN_FILE);
  EXPECT_EQ(entry._errors[0]->_filePath, path);
  EXPECT_EQ(entry._errors[0]->_expected, "");
  EXPECT_EQ(entry._errors[0]->_actual, "evil");
}

TEST_F(DirectoryCheckTest, EveryMemberIsUnknownWhenNoneIsAllowed) {
  makeMembers({"a", "b"});
  makeDirectory(path + "/c");
  makeLink("/nowhere", path + "/d");
  EXPECT_THAT(checkFixed({}),
              UnorderedElementsAre(unknown("a"), unknown("b"), unknown("c"), unknown("d")));
}

TEST_F(DirectoryCheckTest, OtherHashTextsOfADirectoryCheckItsMembersToo) {
  makeMembers({"a"});
  for (const char* const text : {"", "fixed", "--", contentDigest})
    EXPECT_THAT(check(text), ElementsAre(unknown("a"))) << text;
}

TEST_F(DirectoryCheckTest, DescriptorZeroIsOneLikeAnyOther) {
  makeMembers({"a"});
  WithoutInput const without;
  EXPECT_THAT(checkFixed({}), ElementsAre(unknown("a")));
  EXPECT_TRUE(WithoutInput::isFree());
  memoryForStreams = false;
  checkFails("FIXED", statusOf(path));
  memoryForStreams = true;
  EXPECT_TRUE(WithoutInput::isFree());
  clearLog();
}

TEST_F(DirectoryCheckTest, UncheckedDirectoryIsNotRead) {
  makeMembers({"a"});
  changeMode(path, 0);
  {
    WithoutFileCapabilities const ordinary;
    EXPECT_THAT(check("-"), IsEmpty());
  }
  changeMode(path, 0700);
}

TEST_F(DirectoryCheckTest, OnlyDotAndDotDotAreNotMembers) {
  makeMembers({"...", ".hidden", "..x", ".x"});
  EXPECT_THAT(checkFixed({}), UnorderedElementsAre(unknown("..."), unknown(".hidden"),
                                                   unknown("..x"), unknown(".x")));
  EXPECT_THAT(checkFixed({"...", ".hidden", "..x", ".x"}), IsEmpty());
}

TEST_F(DirectoryCheckTest, MemberNamesAreComparedAsWholeTexts) {
  makeMembers({"name"});
  EXPECT_THAT(checkFixed({"Name", "nam", "names", "", path + "/name"}),
              ElementsAre(unknown("name")));
}

TEST_F(DirectoryCheckTest, MembersOfMembersAreNotExamined) {
  makeDirectory(path + "/sub");
  writeFile(path + "/sub/file", "");
  EXPECT_THAT(checkFixed({"sub"}), IsEmpty());
}

TEST_F(DirectoryCheckTest, StrayMembersAreRecordedInTheOrderOfTheDirectory) {
  std::vector<std::string> names;
  for (int i = 0; i < 50; ++i)
    names.push_back(std::to_string(i * 7919 % 1000));
  makeMembers(names);
  std::vector<std::string> inOrder;
  DIR* const directory = opendir(path.c_str());
  while (const dirent* const member = readdir(directory))
    if (member->d_name[0] != '.')
      inOrder.push_back(unknown(member->d_name));
  (void)closedir(directory);
  EXPECT_EQ(inOrder.size(), names.size());
  EXPECT_THAT(checkFixed({}), ElementsAreArray(inOrder));
}

TEST_F(DirectoryCheckTest, DirectoryIsOpenedCloseOnExec) {
  makeMembers({"a"});
  EXPECT_THAT(checkFixed({"a"}), IsEmpty());
  EXPECT_TRUE(everyDirectoryIsCloseOnExec);
}

TEST_F(DirectoryCheckTest, UnreadableDirectoryFails) {
  makeMembers({"a"});
  changeMode(path, 0);
  {
    WithoutFileCapabilities const ordinary;
    checkFails("FIXED", statusOf(path));
  }
  expectOpenDirectoryFailureLogged();
  changeMode(path, 0700);
}

TEST_F(DirectoryCheckTest, VanishedDirectoryFails) {
  makeDirectory(path);
  struct stat const before = statusOf(path);
  remove(path);
  checkFails("FIXED", before);
  expectOpenDirectoryFailureLogged();
}

TEST_F(DirectoryCheckTest, DirectoryThatBecameALinkFailsAndIsNotFollowed) {
  makeDirectory(in("elsewhere"));
  makeLink("elsewhere", path);
  checkFails("FIXED", statusOf(in("elsewhere")));
  expectOpenDirectoryFailureLogged();
}

TEST_F(DirectoryCheckTest, DirectoryThatBecameAFifoFailsWithoutWaiting) {
  makeFifo(path);
  checkFails("FIXED", statusWith(S_IFDIR));
  expectOpenDirectoryFailureLogged();
}

TEST_F(DirectoryCheckTest, ExhaustedMemoryForTheStreamFailsAndLeavesNoDescriptor) {
  makeMembers({"a"});
  int const before = openDescriptors();
  memoryForStreams = false;
  checkFails("FIXED", statusOf(path));
  memoryForStreams = true;
  expectOpenDirectoryFailureLogged();
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(DirectoryCheckTest, ErrorWhileReadingADirectoryKeepsTheStraysFoundBeforeIt) {
  makeMembers({"a", "b", "c"});
  for (int readable = 0; readable < 6; ++readable) {
    clearLog();
    std::vector<std::string> found;
    int members = readable;
    isMet = [&](const std::string& name) {
      if (members-- > 0 && name.front() != '.')
        found.push_back(unknown(name));
      return true;
    };
    readableMembers = readable;
    ProtectedFile entry(entryLine(path, "-", "FIXED", "-", "-", "-", "-"));
    bool changed = false;
    EXPECT_TRUE(entry.checkHash(statusOf(path), changed));
    EXPECT_EQ(changed, !found.empty());
    EXPECT_THAT(errorsOf(entry), ElementsAreArray(found));
    EXPECT_THAT(recordedLog(),
                ElementsAre(logged("protected_file", 267, "readdir [%s] failed", path)));
  }
}

// Directories that change while they are read.

class ChangingDirectoryTest : public DirectoryCheckTest {
 protected:
  // Makes a directory that has not changed for a while.
  struct stat makeOldMembers(const std::vector<std::string>& names) const {
    makeMembers(names);
    coarseClock = statusOf(path).st_ctim;
    coarseClock.tv_sec += 3600;
    return statusOf(path);
  }

  // Updates the time of the directory's last change.
  void touch() const {
    struct stat const before = statusOf(path);
    struct stat now = before;
    while (now.st_ctim.tv_sec == before.st_ctim.tv_sec &&
           now.st_ctim.tv_nsec == before.st_ctim.tv_nsec) {
      changeMode(path, before.st_mode & 07777);
      now = statusOf(path);
    }
  }
};

TEST_F(ChangingDirectoryTest, UnchangedDirectoryIsReadOnce) {
  struct stat const st = makeOldMembers({"a", "stray"});
  EXPECT_THAT(check("FIXED", st, {"a"}), ElementsAre(unknown("stray")));
  EXPECT_EQ(readings, 1);
}

TEST_F(ChangingDirectoryTest, DirectoryThatChangedBeforeItWasOpenedIsReadTwice) {
  struct stat const st = makeOldMembers({"a"});
  touch();
  EXPECT_THAT(check("FIXED", st, {"a"}), IsEmpty());
  EXPECT_EQ(readings, 2);
}

TEST_F(ChangingDirectoryTest, StrayThatAReadingMissesIsFoundByTheNextOnes) {
  for (int missed = 1; missed < 5; ++missed) {
    std::string const name = "stray" + std::to_string(missed);
    path = in(name);
    struct stat const st = makeOldMembers({"a", name});
    readings = 0;
    isMet = [&](const std::string& member) { return member != name || readings >= missed; };
    atEnd = [&] {
      if (readings <= missed)
        touch();
    };
    EXPECT_THAT(check("FIXED", st, {"a"}), ElementsAre(unknown(name)));
    EXPECT_EQ(readings, missed + 1);
  }
}

TEST_F(ChangingDirectoryTest, DirectoryThatAlwaysChangesIsReadFiveTimes) {
  struct stat const st = makeOldMembers({"a"});
  atEnd = [&] { touch(); };
  EXPECT_THAT(check("FIXED", st, {"a"}), IsEmpty());
  EXPECT_EQ(readings, 5);
}

TEST_F(ChangingDirectoryTest, ChangeInTheTickOfTheOneBeforeMayBeHidden) {
  struct stat const st = makeOldMembers({"a"});
  coarseClock = st.st_ctim;
  EXPECT_THAT(check("FIXED", st, {"a"}), IsEmpty());
  EXPECT_EQ(readings, 5);
  readings = 0;
  ++coarseClock.tv_nsec;
  EXPECT_THAT(check("FIXED", st, {"a"}), IsEmpty());
  EXPECT_EQ(readings, 1);
}

TEST_F(ChangingDirectoryTest, NamesOfAllReadingsAreRecordedOnceEach) {
  struct stat const st = makeOldMembers({"a", "always", "first", "second"});
  isMet = [](const std::string& member) {
    return (member != "first" || readings == 0) && (member != "second" || readings == 1);
  };
  atEnd = [&] {
    if (readings < 3)
      touch();
  };
  EXPECT_THAT(check("FIXED", st, {"a"}),
              UnorderedElementsAre(unknown("always"), unknown("first"), unknown("second")));
  EXPECT_EQ(readings, 3);
}

TEST_F(ChangingDirectoryTest, ErrorInALaterReadingIsNotAFailure) {
  struct stat const st = makeOldMembers({"a", "stray"});
  atEnd = [&] {
    touch();
    readableMembers = 0;
  };
  EXPECT_THAT(check("FIXED", st, {"a"}), ElementsAre(unknown("stray")));
  EXPECT_EQ(readings, 1);
}

}  // namespace
