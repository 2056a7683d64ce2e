// The plain C function.

#include <gtest/gtest.h>
#include <zemo/selfcheck.h>

#include <cerrno>

#include "entry_point/path_list.h"
#include "entry_point/result_mask.h"
#include "faults/fixture.h"

namespace faults {

using SelfCheckFilesFaultsTest = LibraryFaultsTest;

TEST_F(SelfCheckFilesFaultsTest, EveryCall) {
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

}  // namespace faults
