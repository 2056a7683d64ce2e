// Who else could change a directory, or exchange it.

#include "common/directory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "common/failure.h"
#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

class RequireOwnTest : public ::testing::Test {
 protected:
  static std::string refusal(const std::string& path) {
    try {
      tool::requireOwn(path);
      return "";
    } catch (const tool::Failure& failure) {
      EXPECT_EQ(failure.status(), tool::STATUS_NOT_LOADED);
      return failure.what();
    }
  }

  TemporaryDirectory directory;
};

}  // namespace

TEST_F(RequireOwnTest, TheCallersOwnDirectoriesServe) {
  makeDirectory(directory / "a/b");
  EXPECT_EQ(refusal(directory / "a/b"), "");
  EXPECT_EQ(refusal(directory / "a/none/yet"), "");
}

TEST_F(RequireOwnTest, WhatOthersCanWriteToDoesNot) {
  std::string const home = directory / "a/home";
  std::string const start = "'" + home + "' is not safe to use";
  makeDirectory(home);
  changeMode(home, 0777);
  EXPECT_EQ(refusal(home), start + " because it can be written by others");
  changeMode(home, 0775);
  EXPECT_EQ(refusal(home), start + " because it can be written by its group");
  changeMode(home, 0755);
  changeMode(directory / "a", 0777);
  EXPECT_EQ(refusal(home), start + ": '" + (directory / "a") + "' can be written by others");
  EXPECT_NE(refusal(directory / "a/none/yet"), "");
  changeMode(directory / "a", 01777);
  EXPECT_EQ(refusal(home), "") << "nobody else can take away what is in a sticky directory";
}

TEST_F(RequireOwnTest, LinksAreJudgedByWhereTheyLead) {
  makeDirectory(directory / "open/home");
  changeMode(directory / "open", 0777);
  makeDirectory(directory / "safe");
  makeLink("../open", directory / "safe/link");
  makeLink("../open/home", directory / "safe/home");
  EXPECT_NE(refusal(directory / "safe/link/home"), "");
  EXPECT_EQ(refusal(directory / "safe/home"),
            "'" + (directory / "safe/home") +
                "' is not safe to use because it is a symbolic link: name what it leads to");
}

TEST_F(RequireOwnTest, WhatSomebodyElseOwnsDoesNot) {
  makeDirectory(directory / "a/home");
  if (chown((directory / "a").c_str(), 1234, 1234) != 0)
    GTEST_SKIP() << "cannot give a directory away";
  EXPECT_EQ(refusal(directory / "a"),
            "'" + (directory / "a") + "' is not safe to use because it belongs to the user 1234");
  EXPECT_NE(refusal(directory / "a/home"), "");
}
