#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/core.h>
#include <zemo/selfcheck/protected_file.h>

#include <algorithm>
#include <functional>
#include <type_traits>
#include <vector>

#include "support/doubles/faulty_core.h"
#include "support/doubles/recorded_log.h"
#include "support/files.h"
#include "support/grouped_digits.h"
#include "support/restored_binding.h"

namespace {

std::vector<int> roomOfFreedLists;

}  // namespace

// The core library's own function, recorded.
void VLIBSzListFree(VLIBSzList* list) {
  static auto* const real =
      reinterpret_cast<void (*)(VLIBSzList*)>(dlsym(RTLD_NEXT, "VLIBSzListFree"));
  if (list != nullptr)
    roomOfFreedLists.push_back(list->capacity);
  real(list);
}

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class EntryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    clearLog();
    roomOfFreedLists.clear();
    failListAlloc = false;
    failStrTok = false;
    countNoTokens = false;
    ProtectedFile::_pkginfo = PkgInfo();
  }

  void TearDown() override {
    failListAlloc = false;
    failStrTok = false;
    countNoTokens = false;
  }

  static void bind(const std::string& targetDir, uid_t uid = 1026, gid_t gid = 100) {
    ProtectedFile::_pkginfo.isSet = true;
    ProtectedFile::_pkginfo.uid = uid;
    ProtectedFile::_pkginfo.gid = gid;
    ProtectedFile::_pkginfo.targetDir = targetDir;
  }

  static std::vector<std::string> columnsOf(const ProtectedFile& entry) {
    return {entry._path,       entry._size,  entry._hash, entry._type,
            entry._permission, entry._owner, entry._group};
  }

  static std::vector<std::string> columnsOf(const std::string& line) {
    return columnsOf(ProtectedFile(line));
  }

  static std::string pathOf(const std::string& column) {
    return ProtectedFile(entryLine(column, "-", "-", "f", "-", "-", "-"))._path;
  }

  static std::string ownerOf(const std::string& column) {
    return ProtectedFile(entryLine("/x", "-", "-", "f", "-", column, "-"))._owner;
  }

  static std::string groupOf(const std::string& column) {
    return ProtectedFile(entryLine("/x", "-", "-", "f", "-", "-", column))._group;
  }

  static std::string hashOf(const std::string& column, const std::string& type) {
    return ProtectedFile(entryLine("/x", "-", column, type, "-", "-", "-"))._hash;
  }

 private:
  RestoredBinding _binding;
};

