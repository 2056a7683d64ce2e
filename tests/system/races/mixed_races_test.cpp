// A file or directory that differs from its entry in one attribute is replaced with one that
// differs in another attribute: neither is intact, so no check may report it as intact.

#include <unistd.h>
#include <zemo/selfcheck/file_list.h>

#include <filesystem>
#include <stdexcept>

#include "set_fixture.h"
#include "support/files.h"

namespace {

using namespace ZEMO::SELF_CHECK;

using Fault = Change;

class MixedRacesTest : public SetRacesTest {
 protected:
  MixedRacesTest() : SetRacesTest(all) {}

  // The object has the fault `first`; between two calls, another object with the fault `second`
  // replaces it. `make` makes the object without a fault, from an existing one if there is one.
  void exchange(const std::function<void()>& make, const Fault& first, const Fault& second) {
    raceTo(make, first, {"replaced by one " + second.name, [=](const std::string& object) {
                           // Processes that have the old object open still find its content.
                           std::filesystem::rename(object, files / "former");
                           make();
                           second.make(object);
                         }});
  }

  // The same, but changes the object itself.
  void change(const std::function<void()>& make, const Fault& first, const Fault& second) {
    raceTo(make, first, {"changed to one " + second.name, [=](const std::string& object) {
                           make();
                           second.make(object);
                         }});
  }

  std::string const path = files / "object";
  bool byName = false;  // whether SelfCheckFiles checks it

 private:
  void raceTo(const std::function<void()>& make, const Fault& first, const Change& to) {
    SCOPED_TRACE(first.name);
    clear(files.path());
    make();
    clearLists();
    writeSigned("a", lines());
    Operation const operation = {path,
                                 [=] {
                                   remove(path);
                                   remove(files / "former");
                                   make();
                                   first.make(path);
                                 },
                                 [this] { return byName ? checkNamed(path) : check(); }, changed};
    race(operation, path, {to}, [](const Situation& /*situation*/, int outcome) {
      return outcome == changed || outcome == failed;
    });
  }

  std::string lines() const {
    std::string line = entryLine(path) + "\n";
    if (!S_ISDIR(statusOf(path).st_mode))
      return line;
    return entryLine(path, "-", "FIXED", "d", "755", std::to_string(geteuid()), "-") + "\n";
  }

  int check() const {
    FileList set("wam", "full");
    if (!set.loadList(false))
      return misled;
    bool differs = false;
    if (!set.getProtectedFiles()->at(path)->check(differs, CHECK_ITEM_ALL))
      return failed;
    return differs ? changed : intact;
  }
};

Fault const otherContent = {"of other content", [](const std::string& path) {
                              writeFile(path, corrupted(readFile(path)));
                            }};
Fault const otherPermission = {"of other permission",
                               [](const std::string& path) { changeMode(path, 04755); }};
Fault const otherSize = {"of other size",
                         [](const std::string& path) { appendToFile(path, "more\n"); }};

constexpr unsigned int anotherId = 1;
constexpr auto sameId = static_cast<unsigned int>(-1);

void give(const std::string& path, uid_t owner, gid_t group) {
  if (chown(path.c_str(), owner, group) != 0)
    throw std::runtime_error("cannot give away " + path);
}

Fault const otherOwner = {"of another owner",
                          [](const std::string& path) { give(path, anotherId, sameId); }};
Fault const otherGroup = {"of another group",
                          [](const std::string& path) { give(path, sameId, anotherId); }};

Fault const strayMember = {"with a stray member",
                           [](const std::string& path) { writeFile(path + "/stray", ""); }};

Fault const linked = {"behind a link", [](const std::string& path) {
                        std::filesystem::rename(path, path + ".target");
                        makeLink(path + ".target", path);
                      }};
Fault const asFifo = {"that is a FIFO", [](const std::string& path) {
                        remove(path);
                        makeFifo(path);
                        changeMode(path, 0644);
                      }};
Fault const asFile = {"that is a file", [](const std::string& path) {
                        remove(path);
                        writeFile(path, "", 0755);
                      }};

// Calls `use` with every pair of faults.
void forEachPair(const std::vector<Fault>& faults,
                 const std::function<void(const Fault& first, const Fault& second)>& use) {
  for (const Fault& first : faults) {
    for (const Fault& second : faults) {
      if (&first != &second)
        use(first, second);
    }
  }
}

TEST_F(MixedRacesTest, Files) {
  for (std::size_t const size : {10U, 300000U}) {
    auto const make = [this, size] { writeFile(path, std::string(size, 'x') + "\n"); };
    forEachPair({otherContent, otherPermission, otherSize, linked},
                [&](const Fault& first, const Fault& second) { exchange(make, first, second); });
    forEachPair({otherContent, otherPermission, otherSize},
                [&](const Fault& first, const Fault& second) { change(make, first, second); });
  }
}

TEST_F(MixedRacesTest, FilesOfOtherKinds) {
  auto const make = [this] { writeFile(path, "content\n"); };
  forEachPair({otherContent, linked, asFifo},
              [&](const Fault& first, const Fault& second) { exchange(make, first, second); });
}

TEST_F(MixedRacesTest, FilesOfOthers) {
  auto const make = [this] {
    writeFile(path, "content\n");
    give(path, geteuid(), getegid());
  };
  make();
  if (chown(path.c_str(), anotherId, anotherId) != 0)
    GTEST_SKIP() << "needs a second account";
  for (bool const named : {false, true}) {
    byName = named;
    forEachPair({otherContent, otherOwner, otherGroup},
                [&](const Fault& first, const Fault& second) {
                  exchange(make, first, second);
                  change(make, first, second);
                });
  }
}

TEST_F(MixedRacesTest, NamedFiles) {
  byName = true;
  auto const make = [this] { writeFile(path, "content\n"); };
  forEachPair({otherContent, otherPermission, otherSize, asFifo},
              [&](const Fault& first, const Fault& second) { exchange(make, first, second); });
}

TEST_F(MixedRacesTest, Directories) {
  auto const make = [this] {
    makeDirectory(path);
    changeMode(path, 0755);
    clear(path);
  };
  forEachPair({strayMember, otherPermission, asFile},
              [&](const Fault& first, const Fault& second) { exchange(make, first, second); });
  forEachPair({strayMember, otherPermission},
              [&](const Fault& first, const Fault& second) { change(make, first, second); });
}

}  // namespace
