#include "sets/items.h"

#include <gtest/gtest.h>

#include "io/exit_status.h"

using namespace ZEMO::SELF_CHECK;

TEST(Items, NamesAndBits) {
  EXPECT_EQ(tool::itemsNamed({"size"}), CHECK_ITEM_SIZE);
  EXPECT_EQ(tool::itemsNamed({"owner"}), CHECK_ITEM_OWNER);
  EXPECT_EQ(tool::itemsNamed({"group"}), CHECK_ITEM_GROUP);
  EXPECT_EQ(tool::itemsNamed({"type"}), CHECK_ITEM_TYPE);
  EXPECT_EQ(tool::itemsNamed({"permission"}), CHECK_ITEM_PERMISSION);
  EXPECT_EQ(tool::itemsNamed({"hash"}), CHECK_ITEM_HASH);
  EXPECT_EQ(tool::itemsNamed({"hash", "size", "hash"}), CHECK_ITEM_HASH | CHECK_ITEM_SIZE);
  EXPECT_EQ(tool::namesOf(tool::itemsNamed({"all"})),
            (std::vector<std::string>{"size", "owner", "group", "type", "permission", "hash"}));
  EXPECT_EQ(tool::namesOf(tool::itemsNamed({"hash", "size"})),
            (std::vector<std::string>{"size", "hash"}));
}

TEST(Items, OtherNamesAreWrongUsage) {
  for (const char* const name : {"", "Size", "size ", "missing"})
    EXPECT_THROW(tool::itemsNamed({"size", name}), tool::UsageError) << name;
}

TEST(Items, EveryKindHasAName) {
  const char* const names[] = {"unknown", "size",    "hash",    "type",  "permission", "owner",
                               "group",   "unknown", "missing", "stray", "unknown"};
  for (int kind = 0; kind <= 10; ++kind)
    EXPECT_EQ(tool::kindName(static_cast<CHECK_ERROR>(kind)), names[kind]) << kind;
}
