// Files change while the program zemo-selfcheck checks or describes them.

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>

#include "set_fixture.h"
#include "support/files.h"
#include "support/program.h"
#include "support/signing_key.h"

namespace {

// Executes the program. A sanitizer's report must not have one of its exit statuses, and the leak
// search does not work in a traced process.
int become(std::vector<std::string> words) {
  words.insert(words.begin(), ZEMO_TOOL);
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
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
  explicit ProgramRacesTest(Sample sample = few) : SetRacesTest(sample) {}

  void makeFiles() const {
    clear(files.path());
    makeDirectory(directory);
    writeFile(file, "content\n");
    writeFile(directory + "/large", std::string(300000, 'x'));
    letATickPass();
  }

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
    race(check, object, changes);
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

// (The program may read everything that root may.)
TEST_F(ProgramRacesTest, ListOfACheck) {
  raceCheck(listOf("a"), without({"unreadable", "copy"}, fileChanges()), "2");
}

// The files of a check with --root. Its owner changes it meanwhile, and has copies of the files
// outside, which must never count as the files.
class OtherRootRacesTest : public ProgramRacesTest {
 protected:
  OtherRootRacesTest() : ProgramRacesTest(some) {}

  // Checks only `path`, while `object`, which is that or a directory above it, changes.
  void raceRoot(const std::string& path, const std::string& object,
                const std::vector<Change>& changes) {
    Operation const check = {
        object,
        [this, path] {
          makeFiles();
          remove(outside / "copy");
          clearLists();
          writeFile(std::string(listDir) + "/pubring.kbx", "");
          writeList("wam.full.a.list",
                    entryLine(files.path() + path).substr(files.path().size()) + "\n");
        },
        [this] {
          return become(
              {"check", "--root", files.path(), "--lists", listDir, "--no-verify", "--jobs", "1"});
        },
        intact, meaningOfCheck};
    std::vector<Change> below = changes;
    for (Change& change : below) {
      change.make = [this, make = change.make](const std::string& name) {
        make(files.path() + name);
      };
    }
    // A file that is open when the directory above it moves is still the root's own.
    race(check, object, below, [path](const Situation& situation, int outcome) {
      auto const next = situation.calls.begin() + static_cast<std::ptrdiff_t>(situation.number);
      bool const isOpen = std::any_of(situation.calls.begin(), next, [&path](const Call& call) {
        return (call.number == SYS_open || call.number == SYS_openat) && call.path == path;
      });
      return isOpen ? isAnything(situation, outcome) : outcome == changed || outcome == failed;
    });
  }

  // Replacements by a link to a copy outside, which a process with another root finds nowhere.
  std::vector<Change> linksOut() const {
    std::vector<Change> changes;
    for (std::string const& start : {std::string(), std::string("../../../../../../../..")}) {
      changes.push_back(
          {"replaced by a link out of the root", [this, start](const std::string& path) {
             std::filesystem::rename(path, outside / "copy");
             makeLink(start + (outside / "copy"), path);
           }});
    }
    return changes;
  }

  TemporaryDirectory outside;
};

TEST_F(OtherRootRacesTest, File) {
  raceRoot("/directory/file", "/directory/file", without({"/dev/"}, fileChanges()));
}

TEST_F(OtherRootRacesTest, FileReplacedByALinkOut) {
  raceRoot("/directory/file", "/directory/file", linksOut());
}

TEST_F(OtherRootRacesTest, DirectoryReplacedByALinkOut) {
  raceRoot("/directory/file", "/directory", linksOut());
}

// The program either makes a list, which describes the file as it was or as it is now, or reports
// that the list may be wrong.
class MakingRacesTest : public ProgramRacesTest {
 protected:
  // The list line that describes the file at the path.
  static std::string lineOf(const std::string& path) {
    if (!std::filesystem::is_symlink(path))
      return entryLine(path);
    std::string const target = std::filesystem::read_symlink(path);
    return entryLine(path, std::to_string(target.size()), target, "l", "-", "-", "-");
  }

  // Whether each entry of the list describes a file in its current state.
  static bool isTrue(const std::vector<std::string>& lines) {
    return std::all_of(lines.begin(), lines.end(), [](const std::string& line) {
      return line == lineOf(line.substr(0, line.find('\t')));
    });
  }

  void raceMake(const std::string& content, const std::vector<Change>& changes) {
    std::string const path = files / "object";
    std::string const list = files / "wam.full.a.list";
    auto const prepare = [this, path, content] {
      clear(files.path());
      writeFile(path, content);
    };
    prepare();
    std::string const original = entryLine(path);
    Operation const making = {path, prepare,
                              [path, list] {
                                return become({"make", path, "--output", list, "--jobs", "2"});
                              },
                              intact,
                              [list, original](int status) -> int {
                                constexpr int known = 1 | 2 | 4 | 8 | 16 | 64;
                                if (status != 0)
                                  return (status & ~known) == 0 ? failed : -1;
                                std::vector<std::string> lines = ::linesOf(readFile(list));
                                lines.erase(lines.begin(), lines.begin() + 2);
                                if (lines == std::vector<std::string>{original})
                                  return intact;
                                return isTrue(lines) ? changed : misled;
                              }};
    race(making, path, changes);
  }
};

TEST_F(MakingRacesTest, File) {
  raceMake("content\n", fileChanges());
}

TEST_F(MakingRacesTest, LargeFile) {
  raceMake(std::string(300000, 'x') + "\n", fileChanges());
}

// Another user owns the directory in which a list is signed, and continually replaces the list:
// with a file that only the caller may read, with a link, and with a file that has another format.
// Everything in the directory that others may read afterwards must be the list that the program
// examined.
class SigningRacesTest : public RacesTest {
 protected:
  SigningRacesTest() : RacesTest(few) {}

  void prepare() const {
    remove(directory);
    makeDirectory(directory);
    writeFile(secret, "WAM_SELF_CHECK\nsecret\n", 0600);
    exchange(0);
  }

  // Replaces the list with the list itself, with a link to the secret one, or with a file in
  // another format.
  void exchange(unsigned kind) const {
    std::string const next = files / "next";
    if (kind == 0)
      writeFile(next, content, 0600);
    else if (kind == 1)
      makeLink(secret, next);
    else
      writeFile(next, "no list\n", 0600);
    std::filesystem::rename(next, list);
  }

  bool isLost() const {
    for (const auto& member : std::filesystem::directory_iterator(directory)) {
      std::string const path = member.path();
      struct stat const status = statusOf(path);
      if (!S_ISREG(status.st_mode) || (status.st_mode & 0044U) == 0)
        continue;
      std::string const published = readFile(path);
      bool const isPartOfList = content.compare(0, published.size(), published) == 0;
      if (!isPartOfList && published.find("-----BEGIN PGP SIGNATURE-----") != 0)
        return true;
    }
    return false;
  }

  TemporaryDirectory files;
  const std::string directory = files / "theirs";
  const std::string list = directory + "/wam.full.a.list";
  const std::string secret = files / "secret";
  const std::string content = "WAM_SELF_CHECK\ntext\n";
};

TEST_F(SigningRacesTest, ListInAStrangersDirectory) {
  constexpr int combinations = 4000;
  SigningKey const key;
  Operation const signing = {
      directory, [this] { prepare(); },
      [this, &key] {
        return become({"sign", list, "--key", "Maker", "--homedir", key.home()});
      },
      intact, nullptr};
  std::mt19937 random(1);
  int runs = 0;
  int signedOnes = 0;
  int lost = 0;
  for (int i = 0; i < combinations; ++i) {
    if (isSkippedNow())
      continue;
    unsigned const often = 2 + random() % 12;
    bool isLostNow = false;
    Ending const ending = run(signing, list, [&](std::size_t /*number*/, const Call& /*call*/) {
      isLostNow = isLostNow || isLost();
      if (random() % often == 0)
        exchange(random() % 3);
      return true;
    });
    EXPECT_EQ(ending.kind, Ending::exited);
    EXPECT_TRUE(ending.value == 0 || ending.value == 16) << ending.value;
    runs += 1;
    signedOnes += ending.value == 0 ? 1 : 0;
    lost += isLostNow || isLost() ? 1 : 0;
  }
  EXPECT_EQ(lost, 0);
  EXPECT_TRUE(signedOnes > 0 || runs < 10);
  std::cout << runs << " runs, " << signedOnes << " signed, " << lost << " lost\n";
}

}  // namespace
