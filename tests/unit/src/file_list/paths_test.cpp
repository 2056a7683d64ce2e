#include "file_list/paths.h"

#include <gtest/gtest.h>

namespace {

using namespace ZEMO::SELF_CHECK;

constexpr char packages[] = "/usr/zemo/selfcheck/packages/";

TEST(ListDirFor, SystemSetHasTheDirectoryItself) {
  EXPECT_EQ(listDirFor("wam"), "/usr/zemo/selfcheck");
}

TEST(ListDirFor, AnyOtherNameIsAPackages) {
  for (const char* const name : {"demo", "WAM", "Wam", "wam ", " wam", "wam/", "wamx", "wa"})
    EXPECT_EQ(listDirFor(name), packages + std::string(name)) << "[" << name << "]";
}

TEST(ListDirFor, NameThatContinuesAfterANulIsAPackages) {
  std::string const name("wam\0x", 5);
  EXPECT_EQ(listDirFor(name), packages + name);
}

TEST(ListDirFor, EmptyNameGivesThePackagesDirectoryWithItsSlash) {
  EXPECT_EQ(listDirFor(""), packages);
  EXPECT_EQ(listDirFor("").size(), 29U);
}

TEST(ListDirFor, NameStaysUnchanged) {
  for (const char* const name : {"../", "../../etc", "a/../b", "/etc", "a//b", ".", "*", "\t\n"})
    EXPECT_EQ(listDirFor(name), packages + std::string(name)) << "[" << name << "]";
}

TEST(IsDirectChild, OneComponentAfterTheDirectoryIsAChild) {
  EXPECT_TRUE(isDirectChild("/a/b", "/a/b/c"));
  EXPECT_TRUE(isDirectChild("/a/b", "/a/b/c.d e"));
}

TEST(IsDirectChild, NameThatOnlyBeginsLikeTheDirectoryIsTakenForAChild) {
  EXPECT_TRUE(isDirectChild("/a/b", "/a/bc"));
  EXPECT_TRUE(isDirectChild("/a/b", "/a/bcd"));
}

TEST(IsDirectChild, TheDirectoryIsNotItsOwnChild) {
  EXPECT_FALSE(isDirectChild("/a/b", "/a/b"));
  EXPECT_FALSE(isDirectChild("/a/b/", "/a/b/"));
}

TEST(IsDirectChild, DeeperPathIsNot) {
  EXPECT_FALSE(isDirectChild("/a/b", "/a/b/c/d"));
  EXPECT_FALSE(isDirectChild("/a/b", "/a/bc/d"));
  EXPECT_FALSE(isDirectChild("/a/b", "/a/b/c/"));
  EXPECT_FALSE(isDirectChild("/a/b", "/a/bc/"));
}

TEST(IsDirectChild, PathThatBeginsOtherwiseIsNot) {
  EXPECT_FALSE(isDirectChild("/a/b", "/a/x"));
  EXPECT_FALSE(isDirectChild("/a/b", "/a/x/c"));
  EXPECT_FALSE(isDirectChild("/a/b", "/A/b/c"));
  EXPECT_FALSE(isDirectChild("/a/b", "x/a/b/c"));
}

TEST(IsDirectChild, ShorterPathIsNot) {
  EXPECT_FALSE(isDirectChild("/a/b", "/a/"));
  EXPECT_FALSE(isDirectChild("/a/b", "/a"));
  EXPECT_FALSE(isDirectChild("/a/b", ""));
}

TEST(IsDirectChild, CharacterRightAfterTheDirectoryIsNotTested) {
  EXPECT_TRUE(isDirectChild("/a/b", "/a/b/"));
  EXPECT_TRUE(isDirectChild("/a/b", "/a/b\xff"));
  EXPECT_FALSE(isDirectChild("/a/b", "/a/b//"));
  EXPECT_FALSE(isDirectChild("/a/b", "/a/b//c"));
}

TEST(IsDirectChild, DirectoryMayEndInASlash) {
  EXPECT_TRUE(isDirectChild("/a/b/", "/a/b/c"));
  EXPECT_TRUE(isDirectChild("/a/b/", "/a/b//"));
  EXPECT_TRUE(isDirectChild("/a/b/", "/a/b//c"));
  EXPECT_FALSE(isDirectChild("/a/b/", "/a/b/c/d"));
  EXPECT_FALSE(isDirectChild("/a/b/", "/a/bc"));
}

TEST(IsDirectChild, EmptyDirectoryIsAPrefixOfEverything) {
  EXPECT_TRUE(isDirectChild("", "/"));
  EXPECT_TRUE(isDirectChild("", "x"));
  EXPECT_TRUE(isDirectChild("", "/x"));
  EXPECT_FALSE(isDirectChild("", "/x/y"));
  EXPECT_FALSE(isDirectChild("", "x/y"));
  EXPECT_FALSE(isDirectChild("", ""));
}

TEST(IsDirectChild, RootHasMembers) {
  EXPECT_TRUE(isDirectChild("/", "/x"));
  EXPECT_TRUE(isDirectChild("/", "//"));
  EXPECT_FALSE(isDirectChild("/", "/x/y"));
}

TEST(IsDirectChild, AlsoComparesBytesAfterANul) {
  std::string const directory("/a\0b", 4);
  EXPECT_TRUE(isDirectChild(directory, directory + "/c"));
  EXPECT_FALSE(isDirectChild(directory, std::string("/a\0x/c", 6)));
}

}  // namespace
