// zemo-selfcheck make: refusals, after which nothing is written.

#include <unistd.h>

#include "fixture.h"

class MakeRefusalTest : public MakeTest {
 protected:
  // Runs `make` and expects one line on standard error, wrong usage, and no list.
  void expectUsage(const std::vector<std::string>& words, const std::string& message) {
    ProgramRun const run = make(words);
    EXPECT_EQ(run.status, usage);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "zemo-selfcheck: " + message + "\n");
    EXPECT_FALSE(isWritten());
    EXPECT_TRUE(isOutputAlone());
  }

  void expectRefused(const ProgramRun& run, const std::vector<std::string>& messages) {
    EXPECT_EQ(run.status, unchecked);
    EXPECT_EQ(run.output, "");
    std::vector<std::string> expected;
    for (const std::string& message : messages)
      expected.push_back("zemo-selfcheck: " + message);
    expected.push_back("zemo-selfcheck: no list was written, because of " +
                       std::to_string(messages.size()) +
                       (messages.size() == 1 ? " file" : " files"));
    EXPECT_EQ(linesOf(run.errors), expected);
    EXPECT_FALSE(isWritten());
    EXPECT_TRUE(isOutputAlone());
  }

  std::string quotedName(const std::string& name) const { return "'" + (files / name) + "'"; }
};

TEST_F(MakeRefusalTest, EverythingThatTheFormatCannotExpressIsNamedAtOnce) {
  writeFile(files / "a\tb", "");
  makeDirectory(files / "c\nd");
  makeLink("x\ty", files / "link1");
  makeLink("x\ny", files / "link2");
  makeLink("-", files / "link3");
  makeLink("FIXED", files / "link4");
  writeFile(files / "good", "");
  std::string const name =
      " cannot be listed: a TAB or line feed in its name would end a column or "
      "line of the list";
  expectRefused(
      make({files.path()}),
      {quotedName("a\\011b") + name, quotedName("c\\012d") + name,
       quotedName("link1") + " cannot be listed: a TAB or line feed in its target 'x\\011y' would "
                             "end a column or line of the list",
       quotedName("link2") + " cannot be listed: a TAB or line feed in its target 'x\\012y' would "
                             "end a column or line of the list",
       quotedName("link3") +
           " cannot be listed: its target '-' would mean that the target is not checked",
       quotedName("link4") +
           " cannot be listed: its target 'FIXED' would mean a directory with fixed members"});
}

TEST_F(MakeRefusalTest, UnstatedTargetsMayBeAnything) {
  makeLink("x\ty", files / "link1");
  makeLink("-", files / "link2");
  EXPECT_EQ(make({files.path(), "--omit", "hash"}).status, 0);
}

TEST_F(MakeRefusalTest, UnreadableFilesAndDirectoriesAreNamedAllAtOnce) {
  writeFile(files / "a", "x", 0);
  makeDirectory(files / "d");
  changeMode(files / "d", 0);
  writeFile(files / "e", "x", 0);
  expectRefused(makeAsOthers({files.path(), files / "none"}),
                {"cannot read " + quotedName("a") + ": Permission denied",
                 "cannot read " + quotedName("d") + ": Permission denied",
                 "cannot read " + quotedName("e") + ": Permission denied",
                 "cannot read " + quotedName("none") + ": No such file or directory"});
  changeMode(files / "d", 0755);
}

TEST_F(MakeRefusalTest, ReadErrorHasItsReason) {
  // Reading the first page of this process's memory fails.
  expectRefused(make({"/proc/self/mem"}), {"cannot read '/proc/self/mem': Input/output error"});
}

TEST_F(MakeRefusalTest, ZeroBytesInLinesAreNotNames) {
  writeFile(files / "a", "");
  writeFile(files / "names", (files / "a") + std::string("\0b\n", 3));
  expectRefused(
      make({"--from", files / "names"}),
      {quotedName("a\\000b") +
       " cannot be listed: its name contains a zero byte; do the names end with zero bytes (-z)?"});
}

TEST_F(MakeRefusalTest, OldListStaysWhenANewOneIsRefused) {
  writeFile(output, "old");
  EXPECT_EQ(make({files / "none"}).status, unchecked);
  EXPECT_EQ(readFile(output), "old");
  EXPECT_TRUE(isOutputAlone());
}

