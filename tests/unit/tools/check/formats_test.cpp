// The output formats of zemo-selfcheck check.

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>

#include "../json_lines.h"
#include "fixture.h"

namespace {

using Json = nlohmann::json;

class CheckFormatsTest : public CheckTest {
 protected:
  // `check --format json`; every line must conform to the schema.
  static std::vector<Json> records(std::vector<std::string> words = {}) {
    words.insert(words.end(), {"--format", "json"});
    return parsed(check(words).output);
  }

  static std::vector<Json> parsed(const std::string& lines) { return recordsOf("check", lines); }
};

using Names = std::vector<std::string>;

}  // namespace

TEST_F(CheckFormatsTest, JsonHasAStartAndASummary) {
  list({existing("/")});
  std::vector<Json> const all = records({"--items", "hash,size"});
  ASSERT_EQ(kindsOf(all), (Names{"start", "summary"}));
  EXPECT_EQ(all[0].at("sets"), Json({"wam"}));
  EXPECT_EQ(all[0].at("mode"), "full");
  EXPECT_EQ(all[0].at("items"), Json({"size", "hash"}));
  EXPECT_EQ(all[0].at("program"), "zemo-selfcheck");
  EXPECT_EQ(all[0].at("format"), 1);
  EXPECT_EQ(all[1],
            Json::parse(R"({"record":"summary","sets":1,"not_loaded":0,"entries":1,"checked":1,
    "changed":0,"missing":0,"stray":0,"unchecked":0,"accepted":0,"partial":false,"status":0})"));
}

TEST_F(CheckFormatsTest, JsonHasOneRecordForAnEntryAndOnlyWhatDiffers) {
  std::string const a = file("a");
  list({entryLine(a, "99", "00", "d", "0755", "77", "88"), entryLine(file("b"))});
  std::vector<Json> const all = records();
  ASSERT_EQ(kindsOf(all), (Names{"start", "entry", "summary"}));
  Json const uid = statusOf(a).st_uid;
  Json const gid = statusOf(a).st_gid;
  EXPECT_EQ(all[1].at("set"), "wam");
  EXPECT_EQ(all[1].at("path"), a);
  EXPECT_EQ(all[1].at("mismatches"),
            Json::array({{{"kind", "size"}, {"expected", 99}, {"actual", 7}},
                         {{"kind", "owner"}, {"expected", 77}, {"actual", uid}},
                         {{"kind", "group"}, {"expected", 88}, {"actual", gid}},
                         {{"kind", "type"}, {"expected", "d"}, {"actual", "f"}},
                         {{"kind", "permission"}, {"expected", "0755"}, {"actual", "644"}},
                         {{"kind", "hash"},
                          {"expected", "00"},
                          {"actual", "040f06fd774092478d450774f5ba30c5da78acc8"}}}));
  EXPECT_EQ(all[2].at("status"), changed);
}

TEST_F(CheckFormatsTest, JsonKeepsAsTextWhatTheListDoesNotWriteAsANumber) {
  list({entryLine(file("a"), "+8", "-", "f", "-", "-", "-")});
  EXPECT_EQ(records().at(1).at("mismatches"),
            Json::array({{{"kind", "size"}, {"expected", "+8"}, {"actual", 7}}}));
}

TEST_F(CheckFormatsTest, JsonReportsMissingAndStrayFiles) {
  makeDirectory(files / "fixed");
  file("fixed/x");
  list({existing(files / "none"), entryLine(files / "fixed", "-", "FIXED", "d", "-", "-", "-")});
  std::vector<Json> const all = records();
  ASSERT_EQ(kindsOf(all), (Names{"start", "entry", "entry", "summary"}));
  EXPECT_EQ(all[1].at("mismatches"), Json::array({{{"kind", "stray"}, {"name", "x"}}}));
  EXPECT_EQ(all[2].at("mismatches"), Json::array({{{"kind", "missing"}}}));
  EXPECT_EQ(all[3].at("missing"), 1);
  EXPECT_EQ(all[3].at("stray"), 1);
}

