// How the text of each attribute is read and shown.

#include <sstream>

#include "attribute_check_fixture.h"
#include "support/bound_socket.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Size.

TEST_F(AttributeCheckTest, SizeIsReadAsADecimalPrefix) {
  for (const char* const text : {"7", "007", "+7", " 7", " \n +7", "7 ", "7abc", "7.5", "7-"})
    EXPECT_THAT(checkSize(text), IsEmpty()) << text;
}

TEST_F(AttributeCheckTest, SizeThatDiffersIsShownVerbatim) {
  for (const char* const text : {"8", "-7", "+ 7", "- 7", "0x7", "70", "abc", "", " "})
    EXPECT_THAT(checkSize(text), ElementsAre(error("size", text, "7")));
}

TEST_F(AttributeCheckTest, SizeWithoutDigitsIsZero) {
  writeFile(path, "");
  for (const char* const text : {"0", "-0", "abc", "", " ", "x7"})
    EXPECT_THAT(checkSize(text), IsEmpty()) << text;
}

TEST_F(AttributeCheckTest, SizeHasSixtyFourBits) {
  script(S_IFREG | 0644, 0, 0, 5'000'000'000);
  EXPECT_THAT(checkSize("5000000000"), IsEmpty());
  EXPECT_THAT(checkSize("705032704"), ElementsAre(error("size", "705032704", "5000000000")));
}

TEST_F(AttributeCheckTest, SizeBeyondAllNumbersIsTheLargest) {
  EXPECT_THAT(checkSize("18446744073709551623"),
              ElementsAre(error("size", "18446744073709551623", "7")));
  script(S_IFREG | 0644, 0, 0, INT64_MAX);
  EXPECT_THAT(checkSize("99999999999999999999"), IsEmpty());
}

TEST_F(AttributeCheckTest, SizeIsComparedForFilesAndLinksOnly) {
  for (mode_t const format : {S_IFREG, S_IFLNK}) {
    script(format);
    EXPECT_THAT(checkSize("8"), ElementsAre(error("size", "8", "7"))) << std::oct << format;
  }
  for (mode_t const format : {S_IFDIR, S_IFBLK, S_IFCHR, S_IFSOCK, S_IFIFO, 0}) {
    script(format);
    EXPECT_THAT(checkSize("8"), IsEmpty()) << std::oct << format;
  }
}

TEST_F(AttributeCheckTest, SizeOfDirectoryIsNotCompared) {
  makeDirectory(in("directory"));
  EXPECT_THAT(check(entryLine(in("directory"), "1", "-", "d", "-", "-", "-")), IsEmpty());
}

// Owner and group.

TEST_F(AttributeCheckTest, IdsAreReadAsADecimalPrefix) {
  script(S_IFREG | 0644, 1026, 1026);
  for (const char* const text : {"1026", "01026", "+1026", " 1026", "1026x", "1026 7"}) {
    EXPECT_THAT(checkOwner(text), IsEmpty()) << text;
    EXPECT_THAT(checkGroup(text), IsEmpty()) << text;
  }
}

TEST_F(AttributeCheckTest, IdsThatDifferAreShownVerbatim) {
  script(S_IFREG | 0644, 1026, 100);
  for (const char* const text : {"1", "0x1026", "-1026", "root", "", "$pkg", "10260"}) {
    EXPECT_THAT(checkOwner(text), ElementsAre(error("owner", text, "1026")));
    EXPECT_THAT(checkGroup(text), ElementsAre(error("group", text, "100")));
  }
}

TEST_F(AttributeCheckTest, IdWithoutDigitsIsZero) {
  script(S_IFREG | 0644, 0, 0);
  for (const char* const text : {"0", "", "root", "$pkg"}) {
    EXPECT_THAT(checkOwner(text), IsEmpty()) << text;
    EXPECT_THAT(checkGroup(text), IsEmpty()) << text;
  }
}

TEST_F(AttributeCheckTest, OnlyTheLow32BitsOfIdsCount) {
  script(S_IFREG | 0644, 0, 0);
  EXPECT_THAT(checkOwner("4294967296"), IsEmpty());
  EXPECT_THAT(checkGroup("4294967296"), IsEmpty());
  script(S_IFREG | 0644, 1, 2);
  EXPECT_THAT(checkOwner("4294967297"), IsEmpty());
  EXPECT_THAT(checkGroup("8589934594"), IsEmpty());
  EXPECT_THAT(checkOwner("4294967296"), ElementsAre(error("owner", "4294967296", "1")));
}

TEST_F(AttributeCheckTest, NegativeAndOversizedIdsAreTheLargest) {
  script(S_IFREG | 0644, 4294967295U, 4294967295U);
  for (const char* const text : {"-1", "4294967295", "18446744073709551616"}) {
    EXPECT_THAT(checkOwner(text), IsEmpty()) << text;
    EXPECT_THAT(checkGroup(text), IsEmpty()) << text;
  }
}

TEST_F(AttributeCheckTest, IdsAreShownUnsigned) {
  script(S_IFREG | 0644, 4294967294U, 2147483648U);
  EXPECT_THAT(checkOwner("5"), ElementsAre(error("owner", "5", "4294967294")));
  EXPECT_THAT(checkGroup("5"), ElementsAre(error("group", "5", "2147483648")));
}

TEST_F(AttributeCheckTest, IdsAreComparedForAllFormatsButLinks) {
  for (mode_t const format : {S_IFREG, S_IFDIR, S_IFBLK, S_IFCHR, S_IFSOCK, S_IFIFO, 0}) {
    script(format, 1, 2);
    EXPECT_THAT(checkOwner("3"), ElementsAre(error("owner", "3", "1"))) << std::oct << format;
    EXPECT_THAT(checkGroup("3"), ElementsAre(error("group", "3", "2"))) << std::oct << format;
  }
  script(S_IFLNK, 1, 2);
  EXPECT_THAT(checkOwner("3"), IsEmpty());
  EXPECT_THAT(checkGroup("3"), IsEmpty());
}

// Type.

TEST_F(AttributeCheckTest, TypeIsOneLetterOfTheFormat) {
  makeDirectory(in("directory"));
  makeLink("file", in("link"));
  makeFifo(in("fifo"));
  bindSocket(in("socket"));
  EXPECT_THAT(checkType(path, "f"), IsEmpty());
  EXPECT_THAT(checkType(in("directory"), "d"), IsEmpty());
  EXPECT_THAT(checkType(in("link"), "l"), IsEmpty());
  EXPECT_THAT(checkType(in("fifo"), "p"), IsEmpty());
  EXPECT_THAT(checkType(in("socket"), "s"), IsEmpty());
  EXPECT_THAT(checkType("/dev/null", "c"), IsEmpty());
}

TEST_F(AttributeCheckTest, TypeOfBlockDeviceIsB) {
  script(S_IFBLK | 0660);
  EXPECT_THAT(checkType(path, "b"), IsEmpty());
  EXPECT_THAT(checkType(path, "f"), ElementsAre(error("type", "f", "b")));
}

TEST_F(AttributeCheckTest, TypeOfUnknownFormatIsX) {
  script(0644);
  EXPECT_THAT(checkType(path, "x"), IsEmpty());
  EXPECT_THAT(checkType(path, "f"), ElementsAre(error("type", "f", "x")));
}

TEST_F(AttributeCheckTest, TypeIsComparedAsAWholeText) {
  for (const char* const text : {"F", "f ", " f", "ff", "", "d", "regular"})
    EXPECT_THAT(checkType(path, text), ElementsAre(error("type", text, "f")));
}

TEST_F(AttributeCheckTest, TypeOfLinkIsCompared) {
  makeLink("file", in("link"));
  EXPECT_THAT(checkType(in("link"), "f"), ElementsAre(in("link") + " type expect[f] but get[l]"));
}

TEST_F(AttributeCheckTest, UncheckedTypeOfFifoIsNotAnError) {
  makeFifo(in("fifo"));
  EXPECT_THAT(check(entryLine(in("fifo"), "-", "-", "-", "-", "-", "-"), CHECK_ITEM_TYPE),
              IsEmpty());
}

// Permission.

TEST_F(AttributeCheckTest, PermissionIsReadAsAnOctalPrefix) {
  for (const char* const text : {"644", "0644", "00644", "+644", " 644", "6448", "6449", "644x"})
    EXPECT_THAT(checkPermission(text), IsEmpty()) << text;
}

TEST_F(AttributeCheckTest, PermissionThatDiffersIsShownVerbatim) {
  for (const char* const text : {"600", "0755", "84", "rw-r--r--", "", "6844", "420"})
    EXPECT_THAT(checkPermission(text), ElementsAre(error("permission", text, "644")));
}

TEST_F(AttributeCheckTest, SetIdAndStickyBitsBelongToThePermission) {
  for (mode_t const mode : {04755, 02755, 01755, 07777}) {
    changeMode(path, mode);
    std::string const text = (std::ostringstream() << std::oct << mode).str();
    EXPECT_THAT(checkPermission(text), IsEmpty()) << text;
    EXPECT_THAT(checkPermission("0644"), ElementsAre(error("permission", "0644", text)));
  }
}

TEST_F(AttributeCheckTest, PermissionIsShownWithoutLeadingZero) {
  changeMode(path, 0040);
  EXPECT_THAT(checkPermission("0644"), ElementsAre(error("permission", "0644", "40")));
  changeMode(path, 0);
  EXPECT_THAT(checkPermission("0644"), ElementsAre(error("permission", "0644", "0")));
}

TEST_F(AttributeCheckTest, PermissionWithoutDigitsIsZero) {
  changeMode(path, 0);
  EXPECT_THAT(checkPermission("none"), IsEmpty());
}

TEST_F(AttributeCheckTest, PermissionWithFormatBitsNeverMatches) {
  EXPECT_THAT(checkPermission("100644"), ElementsAre(error("permission", "100644", "644")));
}

TEST_F(AttributeCheckTest, OnlyTheLow32BitsOfThePermissionCount) {
  EXPECT_THAT(checkPermission("40000000644"), IsEmpty());
}

TEST_F(AttributeCheckTest, PermissionOfDirectoryIsCompared) {
  makeDirectory(in("directory"));
  changeMode(in("directory"), 0750);
  EXPECT_THAT(check(entryLine(in("directory"), "-", "-", "d", "755", "-", "-")),
              ElementsAre(in("directory") + " permission expect[755] but get[750]"));
}

}  // namespace
