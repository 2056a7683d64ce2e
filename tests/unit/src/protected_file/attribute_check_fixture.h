// Shared by the tests of attribute checks.

#ifndef ZEMO_TESTS_UNIT_SRC_PROTECTED_FILE_ATTRIBUTE_CHECK_FIXTURE_H
#define ZEMO_TESTS_UNIT_SRC_PROTECTED_FILE_ATTRIBUTE_CHECK_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/selfcheck/protected_file.h>

#include <string>
#include <vector>

#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_status.h"
#include "support/errors_of.h"
#include "support/files.h"
#include "support/temporary_directory.h"

class AttributeCheckTest : public ::testing::Test {
 public:
  static constexpr char contentDigest[] = "040f06fd774092478d450774f5ba30c5da78acc8";

 protected:
  // By default, the file's content is "content", its size 7 bytes and its permission 0644.
  AttributeCheckTest() : path(_directory / "file") { writeFile(path, "content"); }

  void SetUp() override {
    scriptedStatus.clear();
    clearLog();
  }
  void TearDown() override { scriptedStatus.clear(); }

  std::string in(const std::string& name) const { return _directory / name; }

  // Checks the entry of `line`, which must be possible, and returns the findings. `changed` is set
  // if and only if there are any.
  static std::vector<std::string> check(
      const std::string& line,
      ZEMO::SELF_CHECK::CHECK_ITEM items = ZEMO::SELF_CHECK::CHECK_ITEM_ALL) {
    ZEMO::SELF_CHECK::ProtectedFile entry(line);
    bool changed = false;
    EXPECT_TRUE(entry.check(changed, items));
    EXPECT_EQ(changed, !entry._errors.empty());
    EXPECT_THAT(recordedLog(), ::testing::IsEmpty());
    return errorsOf(entry);
  }

  std::vector<std::string> checkSize(const std::string& text) const {
    return check(entryLine(path, text, "-", "-", "-", "-", "-"));
  }

  std::vector<std::string> checkOwner(const std::string& text) const {
    return check(entryLine(path, "-", "-", "-", "-", text, "-"));
  }

  std::vector<std::string> checkGroup(const std::string& text) const {
    return check(entryLine(path, "-", "-", "-", "-", "-", text));
  }

  std::vector<std::string> checkPermission(const std::string& text) const {
    return check(entryLine(path, "-", "-", "-", text, "-", "-"));
  }

  static std::vector<std::string> checkType(const std::string& file, const std::string& text) {
    return check(entryLine(file, "-", "-", text, "-", "-", "-"));
  }

  // A text that makes the entry's id wrong: `id` plus one.
  static std::string otherThan(unsigned id) { return std::to_string(id + 1ULL); }

  // Makes lstat report this status for the path.
  void script(mode_t mode, uid_t uid = 0, gid_t gid = 0, off_t size = 7) const {
    struct stat st = {};
    st.st_mode = mode;
    st.st_uid = uid;
    st.st_gid = gid;
    st.st_size = size;
    scriptedStatus[path] = st;
  }

  std::string error(const std::string& kind, const std::string& expected,
                    const std::string& actual) const {
    return path + " " + kind + " expect[" + expected + "] but get[" + actual + "]";
  }

  // An entry whose attributes all differ from the file's.
  std::string allWrong() const {
    struct stat const st = statusOf(path);
    return entryLine(path, "8", "wrong", "d", "600", otherThan(st.st_uid), otherThan(st.st_gid));
  }

  // The findings for that entry, in order.
  std::vector<std::string> allErrors() const {
    struct stat const st = statusOf(path);
    return {error("size", "8", "7"),
            error("owner", otherThan(st.st_uid), std::to_string(st.st_uid)),
            error("group", otherThan(st.st_gid), std::to_string(st.st_gid)),
            error("type", "d", "f"),
            error("permission", "600", "644"),
            error("hash", "wrong", contentDigest)};
  }

 private:
  TemporaryDirectory _directory;

 protected:
  std::string path;
};

#endif