TEST_F(CheckFormatsTest, JsonReportsWhatCouldNotBeChecked) {
  std::string const path = file("unreadable");
  changeMode(path, 0);
  list({existing("/"), entryLine(path, "8", "00", "f", "0", "-", "-")});
  makeDirectory(std::string(listDir) + "/packages/none");
  std::vector<Json> const all = parsed(checkUnprivileged({"--all", "--format", "json"}).output);
  ASSERT_EQ(kindsOf(all), (Names{"start", "entry", "unchecked", "not_loaded", "summary"}));
  EXPECT_EQ(all[2].at("path"), path);
  EXPECT_EQ(all[2].at("log"),
            Json({"protected_file:365 Open file [" + path + "] failed",
                  "protected_file:288 Calculate hash of file [" + path + "] failed"}));
  EXPECT_EQ(all[2].at("reason"), "Permission denied");
  EXPECT_EQ(all[3].at("set"), "none");
  EXPECT_EQ(all[3].at("reason"),
            "set 'none' has no list for mode 'full' in '/usr/zemo/selfcheck/packages/none'");
  EXPECT_EQ(all[4].at("unchecked"), 1);
  EXPECT_EQ(all[4].at("not_loaded"), 1);
  EXPECT_EQ(all[4].at("status"), changed | unchecked | notLoaded);
}

TEST_F(CheckFormatsTest, JsonNamesTheDirectoryThatMayNotBeSearched) {
  makeDirectory(files / "closed");
  list({existing(files / "closed/file"), existing(files / "none")});
  changeMode(files / "closed", 0);
  ProgramRun const run = checkUnprivileged({"--format", "json"});
  changeMode(files / "closed", 0755);
  std::vector<Json> const all = parsed(run.output);
  ASSERT_EQ(kindsOf(all), (Names{"start", "entry", "entry", "summary"}));
  EXPECT_EQ(all[1].at("mismatches"),
            Json::array({{{"kind", "missing"}, {"unsearchable", files / "closed"}}}));
  EXPECT_EQ(all[2].at("mismatches"), Json::array({{{"kind", "missing"}}}));
  EXPECT_EQ(run.errors, "");
}

TEST_F(CheckFormatsTest, JsonMarksAcceptedFindings) {
  list({entryLine(file("a"), "1", "0", "f", "-", "-", "-")});
  writeFile(files / "known", (files / "a") + "\tsize\n");
  std::vector<Json> const all = records({"--accept", files / "known"});
  Json const& mismatches = all.at(1).at("mismatches");
  EXPECT_EQ(mismatches.at(0).at("accepted"), true);
  EXPECT_FALSE(mismatches.at(1).contains("accepted"));
  EXPECT_EQ(all.at(2).at("accepted"), 1);
  EXPECT_EQ(all.at(2).at("changed"), 1);
}

TEST_F(CheckFormatsTest, JsonHasTheBytesOfNamesThatAreNotUtf8) {
  std::string const path = files / "caf\xe9";
  makeDirectory(files / "fixed");
  file("fixed/\xc0\xaf\n");
  makeLink("\xfe", files / "link");
  list({existing(path), entryLine(files / "fixed", "-", "FIXED", "d", "-", "-", "-"),
        entryLine(files / "link", "-", "\xff", "l", "-", "-", "-"), existing("/na\xc3\xafve")});
  std::vector<Json> const all = records();
  auto const hexadecimal = [](const std::string& bytes) {
    std::string text;
    for (unsigned char const byte : bytes) {
      char digits[3];
      (void)snprintf(digits, sizeof digits, "%02x", byte);
      text += digits;
    }
    return text;
  };
  ASSERT_EQ(all.size(), 6U);
  EXPECT_EQ(all[1].at("path"), "/na\xc3\xafve");
  EXPECT_FALSE(all[1].contains("path_hex"));
  EXPECT_EQ(all[2].at("path"), files / "caf\xef\xbf\xbd");
  EXPECT_EQ(all[2].at("path_hex"), hexadecimal(path));
  EXPECT_EQ(all[3].at("mismatches").at(0).at("name"), "\xef\xbf\xbd\xef\xbf\xbd\n");
  EXPECT_EQ(all[3].at("mismatches").at(0).at("name_hex"), "c0af0a");
  EXPECT_EQ(all[4].at("mismatches").at(0).at("expected_hex"), "ff");
  EXPECT_EQ(all[4].at("mismatches").at(0).at("actual_hex"), "fe");
}

