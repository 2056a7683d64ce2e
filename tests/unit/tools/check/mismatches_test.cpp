// zemo-selfcheck check: the findings, their wording, and the bits of the exit status.

#include "fixture.h"

namespace {

class CheckFindingsTest : public CheckTest {
 protected:
  // A set with one finding of each kind in `bits`, and an intact entry.
  void arrange(int bits) const {
    std::vector<std::string> lines = {existing("/")};
    if ((bits & changed) != 0)
      lines.push_back(entryLine(file("changed"), "1", "-", "f", "-", "-", "-"));
    if ((bits & missing) != 0)
      lines.push_back(existing(files / "missing"));
    if ((bits & stray) != 0) {
      makeDirectory(files / "fixed");
      writeFile(files / "fixed/stray", "");
      lines.push_back(entryLine(files / "fixed", "-", "FIXED", "d", "-", "-", "-"));
    }
    if ((bits & unchecked) != 0) {
      lines.push_back(entryLine(file("unreadable")));
      changeMode(files / "unreadable", 0);
      lines.back() = entryLine(files / "unreadable", "7", "00", "f", "0", "-", "-");
    }
    writeList("wam.full.base.list", joined(lines));
    remove(std::string(listDir) + "/packages");
    if ((bits & notLoaded) != 0)
      makeDirectory(std::string(listDir) + "/packages/empty");
  }

  // Accepts the differences that the lines name.
  ProgramRun accepting(const std::string& lines, std::vector<std::string> words = {}) const {
    writeFile(files / "known", lines);
    words.insert(words.end(), {"--accept", files / "known"});
    return check(words);
  }
};

}  // namespace

TEST_F(CheckFindingsTest, EveryCombinationOfBits) {
  for (int bits = 0; bits < 32; ++bits) {
    arrange(bits);
    ProgramRun const run = checkUnprivileged({"--all", "--no-verify", "--jobs", "2"});
    EXPECT_EQ(run.status, bits);
    auto const count = [&](int bit) { return (bits & bit) != 0 ? "1" : "0"; };
    std::string const end = (bits & notLoaded) != 0 ? "; 1 set could not be loaded" : std::string();
    EXPECT_EQ(lastLine(run.output).substr(lastLine(run.output).find(": ")),
              std::string(": ") + count(changed) + " changed, " + count(missing) + " missing, " +
                  count(stray) + " stray, " + count(unchecked) + " could not be checked" + end);
  }
}

TEST_F(CheckFindingsTest, SummaryCountsEntriesAndStrayMembers) {
  makeDirectory(files / "fixed");
  for (const char* const name : {"fixed/a", "fixed/b", "fixed/c"})
    file(name);
  list({entryLine(files / "fixed", "-", "FIXED", "f", "-", "-", "-"), entryLine(files / "fixed/a"),
        entryLine(file("two"), "1", "0", "f", "-", "-", "-"), existing("/nowhere")});
  ProgramRun const run = check();
  EXPECT_EQ(lastLine(run.output),
            "checked 4 entries of 1 set: 2 changed, 1 missing, 2 stray, 0 could not be checked");
  EXPECT_EQ(run.status, changed | missing | stray);
}

TEST_F(CheckFindingsTest, NothingIsCheckedWhereNoEntryCouldBe) {
  file("unreadable");
  changeMode(files / "unreadable", 0);
  list({entryLine(files / "unreadable", "7", "00", "f", "0", "-", "-")});
  EXPECT_EQ(checkUnprivileged().status, unchecked | notLoaded);
}

TEST_F(CheckFindingsTest, SetWithoutEntriesIsNotASuccess) {
  list({});
  ProgramRun const run = check();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors, "zemo-selfcheck: set 'wam' has no entries; see zemo-selfcheck doctor\n");
}

TEST_F(CheckFindingsTest, UnreadableFileIsReportedOnBothStreams) {
  std::string const path = file("unreadable");
  changeMode(path, 0);
  list({existing("/"), entryLine(path, "7", "00", "f", "0", "-", "-")});
  ProgramRun const run = checkUnprivileged();
  EXPECT_EQ(run.status, unchecked);
  EXPECT_EQ(run.output, path +
                            " could not be checked: Permission denied\n"
                            "checked 1 entry of 1 set: 0 changed, 0 missing, 0 stray, 1 could not "
                            "be checked\n");
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: protected_file:365 Open file [" + path +
                "] failed\nzemo-selfcheck: protected_file:288 Calculate hash of file [" + path +
                "] failed\n");
}

