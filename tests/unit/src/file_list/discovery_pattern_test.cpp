#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>
#include <zemo/selfcheck/file_list.h>

#include <cstdlib>
#include <optional>

#include "discovery_fixture.h"
#include "support/doubles/recorded_log.h"
#include "support/files.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Sets an environment variable, and restores it at the end.
class Environment {
 public:
  Environment(const char* name, const std::string& value) : _name(name) {
    if (const char* const before = getenv(name))
      _before = before;
    setenv(name, value.c_str(), 1);
  }
  ~Environment() {
    if (_before)
      setenv(_name, _before->c_str(), 1);
    else
      unsetenv(_name);
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

 private:
  const char* _name;
  std::optional<std::string> _before;
};

using PatternTest = DiscoveryTest;

TEST_F(PatternTest, WithoutMatchGivesNothing) {
  EXPECT_THAT(found(), IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(PatternTest, WithoutMatchIgnoresTheNamesInTheOrder) {
  writeOrder(list("a") + "\n");
  EXPECT_THAT(found(), IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(PatternTest, InMissingDirectoryGivesNothing) {
  EXPECT_THAT(glob(path("missing"), path("missing/*.list")), IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(PatternTest, EmptyGivesNothing) {
  EXPECT_THAT(glob(_directory.path(), ""), IsEmpty());
}

TEST_F(PatternTest, WithoutPatternCharactersGivesTheFileIfItExists) {
  makeLists({"a"});
  EXPECT_THAT(glob(_directory.path(), path(list("a"))), ElementsAre(path(list("a"))));
  EXPECT_THAT(glob(_directory.path(), path(list("b"))), IsEmpty());
}

TEST_F(PatternTest, StarLeavesDotFilesOut) {
  writeFile(path(".hidden.list"), "");
  writeFile(path("shown.list"), "");
  EXPECT_THAT(glob(_directory.path(), path("*.list")), ElementsAre(path("shown.list")));
}

TEST_F(PatternTest, KnowsQuestionMarksAndSets) {
  makeLists({"a", "b", "cc"});
  EXPECT_THAT(glob(_directory.path(), path("wam.full.?.list")),
              ElementsAre(path(list("a")), path(list("b"))));
  EXPECT_THAT(glob(_directory.path(), path("wam.full.[bc].list")), ElementsAre(path(list("b"))));
}

TEST_F(PatternTest, BackslashTakesTheMeaningFromAPatternCharacter) {
  makeLists({"*", "a"});
  EXPECT_THAT(glob(_directory.path(), path("wam.full.\\*.list")), ElementsAre(path(list("*"))));
}

TEST_F(PatternTest, BracesAreOrdinaryCharacters) {
  makeLists({"a", "b", "{a,b}"});
  EXPECT_THAT(glob(_directory.path(), path("wam.full.{a,b}.list")),
              ElementsAre(path(list("{a,b}"))));
}

TEST_F(PatternTest, MatchesDanglingLinks) {
  makeLink("missing", path(list("link")));
  EXPECT_THAT(found(), ElementsAre("link"));
}

TEST_F(PatternTest, MatchesDirectoriesWithoutMarkingThem) {
  makeDirectory(path(list("directory")));
  EXPECT_THAT(found(), ElementsAre("directory"));
}

TEST_F(PatternTest, GivesTheDirectoryPartUnchanged) {
  makeLists({"b", "a"});
  writeOrder(list("b") + "\n" + list("a") + "\n");
  EXPECT_THAT(glob(_directory.path(), path("./*.list")),
              ElementsAre(path("./" + list("a")), path("./" + list("b"))));
}

TEST_F(PatternTest, UnreadableDirectoryDoesNotEndTheSearch) {
  for (const char* const name : {"a", "b", "c"}) {
    makeDirectory(path(name));
    writeFile(path(std::string(name) + "/x.list"), "");
  }
  changeMode(path("b"), 0);
  std::vector<std::string> matches;
  {
    WithoutFileCapabilities const unprivileged;
    matches = glob(_directory.path(), path("*/*.list"));
  }
  changeMode(path("b"), 0755);
  EXPECT_THAT(matches, ElementsAre(path("a/x.list"), path("c/x.list")));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(PatternTest, TildeIsTheHomeDirectory) {
  Environment const home("HOME", _directory.path());
  makeLists({"b", "a"});
  writeOrder(list("b") + "\n" + list("a") + "\n");
  // The paths are complete, so the order file of the directory names them.
  EXPECT_THAT(glob(_directory.path(), "~/wam.full.*.list"),
              ElementsAre(path(list("b")), path(list("a"))));
}

TEST_F(PatternTest, TildeWithUserNameIsThatUsersHomeDirectory) {
  const passwd* const account = getpwuid(getuid());
  ASSERT_NE(account, nullptr);
  EXPECT_THAT(glob(_directory.path(), "~" + std::string(account->pw_name)),
              ElementsAre(account->pw_dir));
}

TEST_F(PatternTest, TildeInTheDirectoryIsAnOrdinaryCharacter) {
  Environment const home("HOME", _directory.path());
  makeLists({"b", "a"});
  writeOrder(list("b") + "\n" + list("a") + "\n");
  EXPECT_THAT(glob("~", "~/wam.full.*.list"), ElementsAre(path(list("a")), path(list("b"))));
}

}  // namespace
