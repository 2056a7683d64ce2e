// zemo-selfcheck check --metrics: the samples for real findings.

#include "metrics_fixture.h"
#include "support/gnupg_home.h"

namespace {

using Names = std::vector<std::string>;

const Names kinds = {"size", "owner", "group", "type", "permission", "hash", "missing", "stray"};

// An entry with one mismatch of this kind.
struct OneMismatch {
  const char* kind;
  Names columns;  // size, hash, type, permission, owner, group of the file "f"
};

}  // namespace

TEST_F(CheckMetricsTest, AnIntactSet) {
  list({entryLine(file("a")), entryLine(file("b")), entryLine(files.path())});
  list({existing("/")}, "wam.full.other.list");
  std::time_t const before = std::time(nullptr);
  EXPECT_EQ(measured().status, 0);
  std::time_t const after = std::time(nullptr);
  for (const std::string& kind : kinds)
    EXPECT_EQ(mismatches(kind), "0") << kind;
  EXPECT_EQ(value("accepted_mismatches"), "0");
  EXPECT_EQ(value("entries"), "4");
  EXPECT_EQ(value("unchecked_entries"), "0");
  EXPECT_EQ(value("content_bytes"), "14");
  EXPECT_EQ(value("lists"), "2");
  EXPECT_EQ(value("set_loaded"), "1");
  EXPECT_EQ(value("set_verified"), "1");
  EXPECT_EQ(value("interrupted"), "0");
  EXPECT_EQ(value("exit_status"), "0");
  EXPECT_LT(std::stod(value("duration_seconds")), 60);
  EXPECT_EQ(samples().size(), kinds.size() + 13);
  for (const char* const name : {"last_run_timestamp_seconds", "last_clean_timestamp_seconds"}) {
    EXPECT_GE(std::stoll(value(name)), before) << name;
    EXPECT_LE(std::stoll(value(name)), after) << name;
  }
}

TEST_F(CheckMetricsTest, EveryKindOfMismatch) {
  std::string const path = file("f");
  const std::vector<OneMismatch> all = {
      {"size", {"9", "-", "-", "-", "-", "-"}},   {"hash", {"-", "00", "-", "-", "-", "-"}},
      {"type", {"-", "-", "d", "-", "-", "-"}},   {"permission", {"-", "-", "-", "7", "-", "-"}},
      {"owner", {"-", "-", "-", "-", "77", "-"}}, {"group", {"-", "-", "-", "-", "-", "77"}},
  };
  for (const OneMismatch& one : all) {
    const Names& c = one.columns;
    list({entryLine(path, c[0], c[1], c[2], c[3], c[4], c[5])});
    EXPECT_EQ(measured().status, changed) << one.kind;
    EXPECT_EQ(value("exit_status"), "1");
    EXPECT_EQ(value("unchecked_entries"), "0");
    for (const std::string& kind : kinds)
      EXPECT_EQ(mismatches(kind), kind == one.kind ? "1" : "0") << one.kind << " " << kind;
  }
}

TEST_F(CheckMetricsTest, MismatchesAreCountedAndNotEntries) {
  makeDirectory(files / "fixed");
  file("fixed/a");
  file("fixed/b");
  list({entryLine(files / "fixed", "-", "FIXED", "f", "-", "-", "-"),
        entryLine(file("two"), "1", "00", "f", "-", "-", "-"), existing("/nowhere"),
        existing("/neither")});
  EXPECT_EQ(measured().status, changed | missing | stray);
  EXPECT_EQ(mismatches("stray"), "2");
  EXPECT_EQ(mismatches("missing"), "2");
  EXPECT_EQ(mismatches("type"), "1");
  EXPECT_EQ(mismatches("size"), "1");
  EXPECT_EQ(mismatches("hash"), "1");
  EXPECT_EQ(mismatches("owner"), "0");
}

TEST_F(CheckMetricsTest, BytesAreThoseThatWereRead) {
  makeDirectory(files / "directory");
  list({entryLine(file("longer"), "1", "00", "f", "-", "-", "-"), existing(file("unread")),
        entryLine("/nowhere", "1000", "00", "f", "-", "-", "-"),
        entryLine(files / "directory", "1000", "00", "f", "-", "-", "-")});
  measured();
  EXPECT_EQ(value("content_bytes"), "7");
}

TEST_F(CheckMetricsTest, AcceptedMismatchesAreCountedApart) {
  list({entryLine(file("a"), "1", "00", "f", "-", "-", "-"), existing("/nowhere")});
  writeFile(files / "known", (files / "a") + "\tsize\n/nowhere\n");
  EXPECT_EQ(measured({"--accept", files / "known"}).status, changed);
  EXPECT_EQ(value("accepted_mismatches"), "2");
  EXPECT_EQ(mismatches("hash"), "1");
  EXPECT_EQ(mismatches("size"), "0");
  EXPECT_EQ(mismatches("missing"), "0");
  EXPECT_EQ(value("last_clean_timestamp_seconds"), "");
}

