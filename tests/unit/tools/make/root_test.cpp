// zemo-selfcheck make --root and --one-file-system: files of another root, and of mounts.

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "fixture.h"
#include "support/caller.h"
#include "support/signing_key.h"

using Lines = std::vector<std::string>;

namespace {

std::string md5Of(const std::string& path) {
  return runProgram({"/usr/bin/md5sum", path}).output.substr(0, 32);
}

class MakeRootTest : public MakeTest {
 protected:
  // Writes the file, and the directories above it, below the root.
  void below(const std::string& path, const std::string& content) const {
    makeDirectory((root / path).substr(0, (root / path).rfind('/')));
    writeFile(root / path, content);
  }

  // The root's dpkg knows only the packages that are added.
  void addPackage(const std::string& name, const Lines& paths, const std::string& more = "") const {
    std::string const database = root / "var/lib/dpkg";
    makeDirectory(database + "/info");
    makeDirectory(database + "/updates");
    writeFile(database + "/info/format", "1\n");
    std::string list = "/.\n";
    std::string digests;
    for (const std::string& path : paths) {
      list += path + "\n";
      if (std::filesystem::is_regular_file(root.path() + path))
        digests += md5Of(root.path() + path) + "  " + path.substr(1) + "\n";
    }
    appendToFile(database + "/status", "Package: " + name +
                                           "\nStatus: install ok installed\nMaintainer: x\n"
                                           "Version: 1\nDescription: x\nArchitecture: all\n" +
                                           more + "\n");
    writeFile(database + "/info/" + name + ".list", list);
    writeFile(database + "/info/" + name + ".md5sums", digests);
  }

  // Copies the program, and all libraries that it needs, to their places in the root.
  void install(const std::string& program) const {
    runShell("for f in " + program + " $(ldd " + program + " | grep -o '/[^ ]*'); do mkdir -p " +
             root.path() + "${f%/*}; cp -L $f " + root.path() + "$f; done");
  }

  // A small system that can run the program.
  void installSystem() const {
    makeDirectory(root / "usr/bin");
    makeDirectory(root / "tmp");
    makeDirectory(root / "proc");
    makeDirectory(root / "dev");
    install(ZEMO_TOOL);
    if (access("/usr/bin/dpkg-query", X_OK) == 0)
      install("/usr/bin/dpkg-query");
  }

  ProgramRun outside(Lines words) {
    words.insert(words.begin(), {"--root", root.path()});
    return make(words);
  }

  // The same run by the root's own copy of the program. Its list is in the root's /tmp.
  ProgramRun inside(Lines words) const {
    words.insert(words.begin(),
                 {"/usr/bin/unshare", "--mount", "/bin/sh", "-ec",
                  "mount --bind /proc \"$1\"/proc\nmount --rbind /dev \"$1\"/dev\nexec "
                  "/usr/sbin/chroot \"$@\"",
                  "sh", root.path(), ZEMO_TOOL, "make", "--output", "/tmp/wam.full.base.list"});
    return runProgram(words);
  }

  std::string madeInside() const { return readFile(root / "tmp/wam.full.base.list"); }

  // The lines of these paths as the root sees them.
  Lines linesIn(const Lines& paths) const {
    Lines absolute;
    for (const std::string& path : paths)
      absolute.push_back(root.path() + path);
    Lines lines = linesFor(absolute);
    for (std::string& line : lines)
      line.erase(0, line.compare(root.path().size(), 1, "\t") == 0 ? root.path().size() - 1
                                                                   : root.path().size());
    for (std::string& line : lines) {
      if (line.front() != '/')
        line = "/" + line.substr(1);
    }
    return lines;
  }

  TemporaryDirectory root;
};

}  // namespace

TEST_F(MakeRootTest, PathsAreThoseThatTheRootSees) {
  below("etc/hostname", "other");
  makeLink("/etc/passwd", root / "etc/link");
  ProgramRun const run = outside({"/etc"});
  EXPECT_EQ(run.output, "wam.full.base.list: 1 file, 1 directory, 1 link\n") << run.errors;
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(entries(), linesIn({"/etc", "/etc/hostname", "/etc/link"}));
  EXPECT_EQ(readFile(output).find(root.path()), std::string::npos);
}

