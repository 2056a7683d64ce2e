// zemo-selfcheck install

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cstdio>

#include "fixture.h"
#include "io/exit_status.h"
#include "sets/set_content.h"
#include "sets/set_lock.h"
#include "support/started_program.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

const std::string done = "done: set 'wam', mode 'full', has ";

}  // namespace

TEST_F(InstallTest, AListIsReplacedAndTheRestStays) {
  installDemo();
  writeFile(home("packages/demo/other"), "x");
  writeFile(home("notes"), "mine", 0600);
  addList("wam.part.base.list", sized("/p") + "\n");
  struct stat const before = statusOf(listDir);
  std::string const made = sent("new", {{"base", "/b"}});
  ProgramRun const run = install({made});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(run.output,
            "- /a\t1\t-\tf\t-\t-\t-\n+ /b\t1\t-\tf\t-\t-\t-\nlist 'wam.full.base.list': changed\n"
            "1 added, 1 removed, 0 changed, 0 unchanged\n" +
                done + "1 list\n");
  EXPECT_EQ(readFile(home("wam.full.base.list")), readFile(made + "/wam.full.base.list"));
  EXPECT_EQ(readFile(home("notes")), "mine");
  EXPECT_EQ(statusOf(home("notes")).st_mode & 07777U, 0600U);
  EXPECT_EQ(statusOf(home("notes")).st_nlink, 1U);
  EXPECT_EQ(readFile(home("packages/demo/other")), "x");
  EXPECT_EQ(names(),
            ".previous notes wam.full.base.list wam.full.base.list.asc wam.part.base.list "
            "wam.part.base.list.asc ");
  EXPECT_EQ(namesAbove(), "selfcheck ");
  struct stat const after = statusOf(listDir);
  EXPECT_NE(before.st_ino, after.st_ino) << "the directory was exchanged";
  EXPECT_EQ(before.st_mode, after.st_mode);
  EXPECT_EQ(before.st_uid, after.st_uid);
  EXPECT_EQ(tool({"check", "--mode", "part"}).status, missing);
}

TEST_F(InstallTest, OnlyVerifiedBytesReachTheDirectory) {
  std::string const made = sent("new", {{"base", "/b"}});
  std::string const before = readFile(home("wam.full.base.list"));
  appendToFile(made + "/wam.full.base.list", sized("/evil") + "\n");
  ProgramRun run = install({made});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors,
              HasSubstr("'wam.full.base.list' does not verify: it is not the one that was "
                        "signed; nothing was installed\n"));
  remove(made + "/wam.full.base.list.asc");
  run = install({made});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("'wam.full.base.list' has no signature; nothing was"));
  EXPECT_EQ(readFile(home("wam.full.base.list")), before);
  EXPECT_EQ(names(), "wam.full.base.list wam.full.base.list.asc ");
}

TEST_F(InstallTest, ForeignFilesAreRefused) {
  std::string const made = sent("new", {{"base", "/b"}});
  std::string const other = sentOf("demo", "other", {{"base", "/b"}});
  EXPECT_EQ(install({made, other}).status, usage);
  runShell("cd " + made + " && mv wam.full.base.list wam.full.more.list && " +
           "mv wam.full.base.list.asc wam.full.more.list.asc");
  ProgramRun run = install({made});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("'wam.full.more.list' says in line 2 that it is another list"));
  remove(made + "/wam.full.more.list");
  EXPECT_EQ(install({made}).status, usage);
  makeFifo(made + "/wam.full.more.list");
  EXPECT_THAT(install({made}).errors, HasSubstr("it is not a regular file"));
  remove(made + "/wam.full.more.list");
  makeLink(home("wam.full.base.list"), made + "/wam.full.more.list");
  EXPECT_THAT(install({made}).errors, HasSubstr("is a symbolic link"));
  std::string const odd = files / "wam.full.two\nlines.list";
  writeFile(odd, "WAM_SELF_CHECK\n\n");
  EXPECT_THAT(install({odd}).errors, HasSubstr("no line of 'listorder' can name it"));
  EXPECT_EQ(install({}).status, usage);
  EXPECT_EQ(install({"/etc/passwd"}).status, usage);
  ProgramRun const none = install({files / "none"});
  EXPECT_EQ(none.status, usage);
  EXPECT_THAT(none.errors, HasSubstr("there is no file or directory '" + (files / "none") + "'"));
  EXPECT_EQ(install({files / "none.full.a.list"}).status, notLoaded);
  EXPECT_EQ(names(), "wam.full.base.list wam.full.base.list.asc ");
}