TEST_F(CheckFormatsTest, JsonLinesArePrintableAscii) {
  list({existing("/nowhere/\x1b[2J\xc2\x9b\xe2\x80\xa8\x7f\x01")});
  ProgramRun const run = check({"--format", "json"});
  for (unsigned char const c : run.output)
    EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << int{c};
  EXPECT_EQ(parsed(run.output).at(1).at("path"), "/nowhere/\x1b[2J\xc2\x9b\xe2\x80\xa8\x7f\x01");
}

TEST_F(CheckFormatsTest, SchemaRejectsWrongRecords) {
  if (!canValidate())
    GTEST_SKIP() << "needs python3-jsonschema";
  std::string const entry = R"({"record":"entry","set":"s","path":"/p","mismatches":[)";
  std::vector<std::string> const wrong = {
      std::string(R"({"record":"end"})"),
      std::string(R"({"record":"entry","set":"s","path":"/p"})"),
      entry + "]}",
      entry + R"({"kind":"size","expected":1,"actual":"2"}]})",
      entry + R"({"kind":"hash","expected":1,"actual":"2"}]})",
      entry + R"({"kind":"missing","expected":1}]})",
      entry + R"({"kind":"stray"}]})",
      entry + R"({"kind":"other"}]})",
      entry + R"({"kind":"missing"}],"path_hex":"fg"})",
      entry + R"({"kind":"missing"}],"more":1})",
      entry + R"({"kind":"missing","accepted":false}]})",
      std::string(
          R"({"record":"summary","sets":1,"not_loaded":0,"entries":1,"checked":1,"changed":0,)") +
          R"("missing":0,"stray":0,"unchecked":0,"accepted":0,"partial":false,"status":64})",
      std::string(
          R"({"record":"summary","sets":-1,"not_loaded":0,"entries":1,"checked":1,"changed":0,)") +
          R"("missing":0,"stray":0,"unchecked":0,"accepted":0,"partial":false,"status":0})",
      std::string("[1]"),
      std::string("not JSON")};
  std::vector<std::string> const reasons = linesOf(rejected("check", joined(wrong)));
  ASSERT_EQ(reasons.size(), wrong.size());
  for (std::size_t n = 0; n < wrong.size(); ++n)
    EXPECT_EQ(reasons[n].find(std::to_string(n + 1) + ": "), 0U) << reasons[n];
  EXPECT_EQ(rejected("check", entry + R"({"kind":"missing"}]})" + "\n"), "");
}

TEST_F(CheckFormatsTest, PathsNamesEachPathOnce) {
  makeDirectory(files / "fixed");
  file("fixed/1");
  file("fixed/2");
  std::string const a = file("a");
  list({entryLine(a, "1", "0", "f", "-", "-", "-"), existing("/nowhere"), existing("/"),
        entryLine(files / "fixed", "1", "FIXED", "d", "1", "-", "-")});
  ProgramRun const run = check({"--format", "paths"});
  std::vector<std::string> lines = linesOf(run.output);
  ASSERT_EQ(lines.size(), 5U);
  std::sort(lines.begin() + 3, lines.end());  // in the order of the directory on disk
  std::sort(lines.begin(), lines.end());
  std::vector<std::string> expected = {a, files / "fixed", files / "fixed/1", files / "fixed/2",
                                       "/nowhere"};
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(lines, expected);
  EXPECT_EQ(run.status, changed | missing | stray);
  EXPECT_EQ(run.errors, "");
}

