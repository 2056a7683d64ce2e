// zemo-selfcheck diff: the differences between two lists or sets.

#include <nlohmann/json.hpp>

#include "support/signing_key.h"
#include "support/tool_fixture.h"

using nlohmann::json;

namespace {

using Lines = std::vector<std::string>;

}  // namespace

class DiffTest : public ToolTest {
 protected:
  // Writes the lists "old.list" and "new.list" with these lines, and compares them.
  ProgramRun compare(const std::string& before, const std::string& after, const Lines& more = {}) {
    writeList(files.path(), "old.list", before);
    writeList(files.path(), "new.list", after);
    Lines words = {"diff", files / "old.list", files / "new.list"};
    words.insert(words.end(), more.begin(), more.end());
    return tool(words);
  }
};

TEST_F(DiffTest, NothingDiffers) {
  ProgramRun const run = compare(sized("/a", "1") + "\n" + sized("/b", "2") + "\n",
                                 sized("/b", "2") + "\n" + sized("/a", "1"));
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "0 added, 0 removed, 0 changed, 2 unchanged\n");
  EXPECT_EQ(run.errors, "");
}

TEST_F(DiffTest, AddedRemovedAndChangedComeInPathOrder) {
  ProgramRun const run =
      compare(sized("/b", "1") + "\n" + sized("/c", "1") + "\n" + sized("/d", "1") + "\n",
              sized("/d", "2") + "\n" + sized("/a", "1") + "\n" + sized("/c", "1") + "\n" +
                  sized("/e", "1") + "\n");
  EXPECT_EQ(run.status, changed);
  EXPECT_EQ(linesOf(run.output),
            (Lines{"+ " + sized("/a", "1"), "- " + sized("/b", "1"), "~ /d size 1 -> 2",
                   "+ " + sized("/e", "1"), "2 added, 1 removed, 1 changed, 1 unchanged"}));
}

TEST_F(DiffTest, EveryColumnThatDiffersHasALine) {
  ProgramRun const run = compare(entryLine("/a", "1", "h", "f", "644", "0", "0"),
                                 entryLine("/a", "2", "", "l", "0644", "1", "-"));
  EXPECT_EQ(linesOf(run.output),
            (Lines{"~ /a size 1 -> 2", "~ /a hash h -> \"\"", "~ /a type f -> l",
                   "~ /a permission 644 -> 0644", "~ /a owner 0 -> 1", "~ /a group 0 -> -",
                   "0 added, 0 removed, 1 changed, 0 unchanged"}));
}

TEST_F(DiffTest, NamesAreEscaped) {
  std::string const link = entryLine("/\x1b\xff", "-", "\x07", "l", "-", "-", "-");
  EXPECT_EQ(linesOf(compare("", link).output)[0], "+ /\\033\\377\t-\t\\007\tl\t-\t-\t-");
  EXPECT_EQ(linesOf(compare(entryLine("/\x1b\xff", "-", "x", "l", "-", "-", "-"), link).output)[0],
            "~ /\\033\\377 hash x -> \\007");
}

TEST_F(DiffTest, TheLastLineOfAPathCounts) {
  EXPECT_EQ(compare(sized("/a", "1") + "\n" + sized("/a", "2"), sized("/a", "2")).status, 0);
  EXPECT_EQ(compare(sized("/a", "1") + "\n-" + sized("/a", "1"), "-" + sized("/a", "1")).status, 0);
}

TEST_F(DiffTest, RemovalLinesAreEntriesOfTheirOwnKind) {
  ProgramRun const run = compare(sized("/a", "1") + "\n-" + sized("/b", "1"),
                                 "-" + sized("/a", "1") + "\n-" + sized("/b", "2"));
  EXPECT_EQ(run.status, changed);
  EXPECT_EQ(linesOf(run.output), (Lines{"- " + sized("/a", "1"), "+ -/a",
                                        "1 added, 1 removed, 0 changed, 1 unchanged"}));
}

