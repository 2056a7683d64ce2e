// zemo-selfcheck merge: one list that means what several mean together.

#include <gmock/gmock.h>
#include <zemo/selfcheck.h>

#include <cstdlib>
#include <filesystem>
#include <random>

#include "io/exit_status.h"
#include "program.h"
#include "support/restored_binding.h"
#include "support/tool_fixture.h"

using namespace ZEMO::SELF_CHECK;

namespace {

using ::testing::HasSubstr;
using Lines = std::vector<std::string>;

const char* const secondLine =
    "set=wam mode=full list=new serial=1790000000 date=2026-09-21T14:13:20Z";

std::string removal(const std::string& path) {
  return "-" + path + "\t-\t-\t-\t-\t-\t-";
}

}  // namespace

class MergeTest : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    setenv("SOURCE_DATE_EPOCH", "1790000000", 1);
  }
  void TearDown() override { unsetenv("SOURCE_DATE_EPOCH"); }

  // Writes a list of the set wam, outside the directory of the set unless one is given.
  std::string list(const std::string& name, const Lines& lines, std::string directory = "") const {
    std::string text;
    for (const std::string& line : lines)
      text += line + "\n";
    directory = directory.empty() ? files.path() : directory;
    makeDirectory(directory);
    return writeList(directory, "wam.full." + name + ".list", text);
  }

  ProgramRun merge(Lines words) const {
    words.insert(words.begin(), {"merge", "--output", output});
    return tool(words);
  }

  // The lines of the new list after the second.
  Lines written() const {
    Lines lines = linesOf(readFile(output));
    lines.erase(lines.begin(), lines.begin() + 2);
    return lines;
  }

  // Nothing was written, because the arguments are wrong in this way.
  void expectRefusal(const ProgramRun& run, const std::string& reason, int status = usage) const {
    EXPECT_EQ(run.status, status) << run.errors;
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, HasSubstr("zemo-selfcheck: " + reason));
    EXPECT_FALSE(std::filesystem::exists(output));
  }

  static std::string ofSet(const std::string& name) {
    return std::string(listDir) + "/wam.full." + name + ".list";
  }

  TemporaryDirectory outside;
  std::string output = outside / "wam.full.new.list";
};

TEST_F(MergeTest, LaterLinesOverrideEarlierOnes) {
  std::string const first = list("z", {sized("/c", "1"), sized("/a", "1"), removal("/b")});
  std::string const second = list("a", {sized("/a", "2"), sized("/b", "2"), removal("/c")});
  ProgramRun const run = merge({first, second});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output,
            "wam.full.new.list: 2 entries, 1 removal, from 2 lists; sign it, and install it in "
            "their place\n");
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(readFile(output), std::string("WAM_SELF_CHECK\n") + secondLine + "\n" +
                                  sized("/a", "2") + "\n" + sized("/b", "2") + "\n" +
                                  removal("/c") + "\n");
  EXPECT_EQ(statusOf(output).st_mode & 07777U, 0644U);
  ASSERT_EQ(merge({second, first}).status, 0);
  EXPECT_EQ(written(), (Lines{sized("/a", "1"), removal("/b"), sized("/c", "1")}));
}

TEST_F(MergeTest, TheSerialCanBeGiven) {
  ASSERT_EQ(merge({list("a", {sized("/a", "1")}), "--serial", "7"}).status, 0);
  EXPECT_THAT(readFile(output), HasSubstr(" list=new serial=7 date=2026-09-21T"));
}

TEST_F(MergeTest, TheListEqualsItsSet) {
  Lines lists;
  for (int number = 100; number < 120; ++number)
    lists.push_back(list(std::to_string(number),
                         {sized("/" + std::to_string(number), "1"), sized("/last", "7"),
                          removal("/" + std::to_string(number - 1))},
                         listDir));
  ASSERT_EQ(merge(lists).status, 0);
  ProgramRun const run = tool({"diff", "--no-verify", "wam", output});
  EXPECT_EQ(run.output, "0 added, 0 removed, 0 changed, 2 unchanged\n");
}

TEST_F(MergeTest, RemovalsThatRemoveNothingAreLeftOutWhereTheOrderIsKnown) {
  list("1", {sized("/a", "1"), sized("/b", "1"), removal("/b")}, listDir);
  list("2", {sized("/c", "1")}, listDir);
  list("3", {removal("/a"), removal("/b"), removal("/c"), sized("/d", "1")}, listDir);
  ASSERT_EQ(merge({ofSet("2"), ofSet("3")}).status, 0);
  EXPECT_EQ(written(), (Lines{removal("/a"), sized("/d", "1")}));
  ASSERT_EQ(merge({ofSet("1"), ofSet("2"), ofSet("3")}).status, 0);
  EXPECT_EQ(written(), Lines{sized("/d", "1")});
}

