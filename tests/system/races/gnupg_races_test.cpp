// Lists and signatures change while a set is loaded that the real GnuPG verifies. The tests stop
// only the library's own calls, not those of GnuPG.

#include <zemo/core.h>
#include <zemo/selfcheck/file_list.h>

#include <filesystem>

#include "set_fixture.h"
#include "support/doubles/scripted_exec.h"
#include "support/files.h"
#include "support/signing_key.h"
#include "window.h"

namespace {

using namespace ZEMO::SELF_CHECK;

class GnuPGRacesTest : public SetRacesTest {
 protected:
  GnuPGRacesTest() : SetRacesTest(few) {}

  void SetUp() override {
    SetRacesTest::SetUp();
    if (IsSkipped())
      return;
    execResult = reallyExec;
    SigningKey const key;
    key.trustedBy(home.path());
    writeFile(home / "gpg.conf", "trust-model always\nno-auto-check-trustdb\n");
    std::string const list = writeList(files.path(), "wam.full.a.list", line);
    key.sign(list);
    writeFile(files / "other", "other");
    key.sign(files / "other");
  }

  // The signed list and the key ring.
  void makeSet() const {
    clearLists();
    for (const std::string& from : {home.path(), files.path()})
      std::filesystem::copy(from, listDir);
  }

  Operation loading() const {
    return {listDir, [this] { makeSet(); },
            [] {
              FileList list("wam", "full");
              if (!list.loadList(true))
                return failed;
              return linesOf(list) == line ? intact : misled;
            }};
  }

  static constexpr char line[] = "/x\t-\thash\t-\t-\t-\t-\n";
  TemporaryDirectory home;
};

// GnuPG waits for the writer of a FIFO, and reads these devices forever.
std::vector<Change> finite() {
  return without({"FIFO", "/dev/zero", "/dev/full", "copy"}, fileChanges());
}

TEST_F(GnuPGRacesTest, List) {
  Window window(listOf("a"));
  race(loading(), listOf("a"), finite(),
       [&](const Situation& situation, int outcome) { return window.isRight(situation, outcome); });
  window.print();
}

// GnuPG may read everything that root may, and ignores data after the end of the signature.
TEST_F(GnuPGRacesTest, Signature) {
  std::vector<Change> changes =
      without({"unreadable", "grown", "other content", "overwritten"}, finite());
  changes.push_back({"replaced by that of other content", [](const std::string& signature) {
                       writeFile(signature, readFile(std::string(listDir) + "/other.asc"));
                     }});
  race(loading(), listOf("a") + ".asc", changes);
}

}  // namespace
