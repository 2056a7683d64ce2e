// The positions of members in the public classes. Programs built against these headers access the
// objects directly, so a moved member breaks them without warning.

#include <gtest/gtest.h>
#include <zemo/selfcheck.h>

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "support/private_root.h"

namespace {

using namespace ZEMO::SELF_CHECK;

TEST(CheckErrorLayout, HasItsMembersInOrder) {
  struct Mirror {
    int32_t error;
    std::string filePath;
    std::string expected;
    std::string actual;
  };
  static_assert(sizeof(CheckError) == sizeof(Mirror));
  EXPECT_EQ(offsetof(CheckError, _error), offsetof(Mirror, error));
  EXPECT_EQ(offsetof(CheckError, _filePath), offsetof(Mirror, filePath));
  EXPECT_EQ(offsetof(CheckError, _expected), offsetof(Mirror, expected));
  EXPECT_EQ(offsetof(CheckError, _actual), offsetof(Mirror, actual));
}

TEST(PkgInfoLayout, HasItsMembersInOrder) {
  struct Mirror {
    bool isSet;
    uint32_t uid;
    uint32_t gid;
    std::string targetDir;
  };
  static_assert(sizeof(PkgInfo) == sizeof(Mirror));
  static_assert(std::is_same_v<decltype(PkgInfo::uid), uint32_t>);
  static_assert(std::is_same_v<decltype(PkgInfo::gid), uint32_t>);
  EXPECT_EQ(offsetof(PkgInfo, isSet), offsetof(Mirror, isSet));
  EXPECT_EQ(offsetof(PkgInfo, uid), offsetof(Mirror, uid));
  EXPECT_EQ(offsetof(PkgInfo, gid), offsetof(Mirror, gid));
  EXPECT_EQ(offsetof(PkgInfo, targetDir), offsetof(Mirror, targetDir));
}

TEST(ProtectedFileLayout, HasItsMembersInOrder) {
  struct Mirror {
    std::string path;
    std::string size;
    std::string hash;
    std::string type;
    std::string permission;
    std::string owner;
    std::string group;
    std::vector<CheckError*> errors;
    std::vector<std::string> fixedEntries;
  };
  static_assert(sizeof(ProtectedFile) == sizeof(Mirror));
  static_assert(!std::is_polymorphic_v<ProtectedFile>);
  EXPECT_EQ(offsetof(ProtectedFile, _path), offsetof(Mirror, path));
  EXPECT_EQ(offsetof(ProtectedFile, _size), offsetof(Mirror, size));
  EXPECT_EQ(offsetof(ProtectedFile, _hash), offsetof(Mirror, hash));
  EXPECT_EQ(offsetof(ProtectedFile, _type), offsetof(Mirror, type));
  EXPECT_EQ(offsetof(ProtectedFile, _permission), offsetof(Mirror, permission));
  EXPECT_EQ(offsetof(ProtectedFile, _owner), offsetof(Mirror, owner));
  EXPECT_EQ(offsetof(ProtectedFile, _group), offsetof(Mirror, group));
  EXPECT_EQ(offsetof(ProtectedFile, _errors), offsetof(Mirror, errors));
  EXPECT_EQ(offsetof(ProtectedFile, _fixedEntries), offsetof(Mirror, fixedEntries));
}

// FileList's members are private, so the tests read them at the offsets in a structure with the
// same types.
struct FileListMirror {
  std::string name;
  std::string mode;
  std::string listDir;
  std::vector<std::string> listFiles;
  boost::shared_ptr<std::map<std::string, boost::shared_ptr<ProtectedFile>>> protectedFiles;
  std::vector<std::string> fixedDirs;
  std::vector<boost::function2<int, boost::shared_ptr<ProtectedFile>&, bool&>> hooks;
};
static_assert(sizeof(FileList) == sizeof(FileListMirror));
static_assert(alignof(FileList) == alignof(FileListMirror));
static_assert(!std::is_polymorphic_v<FileList>);

// The member of type Member, `offset` bytes after the start of `list`.
template <class Member>
const Member& memberAt(const FileList& list, size_t offset) {
  return *reinterpret_cast<const Member*>(reinterpret_cast<const char*>(&list) + offset);
}

#define MEMBER(list, name) \
  memberAt<decltype(FileListMirror::name)>(list, offsetof(FileListMirror, name))

TEST(FileListLayout, BeginsWithNameModeAndDirectory) {
  FileList const list("demo", "full");
  EXPECT_EQ(MEMBER(list, name), "demo");
  EXPECT_EQ(MEMBER(list, mode), "full");
  EXPECT_EQ(MEMBER(list, listDir), "/usr/zemo/selfcheck/packages/demo");
  EXPECT_TRUE(MEMBER(list, listFiles).empty());
  EXPECT_TRUE(MEMBER(list, fixedDirs).empty());
  EXPECT_TRUE(MEMBER(list, hooks).empty());
}

TEST(FileListLayout, HoldsItsMapAfterTheListFiles) {
  FileList const list("wam", "full");
  EXPECT_NE(MEMBER(list, protectedFiles), nullptr);
  EXPECT_EQ(MEMBER(list, protectedFiles), list.getProtectedFiles());
}

TEST(FileListLayout, EndsWithItsHooks) {
  FileList list("wam", "full");
  list.addHook([](boost::shared_ptr<ProtectedFile>&, bool&) { return 1; });
  list.addHook([](boost::shared_ptr<ProtectedFile>&, bool&) { return 2; });
  auto const& hooks = MEMBER(list, hooks);
  ASSERT_EQ(hooks.size(), 2U);
  boost::shared_ptr<ProtectedFile> entry;
  bool changed = false;
  EXPECT_EQ(hooks[0](entry, changed), 1);
  EXPECT_EQ(hooks[1](entry, changed), 2);
}

class LoadedFileListLayout : public PrivateRootTest {};

TEST_F(LoadedFileListLayout, HoldsListFilesAndFixedDirectories) {
  std::string const path = writeList("wam.full.base.list", "/fixed\t-\tFIXED\td\t-\t-\t-\n");
  FileList list("wam", "full");
  ASSERT_TRUE(list.loadList(false));
  EXPECT_EQ(MEMBER(list, listFiles), std::vector<std::string>{path});
  EXPECT_EQ(MEMBER(list, fixedDirs), std::vector<std::string>{"/fixed"});
}

TEST(Enumerations, AreSigned32BitNumbers) {
  static_assert(std::is_same_v<std::underlying_type_t<CHECK_ITEM>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<CHECK_ERROR>, int32_t>);
  static_assert(std::is_convertible_v<CHECK_ITEM, int>, "unscoped");
  static_assert(std::is_convertible_v<CHECK_ERROR, int>, "unscoped");
  static_assert(sizeof(CheckError::_error) == 4);
}

TEST(Enumerations, HaveTheNumbersThatCallersWereBuiltWith) {
  EXPECT_EQ(CHECK_ITEM_SIZE, 1);
  EXPECT_EQ(CHECK_ITEM_OWNER, 2);
  EXPECT_EQ(CHECK_ITEM_GROUP, 4);
  EXPECT_EQ(CHECK_ITEM_TYPE, 8);
  EXPECT_EQ(CHECK_ITEM_PERMISSION, 16);
  EXPECT_EQ(CHECK_ITEM_HASH, 32);
  EXPECT_EQ(CHECK_ITEM_ALL, 255);
  EXPECT_EQ(CHECK_ERROR_SIZE, 1);
  EXPECT_EQ(CHECK_ERROR_HASH, 2);
  EXPECT_EQ(CHECK_ERROR_TYPE, 3);
  EXPECT_EQ(CHECK_ERROR_PERMISSION, 4);
  EXPECT_EQ(CHECK_ERROR_OWNER, 5);
  EXPECT_EQ(CHECK_ERROR_GROUP, 6);
  EXPECT_EQ(CHECK_ERROR_NOT_EXIST, 8);
  EXPECT_EQ(CHECK_ERROR_UNKNOWN_FILE, 9);
}

SELFCHECK_RESULT resultFrom(uint32_t mask) {
  static_assert(sizeof(SELFCHECK_RESULT) == sizeof mask);
  static_assert(alignof(SELFCHECK_RESULT) == alignof(uint32_t));
  SELFCHECK_RESULT result;
  memcpy(&result, &mask, sizeof result);
  return result;
}

// The flags from bit 0 on, one digit each, then the rest of the word.
std::string flagsOf(const SELFCHECK_RESULT& result) {
  std::vector<uint32_t> const flags = {result.sizeError, result.ownerError,      result.groupError,
                                       result.typeError, result.permissionError, result.hashError,
                                       result.notExist,  result.notListed,       result.inFixedDir};
  std::string text;
  for (uint32_t const flag : flags)
    text += std::to_string(flag);
  return text + "," + std::to_string(result.reserved);
}

TEST(ResultLayout, HasOneFlagPerBit) {
  EXPECT_EQ(flagsOf(resultFrom(0x000)), "000000000,0");
  EXPECT_EQ(flagsOf(resultFrom(0x001)), "100000000,0");
  EXPECT_EQ(flagsOf(resultFrom(0x002)), "010000000,0");
  EXPECT_EQ(flagsOf(resultFrom(0x004)), "001000000,0");
  EXPECT_EQ(flagsOf(resultFrom(0x008)), "000100000,0");
  EXPECT_EQ(flagsOf(resultFrom(0x010)), "000010000,0");
  EXPECT_EQ(flagsOf(resultFrom(0x020)), "000001000,0");
  EXPECT_EQ(flagsOf(resultFrom(0x040)), "000000100,0");
  EXPECT_EQ(flagsOf(resultFrom(0x080)), "000000010,0");
  EXPECT_EQ(flagsOf(resultFrom(0x100)), "000000001,0");
}

TEST(ResultLayout, KeepsTheOtherBitsApart) {
  EXPECT_EQ(flagsOf(resultFrom(0x200)), "000000000,1");
  EXPECT_EQ(flagsOf(resultFrom(0xfffffe00)), "000000000,8388607");
}

// The second field is the number of items in existing binaries.
TEST(StringListLayout, BeginsWithCapacityAndCount) {
  static_assert(std::is_same_v<decltype(VLIBSzList::capacity), int32_t>);
  static_assert(std::is_same_v<decltype(VLIBSzList::count), int32_t>);
  EXPECT_EQ(offsetof(VLIBSzList, capacity), 0U);
  EXPECT_EQ(offsetof(VLIBSzList, count), 4U);
}

}  // namespace
