// Lists, signatures, the order file and their directory change while a set is loaded.

#include <pwd.h>
#include <zemo/selfcheck/file_list.h>

#include "set_fixture.h"
#include "support/files.h"
#include "window.h"

namespace {

using namespace ZEMO::SELF_CHECK;

std::string line(const std::string& path, const std::string& hash) {
  return entryLine(path, "-", hash, "-", "-", "-", "-") + "\n";
}

bool isIntactOrChanged(const Situation& /*situation*/, int outcome) {
  return outcome == intact || outcome == changed;
}

class LoadingRacesTest : public SetRacesTest {
 protected:
  static constexpr char order[] = "/usr/zemo/selfcheck/listorder";

  // Two lists; according to the order file, the first one overrides the second.
  static void makeSet() {
    clearLists();
    writeSigned("a", line("/x", "of a") + line("/y", "of a"));
    writeSigned("b", line("/x", "of b") + line("/z", "of b"));
    writeFile(order, "wam.full.b.list\nwam.full.a.list\n");
  }

  // `changed` if the order is the default one, without an order file.
  static int load() {
    FileList list("wam", "full");
    if (!list.loadList(true))
      return failed;
    std::string const rest = line("/y", "of a") + line("/z", "of b");
    if (linesOf(list) == line("/x", "of a") + rest)
      return intact;
    return linesOf(list) == line("/x", "of b") + rest ? changed : misled;
  }

  Operation const loading = {listDir, makeSet, load};
};

TEST_F(LoadingRacesTest, List) {
  Window window(listOf("a"));
  race(loading, listOf("a"), without({"copy", "removed"}, fileChanges()),
       [&](const Situation& situation, int outcome) { return window.isRight(situation, outcome); });
  window.print();
}

// A list that is removed before the directory is read is not part of the set.
TEST_F(LoadingRacesTest, RemovedList) {
  race(loading, listOf("a"), {named("removed", fileChanges())},
       [](const Situation& situation, int outcome) {
         return situation.moment == before ? outcome == misled : isNoticed(situation, outcome);
       });
}

TEST_F(LoadingRacesTest, Signature) {
  race(loading, listOf("a") + ".asc", without({"copy"}, fileChanges()));
}

TEST_F(LoadingRacesTest, ListAndSignatureBehindLinks) {
  Change const link = named("replaced by a link to a copy", fileChanges());
  race(loading, listOf("a"), {link}, isHarmless);
  race(loading, listOf("a") + ".asc", {link}, isHarmless);
}

// The order file is not signed.
TEST_F(LoadingRacesTest, Order) {
  race(loading, order, fileChanges(), isIntactOrChanged);
}

TEST_F(LoadingRacesTest, Directory) {
  std::vector<Change> changes = without({"copy"}, replacements());
  changes.push_back({"given an unsigned list", [](const std::string& directory) {
                       writeFile(directory + "/wam.full.c.list",
                                 "WAM_SELF_CHECK\n\n" + line("/x", "of c"));
                     }});
  changes.push_back({"given a list with another's signature", [](const std::string& directory) {
                       std::string const list = directory + "/wam.full.c.list";
                       writeFile(list, "WAM_SELF_CHECK\n\n" + line("/x", "of c"));
                       writeFile(list + ".asc", readFile(listOf("a") + ".asc"));
                     }});
  race(loading, listDir, changes, [](const Situation& situation, int outcome) {
    return situation.moment == between ? outcome != misled : outcome == failed;
  });
}

// Whatever happens to the other files, a list with a bad signature keeps the set from loading.
TEST_F(LoadingRacesTest, BadSignatureStaysBad) {
  Operation const badLoading = {listDir,
                                [] {
                                  makeSet();
                                  std::string const signature = listOf("b") + ".asc";
                                  writeFile(signature, corrupted(readFile(signature)));
                                },
                                load, failed};
  for (const std::string& object : {listOf("a"), listOf("a") + ".asc", std::string(order)})
    race(badLoading, object, fileChanges(),
         [](const Situation& /*situation*/, int outcome) { return outcome == failed; });
}

TEST_F(LoadingRacesTest, ListThatIsPutBack) {
  Window window(listOf("b"));
  raceAndPutBack(
      loading, listOf("b"),
      {named("replaced by a FIFO", fileChanges()), named("overwritten", fileChanges())},
      [&](const Situation& situation, int outcome) { return window.isRight(situation, outcome); });
  window.print();
}

// The meaning of the placeholders in a package's list.

class PackageRacesTest : public SetRacesTest {
 protected:
  static std::string packageFile(const std::string& name) {
    return std::string(packagesDir) + "/demo/" + name;
  }

  // The entry of a file that is owned by the package's user.
  static std::string ownedBy(const std::string& owner, const std::string& group) {
    return entryLine("/x", "-", "-", "-", "-", owner, group) + "\n";
  }

  static void makePackage() {
    clearLists();
    clear(packagesDir);
    makeDirectory(packageFile("target"));
    writeFile(packageFile("user"), "daemon\n");
    writeList(std::string(listDir) + "/packages/demo", "demo.full.a.list", ownedBy("$pkg", "$pkg"));
  }

  // `changed` if the package has no user, and so the default ids.
  static int load() {
    const passwd* const user = getpwnam("daemon");
    FileList list("demo", "full");
    if (user == nullptr || !list.loadList(false))
      return failed;
    if (linesOf(list) == ownedBy(std::to_string(user->pw_uid), std::to_string(user->pw_gid)))
      return intact;
    return linesOf(list) == ownedBy("0", "0") ? changed : misled;
  }

  void TearDown() override {
    if (!IsSkipped())
      clear(packagesDir);
    SetRacesTest::TearDown();
  }

  Operation const loading = {packagesDir, makePackage, load};
};

TEST_F(PackageRacesTest, User) {
  race(loading, packageFile("user"), without({"copy"}, fileChanges()));
}

TEST_F(PackageRacesTest, Target) {
  race(loading, packageFile("target"),
       without({"directory", "member", "unreadable", "copy"}, directoryChanges()));
}

// Operations of the library's parts.

TEST_F(LoadingRacesTest, ParsedList) {
  Operation const parsing = {
      listDir, makeSet, [] {
        FileList list("wam", "full");
        if (!list.parseList(listOf("a")))
          return failed;
        return linesOf(list) == line("/x", "of a") + line("/y", "of a") ? intact : changed;
      }};
  race(parsing, listOf("a"), without({"copy"}, fileChanges()));
}

TEST_F(LoadingRacesTest, FoundLists) {
  Operation const finding = {listDir, makeSet, [] {
                               std::vector<std::string> const found =
                                   ::glob(listDir, std::string(listDir) + "/wam.full.*.list");
                               if (found == std::vector<std::string>{listOf("b"), listOf("a")})
                                 return intact;
                               return found.size() == 2 ? changed : failed;
                             }};
  race(finding, order, fileChanges(), isIntactOrChanged);
  race(finding, listDir, without({"copy"}, replacements()));
}

}  // namespace
