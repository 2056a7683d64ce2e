// String lists and a program's words when memory is exhausted. This program defines malloc, calloc
// and realloc itself, so the library's calls come here.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <zemo/core.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

// With clang, the program contains the sanitizers' allocator, which these functions would have to
// replace.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define OWN_ALLOCATOR 0
#endif
#endif
// The allocator of this sanitizer cannot be looked up before it has started.
#if defined(__SANITIZE_THREAD__)
#define OWN_ALLOCATOR 0
#endif
#ifndef OWN_ALLOCATOR
#define OWN_ALLOCATOR 1
#endif

namespace {

int allowed = -1;  // allocations until the one that fails; negative: none fails
size_t asked = 0;  // bytes, by the last malloc or realloc; compilers turn one into the other

}  // namespace

#if OWN_ALLOCATOR
namespace {

bool mayAllocate() {
  if (allowed < 0)
    return true;
  if (allowed > 0) {
    --allowed;
    return true;
  }
  errno = ENOMEM;
  return false;
}

}  // namespace

extern "C" void* malloc(size_t size) {
  static auto* const real = reinterpret_cast<void* (*)(size_t)>(dlsym(RTLD_NEXT, "malloc"));
  asked = size;
  return mayAllocate() ? real(size) : nullptr;
}

extern "C" void* realloc(void* old, size_t size) {
  static auto* const real = reinterpret_cast<void* (*)(void*, size_t)>(dlsym(RTLD_NEXT, "realloc"));
  asked = size;
  return mayAllocate() ? real(old, size) : nullptr;
}

extern "C" void* calloc(size_t count, size_t size) {
  static auto* const real = reinterpret_cast<void* (*)(size_t, size_t)>(dlsym(RTLD_NEXT, "calloc"));
  return mayAllocate() ? real(count, size) : nullptr;
}
#endif

namespace {

// The visible state of a list.
struct State {
  VLIBSzList* address = nullptr;
  int capacity = 0;
  std::vector<std::string> items;
};

State stateOf(VLIBSzList* list) {
  State state = {list, list->capacity, {}};
  for (int i = 0; i < list->count; ++i)
    state.items.emplace_back(VLIBSzListGet(list, i));
  return state;
}

void expectSame(const State& after, const State& before) {
  EXPECT_EQ(after.items, before.items);
  EXPECT_EQ(after.capacity, before.capacity);
  EXPECT_EQ(after.address, before.address);
}

class StringListMemoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (OWN_ALLOCATOR == 0 || getenv("ZEMO_UNDER_VALGRIND") != nullptr)
      GTEST_SKIP() << "this tool's allocator cannot be replaced";
  }
  ~StringListMemoryTest() override { VLIBSzListFree(_list); }

  // Calls `operation` with its first allocation failing, then its second and so on, until none
  // fails. Returns the number of failures; the list must be unchanged after each.
  template <typename Operation>
  int failures(Operation operation) {
    for (int count = 0;; ++count) {
      State const before = stateOf(_list);
      VLIBErrSet(VLIB_ERR_NONE);
      allowed = count;
      int const result = operation();
      allowed = -1;
      if (result >= 0)
        return count;
      EXPECT_EQ(VLIBErrGet(), VLIB_ERR_OUT_OF_MEMORY);
      expectSame(stateOf(_list), before);
    }
  }

  VLIBSzList* _list = VLIBSzListAlloc(2);
};

TEST_F(StringListMemoryTest, AllocReturnsNull) {
  allowed = 0;
  VLIBSzList* const list = VLIBSzListAlloc(1024);
  allowed = -1;
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(VLIBErrGet(), VLIB_ERR_OUT_OF_MEMORY);
}

TEST_F(StringListMemoryTest, PushIntoEmptyListLeavesItUnchanged) {
  EXPECT_GE(failures([&] { return VLIBSzListPush(&_list, "item"); }), 1);
  EXPECT_STREQ(VLIBSzListGet(_list, 0), "item");
}

TEST_F(StringListMemoryTest, PushIntoFullListLeavesItUnchanged) {
  VLIBStrTok("one,two", ",", &_list);
  EXPECT_GE(failures([&] { return VLIBSzListPush(&_list, "three"); }), 1);
  EXPECT_EQ(stateOf(_list).items, (std::vector<std::string>{"one", "two", "three"}));
}