// No file alone is too large, and the last one is never read.
TEST_F(InstallTest, FilesThatAreTooLargeTogether) {
  std::string const made = sent("new", {{"base", "/b"}});
  std::string const large = made + "/wam.full.large.list";
  runShell("truncate -s 1G " + large);
  ProgramRun const run = install({made});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: '" + large + "' is too large: the files may have 1 GiB in all\n");
  EXPECT_EQ(names(), "wam.full.base.list wam.full.base.list.asc ");
}

TEST_F(InstallTest, ANewListOverridesTheOthers) {
  std::string const fix = sent("fix", {{"aaa", "/a"}}) + "/wam.full.aaa.list";
  order("# mine\nwam.part.x.list\n");
  ASSERT_EQ(install({fix}).status, 0) << "its signature is next to it";
  EXPECT_EQ(readFile(home("listorder")),
            "# mine\nwam.part.x.list\nwam.full.base.list\nwam.full.aaa.list\n");
  ProgramRun const run = install({fix});
  EXPECT_EQ(run.output,
            "0 added, 0 removed, 0 changed, 1 unchanged\nnothing to do: set 'wam', "
            "mode 'full', has 2 lists\n");
}

TEST_F(InstallTest, WithAManifestTheSetIsExactlyThat) {
  std::string const made = sent("new", {{"local", "/c"}, {"new", "/b"}}, "7");
  order("wam.full.base.list\n# end\n");
  ProgramRun run = install({made});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(run.output, HasSubstr("list 'wam.full.base.list': removed\n"));
  EXPECT_THAT(run.output, HasSubstr(done + "2 lists and a manifest with the serial 7\n"));
  EXPECT_EQ(readFile(home("listorder")), "wam.full.local.list\nwam.full.new.list\n# end\n");
  EXPECT_EQ(names(),
            ".previous listorder wam.full.local.list wam.full.local.list.asc wam.full.manifest "
            "wam.full.manifest.asc wam.full.new.list wam.full.new.list.asc ");
  EXPECT_EQ(tool({"check", "--require", "manifest"}).status, missing);

  run = install({sent("plain", {{"local", "/c"}})});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("the installed set has a manifest, and none is given"));
  std::string const older = sent("older", {{"local", "/c"}}, "6");
  run = install({older});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("'wam.full.manifest' is older than the one that is installed: "
                                    "serial 6, not 7; nothing was installed"));
  EXPECT_EQ(install({older, "--accept-older"}).status, 0);
  EXPECT_EQ(readFile(home("listorder")), "wam.full.local.list\n# end\n");
}

TEST_F(InstallTest, ASetThatTheManifestDoesNotDescribe) {
  std::string const made = sent("new", {{"local", "/c"}, {"new", "/b"}}, "7");
  std::string const more = sent("more", {{"extra", "/x"}});
  EXPECT_THAT(install({made, more}).errors,
              HasSubstr("list 'wam.full.extra.list' is not in the manifest\n"));
  runShell("cp " + sent("changed", {{"new", "/other"}}) + "/* " + made);
  EXPECT_THAT(install({made}).errors, HasSubstr("has other content than the manifest states\n"));
  runShell("rm " + made + "/wam.full.new.list*");
  ProgramRun const run = install({made});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("list 'wam.full.new.list' is missing\n"));
  EXPECT_THAT(run.errors,
              HasSubstr("'wam.full.manifest' describes another set; nothing was installed\n"));
  EXPECT_EQ(names(), "wam.full.base.list wam.full.base.list.asc ");
}

