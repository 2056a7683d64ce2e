// The directories that the private root replaces, for tests that need them.

#ifndef ZEMO_TESTS_SUPPORT_PRIVATE_ROOT_H
#define ZEMO_TESTS_SUPPORT_PRIVATE_ROOT_H

#include <gtest/gtest.h>

#include <string>

// Whether this is a private root, proved by its mounts and not by the environment alone. False
// where none could be made. Ends the process where the environment names one that is not there,
// because what the tests would empty then is the machine's.
bool inPrivateRoot();

// A fixture whose tests find /usr/zemo/selfcheck and /var/packages empty. They are skipped where no
// private root can be made.
class PrivateRootTest : public ::testing::Test {
 public:
  static constexpr char listDir[] = "/usr/zemo/selfcheck";
  static constexpr char packagesDir[] = "/var/packages";

 protected:
  void SetUp() override;

  // Writes the check list `name` (such as "wam.full.base.list") with these entry lines into
  // listDir, or into `directory`, and returns its path.
  static std::string writeList(const std::string& name, const std::string& lines);
  static std::string writeList(const std::string& directory, const std::string& name,
                               const std::string& lines);
};

#endif