TEST_F(MergeTest, AnotherOrderThanTheSetsIsRefused) {
  for (const std::string name : {"a", "b", "c", "d"})
    list(name, {sized("/" + name, "1")}, listDir);
  std::string const in = std::string("in '") + listDir + "', ";
  expectRefusal(merge({ofSet("b"), ofSet("a")}),
                in + "'wam.full.a.list' is not read next after 'wam.full.b.list', but "
                     "'wam.full.c.list' is\n");
  expectRefusal(merge({ofSet("a"), ofSet("c")}),
                in + "'wam.full.c.list' is not read next after 'wam.full.a.list', but "
                     "'wam.full.b.list' is\n");
  expectRefusal(merge({ofSet("d"), ofSet("d")}),
                in + "'wam.full.d.list' is not read next after 'wam.full.d.list'\n");
  expectRefusal(merge({ofSet("none")}),
                std::string("cannot find 'wam.full.none.list' in '") + listDir + "'\n", notLoaded);
  EXPECT_EQ(merge({ofSet("b"), ofSet("c")}).status, 0);
  writeFile(std::string(listDir) + "/listorder", "wam.full.c.list\nwam.full.a.list\n");
  remove(output);
  expectRefusal(merge({ofSet("b"), ofSet("c")}),
                in + "'wam.full.c.list' is not read next after 'wam.full.b.list', but "
                     "'wam.full.d.list' is\n");
  EXPECT_EQ(merge({ofSet("d"), ofSet("c"), ofSet("a")}).status, 0);
}

TEST_F(MergeTest, ALinkToTheSetsDirectoryHasItsOrder) {
  for (const std::string name : {"a", "b"})
    list(name, {sized("/" + name, "1")}, listDir);
  makeLink(listDir, files / "link");
  EXPECT_EQ(merge({files / "link/wam.full.b.list", ofSet("a")}).status, usage);
  EXPECT_EQ(merge({files / "link/wam.full.a.list", ofSet("b")}).status, 0);
}

TEST_F(MergeTest, AListorderGivesAnyDirectoryAnOrder) {
  std::string const first = list("a", {sized("/a", "1")});
  std::string const second = list("b", {sized("/b", "1")});
  EXPECT_EQ(merge({second, first}).status, 0);
  writeFile(files / "listorder", "wam.full.a.list\nwam.full.b.list\n");
  EXPECT_EQ(merge({second, first}).status, usage);
  EXPECT_EQ(merge({first, second}).status, 0);
  EXPECT_EQ(merge({first, list("x", {sized("/x", "1")}, outside / "d"), second}).status, 0)
      << "nothing is known about the order of lists in different directories";
}

TEST_F(MergeTest, PathsThatMayBeOneKeepTheirOrder) {
  std::string const line = sized("/var/packages/demo/target/x", "1");
  Lines const lines = {sized("$pkg_dir/x", "1"), sized("/b", "1"), line, sized("/a", "1")};
  ASSERT_EQ(merge({list("a", lines)}).status, 0);
  EXPECT_EQ(written(), lines);
  ASSERT_EQ(merge({list("a", {sized("$pkg_dir/x", "1"), sized("$pkg_dir/a", "1")})}).status, 0);
  EXPECT_EQ(written(), (Lines{sized("$pkg_dir/a", "1"), sized("$pkg_dir/x", "1")}));
}

TEST_F(MergeTest, LinesWithTooFewColumnsStayRecognisable) {
  ASSERT_EQ(merge({list("a", {"/a\t1", sized("/b", "1") + "\tmore"})}).status, 0);
  EXPECT_EQ(written(), (Lines{"", sized("/b", "1")}));
  ASSERT_EQ(merge({list("a", {"-/a\t1"})}).status, 0);
  EXPECT_EQ(written(), Lines{"-"});
}

TEST_F(MergeTest, ListsOfAnotherSetAreRefused) {
  std::string const first = list("a", {sized("/a", "1")});
  expectRefusal(merge({writeList(files.path(), "other.full.a.list", ""), first}),
                "'" + files.path() +
                    "/other.full.a.list' is not named like a list of the set: "
                    "wam.full.*.list\n");
  expectRefusal(merge({first, "--mode", "quick"}), "--output '" + output + "' is not named like");
  writeFile(first, "WAM_SELF_CHECK\nset=wam mode=full list=b serial=7 date=2026-09-21T12:00:00Z\n");
  expectRefusal(merge({first}), "'" + first + "' says in line 2 that it is another list\n",
                notLoaded);
}

