// Operations of protected files, including the content value and the bound package.

#include <gtest/gtest.h>
#include <zemo/selfcheck.h>

#include <cerrno>
#include <memory>

#include "fixture.h"
#include "support/files.h"
#include "support/restored_binding.h"

namespace faults {

using namespace ZEMO::SELF_CHECK;

namespace {

const std::string hashFailed = "protected_file:288 Calculate hash of file <T/.*> failed";
const std::string openFileFailed = "protected_file:365 Open file <T/.*> failed; " + hashFailed;
const std::string digestCalls =
    "malloc pread64 fstat64 EVP_MD_CTX_new EVP_DigestInit_ex EVP_DigestUpdate EVP_DigestFinal_ex";

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
    {"readdir64 fstat64",
     "false( changed( is unknown file)+)? \\| protected_file:267 readdir <T/.*> failed"}};
const Documented linkUnread = {"readlink", "false \\| protected_file:293 readlink <T/link> failed"};

std::string words(const ProtectedFile& entry) {
  return entry._path + "," + entry._size + "," + entry._hash + "," + entry._type + "," +
         entry._permission + "," + entry._owner + "," + entry._group;
}

}  // namespace

class ProtectedFileFaultsTest : public LibraryFaultsTest {
 protected:
  // Checks an entry made from this line.
  static void checkEntry(const std::string& name, const std::string& line,
                         const std::string& outcome, const std::vector<Documented>& documented,
                         bool differs, bool leased = false) {
    fail({name,
          [&](Attempt& attempt) {
            leaseNextFile(leased);
            ProtectedFile entry(line);
            bool changed = false;
            bool carriedOut = false;
            if (attempt([&] { carriedOut = entry.check(changed, CHECK_ITEM_ALL); }))
              attempt.sayWhether(carriedOut);
            leaseNextFile(false);
            attempt.say((changed ? " changed" : "") + kindsOf(entry));
            if (differs && carriedOut && !changed)
              attempt.calledIntact(entry._path);
          },
          outcome, documented});
  }
};

TEST_F(ProtectedFileFaultsTest, CalculateHash) {
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

TEST_F(ProtectedFileFaultsTest, Construction) {
  fail({"ProtectedFile",
        [](Attempt& attempt) {
          std::string const line = listed(intact);
          std::unique_ptr<ProtectedFile> entry;
          if (attempt([&] { entry = std::make_unique<ProtectedFile>(line); }))
            attempt.say(words(*entry));
        },
        std::string("T/intact,100000,") + good + ",f,644,-,-",
        {outOfMemory, {"malloc", ",,,,,, \\| " + entriesLost}}});
}

TEST_F(ProtectedFileFaultsTest, ConstructionWithPlaceholders) {
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
        {outOfMemory, {"malloc", ",,,,,, \\| " + entriesLost}}});
}

TEST_F(ProtectedFileFaultsTest, CheckOfAnIntactFile) {
  checkEntry("check of an intact file", listed(intact), "true", ofRegularFile, false);
}

TEST_F(ProtectedFileFaultsTest, CheckOfATamperedFile) {
  checkEntry("check of a tampered file", listed(tampered), "true changed hash", ofRegularFile,
             true);
}

TEST_F(ProtectedFileFaultsTest, CheckOfALeasedFile) {
  std::vector<Documented> documented = ofRegularFile;
  documented.push_back({"fstatat64", "false \\| " + openFileFailed});
  checkEntry("check of a leased file", listed(tampered), "true changed hash", documented, true,
             true);
}

TEST_F(ProtectedFileFaultsTest, CheckOfOtherAttributes) {
  checkEntry("check of attributes", entryLine(intact, "1", "-", "d", "4777", "4711", "4711"),
             "true changed size owner group type permission",
             {vanished, {"new", "bad_alloc( changed size( owner( group( type)?)?)?)?"}}, true);
}

TEST_F(ProtectedFileFaultsTest, CheckOfALink) {
  checkEntry("check of an intact link", entryLine(link, "13", "an old target", "l", "-", "-", "-"),
             "true", {vanished, linkUnread}, false);
  checkEntry("check of a changed link", entryLine(link, "13", "a new target", "l", "-", "-", "-"),
             "true changed hash", {outOfMemory, vanished, linkUnread}, true);
}

TEST_F(ProtectedFileFaultsTest, CheckOfADevice) {
  checkEntry("check of a device", entryLine("/dev/null", "-", "1,4", "c", "-", "-", "-"),
             "true changed hash", {outOfMemory, vanished}, true);
}

TEST_F(ProtectedFileFaultsTest, CheckOfAFixedDirectory) {
  std::string const line = entryLine(fixed, "-", "FIXED", "d", "-", "-", "-");
  std::vector<Documented> documented = ofDirectory;
  documented.push_back(outOfMemory);
  checkEntry("check of a directory", line, "true changed is unknown file", documented, true);
}

TEST_F(ProtectedFileFaultsTest, CheckOfAnEmptyDirectory) {
  std::string const line = entryLine(tree + "target", "-", "FIXED", "d", "-", "-", "-");
  checkEntry("check of an empty directory", line, "true", ofDirectory, false);
}

TEST_F(ProtectedFileFaultsTest, CheckHash) {
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

TEST_F(ProtectedFileFaultsTest, SetPkg) {
  RestoredBinding const restored;
  fail({"setPkg",
        [](Attempt& attempt) {
          PkgInfo& binding = ProtectedFile::_pkginfo;
          binding.isSet = false;
          binding.uid = binding.gid = 4711;
          binding.targetDir = "old";
          bool result = false;
          if (attempt([&] { result = ProtectedFile::setPkg(package); }))
            attempt.sayWhether(result);
          attempt.say((binding.isSet ? " set " : " unset ") + std::to_string(binding.uid) + " " +
                      std::to_string(binding.gid) + " " + binding.targetDir);
          std::string().swap(binding.targetDir);
        },
        "true set 1 1 T/target",
        {{"new", "bad_alloc unset 4711 4711 old"},
         {"stat64", "false unset 4711 4711 old \\| " + notInstalled},
         {"open64 read fstat64 getpwnam", "false unset 4711 4711 old \\| " + noUser}}});
}

}  // namespace faults
