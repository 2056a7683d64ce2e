// The common parts of the failing operations: files and lists that each test has afresh, and log
// lines. Outcomes contain the files' paths as T/... and those of lists as L/...

#ifndef ZEMO_TESTS_SYSTEM_FAULTS_FIXTURE_H
#define ZEMO_TESTS_SYSTEM_FAULTS_FIXTURE_H

#include <zemo/selfcheck.h>

#include <string>
#include <vector>

#include "scenario.h"
#include "support/private_root.h"

namespace faults {

inline const std::string lists = "/usr/zemo/selfcheck/";
inline const std::string package = "a package with a long name";
inline const std::string tree = "/var/packages/" + package + "/";
inline const std::string intact = tree + "intact";
inline const std::string tampered = tree + "tampered";
inline const std::string link = tree + "link";
inline const std::string fixed = tree + "fixed";
inline const std::string member = fixed + "/member";
inline const std::string stray = fixed + "/stray";

constexpr char good[] = "f6ee99edde6199a3e982c46ef72bdd5cb5e41ddf";  // of the intact file
constexpr char bad[] = "a3773d77d0e2dffff0de146a1a22529aa213d55f";   // of the tampered one

// Log lines.
inline const std::string orderFailed = "file_list:274 Open list order file <L/listorder> failed";
inline const std::string aList = "L/wam.full.(maker|local).list";
inline const std::string openFailed = "file_list:104 Open input file <" + aList +
                                      "> failed; file_list:48 Parse list <" + aList + "> failed.";
inline const std::string formatError =
    "file_list:108 Format Error; file_list:48 Parse list <" + aList + "> failed.";
inline const std::string entriesLost =
    "(protected_file:(59 OOM parameters|64 <[^<>]*> strtok failed)(; )?)+";
inline const std::string signFailed = "; file_list:225 Check " + aList + " sign failed.";
inline const std::string setFailed =
    signFailed + "; file_list:321 Check signature of check list <L/wam.full.*.list> failed";
inline const std::string signatureBad = "file_list:247 Verify signature failed";
inline const std::string signatureMissing =
    "file_list:242 Signature of <" + aList + "> is not exist.";
inline const std::string notInstalled =
    "protected_file:113 package <" + package + "> is not installed.";
inline const std::string noUser =
    "protected_file:119 Failed to get package user for package <" + package + ">";

// The calls for comparing the content of a file, and those for comparing other attributes.
inline const std::string fileCalls =
    "malloc open64 pread64 fstat64 EVP_MD_CTX_new EVP_DigestInit_ex EVP_DigestUpdate "
    "EVP_DigestFinal_ex";
inline const std::string otherCalls = "readlink fdopendir readdir64";
inline const std::string others = "intact|link|fixed";  // all but the tampered file

inline const Documented outOfMemory = {"new", "bad_alloc"};
// Calls for running a program.
inline const Documented execGoesOn = {"SYS_close_range SYS_rt_sigprocmask waitpid", "same"};

// Whether GnuPG's verdict comes without running a program, which is much faster.
extern bool withoutPrograms;

// The log if the content of some files with these names below T/ cannot be compared, with `line`
// after each of them.
std::string notCompared(const std::string& names, const std::string& line);

// The words of a result with one word for each file, if the call for one file, or for it and all
// later ones, fails.
std::string failingFromOne(const std::vector<std::string>& words,
                           const std::vector<std::string>& failing);

bool isLogged(const std::string& text);

// A list line for a file with the size, content and permission bits of the intact one.
std::string listed(const std::string& path);

// The kinds of an entry's recorded mismatches, each after a blank.
std::string kindsOf(const ZEMO::SELF_CHECK::ProtectedFile& entry);

class LibraryFaultsTest : public PrivateRootTest {
 public:
  static void SetUpTestSuite();

 protected:
  void SetUp() override;

  // The system's set: two lists; the second replaces two entries of the first and removes one.
  // Sorted by name, the second would come first. The tampered file differs only from the second's
  // entry.
  static void writeLists();
};

}  // namespace faults

#endif
