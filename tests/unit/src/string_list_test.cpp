#include "string_list.h"

#include <gtest/gtest.h>

namespace {

using ZEMO::SELF_CHECK::itemOf;

TEST(StringListItem, IsTheListsText) {
  VLIBSzList* list = VLIBSzListAlloc(2);
  ASSERT_EQ(VLIBSzListPush(&list, "one"), 1);
  ASSERT_EQ(VLIBSzListPush(&list, ""), 2);
  EXPECT_EQ(itemOf(*list, 0), "one");
  EXPECT_EQ(itemOf(*list, 1), "");
  VLIBSzListFree(list);
}

TEST(StringListItem, IsEmptyWhereTheListHasNone) {
  VLIBSzList* const list = VLIBSzListAlloc(2);
  EXPECT_EQ(itemOf(*list, 0), "");
  EXPECT_EQ(itemOf(*list, -1), "");
  VLIBSzListFree(list);
}

}  // namespace
