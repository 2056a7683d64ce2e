// Every operation of the public interface with every call that it makes failing.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <zemo/core.h>
#include <zemo/package.h>
#include <zemo/selfcheck.h>

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>

#include <dlfcn.h>

#include "entry_point/path_list.h"
#include "entry_point/result_mask.h"
#include "faults/scenario.h"
#include "protected_file/restored_binding.h"
#include "support/files.h"
#include "support/private_root.h"

namespace {

bool withoutPrograms = false;
long failures = 0;  // that have happened in all tests

}  // namespace

// Runs a program that takes little time in the place of GnuPG, or none at all. Verifies all lists
// but forged ones.
int VLIBExecl(const char* program, int options, ...) {
  using Exec = int(const char*, int, ...);
  static auto* const real = reinterpret_cast<Exec*>(dlsym(RTLD_NEXT, "VLIBExecl"));
  if (strcmp(program, "/usr/bin/gpg") != 0)
    return real(program, options, static_cast<char*>(nullptr));
  va_list words;
  va_start(words, options);
  const char* list = "";
  while (const char* const word = va_arg(words, const char*))
    list = word;
  va_end(words);
  bool const forged = strstr(list, "forged") != nullptr;
  if (callFails("VLIBExecl"))
    return -1;
  if (withoutPrograms)
    return forged ? -1 : 0;
  return real(forged ? "/bin/false" : "/bin/true", options, "an argument",
              static_cast<char*>(nullptr));
}

namespace {

using namespace ZEMO::SELF_CHECK;

const std::string lists = "/usr/zemo/selfcheck/";
const std::string package = "a package with a long name";
const std::string tree = "/var/packages/" + package + "/";
const std::string intact = tree + "intact";
const std::string tampered = tree + "tampered";
const std::string link = tree + "link";
const std::string fixed = tree + "fixed";
const std::string member = fixed + "/member";
const std::string stray = fixed + "/stray";

constexpr char good[] = "f6ee99edde6199a3e982c46ef72bdd5cb5e41ddf";  // of the intact file

std::string listed(const std::string& path) {
  return entryLine(path, "100000", good, "f", "644", "-", "-");
}

std::string words(const ProtectedFile& entry) {
  return entry._path + "," + entry._size + "," + entry._hash + "," + entry._type + "," +
         entry._permission + "," + entry._owner + "," + entry._group;
}

std::string kindsOf(const ProtectedFile& entry) {
  std::string kinds;
  for (const CheckError* error : entry._errors)
    kinds += " " + CheckError().type2String(error->_error);
  return kinds;
}

// What a set has that was loaded in order, and without regard to the order.
const std::string ordered = " fixed/member member intact link=an old target tampered";
const std::string unordered = " fixed/member member intact link=a new target removed tampered";

// What is logged.
const std::string orderFailed = "file_list:274 Open list order file <L/listorder> failed";
const std::string aList = "L/wam.full.(maker|local).list";
const std::string parseFailed = "; file_list:48 Parse list <" + aList + "> failed.";
const std::string openFailed = "file_list:104 Open input file <" + aList + "> failed" + parseFailed;
const std::string formatError = "file_list:108 Format Error" + parseFailed;
const std::string entriesLost = "(protected_file:(59 OOM parameters|64 <.*> strtok failed)(; )?)+";
const std::string signFailed = "; file_list:225 Check " + aList + " sign failed.";
const std::string setFailed =
    signFailed + "; file_list:321 Check signature of check list <L/wam.full.*.list> failed";
const std::string signatureBad = "file_list:247 Verify signature failed";
const std::string signatureMissing = "file_list:242 Signature of <" + aList + "> is not exist.";

// The calls that VLIBExecl cannot do without.
const std::string execCalls =
    "VLIBExecl calloc mmap64 __clone SYS_openat SYS_dup2 SYS_execve SYS_wait4";
const Documented execGoesOn = {"SYS_close_range SYS_rt_sigprocmask waitpid", "same"};

const std::string hashFailed = "protected_file:288 Calculate hash of file <T/.*> failed";
const std::string openFileFailed = "protected_file:365 Open file <T/.*> failed; " + hashFailed;
const std::string digestCalls =
    "malloc pread64 fstat64 EVP_MD_CTX_new EVP_DigestInit_ex EVP_DigestUpdate EVP_DigestFinal_ex";

const std::string notInstalled = "protected_file:113 package <" + package + "> is not installed.";
const std::string noUser =
    "protected_file:119 Failed to get package user for package <" + package + ">";

const std::string namedFailed = "(.*; )?file_list:187 SelfCheck check file <T/.*> failed.";

const Documented outOfMemory = {"new", "bad_alloc"};
const Documented vanished = {"lstat64", "true changed not exist"};
const std::vector<Documented> ofRegularFile = {outOfMemory,
                                               vanished,
                                               {"open64", "false \\| " + openFileFailed},
                                               {digestCalls, "false \\| " + hashFailed},
                                               {"pread64", "same", ESPIPE},
                                               {"pread64", "false \\| " + hashFailed, ESPIPE}};
const std::vector<Documented> ofDirectory = {
    vanished,
    {"malloc open64 fdopendir", "false \\| protected_file:262 opendir <T/.*> failed"},
    {"readdir64 fstat64", "false \\| protected_file:267 readdir <T/.*> failed"}};
const Documented linkUnread = {"readlink", "false \\| protected_file:293 readlink <T/link> failed"};

class LibraryFaultsTest : public PrivateRootTest {
 public:
  static void TearDownTestSuite() { std::cout << failures << " failures\n"; }