TEST_F(CheckFindingsTest, MismatchesOfAnUnreadableFileCountToo) {
  std::string const path = file("unreadable");
  changeMode(path, 0);
  list({existing("/"), entryLine(path, "8", "00", "f", "0", "-", "-")});
  ProgramRun const run = checkUnprivileged();
  EXPECT_EQ(run.status, changed | unchecked);
  EXPECT_EQ(linesOf(run.output).at(0), path + " size expect[8] but get[7]");
  EXPECT_EQ(linesOf(run.output).at(1), path + " could not be checked: Permission denied");
}

TEST_F(CheckFindingsTest, UnreadableFileIsNotOpenedWithoutTheItem) {
  std::string const path = file("unreadable");
  changeMode(path, 0);
  list({entryLine(path, "7", "00", "f", "0", "-", "-")});
  EXPECT_EQ(checkUnprivileged({"--items", "size,permission"}).status, 0);
}

TEST_F(CheckFindingsTest, UnreachableFileIsMissing) {
  makeDirectory(files / "closed");
  file("closed/file");
  list({existing(files / "closed/file")});
  changeMode(files / "closed", 0);
  ProgramRun const run = checkUnprivileged();
  ProgramRun const quiet = checkUnprivileged({"-q"});
  changeMode(files / "closed", 0755);
  EXPECT_EQ(run.status, missing);
  EXPECT_EQ(linesOf(run.output).at(0), (files / "closed/file") + " not exist expect[] but get[]");
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: note: 1 of the missing files is below a directory that this user may "
            "not search, for example '" +
                (files / "closed") + "': they may exist\n");
  EXPECT_EQ(quiet.errors, "");
}

// The directory that must be opened to others is the uppermost one.
TEST_F(CheckFindingsTest, MissingFilesBelowUnsearchableDirectoriesAreCounted) {
  for (const char* const name : {"closed", "closed/inner", "open"})
    makeDirectory(files / name);
  list({existing(files / "closed/inner/a"), existing(files / "closed/b"),
        existing(files / "open/c")});
  writeFile(files / "known", (files / "closed/b") + "\n");
  changeMode(files / "closed/inner", 0);
  changeMode(files / "closed", 0);
  ProgramRun const run = checkUnprivileged();
  ProgramRun const accepted = checkUnprivileged({"--accept", files / "known"});
  changeMode(files / "closed", 0755);
  changeMode(files / "closed/inner", 0755);
  EXPECT_EQ(lastLine(run.output),
            "checked 3 entries of 1 set: 0 changed, 3 missing, 0 stray, 0 could not be checked");
  EXPECT_EQ(lastLine(run.errors),
            "zemo-selfcheck: note: 2 of the missing files are below a directory that this user "
            "may not search, for example '" +
                (files / "closed") + "': they may exist");
  EXPECT_NE(accepted.errors.find("note: 1 of"), std::string::npos) << accepted.errors;
}

TEST_F(CheckFindingsTest, ReasonsOfWhatCouldNotBeChecked) {
  // The file is read to its size, and this one has none at that offset.
  std::string const fixed = files / "fixed";
  makeDirectory(fixed);
  list({existing("/"), entryLine("/proc/self/mem", "-", "00", "f", "-", "-", "-"),
        entryLine(fixed, "-", "FIXED", "d", "-", "-", "-")});
  changeMode(fixed, 0);
  ProgramRun const run = checkUnprivileged();
  changeMode(fixed, 0755);
  EXPECT_EQ(run.status, unchecked);
  EXPECT_EQ(linesOf(run.output).at(0), "/proc/self/mem could not be checked: Input/output error");
  EXPECT_EQ(linesOf(run.output).at(1), fixed + " could not be checked: Permission denied");
}

TEST_F(CheckFindingsTest, LinesNameTheSetIfThereAreSeveral) {
  list({existing("/nowhere/wam")});
  std::string const path = file("unreadable");
  changeMode(path, 0);
  packageList("demo", {existing("/"), entryLine(path, "7", "00", "f", "0", "-", "-")});
  std::string const wam = "/nowhere/wam not exist expect[] but get[]";
  std::string const demo = path + " could not be checked: Permission denied";
  EXPECT_EQ(linesOf(checkUnprivileged({"wam"}).output).at(0), wam);
  EXPECT_EQ(linesOf(checkUnprivileged({"demo"}).output).at(0), demo);
  std::vector<std::string> const both = linesOf(checkUnprivileged({"--all"}).output);
  ASSERT_EQ(both.size(), 3U);
  EXPECT_EQ(both[0], "wam: " + wam);
  EXPECT_EQ(both[1], "demo: " + demo);
  EXPECT_EQ(both[2].find("checked 2 entries of 2 sets: "), 0U);
  EXPECT_EQ(linesOf(check({"--all", "--format", "paths"}).output).at(0), "/nowhere/wam");
}

