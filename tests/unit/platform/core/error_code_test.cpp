#include <gtest/gtest.h>
#include <zemo/core.h>

#include <climits>
#include <thread>

namespace {

TEST(ErrorCode, IsWhatWasSet) {
  for (int const code : {VLIB_ERR_NONE + 0, 0xD900, -1, INT_MIN, INT_MAX}) {
    VLIBErrSet(code);
    EXPECT_EQ(VLIBErrGet(), code);
  }
}

TEST(ErrorCode, StaysUntilItIsSetAgain) {
  VLIBErrSet(5);
  EXPECT_EQ(VLIBErrGet(), 5);
  EXPECT_EQ(VLIBErrGet(), 5);
}

TEST(ErrorCode, IsNoneInNewThread) {
  VLIBErrSet(5);
  int code = -1;
  std::thread([&] { code = VLIBErrGet(); }).join();
  EXPECT_EQ(code, VLIB_ERR_NONE);
}

TEST(ErrorCode, BelongsToTheThread) {
  VLIBErrSet(5);
  std::thread([] { VLIBErrSet(6); }).join();
  EXPECT_EQ(VLIBErrGet(), 5);
}

TEST(ErrorCode, OfAFailureIsSetInItsOwnThreadOnly) {
  VLIBErrSet(5);
  int code = 0;
  std::thread([&] {
    EXPECT_LT(VLIBSzListPush(nullptr, "item"), 0);
    code = VLIBErrGet();
  }).join();
  EXPECT_EQ(code, VLIB_ERR_BAD_PARAMETER);
  EXPECT_EQ(VLIBErrGet(), 5);
}

TEST(ErrorCode, IsLeftAloneBySuccess) {
  VLIBErrSet(5);
  VLIBSzList* list = VLIBSzListAlloc(1);
  EXPECT_EQ(VLIBSzListPush(&list, "one"), 1);
  EXPECT_EQ(VLIBStrTok("one,two", ",", &list), 2);
  EXPECT_STREQ(VLIBSzListGet(list, 1), "two");
  VLIBSzListFree(list);
  EXPECT_EQ(VLIBFileExist("/"), 1);
  EXPECT_EQ(VLIBErrGet(), 5);
}

TEST(ErrorCode, HasTheNumbersThatCallersCompareWith) {
  EXPECT_EQ(VLIB_ERR_NONE, 0);
  EXPECT_EQ(VLIB_ERR_OUT_OF_MEMORY, 0x0200);
  EXPECT_EQ(VLIB_ERR_BAD_PARAMETER, 0x0D00);
  EXPECT_EQ(VLIB_ERR_PROGRAM_FAILED, 0x2200);
}

}  // namespace