TEST_F(MergeTest, NoListThatIsReadIsOverwritten) {
  list("a", {sized("/a", "1")}, listDir);
  list("b", {sized("/b", "1")}, listDir);
  for (const std::string name : {"a", "b"}) {
    std::string const before = readFile(ofSet(name));
    expectRefusal(tool({"merge", ofSet("b"), "--output", ofSet(name)}),
                  "--output '" + ofSet(name) + "' is a list that has to be read\n");
    makeLink(ofSet(name), output);
    EXPECT_EQ(merge({ofSet("b")}).status, usage) << "a link to it";
    EXPECT_EQ(readFile(ofSet(name)), before);
    remove(output);
  }
}

TEST_F(MergeTest, LaterListsAreNotOverwrittenEither) {
  for (const std::string name : {"a", "b", "c"})
    list(name, {sized("/" + name, "1")}, listDir);
  std::string const before = readFile(ofSet("c"));
  expectRefusal(tool({"merge", ofSet("a"), ofSet("b"), "--output", ofSet("c")}),
                "--output '" + ofSet("c") + "' is a list that is read after these\n");
  EXPECT_EQ(readFile(ofSet("c")), before);
}

TEST_F(MergeTest, ANewListInAnotherPlaceIsReported) {
  for (const std::string name : {"a", "b", "c"})
    list(name, {sized("/" + name, "1")}, listDir);
  ProgramRun run = tool({"merge", ofSet("a"), ofSet("b"), "--output", ofSet("bc")});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors, "");
  run = tool({"merge", ofSet("a"), ofSet("b"), "--output", ofSet("d")});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors, std::string("zemo-selfcheck: the lines of 'listorder' in '") + listDir +
                            "' do not put 'wam.full.d.list' in the place of these lists\n");
}

// A directory with an order may have only some of the set's lists.
TEST_F(MergeTest, RemovalsStayUnlessAllEarlierListsAreKnown) {
  std::string const first = list("a", {removal("/a"), sized("/b", "1")});
  std::string const second = list("b", {removal("/b")});
  writeFile(files / "listorder", "wam.full.a.list\nwam.full.b.list\n");
  ASSERT_EQ(merge({first, second}).status, 0);
  EXPECT_EQ(written(), (Lines{removal("/a"), removal("/b")}));
  list("1", {sized("/1", "1")}, listDir);
  ASSERT_EQ(merge({ofSet("1"), first, second}).status, 0);
  EXPECT_EQ(written(), (Lines{sized("/1", "1"), removal("/a"), removal("/b")}));
}

TEST_F(MergeTest, UnreadableListsAreNotASuccess) {
  std::string const first = list("a", {sized("/a", "1")});
  expectRefusal(merge({first, files / "wam.full.none.list"}), "cannot open list", notLoaded);
  writeFile(files / "wam.full.bad.list", "nonsense\n");
  expectRefusal(merge({files / "wam.full.bad.list", first}), "", notLoaded);
  expectRefusal(merge({list("empty", {})}), "no list was written: together, the lists have no",
                notLoaded);
  makeDirectory(files / "listorder");
  EXPECT_EQ(merge({first}).status, 0);
}

TEST_F(MergeTest, AnOutdatedSignatureIsNamed) {
  writeFile(output, "old");
  writeFile(output + ".asc", "old");
  EXPECT_EQ(merge({list("a", {sized("/a", "1")})}).errors,
            "zemo-selfcheck: '" + output +
                ".asc' no longer matches the list: run zemo-selfcheck sign next\n");
}

// Random lists with all kinds of lines; the library must read the same set from them and from the
// one that joins a part of them.
class RandomMergeTest : public MergeTest {
 protected:
  std::size_t below(std::size_t end) { return _random() % end; }

