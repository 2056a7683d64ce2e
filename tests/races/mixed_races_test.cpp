// A file or directory that differs from its entry in one attribute gives way to one that differs in
// another: neither of them is intact, so no check may call it that.

#include <unistd.h>
#include <zemo/selfcheck/file_list.h>

#include <filesystem>

#include "races/races.h"
#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

using namespace ZEMO::SELF_CHECK;

using Fault = Change;

class MixedRacesTest : public RacesTest {
 protected:
  MixedRacesTest() : RacesTest(all) {}

  // What is there has the fault `first`; between two calls another one with the fault `second`
  // takes its place. `make` makes it without a fault, out of what is there, if anything.
  void exchange(const std::function<void()>& make, const Fault& first, const Fault& second) {
    raceTo(make, first, {"replaced by one " + second.name, [=](const std::string& object) {
                           // Whoever has the former one open still finds all in it.
                           std::filesystem::rename(object, files / "former");
                           make();
                           second.make(object);
                         }});
  }

  // The same, but it is changed itself.
  void change(const std::function<void()>& make, const Fault& first, const Fault& second) {
    raceTo(make, first, {"changed to one " + second.name, [=](const std::string& object) {
                           make();
                           second.make(object);
                         }});
  }

  TemporaryDirectory files;
  std::string const path = files / "object";

 private:
  void raceTo(const std::function<void()>& make, const Fault& first, const Change& to) {
    SCOPED_TRACE(first.name);
    clear(files.path());
    make();
    std::string const list = files / "list";
    writeFile(list, "WAM_SELF_CHECK\nfree text\n" + lines());
    Operation const operation = {path,
                                 [=] {
                                   remove(path);
                                   remove(files / "former");
                                   make();
                                   first.make(path);
                                 },
                                 [this, list] { return check(list); }, changed};
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

  int check(const std::string& list) const {
    FileList set("wam", "full");
    if (!set.parseList(list) || !set.fillFixedDirInfo())
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
Fault const strayMember = {"with a stray member",
                           [](const std::string& path) { writeFile(path + "/stray", ""); }};

Fault const linked = {"behind a link", [](const std::string& path) {
                        std::filesystem::rename(path, path + ".target");
                        makeLink(path + ".target", path);
                      }};
Fault const asFile = {"that is a file", [](const std::string& path) {
                        remove(path);
                        writeFile(path, "", 0755);
                      }};

// Calls `use` with each two of the faults.
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
