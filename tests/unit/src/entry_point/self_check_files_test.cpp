#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/core.h>
#include <zemo/selfcheck/protected_file.h>
#include <zemo/selfcheck/self_check_files.h>

#include <vector>

#include "support/path_list.h"
#include "support/result_mask.h"
#include "support/signed_set_test.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t pattern = 0xa5a5a5a5;
constexpr char setPattern[] = "/usr/zemo/selfcheck/wam.full.*.list";

const LogLine sanityLine = logged("util", 24, "Selfcheck check sanity failed");
const LogLine loadLine = logged("util", 33, "Selfcheck load list failed");
const LogLine checkLine = logged("util", 38, "Selfcheck failed");

class SelfCheckFilesTest : public SignedSetTest {
 protected:
  // Checks the paths with an array of `room` elements that hold the pattern.
  int check(const std::vector<std::string>& paths, size_t room) {
    _results.assign(room, resultFrom(pattern));
    return SelfCheckFiles(PathList(paths).get(), _results.data());
  }
  int check(const std::vector<std::string>& paths) { return check(paths, paths.size()); }

  std::vector<uint32_t> results() const { return masksOf(_results); }

  std::vector<SELFCHECK_RESULT> _results;
};

TEST_F(SelfCheckFilesTest, IntactFilesYieldZero) {
  std::string const a = file("a", "one");
  std::string const b = file("b", "two");
  std::string const c = file("c", "three");
  signedList("wam.full.base.list", {entryLine(a), entryLine(b), entryLine(c)});
  EXPECT_EQ(check({a, b, c}), 0);
  EXPECT_THAT(results(), ElementsAre(0, 0, 0));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(SelfCheckFilesTest, ResultsAreInTheOrderOfTheItems) {
  std::string const changed = file("changed", "before");
  std::string const missing = file("missing");
  std::string const intact = file("intact");
  signedList("wam.full.base.list", {entryLine(changed), entryLine(missing), entryLine(intact)});
  writeFile(changed, "after!");
  remove(missing);
  EXPECT_EQ(check({missing, intact, pathOf("unlisted"), changed}), 0);
  EXPECT_THAT(results(), ElementsAre(0x040, 0, 0x080, 0x020));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(SelfCheckFilesTest, WritesNoMoreElementsThanItems) {
  std::string const path = file("f");
  signedList("wam.full.base.list", {entryLine(path)});
  EXPECT_EQ(check({path, path}, 4), 0);
  EXPECT_THAT(results(), ElementsAre(0, 0, pattern, pattern));
}

TEST_F(SelfCheckFilesTest, RepeatedPathHasTheSameResultTwice) {
  std::string const path = file("f");
  signedList("wam.full.base.list", {entryLine(path, "0", "-", "-", "-", "-", "-")});
  EXPECT_EQ(check({path, path}), 0);
  EXPECT_THAT(results(), ElementsAre(0x001, 0x001));
}

TEST_F(SelfCheckFilesTest, PathsAreTakenVerbatim) {
  std::string const path = file("f");
  signedList("wam.full.base.list", {entryLine(path)});
  EXPECT_EQ(check({path, "/" + path, path + "/", path.substr(1), ""}), 0);
  EXPECT_THAT(results(), ElementsAre(0, 0x080, 0x080, 0x080, 0x080));
}

TEST_F(SelfCheckFilesTest, IntruderInAFixedDirectory) {
  makeDirectory(pathOf("d"));
  signedList("wam.full.base.list", {entryLine(pathOf("d"), "-", "FIXED", "d", "-", "-", "-")});
  EXPECT_EQ(check({pathOf("d/intruder"), pathOf("d/sub/file")}), 0);
  EXPECT_THAT(results(), ElementsAre(0x180, 0x080));
}

TEST_F(SelfCheckFilesTest, LaterListsOverrideEarlierOnes) {
  std::string const path = file("f");
  signedList("wam.full.a.list", {entryLine(path)});
  signedList("wam.full.b.list", {entryLine(path, "0", "-", "-", "-", "-", "-")});
  EXPECT_EQ(check({path}), 0);
  EXPECT_THAT(results(), ElementsAre(0x001));
  writeFile(std::string(listDir) + "/listorder", "wam.full.b.list\nwam.full.a.list\n");
  EXPECT_EQ(check({path}), 0);
  EXPECT_THAT(results(), ElementsAre(0));
}

TEST_F(SelfCheckFilesTest, OtherModesAreNotConsulted) {
  std::string const path = file("f");
  signedList("wam.full.base.list", {});
  signedList("wam.quick.base.list", {entryLine(path)});
  EXPECT_EQ(check({path}), 0);
  EXPECT_THAT(results(), ElementsAre(0x080));
}

TEST_F(SelfCheckFilesTest, PackageListsAreNotConsulted) {
  std::string const path = file("f");
  signedList("wam.full.base.list", {});
  std::string const packageSet = std::string(listDir) + "/packages/demo";
  key()->sign(writeList(packageSet, "demo.full.base.list", entryLine(path) + "\n"));
  EXPECT_EQ(check({path}), 0);
  EXPECT_THAT(results(), ElementsAre(0x080));
}

TEST_F(SelfCheckFilesTest, NoItemsWriteNothing) {
  signedList("wam.full.base.list", {entryLine(file("f"))});
  EXPECT_EQ(check({}, 2), 0);
  EXPECT_THAT(results(), Each(pattern));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(SelfCheckFilesTest, NoItemsStillLoadTheSet) {
  EXPECT_EQ(check({}, 2), -1);
  EXPECT_THAT(results(), Each(pattern));
  EXPECT_THAT(recordedLog(), ElementsAre(loadLine));
}

TEST_F(SelfCheckFilesTest, NoItemsStillVerifyTheSet) {
  std::string const list = signedList("wam.full.base.list", {entryLine(file("f"))});
  appendToFile(list, "more\n");
  EXPECT_EQ(check({}, 2), -1);
  EXPECT_THAT(results(), Each(pattern));
}

TEST_F(SelfCheckFilesTest, NegativeCountIsNoItems) {
  std::string const path = file("f");
  signedList("wam.full.base.list", {entryLine(path)});
  PathList const paths({path});
  SELFCHECK_RESULT result = resultFrom(pattern);
  for (int32_t const count : {-1, INT32_MIN}) {
    paths.get()->count = count;
    EXPECT_EQ(SelfCheckFiles(paths.get(), &result), 0) << count;
    EXPECT_EQ(maskOf(result), pattern);
  }
  paths.get()->count = 1;
}

TEST_F(SelfCheckFilesTest, OnlyAsManyItemsAsTheCountSaysAreChecked) {
  std::string const path = file("f");
  signedList("wam.full.base.list", {entryLine(path)});
  PathList const paths({path, path, path});
  paths.get()->count = 2;
  std::vector<SELFCHECK_RESULT> found(3, resultFrom(pattern));
  EXPECT_EQ(SelfCheckFiles(paths.get(), found.data()), 0);
  EXPECT_THAT(masksOf(found), ElementsAre(0, 0, pattern));
}

// The list has no signature, which reading the set would log.
TEST_F(SelfCheckFilesTest, NullArrayIsRefusedBeforeAnyListIsRead) {
  writeList("wam.full.base.list", "");
  EXPECT_EQ(SelfCheckFiles(PathList({"/etc/passwd"}).get(), nullptr), -1);
  EXPECT_THAT(recordedLog(), ElementsAre(sanityLine));
}

TEST_F(SelfCheckFilesTest, NullArrayIsRefusedWithoutItemsToo) {
  signedList("wam.full.base.list", {});
  EXPECT_EQ(SelfCheckFiles(PathList({}).get(), nullptr), -1);
  EXPECT_THAT(recordedLog(), ElementsAre(sanityLine));
}

TEST_F(SelfCheckFilesTest, NullListIsRefusedBeforeAnyListIsRead) {
  writeList("wam.full.base.list", "");
  SELFCHECK_RESULT result = resultFrom(pattern);
  EXPECT_EQ(SelfCheckFiles(nullptr, &result), -1);
  EXPECT_EQ(maskOf(result), pattern);
  EXPECT_THAT(recordedLog(), ElementsAre(sanityLine));
}

TEST_F(SelfCheckFilesTest, TwoNullsAreLoggedOnce) {
  EXPECT_EQ(SelfCheckFiles(nullptr, nullptr), -1);
  EXPECT_THAT(recordedLog(), ElementsAre(sanityLine));
}

TEST_F(SelfCheckFilesTest, SetWithoutListsFails) {
  EXPECT_EQ(check({"/etc/passwd"}), -1);
  EXPECT_THAT(results(), Each(pattern));
  EXPECT_THAT(recordedLog(), ElementsAre(loadLine));
}

TEST_F(SelfCheckFilesTest, ChangedListFailsWhateverThePaths) {
  std::string const path = file("f");
  std::string const list = signedList("wam.full.base.list", {entryLine(path)});
  appendToFile(list, entryLine(path) + "\n");
  EXPECT_EQ(check({path, pathOf("unlisted")}), -1);
  EXPECT_THAT(results(), Each(pattern));
  EXPECT_THAT(
      recordedLog(),
      ElementsAre(logged("file_list", 247, "Verify signature failed"),
                  logged("file_list", 225, "Check %s sign failed.", list),
                  logged("file_list", 321, "Check signature of check list [%s] failed", setPattern),
                  loadLine));
}

TEST_F(SelfCheckFilesTest, MissingSignatureFails) {
  std::string const path = file("f");
  std::string const list = signedList("wam.full.base.list", {entryLine(path)});
  remove(list + ".asc");
  EXPECT_EQ(check({path}), -1);
  EXPECT_THAT(results(), Each(pattern));
  EXPECT_THAT(
      recordedLog(),
      ElementsAre(logged("file_list", 242, "Signature of [%s] is not exist.", list),
                  logged("file_list", 225, "Check %s sign failed.", list),
                  logged("file_list", 321, "Check signature of check list [%s] failed", setPattern),
                  loadLine));
}

TEST_F(SelfCheckFilesTest, SignatureOfAnUnknownKeyFails) {
  std::string const path = file("f");
  SigningKey const stranger;
  stranger.sign(writeList("wam.full.base.list", entryLine(path) + "\n"));
  EXPECT_EQ(check({path}), -1);
  EXPECT_THAT(results(), Each(pattern));
}

TEST_F(SelfCheckFilesTest, SignatureOfAnotherListFails) {
  std::string const path = file("f");
  std::string const signature = signedList("wam.full.a.list", {entryLine(path)}) + ".asc";
  std::string const list = signedList("wam.full.b.list", {});
  writeFile(list + ".asc", readFile(signature));
  EXPECT_EQ(check({path}), -1);
  EXPECT_THAT(results(), Each(pattern));
}

TEST_F(SelfCheckFilesTest, OneBadListFailsTheWholeSet) {
  std::string const path = file("f");
  signedList("wam.full.a.list", {entryLine(path)});
  writeList("wam.full.b.list", "");
  EXPECT_EQ(check({path}), -1);
  EXPECT_THAT(results(), Each(pattern));
}

TEST_F(SelfCheckFilesTest, SignedListWithoutHeaderFails) {
  std::string const path = file("f");
  std::string const list = signedList("wam.full.base.list", {});
  writeFile(list, entryLine(path) + "\n");
  key()->sign(list);
  EXPECT_EQ(check({path}), -1);
  EXPECT_THAT(results(), Each(pattern));
  EXPECT_THAT(recordedLog(),
              ElementsAre(logged("file_list", 108, "Format Error"),
                          logged("file_list", 48, "Parse list [%s] failed.", list), loadLine));
}

TEST_F(SelfCheckFilesTest, UnreadableFileFailsAndGivesNoResults) {
  std::string const a = file("a");
  std::string const b = file("b");
  std::string const c = file("c");
  signedList("wam.full.base.list", {entryLine(a), entryLine(b), entryLine(c)});
  changeMode(b, 0);
  WithoutFileCapabilities const without;
  EXPECT_EQ(check({a, b, c}), -1);
  EXPECT_THAT(results(), Each(pattern));
  EXPECT_THAT(
      recordedLog(),
      ElementsAre(logged("protected_file", 365, "Open file [%s] failed", b),
                  logged("protected_file", 288, "Calculate hash of file [%s] failed", b),
                  logged("file_list", 187, "SelfCheck check file [%s] failed.", b), checkLine));
}

TEST_F(SelfCheckFilesTest, UnreadableFileThatIsNotNamedDoesNotMatter) {
  std::string const a = file("a");
  std::string const b = file("b");
  signedList("wam.full.base.list", {entryLine(a), entryLine(b)});
  changeMode(b, 0);
  WithoutFileCapabilities const without;
  EXPECT_EQ(check({a}), 0);
  EXPECT_THAT(results(), ElementsAre(0));
}

TEST_F(SelfCheckFilesTest, NothingIsKeptFromCallToCall) {
  std::string const path = file("f");
  std::string const list = signedList("wam.full.base.list", {entryLine(path)});
  changeMode(path, 0600);
  EXPECT_EQ(check({path}), 0);
  EXPECT_THAT(results(), ElementsAre(0x010));
  changeMode(path, 0644);
  EXPECT_EQ(check({path}), 0);
  EXPECT_THAT(results(), ElementsAre(0));
  signedList("wam.full.base.list", {});
  EXPECT_EQ(check({path}), 0);
  EXPECT_THAT(results(), ElementsAre(0x080));
  remove(list);
  EXPECT_EQ(check({path}), -1);
}

TEST_F(SelfCheckFilesTest, CallersListStaysAsItIs) {
  std::string const path = file("f");
  signedList("wam.full.base.list", {entryLine(path)});
  PathList const paths({path, "second"});
  int32_t const capacity = paths.get()->capacity;
  const char* const item = VLIBSzListGet(paths.get(), 0);
  SELFCHECK_RESULT found[2] = {};
  EXPECT_EQ(SelfCheckFiles(paths.get(), found), 0);
  EXPECT_EQ(paths.get()->capacity, capacity);
  EXPECT_EQ(paths.get()->count, 2);
  EXPECT_EQ(VLIBSzListGet(paths.get(), 0), item);
  EXPECT_EQ(item, path);
  EXPECT_STREQ(VLIBSzListGet(paths.get(), 1), "second");
}

TEST_F(SelfCheckFilesTest, DescriptorsDoNotLeak) {
  std::string const path = file("f");
  std::string const list = signedList("wam.full.base.list", {entryLine(path)});
  writeFile(std::string(listDir) + "/listorder", "wam.full.base.list\n");
  EXPECT_EQ(check({path}), 0);
  int const before = openDescriptors();
  EXPECT_EQ(check({path}), 0);
  remove(list + ".asc");
  EXPECT_EQ(check({path}), -1);
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(SelfCheckFilesTest, PackageBindingIsNotSet) {
  std::string const path = file("f");
  signedList("wam.full.base.list", {entryLine(path), "$pkg_dir/file\t-\t-\t-\t-\t-\t-"});
  EXPECT_EQ(check({path, "$pkg_dir/file"}), 0);
  EXPECT_THAT(results(), ElementsAre(0, 0x040));
  EXPECT_FALSE(ZEMO::SELF_CHECK::ProtectedFile::_pkginfo.isSet);
}

}  // namespace
