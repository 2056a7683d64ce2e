// The system's set with real signatures, for tests of callers with unusual surroundings.

#ifndef ZEMO_TESTS_SYSTEM_CALLERS_SHARED_SET_H
#define ZEMO_TESTS_SYSTEM_CALLERS_SHARED_SET_H

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/private_root.h"
#include "support/temporary_directory.h"

// The set is made once and shared by the tests, which do not change it. Everybody can read it and
// verify it with its key ring.
class SharedSetTest : public PrivateRootTest {
 public:
  static void SetUpTestSuite();
  static void TearDownTestSuite();

  // The path of `name` in the directory of the checked files.
  static std::string pathOf(const std::string& name);

 protected:
  void SetUp() override;

  // The paths to pass to SelfCheckFiles, and the expected result words.
  static std::vector<std::string> paths();
  static std::vector<uint32_t> masks();

  // The digest of the file `intact`.
  static constexpr char intactDigest[] = "040f06fd774092478d450774f5ba30c5da78acc8";

 private:
  static std::unique_ptr<TemporaryDirectory> _directory;
};

#endif