TEST_F(InstallTest, AnOlderListWithoutAManifest) {
  ASSERT_EQ(install({sent("new", {{"base", "/b"}}, "", "3")}).status, 0);
  std::string const older = sent("older", {{"base", "/c"}}, "", "2");
  EXPECT_THAT(install({older}).errors, HasSubstr("'wam.full.base.list' is older than"));
  EXPECT_EQ(install({older, "--accept-older"}).status, 0);
}

TEST_F(InstallTest, AListWithoutASerialIsOlderThanOneThatHasOne) {
  std::string const made = sent("new", {{"base", "/b"}}, "", "3");
  ASSERT_EQ(install({made}).status, 0);
  std::string const list = made + "/wam.full.base.list";
  writeFile(list, "WAM_SELF_CHECK\nfrom before lists had labels\n" + sized("/c") + "\n");
  ASSERT_EQ(tool({"sign", "--key", "Maker", "--homedir", key().home(), list}).status, 0);
  ProgramRun const run = install({made});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors,
              HasSubstr("'wam.full.base.list' has no serial, but the one that is installed has 3"));
  EXPECT_EQ(install({made, "--accept-older"}).status, 0);
}

TEST_F(InstallTest, ADryRunWritesNothing) {
  ProgramRun const run = install({sent("new", {{"base", "/b"}}), "--dry-run"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr("list 'wam.full.base.list': changed\n"));
  EXPECT_THAT(run.output, HasSubstr("dry run: nothing was changed\n"));
  EXPECT_EQ(names(), "wam.full.base.list wam.full.base.list.asc ");
}

TEST_F(InstallTest, TheKeyRingOfThisMachineDecides) {
  std::string const made = sent("new", {{"base", "/b"}});
  std::string const image = files / "image";
  makeDirectory(image + "/usr/zemo");
  EXPECT_EQ(install({made, "--root", image}).status, 0) << "the image needs no key ring";
  EXPECT_EQ(names(image + "/usr/zemo/selfcheck"), "wam.full.base.list wam.full.base.list.asc ");
  EXPECT_EQ(statusOf(image + "/usr/zemo/selfcheck").st_mode & 07777U, 0755U);
  writeFile(image + "/usr/zemo/selfcheck/pubring.kbx", readFile(home("pubring.kbx")));
  remove(home("pubring.kbx"));
  ProgramRun const run = install({made, "--root", image});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("there is no key ring in '/usr/zemo/selfcheck'"));
}

TEST_F(InstallTest, NothingIsWrittenThroughLinks) {
  std::string const made = sent("new", {{"base", "/b"}});
  std::string const image = files / "image";
  makeDirectory(image + "/usr");
  makeDirectory(files / "elsewhere/selfcheck");
  makeLink(files / "elsewhere", image + "/usr/zemo");
  ProgramRun run = install({made, "--root", image});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("is reached through a symbolic link"));
  remove(image + "/usr/zemo");
  makeDirectory(image + "/usr/zemo/selfcheck");
  makeLink(files / "elsewhere", image + "/usr/zemo/selfcheck/packages");
  std::string const demo = sentOf("demo", "demo", {{"base", "/b"}});
  EXPECT_THAT(install({demo, "--root", image}).errors, HasSubstr("through a symbolic link"));
  makeLink(files / "elsewhere/list", image + "/usr/zemo/selfcheck/wam.full.base.list");
  EXPECT_EQ(install({made, "--root", image}).status, 0);
  EXPECT_TRUE(S_ISREG(statusOf(image + "/usr/zemo/selfcheck/wam.full.base.list").st_mode));
  makeLink(files / "elsewhere/order", image + "/usr/zemo/selfcheck/listorder");
  EXPECT_EQ(install({made, "--root", image}).status, notLoaded);
  EXPECT_EQ(names(files / "elsewhere"), "selfcheck ");
  EXPECT_EQ(names(files / "elsewhere/selfcheck"), "");
  changeMode(image + "/usr/zemo", 0777);
  EXPECT_THAT(install({made, "--root", image}).errors, HasSubstr("is not safe to use"));
  EXPECT_EQ(install({made, "--root", image, "--lists", image}).status, usage);
}

