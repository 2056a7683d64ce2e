// A caller that uses every declared name with exactly the declared types: code that is built
// against the interface today must compile against every later version.

#include <gtest/gtest.h>
#include <zemo/package.h>
#include <zemo/selfcheck.h>

#include <type_traits>

#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

using namespace ZEMO::SELF_CHECK;

template <class Declared, class Actual>
constexpr bool is = std::is_same_v<Declared, Actual>;

// Conversion to a function type selects the overload.
template <class Type>
constexpr bool has(Type /*function*/) {
  return true;
}

using Strings = std::vector<std::string>;
using Map = std::map<std::string, boost::shared_ptr<ProtectedFile>>;

// check_error.h
static_assert(is<CHECK_ERROR, decltype(CheckError::_error)>);
static_assert(is<std::string, decltype(CheckError::_filePath)>);
static_assert(is<std::string, decltype(CheckError::_expected)>);
static_assert(is<std::string, decltype(CheckError::_actual)>);
static_assert(is<std::string (CheckError::*)(CHECK_ERROR), decltype(&CheckError::type2String)>);
static_assert(is<std::string (CheckError::*)(), decltype(&CheckError::toString)>);
static_assert((CHECK_ITEM_SIZE | CHECK_ITEM_OWNER) == 3);
static_assert(is<CHECK_ITEM, decltype(CHECK_ITEM_SIZE | CHECK_ITEM_OWNER)>);

constexpr CHECK_ITEM combined() {
  CHECK_ITEM items = CHECK_ITEM_SIZE;
  items |= CHECK_ITEM_HASH;
  return items;
}
static_assert(combined() == 33, "both operators work at compile time");

// protected_file.h
static_assert(is<bool, decltype(PkgInfo::isSet)>);
static_assert(is<uid_t, decltype(PkgInfo::uid)>);
static_assert(is<gid_t, decltype(PkgInfo::gid)>);
static_assert(is<std::string, decltype(PkgInfo::targetDir)>);
static_assert(is<PkgInfo, decltype(ProtectedFile::_pkginfo)>);
static_assert(std::is_constructible_v<ProtectedFile, std::string>);
static_assert(!std::is_convertible_v<std::string, ProtectedFile>, "explicit");
static_assert(!std::is_default_constructible_v<ProtectedFile>);
static_assert(!std::is_copy_constructible_v<ProtectedFile>);
static_assert(!std::is_copy_assignable_v<ProtectedFile>);
static_assert(!std::is_move_constructible_v<ProtectedFile>);
static_assert(is<std::string, decltype(ProtectedFile::_path)>);
static_assert(is<std::string, decltype(ProtectedFile::_size)>);
static_assert(is<std::string, decltype(ProtectedFile::_hash)>);
static_assert(is<std::string, decltype(ProtectedFile::_type)>);
static_assert(is<std::string, decltype(ProtectedFile::_permission)>);
static_assert(is<std::string, decltype(ProtectedFile::_owner)>);
static_assert(is<std::string, decltype(ProtectedFile::_group)>);
static_assert(is<std::vector<CheckError*>, decltype(ProtectedFile::_errors)>);
static_assert(is<Strings, decltype(ProtectedFile::_fixedEntries)>);
static_assert(is<bool (ProtectedFile::*)(bool&, CHECK_ITEM), decltype(&ProtectedFile::check)>);
static_assert(
    is<bool (ProtectedFile::*)(const struct stat&, bool&), decltype(&ProtectedFile::checkHash)>);
static_assert(is<bool (*)(const std::string&), decltype(&ProtectedFile::setPkg)>);
static_assert(is<bool (*)(std::string, std::string&), decltype(&calculateHash)>);

