// A file or directory that differs from its entry in one attribute gives way to one that differs in
// another: neither of them is intact, so no check may call it that.

#include <unistd.h>
#include <zemo/selfcheck/file_list.h>

#include "races/races.h"
#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

using namespace ZEMO::SELF_CHECK;

using Fault = Change;

class MixedRacesTest : public RacesTest {
 protected:
  // What is there has the fault `first`; between two calls it comes to have `second` instead.
  // `make` makes it without a fault, out of what is there, if anything.
  void exchange(const std::function<void()>& make, const Fault& first, const Fault& second) {
    SCOPED_TRACE(first.name);
    clear(files.path());
    make();
    std::string const list = files / "list";
    writeFile(list, "WAM_SELF_CHECK\nfree text\n" + lines(), 0644);
    Operation const operation = {path,
                                 [this, make, first] {
                                   remove(path);
                                   remove(files / "former");
                                   make();
                                   first.make(path);
                                 },
                                 [this, list] { return check(list); }, changed};
    race(operation, path,
         {{"replaced by one " + second.name,
           [this, make, second](const std::string& object) {
             std::filesystem::rename(object, files / "former");  // who has it open finds all in it
             make();
             second.make(object);
           }},
          {"changed to one " + second.name,
           [make, second](const std::string& object) {
             make();
             second.make(object);
           }}},
         [](const Situation& /*situation*/, int outcome) {
           return outcome == changed || outcome == failed;
         });
  }

  TemporaryDirectory files;
  std::string const path = files / "object";

 private:
  std::string lines() const {
    std::string const line = entryLine(path) + "\n";
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

TEST_F(MixedRacesTest, Files) {
  for (std::size_t const size : {10U, 300000U}) {
    auto const make = [this, size] { writeFile(path, std::string(size, 'x') + "\n"); };
    for (const Fault& first : {otherContent, otherPermission, otherSize}) {
      for (const Fault& second : {otherContent, otherPermission, otherSize}) {
        if (first.name != second.name)
          exchange(make, first, second);
      }
    }
  }
}

TEST_F(MixedRacesTest, Directories) {
  auto const make = [this] {
    makeDirectory(path);
    changeMode(path, 0755);
    clear(path);
  };
  exchange(make, strayMember, otherPermission);
  exchange(make, otherPermission, strayMember);
}

}  // namespace