TEST_F(EntryTest, SevenColumnsAreTakenInOrder) {
  EXPECT_THAT(columnsOf("/usr/bin/tool\t123\tda39\tf\t755\t1\t2"),
              ElementsAre("/usr/bin/tool", "123", "da39", "f", "755", "1", "2"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(EntryTest, NewEntryHasNoErrorsAndNoFixedEntries) {
  ProtectedFile const entry("/x\t-\tFIXED\td\t-\t-\t-");
  EXPECT_THAT(entry._errors, IsEmpty());
  EXPECT_THAT(entry._fixedEntries, IsEmpty());
}

TEST_F(EntryTest, ColumnsAreCopiedVerbatim) {
  EXPECT_THAT(columnsOf("/A b \t 1 \tABC\tF \t0755\t 0\t0\r"),
              ElementsAre("/A b ", " 1 ", "ABC", "F ", "0755", " 0", "0\r"));
}

TEST_F(EntryTest, AdjacentTabsGiveEmptyColumns) {
  EXPECT_THAT(columnsOf("/x\t\t\t\t\t\t"), ElementsAre("/x", "", "", "", "", "", ""));
}

TEST_F(EntryTest, OnlyTabsSeparateColumns) {
  EXPECT_THAT(columnsOf("/x 1 - f - - -\n\t,"), Each(""));
  for (int c = 1; c < 256; ++c) {
    std::string const path = std::string("/x") + static_cast<char>(c) + "y";
    if (c != '\t') {
      EXPECT_EQ(pathOf(path), path) << c;
    }
  }
}

TEST_F(EntryTest, SixColumnsGiveAnEmptyEntryWithoutLogLine) {
  EXPECT_THAT(columnsOf("/x\t1\t-\tf\t755\t0"), Each(""));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(EntryTest, EmptyLineGivesAnEmptyEntryWithoutLogLine) {
  EXPECT_THAT(columnsOf(""), Each(""));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(EntryTest, ColumnsAfterTheSeventhAreDropped) {
  EXPECT_THAT(columnsOf("/x\t1\t2\tf\t4\t5\t6\t7\t8"),
              ElementsAre("/x", "1", "2", "f", "4", "5", "6"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(EntryTest, MoreColumnsThanTheListHasRoomForAreFine) {
  std::string line = "/x\t1\t2\tf\t4\t5\t6";
  for (int i = 0; i < 3000; ++i)
    line += "\tmore";
  EXPECT_THAT(columnsOf(line), ElementsAre("/x", "1", "2", "f", "4", "5", "6"));
}

TEST_F(EntryTest, LongColumnIsTakenWhole) {
  std::string const path = "/" + std::string(100000, 'x');
  EXPECT_EQ(pathOf(path), path);
}

TEST_F(EntryTest, LineEndsAtItsFirstNul) {
  std::string line = "/x\t1\t2\tf\t4\t5\t6";
  line += '\0';
  line += "more";
  EXPECT_EQ(ProtectedFile(line)._group, "6");
}

TEST_F(EntryTest, LeadingMinusOfThePathIsDropped) {
  EXPECT_THAT(columnsOf("-/x\t-\t-\t-\t-\t-\t-"), ElementsAre("/x", "-", "-", "-", "-", "-", "-"));
}

TEST_F(EntryTest, OnlyOneLeadingMinusOfThePathIsDropped) {
  EXPECT_EQ(pathOf("--/a"), "-/a");
}

TEST_F(EntryTest, PathThatIsOneMinusBecomesEmpty) {
  EXPECT_EQ(pathOf("-"), "");
}

TEST_F(EntryTest, MinusWithinThePathIsKept) {
  EXPECT_EQ(pathOf("/a-b"), "/a-b");
}

TEST_F(EntryTest, LeadingMinusOfOtherColumnsIsKept) {
  EXPECT_THAT(columnsOf("/x\t-1\t-2\t-f\t-4\t-5\t-6"),
              ElementsAre("/x", "-1", "-2", "-f", "-4", "-5", "-6"));
}

TEST_F(EntryTest, PlaceholdersStayWithoutABinding) {
  ProtectedFile::_pkginfo.uid = 1026;
  ProtectedFile::_pkginfo.gid = 100;
  ProtectedFile::_pkginfo.targetDir = "/target";
  EXPECT_THAT(columnsOf("$pkg_dir/x\t-\t$pkg_dir/y\tl\t-\t$pkg\t$pkg_sys"),
              ElementsAre("$pkg_dir/x", "-", "$pkg_dir/y", "l", "-", "$pkg", "$pkg_sys"));
}

TEST_F(EntryTest, PackageOwnerAndGroupBecomeTheBoundIds) {
  bind("/target", 1026, 100);
  EXPECT_EQ(ownerOf("$pkg"), "1026");
  EXPECT_EQ(groupOf("$pkg"), "100");
}

TEST_F(EntryTest, SystemOwnerAndGroupBecomeOne) {
  bind("/target", 1026, 100);
  EXPECT_EQ(ownerOf("$pkg_sys"), "1");
  EXPECT_EQ(groupOf("$pkg_sys"), "1");
}

TEST_F(EntryTest, BoundIdsAreUnsigned) {
  bind("/target", 4294967294U, 2147483648U);
  EXPECT_EQ(ownerOf("$pkg"), "4294967294");
  EXPECT_EQ(groupOf("$pkg"), "2147483648");
}

TEST_F(EntryTest, BoundIdsAreNotGroupedByTheCallersLocale) {
  GroupedDigits const locale;
  bind("/target", 1234567, 7654321);
  EXPECT_EQ(ownerOf("$pkg"), "1234567");
  EXPECT_EQ(groupOf("$pkg"), "7654321");
}

TEST_F(EntryTest, IdPlaceholdersAreWholeColumns) {
  bind("/target");
  for (const char* const text : {"$pkg1", "x$pkg", "$pkg ", "$PKG", "$pkg_sys1", " $pkg_sys",
                                 "$Pkg_sys", "$pkg_dir", "", "0"}) {
    EXPECT_EQ(ownerOf(text), text);
    EXPECT_EQ(groupOf(text), text);
  }
}

TEST_F(EntryTest, EveryDirectoryPlaceholderOfThePathIsReplaced) {
  bind("/var/packages/demo/target");
  EXPECT_EQ(pathOf("$pkg_dir/bin/$pkg_dir"),
            "/var/packages/demo/target/bin//var/packages/demo/target");
}

TEST_F(EntryTest, AdjacentDirectoryPlaceholdersAreReplaced) {
  bind("/t");
  EXPECT_EQ(pathOf("$pkg_dir$pkg_dir"), "/t/t");
}

TEST_F(EntryTest, DirectoryPlaceholderIsReplacedAtItsBeginningOnly) {
  bind("/t");
  EXPECT_EQ(pathOf("$pkg_directory$pkg_di$$pkg_dir"), "/tectory$pkg_di$/t");
}

TEST_F(EntryTest, InsertedDirectoryIsNotScannedAgain) {
  bind("/p/$pkg_dir/t");
  EXPECT_EQ(pathOf("$pkg_dir/x"), "/p/$pkg_dir/t/x");
}

TEST_F(EntryTest, EmptyBoundDirectoryRemovesThePlaceholder) {
  bind("");
  EXPECT_EQ(pathOf("/a$pkg_dir/b"), "/a/b");
}

TEST_F(EntryTest, IdPlaceholdersOfThePathAreKept) {
  bind("/t");
  EXPECT_EQ(pathOf("/$pkg/$pkg_sys/$PKG_DIR"), "/$pkg/$pkg_sys/$PKG_DIR");
}

TEST_F(EntryTest, LeadingMinusIsDroppedBeforeTheDirectoryIsInserted) {
  bind("-t");
  EXPECT_EQ(pathOf("-$pkg_dir/x"), "-t/x");
  EXPECT_EQ(pathOf("$pkg_dir/x"), "-t/x");
}

TEST_F(EntryTest, LinkTargetIsResolved) {
  bind("/var/packages/demo/target");
  EXPECT_EQ(hashOf("$pkg_dir/lib/x.so:$pkg_dir", "l"),
            "/var/packages/demo/target/lib/x.so:/var/packages/demo/target");
}

TEST_F(EntryTest, HashOfOtherTypesIsNotResolved) {
  bind("/t");
  for (const char* const type : {"f", "d", "c", "L", "l ", "ll", "-", ""})
    EXPECT_EQ(hashOf("$pkg_dir/x", type), "$pkg_dir/x") << type;
}

TEST_F(EntryTest, DirectoryPlaceholderStaysInOtherColumns) {
  bind("/t");
  EXPECT_THAT(columnsOf("/x\t$pkg_dir\t-\t$pkg_dir\t$pkg_dir\t$pkg_dir\t$pkg_dir"),
              ElementsAre("/x", "$pkg_dir", "-", "$pkg_dir", "$pkg_dir", "$pkg_dir", "$pkg_dir"));
}

TEST_F(EntryTest, IdPlaceholdersStayInOtherColumns) {
  bind("/t");
  EXPECT_THAT(columnsOf("/x\t$pkg\t$pkg\tl\t$pkg_sys\t-\t-"),
              ElementsAre("/x", "$pkg", "$pkg", "l", "$pkg_sys", "-", "-"));
}

TEST_F(EntryTest, ShortLineStaysEmptyUnderABinding) {
  bind("/t");
  EXPECT_THAT(columnsOf("$pkg_dir/x\t-\t-\tl\t-\t$pkg"), Each(""));
}

TEST_F(EntryTest, LaterBindingDoesNotChangeAnEntry) {
  bind("/a", 1, 2);
  ProtectedFile const entry("$pkg_dir/x\t-\t$pkg_dir/y\tl\t-\t$pkg\t$pkg");
  bind("/b", 3, 4);
  EXPECT_THAT(columnsOf(entry), ElementsAre("/a/x", "-", "/a/y", "l", "-", "1", "2"));
}

TEST_F(EntryTest, ConstructionDoesNotChangeTheBinding) {
  bind("/t", 5, 6);
  ProtectedFile const entry("$pkg_dir/x\t-\t$pkg_dir/y\tl\t-\t$pkg\t$pkg_sys");
  EXPECT_TRUE(ProtectedFile::_pkginfo.isSet);
  EXPECT_EQ(ProtectedFile::_pkginfo.uid, 5U);
  EXPECT_EQ(ProtectedFile::_pkginfo.gid, 6U);
  EXPECT_EQ(ProtectedFile::_pkginfo.targetDir, "/t");
}

TEST_F(EntryTest, ListHasRoomForOneThousandAndTwentyFourColumnsAndIsReleased) {
  ProtectedFile const entry("/x\t1\t2\tf\t4\t5\t6");
  EXPECT_THAT(roomOfFreedLists, ElementsAre(1024));
}

TEST_F(EntryTest, ListOfAShortLineIsReleased) {
  ProtectedFile const entry("/x");
  EXPECT_EQ(roomOfFreedLists.size(), 1U);
}

TEST_F(EntryTest, ExhaustedMemoryForTheListIsLoggedAndGivesAnEmptyEntry) {
  bind("/t");
  failListAlloc = true;
  EXPECT_THAT(columnsOf("$pkg_dir/x\t1\t2\tf\t4\t$pkg\t6"), Each(""));
  EXPECT_THAT(recordedLog(), ElementsAre(logged("protected_file", 59, "OOM parameters")));
}

TEST_F(EntryTest, FailedSplittingIsLoggedWithTheLineAndGivesAnEmptyEntry) {
  bind("/t");
  failStrTok = true;
  std::string const line = "$pkg_dir/%s\t1\t2\tf\t4\t$pkg\t6";
  EXPECT_THAT(columnsOf(line), Each(""));
  EXPECT_THAT(recordedLog(), ElementsAre(logged("protected_file", 64, "[%s] strtok failed", line)));
}

// Another core library may report success by 0.
TEST_F(EntryTest, ResultOfSplittingNeedNotBeTheCount) {
  countNoTokens = true;
  EXPECT_THAT(columnsOf("/x\t1\t2\tf\t4\t5\t6"), ElementsAre("/x", "1", "2", "f", "4", "5", "6"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(EntryTest, ListIsReleasedWhenSplittingFails) {
  failStrTok = true;
  ProtectedFile const entry("/x\t1\t2\tf\t4\t5\t6");
  EXPECT_THAT(roomOfFreedLists, ElementsAre(1024));
}

TEST_F(EntryTest, DestructionTakesNullAmongTheErrors) {
  ProtectedFile entry("/x\t1\t2\tf\t4\t5\t6");
  entry._errors.push_back(nullptr);
  entry._errors.push_back(new CheckError{CHECK_ERROR_SIZE, "/x", "1", "2"});
  entry._errors.push_back(nullptr);
}

TEST_F(EntryTest, IsNotCopyableAndNotMadeByConversion) {
  static_assert(!std::is_copy_constructible_v<ProtectedFile>);
  static_assert(!std::is_copy_assignable_v<ProtectedFile>);
  static_assert(!std::is_convertible_v<std::string, ProtectedFile>);
  static_assert(std::is_constructible_v<ProtectedFile, std::string>);
  static_assert(!std::is_polymorphic_v<ProtectedFile>);
}

TEST_F(EntryTest, MembersAreInColumnOrder) {
  ProtectedFile const entry("");
  std::vector<const void*> const members = {
      &entry._path,  &entry._size,  &entry._hash,   &entry._type,        &entry._permission,
      &entry._owner, &entry._group, &entry._errors, &entry._fixedEntries};
  EXPECT_TRUE(std::is_sorted(members.begin(), members.end(), std::less<>()));
  EXPECT_EQ(static_cast<const void*>(&entry), members.front());
  EXPECT_EQ(sizeof entry, 7 * sizeof(std::string) + 2 * sizeof(std::vector<int>));
}

}  // namespace
