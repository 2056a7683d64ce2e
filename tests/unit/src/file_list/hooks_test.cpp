#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include <boost/make_shared.hpp>
#include <stdexcept>

#include "list_check_fixture.h"
#include "support/doubles/recorded_log.h"
#include "support/files.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using Entry = boost::shared_ptr<ProtectedFile>;
using HooksTest = ListCheckTest;

TEST_F(HooksTest, HooksAreNotCalledForIntactFiles) {
  load(intact("x") + intact("y"));
  addHook("hook", true);
  EXPECT_TRUE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(HooksTest, HookIsCalledOnceForEachAlteredFileInPathOrder) {
  load(altered("c") + intact("b") + line(in("a0")) + line(in("a/x")) + altered("a."));
  addHook("hook", true);
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(calls, ElementsAre("hook " + in("a.") + " changed", "hook " + in("a/x") + " changed",
                                 "hook " + in("a0") + " changed", "hook " + in("c") + " changed"));
}

TEST_F(HooksTest, HookThatDoesNothingAcceptsNothing) {
  load(altered("x"));
  _list.addHook([](Entry&, bool&) { return 0; });
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
}

TEST_F(HooksTest, HookThatClearsTheFlagAcceptsTheEntry) {
  load(altered("x"));
  addHook("hook", false);
  EXPECT_TRUE(_list.check(CHECK_ITEM_ALL));
  EXPECT_TRUE(_list.checkFiles(CHECK_ITEM_ALL));
  EXPECT_THAT(errors("x"), SizeIs(2));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(HooksTest, AcceptedEntryDoesNotAcceptOthers) {
  load(altered("x") + altered("y") + altered("z"));
  for (const char* const accepted : {"x", "y", "z"}) {
    FileList list("wam", "full", _list);
    list.addHook([this, accepted](Entry& entry, bool& changed) {
      changed = changed && entry->_path != in(accepted);
      return 0;
    });
    EXPECT_FALSE(list.checkFiles(CHECK_ITEM_ALL)) << accepted;
  }
}

TEST_F(HooksTest, ReturnedNumberIsIgnored) {
  load(altered("x"));
  for (int const number : {-1, 0, 1, INT32_MAX}) {
    FileList list("wam", "full", _list);
    list.addHook([number](Entry&, bool&) { return number; });
    EXPECT_FALSE(list.checkFiles(CHECK_ITEM_ALL)) << number;
    list.addHook([number](Entry&, bool& changed) {
      changed = false;
      return number;
    });
    EXPECT_TRUE(list.checkFiles(CHECK_ITEM_ALL)) << number;
  }
}

TEST_F(HooksTest, AllHooksAreCalledInOrderAndSeeTheFlagAsTheLastOneLeftIt) {
  load(altered("x") + altered("y"));
  addHook("first", false);
  addHook("second", true);
  addHook("third", false);
  EXPECT_TRUE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(calls, ElementsAre("first " + in("x") + " changed",    //
                                 "second " + in("x") + " accepted",  //
                                 "third " + in("x") + " changed",    //
                                 "first " + in("y") + " changed",    //
                                 "second " + in("y") + " accepted",  //
                                 "third " + in("y") + " changed"));
}

TEST_F(HooksTest, FlagOfTheLastHookCounts) {
  load(altered("x"));
  addHook("first", false);
  addHook("second", true);
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
}

TEST_F(HooksTest, HookSeesTheRecordsOfTheEntry) {
  load(altered("x"));
  std::vector<std::string> seen;
  _list.addHook([&seen](Entry& entry, bool&) {
    seen = errorsOf(*entry);
    return 0;
  });
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(seen, ElementsAre(in("x") + " size expect[8] but get[7]"));
}

TEST_F(HooksTest, HookGetsTheEntryOfTheMap) {
  load(altered("x"));
  Entry seen;
  _list.addHook([&seen](Entry& entry, bool&) {
    seen = entry;
    return 0;
  });
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_EQ(seen, entryOf(_list, in("x")));
}

TEST_F(HooksTest, HookMayKeepTheEntry) {
  Entry kept;
  {
    FileList list("wam", "full");
    (*list.getProtectedFiles())["/missing"] =
        boost::make_shared<ProtectedFile>(entryLine("/missing", "-", "-", "-", "-", "-", "-"));
    list.addHook([&kept](Entry& entry, bool&) {
      kept = entry;
      return 0;
    });
    EXPECT_FALSE(list.checkFiles(CHECK_ITEM_ALL));
  }
  ASSERT_NE(kept, nullptr);
  EXPECT_EQ(kept.use_count(), 1);
  EXPECT_THAT(errorsOf(*kept), ElementsAre("/missing not exist expect[] but get[]"));
}

TEST_F(HooksTest, WalkKeepsNoEntry) {
  load(altered("x") + intact("y"));
  addHook("hook", false);
  EXPECT_TRUE(_list.check(CHECK_ITEM_ALL));
  EXPECT_EQ(entryOf(_list, in("x")).use_count(), 2);
  EXPECT_EQ(entryOf(_list, in("y")).use_count(), 2);
}

TEST_F(HooksTest, EntryThatAHookResetsIsGoneForTheNextHookOnly) {
  load(altered("x") + altered("y"));
  Entry const x = entryOf(_list, in("x"));
  std::vector<bool> gone;
  _list.addHook([](Entry& entry, bool&) {
    entry.reset();
    return 0;
  });
  _list.addHook([&gone](Entry& entry, bool& changed) {
    gone.push_back(entry == nullptr && changed);
    return 0;
  });
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(gone, ElementsAre(true, true));
  EXPECT_EQ(entryOf(_list, in("x")), x);
}

TEST_F(HooksTest, EntryThatAHookReplacesIsAnotherForTheNextHookOnly) {
  load(altered("x"));
  Entry const x = entryOf(_list, in("x"));
  Entry const other = boost::make_shared<ProtectedFile>(line("/other"));
  Entry seen;
  _list.addHook([&other](Entry& entry, bool&) {
    entry = other;
    return 0;
  });
  _list.addHook([&seen](Entry& entry, bool&) {
    seen = entry;
    return 0;
  });
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_EQ(seen, other);
  EXPECT_EQ(entryOf(_list, in("x")), x);
}

TEST_F(HooksTest, HookIsCalledForAMismatchOfAnUnreadableFile) {
  load(unreadable("x", "8") + unreadable("y"));
  addHook("hook", false);
  WithoutFileCapabilities const ordinary;
  EXPECT_TRUE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(calls, ElementsAre("hook " + in("x") + " changed"));
}

TEST_F(HooksTest, SameHookMayBeAddedTwice) {
  load(altered("x"));
  addHook("hook", true);
  addHook("hook", true);
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(calls, SizeIs(2));
}

TEST_F(HooksTest, HookIsCopied) {
  load(altered("x"));
  FileList::Hook hook = [this](Entry& entry, bool&) {
    calls.push_back(entry->_path);
    return 0;
  };
  _list.addHook(hook);
  hook.clear();
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(calls, ElementsAre(in("x")));
}

TEST_F(HooksTest, HooksStayForLaterChecksAndLoads) {
  addHook("hook", false);
  load(altered("x"));
  EXPECT_TRUE(_list.check(CHECK_ITEM_ALL));
  load(altered("y"));
  EXPECT_TRUE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(calls, SizeIs(3));
}

TEST_F(HooksTest, HookKeepsAStateOfItsOwn) {
  load(altered("x") + altered("y") + altered("z"));
  std::vector<int> counted;
  _list.addHook([&counted, count = 0](Entry&, bool&) mutable {
    counted.push_back(++count);
    return 0;
  });
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(counted, ElementsAre(1, 2, 3));
}

TEST_F(HooksTest, ExceptionOfAHookReachesTheCaller) {
  load(altered("x") + altered("y"));
  _list.addHook([](Entry&, bool&) -> int { throw std::runtime_error("no more"); });
  EXPECT_THROW(_list.check(CHECK_ITEM_ALL), std::runtime_error);
  EXPECT_THAT(errors("x"), SizeIs(1));
  EXPECT_THAT(errors("y"), IsEmpty());
  EXPECT_EQ(entryOf(_list, in("x")).use_count(), 2);
}

TEST_F(HooksTest, HookMayAddHooksThatAreCalledFromTheNextEntryOn) {
  load(altered("x") + altered("y") + altered("z"));
  // Adding hooks moves this hook, whose captured value must stay valid all the same.
  constexpr int64_t held = 0x5a5a5a5a5a5a5a5a;
  std::vector<int64_t> seen;
  _list.addHook([this, &seen, value = held](Entry& entry, bool&) {
    if (seen.empty()) {
      for (int i = 0; i < 100; ++i)
        addHook("added" + std::to_string(i), true);
    }
    seen.push_back(value);
    calls.push_back(entry->_path);
    return 0;
  });
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(seen, ElementsAre(held, held, held));
  ASSERT_THAT(calls, SizeIs(1 + 101 + 101));
  EXPECT_THAT(calls[0], in("x"));
  EXPECT_THAT(calls[1], in("y"));
  EXPECT_THAT(calls[2], "added0 " + in("y") + " changed");
  EXPECT_THAT(calls[202], "added99 " + in("z") + " changed");
}

// Hooks that hold no function.

TEST_F(HooksTest, EmptyHookIsNotCalledForIntactFiles) {
  load(intact("x"));
  _list.addHook(FileList::Hook());
  EXPECT_TRUE(_list.check(CHECK_ITEM_ALL));
}

TEST_F(HooksTest, EmptyHookThrowsToTheCaller) {
  load(altered("x"));
  _list.addHook(FileList::Hook());
  EXPECT_THROW(_list.check(CHECK_ITEM_ALL), boost::bad_function_call);
  try {
    (void)_list.checkFiles(CHECK_ITEM_ALL);
    FAIL() << "nothing was thrown";
  } catch (const boost::bad_function_call& error) {
    EXPECT_THAT(error.what(), HasSubstr("call to empty boost::function"));
  }
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(HooksTest, EmptyHookEndsTheWalkAtTheFirstAlteredFile) {
  load(intact("a") + altered("x") + altered("y"));
  _list.addHook(FileList::Hook());
  EXPECT_THROW(_list.check(CHECK_ITEM_ALL), boost::bad_function_call);
  EXPECT_THAT(errors("x"), SizeIs(1));
  EXPECT_THAT(errors("y"), IsEmpty());
}

TEST_F(HooksTest, EmptyHookThrowsOnlyWhenItsTurnComes) {
  load(altered("x"));
  addHook("before", false);
  _list.addHook(FileList::Hook());
  addHook("after", false);
  EXPECT_THROW(_list.check(CHECK_ITEM_ALL), boost::bad_function_call);
  EXPECT_THAT(calls, ElementsAre("before " + in("x") + " changed"));
}

}  // namespace
