#include "check/accepted.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include "io/exit_status.h"
#include "support/files.h"
#include "support/temporary_directory.h"

using namespace ZEMO::SELF_CHECK;
using tool::Accepted;

namespace {

CheckError error(CHECK_ERROR kind, const std::string& path, const std::string& actual = "") {
  CheckError error = {};
  error._error = kind;
  error._filePath = path;
  error._actual = actual;
  return error;
}

class AcceptedTest : public testing::Test {
 protected:
  Accepted of(const std::string& lines) const {
    writeFile(directory / "known", lines);
    return Accepted(directory / "known");
  }

  TemporaryDirectory directory;
};

}  // namespace

TEST_F(AcceptedTest, NothingWithoutAFile) {
  EXPECT_FALSE(Accepted().covers(error(CHECK_ERROR_SIZE, "/a")));
  EXPECT_FALSE(of("\n# /a\n").covers(error(CHECK_ERROR_SIZE, "/a")));
}

TEST_F(AcceptedTest, PathCoversItselfAlone) {
  Accepted const accepted = of("/a/b\n");
  EXPECT_TRUE(accepted.covers(error(CHECK_ERROR_HASH, "/a/b")));
  for (const char* const path : {"/a", "/a/", "/a/b/", "/a/b/c", "/a/bc", "a/b", ""})
    EXPECT_FALSE(accepted.covers(error(CHECK_ERROR_HASH, path))) << path;
}

TEST_F(AcceptedTest, PathPrefixCoversAllThatFollowsIt) {
  Accepted const accepted = of("/a/b/\tsize\n");
  for (const char* const path : {"/a/b/", "/a/b/c", "/a/b/c/d"}) {
    EXPECT_TRUE(accepted.covers(error(CHECK_ERROR_SIZE, path))) << path;
    EXPECT_FALSE(accepted.covers(error(CHECK_ERROR_HASH, path))) << path;
  }
  EXPECT_FALSE(accepted.covers(error(CHECK_ERROR_SIZE, "/a/b")));
}

TEST_F(AcceptedTest, LinesForOnePathAddUp) {
  Accepted const accepted = of("/a\tsize\n/a\tmissing\n/\towner\n");
  EXPECT_TRUE(accepted.covers(error(CHECK_ERROR_SIZE, "/a")));
  EXPECT_TRUE(accepted.covers(error(CHECK_ERROR_NOT_EXIST, "/a")));
  EXPECT_TRUE(accepted.covers(error(CHECK_ERROR_OWNER, "/a")));
  EXPECT_FALSE(accepted.covers(error(CHECK_ERROR_GROUP, "/a")));
}

TEST_F(AcceptedTest, StrayMemberHasItsOwnPath) {
  Accepted const accepted = of("/d/x\tstray\n");
  EXPECT_TRUE(accepted.covers(error(CHECK_ERROR_UNKNOWN_FILE, "/d", "x")));
  EXPECT_FALSE(accepted.covers(error(CHECK_ERROR_UNKNOWN_FILE, "/d/x", "")));
  EXPECT_FALSE(accepted.covers(error(CHECK_ERROR_UNKNOWN_FILE, "/d", "y")));
  EXPECT_TRUE(of("/d/\n").covers(error(CHECK_ERROR_UNKNOWN_FILE, "/d", "x")));
  EXPECT_FALSE(of("/d\n").covers(error(CHECK_ERROR_UNKNOWN_FILE, "/d", "x")));
  EXPECT_EQ(tool::pathOf(error(CHECK_ERROR_UNKNOWN_FILE, "/", "x")), "/x");
}

TEST_F(AcceptedTest, HookAcceptsAnEntryAsAWhole) {
  Accepted const accepted = of("/a\tsize,hash\n");
  FileList::Hook const hook = accepted.hook();
  auto entry = boost::make_shared<ProtectedFile>("/a\t-\t-\t-\t-\t-\t-");
  entry->_errors.push_back(new CheckError(error(CHECK_ERROR_SIZE, "/a")));
  bool isChanged = true;
  EXPECT_EQ(hook(entry, isChanged), 0);
  EXPECT_FALSE(isChanged);
  entry->_errors.push_back(new CheckError(error(CHECK_ERROR_OWNER, "/a")));
  isChanged = true;
  EXPECT_EQ(hook(entry, isChanged), 0);
  EXPECT_TRUE(isChanged);
}

TEST_F(AcceptedTest, WrongLinesAreWrongUsage) {
  for (const char* const line : {"a", "/a\t", "/a\tno", "/a\tunknown", "/a\tnot exist", "/a\\1"})
    EXPECT_THROW(of(line), tool::UsageError) << line;
}
