#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>
#include <zemo/selfcheck/file_list.h>

#include <algorithm>
#include <map>
#include <random>

#include "discovery_fixture.h"
#include "support/doubles/recorded_log.h"
#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using DiscoveryWithoutOrderTest = DiscoveryTest;

TEST_F(DiscoveryWithoutOrderTest, GivesWholePathsInByteOrder) {
  makeLists({"b", "a"});
  EXPECT_THAT(glob(_directory.path(), path("wam.full.*.list")),
              ElementsAre(path("wam.full.a.list"), path("wam.full.b.list")));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(DiscoveryWithoutOrderTest, PutsUpperCaseBeforeLowerCase) {
  makeLists({"a", "B", "c", "D"});
  EXPECT_THAT(found(), ElementsAre("B", "D", "a", "c"));
}

TEST_F(DiscoveryWithoutOrderTest, ComparesBytesAsUnsigned) {
  makeLists({"\xc3\xa9", "z", "e"});
  EXPECT_THAT(found(), ElementsAre("e", "z", "\xc3\xa9"));
}

TEST_F(DiscoveryWithoutOrderTest, PutsShorterPathBeforeItsContinuation) {
  makeLists({"a.list.b", "a"});
  EXPECT_THAT(found(), ElementsAre("a", "a.list.b"));
}

TEST_F(DiscoveryWithoutOrderTest, ComparesDigitsAsCharacters) {
  makeLists({"9", "10", "1"});
  // "1." comes before "10", because '.' comes before '0'.
  EXPECT_THAT(found(), ElementsAre("1", "10", "9"));
}

using DiscoveryWithOrderTest = DiscoveryTest;

TEST_F(DiscoveryWithOrderTest, FollowsItsLines) {
  makeLists({"a", "b", "c"});
  writeOrder(list("b") + "\n" + list("c") + "\n" + list("a") + "\n");
  EXPECT_THAT(found(), ElementsAre("b", "c", "a"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

// A file of a few bytes can have such a line: most of the line is a hole.
TEST_F(DiscoveryWithOrderTest, DoesNotStoreALineThatNoFileCanHaveAsName) {
  constexpr off_t longLine = off_t{256} << 20U;
  constexpr long most = 64 * 1024;  // KiB
  makeLists({"a", "b"});
  writeOrder("");
  ASSERT_EQ(truncate(path("listorder").c_str(), longLine), 0);
  appendToFile(path("listorder"), "\n" + list("b") + "\n" + list("a") + "\n");
  rusage before = {};
  rusage after = {};
  (void)getrusage(RUSAGE_SELF, &before);
  EXPECT_THAT(found(), ElementsAre("b", "a"));
  (void)getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, most);
}

TEST_F(DiscoveryWithOrderTest, PutsUnnamedListBeforeNamedOnes) {
  makeLists({"x", "y", "z"});
  writeOrder(list("x") + "\n" + list("y") + "\n");
  EXPECT_THAT(found(), ElementsAre("z", "x", "y"));
}

TEST_F(DiscoveryWithOrderTest, PutsUnnamedListsInByteOrder) {
  makeLists({"d", "c", "b", "a"});
  writeOrder(list("c") + "\n" + list("a") + "\n");
  EXPECT_THAT(found(), ElementsAre("b", "d", "c", "a"));
}

TEST_F(DiscoveryWithOrderTest, LastLineOfNameCounts) {
  makeLists({"x", "y"});
  writeOrder(list("x") + "\n" + list("y") + "\n" + list("x") + "\n");
  EXPECT_THAT(found(), ElementsAre("y", "x"));
}

TEST_F(DiscoveryWithOrderTest, LastLineNeedsNoLineFeed) {
  makeLists({"a", "b"});
  writeOrder(list("b") + "\n" + list("a"));
  EXPECT_THAT(found(), ElementsAre("b", "a"));
}

TEST_F(DiscoveryWithOrderTest, EmptyLinesNameNothing) {
  makeLists({"x", "y"});
  writeOrder("\n\n" + list("x") + "\n");
  EXPECT_THAT(found(), ElementsAre("y", "x"));
}

TEST_F(DiscoveryWithOrderTest, EmptyLinesBetweenNamesKeepTheOrder) {
  makeLists({"a", "x", "y"});
  writeOrder(list("y") + "\n\n" + list("x") + "\n\n\n" + list("a") + "\n");
  EXPECT_THAT(found(), ElementsAre("y", "x", "a"));
}

TEST_F(DiscoveryWithOrderTest, EmptyFileNamesNothing) {
  makeLists({"b", "a"});
  writeOrder("");
  EXPECT_THAT(found(), ElementsAre("a", "b"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(DiscoveryWithOrderTest, CarriageReturnsBelongToTheNames) {
  makeLists({"a", "b"});
  writeOrder(list("b") + "\r\n" + list("a") + "\r\n");
  EXPECT_THAT(found(), ElementsAre("a", "b"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(DiscoveryWithOrderTest, BlanksBelongToTheNames) {
  makeLists({"a", "b", "c", "d"});
  writeOrder(" " + list("a") + "\n" + list("b") + " \n" + list("c") + "\t\n" + list("d") + "\n");
  EXPECT_THAT(found(), ElementsAre("a", "b", "c", "d"));
  writeOrder(list("d") + "\n" + list("c") + "\n " + list("d") + "\n");
  EXPECT_THAT(found(), ElementsAre("a", "b", "d", "c"));
}

TEST_F(DiscoveryWithOrderTest, NameWithBlanksMatchesTheFileWithBlanks) {
  makeLists({"b b", "a"});
  writeOrder(list("a") + "\n" + list("b b") + "\n");
  EXPECT_THAT(found(), ElementsAre("a", "b b"));
  writeOrder(list("b b") + "\n" + list("a") + "\n");
  EXPECT_THAT(found(), ElementsAre("b b", "a"));
}

TEST_F(DiscoveryWithOrderTest, HasNoCommentsQuotesOrEscapes) {
  makeLists({"a", "b", "c", "d"});
  writeOrder("#" + list("a") + "\n\"" + list("b") + "\"\n\\" + list("c") + "\n");
  EXPECT_THAT(found(), ElementsAre("a", "b", "c", "d"));
  writeOrder("# comment\n" + list("b") + "\n" + list("a") + " # comment\n");
  EXPECT_THAT(found(), ElementsAre("a", "c", "d", "b"));
}

TEST_F(DiscoveryWithOrderTest, NamesAreNotPatterns) {
  makeLists({"a", "b"});
  writeOrder("wam.full.*.list\nwam.full.?.list\n" + list("b") + "\nwam.full.[a].list\n");
  EXPECT_THAT(found(), ElementsAre("a", "b"));
}

TEST_F(DiscoveryWithOrderTest, OtherSpellingsOfThePathMatchNothing) {
  makeLists({"a", "b", "c", "d"});
  writeOrder("./" + list("a") + "\n/" + list("b") + "\n" + path(list("c")) + "\n");
  EXPECT_THAT(found(), ElementsAre("a", "b", "c", "d"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(DiscoveryWithOrderTest, NameInAnotherCaseMatchesNothing) {
  makeLists({"a", "b"});
  writeOrder(list("b") + "\n" + "WAM.full.a.list\n");
  EXPECT_THAT(found(), ElementsAre("a", "b"));
}

TEST_F(DiscoveryWithOrderTest, NameWithZeroByteMatchesNothing) {
  makeLists({"a", "b"});
  writeOrder(list("b") + "\n" + list("a") + std::string("\0\n", 2));
  EXPECT_THAT(found(), ElementsAre("a", "b"));
}

TEST_F(DiscoveryWithOrderTest, NameOfMissingFileHasNoEffect) {
  makeLists({"a", "b"});
  writeOrder(list("b") + "\n" + list("missing") + "\n" + list("a") + "\n");
  EXPECT_THAT(found(), ElementsAre("b", "a"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(DiscoveryWithOrderTest, NameThatThePatternLeavesOutHasNoEffect) {
  makeLists({"a", "b"});
  writeFile(path("wam.quick.c.list"), "");
  writeOrder(list("b") + "\nwam.quick.c.list\n" + list("a") + "\n");
  EXPECT_THAT(found(), ElementsAre("b", "a"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(DiscoveryWithOrderTest, PositionsGoBeyondSixteenBits) {
  makeLists({"a", "b", "c"});
  writeOrder("\n\n" + list("c") + std::string(65534, '\n') + list("b") + "\n" +
             std::string(5000, '\n') + list("a") + "\n");
  EXPECT_THAT(found(), ElementsAre("c", "b", "a"));
}

TEST_F(DiscoveryWithOrderTest, LinesOfAnyLengthAreNames) {
  makeLists({"a", "b", "c"});
  std::string const longLine(300000, 'x');
  writeOrder(list("c") + "\n" + longLine + "\n" + list("b") + "\n" + longLine + list("a") + "\n");
  EXPECT_THAT(found(), ElementsAre("a", "c", "b"));
}

TEST_F(DiscoveryWithOrderTest, AgreesWithModelForRandomOrders) {
  unsigned int const seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  std::vector<std::string> const names = {"a", "A", "aa", "b", "c", "d e", "f.g", "h"};
  makeLists(names);
  for (int round = 0; round < 200; ++round) {
    std::string order;
    std::map<std::string, int> lastLine;
    int const lines = static_cast<int>(random() % 12);
    for (int number = 1; number <= lines; ++number) {
      std::string const name = random() % 4 == 0 ? "" : names[random() % names.size()];
      if (!name.empty())
        lastLine[name] = number;
      order += (name.empty() ? "" : list(name)) + "\n";
    }
    std::vector<std::pair<int, std::string>> expected;
    for (const std::string& name : names)
      expected.emplace_back(lastLine[name], list(name));
    std::sort(expected.begin(), expected.end());
    std::vector<std::string> expectedNames;
    for (const auto& [position, name] : expected)
      expectedNames.push_back(path(name));

    writeOrder(order);
    ASSERT_EQ(glob(_directory.path(), path("wam.full.*.list")), expectedNames) << order;
  }
}

using OrderFileTest = DiscoveryTest;

TEST_F(OrderFileTest, UnreadableOneIsLoggedAndLeftOut) {
  makeLists({"b", "a"});
  writeFile(path("listorder"), list("b") + "\n" + list("a") + "\n", 0);
  WithoutFileCapabilities const unprivileged;
  EXPECT_THAT(found(), ElementsAre("a", "b"));
  EXPECT_THAT(
      recordedLog(),
      ElementsAre(logged("file_list", 274, "Open list order file [%s] failed", path("listorder"))));
}

TEST_F(OrderFileTest, DirectoryIsLeftOutSilently) {
  makeLists({"b", "a"});
  makeDirectory(path("listorder"));
  EXPECT_THAT(found(), ElementsAre("a", "b"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(OrderFileTest, FifoIsNotWaitedFor) {
  makeLists({"b", "a"});
  makeFifo(path("listorder"));
  EXPECT_THAT(found(), ElementsAre("a", "b"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(OrderFileTest, LinkIsFollowed) {
  makeLists({"b", "a"});
  writeFile(path("elsewhere"), list("b") + "\n" + list("a") + "\n");
  makeLink("elsewhere", path("listorder"));
  EXPECT_THAT(found(), ElementsAre("b", "a"));
}

TEST_F(OrderFileTest, DanglingLinkIsNotAnOrderFile) {
  makeLists({"b", "a"});
  makeLink("missing", path("listorder"));
  EXPECT_THAT(found(), ElementsAre("a", "b"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(OrderFileTest, IsReadAgainByEveryCall) {
  makeLists({"a", "b"});
  writeOrder(list("b") + "\n" + list("a") + "\n");
  EXPECT_THAT(found(), ElementsAre("b", "a"));
  writeOrder(list("a") + "\n" + list("b") + "\n");
  EXPECT_THAT(found(), ElementsAre("a", "b"));
}

TEST_F(OrderFileTest, IsClosed) {
  makeLists({"a"});
  writeOrder(list("a") + "\n");
  int const before = openDescriptors();
  (void)found();
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(OrderFileTest, OfThePatternsDirectoryHasNoEffect) {
  makeLists({"b", "a"});
  writeOrder(list("b") + "\n" + list("a") + "\n");
  TemporaryDirectory const other;
  EXPECT_THAT(glob(other.path(), path("wam.full.*.list")),
              ElementsAre(path(list("a")), path(list("b"))));
}

TEST_F(OrderFileTest, NamesOnlyFilesOfTheSetsDirectory) {
  makeLists({"b", "a"});
  TemporaryDirectory const other;
  writeFile(other / "listorder", list("b") + "\n" + list("a") + "\n");
  EXPECT_THAT(glob(other.path(), path("wam.full.*.list")),
              ElementsAre(path(list("a")), path(list("b"))));
}

TEST_F(OrderFileTest, IsTheOneBelowTheDirectoryAsItIsSpelt) {
  makeLists({"b", "a"});
  writeOrder(list("b") + "\n" + list("a") + "\n");
  std::string const slash = _directory.path() + "/";
  EXPECT_THAT(glob(slash, slash + "wam.*.list"), ElementsAre(path(list("a")), path(list("b"))));
  EXPECT_THAT(glob(slash, slash + "/wam.*.list"),
              ElementsAre(slash + "/" + list("b"), slash + "/" + list("a")));
}

}  // namespace
