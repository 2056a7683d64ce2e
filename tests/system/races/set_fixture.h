// Signed sets of lists, and a stand-in for GnuPG.

#ifndef ZEMO_TESTS_SYSTEM_RACES_SET_FIXTURE_H
#define ZEMO_TESTS_SYSTEM_RACES_SET_FIXTURE_H

#include <string>

#include "races.h"
#include "support/temporary_directory.h"

namespace ZEMO::SELF_CHECK {
class FileList;
}

class SetRacesTest : public RacesTest {
 protected:
  using RacesTest::RacesTest;

  void SetUp() override;
  void TearDown() override;

  // Makes an empty directory of lists.
  static void clearLists();

  // Writes the list "wam.full.NAME.list" and its signature.
  static void writeSigned(const std::string& name, const std::string& lines);

  static std::string listOf(const std::string& name) {
    return std::string(listDir) + "/wam.full." + name + ".list";
  }

  // The result of SelfCheckFiles for one file.
  static int checkNamed(const std::string& path);

  // All entries as lines, in order.
  static std::string linesOf(const ZEMO::SELF_CHECK::FileList& list);

  TemporaryDirectory files;  // the files in the lists
};

#endif
