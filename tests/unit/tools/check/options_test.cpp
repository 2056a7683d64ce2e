// zemo-selfcheck check: its arguments.

#include <algorithm>
#include <filesystem>

#include "fixture.h"

namespace {

const std::string intact = "0 changed, 0 missing, 0 stray, 0 could not be checked";

class CheckOptionsTest : public CheckTest {
 protected:
  // Wrong usage: one line on standard error, and nothing else.
  static void expectUsage(const std::vector<std::string>& words, const std::string& message) {
    ProgramRun const run = tool(words);
    EXPECT_EQ(run.status, usage);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "zemo-selfcheck: " + message + "\n");
  }

  // wam, which is intact, was checked nevertheless.
  static void expectUnknownSets(const ProgramRun& run, int status, const std::string& reason) {
    bool const known = reason.empty();
    EXPECT_EQ(run.status, status);
    EXPECT_EQ(run.output, "checked 1 entry of 1 set: " + intact +
                              (known ? "" : "; the sets of packages are unknown") + "\n");
    EXPECT_EQ(run.errors,
              known
                  ? ""
                  : "zemo-selfcheck: cannot read '/usr/zemo/selfcheck/packages': " + reason + "\n");
  }
};

}  // namespace

TEST_F(CheckOptionsTest, SystemSetIsTheDefault) {
  list({entryLine(file("a")), entryLine(file("b"))});
  ProgramRun const run = check();
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "checked 2 entries of 1 set: " + intact + "\n");
  EXPECT_EQ(run.errors, "");
}

TEST_F(CheckOptionsTest, NamedSetsAreCheckedInTheOrderOfTheirNames) {
  list({existing("/nowhere/wam")});
  packageList("demo", {existing("$pkg_dir/none")});
  ProgramRun const run = check({"demo", "wam"});
  EXPECT_EQ(run.output,
            "demo: /var/packages/demo/target/none not exist expect[] but get[]\n"
            "wam: /nowhere/wam not exist expect[] but get[]\n"
            "checked 2 entries of 2 sets: 0 changed, 2 missing, 0 stray, 0 could not be checked\n");
}

TEST_F(CheckOptionsTest, OnlyThePackageSetThatIsNamed) {
  packageList("demo", {existing("/")});
  packageList("other", {existing("/nowhere")});
  EXPECT_EQ(check({"demo"}).output, "checked 1 entry of 1 set: " + intact + "\n");
}

TEST_F(CheckOptionsTest, SetMayBeNamedLikeACommand) {
  packageList("check", {existing("/")});
  packageList("files", {existing("/")});
  EXPECT_EQ(check({"check", "files"}).output, "checked 2 entries of 2 sets: " + intact + "\n");
}

TEST_F(CheckOptionsTest, TwoDashesEndTheOptions) {
  packageList("--all", {existing("/")});
  EXPECT_EQ(check({"--jobs", "2", "--", "--all"}).output,
            "checked 1 entry of 1 set: " + intact + "\n");
}

TEST_F(CheckOptionsTest, OrderOfOptionsAndSetsDoesNotMatter) {
  list({entryLine(file("a", "old"))});
  writeFile(files / "a", "new");
  std::vector<std::vector<std::string>> parts = {
      {"wam"}, {"--items", "size,hash"}, {"--under", files.path()}, {"--jobs", "2"}};
  std::sort(parts.begin(), parts.end());
  do {
    std::vector<std::string> words;
    for (const auto& part : parts)
      words.insert(words.end(), part.begin(), part.end());
    ProgramRun const run = check(words);
    EXPECT_EQ(run.status, changed) << testing::PrintToString(words) << run.errors;
    EXPECT_EQ(linesOf(run.output).size(), 2U) << testing::PrintToString(words);
  } while (std::next_permutation(parts.begin(), parts.end()));
}