TEST_F(CheckFormatsTest, PathsOfNothingIsEmpty) {
  list({existing("/")});
  EXPECT_EQ(check({"--format", "paths"}).output, "");
}

TEST_F(CheckFormatsTest, PathsAreEscapedOrEndedByAZeroByte) {
  list({existing("/nowhere/\x1b[2J\\")});
  EXPECT_EQ(check({"--format", "paths"}).output, "/nowhere/\\033[2J\\134\n");
  std::string const end(1, '\0');
  EXPECT_EQ(check({"--format", "paths", "-z"}).output, "/nowhere/\x1b[2J\\" + end);
  EXPECT_EQ(check({"--null", "--format=paths"}).output, "/nowhere/\x1b[2J\\" + end);
}

TEST_F(CheckFormatsTest, TextIsEscapedOrEndedByAZeroByte) {
  list({existing("/nowhere/\x1b[2J\\")});
  std::string const end(1, '\0');
  std::string const summary =
      "checked 1 entry of 1 set: 0 changed, 1 missing, 0 stray, 0 could not be checked";
  EXPECT_EQ(check().output,
            "/nowhere/\\033[2J\\134 not exist expect[] but get[]\n" + summary + "\n");
  EXPECT_EQ(check({"-z"}).output,
            "/nowhere/\x1b[2J\\ not exist expect[] but get[]" + end + summary + end);
}

TEST_F(CheckFormatsTest, LogLinesAreEscaped) {
  std::string const path = file("\x1b[2J\n");
  changeMode(path, 0);
  list({existing("/"), entryLine(files / "\x1b[2J", "7", "00", "f", "0", "-", "-")});
  std::filesystem::rename(path, files / "\x1b[2J");
  EXPECT_EQ(linesOf(checkUnprivileged().errors).at(0),
            "zemo-selfcheck: protected_file:365 Open file [" + (files / "\\033[2J") + "] failed");
}

TEST_F(CheckFormatsTest, JsonSaysWhetherASetFitsItsManifest) {
  std::string const base = list({existing("/")});
  std::string const more = list({existing("/usr")}, "wam.full.more.list");
  std::string const manifest = std::string(listDir) + "/wam.full.manifest";
  Names const required = {"--require", "manifest"};
  std::vector<Json> all = records(required);
  ASSERT_EQ(kindsOf(all), (Names{"start", "manifest", "not_loaded", "summary"}));
  EXPECT_EQ(all[1], (Json{{"record", "manifest"},
                          {"set", "wam"},
                          {"state", "none"},
                          {"reason", "there is no '" + manifest + "'"}}));
  EXPECT_EQ(all[3].at("status"), notLoaded);
  ASSERT_EQ(tool({"sign", "--manifest", manifest, "--serial", "18446744073709551615", base, more,
                  "--key", "Maker", "--homedir", key().home()})
                .status,
            0);
  all = records(required);
  ASSERT_EQ(kindsOf(all), (Names{"start", "manifest", "summary"}));
  EXPECT_EQ(all[1].at("state"), "fits");
  EXPECT_EQ(all[1].at("serial"), UINT64_MAX);
  EXPECT_EQ(all[1].count("differences"), 0U);
  remove(more);
  all = records(required);
  ASSERT_EQ(kindsOf(all), (Names{"start", "manifest", "not_loaded", "summary"}));
  EXPECT_EQ(all[1].at("state"), "differs");
  EXPECT_EQ(all[1].at("differences"),
            Json::parse(R"([{"kind":"missing","list":"wam.full.more.list"}])"));
  writeFile(manifest, "other");
  EXPECT_EQ(records(required)[1].at("state"), "unverified");
  EXPECT_EQ(kindsOf(records()), (Names{"start", "summary"})) << "no manifest is required";
}
