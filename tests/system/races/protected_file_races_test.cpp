// A protected file changes while it is checked.

#include <zemo/selfcheck/protected_file.h>

#include "races.h"
#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

using namespace ZEMO::SELF_CHECK;

constexpr char digestOfContent[] = "7fe70820e08a1aac0ef224d9c66ab66831cc4ab1";

int outcomeOf(ProtectedFile& entry) {
  bool differs = false;
  if (!entry.check(differs, CHECK_ITEM_ALL))
    return failed;
  return differs ? changed : intact;
}

class ProtectedFileRacesTest : public RacesTest {
 protected:
  // Checks the object that `make` makes at `path`, with an entry that describes the new object.
  Operation checkOf(const std::function<void()>& make) {
    make();
    std::string const line = entryLine(path);
    return {path,
            [this, make] {
              unmount(path);
              clear(files.path());
              make();
            },
            [line] {
              ProtectedFile entry(line);
              return outcomeOf(entry);
            }};
  }

  TemporaryDirectory files;
  std::string const path = files / "object";
};

TEST_F(ProtectedFileRacesTest, SmallFile) {
  race(checkOf([this] { writeFile(path, "content\n"); }), path, fileChanges());
}

TEST_F(ProtectedFileRacesTest, EmptyFile) {
  std::vector<Change> changes = replacements();
  changes.push_back({"grown", [](const std::string& file) { appendToFile(file, "more\n"); }});
  race(checkOf([this] { writeFile(path, ""); }), path, changes);
}

TEST_F(ProtectedFileRacesTest, LargeFile) {
  race(checkOf([this] { writeFile(path, std::string(300000, 'x') + "\n"); }), path, fileChanges());
}

TEST_F(ProtectedFileRacesTest, FileThatIsPutBack) {
  raceAndPutBack(checkOf([this] { writeFile(path, std::string(300000, 'x') + "\n"); }), path,
                 fileChanges());
}

TEST_F(ProtectedFileRacesTest, Link) {
  // (A link's own permissions are not checked, and a copy of a link is the same link.)
  std::vector<Change> changes = without({"unreadable", "copy"}, replacements());
  changes.push_back({"turned to another target", [](const std::string& link) {
                       remove(link);
                       makeLink("/elsewhere", link);
                     }});
  race(checkOf([this] { makeLink("/somewhere", path); }), path, changes);
}

// (Members matter only to directories with fixed members.)
TEST_F(ProtectedFileRacesTest, Directory) {
  race(checkOf([this] { makeDirectory(path); }), path,
       without({"member", "directory"}, directoryChanges()));
}

// The replacement of the device is a file, and another device may be mounted on it.
TEST_F(ProtectedFileRacesTest, Device) {
  auto const make = [this] {
    writeFile(path, "");
    bindDevice("/dev/null", path);
  };
  race(checkOf(make), path,
       {{"gone", unmount}, {"replaced by /dev/zero", [](const std::string& device) {
                              bindDevice("/dev/zero", device);
                            }}});
}

// calculateHash waits for whatever its path leads to, so the test leaves out FIFOs and endless
// devices.
TEST_F(ProtectedFileRacesTest, Digest) {
  Operation const digesting = {path,
                               [this] {
                                 clear(files.path());
                                 writeFile(path, "content\n");
                               },
                               [this] {
                                 std::string digest;
                                 if (!calculateHash(path, digest))
                                   return failed;
                                 return digest == digestOfContent ? intact : changed;
                               }};
  race(digesting, path, without({"FIFO", "/dev/zero", "/dev/full", "copy"}, fileChanges()));
}

}  // namespace