TEST_F(CheckFindingsTest, UnreadableFixedDirectoryIsNotIntact) {
  makeDirectory(files / "fixed");
  list({existing("/"), entryLine(files / "fixed", "-", "FIXED", "d", "-", "-", "-")});
  changeMode(files / "fixed", 0);
  ProgramRun const run = checkUnprivileged();
  changeMode(files / "fixed", 0755);
  EXPECT_EQ(run.status, unchecked);
  EXPECT_NE(run.errors.find("opendir [" + (files / "fixed") + "] failed"), std::string::npos);
}

TEST_F(CheckFindingsTest, GoodSetsAreCheckedDespiteBadOnes) {
  list({existing("/nowhere/wam")});
  packageList("good", {existing("/nowhere/good")});
  remove(packageList("unsigned", {existing("/")}) + ".asc");
  appendToFile(packageList("tampered", {existing("/")}), existing("/nowhere") + "\n");
  packageList("gone", {existing("/")});
  remove(std::string(packagesDir) + "/gone");
  std::string const broken = packageList("broken", {existing("/")});
  writeFile(broken, "no list\n\n");
  key().sign(broken);
  ProgramRun const run = check({"--all"});
  EXPECT_EQ(run.status, missing | notLoaded);
  EXPECT_EQ(run.output,
            "wam: /nowhere/wam not exist expect[] but get[]\n"
            "good: /nowhere/good not exist expect[] but get[]\n"
            "checked 2 entries of 2 sets: 0 changed, 2 missing, 0 stray, 0 could not be checked; 4 "
            "sets could not be loaded\n");
  for (const char* const text :
       {"file_list:242 Signature of "
        "[/usr/zemo/selfcheck/packages/unsigned/unsigned.full.base.list]",
        "file_list:247 Verify signature failed", "file_list:108 Format Error",
        "protected_file:113 package [gone] is not installed.",
        "zemo-selfcheck: set 'broken' could not be loaded: ",
        "zemo-selfcheck: set 'gone' could not be loaded: ",
        "zemo-selfcheck: set 'tampered' could not be loaded: ",
        "zemo-selfcheck: set 'unsigned' could not be loaded: "})
    EXPECT_NE(run.errors.find(text), std::string::npos) << text;
}

TEST_F(CheckFindingsTest, LastLineOfAFailedLoadSaysWhy) {
  std::string const path = std::string(listDir) + "/wam.full.base.list";
  auto const expectLast = [](const ProgramRun& run, const std::string& set,
                             const std::string& reason) {
    EXPECT_EQ(run.status, notLoaded);
    EXPECT_EQ(lastLine(run.errors), "zemo-selfcheck: set '" + set + "' could not be loaded" +
                                        reason + "; see zemo-selfcheck doctor");
  };
  std::string const unverified = ": list '" + path + "' does not verify: ";

  remove(list({existing("/")}) + ".asc");
  expectLast(check(), "wam", unverified + "signature file '" + path + ".asc' does not exist");
  appendToFile(list({existing("/")}), existing("/usr") + "\n");
  expectLast(check(), "wam", unverified + "bad: the list is not the one that was signed");

  // Not a reason while it is not verified.
  EXPECT_EQ(check({"--no-verify"}).status, 0);
  writeFile(path, "no list\n\n");
  expectLast(check({"--no-verify"}), "wam",
             ": '" + path + "' is not a check list: its first line is not WAM_SELF_CHECK");
  writeFile(path, "WAM_SELF_CHECK\n");
  expectLast(check({"--no-verify"}), "wam",
             ": '" + path + "' is not a check list: it has no second line");

  list({existing("/")});
  SigningKey const stranger;
  stranger.sign(path);
  std::string const last = lastLine(check().errors);
  EXPECT_NE(last.find(unverified + "public key "), std::string::npos) << last;
  EXPECT_NE(last.find(" is not in the key ring; see "), std::string::npos) << last;
}

