#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zemo/core.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/caller.h"

namespace {

using Items = std::vector<std::string>;

class StringListTest : public ::testing::Test {
 protected:
  void SetUp() override { VLIBErrSet(VLIB_ERR_NONE); }
  ~StringListTest() override { VLIBSzListFree(_list); }

  // Replaces the list with a new one that has room for `room` items.
  void alloc(int room) {
    VLIBSzListFree(_list);
    _list = VLIBSzListAlloc(room);
    ASSERT_NE(_list, nullptr);
  }

  int push(const std::string& item) { return VLIBSzListPush(&_list, item.c_str()); }
  int split(const std::string& text, const char* separators) {
    return VLIBStrTok(text.c_str(), separators, &_list);
  }
  const char* get(int index) const { return VLIBSzListGet(_list, index); }

  Items items() const {
    Items all;
    for (int i = 0; i < _list->count; ++i)
      all.emplace_back(get(i));
    return all;
  }

  VLIBSzList* _list = VLIBSzListAlloc(8);
};

// The address sanitizer would find an item written outside the list.
TEST_F(StringListTest, SplitsIntoExactlyAsManyItemsAsThereIsRoomForAndOneMore) {
  for (int const room : {1, 2, 7, 8}) {
    for (int const separators : {room - 1, room}) {
      alloc(room);
      ASSERT_EQ(split(std::string(static_cast<size_t>(separators), ','), ","), separators + 1);
      EXPECT_EQ(items(), Items(static_cast<size_t>(separators) + 1));
      alloc(room);
      ASSERT_EQ(split(std::string(static_cast<size_t>(separators), ','), ";,"), separators + 1);
    }
  }
}

TEST_F(StringListTest, IsEmptyAtFirst) {
  EXPECT_EQ(_list->count, 0);
  EXPECT_EQ(_list->capacity, 8);
  EXPECT_EQ(get(0), nullptr);
}

TEST_F(StringListTest, MayHaveRoomForNothing) {
  alloc(0);
  EXPECT_EQ(_list->capacity, 0);
  EXPECT_EQ(push("item"), 1);
  EXPECT_STREQ(get(0), "item");
}

TEST_F(StringListTest, CannotHaveRoomForLessThanNothing) {
  for (int const room : {-1, INT_MIN}) {
    VLIBErrSet(VLIB_ERR_NONE);
    EXPECT_EQ(VLIBSzListAlloc(room), nullptr);
    EXPECT_EQ(VLIBErrGet(), VLIB_ERR_BAD_PARAMETER);
  }
}

TEST_F(StringListTest, HasItsFieldsInFront) {
  EXPECT_EQ(offsetof(VLIBSzList, capacity), 0U);
  EXPECT_EQ(offsetof(VLIBSzList, count), 4U);
  EXPECT_EQ(sizeof(VLIBSzList::count), 4U);
}

TEST_F(StringListTest, FreesNull) {
  VLIBErrSet(5);
  VLIBSzListFree(nullptr);
  EXPECT_EQ(VLIBErrGet(), 5);
}

TEST_F(StringListTest, GetIsNullOutOfRange) {
  push("first");
  push("second");
  VLIBErrSet(5);
  for (int const index : {-1, 2, 7, 8, INT_MIN, INT_MAX})
    EXPECT_EQ(get(index), nullptr) << index;
  EXPECT_EQ(VLIBErrGet(), 5);
}

TEST_F(StringListTest, GetIsNullForNoList) {
  VLIBErrSet(5);
  EXPECT_EQ(VLIBSzListGet(nullptr, 0), nullptr);
  EXPECT_EQ(VLIBErrGet(), 5);
}

TEST_F(StringListTest, PushCountsItems) {
  EXPECT_EQ(push("first"), 1);
  EXPECT_EQ(push(""), 2);
  EXPECT_EQ(push("first"), 3);
  EXPECT_EQ(_list->count, 3);
  EXPECT_EQ(items(), (Items{"first", "", "first"}));
}

TEST_F(StringListTest, PushCopies) {
  std::string item = "before";
  push(item);
  item = "after.";
  EXPECT_STREQ(get(0), "before");
}

TEST_F(StringListTest, PushKeepsItemsInPlaceWithinCapacity) {
  VLIBSzList* const before = _list;
  for (int i = 0; i < 8; ++i)
    push("item");
  EXPECT_EQ(_list, before);
  EXPECT_EQ(_list->capacity, 8);
}

TEST_F(StringListTest, PushGrowsBeyondCapacity) {
  for (int const room : {0, 1, 3}) {
    alloc(room);
    Items expected;
    for (int i = 0; i < 1000; ++i) {
      expected.push_back("item " + std::to_string(i));
      ASSERT_EQ(push(expected.back()), i + 1);
      ASSERT_GE(_list->capacity, _list->count);
    }
    EXPECT_EQ(items(), expected);
  }
}

// A new list does not take all of a large room at once.
TEST_F(StringListTest, LargeCapacityIsUsedBeforeItGrows) {
  alloc(1024);
  Items expected;
  for (int i = 0; i < 1024; ++i) {
    expected.push_back(std::to_string(i));
    ASSERT_EQ(push(expected.back()), i + 1);
    ASSERT_EQ(_list->capacity, 1024);
  }
  EXPECT_EQ(items(), expected);
  push("one more");
  EXPECT_EQ(_list->capacity, 2048);

  for (std::size_t const count : {500, 1024}) {
    alloc(1024);
    EXPECT_EQ(split(std::string(count - 1, ','), ","), static_cast<int>(count));
    EXPECT_EQ(_list->capacity, 1024);
    EXPECT_EQ(items(), Items(count));
  }
}

// Growing by one item each time would take quadratic time.
TEST_F(StringListTest, PushDoublesTheRoom) {
  for (int i = 0; i < 17; ++i)
    push("item");
  EXPECT_EQ(_list->capacity, 32);
}

TEST_F(StringListTest, PushTakesLongItems) {
  Items const expected = {std::string(1000000, 'a'), "short", std::string(3000000, 'b')};
  for (const std::string& item : expected)
    push(item);
  EXPECT_EQ(items(), expected);
}

TEST_F(StringListTest, PushTakesItemsOfTheListItself) {
  alloc(1);
  push("own item");
  for (int i = 1; i < 100; ++i)
    ASSERT_EQ(VLIBSzListPush(&_list, get(i / 2)), i + 1);
  EXPECT_EQ(items(), Items(100, "own item"));
}

TEST_F(StringListTest, PushTakesEndsOfItemsOfTheListItself) {
  alloc(0);
  push(std::string(50, 'x'));
  Items expected = items();
  for (int i = 0; i < 50; ++i) {
    expected.push_back(expected.back().substr(1));
    ASSERT_EQ(VLIBSzListPush(&_list, get(i) + 1), i + 2);
  }
  EXPECT_EQ(items(), expected);
}

TEST_F(StringListTest, PushTakesItemsThatSplittingMade) {
  split("one,two", ",");
  EXPECT_EQ(VLIBSzListPush(&_list, get(0)), 3);
  EXPECT_EQ(items(), (Items{"one", "two", "one"}));
}

TEST_F(StringListTest, PushRefusesNull) {
  push("item");
  EXPECT_LT(VLIBSzListPush(&_list, nullptr), 0);
  EXPECT_EQ(VLIBErrGet(), VLIB_ERR_BAD_PARAMETER);
  EXPECT_EQ(items(), Items{"item"});
}

TEST_F(StringListTest, PushRefusesNoList) {
  VLIBSzList* none = nullptr;
  EXPECT_LT(VLIBSzListPush(&none, "item"), 0);
  EXPECT_EQ(VLIBErrGet(), VLIB_ERR_BAD_PARAMETER);
  EXPECT_EQ(none, nullptr);

  VLIBErrSet(VLIB_ERR_NONE);
  EXPECT_LT(VLIBSzListPush(nullptr, "item"), 0);
  EXPECT_EQ(VLIBErrGet(), VLIB_ERR_BAD_PARAMETER);
}

TEST_F(StringListTest, SplitsAtSeparators) {
  EXPECT_EQ(split("a\tbc\td", "\t"), 3);
  EXPECT_EQ(_list->count, 3);
  EXPECT_EQ(items(), (Items{"a", "bc", "d"}));
}

TEST_F(StringListTest, AdjacentSeparatorsGiveEmptyItem) {
  EXPECT_EQ(split("a,,b", ","), 3);
  EXPECT_EQ(items(), (Items{"a", "", "b"}));
}

TEST_F(StringListTest, SeparatorsAtTheEndsGiveEmptyItems) {
  EXPECT_EQ(split(",a,", ","), 3);
  EXPECT_EQ(items(), (Items{"", "a", ""}));
}

TEST_F(StringListTest, NothingButSeparatorsGivesEmptyItems) {
  EXPECT_EQ(split("\t\t\t\t\t\t", "\t"), 7);
  EXPECT_EQ(items(), Items(7, ""));
}

TEST_F(StringListTest, EmptyTextIsOneItem) {
  EXPECT_EQ(split("", ","), 1);
  EXPECT_EQ(items(), Items{""});
}

TEST_F(StringListTest, TextWithoutSeparatorIsOneItem) {
  EXPECT_EQ(split("a b", ","), 1);
  EXPECT_EQ(items(), Items{"a b"});
}

TEST_F(StringListTest, EachOfSeveralSeparatorsSplits) {
  EXPECT_EQ(split("a,b;c,;d", ";,"), 5);
  EXPECT_EQ(items(), (Items{"a", "b", "c", "", "d"}));
}

TEST_F(StringListTest, SecondSeparatorMayBeAnyCharacter) {
  for (int c = 1; c < 256; ++c) {
    std::string const separator(1, static_cast<char>(c));
    EXPECT_EQ(split(separator, ("," + separator).c_str()), 2) << c;
    EXPECT_EQ(split(separator, (separator + ",").c_str()), 2) << c;
  }
}

TEST_F(StringListTest, NothingSplitsWithoutSeparators) {
  for (const char* const none : {"", "\0", "\0,"}) {
    EXPECT_EQ(split("a,b", none), 1);
    EXPECT_EQ(items(), Items{"a,b"});
  }
}

TEST_F(StringListTest, BytesBeyondAsciiSplitAndStay) {
  EXPECT_EQ(split("\xC3\xA4\xFF\x80", "\xFF"), 2);
  EXPECT_EQ(items(), (Items{"\xC3\xA4", "\x80"}));
}

TEST_F(StringListTest, SplittingReplacesItems) {
  push("old");
  push("older");
  EXPECT_EQ(split("new", ","), 1);
  EXPECT_EQ(items(), Items{"new"});
}

TEST_F(StringListTest, SplittingAgainIntoFewerItemsHidesTheOthers) {
  split("a,b,c", ",");
  EXPECT_EQ(split("d", ","), 1);
  EXPECT_EQ(_list->count, 1);
  EXPECT_EQ(get(1), nullptr);
}

TEST_F(StringListTest, PushGoesOnAfterSplitting) {
  split("a,b", ",");
  EXPECT_EQ(push("c"), 3);
  EXPECT_EQ(items(), (Items{"a", "b", "c"}));
}

TEST_F(StringListTest, SplittingLeavesTextAsItIs) {
  char text[] = "a,b,,c";
  EXPECT_EQ(VLIBStrTok(text, ",", &_list), 4);
  EXPECT_STREQ(text, "a,b,,c");
}

TEST_F(StringListTest, SplittingCopiesText) {
  char text[] = "a,b";
  VLIBStrTok(text, ",", &_list);
  std::fill_n(text, 3, 'x');
  EXPECT_EQ(items(), (Items{"a", "b"}));
}

TEST_F(StringListTest, SplitsMoreColumnsThanThereIsRoomFor) {
  std::string text;
  Items expected;
  for (int i = 0; i < 5000; ++i) {
    expected.push_back(std::to_string(i));
    text += (i == 0 ? "" : "\t") + expected.back();
  }
  for (int const room : {0, 1, 1024, 4999, 5000}) {
    alloc(room);
    EXPECT_EQ(split(text, "\t"), 5000) << room;
    EXPECT_GE(_list->capacity, 5000) << room;
    EXPECT_EQ(items(), expected) << room;
  }
}

TEST_F(StringListTest, SplittingKeepsRoomToSpare) {
  alloc(1024);
  VLIBSzList* const before = _list;
  split("a,b", ",");
  EXPECT_EQ(_list, before);
  EXPECT_EQ(_list->capacity, 1024);
}

TEST_F(StringListTest, SplittingRefusesNull) {
  push("item");
  EXPECT_LT(VLIBStrTok(nullptr, ",", &_list), 0);
  EXPECT_EQ(VLIBErrGet(), VLIB_ERR_BAD_PARAMETER);
  VLIBErrSet(VLIB_ERR_NONE);
  EXPECT_LT(VLIBStrTok("a,b", nullptr, &_list), 0);
  EXPECT_EQ(VLIBErrGet(), VLIB_ERR_BAD_PARAMETER);
  EXPECT_EQ(items(), Items{"item"});
}

TEST_F(StringListTest, SplittingRefusesNoList) {
  VLIBSzList* none = nullptr;
  EXPECT_LT(VLIBStrTok("a,b", ",", &none), 0);
  EXPECT_EQ(VLIBErrGet(), VLIB_ERR_BAD_PARAMETER);
  EXPECT_EQ(none, nullptr);

  VLIBErrSet(VLIB_ERR_NONE);
  EXPECT_LT(VLIBStrTok("a,b", ",", nullptr), 0);
  EXPECT_EQ(VLIBErrGet(), VLIB_ERR_BAD_PARAMETER);
}

// Compares with the obvious way to split, using one list in all rounds.
TEST_F(StringListTest, SplitsAnyTextLikeTheObviousWay) {
  unsigned int const seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  alloc(0);
  for (int round = 0; round < 500; ++round) {
    std::string text(random() % 60, '\0');
    for (char& c : text)
      c = "ab\t,"[random() % 4];
    Items expected(1);
    for (char const c : text) {
      if (c == '\t' || c == ',')
        expected.emplace_back();
      else
        expected.back() += c;
    }
    ASSERT_EQ(split(text, ",\t"), static_cast<int>(expected.size()));
    if (random() % 2 == 0) {
      expected.push_back(std::string(random() % 100, 'x'));
      push(expected.back());
    }
    ASSERT_EQ(items(), expected);
  }
}

// As many separators as a list can hold items, mapped onto little memory.
class LongText {
 public:
  explicit LongText(char separator) {
    int const file = memfd_create("text", MFD_CLOEXEC);
    std::string const bytes(part, separator);
    _text = static_cast<char*>(mmap(nullptr, parts * part + 1, PROT_READ,  // and the NUL
                                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    bool mapped = _text != MAP_FAILED && write(file, bytes.data(), part) == ssize_t{part};
    for (size_t i = 0; mapped && i < parts; ++i)
      mapped =
          mmap(_text + i * part, part, PROT_READ, MAP_SHARED | MAP_FIXED, file, 0) != MAP_FAILED;
    (void)close(file);
    if (!mapped)
      throw std::runtime_error("no address space");
  }
  ~LongText() { (void)munmap(_text, parts * part + 1); }
  LongText(const LongText&) = delete;
  LongText& operator=(const LongText&) = delete;

  const char* text() const { return _text + parts * part - INT_MAX; }

 private:
  static constexpr size_t part = size_t{1} << 20;
  static constexpr size_t parts = (size_t{1} << 31) / part;

  char* _text;
};

TEST_F(StringListTest, SplitsIntoNoMoreItemsThanItCanCount) {
  if (getenv("ZEMO_ALL") == nullptr || sanitized || underValgrind())
    GTEST_SKIP() << "takes long, and much longer with tools; ./dev test --all runs it";
  push("old");
  LongText const separators(',');
  EXPECT_LT(VLIBStrTok(separators.text(), ",", &_list), 0);
  EXPECT_EQ(VLIBErrGet(), VLIB_ERR_OUT_OF_MEMORY);
  EXPECT_EQ(items(), Items{"old"});
}

}  // namespace
