// The system's own set with real signatures, for tests of the exported function.

#ifndef ZEMO_TESTS_SUPPORT_SIGNED_SET_TEST_H
#define ZEMO_TESTS_SUPPORT_SIGNED_SET_TEST_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/doubles/recorded_log.h"
#include "support/files.h"
#include "support/private_root.h"
#include "support/signing_key.h"
#include "support/temporary_directory.h"

class SignedSetTest : public PrivateRootTest {
 public:
  // Creating a key takes longer than a test, so the tests of a program share one.
  static void SetUpTestSuite() { key() = std::make_unique<SigningKey>(); }
  static void TearDownTestSuite() { key().reset(); }

 protected:
  void SetUp() override {
    PrivateRootTest::SetUp();
    if (IsSkipped())
      return;
    changeMode(listDir, 0700);
    key()->trustedBy(listDir);
    clearLog();
  }

  static std::unique_ptr<SigningKey>& key() {
    static std::unique_ptr<SigningKey> shared;
    return shared;
  }

  // Makes the file `name` and returns its path.
  std::string file(const std::string& name, const std::string& content = "content") const {
    std::string path = _directory / name;
    writeFile(path, content);
    return path;
  }

  std::string pathOf(const std::string& name) const { return _directory / name; }

  // Writes and signs a list of these entry lines and returns its path.
  static std::string signedList(const std::string& name, const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
      text += line + "\n";
    std::string path = writeList(name, text);
    key()->sign(path);
    return path;
  }

  TemporaryDirectory _directory;
};

#endif