TEST_F(MakeRefusalTest, OutputMustBeNamedLikeAListOfItsSet) {
  output = lists / "base.list";
  expectUsage({files.path()},
              "--output '" + output + "' is not named like a list of its set: wam.full.*.list");
  output = lists / "wam.full.base.list";
  expectUsage({files.path(), "--mode", "quick"},
              "--output '" + output + "' is not named like a list of its set: wam.quick.*.list");
  EXPECT_EQ(tool({"make", files.path()}).status, usage);
}

// It would be a stray member there. (In another tree, it is merely left out.)
TEST_F(MakeRefusalTest, AListInADirectoryWithFixedMembers) {
  writeFile(lists / "a", "");
  auto const refusal = [this] {
    return "--output '" + output + "' would be in '" + lists.path() +
           "', whose members are fixed: write it elsewhere";
  };
  for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
           {lists.path(), "--fixed", lists.path()}, {"--fixed", lists.path()}}) {
    ProgramRun const run = make(words);
    EXPECT_EQ(run.status, usage);
    EXPECT_EQ(run.errors, "zemo-selfcheck: " + refusal() + "\n");
  }
  std::string const base = files / "wam.full.base.list";
  ASSERT_EQ(tool({"make", "--output", base, "--fixed", lists.path()}).status, 0);
  ProgramRun const run = make({"--base", base, "--", lists.path()});
  EXPECT_EQ(run.status, usage);
  EXPECT_EQ(run.errors, "zemo-selfcheck: " + refusal() + "\n");
  EXPECT_EQ(make({lists.path()}).status, 0);
}

// The signature's name is four bytes longer.
TEST_F(MakeRefusalTest, AListThatCouldNotBeSigned) {
  std::string const start = "wam.full.";
  output = lists / (start + std::string(252 - start.size() - 5, 'x') + ".list");
  expectUsage({files.path()}, "--output '" + output +
                                  "': its name may have at most 251 bytes, to leave room for .asc");
  output = lists / (start + std::string(251 - start.size() - 5, 'x') + ".list");
  EXPECT_EQ(make({files.path()}).status, 0);
}

TEST_F(MakeRefusalTest, AnOptionWithoutItsValuesIsTheOneThatIsNamed) {
  for (const std::string option : {"--dpkg", "--base", "--from", "--fixed", "--mode"}) {
    ProgramRun const run = tool({"make", option, "--output", output});
    EXPECT_EQ(run.status, usage);
    EXPECT_EQ(run.errors, "zemo-selfcheck: " + option +
                              " needs a value before --output; see zemo-selfcheck make "
                              "--help\n");
    EXPECT_EQ(tool({"make", option, "--output=" + output}).errors,
              "zemo-selfcheck: " + option +
                  " needs a value before --output; see zemo-selfcheck make --help\n");
  }
  writeFile(files / "--output", "");
  EXPECT_EQ(runProgram({"/bin/sh", "-c", "cd " + files.path() + " && exec \"$@\"", "sh", ZEMO_TOOL,
                        "make", "--output", output, "--", "--output"})
                .status,
            0);
}

TEST_F(MakeRefusalTest, SomethingMustBeNamed) {
  expectUsage({}, "nothing to list: give paths, --from, --dpkg, --dpkg-all or --fixed");
  expectUsage({""}, "a path cannot be empty");
}

TEST_F(MakeRefusalTest, ValuesMustMakeSense) {
  std::string const tree = files.path();
  expectUsage({tree, "--serial", "-1"},
              "--serial '-1' is not a number from 0 to 18446744073709551615");
  expectUsage({tree, "--serial", "1x"},
              "--serial '1x' is not a number from 0 to 18446744073709551615");
  std::string const help = "; see zemo-selfcheck make --help";
  expectUsage({tree, "--jobs", "0"}, "--jobs takes a number from 1 to 1024, not '0'" + help);
  expectUsage({tree, "--jobs", "1025"}, "--jobs takes a number from 1 to 1024, not '1025'" + help);
  expectUsage({tree, "--jobs", ""}, "--jobs takes a number from 1 to 1024, not ''" + help);
  expectUsage({tree, "--jobs", "010x"}, "--jobs takes a number from 1 to 1024, not '010x'" + help);
  expectUsage({tree, "--serial", ""}, "--serial '' is not a number from 0 to 18446744073709551615");
  expectUsage({tree, "--package", ""}, "'' is not a valid set name");
  expectUsage({tree, "--mode", "a/b"}, "'a/b' is not a valid mode name");
  for (const std::string mode : {"full.test", "full*", "fu[l]l", "full?"})
    expectUsage({tree, "--mode", mode}, "'" + mode + "' is not a valid mode name");
  expectUsage({tree, "--package", "a*"}, "'a*' is not a valid set name");
  expectUsage({tree, "--package", "wam"},
              "--package wam: that is the operating system's own set, not a package");
  expectUsage(
      {tree, "--omit", "size,colour"},
      "unknown item 'colour'; the items are size, owner, group, type, permission, hash and all");
  expectUsage({tree, "--exclude", ""}, "--exclude needs a pattern");
  expectUsage({tree, "--exclude", "usr/lib"},
              "--exclude 'usr/lib' matches no absolute path: begin it with / or */");
  expectUsage({"--fixed", tree, "--exclude", tree},
              "--fixed '" + tree + "' is excluded by --exclude");
}

