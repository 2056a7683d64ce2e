// Files that change while the program zemo-selfcheck checks or describes them.

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "races/set_fixture.h"
#include "support/files.h"

namespace {

// Becomes the program. A sanitizer's report must not look like one of its exit statuses, and its
// search for leaks cannot work in a traced process.
int become(std::vector<std::string> words) {
  words.insert(words.begin(), ZEMO_TOOL);
  std::vector<char*> arguments;
  for (std::string& word : words)
    arguments.push_back(word.data());
  arguments.push_back(nullptr);
  (void)setenv("ASAN_OPTIONS", "exitcode=99:detect_leaks=0", 1);
  (void)setenv("UBSAN_OPTIONS", "exitcode=99", 1);
  int const null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  (void)dup2(null, STDOUT_FILENO);
  (void)dup2(null, STDERR_FILENO);
  (void)execv(arguments[0], arguments.data());
  return 99;
}

int meaningOfCheck(int status) {
  constexpr int differs = 1 | 2 | 4;
  constexpr int notDone = 8 | 16;
  if ((status & ~(differs | notDone)) != 0)
    return -1;
  if ((status & notDone) != 0)
    return failed;
  return status == 0 ? intact : changed;
}

class ProgramRacesTest : public SetRacesTest {
 protected:
  ProgramRacesTest() : SetRacesTest(Speed::slow) {}

  void makeFiles() const {
    clear(files.path());
    makeDirectory(directory);
    writeFile(file, "content\n");
    writeFile(directory + "/large", std::string(300000, 'x'));
  }

  // Any number of threads, so that nobody knows which call of the one comes behind one of another.
  void raceCheck(const std::string& object, const std::vector<Change>& changes,
                 const std::string& jobs) {
    makeFiles();
    std::string lines;
    for (const std::string& path : {directory, file, directory + "/large"})
      lines += entryLine(path) + "\n";
    lines.replace(lines.find("\t-\t-\t"), 5, "\t-\tFIXED\t");
    Operation const check = {listDir,
                             [this, lines] {
                               makeFiles();
                               clearLists();
                               writeList("wam.full.a.list", lines);
                             },
                             [jobs] {
                               return become({"check", "--no-verify", "--jobs", jobs});
                             },
                             intact, meaningOfCheck};
    race(check, object, changes, [](const Situation& situation, int outcome) {
      return situation.moment != before || outcome != intact;
    });
  }

  std::string const directory = files / "directory";
  std::string const file = directory + "/file";
};

TEST_F(ProgramRacesTest, FileCheckedByOneThread) {
  raceCheck(file, fileChanges(), "1");
}

TEST_F(ProgramRacesTest, FileCheckedByTwoThreads) {
  raceCheck(file, fileChanges(), "2");
}

TEST_F(ProgramRacesTest, LargeFileCheckedByTwoThreads) {
  raceCheck(directory + "/large", fileChanges(), "2");
}

TEST_F(ProgramRacesTest, FixedDirectoryCheckedByTwoThreads) {
  raceCheck(directory, directoryChanges(), "2");
}

// (The program may read whatever root may.)
TEST_F(ProgramRacesTest, ListOfACheck) {
  raceCheck(listOf("a"), without({"unreadable", "copy"}, fileChanges()), "2");
}

// A list is either made, and then of the file as it was or as it has become, or it is said not to
// be right.
class MakingRacesTest : public ProgramRacesTest {
 protected:
  // The lines that describe what is at the path, and below it.
  static std::string linesBelow(const std::string& path) {
    struct stat st = {};
    if (lstat(path.c_str(), &st) != 0)
      return "";
    std::string lines = entryLine(path) + "\n";
    if (S_ISDIR(st.st_mode)) {
      for (const auto& member : std::filesystem::directory_iterator(path))
        lines += entryLine(member.path()) + "\n";
    }
    return lines;
  }

  void raceMake(const std::string& content, const std::vector<Change>& changes) {
    std::string const path = files / "object";
    std::string const list = files / "wam.full.a.list";
    auto const prepare = [this, path, content] {
      clear(files.path());
      writeFile(path, content);
    };
    prepare();
    std::string const original = entryLine(path) + "\n";
    Operation const making = {
        path, prepare,
        [path, list] {
          return become({"make", path, "--output", list, "--jobs", "2"});
        },
        intact,
        [path, list, original](int status) {
          constexpr int known = 1 | 2 | 4 | 8 | 16 | 64;
          if (status != 0)
            return (status & ~known) == 0 ? static_cast<int>(failed) : -1;
          std::string lines = readFile(list);
          for (int header = 0; header < 2; ++header)
            lines.erase(0, lines.find('\n') + 1);
          if (lines == original)
            return static_cast<int>(intact);
          return static_cast<int>(lines == linesBelow(path) ? changed : misled);
        }};
    race(making, path, changes, [](const Situation& situation, int outcome) {
      return outcome != misled && (situation.moment != before || outcome != intact);
    });
  }
};

TEST_F(MakingRacesTest, File) {
  raceMake("content\n", fileChanges());
}

TEST_F(MakingRacesTest, LargeFile) {
  raceMake(std::string(300000, 'x') + "\n", fileChanges());
}

}  // namespace
