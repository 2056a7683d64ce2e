// zemo-selfcheck make --again: the second line says how the list was made.

#include <sys/stat.h>
#include <unistd.h>

#include <future>

#include "fixture.h"
#include "lease.h"
#include "support/signing_key.h"

using Lines = std::vector<std::string>;

namespace {

class MakeRecordTest : public MakeTest {
 protected:
  // The words in the second line.
  std::string record() const {
    std::string const line = linesOf(readFile(output))[1];
    std::size_t const start = line.find(" make ");
    return start == std::string::npos ? "" : line.substr(start + 6);
  }

  ProgramRun again(Lines words = {}) {
    words.insert(words.begin(), {"make", "--again", output, "--no-verify"});
    ProgramRun run = tool(words);
    run.errors = withoutWarning(run.errors);
    return run;
  }

  // A list that states these words.
  void writeRecord(const std::string& words) const {
    writeFile(output,
              "WAM_SELF_CHECK\nset=wam mode=full list=base serial=1 date=2026-09-21T12:00:00Z " +
                  words + "\n");
  }
};

}  // namespace

TEST_F(MakeRecordTest, AllThatDecidesWhatIsListedIsRecorded) {
  writeFile(files / "names", files / "b");
  for (const char* const name : {"a", "b", "c", "d/e"}) {
    makeDirectory(files / "d");
    writeFile(files / name, name);
  }
  ASSERT_EQ(make({files.path(), "--exclude", "c", "--exclude", "*/names", "--fixed", files / "d",
                  "--omit", "hash,size", "--from", files / "names", "--one-file-system",
                  "--allow-changed", "--serial", "7"})
                .status,
            0);
  std::string const from = "../" + files.path().substr(files.path().rfind('/') + 1) + "/names";
  EXPECT_EQ(record(), "--one-file-system --from=" + from +
                          " --exclude=c --exclude=*/names --fixed=" + (files / "d") +
                          " --omit=size,hash -- " + files.path());
  std::string const first = readFile(output);
  ASSERT_EQ(again({"--serial", "7"}).status, 0);
  EXPECT_EQ(readFile(output), first);
  writeFile(files / "new", "");
  ProgramRun const run = again();
  EXPECT_EQ(run.errors, "zemo-selfcheck: '" + output + "' is made again: make " + record() + "\n");
  EXPECT_NE(readFile(output).find("\n" + (files / "new") + "\t-\t-\tf\t"), std::string::npos);
  EXPECT_NE(readFile(output).find(" serial=1790000000 "), std::string::npos);
}

TEST_F(MakeRecordTest, NamesAreEscaped) {
  for (const std::string name : {"a b", "it's \"x\"", "ä", "-x", "[a,b]", "back\\slash", "\xff"}) {
    makeDirectory(files / name);
    writeFile(files / (name + "/file"), name);
    ASSERT_EQ(make({files / name, "--exclude", "*/" + name + "x"}).status, 0) << name;
    std::string const first = readFile(output);
    EXPECT_EQ(entries().size(), 2) << first;
    ASSERT_EQ(again().status, 0) << name;
    EXPECT_EQ(readFile(output), first);
  }
  ASSERT_EQ(make({files / "a b", "--exclude", "line\nfeed\033[2J"}).status, 0);
  EXPECT_EQ(record(), "--exclude=line\\012feed\\033[2J -- " + files.path() + "/a\\040b");
  std::string const first = readFile(output);
  ASSERT_EQ(again().status, 0);
  EXPECT_EQ(readFile(output), first);
}

TEST_F(MakeRecordTest, BasesAreNamedFromTheDirectoryOfTheList) {
  writeFile(files / "a", "a");
  ASSERT_EQ(make({files.path()}).status, 0);
  std::string const base = output;
  writeFile(files / "b", "b");
  output = lists / "wam.full.more.list";
  ASSERT_EQ(make({"--base", base, "--", files.path()}).status, 0);
  EXPECT_EQ(record(), "--base=wam.full.base.list -- " + files.path());
  std::string const first = readFile(output);
  ASSERT_EQ(again().status, 0);
  EXPECT_EQ(readFile(output), first);
  TemporaryDirectory const other;
  ASSERT_EQ(again({"--output", other / "wam.full.other.list"}).status, 0);
  EXPECT_EQ(entriesOf(other / "wam.full.other.list"), entries());
}

TEST_F(MakeRecordTest, PackageAndModeAreThoseOfTheList) {
  std::string const target = std::string(packagesDir) + "/notes/target";
  makeDirectory(target);
  output = lists / "notes.quick.base.list";
  ASSERT_EQ(make({target, "--package", "notes", "--mode", "quick"}).status, 0);
  std::string const first = readFile(output);
  ASSERT_EQ(again().status, 0);
  EXPECT_EQ(readFile(output), first);
}