TEST_F(MakeRefusalTest, MalformedDateIsWrongUsage) {
  for (const char* const date : {"", "now", "-1", "1.5", " 1", "253402300800"}) {
    setenv("SOURCE_DATE_EPOCH", date, 1);
    expectUsage({files.path()}, std::string("SOURCE_DATE_EPOCH '") + date +
                                    "' is not a number from 0 to 253402300799");
  }
}

TEST_F(MakeRefusalTest, ValuesThatAreNeitherPathsNorTheirOwnAreNamed) {
  ProgramRun const run = make({"--dpkg", "bash", "no-such-package", files.path()});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors, "zemo-selfcheck: dpkg has no installed package 'no-such-package'\n");
  EXPECT_EQ(make({"--base", files / "none", files.path()}).status, notLoaded);
}

TEST_F(MakeRefusalTest, NothingToListIsNotASuccess) {
  ProgramRun const run = make({files.path(), "--exclude", "*"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors, "zemo-selfcheck: there is nothing to list\n");
  EXPECT_FALSE(isWritten());
  EXPECT_EQ(make({"--from", "-"}).status, notLoaded);
  EXPECT_EQ(make({"--from", files / "none"}).status, notLoaded);
}

TEST_F(MakeRefusalTest, OutputMustBeWritable) {
  writeFile(files / "a", "");
  output = lists / "none/wam.full.base.list";
  EXPECT_EQ(make({files.path()}).status, notLoaded);
  output = lists / "wam.full.base.list";
  makeDirectory(output);
  ProgramRun const run = make({files.path()});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: cannot replace '" + output + "': it is not a regular file\n");
  EXPECT_TRUE(isOutputAlone());
}

TEST_F(MakeRefusalTest, FullDiskLeavesTheOldList) {
  writeFile(files / "a", "");
  writeFile(output, "old");
  // (Coverage counters would also fail, with a message.)
  std::vector<std::string> words = {"/bin/sh",
                                    "-c",
                                    "export LLVM_PROFILE_FILE=/dev/null;"
                                    "{ (ulimit -f 0; trap '' XFSZ; exec \"$@\") 2>&1; "
                                    "echo status $?; } | cat",
                                    "sh",
                                    ZEMO_TOOL,
                                    "make",
                                    "--output",
                                    output,
                                    files.path()};
  EXPECT_EQ(runProgram(words).output,
            "zemo-selfcheck: cannot write '" + output + "': File too large\nstatus 16\n");
  EXPECT_EQ(readFile(output), "old");
  EXPECT_TRUE(isOutputAlone());
  // The signal that usually comes with the error ends the program, and also leaves nothing.
  words[2] = "ulimit -f 0; exec \"$@\"";
  EXPECT_EQ(runProgram(words).status, 128 + SIGXFSZ);
  EXPECT_EQ(readFile(output), "old");
  EXPECT_TRUE(isOutputAlone());
}

TEST_F(MakeRefusalTest, ClosedOutputIsNotASuccess) {
  writeFile(files / "a", "");
  EXPECT_EQ(runProgram({"/bin/sh", "-c", "exec \"$@\" >&-", "sh", ZEMO_TOOL, "make", "--output",
                        output, files.path()})
                .status,
            unchecked);
  EXPECT_TRUE(isWritten());
}

TEST_F(MakeRefusalTest, SignatureThatNoLongerFitsIsReported) {
  writeFile(files / "a", "");
  writeFile(output + ".asc", "");
  ProgramRun run = make({files.path()});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors, "zemo-selfcheck: '" + output +
                            ".asc' no longer matches the list: run zemo-selfcheck sign next\n");
  run = make({files.path()});
  EXPECT_EQ(run.errors, "") << "the same bytes have the same signature";
}
