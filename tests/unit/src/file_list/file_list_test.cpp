#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include <boost/make_shared.hpp>
#include <memory>
#include <type_traits>

#include "loading_fixture.h"
#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_package.h"
#include "support/errors_of.h"
#include "support/files.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const LogLine emptyMap = logged("file_list", 34, "No file need to check.");

TEST(ListText, IsNameBlankAndMode) {
  EXPECT_EQ(FileList("wam", "full").toString(), "wam full");
  EXPECT_EQ(FileList("demo", "quick").toString(), "demo quick");
}

TEST(ListText, KeepsNameAndModeAsTheyAre) {
  EXPECT_EQ(FileList("wam", "").toString(), "wam ");
  EXPECT_EQ(FileList("", "full").toString(), " full");
  EXPECT_EQ(FileList("", "").toString(), " ");
  EXPECT_EQ(FileList(" ../a b\n", "\t*").toString(), " ../a b\n \t*");
}

TEST(ListText, OfADerivedListHasItsOwnNameAndMode) {
  FileList source("wam", "full");
  EXPECT_EQ(FileList("demo", "quick", source).toString(), "demo quick");
  EXPECT_EQ(source.toString(), "wam full");
}

class ListObjectTest : public LoadingTest {
 protected:
  static boost::shared_ptr<ProtectedFile> entry(const std::string& path) {
    return boost::make_shared<ProtectedFile>(entryLine(path, "-", "-", "-", "-", "-", "-"));
  }

  // Puts entries of these paths into the list.
  static void fill(FileList& list, const std::vector<std::string>& paths) {
    for (const std::string& path : paths)
      (*list.getProtectedFiles())[path] = entry(path);
  }

  static bool listsPath(FileList& list, const std::string& path) {
    std::vector<SELFCHECK_RESULT> results;
    EXPECT_TRUE(list.checkFiles({path}, results));
    return results.at(0).notListed == 0;
  }

  static bool isInFixedDirectory(FileList& list, const std::string& path) {
    std::vector<SELFCHECK_RESULT> results;
    EXPECT_TRUE(list.checkFiles({path}, results));
    return results.at(0).inFixedDir != 0;
  }

  // The paths that a new list with this name loads.
  static std::vector<std::string> loaded(const std::string& name) {
    scriptedPackages()[name].user = "user";
    FileList list(name, "full");
    EXPECT_TRUE(list.loadList(false));
    return pathsOf(list);
  }
};

// A newly created list.

TEST_F(ListObjectTest, StartsWithAnEmptyMap) {
  ASSERT_NE(_list.getProtectedFiles(), nullptr);
  EXPECT_THAT(pathsOf(_list), IsEmpty());
}

TEST_F(ListObjectTest, StartsWithoutListFiles) {
  makeList("a", line("/x"));
  fill(_list, {"/"});
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(recordedLog(), ElementsAre(emptyMap));
}

TEST_F(ListObjectTest, StartsWithoutFixedDirectories) {
  EXPECT_FALSE(isInFixedDirectory(_list, "/x"));
}