// file_list.h
static_assert(is<boost::function2<int, boost::shared_ptr<ProtectedFile>&, bool&>, FileList::Hook>);
static_assert(is<Map, FileList::ProtectedFileMap>);
static_assert(std::is_constructible_v<FileList, std::string, std::string>);
static_assert(std::is_constructible_v<FileList, std::string, std::string, FileList&>);
static_assert(!std::is_default_constructible_v<FileList>);
static_assert(std::is_nothrow_destructible_v<FileList>);
static_assert(is<bool (FileList::*)(bool), decltype(&FileList::loadList)>);
static_assert(has<bool (FileList::*)() const>(&FileList::checkSign));
static_assert(has<bool (FileList::*)(const std::string&) const>(&FileList::checkSign));
static_assert(has<bool (FileList::*)()>(&FileList::parseList));
static_assert(has<bool (FileList::*)(const std::string&)>(&FileList::parseList));
static_assert(is<bool (FileList::*)(), decltype(&FileList::fillFixedDirInfo)>);
static_assert(is<bool (FileList::*)(CHECK_ITEM), decltype(&FileList::check)>);
static_assert(has<bool (FileList::*)(CHECK_ITEM) const>(&FileList::checkFiles));
static_assert(
    has<bool (FileList::*)(Strings, std::vector<SELFCHECK_RESULT>&)>(&FileList::checkFiles));
static_assert(is<void (FileList::*)(const FileList::Hook&), decltype(&FileList::addHook)>);
static_assert(
    is<boost::shared_ptr<Map> (FileList::*)() const, decltype(&FileList::getProtectedFiles)>);
static_assert(is<std::string (FileList::*)() const, decltype(&FileList::toString)>);

using Glob = Strings (*)(const std::string&, const std::string&);
static_assert(static_cast<Glob>(&::glob) == static_cast<Glob>(&ZEMO::SELF_CHECK::glob));

// self_check_files.h
static_assert(is<int(VLIBSzList*, SELFCHECK_RESULT*), decltype(SelfCheckFiles)>);
static_assert(is<SELFCHECK_RESULT, struct SELFCHECK_RESULT>);
static_assert(std::is_trivial_v<SELFCHECK_RESULT>);
static_assert(std::is_standard_layout_v<SELFCHECK_RESULT>);

// core.h
static_assert(is<VLIBSzList, struct VLIBSzList>);
static_assert(is<VLIBSzList*(int), decltype(VLIBSzListAlloc)>);
static_assert(is<const char*(const VLIBSzList*, int), decltype(VLIBSzListGet)>);
static_assert(is<int(VLIBSzList**, const char*), decltype(VLIBSzListPush)>);
static_assert(is<void(VLIBSzList*), decltype(VLIBSzListFree)>);
static_assert(is<int(const char*, const char*, VLIBSzList**), decltype(VLIBStrTok)>);
static_assert(is<int(), decltype(VLIBErrGet)>);
static_assert(is<void(int), decltype(VLIBErrSet)>);
static_assert(is<int(const char*), decltype(VLIBFileExist)>);
static_assert(is<int(const char*, int, ...), decltype(VLIBExecl)>);

// package.h
static_assert(is<bool (*)(const std::string&), decltype(&ZEMOPackageTool::PMSCheckPackage)>);
static_assert(
    is<std::string (*)(const std::string&), decltype(&ZEMOPackageTool::PMSGetPkgUserName)>);

TEST(Interface, EntryIsCheckedAndDescribed) {
  TemporaryDirectory const directory;
  std::string const path = directory / "file";
  writeFile(path, "");
  std::string digest;
  ASSERT_TRUE(calculateHash(path, digest));
  EXPECT_EQ(digest, "da39a3ee5e6b4b0d3255bfef95601890afd80709");

  ProtectedFile entry(path + "\t1\t" + digest + "\tf\t-\t-\t-");
  bool changed = false;
  EXPECT_TRUE(entry.check(changed, CHECK_ITEM_SIZE | CHECK_ITEM_TYPE));
  EXPECT_TRUE(changed);
  ASSERT_EQ(entry._errors.size(), 1U);
  EXPECT_EQ(entry._errors[0]->type2String(entry._errors[0]->_error), "size");
  EXPECT_EQ(entry._errors[0]->toString(), path + " size expect[1] but get[0]");

  struct stat const st = statusOf(path);
  changed = false;
  EXPECT_FALSE(entry.checkHash(st, changed));
  EXPECT_FALSE(changed);
}

