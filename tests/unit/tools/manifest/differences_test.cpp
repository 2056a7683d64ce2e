// A set that is not the one that its manifest describes, as verify, check and doctor report it.

#include "../json_lines.h"
#include "fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class ManifestDifferencesTest : public ManifestTest {
 protected:
  // All three commands find the set different and say why; without the manifest, none does.
  static void expectReported(const std::string& what) {
    ProgramRun const checked = check();
    EXPECT_EQ(checked.status, notLoaded);
    EXPECT_THAT(checked.errors, HasSubstr("zemo-selfcheck: set 'wam': " + what + "\n"));
    ProgramRun const verified = verify();
    EXPECT_EQ(verified.status, unchecked);
    EXPECT_THAT(verified.output, HasSubstr("  reason     " + what + "\n"));
    EXPECT_THAT(verified.output, HasSubstr("; 1 manifest rejected\n"));
    ProgramRun const examined = doctor();
    EXPECT_EQ(examined.status, unchecked) << examined.output;
    EXPECT_THAT(examined.output, HasSubstr(what + "\n    fix: "));
  }

  static void expectInOrder() {
    EXPECT_EQ(check().status, 0) << check().errors;
    EXPECT_EQ(verify().status, 0) << verify().output;
    EXPECT_EQ(doctor().status, 0) << doctor().output;
  }

  static void expectUnnoticedWithoutManifest() {
    remove(manifest);
    remove(manifest + ".asc");
    EXPECT_EQ(tool({"check"}).status, 0);
    EXPECT_EQ(verify().status, 0) << verify().output;
    EXPECT_EQ(doctor().status, 0) << doctor().output;
  }
};

}  // namespace

// Every signature is good, and the intruder's change is in a file that no list names any more.
TEST_F(ManifestDifferencesTest, AnOldListAndARemovedOne) {
  std::string const current = readFile(base);
  list("base", "1", "tool");
  key().sign(base);
  changeMode(base + ".asc", 0644);
  remove(local);
  remove(local + ".asc");
  order("wam.full.base.list\n");
  writeFile(home("config"), "changed");
  expectReported("list 'wam.full.local.list' is missing");
  expectReported("list 'wam.full.base.list' is older than the manifest states: serial 1, not 2");
  EXPECT_THAT(check().errors,
              HasSubstr("set 'wam' was not checked, because it does not fit its manifest; "
                        "see zemo-selfcheck doctor\n"));
  EXPECT_THAT(verify().output, HasSubstr(manifest + ": does not fit, rejected\n"));
  EXPECT_THAT(verify().output, HasSubstr("1 list: 1 good, 0 unusable, 0 rejected; 1 manifest"));
  EXPECT_THAT(doctor().output,
              HasSubstr("problem: set 'wam' does not fit '" + manifest +
                        "': list 'wam.full.local.list' is missing\n    fix: install the whole "
                        "set again with zemo-selfcheck install, or, if it is not needed any more, "
                        "a manifest without each missing list\n"));
  expectUnnoticedWithoutManifest();
}

TEST_F(ManifestDifferencesTest, ASetThatFits) {
  expectInOrder();
  EXPECT_THAT(verify().output,
              HasSubstr(manifest + ": fits\n  label      2 lists, serial 5, made "));
  EXPECT_THAT(doctor({"--verbose"}).output,
              HasSubstr("ok set 'wam' is the one that '" + manifest + "' describes\n"));
}

TEST_F(ManifestDifferencesTest, AListTooMany) {
  addList("wam.full.more.list", entryLine(home("tool")) + "\n");
  order("wam.full.base.list\nwam.full.local.list\nwam.full.more.list\n");
  runShell("sed -i '2s/.*/set=wam mode=full list=more serial=1 date=2026-09-21T12:00:00Z/' " +
           home("wam.full.more.list"));
  key().sign(home("wam.full.more.list"));
  changeMode(home("wam.full.more.list.asc"), 0644);
  expectReported("list 'wam.full.more.list' is not in the manifest");
  expectUnnoticedWithoutManifest();
}

TEST_F(ManifestDifferencesTest, AnotherOrder) {
  order("wam.full.local.list\nwam.full.base.list\n");
  expectReported(
      "list 'wam.full.base.list' is read after 'wam.full.local.list', but the manifest states the "
      "other order");
  expectUnnoticedWithoutManifest();
}