TEST_F(ListObjectTest, MakingOneReadsAndValidatesNothing) {
  for (const char* const name : {"wam", "", "WAM", "../../etc", "gone", "a\nb"}) {
    FileList source(name, name);
    FileList const derived(name, "", source);
    EXPECT_THAT(pathsOf(derived), IsEmpty());
  }
  EXPECT_THAT(packageCalls(), IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(ListObjectTest, IsAPlainClass) {
  EXPECT_FALSE(std::is_polymorphic_v<FileList>);
  EXPECT_TRUE(std::is_nothrow_destructible_v<FileList>);
}

// The directory of a set's lists.

TEST_F(ListObjectTest, SystemSetLivesInTheDirectoryItself) {
  writeList("wam.full.a.list", line("/system"));
  makePackageList("wam", "wam.full.a.list", line("/package"));
  EXPECT_THAT(loaded("wam"), ElementsAre("/system"));
}

TEST_F(ListObjectTest, PackageSetsLiveBelowPackages) {
  for (const char* const name : {"demo", "WAM", "wam ", " wam", "a b"}) {
    std::string const file = std::string(name) + ".full.a.list";
    writeList(file, line("/system"));
    makePackageList(name, file, line("/package"));
    EXPECT_THAT(loaded(name), ElementsAre("/package")) << "[" << name << "]";
  }
}

TEST_F(ListObjectTest, EmptyNameMeansThePackagesDirectory) {
  makePackageList("", ".full.a.list", line("/x"));
  EXPECT_THAT(loaded(""), ElementsAre("/x"));
}

TEST_F(ListObjectTest, DerivedListLivesWhereItsOwnNameSays) {
  writeList("wam.full.a.list", line("/system"));
  makePackageList("demo", "demo.full.a.list", line("/package"));
  scriptedPackages()["demo"].user = "user";
  FileList package("demo", "full", _list);
  EXPECT_TRUE(package.loadList(false));
  EXPECT_THAT(pathsOf(package), ElementsAre("/package"));
  FileList system("wam", "full", package);
  EXPECT_TRUE(system.loadList(false));
  EXPECT_THAT(pathsOf(system), ElementsAre("/package", "/system"));
}

// The map.

TEST_F(ListObjectTest, HandsOutItsOwnMapEachTime) {
  EXPECT_EQ(_list.getProtectedFiles(), _list.getProtectedFiles());
}

TEST_F(ListObjectTest, HandsOutOneMoreOwner) {
  auto const first = _list.getProtectedFiles();
  EXPECT_EQ(first.use_count(), 2);
  auto const second = _list.getProtectedFiles();
  EXPECT_EQ(first.use_count(), 3);
}

TEST_F(ListObjectTest, SeesElementsPutIntoTheMap) {
  fill(_list, {"/"});
  EXPECT_TRUE(listsPath(_list, "/"));
}

TEST_F(ListObjectTest, SeesElementsTakenFromTheMap) {
  makeList("a", line("/") + line("/usr"));
  ASSERT_TRUE(_list.loadList(false));
  _list.getProtectedFiles()->erase("/");
  EXPECT_FALSE(listsPath(_list, "/"));
  EXPECT_TRUE(listsPath(_list, "/usr"));
}

TEST_F(ListObjectTest, MapIsInByteOrder) {
  makeList("a", line("/a/bc") + line("/a/b/c") + line("/a/b") + line("/\x80") + line("/z") +
                    line("/A") + line("/a/b.c"));
  ASSERT_TRUE(_list.loadList(false));
  EXPECT_THAT(pathsOf(_list),
              ElementsAre("/A", "/a/b", "/a/b.c", "/a/b/c", "/a/bc", "/z", "/\x80"));
}

TEST_F(ListObjectTest, MapOutlivesTheList) {
  auto list = std::make_unique<FileList>("wam", "full");
  fill(*list, {"/x"});
  auto const map = list->getProtectedFiles();
  list.reset();
  EXPECT_EQ(map.use_count(), 1);
  EXPECT_EQ(map->at("/x")->_path, "/x");
}

TEST_F(ListObjectTest, EntriesGoWithTheLastOwner) {
  auto list = std::make_unique<FileList>("wam", "full");
  boost::shared_ptr<ProtectedFile> const x = entry("/x");
  (*list->getProtectedFiles())["/x"] = x;
  EXPECT_EQ(x.use_count(), 2);
  list.reset();
  EXPECT_EQ(x.use_count(), 1);
}

TEST_F(ListObjectTest, CopySharesTheMap) {
  FileList const copy(_list);
  EXPECT_EQ(copy.getProtectedFiles(), _list.getProtectedFiles());
}

// A list derived from another.

class DerivedListTest : public ListObjectTest {
 protected:
  void SetUp() override {
    ListObjectTest::SetUp();
    if (IsSkipped())
      return;
    makeList("a", line("/missing/a") + line("/missing/b") + line("/missing", "FIXED"));
    ASSERT_TRUE(_list.loadList(false));
  }

  static FileList derivedFrom(FileList& source) { return {"demo", "quick", source}; }
};

TEST_F(DerivedListTest, HasTheSameEntriesUnderTheSameKeys) {
  FileList const derived = derivedFrom(_list);
  EXPECT_EQ(*derived.getProtectedFiles(), *_list.getProtectedFiles());
  EXPECT_THAT(pathsOf(derived), ElementsAre("/missing", "/missing/a", "/missing/b"));
}

TEST_F(DerivedListTest, HasAMapOfItsOwn) {
  FileList const derived = derivedFrom(_list);
  EXPECT_NE(derived.getProtectedFiles(), _list.getProtectedFiles());
  EXPECT_EQ(derived.getProtectedFiles().use_count(), 2);
  EXPECT_EQ(_list.getProtectedFiles().use_count(), 2);
}

TEST_F(DerivedListTest, DoesNotSeeLaterChangesOfTheSource) {
  FileList const derived = derivedFrom(_list);
  _list.getProtectedFiles()->erase("/missing/a");
  fill(_list, {"/new"});
  EXPECT_THAT(pathsOf(derived), ElementsAre("/missing", "/missing/a", "/missing/b"));
}

TEST_F(DerivedListTest, DoesNotShowItsChangesInTheSource) {
  FileList derived = derivedFrom(_list);
  derived.getProtectedFiles()->erase("/missing/a");
  fill(derived, {"/new"});
  EXPECT_THAT(pathsOf(_list), ElementsAre("/missing", "/missing/a", "/missing/b"));
}

TEST_F(DerivedListTest, SharesTheRecordsOfEntries) {
  FileList const derived = derivedFrom(_list);
  EXPECT_FALSE(derived.checkFiles(CHECK_ITEM_ALL));
  EXPECT_THAT(errorsOf(*entryOf(_list, "/missing/a")),
              ElementsAre("/missing/a not exist expect[] but get[]"));
}

TEST_F(DerivedListTest, HasNoListFiles) {
  FileList derived = derivedFrom(_list);
  EXPECT_FALSE(derived.check(CHECK_ITEM_ALL));
  EXPECT_THAT(recordedLog(), ElementsAre(emptyMap));
  EXPECT_THAT(errorsOf(*entryOf(_list, "/missing/a")), IsEmpty());
}

TEST_F(DerivedListTest, HasNoFixedDirectories) {
  FileList derived = derivedFrom(_list);
  EXPECT_FALSE(isInFixedDirectory(derived, "/missing/x"));
  EXPECT_TRUE(isInFixedDirectory(_list, "/missing/x"));
}

TEST_F(DerivedListTest, HasNoHooks) {
  int calls = 0;
  _list.addHook([&calls](boost::shared_ptr<ProtectedFile>&, bool&) { return ++calls; });
  FileList const derived = derivedFrom(_list);
  EXPECT_FALSE(derived.checkFiles(CHECK_ITEM_ALL));
  EXPECT_EQ(calls, 0);
}

TEST_F(DerivedListTest, LeavesTheSourceAsItIs) {
  int calls = 0;
  _list.addHook([&calls](boost::shared_ptr<ProtectedFile>&, bool&) { return ++calls; });
  auto const map = _list.getProtectedFiles();
  (void)derivedFrom(_list);
  EXPECT_EQ(_list.getProtectedFiles(), map);
  EXPECT_EQ(_list.toString(), "wam full");
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_EQ(calls, 3);
  EXPECT_TRUE(isInFixedDirectory(_list, "/missing/x"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(DerivedListTest, OutlivesTheSource) {
  auto source = std::make_unique<FileList>("wam", "full");
  fill(*source, {"/x"});
  FileList const derived = derivedFrom(*source);
  source.reset();
  EXPECT_EQ(entryOf(derived, "/x")->_path, "/x");
  EXPECT_EQ(entryOf(derived, "/x").use_count(), 2);
}

TEST_F(DerivedListTest, MayBeASourceItself) {
  FileList middle = derivedFrom(_list);
  FileList const last = derivedFrom(middle);
  EXPECT_EQ(*last.getProtectedFiles(), *_list.getProtectedFiles());
  EXPECT_NE(last.getProtectedFiles(), middle.getProtectedFiles());
}

TEST_F(DerivedListTest, KeepsElementsWithoutAnEntry) {
  EXPECT_FALSE(listsPath(_list, "/unlisted"));
  FileList const derived = derivedFrom(_list);
  EXPECT_EQ(derived.getProtectedFiles()->count("/unlisted"), 1U);
  EXPECT_EQ(entryOf(derived, "/unlisted"), nullptr);
}

}  // namespace