TEST_F(DiffTest, LabelsAloneMakeNoDifference) {
  writeFile(files / "old.list", "WAM_SELF_CHECK\none\x1b\n" + sized("/a", "1") + "\n");
  writeFile(files / "new.list", "WAM_SELF_CHECK\ntwo\n" + sized("/a", "1") + "\n");
  ProgramRun const run = tool({"diff", files / "old.list", files / "new.list"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output,
            "0 added, 0 removed, 0 changed, 1 unchanged; the labels on line 2 differ: 'one\\033' "
            "and 'two'\n");
  Lines const records =
      linesOf(tool({"diff", files / "old.list", files / "new.list", "--format=json"}).output);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(json::parse(records[0])["labelsDiffer"], true);
}

TEST_F(DiffTest, JsonHasOnlyWhatDiffers) {
  ProgramRun const run =
      compare(entryLine("/b", "1", "h", "f", "644", "0", "0") + "\n-" + sized("/c", "1"),
              sized("/a", "7") + "\n" + entryLine("/b", "2", "h", "f", "644", "-", "0"),
              {"--format", "json"});
  EXPECT_EQ(run.status, changed);
  Lines const lines = linesOf(run.output);
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0], R"({"record":"added","path":"/a","size":7,"type":"f"})");
  EXPECT_EQ(lines[1],
            R"({"record":"changed","path":"/b","old":{"size":1,"owner":0},"new":{"size":2}})");
  EXPECT_EQ(lines[2], R"({"record":"removed","path":"/c","removal":true})");
  EXPECT_EQ(json::parse(lines[3]), (json{{"record", "summary"},
                                         {"old", files / "old.list"},
                                         {"new", files / "new.list"},
                                         {"added", 1},
                                         {"removed", 1},
                                         {"changed", 1},
                                         {"same", 0},
                                         {"labelsDiffer", false}}));
}

TEST_F(DiffTest, ASetIsComparedAsItMerges) {
  writeList("wam.full.1.list", sized("/a", "1") + "\n" + sized("/b", "1") + "\n");
  writeList("wam.full.2.list", "-" + sized("/a", "1") + "\n" + sized("/b", "2") + "\n");
  writeList(files.path(), "old.list", sized("/b", "1") + "\n");
  ProgramRun const run = tool({"diff", "--no-verify", files / "old.list", "wam"});
  EXPECT_EQ(run.status, changed);
  EXPECT_EQ(linesOf(run.output),
            (Lines{"~ /b size 1 -> 2", "0 added, 0 removed, 1 changed, 0 unchanged"}));
  writeList("wam.quick.1.list", "");
  EXPECT_EQ(tool({"diff", "--no-verify", "wam", "--mode=quick", "wam"}).status, 0);
}

TEST_F(DiffTest, PlaceholdersAreResolvedInSetsAlone) {
  makeDirectory(std::string(packagesDir) + "/demo/target");
  std::string const list = writeList(std::string(listDir) + "/packages/demo", "demo.full.base.list",
                                     sized("$pkg_dir/a", "1") + "\n");
  EXPECT_EQ(
      linesOf(tool({"diff", "--no-verify", "demo", list}).output),
      (Lines{"+ " + sized("$pkg_dir/a", "1"), "- " + sized("/var/packages/demo/target/a", "1"),
             "1 added, 1 removed, 0 changed, 0 unchanged"}));
}