TEST_F(CheckFindingsTest, PackageOfAFailedLoadIsNamed) {
  packageList("gone", {existing("/")});
  remove(std::string(packagesDir) + "/gone");
  EXPECT_EQ(lastLine(check({"gone"}).errors),
            "zemo-selfcheck: set 'gone' could not be loaded: package 'gone' is not installed; see "
            "zemo-selfcheck doctor");
  // The program does not look for the reason if the user of a package is not known.
  packageList("lost", {existing("/")});
  writeFile(std::string(packagesDir) + "/lost/user", "nobody-at-all\n");
  EXPECT_EQ(lastLine(check({"lost"}).errors),
            "zemo-selfcheck: set 'lost' could not be loaded; see zemo-selfcheck doctor");
}

TEST_F(CheckFindingsTest, OneBadListLosesItsWholeSet) {
  list({existing("/")});
  remove(list({existing("/")}, "wam.full.more.list") + ".asc");
  ProgramRun const run = check();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(lastLine(run.output).substr(0, 17), "checked 0 entries");
}

TEST_F(CheckFindingsTest, PlaceholdersStandForThePackageOfTheirSet) {
  list({existing("$pkg_dir/wam")});
  packageList("one", {existing("$pkg_dir/a"),
                      entryLine(files.path(), "-", "-", "d", "-", "$pkg_sys", "-")});
  packageList("two", {existing("$pkg_dir/a")});
  std::string const wam = "wam: $pkg_dir/wam not exist expect[] but get[]";
  std::string const one = "one: /var/packages/one/target/a not exist expect[] but get[]";
  std::string const two = "two: /var/packages/two/target/a not exist expect[] but get[]";
  std::string const owner = "one: " + files.path() + " owner expect[1] but get[" +
                            std::to_string(statusOf(files.path()).st_uid) + "]";
  auto const found = [&](const std::vector<std::string>& sets) {
    std::vector<std::string> lines = linesOf(check(sets).output);
    lines.pop_back();
    return lines;
  };
  using Lines = std::vector<std::string>;
  EXPECT_EQ(found({"wam", "one", "two"}), (Lines{wam, owner, one, two}));
  EXPECT_EQ(found({"one", "wam", "two", "wam", "one"}),
            (Lines{owner, one, wam, two, wam, owner, one}));
  EXPECT_EQ(found({"--all"}), (Lines{wam, owner, one, two}));
}

TEST_F(CheckFindingsTest, LaterListsOverride) {
  std::string const a = file("a");
  list({entryLine(a, "1", "-", "f", "-", "-", "-")});
  list({entryLine(a)}, "wam.full.update.list");
  EXPECT_EQ(check().status, 0);
  writeFile(std::string(listDir) + "/listorder", "wam.full.update.list\nwam.full.base.list\n");
  EXPECT_EQ(check().status, changed);
}

TEST_F(CheckFindingsTest, AcceptedPathDoesNotCount) {
  std::string const a = file("a");
  list({entryLine(a, "1", "0", "f", "-", "-", "-")});
  ProgramRun const run = accepting(a + "\n");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(linesOf(run.output).at(0), a + " size expect[1] but get[7] (accepted)");
  EXPECT_EQ(lastLine(run.output),
            "checked 1 entry of 1 set: 0 changed, 0 missing, 0 stray, 0 could not be checked, 2 "
            "accepted");
}

TEST_F(CheckFindingsTest, OtherKindsAreNotAccepted) {
  std::string const a = file("a");
  list({entryLine(a, "1", "0", "f", "-", "-", "-")});
  ProgramRun const run = accepting(a + "\tsize,owner\n");
  EXPECT_EQ(run.status, changed);
  EXPECT_EQ(linesOf(run.output).at(0), a + " size expect[1] but get[7] (accepted)");
  EXPECT_EQ(linesOf(run.output).at(1),
            a + " hash expect[0] but get[040f06fd774092478d450774f5ba30c5da78acc8]");
  EXPECT_EQ(accepting(a + "\tsize\n\n# and\n" + a + "\thash").status, 0);
}