  std::string line() {
    static const Lines paths = {"/a",
                                "/a/",
                                "/a/b",
                                "/a b\xff",
                                "-/a",
                                "",
                                "a",
                                "$pkg_dir",
                                "$pkg_dir/x",
                                "$pkg_dir/-",
                                "$pkg_dir$pkg_dir",
                                "/var/packages/demo/target/x",
                                "/var/packages/demo/target",
                                "/$pkg/x"};
    static const Lines texts = {"1", "-", "", "$pkg", "$pkg_sys", "$pkg_dir/x", "FIXED"};
    static const Lines shortLines = {"", "-", "/a", "-/a\t1\t2", "\t\t\t\t\t"};
    if (below(12) == 0)
      return shortLines[below(shortLines.size())];
    // Lists without placeholders, with only these, and with both.
    std::size_t const from = _kind == 1 ? 7 : 0;
    std::size_t const to = _kind == 0 ? 7 : _kind == 1 ? 10 : paths.size();
    std::string text = (below(3) == 0 ? "-" : "") + paths[from + below(to - from)];
    for (std::size_t column = 1; column < 7 + below(2); ++column)
      text += "\t" + (column == 3 ? std::string(1, "fdl"[below(3)]) : texts[below(texts.size())]);
    if (below(20) == 0)
      text.insert(below(text.size()), 1, '\0');
    return text;
  }

  Lines lines() {
    Lines result(below(8));
    for (std::string& one : result)
      one = line();
    return result;
  }

  // The columns of all entries after the library has read the lists.
  static std::map<std::string, Lines> loaded(const std::string& set, const Lines& lists) {
    FileList files(set, "full");
    for (const std::string& path : lists)
      EXPECT_TRUE(files.parseList(path)) << path;
    std::map<std::string, Lines> known;
    for (const auto& [path, entry] : *files.getProtectedFiles())
      known[path] = {entry->_path,       entry->_size,  entry->_hash, entry->_type,
                     entry->_permission, entry->_owner, entry->_group};
    return known;
  }

  // Runs the command in this process, because there are very many lists. False if the lists mean
  // nothing together.
  static bool isMerged(const Lines& words) {
    std::vector<const char*> argv = {"zemo-selfcheck"};
    for (const std::string& word : words)
      argv.push_back(word.c_str());
    testing::internal::CaptureStdout();
    bool written = true;
    try {
      (void)tool::allCommands().parse(static_cast<int>(argv.size()), argv.data()).run();
    } catch (const tool::Failure& failure) {
      EXPECT_THAT(failure.what(), HasSubstr("together, the lists have no entries"));
      written = false;
    }
    (void)testing::internal::GetCapturedStdout();
    return written;
  }

  // Returns whether a list was written.
  bool round(const std::string& set, const std::string& directory) {
    RestoredBinding const later;
    std::string const name = directory + "/" + set + ".full.";
    _kind = below(3);
    Lines all;
    std::size_t const number = 3 + below(4);
    makeDirectory(directory);
    for (std::size_t i = 0; i < number; ++i) {
      all.push_back(name + std::to_string(i) + ".list");
      std::string text = "WAM_SELF_CHECK\n\n";
      for (const std::string& one : lines())
        text += one + "\n";
      writeFile(all.back(), text);
    }
    std::size_t const first = below(number);
    std::size_t const end = first + 1 + below(number - first);
    Lines words = {"merge", "--output", memory + "/" + set + ".full.new.list"};
    if (set != "wam")
      words.insert(words.end(), {"--package", set});
    words.insert(words.end(), all.begin() + first, all.begin() + end);
    Lines joined(all.begin(), all.begin() + first);
    bool const written = isMerged(words);
    if (written)
      joined.push_back(words[2]);
    joined.insert(joined.end(), all.begin() + end, all.end());
    EXPECT_EQ(loaded(set, all), loaded(set, joined));
    ProtectedFile::setPkg("demo");  // then the lists of the set wam mean something else
    EXPECT_EQ(loaded(set, all), loaded(set, joined));
    remove(directory);
    return written;
  }

  // Not on a disk, where every list would wait for it.
  const std::string memory = std::string(packagesDir) + "/out";
  std::minstd_rand _random{20261122};
  std::size_t _kind = 0;
};

TEST_F(RandomMergeTest, TheMergedListMeansTheSame) {
  makeDirectory(memory);
  makeDirectory(std::string(packagesDir) + "/demo/target");
  writeFile(std::string(packagesDir) + "/demo/user", "root\n");
  int written = 0;
  int const rounds = 120;
  for (int i = 0; i < rounds && !HasFailure(); ++i) {
    SCOPED_TRACE(i);
    written += round("wam", listDir) ? 1 : 0;
    written += round("wam", files / "d") ? 1 : 0;
    written += round("demo", std::string(listDir) + "/packages/demo") ? 1 : 0;
    written += round("demo", files / "d") ? 1 : 0;
  }
  EXPECT_GT(written, 3 * rounds);
}