TEST_F(ManifestDifferencesTest, TheFixOfAnotherOrderHelps) {
  order("wam.quick.x.list\nwam.full.local.list\nwam.full.base.list\n");
  writeFile(home("wam.quick.x.list"), "");
  ProgramRun const run = doctor();
  std::vector<std::string> const lines = linesOf(run.output);
  ASSERT_EQ(lines.size(), 3U) << run.output;
  ASSERT_EQ(lines[1].find("    fix: printf "), 0U) << lines[1];
  runShell(lines[1].substr(9));
  expectInOrder();
  EXPECT_EQ(readFile(home("listorder")),
            "wam.quick.x.list\nwam.full.base.list\nwam.full.local.list\n");
}

TEST_F(ManifestDifferencesTest, OtherBytesOfTheSameSerial) {
  list("local", "2", "tool");
  key().sign(local);
  changeMode(local + ".asc", 0644);
  expectReported("list 'wam.full.local.list' has other content than the manifest states");
  expectUnnoticedWithoutManifest();
}

// The same size, so the digest decides.
TEST_F(ManifestDifferencesTest, OtherBytesOfTheSameSize) {
  runShell("sed -i s/12:00:00Z/12:00:01Z/ " + local);
  key().sign(local);
  changeMode(local + ".asc", 0644);
  expectReported("list 'wam.full.local.list' has other content than the manifest states");
}

TEST_F(ManifestDifferencesTest, AListThatIsNewer) {
  list("local", "3", "config");
  key().sign(local);
  changeMode(local + ".asc", 0644);
  expectReported("list 'wam.full.local.list' is newer than the manifest states: serial 3, not 2");
}

TEST_F(ManifestDifferencesTest, AManifestThatWasChanged) {
  runShell("sed -i s/serial=5/serial=6/ " + manifest);
  expectReported("the manifest '" + manifest +
                 "' does not verify: the manifest is not the one that was signed");
  EXPECT_THAT(verify().output, HasSubstr(manifest + ": does not verify, rejected\n"));
  EXPECT_THAT(verify().output, Not(HasSubstr("serial 6")));
}

TEST_F(ManifestDifferencesTest, ASignatureWithoutItsManifest) {
  remove(manifest);
  EXPECT_EQ(check().status, notLoaded);
  EXPECT_EQ(verify().status, unchecked);
  expectAmong(doctor(), unchecked, "'" + manifest + "' does not exist");
}

TEST_F(ManifestDifferencesTest, AManifestWithoutItsSignature) {
  remove(manifest + ".asc");
  EXPECT_EQ(check().status, notLoaded);
  EXPECT_EQ(verify().status, unchecked);
  expectAmong(doctor(), unchecked, "'" + manifest + ".asc' does not exist");
}

// Its signature says that it is genuine, but of another set.
TEST_F(ManifestDifferencesTest, TheManifestOfAnotherMode) {
  runShell("cp " + base + " " + home("wam.quick.base.list"));
  runShell("sed -i s/mode=full/mode=quick/ " + home("wam.quick.base.list"));
  ASSERT_EQ(sign({"--manifest", home("wam.quick.manifest"), home("wam.quick.base.list")}).status,
            0);
  runShell("cd " + std::string(listDir) +
           " && cp wam.quick.manifest wam.full.manifest && cp wam.quick.manifest.asc "
           "wam.full.manifest.asc && rm wam.quick.*");
  expectReported("'" + manifest +
                 "' is not a manifest: it describes another set: 'wam', mode 'quick'");
}

TEST_F(ManifestDifferencesTest, AListAsManifest) {
  runShell("cp " + base + " " + manifest + " && cp " + base + ".asc " + manifest + ".asc");
  expectReported("'" + manifest +
                 "' is not a manifest: its first line is not WAM_SELF_CHECK_MANIFEST 1");
}

// GnuPG would wait for the writer of a FIFO.
TEST_F(ManifestDifferencesTest, AFifoInsteadOfTheManifest) {
  remove(manifest);
  makeFifo(manifest);
  EXPECT_EQ(check().status, notLoaded);
  EXPECT_EQ(verify().status, unchecked);
  EXPECT_EQ(doctor().status, unchecked);
}