TEST_F(CheckFindingsTest, EveryKindCanBeAccepted) {
  std::string const a = file("a");
  makeDirectory(files / "fixed");
  file("fixed/stray");
  list({entryLine(a, "99", "00", "d", "7", "77", "88"), existing(files / "none"),
        entryLine(files / "fixed", "-", "FIXED", "d", "-", "-", "-")});
  std::vector<std::string> const all = {
      a + "\tsize",       a + "\towner", a + "\tgroup",           a + "\ttype",
      a + "\tpermission", a + "\thash",  files / "none\tmissing", files / "fixed/stray\tstray"};
  EXPECT_EQ(accepting(joined(all)).status, 0);
  for (std::size_t i = 0; i < all.size(); ++i) {
    std::vector<std::string> others = all;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
    EXPECT_NE(accepting(joined(others)).status, 0) << all[i];
  }
}

TEST_F(CheckFindingsTest, AcceptedPrefixEndsInASlash) {
  list({existing("/nowhere/a/b/c"), existing("/nowhere/ab"), existing("/nowhere/a")});
  ProgramRun const run = accepting("/nowhere/a/\n");
  EXPECT_EQ(run.status, missing);
  EXPECT_EQ(linesOf(run.output),
            (std::vector<std::string>{
                "/nowhere/a not exist expect[] but get[]",
                "/nowhere/a/b/c not exist expect[] but get[] (accepted)",
                "/nowhere/ab not exist expect[] but get[]",
                "checked 3 entries of 1 set: 0 changed, 2 missing, 0 stray, 0 could not be "
                "checked, 1 accepted"}));
  EXPECT_EQ(accepting("/\n").status, 0);
  EXPECT_EQ(accepting("/nowhere\n").status, missing);
}

TEST_F(CheckFindingsTest, AcceptedPathsAreLeftOutOfTheListOfPaths) {
  std::string const a = file("a");
  list({entryLine(a, "1", "0", "f", "-", "-", "-"), existing("/nowhere")});
  EXPECT_EQ(accepting("/nowhere\n" + a + "\tsize\n", {"--format", "paths"}).output, a + "\n");
}

TEST_F(CheckFindingsTest, AcceptedNamesAreWrittenAsTheyAreShown) {
  std::string const name = files / "back\\slash\x1b\xff";
  list({existing(name)});
  std::string const shown = files / "back\\134slash\\033\\377";
  EXPECT_EQ(linesOf(check().output).at(0), shown + " not exist expect[] but get[]");
  EXPECT_EQ(accepting(shown + "\n").status, 0);
}

TEST_F(CheckFindingsTest, AcceptedStrayMemberWithALineFeed) {
  makeDirectory(files / "fixed");
  file("fixed/two\nlines\tand tab");
  list({entryLine(files / "fixed", "-", "FIXED", "d", "-", "-", "-")});
  ProgramRun const run = check();
  EXPECT_EQ(run.status, stray);
  EXPECT_EQ(linesOf(run.output).at(0), files / "fixed/two\\012lines\\011and tab is unknown file");
  EXPECT_EQ(accepting((files / "fixed/two\\012lines\\011and tab") + "\tstray\n").status, 0);
}

TEST_F(CheckFindingsTest, AcceptingDoesNotHideUncheckedFiles) {
  std::string const path = file("unreadable");
  changeMode(path, 0);
  list({existing("/"), entryLine(path, "7", "00", "f", "0", "-", "-")});
  writeFile(files / "known", "/\n");
  EXPECT_EQ(checkUnprivileged({"--accept", files / "known"}).status, unchecked);
}

TEST_F(CheckFindingsTest, KnownDifferencesOfAnotherFormAreWrongUsage) {
  list({existing("/nowhere")});
  std::string const line = "zemo-selfcheck: line 3 of '" + (files / "known") + "': ";
  auto const expectError = [&](const std::string& text, const std::string& message) {
    ProgramRun const run = accepting("/fine\n# comment\n" + text + "\n");
    EXPECT_EQ(run.status, usage) << text;
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, line + message + "\n");
  };
  expectError("relative", "the path 'relative' is not absolute");
  expectError("\tsize", "the path '' is not absolute");
  expectError("/a\tsise", "unknown kind of mismatch 'sise'");
  expectError("/a\tunknown", "unknown kind of mismatch 'unknown'");
  expectError("/a\tsize,,hash", "unknown kind of mismatch ''");
  expectError("/a\tsize\thash", "unknown kind of mismatch 'size\\011hash'");
  EXPECT_EQ(accepting("/fine\r\n").errors,
            "zemo-selfcheck: line 1 of '" + (files / "known") +
                "' ends with a carriage return, which would become part of its last word\n");
  expectError("/a\t", "no kind of mismatch follows the TAB");
  expectError("/a\\9", "a backslash must be followed by three octal digits");
  expectError("/a\\400", "a backslash must be followed by three octal digits");
}

