// Which attributes are compared, and when.

#include <thread>

#include "attribute_check_fixture.h"
#include "support/grouped_digits.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(AttributeCheckTest, IntactFileHasNoErrors) {
  EXPECT_THAT(check(entryLine(path)), IsEmpty());
}

TEST_F(AttributeCheckTest, EveryAttributeIsExaminedInOrder) {
  EXPECT_EQ(check(allWrong()), allErrors());
}

TEST_F(AttributeCheckTest, EachItemSelectsItsAttributeOnly) {
  std::vector<std::string> const all = allErrors();
  for (size_t i = 0; i < all.size(); ++i)
    EXPECT_THAT(check(allWrong(), static_cast<CHECK_ITEM>(1 << i)), ElementsAre(all[i]));
}

TEST_F(AttributeCheckTest, CombinedItemsKeepTheOrderOfTheAttributes) {
  std::vector<std::string> const all = allErrors();
  EXPECT_THAT(check(allWrong(), CHECK_ITEM_HASH | CHECK_ITEM_PERMISSION | CHECK_ITEM_OWNER),
              ElementsAre(all[1], all[4], all[5]));
}

TEST_F(AttributeCheckTest, EveryRecordIsFilledCompletely) {
  ProtectedFile entry(entryLine(path, "-", "-", "-", "0600", "-", "-"));
  bool changed = false;
  EXPECT_TRUE(entry.check(changed, CHECK_ITEM_ALL));
  ASSERT_EQ(entry._errors.size(), 1U);
  EXPECT_EQ(entry._errors[0]->_error, CHECK_ERROR_PERMISSION);
  EXPECT_EQ(entry._errors[0]->_filePath, path);
  EXPECT_EQ(entry._errors[0]->_expected, "0600");
  EXPECT_EQ(entry._errors[0]->_actual, "644");
}

TEST_F(AttributeCheckTest, NoItemsTestExistenceOnly) {
  EXPECT_THAT(check(allWrong(), CHECK_ITEM{}), IsEmpty());
  EXPECT_THAT(check(entryLine(in("missing"), "-", "-", "-", "-", "-", "-"), CHECK_ITEM{}),
              ElementsAre(in("missing") + " not exist expect[] but get[]"));
}

TEST_F(AttributeCheckTest, ItemsBeyondTheHashMeanNothing) {
  EXPECT_THAT(check(allWrong(), static_cast<CHECK_ITEM>(~63)), IsEmpty());
}

TEST_F(AttributeCheckTest, MinusIsNeverCompared) {
  EXPECT_THAT(check(entryLine(path, "-", "-", "-", "-", "-", "-")), IsEmpty());
}

TEST_F(AttributeCheckTest, EmptyTextsAreCompared) {
  script(S_IFREG | 0644, 1000, 1001);
  EXPECT_THAT(check(path + "\t\t\t\t\t\t"),
              ElementsAre(error("size", "", "7"), error("owner", "", "1000"),
                          error("group", "", "1001"), error("type", "", "f"),
                          error("permission", "", "644"), error("hash", "", contentDigest)));
}

TEST_F(AttributeCheckTest, TextThatOnlyBeginsWithMinusIsCompared) {
  script(S_IFREG | 0644, 1000, 1001);
  EXPECT_THAT(check(entryLine(path, "--", "--", "--", "--", "--", "- ")),
              ElementsAre(error("size", "--", "7"), error("owner", "--", "1000"),
                          error("group", "- ", "1001"), error("type", "--", "f"),
                          error("permission", "--", "644"), error("hash", "--", contentDigest)));
}

TEST_F(AttributeCheckTest, ChangedIsNeverCleared) {
  ProtectedFile entry(entryLine(path));
  bool changed = true;
  EXPECT_TRUE(entry.check(changed, CHECK_ITEM_ALL));
  EXPECT_TRUE(changed);
  EXPECT_THAT(entry._errors, IsEmpty());
}

TEST_F(AttributeCheckTest, SecondCheckAppendsAgain) {
  ProtectedFile entry(entryLine(path, "8", "-", "-", "-", "-", "-"));
  bool changed = false;
  EXPECT_TRUE(entry.check(changed, CHECK_ITEM_ALL));
  changed = false;
  EXPECT_TRUE(entry.check(changed, CHECK_ITEM_ALL));
  EXPECT_TRUE(changed);
  EXPECT_THAT(errorsOf(entry), ElementsAre(error("size", "8", "7"), error("size", "8", "7")));
}

TEST_F(AttributeCheckTest, TextsAreNotChanged) {
  std::string const line = allWrong();
  ProtectedFile entry(line);
  bool changed = false;
  EXPECT_TRUE(entry.check(changed, CHECK_ITEM_ALL));
  EXPECT_EQ(entryLine(entry._path, entry._size, entry._hash, entry._type, entry._permission,
                      entry._owner, entry._group),
            line);
  EXPECT_THAT(entry._fixedEntries, IsEmpty());
}

