// Named files, for which only a part of the set is kept, compared with the whole set.

#include <gmock/gmock.h>
#include <malloc.h>
#include <zemo/selfcheck/self_check_files.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "loading_fixture.h"
#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_status.h"
#include "support/path_list.h"
#include "support/restored_binding.h"
#include "support/result_mask.h"
#include "support/temporary_directory.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::Each;
using ::testing::ElementsAre;

// The answer to a call, and how it was reached.
struct Answer {
  int returned = -1;
  std::vector<uint32_t> words;
  std::vector<LogLine> log;
  std::vector<std::string> verified;
};

bool operator==(const Answer& a, const Answer& b) {
  return a.returned == b.returned && a.words == b.words && a.log == b.log &&
         a.verified == b.verified;
}

std::ostream& operator<<(std::ostream& out, const Answer& answer) {
  out << "returned " << answer.returned << ", words";
  for (uint32_t const word : answer.words)
    out << ' ' << word;
  for (const LogLine& line : answer.log)
    out << '\n' << line;
  return out << '\n' << ::testing::PrintToString(answer.verified);
}

class NamedFilesTest : public LoadingTest {
 protected:
  void SetUp() override {
    LoadingTest::SetUp();
    if (IsSkipped())
      return;
    for (const char* const directory : {"d", "d/d", "e"})
      makeDirectory(_files / directory);
    for (const char* const file : {"a", "d/a", "d/b", "d/d/a", "dx", "e/a"})
      writeFile(_files / file, "content");
    makeLink("a", _files / "l");
  }

  std::size_t below(std::size_t limit) { return _random() % limit; }
  const std::string& oneOf(const std::vector<std::string>& all) { return all[below(all.size())]; }

  // A path that lists and callers write, including loose children of directories, the placeholder
  // of a package, a file that cannot be read, and none.
  std::string randomPath() {
    std::string const path =
        oneOf({"a", "d", "d/", "d/a", "d/b", "d/c", "d/d", "d/d/a", "dx", "e", "e/a", "l", "none"});
    switch (below(12)) {
      case 0:
        return "$pkg_dir/" + path;
      case 1:
        return "/proc/self/mem";
      case 2:
        return "";
      default:
        return _files / path;
    }
  }

  std::string randomLine() {
    std::string const path = randomPath();
    if (below(6) == 0)
      return "-" + entryLine(path, "-", "-", "-", "-", "-", "-");
    if (below(25) == 0)
      return oneOf({"", "-", "too\tfew", "-\t\t"});
    return entryLine(path, oneOf({"-", "7", "8"}),
                     oneOf({"-", "-", "FIXED", "FIXED", "a", std::string(40, '0')}),
                     oneOf({"-", "f", "d", "l"}), oneOf({"-", "644", "755"}),
                     oneOf({"-", "0", "$pkg"}), oneOf({"-", "0", "$pkg_sys"}));
  }

  void makeRandomLists() {
    for (const std::string name : {"a", "b", "c"}) {
      std::string const path = std::string(listDir) + "/wam.full." + name + ".list";
      remove(path.c_str());
      if (below(3) == 0)
        continue;
      if (below(25) == 0) {
        makeMalformed(name);
      } else {
        std::string some;
        for (std::size_t count = below(25); count > 0; --count)
          some += randomLine() + "\n";
        makeList(name, some);
      }
      if (below(25) == 0)
        remove((path + ".asc").c_str());
      else
        writeFile(path + ".asc", "signature");
    }
    writeOrder(oneOf({"", "wam.full.b.list\nwam.full.a.list\n", "wam.full.c.list\n"}));
  }

  Answer ofTheWholeSet(const std::vector<std::string>& paths) {
    clearLog();
    execCalls.clear();
    Answer answer;
    FileList list("wam", "full");
    std::vector<SELFCHECK_RESULT> results;
    if (!list.loadList(true)) {
      answer.log = recordedLog();
      answer.log.push_back(logged("util", 33, "Selfcheck load list failed"));
    } else if (!list.checkFiles(paths, results)) {
      answer.log = recordedLog();
      answer.log.push_back(logged("util", 38, "Selfcheck failed"));
    } else {
      answer.log = recordedLog();
      answer.returned = 0;
      answer.words = masksOf(results);
    }
    answer.verified = verified();
    return answer;
  }

  static Answer ofThePart(const std::vector<std::string>& paths) {
    clearLog();
    execCalls.clear();
    Answer answer;
    PathList const list(paths);
    std::vector<SELFCHECK_RESULT> results(paths.size() + 1, resultFrom(0xa5a5a5a5));
    answer.returned = SelfCheckFiles(list.get(), results.data());
    answer.log = recordedLog();
    answer.verified = verified();
    std::vector<uint32_t> words = masksOf(results);
    EXPECT_EQ(words.back(), 0xa5a5a5a5);
    words.pop_back();
    if (answer.returned == 0)
      answer.words = words;
    else
      EXPECT_THAT(words, Each(0xa5a5a5a5));
    return answer;
  }

  std::string path(const std::string& name) const { return _files / name; }

