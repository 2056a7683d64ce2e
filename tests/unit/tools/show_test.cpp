// zemo-selfcheck show: the merged entries and their lists.

#include <nlohmann/json.hpp>

#include "support/signing_key.h"
#include "support/tool_fixture.h"

using nlohmann::json;

namespace {

using Lines = std::vector<std::string>;

}  // namespace

class ShowTest : public ToolTest {
 protected:
  static ProgramRun show(std::vector<std::string> words) {
    words.insert(words.begin(), {"show", "--no-verify"});
    return tool(words);
  }

  // The message if gpg.conf is a FIFO.
  static std::string reason(const std::string& set) {
    return "zemo-selfcheck: set '" + set +
           "' cannot be verified: '/usr/zemo/selfcheck/gpg.conf' is not a regular file\n";
  }

  // A package with a set of its own.
  static void installDemo(const std::string& lines) {
    makeDirectory(std::string(packagesDir) + "/demo/target");
    writeList(std::string(listDir) + "/packages/demo", "demo.full.base.list", lines);
  }
};

TEST_F(ShowTest, EntriesComeInPathOrderWithTheirList) {
  writeList("wam.full.base.list", sized("/b", "1") + "\n" + sized("/a", "2") + "\n");
  ProgramRun const run = show({});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output,
            "/a\t2\t-\tf\t-\t-\t-\twam.full.base.list\n"
            "/b\t1\t-\tf\t-\t-\t-\twam.full.base.list\n");
  EXPECT_EQ(run.errors, "");
}

TEST_F(ShowTest, AnOverriddenEntryComesFromTheLastList) {
  writeList("wam.full.1.list",
            sized("/a", "1") + "\n" + sized("/b", "1") + "\n" + sized("/c", "1") + "\n");
  writeList("wam.full.2.list", sized("/b", "1") + "\n-" + sized("/c", "1") + "\n");
  EXPECT_EQ(linesOf(show({}).output), (Lines{sized("/a", "1") + "\twam.full.1.list",
                                             sized("/b", "1") + "\twam.full.2.list"}));
}

TEST_F(ShowTest, AnEntryThatIsRemovedAndAddedAgainComesFromTheListThatAddsIt) {
  writeList("wam.full.1.list", sized("/a", "1") + "\n");
  writeList("wam.full.2.list", "-" + sized("/a", "1") + "\n");
  writeList("wam.full.3.list", sized("/0", "3") + "\n" + sized("/a", "3") + "\n");
  EXPECT_EQ(linesOf(show({}).output), (Lines{sized("/0", "3") + "\twam.full.3.list",
                                             sized("/a", "3") + "\twam.full.3.list"}));
}

TEST_F(ShowTest, ListorderDecides) {
  writeList("wam.full.a.list", sized("/x", "1") + "\n");
  writeList("wam.full.b.list", sized("/x", "2") + "\n");
  writeFile(std::string(listDir) + "/listorder", "wam.full.b.list\nwam.full.a.list\n");
  EXPECT_EQ(show({}).output, sized("/x", "1") + "\twam.full.a.list\n");
}

TEST_F(ShowTest, APathStandsForItselfAndAllBelow) {
  writeList("wam.full.base.list", sized("/etc", "1") + "\n" + sized("/etc/a/b", "1") + "\n" +
                                      sized("/etcetera", "1") + "\n" + sized("/usr", "1") + "\n");
  Lines const expected = {sized("/etc", "1") + "\twam.full.base.list",
                          sized("/etc/a/b", "1") + "\twam.full.base.list"};
  EXPECT_EQ(linesOf(show({"/etc"}).output), expected);
  EXPECT_EQ(linesOf(show({"/etc/"}).output), expected);
  EXPECT_EQ(show({"/etc"}).status, 0);
  EXPECT_EQ(show({"/etc", "/etc/a"}).status, 0);  // both were found
  EXPECT_EQ(linesOf(show({"/etc", "/etc/a"}).output), expected);
  EXPECT_EQ(linesOf(show({"/"}).output).size(), 4U);
}

TEST_F(ShowTest, APathWithoutEntryIsNamed) {
  writeList("wam.full.base.list", sized("/etc", "1") + "\n");
  ProgramRun const run = show({"/etc", "/no\x1bwhere"});
  EXPECT_EQ(run.status, unchecked);
  EXPECT_EQ(linesOf(run.output).size(), 1U);
  EXPECT_EQ(run.errors, "zemo-selfcheck: there is no entry at or below '/no\\033where'\n");
  EXPECT_EQ(show({"/nowhere"}).status, unchecked | notLoaded);
}

