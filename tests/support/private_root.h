// The directories that the private root replaces, for tests that need them.

#ifndef ZEMO_TESTS_SUPPORT_PRIVATE_ROOT_H
#define ZEMO_TESTS_SUPPORT_PRIVATE_ROOT_H

#include <gtest/gtest.h>

#include <string>

// True if this is a private root, proved by its mounts and not by the environment alone. False if
// none could be created. Ends the process if the environment names a private root that does not
// exist, because tests would then empty the machine's own directories.
bool inPrivateRoot();

// A fixture whose tests find these directories empty. The tests are skipped if no private root can
// be created.
class PrivateRootTest : public ::testing::Test {
 public:
  static constexpr char listDir[] = "/usr/zemo/selfcheck";
  static constexpr char packagesDir[] = "/var/packages";
  static constexpr char stateDir[] = "/var/lib/zemo-selfcheck";

 protected:
  void SetUp() override;

  // Writes the check list `name` (such as "wam.full.base.list") with these entry lines to listDir,
  // or to `directory`, and returns its path.
  static std::string writeList(const std::string& name, const std::string& lines);
  static std::string writeList(const std::string& directory, const std::string& name,
                               const std::string& lines);
};

#endif
