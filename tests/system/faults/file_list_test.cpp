// Operations of list sets.

#include <gtest/gtest.h>
#include <zemo/selfcheck.h>

#include <boost/make_shared.hpp>
#include <cerrno>

#include "fixture.h"
#include "support/files.h"
#include "support/restored_binding.h"
#include "support/result_mask.h"

namespace faults {

using namespace ZEMO::SELF_CHECK;

namespace {

// The entries of a set loaded in order; in the wrong order, so that entries of the first list
// replace those of the second; from one list only.
const std::string ordered = " fixed/member member intact link=an old target tampered";
const std::string unordered =
    " fixed/member member intact link=a new target removed tampered=matching";
const std::string firstList = " fixed intact link=a new target removed tampered=matching";
const std::string secondList = " member link=an old target tampered";

// The entries after each of the first lines, and after all lines, in order.
const std::string upToALine =
    "( intact| intact tampered=matching| intact removed tampered=matching"
    "| fixed intact removed tampered=matching|" +
    firstList +
    "| fixed intact link=an old target removed tampered=matching"
    "| fixed intact link=an old target tampered=matching"
    "| fixed member intact link=an old target tampered=matching"
    "| fixed member intact link=an old target tampered)?";

// The entries that may remain if memory runs out for one line, several lines or all. Such a line
// counts as one with an empty path; an entry that it would replace or remove stays.
const std::string withoutLines =
    " ?( fixed(/member)?)?( member)?( intact)?( link=(an old|a new) target)?( removed)?"
    "( tampered(=matching)?)?";

// The calls without which VLIBExecl fails.
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
    if (path == tampered && entry->_hash == bad)
      text += "=matching";
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
  fail({"FileList from another",
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
         {"glob64", "found"},
         {"glob64_first", "found wam.full.local.list"},
         {"glob64_last", "found wam.full.maker.list"}}});
}

TEST_F(FileListFaultsTest, Load) {
  writeLists();
  std::vector<Documented> documented = {
      {"new", "bad_alloc(" + upToALine + "|" + ordered + ")"},
      {"malloc", "true" + withoutLines + " \\| " + entriesLost},
      {"stat64 fstat64 read", "true" + unordered},
      {"open64", "true" + unordered + " \\| " + orderFailed},
      {"open64", "false \\| (" + orderFailed + "; )?" + openFailed},
      {"open64", "false" + firstList + " \\| " + openFailed},
      {"fstat64 read", "false(" + firstList + ")? \\| " + formatError},
      {"read", "same"},
      {"glob64", "false"},
      // loadList uses the matcher's results, whatever the matcher returns.
      {"glob64_first", "true" + secondList},
      {"glob64_last", "true" + firstList}};
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
        "true" + firstList,
        {{"new", "bad_alloc" + upToALine},
         {"malloc", "true" + withoutLines + " \\| " + entriesLost},
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
        {{"new", "bad_alloc" + upToALine},
         {"malloc", "true" + withoutLines + " \\| " + entriesLost},
         {"open64", "false(" + firstList + ")? \\| " + openFailed},
         {"read fstat64", "false(" + firstList + ")? \\| " + formatError},
         {"read", "same"}}});
}