TEST_F(CheckMetricsTest, AFileThatCouldNotBeRead) {
  file("unreadable");
  changeMode(files / "unreadable", 0);
  list({existing("/"), entryLine(files / "unreadable", "7", "00", "f", "0", "-", "-")});
  EXPECT_EQ(checkUnprivileged({"--metrics", metrics}).status, unchecked);
  EXPECT_EQ(value("entries"), "2");
  EXPECT_EQ(value("unchecked_entries"), "1");
  EXPECT_EQ(value("content_bytes"), "0");
  EXPECT_EQ(value("exit_status"), "8");
  EXPECT_EQ(value("interrupted"), "0");
  EXPECT_EQ(value("last_clean_timestamp_seconds"), "");
}

TEST_F(CheckMetricsTest, ASetThatDoesNotVerify) {
  appendToFile(list({existing("/")}), existing("/etc") + "\n");
  EXPECT_EQ(measured().status, notLoaded);
  EXPECT_EQ(value("set_loaded"), "0");
  EXPECT_EQ(value("set_verified"), "0");
  EXPECT_EQ(value("exit_status"), "16");
  EXPECT_EQ(value("interrupted"), "0");
  EXPECT_EQ(value("lists"), "1");
  EXPECT_EQ(value("entries"), "0");
  EXPECT_EQ(mismatches("missing"), "0");
  EXPECT_EQ(value("oldest_signature_timestamp_seconds"), "");
  EXPECT_EQ(value("last_clean_timestamp_seconds"), "");
}

TEST_F(CheckMetricsTest, ASetWithoutEntriesIsNotLoaded) {
  list({});
  EXPECT_EQ(measured().status, notLoaded);
  EXPECT_EQ(value("set_loaded"), "0");
  EXPECT_EQ(value("set_verified"), "0");
}

// The library relies on GnuPG's exit status, which these lines can make 0 for any signature.
TEST_F(CheckMetricsTest, OptionsThatMayDecideWhatVerifies) {
  std::string const path = list({existing("/")});
  appendToFile(path, existing("/etc") + "\n");
  writeFile(std::string(listDir) + "/gpg.conf", "skip-verify\n");
  ProgramRun const run = measured();
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(value("set_loaded"), "1");
  EXPECT_EQ(value("set_verified"), "0");
  EXPECT_EQ(value("oldest_signature_timestamp_seconds"), "");
  EXPECT_EQ(value("last_clean_timestamp_seconds"), "");
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: the metrics count '" + path +
                "' as not verified: GnuPG was not run: line 1 of '/usr/zemo/selfcheck/"
                "gpg.conf', 'skip-verify', is not known to be harmless; remove that line\n");
}

// A stand-in for GnuPG ends with 0 and prints nothing.
TEST_F(CheckMetricsTest, AnExitStatusAloneIsNoVerdict) {
  list({existing("/")});
  ProgramRun const run =
      toolAfter("mount --bind /usr/bin/true /usr/bin/gpg", {"check", "--metrics", metrics});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(value("set_loaded"), "1");
  EXPECT_EQ(value("set_verified"), "0");
  EXPECT_EQ(value("last_clean_timestamp_seconds"), "");
}

// Findings then prove nothing, so the set is not clean either.
TEST_F(CheckMetricsTest, WithoutVerification) {
  list({existing("/")});
  EXPECT_EQ(measured({"--no-verify"}).status, 0);
  EXPECT_EQ(value("set_loaded"), "1");
  EXPECT_EQ(value("set_verified"), "0");
  EXPECT_EQ(value("exit_status"), "0");
  EXPECT_EQ(value("oldest_signature_timestamp_seconds"), "");
  EXPECT_EQ(value("last_clean_timestamp_seconds"), "");
}

TEST_F(CheckMetricsTest, TheOldestSignatureOfAllLists) {
  GnupgHome keys;
  keys.make("Maker", "ed25519", "never", "--faked-system-time '20200101T000000!'");
  runShell("gpg --homedir " + quoted(listDir) + " --batch --quiet --import " +
           quoted(keys.exported({"Maker"}, files / "keys")));
  for (const std::string year : {"2023", "2021", "2022"}) {
    keys.sign(writeList("wam.full." + year + ".list", existing("/") + "\n"),
              "--faked-system-time '" + year + "0102T030405!'");
  }
  EXPECT_EQ(measured().status, 0);
  EXPECT_EQ(value("oldest_signature_timestamp_seconds"), "1609556645");
}