TEST_F(MakeRecordTest, ListMustVerifyUnlessItIsTrusted) {
  SigningKey const key;
  key.trustedBy(listDir);
  writeFile(files / "a", "a");
  ASSERT_EQ(make({files.path()}).status, 0);
  Lines const words = {"make", "--again", output};
  ProgramRun const unsigned_ = tool(words);
  EXPECT_EQ(unsigned_.status, notLoaded);
  EXPECT_NE(
      unsigned_.errors.find("zemo-selfcheck: '" + output +
                            "' cannot be made again: it does not verify with this "
                            "machine's key ring: it has no signature; --no-verify trusts it\n"),
      std::string::npos)
      << unsigned_.errors;
  key.sign(output);
  EXPECT_EQ(tool(words).status, 0);
  appendToFile(output, "x");
  ProgramRun const other = tool(words);
  EXPECT_EQ(other.status, notLoaded);
  EXPECT_EQ(other.errors, "zemo-selfcheck: '" + output +
                              "' cannot be made again: it does not verify with this machine's key "
                              "ring: it is not the one that was signed; --no-verify trusts it\n");
}

// Others may be able to exchange the list in its directory.
TEST_F(MakeRecordTest, ListThatIsExchangedMeanwhileIsTheOneThatWasVerified) {
  SigningKey const key;
  key.trustedBy(listDir);
  writeFile(files / "a", "a");
  writeFile(files / "b", "b");
  ASSERT_EQ(make({files / "a"}).status, 0);
  key.sign(output);
  Lines const first = entries();
  Lease keys(std::string(listDir) + "/pubring.kbx");
  REQUIRE_LEASE(keys);
  auto running = std::async(std::launch::async, [this] {
    return tool({"make", "--again", output});
  });
  keys.waitForOpen();  // by GnuPG
  writeRecord("make -- " + (files / "b"));
  keys.release();
  ProgramRun const run = running.get();
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(entries(), first);
}

TEST_F(MakeRecordTest, ListThatIsNoFileIsNotWaitedFor) {
  ASSERT_EQ(mkfifo(output.c_str(), 0600), 0);
  for (const Lines& words : {Lines{}, Lines{"--no-verify"}}) {
    Lines all = {"make", "--again", output};
    all.insert(all.end(), words.begin(), words.end());
    ProgramRun const run = tool(all);
    EXPECT_EQ(run.status, notLoaded);
    EXPECT_EQ(run.errors,
              "zemo-selfcheck: cannot read '" + output + "': it is not a regular file\n");
  }
}

TEST_F(MakeRecordTest, OtherOptionsThanTheRecordsAreRefused) {
  writeFile(files / "a", "a");
  ASSERT_EQ(make({files.path()}).status, 0);
  for (const Lines& more :
       {Lines{"/etc"}, Lines{"--exclude", "x"}, Lines{"--dpkg", "bash"}, Lines{"--dpkg-all"},
        Lines{"--from", "x"}, Lines{"-z"}, Lines{"--conffiles"}, Lines{"--fixed", "/etc"},
        Lines{"--omit", "size"}, Lines{"--base", "x"}, Lines{"--package", "x"},
        Lines{"--mode", "x"}, Lines{"--one-file-system"}}) {
    ProgramRun const run = again(more);
    EXPECT_EQ(run.status, usage) << more.front();
    EXPECT_EQ(run.errors.find("zemo-selfcheck: --again takes what to list from"), 0U);
  }
  EXPECT_EQ(again({"--allow-changed", "--jobs", "1", "--no-progress"}).status, 0);
  EXPECT_EQ(make({"--no-verify", "/etc"}).status, usage);
}

TEST_F(MakeRecordTest, StandardInputCannotBeReadAgain) {
  writeFile(files / "a", "a");
  ASSERT_EQ(tool({"make", "--from", "-", "--output", output}, files / "a").status, 0);
  EXPECT_EQ(record(), "--from=- --");
  ProgramRun const run = again();
  EXPECT_EQ(run.status, usage);
  EXPECT_EQ(linesOf(run.errors).back(),
            "zemo-selfcheck: '" + output +
                "' cannot be made again: its names came from standard input (--from -)");
}

TEST_F(MakeRecordTest, RecordThatMakeDidNotWriteIsRefused) {
  writeFile(files / "a", "a");
  std::string const witness = files / "witness";
  for (const std::string& words :
       {std::string(), std::string("make"), std::string("make "), std::string("made -- /etc"),
        std::string("make --output=/x -- /etc"), "make --root=" + files.path() + " -- /",
        std::string("make --help --"), std::string("make --version --"),
        std::string("make --jobs=1 -- /etc"), "make $(touch\\040" + witness + ") -- x y",
        std::string("make --no-such -- /etc"), std::string("make --again=x --"),
        std::string("make  -- /etc"), std::string("make --")}) {
    writeRecord(words);
    std::string const before = readFile(output);
    ProgramRun const run = again();
    EXPECT_NE(run.status, 0) << words;
    EXPECT_EQ(readFile(output), before) << words;
  }
  EXPECT_FALSE(std::filesystem::exists(witness));
  writeRecord("make -- " + (files / "a"));
  EXPECT_EQ(again().status, 0);
}

