#include <gtest/gtest.h>
#include <zemo/core.h>

#include <string>

#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

class FileExist : public ::testing::Test {
 protected:
  bool exists(const std::string& name) const { return VLIBFileExist(at(name).c_str()) != 0; }
  std::string at(const std::string& name) const { return _directory / name; }

 private:
  TemporaryDirectory _directory;
};

TEST_F(FileExist, IsOneForRegularFile) {
  writeFile(at("file"), "");
  EXPECT_EQ(VLIBFileExist(at("file").c_str()), 1);
}

TEST_F(FileExist, IsOneForDirectory) {
  makeDirectory(at("directory"));
  EXPECT_EQ(VLIBFileExist(at("directory").c_str()), 1);
}

TEST_F(FileExist, IsOneForFifoWithoutWaitingForAWriter) {
  makeFifo(at("fifo"));
  EXPECT_TRUE(exists("fifo"));
}

TEST_F(FileExist, IsOneForDevice) {
  EXPECT_EQ(VLIBFileExist("/dev/null"), 1);
}

TEST_F(FileExist, IsZeroForMissingFile) {
  EXPECT_EQ(VLIBFileExist(at("missing").c_str()), 0);
}

TEST_F(FileExist, FollowsLink) {
  writeFile(at("file"), "");
  makeLink("file", at("link"));
  EXPECT_TRUE(exists("link"));
}

TEST_F(FileExist, IsZeroForLinkToNothing) {
  makeLink("missing", at("link"));
  EXPECT_FALSE(exists("link"));
}

TEST_F(FileExist, IsZeroForLinkToItself) {
  makeLink("link", at("link"));
  EXPECT_FALSE(exists("link"));
}

TEST_F(FileExist, IsZeroBelowARegularFile) {
  writeFile(at("file"), "");
  EXPECT_FALSE(exists("file/member"));
}

TEST_F(FileExist, IsOneForFileThatCannotBeRead) {
  writeFile(at("file"), "", 0);
  WithoutFileCapabilities const unable;
  EXPECT_TRUE(exists("file"));
}

TEST_F(FileExist, IsZeroInDirectoryThatCannotBeSearched) {
  makeDirectory(at("directory"));
  writeFile(at("directory/file"), "");
  changeMode(at("directory"), 0);
  {
    WithoutFileCapabilities const unable;
    EXPECT_FALSE(exists("directory/file"));
  }
  changeMode(at("directory"), 0755);
  EXPECT_TRUE(exists("directory/file"));
}

TEST_F(FileExist, IsZeroForNull) {
  EXPECT_EQ(VLIBFileExist(nullptr), 0);
}

TEST_F(FileExist, IsZeroForEmptyPath) {
  EXPECT_EQ(VLIBFileExist(""), 0);
}

TEST_F(FileExist, IsZeroForPathThatIsTooLong) {
  EXPECT_EQ(VLIBFileExist(std::string(5000, 'x').c_str()), 0);
}

TEST_F(FileExist, LeavesErrorCodeAlone) {
  VLIBErrSet(5);
  EXPECT_EQ(VLIBFileExist("/"), 1);
  EXPECT_FALSE(exists("missing"));
  EXPECT_EQ(VLIBFileExist(nullptr), 0);
  EXPECT_EQ(VLIBErrGet(), 5);
}

}  // namespace