TEST_F(CheckFindingsTest, LinesThatNothingNeededAreNoted) {
  std::string const a = file("a");
  list({entryLine(a, "1", "-", "f", "-", "-", "-"), existing("/nowhere/b")});
  std::string const lines = a + "\tsize\n# a comment\n/nowhere/\tmissing\n";
  EXPECT_EQ(accepting(lines).errors, "");
  std::string const one = "zemo-selfcheck: note: no mismatch needed '" + a +
                          "\\134' in line 2 of '" + (files / "known") + "'";
  std::string const unneeded = lines.substr(0, lines.find('\n') + 1) + a + "\\134\n/nowhere/\n";
  ProgramRun const run = accepting(unneeded);
  EXPECT_EQ(run.errors, one + "\n");
  EXPECT_EQ(run.status, 0);
  // The right path with the wrong kind, and another path.
  EXPECT_EQ(accepting(unneeded + "/nowhere/b\towner\n/x\n").errors, one + " and 2 others\n");
  // Not where the line may be about what was not compared, nor for programs.
  using Words = std::vector<std::string>;
  for (const Words& words : {Words{"--items", "size"},
                             {"--under", "/nowhere"},
                             {"--format", "json"},
                             {"--format", "paths"},
                             {"-q"}})
    EXPECT_EQ(accepting(unneeded, words).errors, "") << words.back();
  makeDirectory(std::string(listDir) + "/packages/empty");
  EXPECT_EQ(linesOf(accepting(unneeded, {"--all"}).errors).size(), 1U);
}

TEST_F(CheckFindingsTest, KnownDifferencesThatOthersCanChangeAreRefused) {
  list({existing("/nowhere")});
  makeDirectory(files / "open");
  std::string const known = files / "open/known";
  writeFile(known, "/nowhere\n");
  makeLink("open/known", files / "link");
  auto const expectRefused = [&](const std::string& path, const std::string& reason) {
    ProgramRun const run = check({"--accept", path});
    EXPECT_EQ(run.status, notLoaded) << path;
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "zemo-selfcheck: '" + path + "' is not safe to use" + reason + "\n");
  };
  expectRefused(files / "link", " because it is a symbolic link: give the path that it leads to");
  changeMode(known, 0666);
  expectRefused(known, " because it is writable by others");
  expectRefused(files / "link", " because it is writable by others");
  changeMode(known, 0664);
  expectRefused(known, " because it is writable by its group");
  changeMode(known, 0644);
  changeMode(files / "open", 0777);
  expectRefused(known, ": '" + (files / "open") + "' is writable by others");
  // Nobody can put another file in its place there.
  changeMode(files / "open", 01777);
  EXPECT_EQ(check({"--accept", known}).status, 0);
  EXPECT_EQ(check({"--accept", "/dev/null"}).status, missing);
  EXPECT_EQ(
      runProgram({"/bin/bash", "-c", "exec \"$0\" check --accept <(echo /nowhere)", ZEMO_TOOL})
          .status,
      0);
}

TEST_F(CheckFindingsTest, KindMayBeNamedTwice) {
  list({existing("/nowhere")});
  EXPECT_EQ(accepting("/nowhere\tmissing,missing\n").status, 0);
}

TEST_F(CheckFindingsTest, KnownDifferencesThatCannotBeRead) {
  list({existing("/nowhere")});
  ProgramRun const none = check({"--accept", files / "none"});
  EXPECT_EQ(none.status, notLoaded);
  EXPECT_EQ(none.output, "");
  EXPECT_EQ(none.errors,
            "zemo-selfcheck: cannot open '" + (files / "none") + "': No such file or directory\n");
  EXPECT_EQ(check({"--accept", files.path()}).errors,
            "zemo-selfcheck: cannot read '" + files.path() + "': Is a directory\n");
  EXPECT_EQ(check({"--accept", ""}).status, notLoaded);
  EXPECT_EQ(check({"--accept="}).output, "");
}

TEST_F(CheckFindingsTest, KnownDifferencesFromStandardInput) {
  list({existing("/nowhere")});
  EXPECT_EQ(tool({"check", "--accept", "-"}, "/nowhere\tmissing").status, 0);
}