TEST_F(AttributeCheckTest, FileIsExaminedOnce) {
  ProtectedFile entry(allWrong());
  examinedPaths.clear();
  bool changed = false;
  EXPECT_TRUE(entry.check(changed, CHECK_ITEM_ALL));
  EXPECT_THAT(examinedPaths, ElementsAre(path));
}

TEST_F(AttributeCheckTest, CallersLocaleDoesNotGroupDigits) {
  script(S_IFREG | 07755, 4294967294U, 2147483648U, 1234567890123);
  GroupedDigits const locale;
  EXPECT_THAT(check(entryLine(path, "1", "-", "f", "2", "3", "4")),
              ElementsAre(error("size", "1", "1234567890123"), error("owner", "3", "4294967294"),
                          error("group", "4", "2147483648"), error("permission", "2", "7755")));
}

TEST_F(AttributeCheckTest, DifferentEntriesAreCheckedByDifferentThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([line = allWrong(), expected = allErrors()] {
      ProtectedFile entry(line);
      bool changed = false;
      EXPECT_TRUE(entry.check(changed, CHECK_ITEM_ALL));
      EXPECT_EQ(errorsOf(entry), expected);
    });
  for (std::thread& thread : threads)
    thread.join();
}

// Existence.

TEST_F(AttributeCheckTest, MissingFileIsTheOnlyError) {
  std::string const line = allWrong();
  remove(path);
  EXPECT_THAT(check(line), ElementsAre(error("not exist", "", "")));
}

TEST_F(AttributeCheckTest, EmptyEntryIsMissing) {
  EXPECT_THAT(check("too short"), ElementsAre(" not exist expect[] but get[]"));
}

TEST_F(AttributeCheckTest, PathThatCannotBeExaminedIsMissing) {
  makeLink("loop", in("loop"));
  for (const std::string& unreachable :
       {path + "/below", in("loop") + "/below", in(std::string(256, 'x'))})
    EXPECT_THAT(check(entryLine(unreachable, "-", "-", "-", "-", "-", "-")),
                ElementsAre(unreachable + " not exist expect[] but get[]"));
}

TEST_F(AttributeCheckTest, FileInForbiddenDirectoryIsMissing) {
  makeDirectory(in("closed"));
  std::string const hidden = in("closed") + "/file";
  writeFile(hidden, "content");
  std::string const line = entryLine(hidden);
  changeMode(in("closed"), 0600);
  {
    WithoutFileCapabilities const ordinary;
    EXPECT_THAT(check(line), ElementsAre(hidden + " not exist expect[] but get[]"));
  }
  changeMode(in("closed"), 0700);
}

// Symbolic links.

TEST_F(AttributeCheckTest, DanglingLinkIsNotMissing) {
  makeLink("/nowhere/at/all", in("link"));
  EXPECT_THAT(check(entryLine(in("link"), "15", "/nowhere/at/all", "l", "-", "-", "-")), IsEmpty());
}

TEST_F(AttributeCheckTest, LinkToItselfIsNotMissing) {
  makeLink("link", in("link"));
  EXPECT_THAT(check(entryLine(in("link"), "4", "link", "l", "-", "-", "-")), IsEmpty());
}

TEST_F(AttributeCheckTest, SizeOfLinkIsThatOfItsTargetText) {
  makeLink(path, in("link"));
  std::string const length = std::to_string(path.size());
  EXPECT_THAT(check(entryLine(in("link"), length, path, "l", "-", "-", "-")), IsEmpty());
  EXPECT_THAT(check(entryLine(in("link"), "7", path, "l", "-", "-", "-")),
              ElementsAre(in("link") + " size expect[7] but get[" + length + "]"));
}

TEST_F(AttributeCheckTest, IdsAndPermissionOfLinkAreNotCompared) {
  makeLink("file", in("link"));
  EXPECT_THAT(check(entryLine(in("link"), "4", "file", "l", "1", "12345", "54321")), IsEmpty());
}

// Hash.

TEST_F(AttributeCheckTest, HashIsComparedWithTheStatusThatWasRead) {
  script(S_IFIFO | 0644);
  EXPECT_THAT(check(entryLine(path, "-", "wrong", "-", "-", "-", "-")), IsEmpty());
}

class UnreadableFileTest : public AttributeCheckTest {
 protected:
  UnreadableFileTest() { changeMode(path, 0); }

  static bool tryCheck(ProtectedFile& entry, bool& changed, CHECK_ITEM items) {
    WithoutFileCapabilities const ordinary;
    return entry.check(changed, items);
  }
};

