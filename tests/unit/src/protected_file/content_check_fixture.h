// Shared by the tests of content checks.

#ifndef ZEMO_TESTS_UNIT_SRC_PROTECTED_FILE_CONTENT_CHECK_FIXTURE_H
#define ZEMO_TESTS_UNIT_SRC_PROTECTED_FILE_CONTENT_CHECK_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/selfcheck/protected_file.h>

#include <string>
#include <utility>
#include <vector>

#include "support/doubles/recorded_log.h"
#include "support/errors_of.h"
#include "support/files.h"
#include "support/temporary_directory.h"
#include "support/time_limit.h"

inline struct stat statusWith(mode_t mode, dev_t device = 0) {
  struct stat st = {};
  st.st_mode = mode;
  st.st_rdev = device;
  return st;
}

class ContentCheckTest : public ::testing::Test {
 public:
  static constexpr char contentDigest[] = "040f06fd774092478d450774f5ba30c5da78acc8";

 protected:
  ContentCheckTest() : path(_directory / "checked") {}

  void SetUp() override {
    clearLog();
    _descriptorsBefore = openDescriptors();
  }

  void TearDown() override { EXPECT_EQ(openDescriptors(), _descriptorsBefore); }

  std::string in(const std::string& name) const { return _directory / name; }

  // Compares the content of the file at `path`, whose status is or was `st`; this must be possible.
  // Returns the findings. `changed` is set if and only if there are any.
  std::vector<std::string> check(const std::string& hash, const struct stat& st,
                                 std::vector<std::string> fixedEntries = {}) const {
    ZEMO::SELF_CHECK::ProtectedFile entry(entryLine(path, "-", hash, "-", "-", "-", "-"));
    entry._fixedEntries = std::move(fixedEntries);
    bool changed = false;
    EXPECT_FALSE(entry.checkHash(st, changed));
    EXPECT_EQ(changed, !entry._errors.empty());
    EXPECT_THAT(recordedLog(), ::testing::IsEmpty());
    return errorsOf(entry);
  }

  std::vector<std::string> check(const std::string& hash) const {
    return check(hash, statusOf(path));
  }

  // Compares content that cannot be compared.
  void checkFails(const std::string& hash, const struct stat& st) const {
    TimeLimit const limit;
    ZEMO::SELF_CHECK::ProtectedFile entry(entryLine(path, "-", hash, "-", "-", "-", "-"));
    bool changed = false;
    EXPECT_TRUE(entry.checkHash(st, changed));
    EXPECT_FALSE(changed);
    EXPECT_THAT(entry._errors, ::testing::IsEmpty());
  }

  std::string hashError(const std::string& expected, const std::string& actual) const {
    return path + " hash expect[" + expected + "] but get[" + actual + "]";
  }

 private:
  TemporaryDirectory _directory;
  int _descriptorsBefore = 0;

 protected:
  std::string path;
};

#endif