TEST_F(MakeRecordTest, WrongWordsInTheRecordAreNotTheCallersError) {
  struct Case {
    std::string words;
    std::string reason;
  };
  std::string const here = " -- " + files.path();
  for (const Case& wrong :
       {Case{"--", "nothing to list: give paths, --from, --dpkg, --dpkg-all or --fixed"},
        Case{"--omit=bogus" + here,
             "unknown item 'bogus'; the items are size, owner, group, type, "
             "permission, hash and all"},
        Case{"--fixed=/a --exclude=/a --", "--fixed '/a' is excluded by --exclude"},
        Case{"--exclude=a/b" + here,
             "--exclude 'a/b' matches no absolute path: begin it with / or */"},
        Case{"-- etc/a", "make writes absolute paths"},
        Case{"-- /etc/../a", "make writes absolute paths"},
        Case{"--fixed=etc --", "make writes absolute paths"},
        Case{"--dpkg=etc/a" + here, "make writes absolute paths"},
        Case{"--base=. " + here.substr(1), "make writes absolute paths"},
        Case{"--base=wam.full.base.list" + here,
             "--base '" + output + "' is the list to be written: it cannot be read before itself"},
        Case{"--no-such" + here, "unknown option --no-such"},
        Case{"--exclude --null" + here, "--exclude needs a value before --null"}}) {
    writeRecord("make " + wrong.words);
    std::string const before = readFile(output);
    ProgramRun const run = again();
    EXPECT_EQ(run.status, notLoaded) << wrong.words;
    EXPECT_EQ(linesOf(run.errors).back(),
              "zemo-selfcheck: '" + output +
                  "' cannot be made again: its second line is not one of make: " + wrong.reason);
    EXPECT_EQ(readFile(output), before) << wrong.words;
  }
}

TEST_F(MakeRecordTest, WrongWordsOfTheCallerStayTheCallersError) {
  writeFile(files / "a", "a");
  writeRecord("make -- " + files.path());
  EXPECT_EQ(again({"--serial", "x"}).status, usage);
  EXPECT_EQ(again({"--output", lists / "other"}).status, usage);
  EXPECT_EQ(again({"--root", files / "a", "--jobs", "0"}).status, usage);
  setenv("SOURCE_DATE_EPOCH", "x", 1);
  EXPECT_EQ(again().status, usage);
  setenv("SOURCE_DATE_EPOCH", "1790000000", 1);
  output = lists / "wam.full.more.list";
  writeFile(lists / "wam.full.base.list", "WAM_SELF_CHECK\n\n");
  ASSERT_EQ(make({"--base", lists / "wam.full.base.list", "--", files.path()}).status, 0);
  EXPECT_EQ(again({"--output", lists / "wam.full.base.list"}).status, usage);
}

TEST_F(MakeRecordTest, FifoInTheRecordIsNotWaitedFor) {
  std::string const fifo = lists / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::string const reason = "'" + fifo + "' is not a regular file";
  writeRecord("make --from=fifo --");
  ProgramRun const from = again();
  EXPECT_EQ(from.status, notLoaded);
  EXPECT_EQ(linesOf(from.errors).back(),
            "zemo-selfcheck: '" + output + "' cannot be made again: " + reason);
  writeRecord("make --base=fifo -- " + files.path());
  ProgramRun const base = again();
  EXPECT_EQ(base.status, notLoaded);
  EXPECT_EQ(linesOf(base.errors).back(), "zemo-selfcheck: base list " + reason);
}

TEST_F(MakeRecordTest, ListUnderAnotherNameIsRefused) {
  writeFile(files / "a", "a");
  ASSERT_EQ(make({files.path()}).status, 0);
  std::filesystem::rename(output, lists / "wam.full.other.list");
  output = lists / "wam.full.other.list";
  ProgramRun const run = again();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors, "zemo-selfcheck: '" + output +
                            "' cannot be made again: its second line says that it is "
                            "'wam.full.base.list'\n");
}

// A list of another root does not say where that root was.
TEST_F(MakeRecordTest, RootIsNotRecorded) {
  makeDirectory(files / "etc");
  writeFile(files / "etc/a", "a");
  Lines const words = {"--root", files.path(), "/etc"};
  ASSERT_EQ(make(words).status, 0);
  EXPECT_EQ(record(), "-- /etc");
  std::string const first = readFile(output);
  ASSERT_EQ(again({"--root", files.path()}).status, 0);
  EXPECT_EQ(readFile(output), first);
}
