#include "sets/sets.h"

#include "io/exit_status.h"
#include "io/paths.h"
#include "support/files.h"
#include "support/private_root.h"
#include "support/temporary_directory.h"

using namespace tool;

using Words = std::vector<std::string>;

TEST(Sets, Directories) {
  EXPECT_EQ(setDirectory("wam"), "/usr/zemo/selfcheck");
  EXPECT_EQ(setDirectory("WAM"), "/usr/zemo/selfcheck/packages/WAM");
}

TEST(Sets, NamesThatSetsAndModesCanHave) {
  for (const char* const name : {"wam", "a b", "-x", "~", "a\n", "\xff"}) {
    EXPECT_NO_THROW(requireSetName(name)) << name;
    EXPECT_NO_THROW(requireModeName(name)) << name;
  }
  for (const char* const name : {"", "/", "a/b", "../a", "*", "a?", "[", "]", "a\\"}) {
    EXPECT_THROW(requireSetName(name), UsageError) << name;
    EXPECT_THROW(requireModeName(name), UsageError) << name;
  }
  // A list of a mode "full.x" would also be one of the mode "full"; each set has its own directory.
  for (const char* const name : {"a.b", "...", "full.x", "x."}) {
    EXPECT_NO_THROW(requireSetName(name)) << name;
    EXPECT_THROW(requireModeName(name), UsageError) << name;
  }
  EXPECT_THROW(requireSetName("."), UsageError);
  EXPECT_THROW(requireSetName(".."), UsageError);
}

TEST(Sets, ListNames) {
  EXPECT_EQ(listName("/x/wam.full.base.list", "wam", "full"), "base");
  EXPECT_EQ(listName("wam.full.a.b.list", "wam", "full"), "a.b");
  EXPECT_EQ(listName("wam.full..list", "wam", "full"), "");
  EXPECT_TRUE(isNamedLikeListOf("wam.full..list", "wam", "full"));
  for (const char* const name : {"wam.full.list", "wam.quick.a.list", "wam.full.a.lis",
                                 "xwam.full.a.list", "wam.full.a.list.asc", "", "wam.full.a.list/"})
    EXPECT_FALSE(isNamedLikeListOf(name, "wam", "full")) << name;
  EXPECT_EQ(fileName("/a/b"), "b");
  EXPECT_EQ(fileName("b"), "b");
  EXPECT_EQ(fileName("/a/"), "");
}

TEST(Sets, LastLineGivesTheOrder) {
  auto const positions = orderPositions({"x", "y", "", "x"});
  EXPECT_EQ(positions.at("x"), 4U);
  EXPECT_EQ(positions.at("y"), 2U);
  EXPECT_EQ(positions.count("z"), 0U);
}

class ChosenSetsTest : public PrivateRootTest {};

TEST_F(ChosenSetsTest, NamedOnesOrTheSystems) {
  EXPECT_EQ(chosenSets({}, false).names, Words{"wam"});
  EXPECT_EQ(chosenSets({"b", "a"}, false).names, (Words{"b", "a"}));
  EXPECT_THROW(chosenSets({"a", "*"}, false), UsageError);
  EXPECT_THROW(chosenSets({"a"}, true), UsageError);
}

TEST_F(ChosenSetsTest, AllAreInByteOrder) {
  EXPECT_EQ(chosenSets({}, true).names, Words{"wam"});
  for (const char* const name : {"b", "a", "Z", "wam"})
    makeDirectory(packagesDirectory + "/" + name);
  writeFile(packagesDirectory + "/file", "");
  makeLink("a", packagesDirectory + "/link");
  makeLink("nowhere", packagesDirectory + "/dangling");
  EXPECT_EQ(chosenSets({}, true).names, (Words{"wam", "Z", "a", "b", "dangling", "link"}));
}

TEST_F(ChosenSetsTest, PackagesThatCannotBeReadAreUnknown) {
  EXPECT_EQ(chosenSets({}, true).unknown, "");
  makeLink("nowhere", packagesDirectory);
  EXPECT_EQ(chosenSets({}, true).names, Words{"wam"});
  EXPECT_EQ(chosenSets({}, true).unknown,
            "cannot read '" + packagesDirectory + "': No such file or directory");
  EXPECT_EQ(chosenSets({}, false).unknown, "");
}

TEST_F(ChosenSetsTest, UnexaminedEntriesMayBeSets) {
  makeLink("loop", systemDirectory + "/loop");
  makeDirectory(packagesDirectory);
  makeLink("loop", packagesDirectory + "/loop");
  EXPECT_EQ(chosenSets({}, true).names, (Words{"wam", "loop"}));
}

TEST_F(ChosenSetsTest, DirectoryWithAnotherNameIsNamedButHasNoLists) {
  makeDirectory(packagesDirectory + "/a]");
  writeFile(packagesDirectory + "/a]/a].full.x.list", "");
  EXPECT_EQ(chosenSets({}, true).names, (Words{"wam", "a]"}));
  EXPECT_FALSE(canNameSet("a]"));
  EXPECT_EQ(listsOf("a]", "full"), Words());
}

TEST_F(ChosenSetsTest, ListsAreInTheOrderOfTheirLines) {
  for (const char* const name : {"a", "b", "c"})
    writeFile(systemDirectory + "/wam.full." + name + ".list", "");
  writeFile(systemDirectory + "/listorder", "wam.full.b.list\nwam.full.a.list\n");
  EXPECT_EQ(orderLines(systemDirectory), (Words{"wam.full.b.list", "wam.full.a.list"}));
  EXPECT_EQ(listsOf("wam", "full"),
            (Words{systemDirectory + "/wam.full.c.list", systemDirectory + "/wam.full.b.list",
                   systemDirectory + "/wam.full.a.list"}));
  EXPECT_EQ(orderLines("/nowhere"), Words());
}

TEST(OrderLines, AreThoseOfTheFile) {
  TemporaryDirectory const directory;
  EXPECT_TRUE(tool::orderLines(directory.path()).empty());
  writeFile(directory / "listorder", "a\n\nb\r\nc");
  EXPECT_EQ(tool::orderLines(directory.path()), (std::vector<std::string>{"a", "", "b\r", "c"}));
}

// Otherwise, lists would be reported as not named.
TEST(OrderLines, ThatCannotBeReadAreAFailure) {
  TemporaryDirectory const directory;
  writeFile(directory / "listorder", "a\n");
  changeMode(directory / "listorder", 0);
  WithoutFileCapabilities const asAnybody;
  EXPECT_THROW(tool::orderLines(directory.path()), tool::Failure);
}

TEST(OrderLines, AFifoIsNotWaitedFor) {
  TemporaryDirectory const directory;
  makeFifo(directory / "listorder");
  EXPECT_TRUE(tool::orderLines(directory.path()).empty());
}