TEST_F(CheckOptionsTest, AllChecksTheSystemsSetAndThoseOfAllPackages) {
  list({existing("/nowhere/z")});
  packageList("b", {existing("/nowhere/b")});
  packageList("a", {existing("/nowhere/a")});
  ProgramRun const run = check({"--all"});
  EXPECT_EQ(run.output,
            "wam: /nowhere/z not exist expect[] but get[]\n"
            "a: /nowhere/a not exist expect[] but get[]\n"
            "b: /nowhere/b not exist expect[] but get[]\n"
            "checked 3 entries of 3 sets: 0 changed, 3 missing, 0 stray, 0 could not be checked\n");
  EXPECT_EQ(run.status, missing);
}

TEST_F(CheckOptionsTest, AllWithoutPackagesIsTheSystemsSet) {
  list({existing("/")});
  remove(std::string(listDir) + "/packages");
  ProgramRun const run = check({"--all"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "checked 1 entry of 1 set: " + intact + "\n");
}

TEST_F(CheckOptionsTest, AllSkipsWhatIsNotADirectory) {
  list({existing("/")});
  std::string const packages = std::string(listDir) + "/packages";
  makeDirectory(packages);
  writeFile(packages + "/notes", "");
  makeFifo(packages + "/fifo");
  EXPECT_EQ(check({"--all"}).status, 0);
}

TEST_F(CheckOptionsTest, AllReportsADirectoryWithoutLists) {
  list({existing("/")});
  makeDirectory(std::string(listDir) + "/packages/empty");
  ProgramRun const run = check({"--all"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: set 'empty' has no list for mode 'full' in "
            "'/usr/zemo/selfcheck/packages/empty'; see zemo-selfcheck doctor\n");
  EXPECT_EQ(run.output, "checked 1 entry of 1 set: " + intact + "; 1 set could not be loaded\n");
}

TEST_F(CheckOptionsTest, AllReportsALinkThatHasLedToASet) {
  list({existing("/")});
  makeDirectory(std::string(listDir) + "/packages");
  makeLink("/nowhere", std::string(listDir) + "/packages/demo");
  ProgramRun const run = check({"--all"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output, "checked 1 entry of 1 set: " + intact + "; 1 set could not be loaded\n");
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: cannot read '/usr/zemo/selfcheck/packages/demo': No such file or "
            "directory; see zemo-selfcheck doctor\n");
}

TEST_F(CheckOptionsTest, AllReportsPackagesThatAreNotADirectory) {
  list({existing("/")});
  expectUnknownSets(check({"--all"}), 0, "");
  remove(std::string(listDir) + "/packages");
  writeFile(std::string(listDir) + "/packages", "");
  expectUnknownSets(check({"--all"}), notLoaded, "Not a directory");
}

TEST_F(CheckOptionsTest, AllReportsPackagesThatAreALinkToNothing) {
  list({existing("/")});
  makeLink("/nowhere", std::string(listDir) + "/packages");
  expectUnknownSets(check({"--all"}), notLoaded, "No such file or directory");
  std::string const json = check({"--all", "--format", "json"}).output;
  EXPECT_NE(json.find("\"sets_unknown\":true,\"status\":16}"), std::string::npos) << json;
}

TEST_F(CheckOptionsTest, AllReportsPackagesThatCannotBeRead) {
  list({existing("/")});
  packageList("demo", {existing("/")});
  changeMode(std::string(listDir) + "/packages", 0);
  ProgramRun const run = checkUnprivileged({"--all"});
  changeMode(std::string(listDir) + "/packages", 0755);
  expectUnknownSets(run, notLoaded, "Permission denied");
}

TEST_F(CheckOptionsTest, AListDirectoryThatCannotBeReadIsNotOneWithoutLists) {
  packageList("demo", {existing("/")});
  changeMode(std::string(listDir) + "/packages/demo", 0);
  ProgramRun const run = checkUnprivileged({"demo"});
  changeMode(std::string(listDir) + "/packages/demo", 0755);
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(linesOf(run.errors).front(),
            "zemo-selfcheck: cannot read '/usr/zemo/selfcheck/packages/demo': Permission denied; "
            "see zemo-selfcheck doctor");
}

// The names can be read, but not the types.
TEST_F(CheckOptionsTest, AllDoesNotSkipPackagesThatCannotBeExamined) {
  list({existing("/")});
  packageList("demo", {existing("/")});
  changeMode(std::string(listDir) + "/packages", 0600);
  ProgramRun const run = checkUnprivileged({"--all"});
  changeMode(std::string(listDir) + "/packages", 0755);
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output, "checked 1 entry of 1 set: " + intact + "; 1 set could not be loaded\n");
}

TEST_F(CheckOptionsTest, AllNamesADirectoryThatNoSetCanHaveAndGoesOn) {
  list({existing("/")});
  makeDirectory(std::string(listDir) + "/packages/a*b");
  ProgramRun const run = check({"--all"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output, "checked 1 entry of 1 set: " + intact + "; 1 set could not be loaded\n");
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: set 'a*b' has an invalid name; see zemo-selfcheck doctor\n");
}

TEST_F(CheckOptionsTest, ASetWithoutEntriesIsNotChecked) {
  list({existing("/")});
  packageList("demo", {});
  ProgramRun const run = check({"wam", "demo"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors, "zemo-selfcheck: set 'demo' has no entries; see zemo-selfcheck doctor\n");
}

TEST_F(CheckOptionsTest, AllChecksTheSystemsSetOnce) {
  list({existing("/")});
  makeDirectory(std::string(listDir) + "/packages/wam");
  EXPECT_EQ(check({"--all"}).output, "checked 1 entry of 1 set: " + intact + "\n");
}

TEST_F(CheckOptionsTest, ModeChoosesTheLists) {
  list({existing("/nowhere")});
  list({existing("/")}, "wam.quick.base.list");
  EXPECT_EQ(check().status, missing);
  EXPECT_EQ(check({"--mode", "quick"}).status, 0);
  ProgramRun const run = check({"--mode=none"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: set 'wam' has no list for mode 'none' in "
            "'/usr/zemo/selfcheck'; see zemo-selfcheck doctor --mode 'none'\n");
}

TEST_F(CheckOptionsTest, EachItemIsComparedAlone) {
  std::string const a = file("a");
  list({entryLine(a, "99", "00", "d", "7", "77", "88")});
  std::string const size = a + " size expect[99] but get[7]\n";
  std::string const owner =
      a + " owner expect[77] but get[" + std::to_string(statusOf(a).st_uid) + "]\n";
  std::string const group =
      a + " group expect[88] but get[" + std::to_string(statusOf(a).st_gid) + "]\n";
  std::string const type = a + " type expect[d] but get[f]\n";
  std::string const permission = a + " permission expect[7] but get[644]\n";
  std::string const hash =
      a + " hash expect[00] but get[040f06fd774092478d450774f5ba30c5da78acc8]\n";
  std::string const end =
      "checked 1 entry of 1 set: 1 changed, 0 missing, 0 stray, 0 could not be checked\n";
  EXPECT_EQ(check({"--items", "size"}).output, size + end);
  EXPECT_EQ(check({"--items", "owner"}).output, owner + end);
  EXPECT_EQ(check({"--items", "group"}).output, group + end);
  EXPECT_EQ(check({"--items", "type"}).output, type + end);
  EXPECT_EQ(check({"--items", "permission"}).output, permission + end);
  EXPECT_EQ(check({"--items", "hash"}).output, hash + end);
  std::string const all = size + owner + group + type + permission + hash + end;
  EXPECT_EQ(check().output, all);
  EXPECT_EQ(check({"--items", "all"}).output, all);
  EXPECT_EQ(check({"--items", "all,size"}).output, all);
}

TEST_F(CheckOptionsTest, ItemsMayBeGivenInAllTheUsualWays) {
  std::string const a = file("a");
  list({entryLine(a, "99", "00", "d", "7", "77", "88")});
  std::string const both = check({"--items", "size,type"}).output;
  EXPECT_EQ(linesOf(both).size(), 3U);
  EXPECT_EQ(check({"--items=size,type"}).output, both);
  EXPECT_EQ(check({"--items", "type,size"}).output, both);
  EXPECT_EQ(check({"--items", "type,size,type"}).output, both);
  EXPECT_EQ(check({"--items", "size", "--items", "type"}).output, both);
  EXPECT_EQ(check({"--items=type", "wam", "--items=size"}).output, both);
}

TEST_F(CheckOptionsTest, UnderSelectsTheDirectoryAndEverythingBelow) {
  list({existing("/nowhere"), existing("/nowhere/a"), existing("/nowhere/a/b"),
        existing("/nowhere/ab"), existing("/elsewhere")});
  auto const under = [](std::vector<std::string> words) {
    std::string paths;
    for (const std::string& path : linesOf(check(std::move(words)).output))
      paths += path + " ";
    return paths;
  };
  EXPECT_EQ(under({"--format", "paths", "--under", "/nowhere/a"}), "/nowhere/a /nowhere/a/b ");
  EXPECT_EQ(under({"--format", "paths", "--under", "/nowhere/a/"}), "/nowhere/a /nowhere/a/b ");
  EXPECT_EQ(under({"--format", "paths", "--under", "/nowhere/ab///"}), "/nowhere/ab ");
  EXPECT_EQ(under({"--format", "paths", "--under=/elsewhere", "--under=/nowhere/ab"}),
            "/elsewhere /nowhere/ab ");
  EXPECT_EQ(under({"--format", "paths", "--under", "/"}),
            "/elsewhere /nowhere /nowhere/a /nowhere/a/b /nowhere/ab ");
}

TEST_F(CheckOptionsTest, UnderNothingIsNotASuccess) {
  list({existing("/")});
  ProgramRun const run = check({"--under", "/nowhere"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output, "checked 0 entries of 1 set: " + intact + "\n");
  EXPECT_EQ(run.errors, "zemo-selfcheck: nothing was checked: no entry is at or below --under\n");
}

TEST_F(CheckOptionsTest, UnderFailsAsTheWholeSetDoes) {
  std::string const base = list({existing("/")});
  std::string const more = list({existing("/usr")}, "wam.full.more.list");
  std::string const order = std::string(listDir) + "/listorder";
  auto const expectSame = [](int status, std::size_t lines) {
    for (const std::string option : {"--jobs=1", "--no-verify"}) {
      ProgramRun const whole = checkUnprivileged({option});
      ProgramRun const part = checkUnprivileged({option, "--under", "/"});
      EXPECT_EQ(part.status, whole.status);
      EXPECT_EQ(part.output, whole.output);
      EXPECT_EQ(part.errors, whole.errors);
      if (option == "--jobs=1") {
        EXPECT_EQ(whole.status, status) << whole.errors;
        EXPECT_EQ(linesOf(whole.errors).size(), lines) << whole.errors;
      }
    }
  };
  expectSame(0, 0);
  writeFile(order, "wam.full.more.list\n", 0);
  expectSame(0, 1);
  std::string const text = readFile(more);
  appendToFile(more, existing("/etc") + "\n");
  expectSame(notLoaded, 6);
  remove(order);
  expectSame(notLoaded, 4);
  writeFile(more, "something else\n");
  key().sign(more);
  expectSame(notLoaded, 3);
  writeFile(more, text.substr(0, text.find('\n') + 1));
  key().sign(more);
  expectSame(notLoaded, 3);
  remove(more + ".asc");
  expectSame(notLoaded, 4);
  remove(more);
  expectSame(0, 0);
  writeFile(base, text.substr(0, text.find('/')));
  key().sign(base);
  expectSame(notLoaded, 1);
  remove(base);
  expectSame(notLoaded, 1);
}

TEST_F(CheckOptionsTest, OutputIsTheSameForEveryNumberOfJobs) {
  std::string const fixed = files / "fixed";
  makeDirectory(fixed);
  std::vector<std::string> lines;
  for (int i = 0; i < 3000; ++i) {
    std::string const path = fixed + "/" + std::to_string(i);
    writeFile(path, std::string(static_cast<std::size_t>(i % 97), 'x'));
    if (i % 5 == 0)
      lines.push_back(entryLine(path, std::to_string(i % 89), "0", "f", "-", "-", "-"));
    else
      lines.push_back(i % 7 == 0 ? existing(path + ".none") : entryLine(path));
    if (i % 11 == 0)
      changeMode(path, 0);
  }
  lines.push_back(entryLine(fixed, "-", "FIXED", "d", "-", "-", "-"));
  list(lines);
  for (const char* const format : {"text", "json", "paths"}) {
    ProgramRun const one =
        checkUnprivileged({"--jobs", "1", "--items", "size,type,hash", "--format", format});
    EXPECT_EQ(one.status, changed | missing | stray | unchecked);
    EXPECT_GT(linesOf(one.errors).size(), 200U);
    for (const char* const jobs : {"2", "8"}) {
      ProgramRun const more =
          checkUnprivileged({"--jobs", jobs, "--items", "size,type,hash", "--format", format});
      EXPECT_EQ(more.status, one.status);
      EXPECT_EQ(more.errors, one.errors);
      // Two JSON reports have different start times.
      auto const findings = [](const std::string& text) {
        return text.compare(0, 1, "{") == 0 ? text.substr(text.find('\n')) : text;
      };
      EXPECT_TRUE(findings(more.output) == findings(one.output)) << format << " " << jobs;
    }
  }
}

TEST_F(CheckOptionsTest, ManyJobsForOneEntry) {
  list({existing("/")});
  EXPECT_EQ(check({"--jobs", "1024"}).status, 0);
}

TEST_F(CheckOptionsTest, NoVerifyIgnoresSignatures) {
  writeList("wam.full.base.list", existing("/") + "\n");
  EXPECT_EQ(check().status, notLoaded);
  EXPECT_EQ(check({"--no-verify"}).status, 0);
}

TEST_F(CheckOptionsTest, QuietLeavesOnlyTheStatus) {
  list({existing("/nowhere")});
  for (const char* const quiet : {"--quiet", "-q"}) {
    for (const char* const format : {"text", "json", "paths"}) {
      ProgramRun const run = check({quiet, "--format", format});
      EXPECT_EQ(run.status, missing);
      EXPECT_EQ(run.output + run.errors, "");
    }
  }
}

TEST_F(CheckOptionsTest, QuietStillReportsErrors) {
  ProgramRun const run = check({"--quiet"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output, "");
  EXPECT_NE(run.errors, "");
}

TEST_F(CheckOptionsTest, UnderALinkNamesTheDirectory) {
  makeDirectory(files / "real");
  makeLink("real", files / "link");
  list({existing(files / "real/x")});
  ProgramRun const run = check({"--under", (files / "link") + "/"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors, "zemo-selfcheck: nothing was checked: no entry is at or below --under; '" +
                            (files / "link") + "' is '" + (files / "real") + "'\n");
}

TEST_F(CheckOptionsTest, HelpShowsEveryOptionAndExamples) {
  ProgramRun const run = check({"--help"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors, "");
  for (const char* const text :
       {"SET", "--all", "--mode", "--items", "--under", "--jobs", "--accept", "--metrics",
        "--no-verify", "--format", "-z,", "--null", "--no-progress", "--quiet",
        "Examples:\n  zemo-selfcheck check\n"})
    EXPECT_NE(run.output.find(text), std::string::npos) << text;
}

TEST_F(CheckOptionsTest, WrongUsage) {
  list({existing("/nowhere")});
  std::string const help = "; see zemo-selfcheck check --help";
  expectUsage({"check", "--bogus"}, "unknown option --bogus" + help);
  expectUsage({"check", "-x"}, "unknown option -x" + help);
  expectUsage({"check", "--all", "wam"}, "--all cannot be combined with named sets");
  expectUsage({"check", "wam", "--all"}, "--all cannot be combined with named sets");
  expectUsage(
      {"check", "--items", "sise"},
      "unknown item 'sise'; the items are size, owner, group, type, permission, hash and all");
  expectUsage({"check", "--items", ""},
              "unknown item ''; the items are size, owner, group, type, permission, hash and all");
  expectUsage({"check", "--under", "relative"},
              "--under takes an absolute path, not 'relative'; use '" +
                  std::filesystem::current_path().string() + "/relative'");
  expectUsage({"check", "/usr//bin"},
              "'/usr//bin' is not a valid set name; to check files, use --under '/usr/bin'");
  expectUsage({"check", "./x\n"},
              "'./x\\012' is not a valid set name; to check files, use --under '" +
                  std::filesystem::current_path().string() + "/x\\012'");
  expectUsage({"check", "*"}, "'*' is not a valid set name");
  expectUsage({"check", "--under", ""}, "--under takes an absolute path, not ''");
  expectUsage({"check", "--metrics", ""}, "--metrics needs the name of a file");
  expectUsage({"check", "--metrics", "f", "--under", "/"},
              "--metrics covers whole checks and cannot be combined with --under or --items");
  expectUsage({"check", "--metrics", "f", "wam", "wam"},
              "--metrics takes each set only once: 'wam' is repeated");
  expectUsage({"check", "-z", "--format", "json"}, "-z cannot be combined with --format json");
  expectUsage({"check", "--quiet", "--null", "--format", "json"},
              "-z cannot be combined with --format json");
  expectUsage({"check", "--format", "xml"}, "--format takes text, paths or json, not 'xml'" + help);
  expectUsage({"check", "--mode", "a*"}, "'a*' is not a valid mode name");
  expectUsage({"check", "--mode", ""}, "'' is not a valid mode name");
}

TEST_F(CheckOptionsTest, NumberOfJobsHasLimits) {
  for (const char* const jobs :
       {"0", "1025", "-1", "1.5", "x", "", "99999999999999999999", "0x1g", "0x3", " 3", " "}) {
    ProgramRun const run = check({"--jobs", jobs});
    EXPECT_EQ(run.status, usage) << jobs;
    EXPECT_EQ(run.errors, "zemo-selfcheck: --jobs takes a number from 1 to 1024, not '" +
                              std::string(jobs) + "'; see zemo-selfcheck check --help\n");
  }
}

TEST_F(CheckOptionsTest, ValuesMustNotBeMissing) {
  for (const char* const option :
       {"--mode", "--items", "--under", "--jobs", "--accept", "--metrics", "--format"}) {
    ProgramRun const run = check({option});
    EXPECT_EQ(run.status, usage) << option;
    EXPECT_EQ(linesOf(run.errors).size(), 1U) << option;
    EXPECT_NE(run.errors.find(option), std::string::npos) << run.errors;
    EXPECT_EQ(run.output, "");
  }
}

TEST_F(CheckOptionsTest, OneValueOnlyWhereOneIsMeant) {
  for (const char* const option :
       {"--mode=full", "--jobs=1", "--accept=/dev/null", "--metrics=/x", "--format=text"}) {
    EXPECT_EQ(check({option, option}).status, usage) << option;
    EXPECT_EQ(linesOf(check({option, option}).errors).size(), 1U) << option;
  }
}

TEST_F(CheckOptionsTest, NamesThatNoSetCanHave) {
  for (const char* const name : {"", ".", "..", "a/b", "../wam", "/", "*", "a?", "[a", "a]", "\\"})
    EXPECT_EQ(check({name}).status, usage) << name;
  expectUsage({"check", "a\x1b[2J/\n"},
              "'a\\033[2J/\\012' is not a valid set name; to check files, use --under '" +
                  std::filesystem::current_path().string() + "/a\\033[2J/\\012'");
}