TEST(Interface, ListIsUsedWithoutAnyFile) {
  FileList list("no such package", "full");
  FileList other("wam", "full", list);
  list.addHook([](boost::shared_ptr<ProtectedFile>&, bool& changed) {
    changed = false;
    return 0;
  });
  EXPECT_EQ(list.toString(), "no such package full");
  EXPECT_FALSE(list.loadList(true));
  EXPECT_TRUE(list.checkSign());
  EXPECT_FALSE(list.checkSign("/no/such/list"));
  EXPECT_TRUE(list.parseList());
  EXPECT_FALSE(list.parseList("/no/such/list"));
  EXPECT_TRUE(list.fillFixedDirInfo());
  EXPECT_FALSE(list.check(CHECK_ITEM_ALL));
  EXPECT_TRUE(list.checkFiles(CHECK_ITEM_ALL));
  std::vector<SELFCHECK_RESULT> results;
  EXPECT_TRUE(list.checkFiles({"/etc/passwd"}, results));
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].notListed, 1U);
  EXPECT_EQ(list.getProtectedFiles()->size(), 1U);
  EXPECT_TRUE(other.getProtectedFiles()->empty());
}

TEST(Interface, FilesAreFoundByPattern) {
  TemporaryDirectory const directory;
  writeFile(directory / "b", "");
  writeFile(directory / "a", "");
  Strings const both = {directory / "a", directory / "b"};
  EXPECT_EQ(glob(directory.path(), directory / "*"), both);
  EXPECT_EQ(::glob(directory.path(), directory / "*"), both);
  EXPECT_EQ(ZEMO::SELF_CHECK::glob(directory.path(), directory / "*"), both);
}

TEST(Interface, StringListsAreFilledAndRead) {
  VLIBSzList* list = VLIBSzListAlloc(1);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(VLIBSzListPush(&list, "one"), 1);
  EXPECT_EQ(VLIBSzListPush(&list, "two"), 2);
  EXPECT_EQ(list->count, 2);
  EXPECT_GE(list->capacity, 2);
  EXPECT_STREQ(VLIBSzListGet(list, 1), "two");
  EXPECT_EQ(VLIBSzListGet(list, 2), nullptr);
  EXPECT_EQ(VLIBSzListGet(list, -1), nullptr);
  EXPECT_EQ(VLIBStrTok("\t\t\t\t\t\t", "\t", &list), 7);
  EXPECT_STREQ(VLIBSzListGet(list, 6), "");
  VLIBSzListFree(list);
  VLIBSzListFree(nullptr);
}

TEST(Interface, PlatformOperationsAnswer) {
  VLIBErrSet(55552);
  EXPECT_EQ(VLIBErrGet(), 55552);
  EXPECT_NE(VLIBFileExist("/"), 0);
  EXPECT_EQ(VLIBFileExist("/no/such/file"), 0);
  EXPECT_EQ(VLIBExecl("/bin/sh", 187, "-c", "exit 0", static_cast<char*>(nullptr)), 0);
  EXPECT_NE(VLIBExecl("/bin/sh", 187, "-c", "exit 3", static_cast<char*>(nullptr)), 0);
  EXPECT_FALSE(ZEMOPackageTool::PMSCheckPackage("no such package"));
  EXPECT_EQ(ZEMOPackageTool::PMSGetPkgUserName("no such package"), "");
  EXPECT_FALSE(ProtectedFile::setPkg("no such package"));
  EXPECT_FALSE(ProtectedFile::_pkginfo.isSet);
  EXPECT_EQ(SelfCheckFiles(nullptr, nullptr), -1);
}

}  // namespace