TEST_F(CheckMetricsTest, EverySetHasItsOwnSamples) {
  list({existing("/"), existing("/nowhere")});
  packageList("demo", {existing("/etc"), existing("/usr"), existing("/var")});
  makeDirectory(std::string(listDir) + "/packages/empty");
  EXPECT_EQ(measured({"--all"}).status, missing | notLoaded);
  EXPECT_EQ(value("entries"), "2");
  EXPECT_EQ(value("exit_status"), "2");
  EXPECT_EQ(value("last_clean_timestamp_seconds"), "");
  EXPECT_EQ(value("entries", "demo"), "3");
  EXPECT_EQ(value("exit_status", "demo"), "0");
  EXPECT_EQ(value("mismatches", "demo", ",kind=\"missing\""), "0");
  EXPECT_NE(value("last_clean_timestamp_seconds", "demo"), "");
  EXPECT_EQ(value("set_loaded", "empty"), "0");
  EXPECT_EQ(value("exit_status", "empty"), "16");
  EXPECT_EQ(value("mismatches", "empty", ",kind=\"missing\""), "0");
}

// A file without the sets of packages would look as if there were none.
TEST_F(CheckMetricsTest, StayAsTheyAreIfSetsAreUnknown) {
  list({existing("/")});
  packageList("demo", {existing("/")});
  EXPECT_EQ(measured({"--all"}).status, 0);
  std::string const before = readFile(metrics);
  remove(std::string(listDir) + "/packages");
  makeLink("/nowhere", std::string(listDir) + "/packages");
  ProgramRun const run = measured({"--all"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(lastLine(run.errors),
            "zemo-selfcheck: the metrics in '" + metrics + "' are left unchanged");
  EXPECT_EQ(readFile(metrics), before);
}

TEST_F(CheckMetricsTest, NamesAreEscaped) {
  packageList("qu\"ote {} \x1b\xff", {existing("/")});
  makeDirectory(std::string(listDir) + "/packages/back\\slash\nline");
  list({existing("/")});
  EXPECT_EQ(measured({"--all"}).status, notLoaded);
  EXPECT_EQ(value("set_loaded", R"(qu\"ote {} \\033\\377)"), "1");
  EXPECT_EQ(value("set_loaded", R"(back\\134slash\\012line)"), "0");
}

TEST_F(CheckMetricsTest, TheModeIsALabel) {
  list({existing("/")}, "wam.some.base.list");
  EXPECT_EQ(measured({"--mode", "some"}).status, 0);
  EXPECT_EQ(samples().at("entries{set=\"wam\",mode=\"some\"}"), "1");
}

TEST_F(CheckMetricsTest, OutputIsTheSame) {
  list({existing("/nowhere")});
  for (const std::string format : {"text", "json", "paths"}) {
    std::string const without = check({"--format", format}).output;
    std::string const with = measured({"--format", format}).output;
    EXPECT_EQ(with.substr(with.find('\n') + 1), without.substr(without.find('\n') + 1)) << format;
  }
}

TEST_F(CheckMetricsTest, APartOfASetHasNoMetrics) {
  list({existing("/")});
  for (const Names& words :
       {Names{"--under", "/etc"}, Names{"--items", "size"}, Names{"wam", "wam"}}) {
    ProgramRun const run = measured(words);
    EXPECT_EQ(run.status, usage);
    EXPECT_EQ(run.output, "");
  }
  EXPECT_THROW(readFile(metrics), std::exception);
  EXPECT_EQ(measured({"--items", "all"}).status, 0);
}

TEST_F(CheckMetricsTest, TheManifestIfOneIsRequired) {
  std::string const base = list({existing("/")});
  std::string const manifest = std::string(listDir) + "/wam.full.manifest";
  std::vector<std::string> const sign = {"/usr/bin/env", "SOURCE_DATE_EPOCH=1789992000",
                                         ZEMO_TOOL,      "sign",
                                         "--manifest",   manifest,
                                         "--serial",     "7",
                                         base,           "--key",
                                         "Maker",        "--homedir",
                                         key().home()};
  ASSERT_EQ(runProgram(sign).status, 0);
  ASSERT_EQ(measured({"--require", "manifest"}).status, 0);
  EXPECT_EQ(value("manifest_fits"), "1");
  EXPECT_EQ(value("manifest_serial"), "7");
  EXPECT_EQ(value("manifest_timestamp_seconds"), "1789992000");
  list({existing("/usr")}, "wam.full.more.list");
  ASSERT_EQ(measured({"--require", "manifest"}).status, notLoaded);
  EXPECT_EQ(value("manifest_fits"), "0");
  EXPECT_EQ(value("manifest_serial"), "7");
  EXPECT_EQ(value("set_verified"), "0");
  ASSERT_EQ(measured().status, 0);
  EXPECT_EQ(value("manifest_fits"), "");
}
