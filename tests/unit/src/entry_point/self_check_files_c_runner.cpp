// Runs the program self_check_files_c_test on signed lists.

#include <gtest/gtest.h>

#include "support/signed_set_test.h"
#include "support/signing_key.h"

namespace {

class SelfCheckFilesFromC : public SignedSetTest {
 protected:
  // The program's output for these paths.
  std::string output(const std::vector<std::string>& paths) const {
    std::string command = quoted(ZEMO_C_PROGRAM);
    for (const std::string& path : paths)
      command += " " + quoted(path);
    runShell(command + " > " + quoted(_output / "out"));
    return readFile(_output / "out");
  }

  TemporaryDirectory _output;
};

TEST_F(SelfCheckFilesFromC, GetsOneResultPerPath) {
  std::string const intact = file("intact");
  std::string const missing = file("missing");
  signedList("wam.full.base.list", {entryLine(intact), entryLine(missing)});
  remove(missing);
  EXPECT_EQ(output({missing, intact, pathOf("unlisted")}), "0\n40 missing\n0\n80 unlisted\n");
}

TEST_F(SelfCheckFilesFromC, GetsNoResultForNoPath) {
  signedList("wam.full.base.list", {});
  EXPECT_EQ(output({}), "0\n");
}

TEST_F(SelfCheckFilesFromC, FindsItsArrayUntouchedAfterFailure) {
  EXPECT_EQ(output({"/etc/passwd"}), "-1\nffffffff missing unlisted\n");
}

}  // namespace