TEST_F(UnreadableFileTest, FailsAndKeepsTheEarlierErrors) {
  ProtectedFile entry(entryLine(path, "8", contentDigest, "f", "644", "-", "-"));
  bool changed = false;
  EXPECT_FALSE(tryCheck(entry, changed, CHECK_ITEM_ALL));
  EXPECT_TRUE(changed);
  EXPECT_THAT(errorsOf(entry),
              ElementsAre(error("size", "8", "7"), error("permission", "644", "0")));
  EXPECT_THAT(
      recordedLog(),
      ElementsAre(logged("protected_file", 365, "Open file [%s] failed", path),
                  logged("protected_file", 288, "Calculate hash of file [%s] failed", path)));
}

TEST_F(UnreadableFileTest, FailsWithoutSettingChangedWhenNothingElseDiffers) {
  ProtectedFile entry(entryLine(path, "7", contentDigest, "f", "0", "-", "-"));
  bool changed = false;
  EXPECT_FALSE(tryCheck(entry, changed, CHECK_ITEM_ALL));
  EXPECT_FALSE(changed);
  EXPECT_THAT(entry._errors, IsEmpty());
}

TEST_F(UnreadableFileTest, IsCheckedWithoutTheHashItem) {
  ProtectedFile entry(entryLine(path, "7", contentDigest, "f", "0", "-", "-"));
  bool changed = false;
  EXPECT_TRUE(tryCheck(entry, changed, static_cast<CHECK_ITEM>(255 & ~CHECK_ITEM_HASH)));
  EXPECT_THAT(entry._errors, IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(UnreadableFileTest, IsCheckedWhenTheEntryHasNoHash) {
  ProtectedFile entry(entryLine(path, "7", "-", "f", "0", "-", "-"));
  bool changed = false;
  EXPECT_TRUE(tryCheck(entry, changed, CHECK_ITEM_ALL));
  EXPECT_THAT(entry._errors, IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

// The file has another permission than lstat has just reported, because it has replaced the earlier
// file.
class ExchangedFileTest : public AttributeCheckTest {
 protected:
  std::string lineOf(const std::string& type, const std::string& hash) const {
    return entryLine(path, "-", hash, type, "644", "-", "-");
  }
};

TEST_F(ExchangedFileTest, FileWithTheContentAndAnotherPermissionIsFound) {
  script(S_IFREG | 0644);
  changeMode(path, 04755);
  EXPECT_THAT(check(lineOf("f", contentDigest)), ElementsAre(error("permission", "644", "4755")));
}

TEST_F(ExchangedFileTest, FileWithTheContentAndAnotherOwnerIsFound) {
  changeMode(path, 0644);
  struct stat const st = statusOf(path);
  uid_t const before = st.st_uid + 1;
  script(S_IFREG | 0644, before, st.st_gid);
  std::string const named = std::to_string(before);
  EXPECT_THAT(check(entryLine(path, "7", contentDigest, "f", "644", named, "-")),
              ElementsAre(error("owner", named, std::to_string(st.st_uid))));
}

TEST_F(ExchangedFileTest, FileWithTheContentAndAnotherGroupIsFound) {
  changeMode(path, 0644);
  struct stat const st = statusOf(path);
  gid_t const before = st.st_gid + 1;
  script(S_IFREG | 0644, st.st_uid, before);
  std::string const named = std::to_string(before);
  EXPECT_THAT(check(entryLine(path, "7", contentDigest, "f", "644", "-", named)),
              ElementsAre(error("group", named, std::to_string(st.st_gid))));
}

TEST_F(ExchangedFileTest, FileWithTheContentAndAnotherSizeIsFound) {
  changeMode(path, 0644);
  struct stat const st = statusOf(path);
  script(S_IFREG | 0644, st.st_uid, st.st_gid, 8);
  EXPECT_THAT(check(entryLine(path, "8", contentDigest, "f", "644", "-", "-")),
              ElementsAre(error("size", "8", "7")));
}

TEST_F(ExchangedFileTest, DirectoryWithTheMembersAndAnotherPermissionIsFound) {
  script(S_IFDIR | 0644);
  remove(path);
  makeDirectory(path);
  changeMode(path, 0755);
  EXPECT_THAT(check(lineOf("d", "FIXED")), ElementsAre(error("permission", "644", "755")));
}

TEST_F(ExchangedFileTest, IsNotComparedOnceMoreWhenSomethingElseDiffers) {
  script(S_IFREG | 0644);
  changeMode(path, 0755);
  EXPECT_THAT(check(lineOf("f", "wrong")), ElementsAre(error("hash", "wrong", contentDigest)));
}

TEST_F(ExchangedFileTest, IsNotReadAndNotComparedWithoutTheHashItem) {
  script(S_IFREG | 0644);
  changeMode(path, 0755);
  EXPECT_THAT(check(lineOf("f", contentDigest), CHECK_ITEM_PERMISSION), IsEmpty());
}

}  // namespace