TEST_F(ManifestDifferencesTest, NoManifest) {
  remove(manifest);
  remove(manifest + ".asc");
  ProgramRun const run = check();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(linesOf(run.errors),
            (std::vector<std::string>{"zemo-selfcheck: set 'wam': there is no '" + manifest + "'",
                                      "zemo-selfcheck: set 'wam' was not checked, because it does "
                                      "not fit its manifest; see zemo-selfcheck doctor"}));
  EXPECT_THAT(verify().output, Not(HasSubstr("manifest")));
}

TEST_F(ManifestDifferencesTest, VerifyShowsThemWithoutStrict) {
  order("wam.full.local.list\nwam.full.base.list\n");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr(manifest + ": does not fit\n"));
  EXPECT_THAT(run.output, HasSubstr("but the manifest states the other order\n"));
}

TEST_F(ManifestDifferencesTest, ItsKeyIsJudgedLikeThatOfAList) {
  ProgramRun const run = tool({"verify", "--key", std::string(40, 'A')});
  EXPECT_EQ(run.status, unchecked);
  EXPECT_THAT(run.output, HasSubstr("2 rejected; 1 manifest rejected\n"));
}

TEST_F(ManifestDifferencesTest, NothingIsCheckedButOtherSetsAre) {
  addList(installDemo(), "demo.full.base.list", entryLine(home("tool")) + "\n");
  remove(manifest);
  ASSERT_EQ(signAll().status, 0);
  writeFile(home("config"), "changed");
  ProgramRun const run = check({"wam", "demo"});
  EXPECT_EQ(run.status, changed | notLoaded);
  EXPECT_THAT(run.output, HasSubstr("checked 2 entries of 1 set: 1 changed"));
  EXPECT_THAT(run.output, HasSubstr("1 set could not be loaded"));
}

TEST_F(ManifestDifferencesTest, UnverifiedListsCannotFit) {
  EXPECT_EQ(check({"--no-verify"}).status, usage);
  EXPECT_EQ(tool({"check", "--require", "more"}).status, usage);
}

TEST_F(ManifestDifferencesTest, JsonOfVerifyAndDoctor) {
  using Json = nlohmann::json;
  std::vector<Json> all = recordsOf("verify", tool({"verify", "--format", "json"}).output);
  ASSERT_EQ(kindsOf(all),
            (std::vector<std::string>{"start", "set", "list", "list", "manifest", "summary"}));
  EXPECT_EQ(all[4].at("state"), "fits");
  EXPECT_EQ(all[4].at("serial"), 5);
  EXPECT_EQ(all[4].at("signatures").at(0).at("state"), "good");
  EXPECT_EQ(kindsOf(recordsOf("doctor", doctor({"--format", "json"}).output)),
            (std::vector<std::string>{"start", "summary"}));
  std::vector<Json> const well =
      recordsOf("doctor", doctor({"--format", "json", "--verbose"}).output);
  EXPECT_EQ(well.size(), well.back().at("passed").get<std::size_t>() + 2);

  order("wam.full.local.list\nwam.full.base.list\n");
  all = recordsOf("verify", tool({"verify", "--strict", "--format", "json"}).output);
  EXPECT_EQ(all[4].at("state"), "differs");
  EXPECT_EQ(all[4].at("differences"),
            (Json::array({{{"kind", "order"}, {"list", "wam.full.base.list"}}})));
  EXPECT_EQ(all[5].at("rejected_manifests"), 1);
  all = recordsOf("doctor", doctor({"--format", "json"}).output);
  ASSERT_EQ(kindsOf(all), (std::vector<std::string>{"start", "problem", "summary"}));
  EXPECT_EQ(all[1].at("status"), unchecked);
  EXPECT_EQ(all[1].at("count"), 1);
  EXPECT_EQ(all[1].at("what").size(), 1U);
  EXPECT_THAT(all[1].at("fix").get<std::string>(), HasSubstr("printf"));
  EXPECT_EQ(all[2].at("problems"), 1);
  EXPECT_EQ(all[2].at("status"), unchecked);
}