TEST_F(MakeRootTest, RelativePathsAreRefused) {
  below("etc/hostname", "other");
  std::string const message =
      "zemo-selfcheck: with --root, paths are those that the other root sees, so 'etc' must begin "
      "with /\n";
  EXPECT_EQ(outside({"etc"}).errors, message);
  EXPECT_EQ(outside({"/", "--fixed", "etc"}).errors, message);
  writeFile(files / "names", "etc\n");
  ProgramRun const run = outside({"--from", files / "names"});
  EXPECT_EQ(run.status, usage);
  EXPECT_EQ(run.errors, message);
  EXPECT_FALSE(isWritten());
}

TEST_F(MakeRootTest, NamesAndBasesComeFromThisMachine) {
  below("a", "a");
  below("b", "b");
  writeFile(files / "names", "/a\n/b\n");
  writeFile(root / "names", "/nowhere\n");
  ASSERT_EQ(outside({"--from", files / "names"}).status, 0);
  EXPECT_EQ(entries(), linesIn({"/a", "/b"}));
  std::string const base = output;
  output = lists / "wam.full.more.list";
  remove(root / "a");
  below("b", "changed");
  below("c", "c");
  ASSERT_EQ(outside({"--from", files / "names", "--base", base}).status, 0);
  EXPECT_EQ(entries(), (Lines{"-/a\t-\t-\t-\t-\t-\t-", linesIn({"/b"}).front()}));
  ASSERT_EQ(outside({"/c", "--base", base}).status, 0);
  EXPECT_EQ(entries(), linesIn({"/c"}));
}

