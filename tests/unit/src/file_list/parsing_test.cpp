#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <zemo/selfcheck/file_list.h>

#include <algorithm>
#include <cerrno>

#include "parsing_fixture.h"
#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_files.h"
#include "support/files.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class HeaderTest : public ParsingTest {
 protected:
  ~HeaderTest() override { scriptedReads = {}; }
};

// The first two lines.

TEST_F(HeaderTest, ListOfTwoLinesAddsNothing) {
  for (const char* const content : {"WAM_SELF_CHECK\nfree text\n", "WAM_SELF_CHECK\nfree text",
                                    "WAM_SELF_CHECK\n\n", "WAM_SELF_CHECK\nWAM_SELF_CHECK"})
    EXPECT_TRUE(parse(content)) << content;
  EXPECT_THAT(paths(), IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(HeaderTest, SecondLineIsNotAnEntry) {
  EXPECT_TRUE(parse("WAM_SELF_CHECK\n" + line("/x") + line("/y")));
  EXPECT_THAT(paths(), ElementsAre("/y"));
}

TEST_F(HeaderTest, SecondLineRemovesNothing) {
  add(line("/x"));
  EXPECT_TRUE(parse("WAM_SELF_CHECK\n" + line("-/x")));
  EXPECT_THAT(paths(), ElementsAre("/x"));
}

TEST_F(HeaderTest, HeaderAloneIsAFormatError) {
  for (const char* const content : {"WAM_SELF_CHECK", "WAM_SELF_CHECK\n"}) {
    clearLog();
    EXPECT_FALSE(parse(content));
    EXPECT_THAT(recordedLog(), ElementsAre(noSecondLine()));
  }
}

TEST_F(HeaderTest, EmptyFileIsAFormatError) {
  EXPECT_FALSE(parse(""));
  EXPECT_THAT(recordedLog(), ElementsAre(badHeader()));
}

TEST_F(HeaderTest, AnyOtherHeaderIsAFormatError) {
  using std::string;
  for (const string& header :
       {string("WAM_SELF_CHECK\r"), string("WAM_SELF_CHECK "), string(" WAM_SELF_CHECK"),
        string("wam_self_check"), string("WAM_SELF_CHECK2"), string("WAM_SELF_CHEC"), string(),
        string("\xef\xbb\xbfWAM_SELF_CHECK"), string("WAM_SELF_CHECK\0", 15)}) {
    clearLog();
    EXPECT_FALSE(parse(header + "\nfree text\n" + line("/x"))) << "[" << header << "]";
    EXPECT_THAT(recordedLog(), ElementsAre(badHeader())) << "[" << header << "]";
  }
  EXPECT_THAT(paths(), IsEmpty());
}

TEST_F(HeaderTest, HeaderInTheSecondLineIsAFormatError) {
  EXPECT_FALSE(parse("\nWAM_SELF_CHECK\nfree text\n"));
  EXPECT_THAT(recordedLog(), ElementsAre(badHeader()));
}

// Lists that cannot be opened or read.

TEST_F(HeaderTest, MissingListIsLoggedWithItsPath) {
  EXPECT_FALSE(_list.parseList(path()));
  EXPECT_THAT(recordedLog(), ElementsAre(notOpened(path())));
}

TEST_F(HeaderTest, EmptyPathIsLogged) {
  EXPECT_FALSE(_list.parseList(""));
  EXPECT_THAT(recordedLog(), ElementsAre(notOpened("")));
}

TEST_F(HeaderTest, UnreadableListIsLoggedWithItsPath) {
  writeFile(path(), "WAM_SELF_CHECK\nfree text\n", 0);
  WithoutFileCapabilities const ordinary;
  EXPECT_FALSE(_list.parseList(path()));
  EXPECT_THAT(recordedLog(), ElementsAre(notOpened(path())));
}

TEST_F(HeaderTest, DirectoryHasNoHeader) {
  makeDirectory(path());
  EXPECT_FALSE(_list.parseList(path()));
  EXPECT_THAT(recordedLog(), ElementsAre(badHeader()));
}

TEST_F(HeaderTest, ReadErrorInTheHeaderIsAFormatError) {
  scriptedReads.goodBytes = 5;
  EXPECT_FALSE(parse("WAM_SELF_CHECK\nfree text\n" + line("/x")));
  EXPECT_THAT(recordedLog(), ElementsAre(badHeader()));
}

TEST_F(HeaderTest, ReadErrorInTheSecondLineIsAFormatError) {
  scriptedReads.goodBytes = 17;
  EXPECT_FALSE(parse("WAM_SELF_CHECK\nfree text\n" + line("/x")));
  EXPECT_THAT(recordedLog(), ElementsAre(noSecondLine()));
}

TEST_F(HeaderTest, ReadErrorAfterTheSecondLineCountsAsTheEnd) {
  std::string const readable = "WAM_SELF_CHECK\nfree text\n" + line("/x");
  scriptedReads.goodBytes = static_cast<long>(readable.size());
  EXPECT_TRUE(parse(readable + line("/y")));
  EXPECT_THAT(paths(), ElementsAre("/x"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(HeaderTest, FailureLeavesTheMapAsItIs) {
  add(line("/x"));
  EXPECT_FALSE(parse("WRONG\nfree text\n" + line("-/x") + line("/y")));
  EXPECT_FALSE(parse("WAM_SELF_CHECK"));
  EXPECT_FALSE(_list.parseList(path() + ".missing"));
  EXPECT_THAT(paths(), ElementsAre("/x"));
}

TEST_F(HeaderTest, EveryExitClosesTheList) {
  int const before = openDescriptors();
  EXPECT_TRUE(parse("WAM_SELF_CHECK\nfree text\n" + line("/x")));
  EXPECT_FALSE(parse("WRONG\nfree text\n"));
  EXPECT_FALSE(parse("WAM_SELF_CHECK"));
  EXPECT_FALSE(FileList("gone", "full").parseList(writeList("x", "")));
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
