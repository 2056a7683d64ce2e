// zemo-selfcheck sign --manifest.

#include <unistd.h>

#include <algorithm>

#include "fixture.h"

namespace {

using ::testing::HasSubstr;

class SignManifestTest : public ManifestTest {};

}  // namespace

TEST_F(SignManifestTest, ItsTextIsReproducible) {
  std::vector<std::string> const command = {"/usr/bin/env", "SOURCE_DATE_EPOCH=1789992000",
                                            ZEMO_TOOL,      "sign",
                                            "--manifest",   manifest,
                                            local,          base,
                                            "--homedir",    key().home(),
                                            "--key",        "Maker"};
  ASSERT_EQ(runProgram(command).status, 0);
  std::string const first = readFile(manifest);
  std::string const digests =
      runProgram({"/bin/sh", "-c", "sha256sum <" + local + "; sha256sum <" + base}).output;
  std::vector<std::string> const sums = linesOf(digests);
  EXPECT_EQ(first,
            "WAM_SELF_CHECK_MANIFEST 1\n"
            "set=wam mode=full serial=1789992000 date=2026-09-21T12:00:00Z\n" +
                sums[0].substr(0, 64) + "\t" + std::to_string(readFile(local).size()) +
                "\t2\twam.full.local.list\n" + sums[1].substr(0, 64) + "\t" +
                std::to_string(readFile(base).size()) + "\t2\twam.full.base.list\n");
  ASSERT_EQ(runProgram(command).status, 0);
  EXPECT_EQ(readFile(manifest), first);
}

TEST_F(SignManifestTest, AListWithoutLabelHasNoSerial) {
  writeList("wam.full.local.list", entryLine(home("config")) + "\n");
  ASSERT_EQ(signAll().status, 0);
  EXPECT_THAT(readFile(manifest), HasSubstr("\t-\twam.full.local.list\n"));
  EXPECT_EQ(check().status, 0);
}

TEST_F(SignManifestTest, NothingIsSignedIfTheNamesDoNotFit) {
  remove(base + ".asc");
  std::string const text = readFile(manifest);
  makeDirectory(files / "other");
  runShell("cp " + local + " " + (files / "other/wam.full.local.list"));
  runShell("cp " + local + " " + home("wam.quick.local.list"));
  for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
           {"--manifest", home("manifest"), base},
           {"--manifest", home("wam.manifest"), base},
           {"--manifest", home("wam.full.manifest2"), base},
           {"--manifest", "", base},
           {"--manifest", manifest, base, base},
           {"--manifest", manifest, base, files / "other/wam.full.local.list"},
           {"--manifest", manifest, base, home("wam.quick.local.list")},
           {"--manifest", manifest, "--serial", "x", base},
           {"--manifest", manifest, "--serial", "-1", base},
           {"--serial", "7", base}}) {
    ProgramRun const run = sign(words);
    EXPECT_EQ(run.status, usage) << words[1] << run.errors;
    EXPECT_EQ(run.output, "");
  }
  runShell("cp " + local + " " + home("wam.full.third.list"));
  ProgramRun const foreign = sign({"--manifest", manifest, base, home("wam.full.third.list")});
  EXPECT_EQ(foreign.status, notLoaded);
  EXPECT_THAT(foreign.errors, HasSubstr("says in line 2 that it is another list"));
  ProgramRun const nowhere = sign({"--manifest", files / "none/wam.full.manifest", base});
  EXPECT_EQ(nowhere.status, notLoaded);
  EXPECT_THAT(nowhere.errors, HasSubstr("cannot examine '" + (files / "none") + "': No such file"));
  EXPECT_EQ(readFile(manifest), text);
  EXPECT_EQ(runProgram({"/bin/ls", base + ".asc"}).status, 2);
}

TEST_F(SignManifestTest, ALowerSerialCausesAWarning) {
  ProgramRun const run = signAll("4");
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.errors, HasSubstr("had the serial 5, higher than the new one, 4\n"));
  EXPECT_EQ(signAll("4").errors, "");
}

TEST_F(SignManifestTest, ALinkIsReplacedAndNotFollowed) {
  remove(manifest);
  writeFile(files / "target", "unchanged");
  makeLink(files / "target", manifest);
  ASSERT_EQ(signAll().status, 0);
  EXPECT_EQ(readFile(files / "target"), "unchanged");
  EXPECT_EQ(check().status, 0);
}

TEST_F(SignManifestTest, TheLibraryDoesNotReadIt) {
  EXPECT_EQ(tool({"check"}).status, 0);
  runShell("cp " + manifest + " " + home("wam.full.x.list") + " && cp " + manifest + ".asc " +
           home("wam.full.x.list.asc"));
  EXPECT_EQ(tool({"check"}).status, notLoaded) << "it must not pass as a list";
}

TEST_F(SignManifestTest, AFailureKeepsTheListsSignatures) {
  remove(manifest);
  makeDirectory(manifest + "/member");
  ProgramRun const run = signAll();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("cannot replace '" + manifest + "'"));
  EXPECT_EQ(tool({"check"}).status, 0);
}

// As where the key is on another machine.
TEST_F(SignManifestTest, UnsignedForSigningElsewhere) {
  remove(manifest + ".asc");
  remove(local + ".asc");
  ProgramRun const run =
      tool({"sign", "--unsigned", "--manifest", manifest, "--serial", "6", base, local});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, manifest + ": not signed\n");
  EXPECT_EQ(access(manifest.c_str(), F_OK), 0);
  EXPECT_NE(access((manifest + ".asc").c_str(), F_OK), 0);
  EXPECT_NE(access((local + ".asc").c_str(), F_OK), 0);
  for (const std::string& file : {manifest, local}) {
    key().sign(file);
    changeMode(file + ".asc", 0644);
  }
  EXPECT_EQ(verify().status, 0) << verify().output;
  EXPECT_EQ(check().status, 0);
}

TEST_F(SignManifestTest, UnsignedIsForManifestsWithoutAKey) {
  EXPECT_EQ(tool({"sign", "--unsigned", base}).status, usage);
  EXPECT_EQ(sign({"--unsigned", "--manifest", manifest, base}).status, usage);
  EXPECT_EQ(tool({"sign", "--manifest", manifest, base}).status, usage);
}