TEST_F(StringListMemoryTest, SplittingIntoEmptyListLeavesItUnchanged) {
  EXPECT_GE(failures([&] { return VLIBStrTok("one,two,three", ",", &_list); }), 1);
  EXPECT_EQ(stateOf(_list).items, (std::vector<std::string>{"one", "two", "three"}));
}

TEST_F(StringListMemoryTest, SplittingIntoFullListLeavesItUnchanged) {
  VLIBStrTok("old,older", ",", &_list);
  EXPECT_GE(failures([&] { return VLIBStrTok("one,two,three", ",", &_list); }), 1);
  EXPECT_EQ(stateOf(_list).items, (std::vector<std::string>{"one", "two", "three"}));
}

TEST_F(StringListMemoryTest, SplittingIntoAListWithRoomLeavesItUnchanged) {
  VLIBStrTok("old,older", ",", &_list);
  EXPECT_EQ(failures([&] { return VLIBStrTok("one", ",", &_list); }), 1);
  EXPECT_EQ(stateOf(_list).items, (std::vector<std::string>{"one"}));
}

// Such large lists need not be created: the test sets their size in the record that callers see.
TEST_F(StringListMemoryTest, LargeListGrowsToTheMostThatItCanHold) {
  VLIBSzListFree(VLIBSzListAlloc(0));
  size_t const record = asked;
  for (int const capacity : {INT_MAX / 2, INT_MAX / 2 + 1, INT_MAX - 1}) {
    _list->capacity = _list->count = capacity;
    allowed = 1;  // for the text
    EXPECT_LT(VLIBSzListPush(&_list, "item"), 0);
    allowed = -1;
    size_t const most = capacity == INT_MAX / 2 ? INT_MAX - 1 : INT_MAX;
    EXPECT_EQ(asked, record + most * sizeof(size_t));
  }
  _list->count = 0;
}

// A lack of memory for a large list shows when it is made; others take little at first.
TEST_F(StringListMemoryTest, OnlyLargeListsTakeTheirRoomAtOnce) {
  VLIBSzListFree(VLIBSzListAlloc(0));
  size_t const record = asked;
  for (int const items : {1, 100, 5000, 100000}) {
    VLIBSzListFree(VLIBSzListAlloc(items));
    EXPECT_EQ(asked, record + static_cast<size_t>(items) * sizeof(size_t));
  }
  VLIBSzListFree(VLIBSzListAlloc(1024));
  EXPECT_LT(asked, 1100U);
}

TEST_F(StringListMemoryTest, ListTakesNoMoreThanItCanCount) {
  _list->capacity = _list->count = INT_MAX;
  asked = 0;
  VLIBErrSet(VLIB_ERR_NONE);
  EXPECT_LT(VLIBSzListPush(&_list, "item"), 0);
  EXPECT_EQ(VLIBErrGet(), VLIB_ERR_OUT_OF_MEMORY);
  EXPECT_LT(asked, 1000U) << "for the text alone";
  _list->count = 0;
}

TEST_F(StringListMemoryTest, ProgramIsNotRunWithoutMemoryForItsWords) {
  VLIBErrSet(VLIB_ERR_NONE);
  allowed = 0;
  int const result = VLIBExecl("/bin/true", VLIB_EXEC_WAIT, "word", static_cast<char*>(nullptr));
  allowed = -1;
  EXPECT_LT(result, 0);
  EXPECT_EQ(VLIBErrGet(), VLIB_ERR_OUT_OF_MEMORY);
}

TEST_F(StringListMemoryTest, GetAndFreeNeedNone) {
  VLIBSzList* list = VLIBSzListAlloc(1);
  VLIBSzListPush(&list, "item");
  allowed = 0;
  const char* const item = VLIBSzListGet(list, 0);
  bool const same = item != nullptr && std::char_traits<char>::compare(item, "item", 5) == 0;
  VLIBSzListFree(list);
  allowed = -1;
  EXPECT_TRUE(same);
}

}  // namespace