TEST_F(InstallTest, APlaceThatAnotherUserMakesMeanwhile) {
  for (const char* const set : {"wam", "demo"}) {
    std::string const lists = files / "lists";
    tool::SetPlace const place = tool::placeOf(set, "full", std::nullopt, lists + "/");
    makeDirectory(lists);
    changeMode(lists, 0777);
    EXPECT_THROW(tool::SetLock{place}, tool::Failure) << "it could be changed";
    changeMode(lists, 0755);
    EXPECT_NO_THROW(tool::SetLock{place});
    std::filesystem::remove_all(lists);
    EXPECT_NO_THROW(tool::SetLock{place}) << "it makes the directory";
    std::filesystem::remove_all(lists);
    makeDirectory(files / "elsewhere");
    makeLink(files / "elsewhere", lists);
    EXPECT_THROW(tool::SetLock{place}, tool::Failure) << "the link could be changed";
    remove(lists);
  }
}

TEST_F(InstallTest, ThePackagesSet) {
  std::string const first = sentOf("demo", "one", {{"base", "/b"}});
  ASSERT_EQ(install({first}).status, 0);
  std::string const demo = home("packages/demo");
  EXPECT_EQ(names(demo), "demo.full.base.list demo.full.base.list.asc ");
  EXPECT_EQ(statusOf(demo).st_mode & 07777U, 0755U);
  ASSERT_EQ(install({sentOf("demo", "two", {{"base", "/c"}})}).status, 0);
  EXPECT_EQ(names(demo), ".previous demo.full.base.list demo.full.base.list.asc ");
  EXPECT_EQ(install({"--back", "--package", "demo"}).status, 0);
  EXPECT_EQ(readFile(demo + "/demo.full.base.list"), readFile(first + "/demo.full.base.list"));
  EXPECT_EQ(names(home("packages")), "demo ");
}