  // Where descriptors have to be closed one by one, all that there may be take long.
  static void SetUpTestSuite() {
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_cur, 1024);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  }

 protected:
  void SetUp() override {
    PrivateRootTest::SetUp();
    if (IsSkipped())
      return;
    if (getenv("ZEMO_UNDER_VALGRIND") != nullptr)
      GTEST_SKIP() << "valgrind has functions of its own in the place of those that fail here";
    withoutPrograms = false;
    abbreviate(tree, "T/");
    abbreviate(lists, "L/");
    makeDirectory(fixed);
    // Too long to be read at once, or into a buffer on the stack.
    writeFile(intact, std::string(100'000, 'x'));
    writeFile(tampered, std::string(99'999, 'x') + "y");
    writeFile(member, "content");
    makeLink("an old target", link);
    writeFile(tree + "user", "daemon\n");
    makeDirectory(tree + "target");
  }

  // The system's set: two lists, an entry that the second replaces and one that it removes. By
  // their names the second would come first.
  static void writeLists() {
    writeList("wam.full.maker.list",
              listed(intact) + "\n" + listed(tampered) + "\n" + listed(tree + "removed") + "\n" +
                  entryLine(fixed, "-", "FIXED", "d", "-", "-", "-") + "\n" +
                  entryLine(link, "13", "a new target", "l", "-", "-", "-") + "\n");
    writeList("wam.full.local.list", entryLine(link, "13", "an old target", "l", "-", "-", "-") +
                                         "\n-" + listed(tree + "removed") + "\n" +
                                         entryLine(member, "7", "-", "f", "-", "-", "-") + "\n");
    for (const char* const name : {"maker", "local"})
      writeFile(lists + "wam.full." + name + ".list.asc", "");
    writeFile(lists + "listorder", "wam.full.maker.list\nwam.full.local.list\n");
  }

  static void fail(const Scenario& scenario) { failures += failEveryCall(scenario); }

  // A check of an entry of this line.
  static void checkEntry(const std::string& name, const std::string& line,
                         const std::string& outcome, const std::vector<Documented>& documented,
                         bool differs) {
    fail({name,
          [&](Attempt& attempt) {
            ProtectedFile entry(line);
            bool changed = false;
            bool carriedOut = false;
            if (attempt([&] { carriedOut = entry.check(changed, CHECK_ITEM_ALL); }))
              attempt.sayWhether(carriedOut);
            attempt.say((changed ? " changed" : "") + kindsOf(entry));
            if (differs && carriedOut && !changed)
              attempt.calledIntact(entry._path);
          },
          outcome, documented});
  }
};

TEST_F(LibraryFaultsTest, CalculateHash) {
  fail({"calculateHash",
        [](Attempt& attempt) {
          std::string digest = "untouched";
          bool result = false;
          if (attempt([&] { result = calculateHash(intact, digest); }))
            attempt.sayWhether(result);
          attempt.say(" " + digest);
        },
        std::string("true ") + good,
        {{"new", "bad_alloc untouched"},
         {"open64", "false untouched \\| protected_file:365 Open file <T/intact> failed"},
         {"read malloc EVP_MD_CTX_new EVP_DigestInit_ex EVP_DigestUpdate "
          "EVP_DigestFinal_ex",
          "false untouched"}}});
}

TEST_F(LibraryFaultsTest, Construction) {
  fail({"ProtectedFile",
        [](Attempt& attempt) {
          std::string const line = listed(intact);
          std::unique_ptr<ProtectedFile> entry;
          if (attempt([&] { entry = std::make_unique<ProtectedFile>(line); }))
            attempt.say(words(*entry));
        },
        std::string("T/intact,100000,") + good + ",f,644,-,-",
        {outOfMemory, {"malloc realloc", ",,,,,, \\| " + entriesLost}}});
}

TEST_F(LibraryFaultsTest, ConstructionWithPlaceholders) {
  RestoredBinding const restored;
  ProtectedFile::_pkginfo.isSet = true;
  ProtectedFile::_pkginfo.uid = 11;
  ProtectedFile::_pkginfo.gid = 12;
  ProtectedFile::_pkginfo.targetDir = "/var/packages/a long name/target";
  fail({"ProtectedFile with placeholders",
        [](Attempt& attempt) {
          std::string const line =
              "$pkg_dir/a path\t-\t$pkg_dir/a long link target\tl\t-\t$pkg\t$pkg_sys";
          std::unique_ptr<ProtectedFile> entry;
          if (attempt([&] { entry = std::make_unique<ProtectedFile>(line); }))
            attempt.say(words(*entry));
        },
        "/var/packages/a long name/target/a path,-,/var/packages/a long name/target/a "
        "long link target,l,-,11,1",
        {outOfMemory, {"malloc realloc", ",,,,,, \\| " + entriesLost}}});
}

TEST_F(LibraryFaultsTest, CheckOfAnIntactFile) {
  checkEntry("check of an intact file", listed(intact), "true", ofRegularFile, false);
}

TEST_F(LibraryFaultsTest, CheckOfATamperedFile) {
  checkEntry("check of a tampered file", listed(tampered), "true changed hash", ofRegularFile,
             true);
}

TEST_F(LibraryFaultsTest, CheckOfOtherAttributes) {
  checkEntry("check of attributes", entryLine(intact, "1", "-", "d", "4777", "4711", "4711"),
             "true changed size owner group type permission",
             {vanished, {"new", "bad_alloc( changed size( owner( group( type)?)?)?)?"}}, true);
}

TEST_F(LibraryFaultsTest, CheckOfALink) {
  checkEntry("check of an intact link", entryLine(link, "13", "an old target", "l", "-", "-", "-"),
             "true", {vanished, linkUnread}, false);
  checkEntry("check of a changed link", entryLine(link, "13", "a new target", "l", "-", "-", "-"),
             "true changed hash", {outOfMemory, vanished, linkUnread}, true);
}

TEST_F(LibraryFaultsTest, CheckOfADevice) {
  checkEntry("check of a device", entryLine("/dev/null", "-", "1,4", "c", "-", "-", "-"),
             "true changed hash", {outOfMemory, vanished}, true);
}

TEST_F(LibraryFaultsTest, CheckOfAFixedDirectory) {
  std::string const line = entryLine(fixed, "-", "FIXED", "d", "-", "-", "-");
  std::vector<Documented> documented = ofDirectory;
  documented.push_back(outOfMemory);
  checkEntry("check of a directory", line, "true changed is unknown file", documented, true);
}

TEST_F(LibraryFaultsTest, CheckOfAnEmptyDirectory) {
  std::string const line = entryLine(tree + "target", "-", "FIXED", "d", "-", "-", "-");
  checkEntry("check of an empty directory", line, "true", ofDirectory, false);
}

TEST_F(LibraryFaultsTest, CheckHash) {
  fail({"checkHash",
        [](Attempt& attempt) {
          ProtectedFile entry(listed(tampered));
          struct stat const status = statusOf(tampered);
          bool changed = false;
          bool failed = true;
          if (attempt([&] { failed = entry.checkHash(status, changed); }))
            attempt.sayWhether(failed);
          attempt.say((changed ? " changed" : "") + kindsOf(entry));
          if (!failed && !changed)
            attempt.calledIntact(tampered);
        },
        "false changed hash",
        {outOfMemory,
         {"open64", "true \\| " + openFileFailed},
         {digestCalls, "true \\| " + hashFailed},
         {"pread64", "same", ESPIPE},
         {"pread64", "true \\| " + hashFailed, ESPIPE}}});
}

TEST_F(LibraryFaultsTest, SetPkg) {
  RestoredBinding const restored;
  failEveryCall({"setPkg",
                 [](Attempt& attempt) {
                   PkgInfo& binding = ProtectedFile::_pkginfo;
                   binding.isSet = false;
                   binding.uid = binding.gid = 4711;
                   binding.targetDir = "old";
                   bool result = false;
                   if (attempt([&] { result = ProtectedFile::setPkg(package); }))
                     attempt.sayWhether(result);
                   attempt.say((binding.isSet ? " set " : " unset ") + std::to_string(binding.uid) +
                               " " + std::to_string(binding.gid) + " " + binding.targetDir);
                   std::string().swap(binding.targetDir);
                 },
                 "true set 1 1 T/target",
                 {{"new", "bad_alloc unset 4711 4711 old"},
                  {"stat64", "false unset 4711 4711 old \\| " + notInstalled},
                  {"open64 read fstat64 getpwnam", "false unset 4711 4711 old \\| " + noUser},
                  {"open64", "true set 4711 4711 T/target", ENOENT}}});
}

TEST_F(LibraryFaultsTest, Lists) {
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

TEST_F(LibraryFaultsTest, CheckErrors) {
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

TEST_F(LibraryFaultsTest, Glob) {
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

TEST_F(LibraryFaultsTest, Load) {
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

TEST_F(LibraryFaultsTest, CheckSign) {
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

TEST_F(LibraryFaultsTest, ParseList) {
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
TEST_F(LibraryFaultsTest, ParseALongList) {
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

TEST_F(LibraryFaultsTest, FillFixedDirInfo) {
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

TEST_F(LibraryFaultsTest, CheckOfASet) {
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

TEST_F(LibraryFaultsTest, CheckOfNamedFiles) {
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

TEST_F(LibraryFaultsTest, SelfCheckFiles) {
  writeLists();
  std::string const failed = "-1( untouched){5} \\| ";
  std::string const loadFailed = "; util:33 Selfcheck load list failed";
  withoutPrograms = true;
  std::string const notLoaded = failed + "util:33 Selfcheck load list failed";
  failEveryCall(
      {"SelfCheckFiles",
       [](Attempt& attempt) {
         PathList const paths({intact, tampered, link, fixed, stray});
         constexpr uint32_t untouched = 0xa5a5a5a5;
         std::vector<SELFCHECK_RESULT> results(5, resultFrom(untouched));
         int result = 1;
         if (attempt([&] { result = SelfCheckFiles(paths.get(), results.data()); }))
           attempt.say(std::to_string(result));
         for (const SELFCHECK_RESULT& each : results)
           attempt.say(maskOf(each) == untouched ? " untouched"
                                                 : " " + std::to_string(maskOf(each)));
         if (maskOf(results[1]) == 0)
           attempt.calledIntact(tampered);
       },
       "0 0 32 0 0 384",
       {{"new", "bad_alloc( untouched){5}"},
        {"stat64 fstat64 read", "0 0 32 32 0 384"},
        {"read", "same"},
        {"open64", "0 0 32 32 0 384 \\| " + orderFailed},
        {"lstat64", "0 (0|64) (32|64) (0|64) (0|64) 384"},
        {"malloc realloc", "0 (0|128) (32|128) (0|32|128) (0|128) (128|384) \\| " + entriesLost},
        {"glob64", notLoaded},
        {"VLIBExecl", failed + signatureBad + setFailed + loadFailed},
        {"stat64", failed + signatureMissing + setFailed + loadFailed},
        {"open64", failed + "(" + orderFailed + "; )?" + openFailed + loadFailed},
        {"fstat64 read", failed + formatError + loadFailed},
        {"malloc open64 pread64 fstat64 readlink fdopendir readdir64 EVP_MD_CTX_new "
         "EVP_DigestInit_ex EVP_DigestUpdate EVP_DigestFinal_ex",
         failed + namedFailed + "; util:38 Selfcheck failed"},
        {"pread64", "same", ESPIPE},
        {"pread64", failed + namedFailed + "; util:38 Selfcheck failed", ESPIPE}}});
}

TEST_F(LibraryFaultsTest, PackageSet) {
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

TEST_F(LibraryFaultsTest, Packages) {
  fail({"PMSCheckPackage",
        [](Attempt& attempt) {
          bool result = false;
          if (attempt([&] { result = ZEMOPackageTool::PMSCheckPackage(package); }))
            attempt.sayWhether(result);
        },
        "true",
        {outOfMemory, {"stat64", "false"}}});
  fail({"PMSGetPkgUserName",
        [](Attempt& attempt) {
          std::string name = "unknown";
          VLIBErrSet(VLIB_ERR_NONE);
          if (attempt([&] { name = ZEMOPackageTool::PMSGetPkgUserName(package); }))
            attempt.say(name + " " + std::to_string(VLIBErrGet()));
        },
        "daemon 0",
        {outOfMemory,
         {"open64 read fstat64", " " + std::to_string(ZEMO_PACKAGE_BAD_USER)},
         {"open64", " " + std::to_string(ZEMO_PACKAGE_NO_USER), ENOENT}}});
}

TEST_F(LibraryFaultsTest, StringLists) {
  std::string const exhausted = std::to_string(VLIB_ERR_OUT_OF_MEMORY);
  fail({"VLIBSzListAlloc",
        [](Attempt& attempt) {
          VLIBErrSet(VLIB_ERR_NONE);
          VLIBSzList* list = nullptr;
          (void)attempt([&] { list = VLIBSzListAlloc(10); });
          attempt.say((list != nullptr ? "list " : "null ") + std::to_string(VLIBErrGet()));
          VLIBSzListFree(list);
        },
        "list 0",
        {{"malloc realloc", "null " + exhausted}}});
  auto const sayList = [](Attempt& attempt, int result, const VLIBSzList* list) {
    attempt.say(std::to_string(result) + " " + std::to_string(VLIBErrGet()));
    for (int i = 0; i < list->count; ++i)
      attempt.say(std::string(" ") + VLIBSzListGet(list, i));
  };
  fail({"VLIBSzListPush",
        [&](Attempt& attempt) {
          VLIBErrSet(VLIB_ERR_NONE);
          VLIBSzList* list = VLIBSzListAlloc(1);
          (void)VLIBSzListPush(&list, "old");
          int result = 0;
          (void)attempt([&] { result = VLIBSzListPush(&list, "a longer new item"); });
          sayList(attempt, result, list);
          VLIBSzListFree(list);
        },
        "2 0 old a longer new item",
        {{"malloc realloc", "-1 " + exhausted + " old"}}});
  fail({"VLIBStrTok",
        [&](Attempt& attempt) {
          VLIBErrSet(VLIB_ERR_NONE);
          VLIBSzList* list = VLIBSzListAlloc(1);
          (void)VLIBSzListPush(&list, "old");
          int result = 0;
          (void)attempt([&] { result = VLIBStrTok("a b c", " ", &list); });
          sayList(attempt, result, list);
          VLIBSzListFree(list);
        },
        "3 0 a b c",
        {{"malloc realloc", "-1 " + exhausted + " old"}}});
}

TEST_F(LibraryFaultsTest, ErrorCode) {
  fail({"VLIBErrGet",
        [](Attempt& attempt) {
          int code = 0;
          (void)attempt([&] {
            VLIBErrSet(4711);
            code = VLIBErrGet();
          });
          attempt.say(std::to_string(code));
        },
        "4711",
        {}});
}

TEST_F(LibraryFaultsTest, FileExist) {
  fail({"VLIBFileExist",
        [](Attempt& attempt) {
          int result = 0;
          (void)attempt([&] { result = VLIBFileExist(intact.c_str()); });
          attempt.say(std::to_string(result));
        },
        "1",
        {{"stat64", "0"}}});
}

TEST_F(LibraryFaultsTest, Execl) {
  constexpr int all = 187;
  constexpr int waiting = VLIB_EXEC_WAIT;
  std::string const programFailed = "-1 " + std::to_string(VLIB_ERR_PROGRAM_FAILED);
  for (const char* const program : {"/bin/true", "/bin/false"}) {
    for (int const options : {all, waiting}) {
      bool const fails = program == std::string("/bin/false");
      std::vector<Documented> documented = {
          {"calloc mmap64 __clone", "-1 " + std::to_string(VLIB_ERR_OUT_OF_MEMORY)},
          {"SYS_execve SYS_wait4", programFailed},
          execGoesOn};
      if (options == all)
        documented.push_back({"SYS_openat SYS_dup2", programFailed});
      fail({std::string("VLIBExecl of ") + program,
            [&](Attempt& attempt) {
              VLIBErrSet(VLIB_ERR_NONE);
              int result = 0;
              (void)attempt([&] {
                result = VLIBExecl(program, options, "word", static_cast<char*>(nullptr));
              });
              attempt.say(std::to_string(result) + " " + std::to_string(VLIBErrGet()));
              if (fails && result == 0)
                attempt.calledIntact(program);
            },
            fails ? programFailed : "0 0", documented});
    }
  }
}

}  // namespace