TEST_F(DiffTest, SetsAreVerified) {
  writeList("wam.full.1.list", sized("/a", "1") + "\n");
  ProgramRun const run = tool({"diff", "wam", "wam"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(tool({"diff", "wam", "wam", "--no-verify"}).status, 0);
}

TEST_F(DiffTest, TheSetThatCannotBeVerifiedIsNamed) {
  std::string const list = writeList(files.path(), "wam.full.1.list", "");
  writeList(std::string(listDir) + "/packages/demo", "demo.full.1.list", "");
  makeFifo(std::string(listDir) + "/gpg.conf");
  EXPECT_EQ(tool({"diff", list, "demo"}).errors,
            "zemo-selfcheck: set 'demo' cannot be verified: '/usr/zemo/selfcheck/gpg.conf' is not "
            "a regular file\n");
}

TEST_F(DiffTest, ANameWithListAtItsEndIsAFileHere) {
  writeList(files.path(), "x.list", sized("/a", "1") + "\n");
  std::string const command =
      "cd " + quoted(files.path()) + " && " + quoted(ZEMO_TOOL) + " diff x.list ./x.list";
  EXPECT_EQ(runProgram({"/bin/sh", "-c", command}).status, 0);
}

TEST_F(DiffTest, TheListsOfADirectoryMergeInItsOrder) {
  for (const char* const name : {"old", "new"}) {
    std::string const directory = files / name;
    writeList(directory, "wam.full.1.list", sized("/a", "1") + "\n");
    writeList(directory, "wam.full.2.list",
              "-" + sized("/a", "1") + "\n" + sized("$pkg_dir/b", "2") + "\n");
    writeList(directory, "wam.quick.3.list", sized("/c", "1") + "\n");
  }
  writeFile(files / "new/listorder", "wam.full.2.list\nwam.full.1.list\n");
  ProgramRun const run = tool({"diff", "--no-verify", files / "old", (files / "new") + "/"});
  EXPECT_EQ(run.status, changed);
  EXPECT_EQ(linesOf(run.output),
            (Lines{"+ " + sized("/a", "1"), "1 added, 0 removed, 0 changed, 1 unchanged"}));
  EXPECT_EQ(run.errors, "");
}

TEST_F(DiffTest, TheListsOfADirectoryAreVerified) {
  SigningKey const key;
  key.trustedBy(listDir);
  std::string const list = writeList(files / "new", "demo.full.1.list", sized("/a", "1") + "\n");
  Lines const words = {"diff", files / "new", files / "new"};
  EXPECT_EQ(tool(words).status, notLoaded);
  EXPECT_EQ(tool({"diff", files / "new", files / "new", "--no-verify"}).status, 0);
  key.sign(list);
  EXPECT_EQ(tool(words).status, 0);
}

TEST_F(DiffTest, ADirectoryHasTheListsOfOneSet) {
  writeList(files / "both", "a.full.1.list", "");
  writeList(files / "both", "b.full.1.list", "");
  makeFifo((writeList(files / "fifo", "a.full.1.list", ""), files / "fifo/a.full.2.list"));
  makeDirectory(files / "none");
  makeDirectory(files / "a*");
  std::vector<Lines> const cases = {
      {"both", " has lists of the sets 'a' and 'b'"},
      {"fifo", "/a.full.2.list' is not a regular file"},
      {"none", " has no list for mode 'full'"},
      {"a*", " cannot be found: its path has one of the characters *?[]\\"},
  };
  for (const Lines& one : cases) {
    ProgramRun const run = tool({"diff", "--no-verify", files / one[0], files / one[0]});
    EXPECT_EQ(run.status, notLoaded) << one[0];
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.errors.find(one[1] + "\n"), std::string::npos) << run.errors;
  }
}

TEST_F(DiffTest, UnreadableInputIsNotASuccess) {
  writeList(files.path(), "good.list", "");
  writeFile(files / "bad.list", "nonsense\n");
  makeFifo(files / "fifo.list");
  makeDirectory(files / "directory.list");
  for (const std::string name : {"bad.list", "none.list", "fifo.list", "directory.list"}) {
    ProgramRun const run = tool({"diff", files / "good.list", files / name});
    EXPECT_EQ(run.status, notLoaded) << name;
    EXPECT_EQ(run.output, "") << name;
    EXPECT_EQ(linesOf(run.errors).size(), 1U) << run.errors;
    EXPECT_NE(run.errors.find(name), std::string::npos) << run.errors;
  }
  EXPECT_EQ(tool({"diff", "nosuchset", files / "good.list"}).status, notLoaded);
}

TEST_F(DiffTest, WrongUsageIsOneLine) {
  for (const Lines& words : std::vector<Lines>{{"diff"},
                                               {"diff", "wam"},
                                               {"diff", "wam", "wam", "wam"},
                                               {"diff", "wam", "*"},
                                               {"diff", "/none.list", ""},
                                               {"diff", "wam", "wam", "--mode", "a/b"},
                                               {"diff", "wam", "wam", "--lists", "/"},
                                               {"diff", "wam", "/x", "--root", "/"},
                                               {"diff", "/x", "wam", "--root", "/", "--root", "/"},
                                               {"diff", "wam", "wam", "--format", "xml"}}) {
    ProgramRun const run = tool(words);
    EXPECT_EQ(run.status, usage) << run.errors;
    EXPECT_EQ(run.output, "") << words.size();
    EXPECT_EQ(linesOf(run.errors).size(), 1U) << run.errors;
  }
}

TEST_F(DiffTest, HelpHasAnExample) {
  EXPECT_NE(tool({"diff", "--help"}).output.find("zemo-selfcheck diff old/"), std::string::npos);
}

TEST_F(DiffTest, ManyEntriesAreFast) {
  std::string before;
  std::string after;
  for (int i = 0; i < 60000; ++i) {
    before += sized("/many/" + std::to_string(i), "1") + "\n";
    after += sized("/many/" + std::to_string(i), "2") + "\n";
  }
  EXPECT_EQ(linesOf(compare(before, after).output).size(), 60001U);
}
