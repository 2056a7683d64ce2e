// Loading a part of a set, compared with what the library loads as a whole.

#include "check/part.h"

#include <random>

#include "io/paths.h"
#include "support/errors_of.h"
#include "support/files.h"
#include "support/private_root.h"
#include "support/temporary_directory.h"

using namespace ZEMO::SELF_CHECK;
using namespace tool;

namespace {

using Texts = std::vector<std::string>;

class PartTest : public PrivateRootTest {
 protected:
  std::size_t below(std::size_t limit) { return _random() % limit; }

  std::string oneOf(const Texts& texts) { return texts[below(texts.size())]; }

  // Paths that begin like others, with and without a slash in between.
  std::string path() {
    std::string text = root.path();
    for (std::size_t i = below(5); i > 0; --i)
      text += oneOf({"/a", "/b", "a", "/", "-", "/c\\"});
    return below(20) == 0 ? oneOf({"", "/", "a", "-/a"}) : text;
  }

  std::string line() {
    if (below(15) == 0)
      return oneOf({"", "-", "-\t\t\t\t\t\t", path(), "-" + path(), path() + "\t1\t2"});
    std::string const hash = oneOf({"FIXED", "FIXED", "-", "$pkg_dir"});
    return (below(5) == 0 ? "-" : "") +
           entryLine(path(), oneOf({"-", "0", "7"}), hash, oneOf({"d", "f", "-"}), "-", "-", "-");
  }

  std::string lines() {
    std::string text;
    for (std::size_t i = below(below(3) == 0 ? 4 : 40); i > 0; --i)
      text += line() + (i == 1 && below(4) == 0 ? "" : "\n");
    return text;
  }

  Texts directories() {
    Texts chosen;
    for (std::size_t i = 1 + below(2); i > 0; --i) {
      std::string directory = path();
      while (directory.size() > 1 && directory.back() == '/')
        directory.pop_back();
      chosen.push_back(directory.empty() || directory.front() != '/' ? "/" : directory);
    }
    return chosen;
  }

  // Everything that a check of the entries at or below the directories says.
  static Texts described(const FileList& files, const Texts& directories) {
    Texts texts;
    for (const auto& [path, entry] : *files.getProtectedFiles()) {
      if (std::none_of(directories.begin(), directories.end(),
                       [&path = path](auto& one) { return isAtOrBelow(one, path); }))
        continue;
      bool changed = false;
      bool const checked = entry->check(changed, CHECK_ITEM_ALL);
      texts.push_back(path + (checked ? " checked" : " unchecked") + (changed ? " changed" : ""));
      for (const std::string* column : {&entry->_path, &entry->_size, &entry->_hash, &entry->_type,
                                        &entry->_permission, &entry->_owner, &entry->_group})
        texts.push_back(*column);
      for (const Texts& more : {entry->_fixedEntries, errorsOf(*entry)})
        texts.insert(texts.end(), more.begin(), more.end());
    }
    return texts;
  }

  TemporaryDirectory root;

 private:
  std::mt19937 _random{7};
};

}  // namespace

TEST_F(PartTest, HasTheEntriesMembersAndFindingsOfTheWholeSet) {
  for (const char* const name : {"a/a", "a/b/a", "ab/a", "b/ab", "b/c\\/a"}) {
    makeDirectory(root.path() + "/" + directoryOf(name));
    writeFile(root.path() + "/" + name, "content");
  }
  int loaded = 0;
  int withEntries = 0;
  int withMembers = 0;
  for (int round = 0; round < 1000; ++round) {
    writeList("wam.full.a.list", lines());
    writeList("wam.full.b.list", lines());
    writeFile(std::string(listDir) + "/listorder",
              oneOf({"", "wam.full.a.list\n", "wam.full.b.list\nwam.full.a.list\n"}));
    Texts const chosen = directories();
    FileList whole("wam", "full");
    FileList part("wam", "full");
    ASSERT_TRUE(whole.loadList(false));
    if (!loadPart(part, "full", chosen, false)) {
      EXPECT_TRUE(part.getProtectedFiles()->empty());
      continue;
    }
    ++loaded;
    EXPECT_FALSE(whole.getProtectedFiles()->empty());
    Texts const expected = described(whole, chosen);
    ASSERT_EQ(described(part, chosen), expected) << round;
    withEntries += expected.empty() ? 0 : 1;
    for (const auto& [path, entry] : *part.getProtectedFiles())
      withMembers += entry->_fixedEntries.empty() ? 0 : 1;
  }
  EXPECT_GT(loaded, 500);
  EXPECT_GT(withEntries, 300);
  EXPECT_GT(withMembers, 300);
}

// A set of which nothing is left may not be taken for one that has entries elsewhere.
TEST_F(PartTest, IsNotLoadedUnlessTheSetHasEntries) {
  std::string const entry = entryLine("/a", "-", "-", "-", "-", "-", "-") + "\n";
  auto const loads = [](const Texts& directories) {
    FileList part("wam", "full");
    return loadPart(part, "full", directories, false);
  };
  EXPECT_FALSE(loads({"/"}));
  writeList("wam.full.base.list", "");
  EXPECT_FALSE(loads({"/"}));
  writeList("wam.full.base.list", entry);
  EXPECT_TRUE(loads({"/a"}));
  EXPECT_TRUE(loads({"/b"}));
  writeList("wam.full.base.list", entry + "-" + entry);
  EXPECT_FALSE(loads({"/a"}));
  EXPECT_FALSE(loads({"/b"}));
  writeList("wam.full.base.list", entry + "-/b" + entry.substr(2));
  EXPECT_TRUE(loads({"/c"})) << "the removal does not concern the other entry";
  writeList("wam.full.base.list", "/a\n-\n");
  EXPECT_FALSE(loads({"/a"})) << "both lines are about the empty path";
  writeList("wam.full.base.list", entry + "-" + entry);
  EXPECT_FALSE(loads({"/a\t-"})) << "no path contains a tab";
}

// And one that shows that the set has entries.
TEST_F(PartTest, HasOnlyEntriesThatBeginLikeTheDirectory) {
  std::string text;
  for (const char* const path : {"/a", "/b", "/b/c", "/bd", "/c", "/c/b"})
    text += entryLine(path, "-", "-", "-", "-", "-", "-") + "\n";
  writeList("wam.full.base.list", text);
  FileList part("wam", "full");
  ASSERT_TRUE(loadPart(part, "full", {"/b"}, false));
  Texts paths;
  for (const auto& element : *part.getProtectedFiles())
    paths.push_back(element.first);
  EXPECT_EQ(paths, (Texts{"/a", "/b", "/b/c", "/bd"}));
}
