// The plain C function.

#include <gtest/gtest.h>
#include <zemo/selfcheck.h>

#include <cerrno>

#include "fixture.h"
#include "support/path_list.h"
#include "support/result_mask.h"

namespace faults {

using SelfCheckFilesFaultsTest = LibraryFaultsTest;

TEST_F(SelfCheckFilesFaultsTest, EveryCall) {
  writeLists();
  std::string const failed = "-1( untouched){5} \\| ";
  std::string const loadFailed = "; util:33 Selfcheck load list failed";
  std::string const line = "file_list:187 SelfCheck check file";
  std::string const selfCheckFailed = "util:38 Selfcheck failed";
  // The last entry for a path takes precedence. If it cannot be read, or the order of lists that
  // makes it the last cannot, an earlier entry does: neither the order nor the number of lists is
  // signed, and running out of memory for a line is only logged.
  std::string const calledIntact = " T/tampered called intact";
  std::string const overridden = " 0 0 32 0 384" + calledIntact;
  withoutPrograms = true;
  std::string const notLoaded = failed + "util:33 Selfcheck load list failed";
  fail({"SelfCheckFiles",
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
         {"stat64 fstat64 read", "0" + overridden},
         {"read", "same"},
         {"open64", "0" + overridden + " \\| " + orderFailed},
         {"lstat64",
          "0" + failingFromOne({" 0", " 32", " 0", " 0"}, {" 64", " 64", " 64", " 64"}) + " 384"},
         {"malloc",
          "0( 0 32 0 0 384| 128 32 0 0 384| 0 32 0 128 128| 0 32 32 0 384| 128 128 128 128 128"
          "| 0 128 128 128 128) \\| " +
              entriesLost},
         {"malloc", "0 0 0( 128 128 128| 128 0 384| 32 0 384| 0 0 384)" + calledIntact + " \\| " +
                        entriesLost},
         {"glob64", notLoaded},
         {"glob64_first", "0 128 32 0 128 128"},
         {"glob64_last", "0" + overridden},
         {"VLIBExecl", failed + signatureBad + setFailed + loadFailed},
         {"stat64", failed + signatureMissing + setFailed + loadFailed},
         {"open64", failed + "(" + orderFailed + "; )?" + openFailed + loadFailed},
         {"fstat64 read", failed + formatError + loadFailed},
         {fileCalls + " " + otherCalls, failed + "(" + entriesLost + ")?" +
                                            notCompared("tampered|" + others, line) +
                                            selfCheckFailed},
         {"pread64", "same", ESPIPE},
         {"pread64", failed + notCompared("intact|tampered", line) + selfCheckFailed, ESPIPE}}});
}

}  // namespace faults
