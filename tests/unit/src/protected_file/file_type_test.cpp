#include "protected_file/comparison.h"

#include <gtest/gtest.h>

namespace {

using ZEMO::SELF_CHECK::typeLetter;

TEST(TypeLetter, IsOneLetterForEachFormat) {
  EXPECT_EQ(typeLetter(S_IFREG), 'f');
  EXPECT_EQ(typeLetter(S_IFDIR), 'd');
  EXPECT_EQ(typeLetter(S_IFLNK), 'l');
  EXPECT_EQ(typeLetter(S_IFBLK), 'b');
  EXPECT_EQ(typeLetter(S_IFCHR), 'c');
  EXPECT_EQ(typeLetter(S_IFSOCK), 's');
  EXPECT_EQ(typeLetter(S_IFIFO), 'p');
}

TEST(TypeLetter, IsXForEveryOtherFormat) {
  for (mode_t const format :
       {0000000, 0030000, 0050000, 0070000, 0110000, 0130000, 0150000, 0160000, 0170000})
    EXPECT_EQ(typeLetter(format), 'x') << std::oct << format;
}

TEST(TypeLetter, DoesNotDependOnThePermission) {
  for (mode_t const permission : {0, 0644, 01777, 07777}) {
    EXPECT_EQ(typeLetter(S_IFREG | permission), 'f') << std::oct << permission;
    EXPECT_EQ(typeLetter(S_IFLNK | permission), 'l') << std::oct << permission;
    EXPECT_EQ(typeLetter(permission), 'x') << std::oct << permission;
  }
}

}  // namespace