// A read error after the second line counts as the end of the list: an entry that the last line
// would replace stays.
TEST_F(FileListFaultsTest, ParseALongList) {
  std::string lines = entryLine(tampered, "100000", bad, "f", "644", "-", "-") + "\n";
  for (char c = 'a'; c <= 'l'; ++c)
    lines += listed(tree + std::string(8000, c)) + "\n";
  std::string const path = writeList("wam.full.long.list", lines + listed(tampered) + "\n");
  fail(
      {"parseList of a long list",
       [&path](Attempt& attempt) {
         FileList list("wam", "full");
         bool result = false;
         if (attempt([&] { result = list.parseList(path); }))
           attempt.sayWhether(result);
         FileList::ProtectedFileMap& files = *list.getProtectedFiles();
         (void)files.erase("");
         auto const entry = files.find(tampered);
         attempt.say(entry == files.end()          ? " none"
                     : entry->second->_hash == bad ? " matching"
                                                   : " tampered");
         if (entry != files.end())
           (void)files.erase(entry);
         attempt.say(files.size() == 12 ? " all" : files.empty() ? " nothing" : " some");
       },
       "true tampered all",
       {{"new", "bad_alloc (none nothing|matching (nothing|some|all))"},
        {"malloc", "true (none nothing|(tampered|matching) (nothing|some|all)) \\| " + entriesLost},
        {"open64",
         "false none nothing \\| file_list:104 Open input file <L/wam.full.long.list> failed"},
        {"fstat64 read", "false none nothing \\| file_list:108 Format Error"},
        {"read", "true matching some"},
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
        {{"new", "bad_alloc fixed(/member)? member intact link=an old target tampered"}}});
}

// A set counts as intact if its only tampered file cannot be compared: only the log shows it.
TEST_F(FileListFaultsTest, CheckOfASet) {
  writeLists();
  std::string const line = "file_list:150 Check file";
  fail({"check of a set",
        [](Attempt& attempt) {
          FileList list("wam", "full");
          (void)list.loadList(false);
          bool result = false;
          bool const done = attempt([&] { result = list.check(CHECK_ITEM_ALL); });
          if (done)
            attempt.sayWhether(result);
          for (const auto& [path, entry] : *list.getProtectedFiles()) {
            std::string const kinds = kindsOf(*entry);
            if (!kinds.empty())
              attempt.say(" " + path.substr(path.rfind('/') + 1) + kinds);
          }
          if (done && !isLogged("Check file [" + tampered + "] failed.") &&
              (result || kindsOf(*list.getProtectedFiles()->at(tampered)).empty()))
            attempt.calledIntact(tampered);
        },
        "false tampered hash",
        {{"new", "bad_alloc( tampered hash)?"},
         {"lstat64",
          "false" + failingFromOne({"", "", "", "", " tampered hash"},
                                   {" fixed not exist", " member not exist", " intact not exist",
                                    " link not exist", " tampered not exist"})},
         {fileCalls + " " + otherCalls, "false tampered hash \\| " + notCompared(others, line)},
         {fileCalls,
          "true \\| (" + notCompared(others, line) + ")?" + notCompared("tampered", line)},
         {"pread64", "same", ESPIPE},
         {"pread64", "false tampered hash \\| " + notCompared("intact", line), ESPIPE},
         {"pread64",
          "true \\| (" + notCompared("intact", line) + ")?" + notCompared("tampered", line),
          ESPIPE}}});
}

TEST_F(FileListFaultsTest, CheckOfNamedFiles) {
  writeLists();
  std::string const line = "file_list:187 SelfCheck check file";
  fail(
      {"checkFiles",
       [](Attempt& attempt) {
         FileList list("wam", "full");
         (void)list.loadList(false);
         std::vector<std::string> const paths = {intact, tampered, link, fixed, stray};
         std::vector<SELFCHECK_RESULT> results;
         bool result = false;
         if (attempt([&] { result = list.checkFiles(paths, results); }))
           attempt.sayWhether(result);
         // A file that could not be compared has no result.
         auto next = results.begin();
         for (const std::string& path : paths) {
           if (isLogged("SelfCheck check file [" + path + "] failed.")) {
             attempt.say(" -");
           } else if (next != results.end()) {
             attempt.say(" " + std::to_string(maskOf(*next)));
             if (path == tampered && maskOf(*next) == 0)
               attempt.calledIntact(path);
             ++next;
           }
         }
         if (next != results.end())
           attempt.say(" and more");
       },
       "true 0 32 0 0 384",
       {{"new", "bad_alloc( 0( 32( 0( 0)?)?)?)?"},
        {"lstat64",
         "true" + failingFromOne({" 0", " 32", " 0", " 0"}, {" 64", " 64", " 64", " 64"}) + " 384"},
        {fileCalls + " " + otherCalls,
         "false (0|-) 32 (0|-) (0|-) 384 \\| " + notCompared(others, line)},
        {fileCalls, "false (0|-) - (0|-) (0|-) 384 \\| " + notCompared("tampered|" + others, line)},
        {"pread64", "same", ESPIPE},
        {"pread64", "false - (32|-) 0 0 384 \\| " + notCompared("intact|tampered", line), ESPIPE},
        {"pread64", "false 0 - 0 0 384 \\| " + notCompared("tampered", line), ESPIPE}}});
}

TEST_F(FileListFaultsTest, PackageSet) {
  RestoredBinding const restored;
  std::string const directory = lists + "packages/" + package;
  std::string const list = "L/packages/" + package + "/" + package + ".full.base.list";
  writeList(directory, package + ".full.base.list",
            entryLine("$pkg_dir/file", "-", "-", "f", "-", "$pkg", "$pkg") + "\n");
  std::string const notParsed = "; file_list:48 Parse list <" + list + "> failed.";
  std::string const notOpened = "false \\| file_list:104 Open input file <" + list + "> failed";
  fail({"loadList of a package",
        [](Attempt& attempt) {
          ProtectedFile::_pkginfo = PkgInfo();
          FileList set(package, "full");
          bool result = false;
          if (attempt([&] { result = set.loadList(false); }))
            attempt.sayWhether(result);
          for (const auto& [path, entry] : *set.getProtectedFiles())
            attempt.say(" " + path + " " + entry->_owner);
          std::string().swap(ProtectedFile::_pkginfo.targetDir);
        },
        "true T/target/file 1",
        {{"new", "bad_alloc( T/target/file 1)?"},
         {"malloc", "true   \\| " + entriesLost},
         {"read", "same"},
         {"stat64", "same"},
         {"stat64", "false \\| " + notInstalled + notParsed},
         {"open64", notOpened + notParsed},
         {"open64 read fstat64 getpwnam", "false \\| " + noUser + notParsed},
         {"read fstat64", "false \\| file_list:108 Format Error" + notParsed},
         {"glob64", "false"},
         {"glob64_first glob64_last", "same"}}});
}

}  // namespace faults