TEST_F(MakeRootTest, TheListItselfIsLeftOutUnderItsNameInTheRoot) {
  below("usr/zemo/selfcheck/wam.full.base.list", "old");
  below("usr/zemo/selfcheck/wam.full.base.list.asc", "old");
  output = root / "usr/zemo/selfcheck/wam.full.base.list";
  ProgramRun const run = outside({"/usr"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(entries(), linesIn({"/usr", "/usr/zemo", "/usr/zemo/selfcheck"}));
  // Its name may lead through a link, as the listed paths do, and so may the root's.
  makeLink("usr/zemo", root / "zemo");
  makeLink(root.path(), files / "name");
  Lines const expected = linesIn({"/zemo/selfcheck"});
  for (const std::string& name : {root.path(), files / "name"}) {
    output = name + "/zemo/selfcheck/wam.full.base.list";
    ASSERT_EQ(make({"--root", name, "/zemo/selfcheck"}).status, 0);
    EXPECT_EQ(entries(), expected);
  }
  // A list of this machine at that path is another one.
  output = std::string(listDir) + "/wam.full.base.list";
  ASSERT_EQ(outside({"/usr"}).status, 0);
  EXPECT_EQ(entries().size(), 5);
  remove(output);
}

TEST_F(MakeRootTest, FixedDirectoriesExclusionsAndOmissions) {
  below("etc/a", "a");
  below("etc/b.pyc", "b");
  below("etc/d/c", "c");
  ASSERT_EQ(
      outside({"/etc", "--fixed", "/etc/d", "--exclude", "*.pyc", "--omit", "hash,permission,size"})
          .status,
      0);
  EXPECT_EQ(entries(), (Lines{"/etc\t-\t-\td\t-\t0\t0", "/etc/a\t-\t-\tf\t-\t0\t0",
                              "/etc/d\t-\tFIXED\td\t-\t0\t0", "/etc/d/c\t-\t-\tf\t-\t0\t0"}));
}

TEST_F(MakeRootTest, PackageIsTheOneOfTheRoot) {
  below("etc/passwd", "root:x:0:0::/:/bin/sh\ndaemon:x:0:0::/:/bin/sh\n");
  below("var/packages/notes/user", "daemon\n");
  below("var/packages/notes/target/a", "x");
  makeLink("/var/packages/notes/target/a", root / "var/packages/notes/target/link");
  output = lists / "notes.full.base.list";
  Lines const words = {"/var/packages/notes/target", "--package", "notes"};
  ASSERT_EQ(outside(words).status, 0);
  EXPECT_EQ(entries(),
            (Lines{"$pkg_dir\t-\t-\td\t755\t$pkg\t$pkg",
                   "$pkg_dir/a\t1\t11f6ad8ec52a2984abaafd7c3b516503785c2072\tf\t644\t$pkg\t$pkg",
                   "$pkg_dir/link\t28\t$pkg_dir/a\tl\t-\t-\t-"}));
  remove(root / "var/packages/notes/user");
  ASSERT_EQ(outside(words).status, 0);
  EXPECT_EQ(entries().front(), "$pkg_dir\t-\t-\td\t755\t0\t0");
  // One of this machine does not count.
  makeDirectory(std::string(packagesDir) + "/notes/target");
  remove(root / "var/packages");
  EXPECT_EQ(outside(words).status, notLoaded);
}

TEST_F(MakeRootTest, OrdinaryUsersCannotListOwnersOfAnotherRoot) {
  below("a", "a");
  auto const unprivileged = [&](Lines words) {
    words.insert(words.begin(),
                 {"/usr/bin/setpriv", "--bounding-set=-sys_admin,-sys_chroot", "--inh-caps=-all",
                  ZEMO_TOOL, "make", "--root", root.path(), "--output", output, "/a"});
    return runProgram(words);
  };
  ProgramRun const run = unprivileged({"--omit", "owner"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: only root can see the owners and groups of another root: --omit "
            "owner,group makes a list without them\n");
  EXPECT_EQ(unprivileged({"--omit", "owner,group"}).status, 0);
  EXPECT_EQ(entries(), Lines{"/a\t1\t86f7e437faa5a7fce15d1ddcb9eaeaea377667b8\tf\t644\t-\t-"});
}

// An image that was unpacked as another user would get lists with the number of nobody.
TEST_F(MakeRootTest, OwnersWithoutANumberInAUserNamespaceAreRefused) {
  below("a", "a");
  below("b", "b");
  if (chown((root / "b").c_str(), 12, 0) != 0)
    GTEST_SKIP() << "this caller cannot give files away";
  auto const inNamespace = [&](Lines words) {
    words.insert(words.begin(), {"/usr/bin/unshare", "--user", "--map-root-user", ZEMO_TOOL, "make",
                                 "--root", root.path(), "--output", output, "/a", "/b"});
    return runProgram(words);
  };
  ProgramRun const run = inNamespace({});
  EXPECT_EQ(run.status, unchecked);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: '/b' cannot be listed: this user namespace may have no number for its "
            "owner or group\nzemo-selfcheck: no list was written, because of 1 file\n");
  EXPECT_EQ(inNamespace({"--exclude", "b"}).status, 0);
  EXPECT_EQ(inNamespace({"--omit", "owner"}).status, 0);
}

TEST_F(MakeRootTest, NothingIsMountedAfterwards) {
  below("a", "a");
  addPackage("demo", {"/a"});
  std::string const before = readFile("/proc/self/mountinfo");
  EXPECT_EQ(outside({"--dpkg", "demo"}).status, 0);
  EXPECT_EQ(readFile("/proc/self/mountinfo"), before);
}

TEST_F(MakeRootTest, ItsDpkgDatabaseCountsAndLeadsNowhereElse) {
  if (access("/usr/bin/dpkg-query", X_OK) != 0)
    GTEST_SKIP() << "needs dpkg";
  below("usr/lib/a", "a");
  below("etc/conf", "c");
  makeLink("usr/lib", root / "lib");
  addPackage("bash", {"/lib/a", "/etc/conf"},
             "Conffiles:\n /etc/conf " + md5Of(root / "etc/conf") + "\n");
  ProgramRun const run = outside({"--dpkg", "bash"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: '/lib' is a link: the files below it are listed below '/usr/lib'\n");
  EXPECT_EQ(entries(), (Lines{linesIn({"/"}).front(), "/etc/conf\t-\t-\tf\t644\t0\t0",
                              linesIn({"/usr/lib/a"}).front()}));
  below("usr/lib/a", "b");
  EXPECT_EQ(outside({"--dpkg", "bash"}).status, changed);
  EXPECT_EQ(outside({"--dpkg", "dpkg"}).errors,
            "zemo-selfcheck: dpkg has no installed package 'dpkg'\n");
  std::string const status = root / "var/lib/dpkg/status";
  remove(status);
  makeLink("/var/lib/dpkg/status-old", status);
  EXPECT_EQ(outside({"--dpkg", "bash"}).errors,
            "zemo-selfcheck: cannot read '/var/lib/dpkg/status' in '" + root.path() +
                "': No such file or directory\n");
  remove(status);
  makeFifo(status);
  EXPECT_EQ(outside({"--dpkg", "bash"}).errors,
            "zemo-selfcheck: cannot read '/var/lib/dpkg/status' in '" + root.path() +
                "': it is not a regular file\n");
  remove(root / "var/lib/dpkg");
  makeLink("../../../../../../../../../var/lib/dpkg", root / "var/lib/dpkg");
  EXPECT_EQ(outside({"--dpkg", "bash"}).status, notLoaded);
}

// Messages of dpkg-query about them could control the terminal.
TEST_F(MakeRootTest, WrongDpkgDatabaseIsRefusedInOurWords) {
  if (access("/usr/bin/dpkg-query", X_OK) != 0)
    GTEST_SKIP() << "needs dpkg";
  below("a", "a");
  addPackage("demo", {"/a"});
  below("var/lib/dpkg/info/demo.list", "/a\n\n\033[2J\n");
  EXPECT_EQ(outside({"--dpkg", "demo"}).errors,
            "zemo-selfcheck: dpkg-query cannot list the files of these packages\n");
  appendToFile(root / "var/lib/dpkg/status", "\033[2J\n");
  for (Lines const& words : {Lines{"--dpkg", "demo"}, Lines{"--dpkg-all"}})
    EXPECT_EQ(outside(words).errors, "zemo-selfcheck: dpkg-query cannot read dpkg's database\n");
}

TEST_F(MakeRootTest, PathsOfItsDpkgDatabaseMayHaveAnyLength) {
  if (access("/usr/bin/dpkg-query", X_OK) != 0)
    GTEST_SKIP() << "needs dpkg";
  std::string path;
  for (int i = 0; i < 100000; ++i)
    path += "/a";
  addPackage("demo", {});
  below("var/lib/dpkg/info/demo.list", "/.\n" + path + "\n");
  ProgramRun const run = outside({"--dpkg", "demo"});
  EXPECT_EQ(run.status, unchecked);
  EXPECT_NE(run.errors.find("': File name too long\n"), std::string::npos);
}

TEST_F(MakeRootTest, PackageWithoutAListOfItsFilesIsTold) {
  if (access("/usr/bin/dpkg-query", X_OK) != 0)
    GTEST_SKIP() << "needs dpkg";
  below("a", "a");
  addPackage("demo", {"/a"});
  addPackage("empty", {});
  remove(root / "var/lib/dpkg/info/empty.list");
  ProgramRun const run = outside({"--dpkg-all"});
  EXPECT_EQ(run.errors, "zemo-selfcheck: package 'empty': dpkg has no list of its files\n");
  EXPECT_EQ(run.status, 0);
}

TEST_F(MakeRootTest, FailedCopyOfTheDpkgDatabaseLeavesNothing) {
  below("a", "a");
  addPackage("demo", {"/a"});
  makeFifo(root / "var/lib/dpkg/diversions");
  TemporaryDirectory const scratch;
  ProgramRun const run = runProgram({"/usr/bin/env", "TMPDIR=" + scratch.path(), ZEMO_TOOL, "make",
                                     "--root", root.path(), "--dpkg", "demo", "--output", output});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
}

TEST_F(MakeRootTest, OutsideAndInsideMakeTheSameList) {
  if (access("/usr/bin/dpkg-query", X_OK) != 0)
    GTEST_SKIP() << "needs dpkg";
  installSystem();
  below("etc/conf", "c");
  below("usr/share/a file", "a");
  below("usr/share/diverted.mine", "b");
  makeLink("/etc/conf", root / "usr/share/absolute");
  makeFifo(root / "etc/fifo");
  addPackage("tools",
             {"/usr", "/usr/bin", "/usr/bin/dpkg-query", "/usr/share/a file", "/usr/share/absolute",
              "/etc/conf"},
             "Conffiles:\n /etc/conf " + md5Of(root / "etc/conf") + "\n");
  addPackage("other", {"/usr/share/diverted"});
  writeFile(root / "var/lib/dpkg/diversions",
            "/usr/share/diverted\n/usr/share/diverted.mine\nmine\n");
  for (const Lines& words :
       {Lines{"/", "--exclude", "/tmp", "--exclude", "/proc", "--exclude", "/dev"},
        Lines{"--dpkg-all"}, Lines{"--dpkg", "other", "tools", "--conffiles", "--fixed", "/etc"}}) {
    ProgramRun const there = inside(words);
    ASSERT_EQ(there.status, 0) << there.errors;
    ASSERT_EQ(outside(words).status, 0);
    EXPECT_EQ(readFile(output), madeInside());
  }
}

TEST_F(MakeRootTest, OverlayHasTheSameListOutsideAndInside) {
  installSystem();
  below("etc/gone", "x");
  below("etc/changed", "x");
  TemporaryDirectory const upper;
  std::string const where = root.path();
  std::string const mount = "mount -t overlay none -o lowerdir=" + where +
                            ",upperdir=" + (upper / "u") + ",workdir=" + (upper / "w") + " " +
                            where;
  makeDirectory(upper / "u");
  makeDirectory(upper / "w");
  if (toolAfter(mount, {"--version"}).status != 0)
    GTEST_SKIP() << "this machine cannot mount an overlay here";
  std::string const changes = "\nrm " + where + "/etc/gone; echo y >" + where +
                              "/etc/changed; echo z >" + where + "/etc/new\n";
  std::string const both = mount + changes + "mount --bind /proc " + where +
                           "/proc\n/usr/sbin/chroot " + where + " " + ZEMO_TOOL +
                           " make /etc /usr --output /tmp/wam.full.base.list\numount " + where +
                           "/proc\ncp " + where + "/tmp/wam.full.base.list " + (files / "inside");
  ProgramRun const run =
      toolAfter(both, {"make", "--root", where, "/etc", "/usr", "--output", output});
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(readFile(output), readFile(files / "inside"));
  EXPECT_NE(readFile(output).find("\n/etc/changed\t2\t"), std::string::npos);
  EXPECT_EQ(readFile(output).find("\n/etc/gone\t"), std::string::npos);
}

TEST_F(MakeRootTest, ImageMountedReadOnlyHasTheListOfItsTree) {
  below("etc/conf", "c");
  below("usr/bin/tool", std::string(100000, 't'));
  makeLink("../bin/tool", root / "usr/link");
  ASSERT_EQ(outside({"/etc", "/usr"}).status, 0);
  std::string const list = readFile(output);
  std::string const image = files / "image";
  std::string const where = files / "mounted";
  makeDirectory(where);
  constexpr int cannotMount = 77;
  std::string const mount = "{ /sbin/mke2fs -q -t ext2 -d " + root.path() + " " + image +
                            " 2m && mount -o loop,ro " + image + " " + where + "; } || exit " +
                            std::to_string(cannotMount);
  remove(output);
  ProgramRun const run =
      toolAfter(mount, {"make", "--root", where, "/etc", "/usr", "--output", output});
  if (run.status == cannotMount)
    GTEST_SKIP() << "this machine cannot mount an image";
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(readFile(output), list);
}

TEST_F(MakeRootTest, CheckFromOutsideFindsPlantedChangesAndNothingElse) {
  SigningKey const key;
  key.trustedBy(listDir);
  for (const char* const name : {"etc/a", "etc/b", "etc/c", "usr/d"})
    below(name, "same");
  below("usr/zemo/selfcheck/x", "");
  output = root / "usr/zemo/selfcheck/wam.full.base.list";
  ASSERT_EQ(outside({"/", "--fixed", "/etc"}).status, 0);
  key.sign(output);
  Lines const words = {"check", "--root", root.path()};
  EXPECT_EQ(tool(words).status, 0);
  below("etc/a", "evil");
  changeMode(root / "usr/d", 04755);
  below("etc/evil", "");
  ProgramRun const run = tool(words);
  EXPECT_EQ(run.status, changed | stray);
  EXPECT_EQ(linesOf(run.output).size(), 4) << run.output;
  EXPECT_NE(run.output.find("/etc/evil is unknown file\n"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("/etc/a hash expect["), std::string::npos);
  EXPECT_NE(run.output.find("/usr/d permission expect[644] but get[4755]\n"), std::string::npos);
}

TEST_F(MakeRootTest, MembersOfMountsAreListedUnlessForbidden) {
  below("etc/bound/covered", "");
  below("etc/mounted/covered", "");
  below("usr/b", "");
  std::string const mounts = "mount -t tmpfs -o mode=700 none " + (root / "etc/mounted") + "\n: >" +
                             (root / "etc/mounted/a") + "\nmount --bind " + (root / "usr") + " " +
                             (root / "etc/bound");
  Lines const words = {"make", "--output", output};
  auto const made = [&](Lines more) {
    more.insert(more.begin(), words.begin(), words.end());
    EXPECT_EQ(toolAfter(mounts, more).status, 0);
    Lines paths;
    for (const std::string& line : entries())
      paths.push_back(line.substr(0, line.find('\t')));
    return paths;
  };
  Lines const all = {"/etc", "/etc/bound", "/etc/bound/b", "/etc/mounted", "/etc/mounted/a"};
  Lines const one = {"/etc", "/etc/bound", "/etc/mounted"};
  EXPECT_EQ(made({"--root", root.path(), "/etc"}), all);
  EXPECT_EQ(made({"--root", root.path(), "/etc", "--one-file-system"}), one);
  EXPECT_EQ(entries().back(), "/etc/mounted\t-\t-\td\t700\t0\t0");
  // A place that is named is not left out for being mounted.
  EXPECT_EQ(made({"--root", root.path(), "/etc/mounted", "--one-file-system"}),
            (Lines{"/etc/mounted", "/etc/mounted/a"}));
  EXPECT_EQ(made({root / "etc", "--one-file-system"}),
            (Lines{root / "etc", root / "etc/bound", root / "etc/mounted"}));
}

// Linux before 5.8 does not say where something is mounted.
TEST_F(MakeRootTest, OtherFileSystemIsKnownWithoutTheKernelsWord) {
  below("etc/dir/a", "");
  below("etc/mounted/covered", "");
  std::string const mount =
      "mount -t tmpfs none " + (root / "etc/mounted") + "\n: >" + (root / "etc/mounted/a");
  inCaller([&] {
    refuseSystemCall(SYS_statx, ENOSYS);
    EXPECT_EQ(
        toolAfter(mount, {"make", "--output", output, root / "etc", "--one-file-system"}).status,
        0);
  });
  Lines paths;
  for (const std::string& line : entries())
    paths.push_back(line.substr(0, line.find('\t')));
  EXPECT_EQ(paths,
            (Lines{root / "etc", root / "etc/dir", root / "etc/dir/a", root / "etc/mounted"}));
}