  void addFixed(const std::string& directory) {
    lines += entryLine(directory, "-", "FIXED", "d", "755", "-", "-") + "\n";
    directories.push_back(directory);
  }

  // Checks all directories with a wrong mode, then with the right one.
  void expectMembersKnown(const std::string& alsoAsked = "") {
    std::string const between = path("a");
    makeSigned("a", lines + line(between));
    std::vector<std::string> asked = directories;
    asked.push_back(between);
    asked.insert(asked.end(), directories.begin(), directories.end());
    asked.push_back(alsoAsked);
    for (const std::string& directory : directories)
      (void)chmod(directory.c_str(), 0700);
    beforeStatus = [&](const std::string& examined) {
      for (const std::string& directory : directories) {
        if (examined == between)
          (void)chmod(directory.c_str(), 0755);
      }
    };
    std::vector<uint32_t> const words = ofThePart(asked).words;
    beforeStatus = nullptr;
    ASSERT_EQ(words.size(), asked.size());
    for (std::size_t i = 0; i < directories.size(); ++i) {
      EXPECT_EQ(words[i], 0x10U) << directories[i];
      EXPECT_EQ(words[directories.size() + 1 + i], 0U) << directories[i];
    }
  }

  std::string lines;
  std::vector<std::string> directories;

 private:
  TemporaryDirectory _files;
  std::mt19937 _random{20261122};
};

TEST_F(NamedFilesTest, RandomSetsGiveTheAnswersOfTheWholeSet) {
  RestoredBinding const restored;
  int intact = 0;
  int failed = 0;
  for (int round = 0; round < 2000 && !HasFailure(); ++round) {
    ProtectedFile::_pkginfo = PkgInfo();
    if (below(3) == 0) {
      ProtectedFile::_pkginfo.isSet = true;
      ProtectedFile::_pkginfo.targetDir = "/proc/self";
    }
    makeRandomLists();
    bool const verifies = below(20) != 0;
    execResult = [verifies](const ExecCall&) { return verifies ? 0 : 1; };
    std::vector<std::string> paths;
    for (std::size_t count = below(6); count > 0; --count)
      paths.push_back(randomPath());

    Answer const expected = ofTheWholeSet(paths);
    EXPECT_EQ(ofThePart(paths), expected) << ::testing::PrintToString(paths);
    failed += expected.returned == 0 ? 0 : 1;
    for (uint32_t const word : expected.words)
      intact += word == 0 ? 1 : 0;
  }
  EXPECT_GT(intact, 100);  // or the sets would not test much
  EXPECT_GT(failed, 100);
}

// Unknown members would make the second check of a directory return the records of the first one.
TEST_F(NamedFilesTest, FixedDirectoriesKnowTheirMembers) {
  addFixed(path("d"));
  for (const char* const member : {"a", "b", "d"})
    lines += line(path("d") + "/" + member);
  expectMembersKnown();
}

// A path that begins with a directory's path is its child, with or without a '/' between them. A
// path of the parent's length, which is also asked for, must not end the search for the directory.
TEST_F(NamedFilesTest, DirectoriesOfManyLengthsKnowTheirMembers) {
  for (std::string name = "n_"; name.size() < 30; name = "n" + name) {
    std::string const directory = path(name);
    makeDirectory(directory);
    for (const std::string& member : {directory + "/m", directory + "m"}) {
      writeFile(directory + member.substr(member.rfind('/')), "");
      lines += line(member);
    }
    addFixed(directory);
  }
  expectMembersKnown();
  std::string const parent = std::filesystem::path(directories.front()).parent_path();
  expectMembersKnown(std::string(parent.size(), '-'));
}

TEST_F(NamedFilesTest, DirectoryWithARelativePathKnowsItsMembers) {
  writeFile(path("d/dx"), "");
  addFixed("d");
  for (const char* const member : {"dx", "d/a", "d/b", "d/d"})
    lines += line(member);
  std::filesystem::path const before = std::filesystem::current_path();
  std::filesystem::current_path(path(""));
  expectMembersKnown();
  std::filesystem::current_path(before);
}

// The allocator of a sanitizer or of valgrind reports 0 bytes in use all the time.
TEST_F(NamedFilesTest, MemoryDoesNotGrowWithTheSet) {
  std::string const named = path("a");
  lines = line(named);
  for (int i = 0; i < 20000; ++i)
    lines += line(path("not/named/" + std::to_string(i)));
  makeSigned("a", lines);

  std::size_t const before = mallinfo2().uordblks;
  std::size_t used = 0;
  beforeStatus = [&](const std::string&) { used = mallinfo2().uordblks - before; };
  EXPECT_THAT(ofThePart({named}).words, ElementsAre(0));
  EXPECT_LT(used, 100000U);
  beforeStatus = [&](const std::string&) { used = mallinfo2().uordblks - before; };
  (void)ofTheWholeSet({named});
  beforeStatus = nullptr;
  if (mallinfo2().uordblks != 0) {
    EXPECT_GT(used, 5000000U);  // or the limit above says nothing
  }
}

}  // namespace
