// Operations of list sets.

#include <gtest/gtest.h>
#include <zemo/selfcheck.h>

#include <boost/make_shared.hpp>
#include <cerrno>

#include "entry_point/result_mask.h"
#include "faults/fixture.h"
#include "protected_file/restored_binding.h"
#include "support/files.h"

namespace faults {

using namespace ZEMO::SELF_CHECK;

namespace {

// What a set has that was loaded in order, and without regard to the order.
const std::string ordered = " fixed/member member intact link=an old target tampered";
const std::string unordered = " fixed/member member intact link=a new target removed tampered";

// The calls that VLIBExecl cannot do without.
const std::string execCalls =
    "VLIBExecl calloc mmap64 __clone SYS_openat SYS_dup2 SYS_execve SYS_wait4";

std::string contentOf(const FileList& list) {
  std::string text;
  for (const auto& [path, entry] : *list.getProtectedFiles()) {
    text += " " + path.substr(path.rfind('/') + 1);
    for (const std::string& name : entry->_fixedEntries)
      text += "/" + name;
    if (path == link)
      text += "=" + entry->_hash;
  }
  return text;
}

}  // namespace

using FileListFaultsTest = LibraryFaultsTest;

TEST_F(FileListFaultsTest, Lists) {
  fail({"FileList",
        [](Attempt& attempt) {
          if (attempt(
                  [] { FileList const list("a package with a long name", "a mode with a name"); }))
            attempt.sayWhether(true);
        },
        "true",
        {outOfMemory}});
  failEveryCall(
      {"FileList from another",
       [](Attempt& attempt) {
         FileList source("wam", "full");
         (*source.getProtectedFiles())[intact] = boost::make_shared<ProtectedFile>(listed(intact));
         size_t count = 0;
         if (attempt([&] { count = FileList("wam", "full", source).getProtectedFiles()->size(); }))
           attempt.say(std::to_string(count));
       },
       "1",
       {outOfMemory}});
  fail({"toString",
        [](Attempt& attempt) {
          FileList const list("a package with a long name", "full");
          std::string text;
          if (attempt([&] { text = list.toString(); }))
            attempt.say(text);
        },
        "a package with a long name full",
        {outOfMemory}});
  fail({"getProtectedFiles",
        [](Attempt& attempt) {
          FileList const list("wam", "full");
          if (attempt([&] { (void)list.getProtectedFiles(); }))
            attempt.sayWhether(true);
        },
        "true",
        {}});
  fail({"addHook",
        [](Attempt& attempt) {
          FileList list("wam", "full");
          std::string const text = "a text that does not fit into a function object";
          FileList::Hook const hook = [text](auto&, bool&) {
            return static_cast<int>(text.size());
          };
          if (attempt([&] { list.addHook(hook); }))
            attempt.sayWhether(true);
        },
        "true",
        {outOfMemory}});
}

TEST_F(FileListFaultsTest, CheckErrors) {
  fail({"CheckError",
        [](Attempt& attempt) {
          CheckError error = {CHECK_ERROR_HASH, intact, "expected", "actual"};
          std::string text;
          if (attempt([&] { text = error.toString() + error.type2String(error._error); }))
            attempt.say(text);
        },
        "T/intact hash expect<expected> but get<actual>hash",
        {outOfMemory}});
}

TEST_F(FileListFaultsTest, Glob) {
  writeLists();
  fail({"glob",
        [](Attempt& attempt) {
          std::vector<std::string> found;
          if (attempt([&] { found = glob(listDir, lists + "wam.full.*.list"); }))
            attempt.say("found");
          for (const std::string& path : found)
            attempt.say(" " + path.substr(path.rfind('/') + 1));
        },
        "found wam.full.maker.list wam.full.local.list",
        {outOfMemory,
         {"open64", "found wam.full.local.list wam.full.maker.list \\| " + orderFailed},
         {"stat64 fstat64 read", "found wam.full.local.list wam.full.maker.list"},
         {"read", "same"},
         {"glob64", "found"}}});
}

TEST_F(FileListFaultsTest, Load) {
  writeLists();
  std::vector<Documented> documented = {
      {"new", "bad_alloc.*"},
      {"malloc realloc", "true.* \\| " + entriesLost},
      {"stat64 fstat64 read", "true" + unordered},
      {"open64", "true" + unordered + " \\| " + orderFailed},
      {"open64", "false.* \\| (" + orderFailed + "; )?" + openFailed},
      {"fstat64 read", "false.* \\| " + formatError},
      {"read", "same"},
      {"glob64", "false"}};
  std::string const notVerified = "false \\| " + signatureBad + setFailed;
  std::string const notSigned = "false \\| " + signatureMissing + setFailed;
  for (bool const verify : {false, true}) {
    if (verify) {
      withoutPrograms = true;
      documented.push_back({"VLIBExecl", notVerified});
      documented.push_back({"stat64", notSigned});
    }
    fail({verify ? "loadList(true)" : "loadList(false)",
          [verify](Attempt& attempt) {
            FileList list("wam", "full");
            bool result = false;
            if (attempt([&] { result = list.loadList(verify); }))
              attempt.sayWhether(result);
            attempt.say(contentOf(list));
          },
          "true" + ordered, documented});
  }
}

TEST_F(FileListFaultsTest, CheckSign) {
  writeLists();
  fail({"checkSign",
        [](Attempt& attempt) {
          FileList list("wam", "full");
          (void)list.loadList(false);
          bool result = false;
          if (attempt([&] { result = list.checkSign(); }))
            attempt.sayWhether(result);
        },
        "true",
        {outOfMemory,
         execGoesOn,
         {execCalls, "false \\| " + signatureBad + signFailed},
         {"stat64", "false \\| " + signatureMissing + signFailed}}});
  writeList("wam.full.forged.list", "");
  writeFile(lists + "wam.full.forged.list.asc", "");
  fail({"checkSign of a forged list",
        [](Attempt& attempt) {
          FileList const list("wam", "full");
          bool result = false;
          if (attempt([&] { result = list.checkSign(lists + "wam.full.forged.list"); }))
            attempt.sayWhether(result);
          if (result)
            attempt.calledIntact("forged list");
        },
        "false | " + signatureBad,
        {outOfMemory,
         execGoesOn,
         {execCalls, "same"},
         {"stat64",
          "false \\| file_list:242 Signature of <L/wam.full.forged.list> is not "
          "exist."}}});
}

TEST_F(FileListFaultsTest, ParseList) {
  writeLists();
  fail({"parseList",
        [](Attempt& attempt) {
          FileList list("wam", "full");
          bool result = false;
          if (attempt([&] { result = list.parseList(lists + "wam.full.maker.list"); }))
            attempt.sayWhether(result);
          attempt.say(contentOf(list));
        },
        "true fixed intact link=a new target removed tampered",
        {{"new", "bad_alloc.*"},
         {"malloc realloc", "true.* \\| " + entriesLost},
         {"open64", "false \\| file_list:104 Open input file <" + aList + "> failed"},
         {"read fstat64", "false \\| file_list:108 Format Error"},
         {"read", "same"}}});
  fail({"parseList of all",
        [](Attempt& attempt) {
          FileList list("wam", "full");
          (void)list.loadList(false);
          list.getProtectedFiles()->clear();
          bool result = false;
          if (attempt([&] { result = list.parseList(); }))
            attempt.sayWhether(result);
          attempt.say(contentOf(list));
        },
        "true fixed member intact link=an old target tampered",
        {{"new", "bad_alloc.*"},
         {"malloc realloc", "true.* \\| " + entriesLost},
         {"open64", "false.* \\| " + openFailed},
         {"read fstat64", "false.* \\| " + formatError},
         {"read", "same"}}});
}

// What cannot be read behind the second line counts as the end of the list.
TEST_F(FileListFaultsTest, ParseALongList) {
  std::string lines;
  for (char c = 'a'; c <= 'l'; ++c)
    lines += listed(tree + std::string(8000, c)) + "\n";
  std::string const path = writeList("wam.full.long.list", lines);
  fail({"parseList of a long list",
        [&path](Attempt& attempt) {
          FileList list("wam", "full");
          bool result = false;
          if (attempt([&] { result = list.parseList(path); }))
            attempt.sayWhether(result);
          attempt.say(list.getProtectedFiles()->size() == 12 ? " all" : " some");
        },
        "true all",
        {{"new", "bad_alloc (some|all)"},
         {"malloc realloc", "true (some|all) \\| " + entriesLost},
         {"open64", "false some \\| file_list:104 .*"},
         {"fstat64 read", "false some \\| file_list:108 Format Error"},
         {"read", "true some"},
         {"read", "same"}}});
}

TEST_F(FileListFaultsTest, FillFixedDirInfo) {
  writeLists();
  fail({"fillFixedDirInfo",
        [](Attempt& attempt) {
          FileList list("wam", "full");
          (void)list.parseList(lists + "wam.full.maker.list");
          (void)list.parseList(lists + "wam.full.local.list");
          bool result = false;
          if (attempt([&] { result = list.fillFixedDirInfo(); }))
            attempt.sayWhether(result);
          attempt.say(contentOf(list));
        },
        "true" + ordered,
        {{"new", "bad_alloc.*"}}});
}

TEST_F(FileListFaultsTest, CheckOfASet) {
  writeLists();
  failEveryCall(
      {"check of a set",
       [](Attempt& attempt) {
         FileList list("wam", "full");
         (void)list.loadList(false);
         bool result = false;
         if (attempt([&] { result = list.check(CHECK_ITEM_ALL); }))
           attempt.sayWhether(result);
         for (const auto& [path, entry] : *list.getProtectedFiles())
           attempt.say(kindsOf(*entry));
       },
       "false hash",
       {{"new", "bad_alloc.*"},
        {"lstat64", "false( not exist| hash)+"},
        {"malloc open64 pread64 fstat64 readlink fdopendir readdir64 EVP_MD_CTX_new "
         "EVP_DigestInit_ex EVP_DigestUpdate EVP_DigestFinal_ex",
         "(false hash|true) \\| (.*; )?file_list:150 Check file <T/.*> failed."},
        {"pread64", "same", ESPIPE},
        {"pread64", "(false hash|true) \\| (.*; )?file_list:150 Check file <T/.*> failed.",
         ESPIPE}}});
}

TEST_F(FileListFaultsTest, CheckOfNamedFiles) {
  writeLists();
  fail({"checkFiles",
        [](Attempt& attempt) {
          FileList list("wam", "full");
          (void)list.loadList(false);
          std::vector<std::string> const paths = {intact, tampered, link, fixed, stray};
          std::vector<SELFCHECK_RESULT> results;
          bool result = false;
          if (attempt([&] { result = list.checkFiles(paths, results); }))
            attempt.sayWhether(result);
          for (size_t i = 0; i < results.size(); ++i)
            attempt.say(" " + std::to_string(maskOf(results[i])));
          if (result && maskOf(results.at(1)) == 0)
            attempt.calledIntact(tampered);
        },
        "true 0 32 0 0 384",
        {{"new", "bad_alloc.*"},
         {"lstat64", "true (0|64) (32|64) (0|64) (0|64) 384"},
         {"malloc open64 pread64 fstat64 readlink fdopendir readdir64 EVP_MD_CTX_new "
          "EVP_DigestInit_ex EVP_DigestUpdate EVP_DigestFinal_ex",
          "false( 0)?( 32)?( 0){0,2} 384 \\| " + namedFailed},
         {"pread64", "same", ESPIPE},
         {"pread64", "false( 0)?( 32)? 0 0 384 \\| " + namedFailed, ESPIPE}}});
}

TEST_F(FileListFaultsTest, PackageSet) {
  RestoredBinding const restored;
  std::string const directory = lists + "packages/" + package;
  writeList(directory, package + ".full.base.list",
            entryLine("$pkg_dir/file", "-", "-", "f", "-", "$pkg", "$pkg") + "\n");
  std::string const notParsed = "; file_list:48 Parse list <.*> failed.";
  fail({"loadList of a package",
        [](Attempt& attempt) {
          ProtectedFile::_pkginfo = PkgInfo();
          FileList list(package, "full");
          bool result = false;
          if (attempt([&] { result = list.loadList(false); }))
            attempt.sayWhether(result);
          for (const auto& [path, entry] : *list.getProtectedFiles())
            attempt.say(" " + path + " " + entry->_owner);
          std::string().swap(ProtectedFile::_pkginfo.targetDir);
        },
        "true T/target/file 1",
        {{"new", "bad_alloc.*"},
         {"malloc realloc", "true  + \\| " + entriesLost},
         {"read", "same"},
         {"stat64", "same"},
         {"stat64", "false \\| " + notInstalled + notParsed},
         {"open64", "false \\| file_list:104 .*" + notParsed},
         {"open64 read fstat64 getpwnam", "false \\| " + noUser + notParsed},
         {"open64", "(true T/target/file 0|false \\| file_list:104 .*)", ENOENT},
         {"read fstat64", "false \\| file_list:108 Format Error" + notParsed},
         {"glob64", "false"}}});
}

}  // namespace faults