TEST_F(ShowTest, AnEmptySetIsNotASuccess) {
  writeList("wam.full.base.list", "");
  ProgramRun const run = show({});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.errors, "zemo-selfcheck: there are no entries\n");
}

TEST_F(ShowTest, ASetWithoutListsIsNotASuccess) {
  ProgramRun const run = show({"demo"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: set 'demo' has no list for mode 'full' in "
            "'/usr/zemo/selfcheck/packages/demo'\n");
}

TEST_F(ShowTest, AllShowsEverySetAndFailuresDoNotHideTheOthers) {
  writeList("wam.full.base.list", sized("/a", "1") + "\n");
  installDemo(sized("/b", "1") + "\n");
  writeList(std::string(listDir) + "/packages/ghost", "ghost.full.base.list", "");
  ProgramRun const run = show({"--all"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(linesOf(run.output), (Lines{sized("/a", "1") + "\twam.full.base.list",
                                        sized("/b", "1") + "\tdemo.full.base.list"}));
  EXPECT_NE(run.errors.find("cannot read list '/usr/zemo/selfcheck/packages/ghost/"),
            std::string::npos);
}

TEST_F(ShowTest, AllShowsTheSystemsSetIfPackagesCannotBeRead) {
  writeList("wam.full.base.list", sized("/a", "1") + "\n");
  makeLink("/nowhere", std::string(listDir) + "/packages");
  ProgramRun const run = show({"--all"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(linesOf(run.output), Lines{sized("/a", "1") + "\twam.full.base.list"});
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: cannot read '/usr/zemo/selfcheck/packages': No such file or "
            "directory\n");
}

TEST_F(ShowTest, PlaceholdersAreResolvedForTheirSetAlone) {
  installDemo(sized("$pkg_dir/b", "1") + "\n");
  writeList("wam.full.base.list", sized("$pkg_dir/a", "1") + "\n");
  EXPECT_EQ(linesOf(show({"demo", "wam"}).output),
            (Lines{sized("/var/packages/demo/target/b", "1") + "\tdemo.full.base.list",
                   sized("$pkg_dir/a", "1") + "\twam.full.base.list"}));
}

TEST_F(ShowTest, ModeNamesOtherLists) {
  writeList("wam.full.base.list", sized("/a", "1") + "\n");
  writeList("wam.quick.base.list", sized("/b", "1") + "\n");
  EXPECT_EQ(show({"--mode", "quick"}).output, sized("/b", "1") + "\twam.quick.base.list\n");
}

TEST_F(ShowTest, OutputIsAListThatCanBeReadBack) {
  std::string const strange = sized("/a\x1b[2J\xff\\ b", "1");
  writeList("wam.full.base.list", strange + "\n");
  std::string const output = show({}).output;
  EXPECT_EQ(output, strange + "\twam.full.base.list\n");
  remove(std::string(listDir) + "/wam.full.base.list");
  writeList("wam.full.copy.list", output);
  EXPECT_EQ(show({}).output, strange + "\twam.full.copy.list\n");
}

TEST_F(ShowTest, NamesAreEscapedOnATerminal) {
  writeList("wam.full.base.list", sized("/a\x1b[2J", "1") + "\n");
  std::string const command = quoted(ZEMO_TOOL) + " show --no-verify";
  ProgramRun const run = runProgram({"/usr/bin/script", "-qec", command, "/dev/null"});
  EXPECT_EQ(run.output, "/a\\033[2J\t1\t-\tf\t-\t-\t-\twam.full.base.list\r\n");
}

TEST_F(ShowTest, JsonLeavesOutWhatIsNotChecked) {
  writeList("wam.full.base.list", entryLine("/a", "12", "abc", "f", "0644", "0", "100") + "\n" +
                                      entryLine("/b", "-", "-", "-", "-", "-", "-") + "\n");
  Lines const lines = linesOf(show({"--format", "json"}).output);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0],
            R"({"record":"entry","set":"wam","path":"/a","size":12,"hash":"abc","type":"f",)"
            R"("permission":"0644","owner":0,"group":100,"list":"wam.full.base.list"})");
  EXPECT_EQ(
      json::parse(lines[1]),
      (json{{"record", "entry"}, {"set", "wam"}, {"path", "/b"}, {"list", "wam.full.base.list"}}));
}

TEST_F(ShowTest, JsonKeepsInvalidUtf8AndInvalidNumbers) {
  writeList("wam.full.base.list", entryLine("/\xff", "012", "-", "-", "-", "x", "-") + "\n");
  json const record = json::parse(show({"--format=json"}).output);
  EXPECT_EQ(record["path"], "/\xef\xbf\xbd");
  EXPECT_EQ(record["path_hex"], "2fff");
  EXPECT_EQ(record["size"], "012");
  EXPECT_EQ(record["owner"], "x");
}

TEST_F(ShowTest, SignaturesAreVerified) {
  SigningKey const key;
  key.trustedBy(listDir);
  key.sign(writeList("wam.full.1.list", sized("/a", "1") + "\n"));
  EXPECT_EQ(tool({"show"}).output, sized("/a", "1") + "\twam.full.1.list\n");
  writeList("wam.full.2.list", sized("/b", "1") + "\n");
  ProgramRun const run = tool({"show"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output, "");
  EXPECT_NE(run.errors.find("list '/usr/zemo/selfcheck/wam.full.2.list' does not "
                            "verify\n"),
            std::string::npos);
}

TEST_F(ShowTest, AFifoIsNotWaitedFor) {
  SigningKey const key;
  key.trustedBy(listDir);
  std::string const list = writeList("wam.full.base.list", sized("/a", "1") + "\n");
  key.sign(list);
  makeFifo(std::string(listDir) + "/listorder");
  EXPECT_EQ(tool({"show"}).status, 0);
  remove(list);
  makeFifo(list);
  EXPECT_EQ(tool({"show"}).status, notLoaded);
  EXPECT_EQ(show({}).status, notLoaded);
  remove(list);
  writeList("wam.full.base.list", sized("/a", "1") + "\n");
  remove(list + ".asc");
  makeFifo(list + ".asc");
  EXPECT_EQ(tool({"show"}).status, notLoaded);
  remove(list + ".asc");
  key.sign(list);
  EXPECT_EQ(tool({"show"}).status, 0);
  makeFifo(std::string(listDir) + "/gpg.conf");
  EXPECT_EQ(tool({"show"}).errors, reason("wam"));
}

TEST_F(ShowTest, EachSetThatCannotBeVerifiedIsNamed) {
  for (const std::string set : {"demo", "other"}) {
    std::string const list =
        writeList(std::string(listDir) + "/packages/" + set, set + ".full.base.list", "");
    writeFile(list + ".asc", "");
  }
  makeFifo(std::string(listDir) + "/gpg.conf");
  EXPECT_EQ(tool({"show", "demo", "other"}).errors, reason("demo") + reason("other"));
}

TEST_F(ShowTest, WrongUsageIsOneLine) {
  for (const Lines& words : std::vector<Lines>{{"show", "a/b"},
                                               {"show", ""},
                                               {"show", "--all", "wam"},
                                               {"show", "--mode", "*"},
                                               {"show", "--format", "xml"},
                                               {"show", "--nonsense"}}) {
    ProgramRun const run = tool(words);
    EXPECT_EQ(run.status, usage) << words.back();
    EXPECT_EQ(run.output, "") << words.back();
    EXPECT_EQ(linesOf(run.errors).size(), 1U) << run.errors;
  }
}

TEST_F(ShowTest, AFullDiskIsNotASuccess) {
  writeList("wam.full.base.list", sized("/a", "1") + "\n");
  std::string const command = quoted(ZEMO_TOOL) + " show --no-verify >/dev/full";
  EXPECT_EQ(runProgram({"/bin/sh", "-c", command}).status, unchecked);
}

TEST_F(ShowTest, HelpHasAnExample) {
  ProgramRun const run = tool({"show", "--help"});
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.output.find("zemo-selfcheck show /etc"), std::string::npos);
}

TEST_F(ShowTest, ManyEntriesInManyListsAreFast) {
  std::string lines;
  for (int i = 0; i < 60000; ++i)
    lines += sized("/many/" + std::to_string(i), "1") + "\n";
  writeList("wam.full.0.list", lines);
  for (int i = 1; i < 10; ++i)
    writeList("wam.full." + std::to_string(i) + ".list", sized("/one", "1") + "\n");
  EXPECT_EQ(linesOf(show({}).output).size(), 60001U);
}
