// zemo-selfcheck files: one line per path.

#include <filesystem>

#include "json_lines.h"
#include "support/signing_key.h"
#include "support/tool_fixture.h"

class FilesCommandTest : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    if (IsSkipped())
      return;
    static SigningKey const key;
    key.trustedBy(listDir);
    writeFile(files / "a", "content");
    writeFile(files / "b", "content");
    makeDirectory(files / "fixed");
    std::string lines = entryLine(files / "a") + "\n" + entryLine(files / "b") + "\n";
    lines += entryLine(files / "fixed", "-", "FIXED", "d", "-", "-", "-") + "\n";
    lines += entryLine(files / "hostile\x1b[2J", "-", "-", "f", "-", "-", "-") + "\n";
    key.sign(writeList("wam.full.base.list", lines));
  }
};

TEST_F(FilesCommandTest, IntactFile) {
  ProgramRun const run = tool({"files", files / "a"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "0x000 intact " + (files / "a") + "\n");
  EXPECT_EQ(run.errors, "");
}

TEST_F(FilesCommandTest, EachFindingHasItsNameAndItsBit) {
  writeFile(files / "b", "changed content", 0600);
  writeFile(files / "fixed/evil", "");
  EXPECT_EQ(tool({"files", files / "b"}).output,
            "0x031 sizeError,permissionError,hashError " + (files / "b") + "\n");
  EXPECT_EQ(tool({"files", files / "b"}).status, changed);
  EXPECT_EQ(tool({"files", files / "fixed/evil"}).output,
            "0x180 notListed,inFixedDir " + (files / "fixed/evil") + "\n");
  EXPECT_EQ(tool({"files", files / "fixed/evil"}).status, stray);
  EXPECT_EQ(tool({"files", "/nowhere"}).output, "0x080 notListed /nowhere\n");
  EXPECT_EQ(tool({"files", "/nowhere"}).status, unchecked);
  remove(files / "a");
  EXPECT_EQ(tool({"files", files / "a"}).output, "0x040 notExist " + (files / "a") + "\n");
  EXPECT_EQ(tool({"files", files / "a"}).status, missing);
  EXPECT_EQ(tool({"files", files / "a", files / "b", files / "fixed/evil", "/nowhere"}).status,
            changed | missing | stray | unchecked);
}

TEST_F(FilesCommandTest, UnlistedPathsGetAHint) {
  makeLink(".", files / "link");
  std::string const note =
      "zemo-selfcheck: note: lists name a file by one absolute path without "
      "links: '";
  ProgramRun const run = tool({"files", files / "link/a"});
  EXPECT_EQ(run.output, "0x080 notListed " + (files / "link/a") + "\n");
  EXPECT_EQ(run.status, unchecked);
  EXPECT_EQ(run.errors, note + (files / "link/a") + "' is '" + (files / "a") + "'\n");
  // The last part of a path may be a link: lists have those.
  EXPECT_EQ(tool({"files", files / "link"}).errors, "");
  EXPECT_EQ(tool({"files", files / "a", files / "none", "/nowhere/x"}).errors, "");
  EXPECT_EQ(tool({"files", "x\n", "y", (files / "a") + "/"}).errors,
            note + "x\\012' is '" + std::filesystem::current_path().string() +
                "/x\\012', and 2 more paths\n");
}

TEST_F(FilesCommandTest, NamesAreEscaped) {
  EXPECT_EQ(tool({"files", files / "hostile\x1b[2J"}).output,
            "0x040 notExist " + (files / "hostile\\033[2J") + "\n");
}

TEST_F(FilesCommandTest, ReadsNamesFromAFileAndStandardInput) {
  std::string const names = (files / "a") + "\n\n" + (files / "b");
  std::string const expected =
      "0x000 intact " + (files / "a") + "\n0x000 intact " + (files / "b") + "\n";
  writeFile(files / "names", names);
  EXPECT_EQ(tool({"files", "--from", files / "names"}).output, expected);
  EXPECT_EQ(tool({"files", "--from", "-"}, names).output, expected);
  EXPECT_EQ(tool({"files", "--from=-", files / "a"}, files / "b").output, expected);
}

TEST_F(FilesCommandTest, ZeroBytesEndNames) {
  std::string const name = "/line\nfeed";
  std::string const end(1, '\0');
  ProgramRun const run = tool({"files", "-z", "--from", "-"}, name + end + (files / "a") + end);
  EXPECT_EQ(run.output, "0x080 notListed " + name + end + "0x000 intact " + (files / "a") + end);
}

TEST_F(FilesCommandTest, NothingIsKnownWithoutASet) {
  remove(std::string(listDir) + "/wam.full.base.list");
  ProgramRun const run = tool({"files", files / "a"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(linesOf(run.errors),
            (std::vector<std::string>{"zemo-selfcheck: util:33 Selfcheck load list failed",
                                      "zemo-selfcheck: these files were not checked: set 'wam' "
                                      "cannot be loaded, or one of the files cannot be read"}));
}

TEST_F(FilesCommandTest, WrongUsageIsOneLine) {
  EXPECT_EQ(tool({"files"}).status, usage);
  EXPECT_EQ(tool({"files"}).errors, "zemo-selfcheck: give at least one path, or --from\n");
  EXPECT_EQ(tool({"files", "--nonsense", "/x"}).status, usage);
  EXPECT_EQ(linesOf(tool({"files", "--nonsense", "/x"}).errors).size(), 1U);
}

TEST_F(FilesCommandTest, NameWithAZeroByteIsRefused) {
  ProgramRun const run =
      tool({"files", "--from", "-"}, (files / "a") + std::string(1, '\0') + "/x\n");
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output, "");
}

TEST_F(FilesCommandTest, BracketsAreNotAList) {
  ProgramRun const run = tool({"files", "[" + (files / "a") + ",/nowhere]"});
  EXPECT_EQ(run.output, "0x080 notListed [" + (files / "a") + ",/nowhere]\n");
}

TEST_F(FilesCommandTest, NoNamesAreNotASuccess) {
  EXPECT_EQ(tool({"files", "--from", "-"}).status, notLoaded);
  EXPECT_EQ(tool({"files", "--from", files / "none"}).status, notLoaded);
  EXPECT_EQ(tool({"files", "--from", "", files / "a"}).errors,
            "zemo-selfcheck: cannot open '': No such file or directory\n");
}

TEST_F(FilesCommandTest, JsonHasARecordForEachFile) {
  using Json = nlohmann::json;
  writeFile(files / "b", "changed content", 0600);
  std::string const names = (files / "a") + '\0' + (files / "b") + '\0' + "/\xff" + '\0';
  ProgramRun const run = tool({"files", "--from", "-", "-z", "--format", "json"}, names);
  EXPECT_EQ(run.status, changed | unchecked);
  std::vector<Json> const all = recordsOf("files", run.output);
  ASSERT_EQ(kindsOf(all), (std::vector<std::string>{"start", "file", "file", "file", "summary"}));
  EXPECT_EQ(all[0].at("format"), 1);
  EXPECT_EQ(all[1], (Json{{"record", "file"}, {"path", files / "a"}, {"flags", Json::array()}}));
  EXPECT_EQ(all[2].at("flags"), Json({"sizeError", "permissionError", "hashError"}));
  EXPECT_EQ(all[3], (Json{{"record", "file"},
                          {"path", "/\uFFFD"},
                          {"path_hex", "2fff"},
                          {"flags", {"notListed"}}}));
  EXPECT_EQ(all[4], (Json{{"record", "summary"}, {"files", 3}, {"status", changed | unchecked}}));
  remove(std::string(listDir) + "/wam.full.base.list");
  EXPECT_EQ(tool({"files", "/a", "--format", "json"}).output, "");
}