TEST_F(InstallTest, BackToThePreviousSet) {
  std::string const before = readFile(home("wam.full.base.list"));
  EXPECT_THAT(install({"--back"}).errors, HasSubstr("there is no previous set in"));
  std::string const made = sent("new", {{"local", "/c"}, {"new", "/b"}}, "7");
  ASSERT_EQ(install({made}).status, 0);
  ProgramRun run = doctor();
  EXPECT_EQ(run.status, 0) << run.output;
  run = install({"--back"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(readFile(home("wam.full.base.list")), before);
  EXPECT_THAT(names(), Not(HasSubstr("manifest")));
  ASSERT_EQ(install({"--back"}).status, 0) << "and forth";
  EXPECT_EQ(readFile(home("listorder")), "wam.full.local.list\nwam.full.new.list\n");
  EXPECT_EQ(tool({"check", "--require", "manifest"}).status, missing);

  appendToFile(home(".previous/wam.full/wam.full.base.list"), sized("/evil") + "\n");
  run = install({"--back"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("does not verify"));
  EXPECT_EQ(install({"--back", made}).status, usage);
  EXPECT_EQ(install({made, "--mode", "full"}).status, usage);
}

TEST_F(InstallTest, TheKeyRingDoesNotComeBack) {
  ASSERT_EQ(install({sent("new", {{"base", "/b"}})}).status, 0);
  SigningKey const other;
  TemporaryDirectory const scratch;
  changeMode(scratch.path(), 0700);
  other.trustedBy(scratch.path());
  writeFile(home("pubring.kbx"), readFile(scratch / "pubring.kbx"));
  ProgramRun const run = install({"--back"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("does not verify"));
  EXPECT_EQ(readFile(home("pubring.kbx")), readFile(scratch / "pubring.kbx"));
}

TEST_F(InstallTest, WhereTheDirectoryCannotBeExchanged) {
  std::string const before = readFile(home("wam.full.base.list"));
  struct stat const directory = statusOf(listDir);
  std::string const made = sent("new", {{"local", "/c"}, {"new", "/b"}}, "7");
  ProgramRun run = installByRenames({made});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(run.errors, HasSubstr("warning: "));
  EXPECT_THAT(run.errors, HasSubstr("; the files are replaced one after the other"));
  EXPECT_EQ(directory.st_ino, statusOf(listDir).st_ino);
  EXPECT_EQ(names(),
            ".previous listorder wam.full.local.list wam.full.local.list.asc wam.full.manifest "
            "wam.full.manifest.asc wam.full.new.list wam.full.new.list.asc ");
  EXPECT_EQ(names(home(".previous")), "wam.full ");
  EXPECT_EQ(tool({"check", "--require", "manifest"}).status, missing);
  EXPECT_EQ(installByRenames({"--back"}).status, 0);
  EXPECT_EQ(readFile(home("wam.full.base.list")), before);
  EXPECT_EQ(namesAbove(), "selfcheck ");
}

// Neither by an exchange nor file by file.
TEST_F(InstallTest, WhereFilesCannotBeRenamedEither) {
  std::string const made = sent("new", {{"base", "/b"}});
  std::string const before = readFile(home("wam.full.base.list"));
  makeDirectory(home(".previous"));
  ProgramRun const run = toolAfter("mount -t tmpfs none " + home(".previous"), {"install", made});
  EXPECT_EQ(run.status, notLoaded) << run.errors;
  EXPECT_THAT(run.errors, HasSubstr("cannot open '/usr/zemo/selfcheck/.previous': "));
  EXPECT_THAT(run.errors, HasSubstr("; nothing was done\n"));
  EXPECT_EQ(readFile(home("wam.full.base.list")), before);
  EXPECT_EQ(tool({"check"}).status, missing);
}

// Programs such as cp and the shell write into the file that is there.
TEST_F(InstallTest, WritingIntoAFileLeavesThePreviousOneAlone) {
  order("# mine\nwam.full.base.list\nwam.full.more.list\n");
  addList("wam.full.more.list", sized("/m") + "\n");
  for (bool const renames : {false, true}) {
    std::string const made = sent(renames ? "two" : "one", {{"base", renames ? "/b" : "/c"}});
    ASSERT_EQ((renames ? installByRenames({made}) : install({made})).status, 0);
    for (const char* const name : {"listorder", "wam.full.more.list"}) {
      std::string const before = readFile(home(name));
      appendToFile(home(name), "# in place\n");
      EXPECT_EQ(readFile(home(".previous/wam.full/") + name), before) << name;
      writeFile(home(name), before);
    }
  }
}

// The run that holds the lock replaces the directory, and removes the old one.
TEST_F(InstallTest, WaitsForOneThatReplacesTheDirectory) {
  std::string const made = sent("new", {{"base", "/b"}});
  std::string const lock = home(".zemo-lock");
  int const held = open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(flock(held, LOCK_EX), 0);
  int const events = inotify_init1(IN_CLOEXEC);
  ASSERT_NE(inotify_add_watch(events, lock.c_str(), IN_OPEN), -1);
  StartedProgram installing({ZEMO_TOOL, "install", made});
  char event[1024];
  EXPECT_GT(read(events, event, sizeof event), 0) << "it tries to take the lock";
  close(events);
  std::string const next = "/usr/zemo/.next";
  runShell("cp -a " + std::string(listDir) + " " + next + " && rm " + next + "/.zemo-lock");
  EXPECT_EQ(renameat2(AT_FDCWD, next.c_str(), AT_FDCWD, listDir, RENAME_EXCHANGE), 0);
  std::filesystem::remove_all(next);
  close(held);
  EXPECT_TRUE(installing.endsWithin(10));
  EXPECT_EQ(installing.run().status, 0) << installing.run().errors;
  EXPECT_EQ(readFile(home("wam.full.base.list")), readFile(made + "/wam.full.base.list"));
}

TEST_F(InstallTest, LeftoversOfKilledRuns) {
  makeDirectory("/usr/zemo/.selfcheck.new-AbCd12/packages");
  makeLink(files.path(), "/usr/zemo/.selfcheck.new-AbCd12/link");
  makeLink(files.path(), "/usr/zemo/.selfcheck.new-AbCd13");
  std::string const made = sent("new", {{"base", "/b"}});
  makeDirectory(home(".previous/.next"));
  writeFile(home("wam.full.unfinished-install.list"), "");
  ProgramRun const run = tool({"check"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.errors, HasSubstr("an installation has not ended; if none runs, run the same"));
  EXPECT_THAT(doctor().output,
              HasSubstr("problem: an installation of set 'wam' has not ended\n    fix: if none "
                        "runs, run the same zemo-selfcheck install or retire again\n1 problem; "));
  EXPECT_EQ(install({made}).status, 0);
  EXPECT_EQ(namesAbove(), ".selfcheck.new-AbCd13 selfcheck ") << "a link is not ours";
  EXPECT_EQ(tool({"check"}).status, missing);
  EXPECT_EQ(names(), "wam.full.base.list wam.full.base.list.asc ");
  EXPECT_EQ(readFile(made + "/wam.full.base.list"), readFile(home("wam.full.base.list")));
  remove("/usr/zemo/.selfcheck.new-AbCd13");
}

// Not only the same command completes it.
TEST_F(InstallTest, AnotherCommandAfterAKilledOneMakesNoHalf) {
  addList("wam.full.more.list", sized("/m") + "\n");
  std::string const base = readFile(home("wam.full.base.list"));
  makeDirectory(home(".previous/wam.full"));
  runShell("cp -a " + home("wam.*") + " " + home(".previous/wam.full"));
  std::string const made = sent("new", {{"base", "/b"}, {"more", "/n"}});
  runShell("cp " + made + "/wam.full.base.* " + std::string(listDir));
  order("wam.part.x.list\nwam.full.base.list\nwam.full.more.list\n");
  writeFile(home("wam.full.unfinished-install.list"), "");
  ProgramRun run = install({sent("fix", {{"fix", "/f"}})});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(readFile(home("wam.full.base.list")), base);
  EXPECT_EQ(readFile(home("listorder")),
            "wam.part.x.list\nwam.full.base.list\nwam.full.more.list\nwam.full.fix.list\n");

  runShell("rm -r " + home(".previous/wam.full/*") + " && cp -a " + home("wam.*") + " " +
           home(".previous/wam.full") + " && cp " + made + "/wam.full.base.* " + listDir);
  writeFile(home("wam.full.unfinished-install.list"), "");
  run = tool({"retire", "wam.full.fix.list"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(readFile(home("wam.full.base.list")), base);
  EXPECT_EQ(install({made}).status, 0);
  EXPECT_EQ(tool({"show", "/n"}).status, 0);
}

TEST_F(InstallTest, JsonConformsToItsSchema) {
  auto const rejected = [](const std::string& lines) {
    ProgramRun const run =
        runProgram({"/usr/bin/python3", ZEMO_VALIDATE_JSON, ZEMO_INSTALL_SCHEMA}, lines);
    return run.output + run.errors;
  };
  addList("wam.full.fix.list", fixed("/dir") + "\n" + sized("/gone") + "\n");
  std::string const made =
      sent("new", {{"base", "/a"}, {"fix", "/dir"}, {"more", "/\xff\033"}}, "7");
  ProgramRun run = install({made, "--format", "json"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(rejected(run.output), "");
  std::vector<std::string> const lines = linesOf(run.output);
  ASSERT_EQ(lines.size(), 8U) << run.output;
  EXPECT_THAT(lines[0], HasSubstr(R"("record":"start","format":1,"program":"zemo-selfcheck")"));
  EXPECT_THAT(lines[0], HasSubstr(R"("command":"install","set":"wam","mode":"full")"));
  EXPECT_THAT(lines[3], HasSubstr(R"("record":"added")"));
  EXPECT_THAT(lines[1], HasSubstr(R"("record":"changed","path":"/dir")"));
  EXPECT_THAT(lines[2], HasSubstr(R"("record":"removed","path":"/gone")"));
  EXPECT_EQ(lines[4], R"({"record":"list","name":"wam.full.base.list","change":"changed"})");
  EXPECT_EQ(lines[7], R"({"record":"summary","added":1,"removed":1,"changed":1,"same":1,)"
                      R"("serial":7,"way":"exchange"})");
  run = install({"--back", "--dry-run", "--format", "json"});
  EXPECT_EQ(rejected(run.output), "");
  EXPECT_THAT(run.output, HasSubstr(R"("way":"none"})"));
  EXPECT_EQ(rejected("{\"record\":\"summary\"}\n").substr(0, 3), "1: ");
}
