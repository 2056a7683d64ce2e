// zemo-selfcheck make --dpkg: packages of this machine, and of a test's own database.

#include <unistd.h>

#include <algorithm>

#include "fixture.h"

using Lines = std::vector<std::string>;

class MakeDpkgTest : public MakeTest {
 protected:
  void SetUp() override {
    MakeTest::SetUp();
    if (access("/usr/bin/dpkg-query", X_OK) != 0)
      GTEST_SKIP() << "needs dpkg";
  }

  // From now on, dpkg knows only the packages that are added.
  void useOwnDatabase() {
    makeDirectory(database / "info");
    makeDirectory(database / "updates");
    writeFile(database / "info/format", "1\n");
    writeFile(database / "status", "");
    writeFile(database / "diversions", "");
    setenv("DPKG_ADMINDIR", database.path().c_str(), 1);
  }

  void addPackage(const std::string& name, const Lines& paths, const std::string& conffiles = "",
                  const std::string& status = "installed",
                  const std::string& architecture = "all") {
    std::string fields =
        "Package: " + name + "\nStatus: install ok " + status +
        "\nMaintainer: x\nVersion: 1\nDescription: x\nArchitecture: " + architecture + "\n";
    if (architecture != "all")
      fields += "Multi-Arch: same\n";
    if (!conffiles.empty())
      fields += "Conffiles:\n" + conffiles;
    appendToFile(database / "status", fields + "\n");
    std::string list = "/.\n";
    std::string digests;
    for (const std::string& path : paths) {
      list += path + "\n";
      if (std::filesystem::is_regular_file(path))
        digests += md5Of(path) + "  " + path.substr(1) + "\n";
    }
    std::string const start =
        database / ("info/" + name + (architecture != "all" ? ":" + architecture : ""));
    writeFile(start + ".list", list);
    writeFile(start + ".md5sums", digests);
  }

  static std::string md5Of(const std::string& path) {
    return runProgram({"/usr/bin/md5sum", path}).output.substr(0, 32);
  }

  TemporaryDirectory database;
};

TEST_F(MakeDpkgTest, PackagesOfThisMachine) {
  ProgramRun const run = make({"--dpkg", "coreutils", "bash", "libc6", "base-files"});
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_TRUE(isIntact({output}));
  Lines const lines = entries();
  auto const has = [&lines](const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  };
  std::string const merged = std::filesystem::is_symlink("/bin") ? "/usr/bin" : "/bin";
  EXPECT_TRUE(has(entryLine(merged + "/ls")));
  EXPECT_TRUE(has(entryLine(merged + "/bash")));
  EXPECT_TRUE(has(entryLine("/")));
  EXPECT_EQ(readFile(output).find("\n/bin/"), std::filesystem::is_symlink("/bin")
                                                  ? std::string::npos
                                                  : readFile(output).find("\n/bin/"));
  EXPECT_NE(readFile(output).find("\n/etc/bash.bashrc\t-\t-\tf\t644\t"), std::string::npos);
  ASSERT_EQ(make({"--dpkg", "bash", "--conffiles"}).status, 0);
  EXPECT_NE(readFile(output).find("\n" + entryLine("/etc/bash.bashrc") + "\n"), std::string::npos);
}

TEST_F(MakeDpkgTest, UnknownPackagesAreAllNamed) {
  ProgramRun const run = make({"--dpkg", "no-such", "bash", "ba*", "No", "", "-x"});
  EXPECT_EQ(run.status, usage);  // -x is not an option
  ProgramRun const other = make({"--dpkg", "no-such", "bash", "ba*", "No", ""});
  EXPECT_EQ(other.status, notLoaded);
  EXPECT_EQ(other.errors,
            "zemo-selfcheck: dpkg has no installed package '', 'No', 'ba*' or 'no-such'\n");
  EXPECT_FALSE(isWritten());
}

TEST_F(MakeDpkgTest, RemovedPackageIsUnknown) {
  useOwnDatabase();
  addPackage("gone", {}, "", "config-files");
  EXPECT_EQ(make({"--dpkg", "gone"}).status, notLoaded);
}

TEST_F(MakeDpkgTest, AllInstalledPackages) {
  useOwnDatabase();
  EXPECT_EQ(make({"--dpkg-all"}).errors, "zemo-selfcheck: dpkg has no installed package\n");
  for (const char* const name : {"a", "b", "c", "d"})
    writeFile(files / name, name);
  addPackage("one", {files / "a"}, " " + (files / "a") + " " + md5Of(files / "a") + "\n");
  addPackage("two", {files / "b"}, "", "installed", "amd64");
  addPackage("removed", {files / "c"}, "", "config-files");
  ProgramRun const run = make({"--dpkg-all", files / "d"});
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(entries(),
            (Lines{linesFor({"/"}).front(), entryLine(files / "a", "-", "-", "f", "644", "0", "0"),
                   linesFor({files / "b"}).front(), linesFor({files / "d"}).front()}));
  std::string const base = output;
  output = lists / "wam.full.more.list";
  remove(files / "b");
  ASSERT_EQ(make({"--dpkg-all", "--base", base}).status, 0);
  EXPECT_EQ(entries(), Lines{"-" + (files / "b") + "\t-\t-\t-\t-\t-\t-"});
  EXPECT_EQ(make({"--dpkg-all", "--dpkg", "no-such"}).status, notLoaded);
}

TEST_F(MakeDpkgTest, ConfigurationFilesHaveNeitherSizeNorContent) {
  useOwnDatabase();
  for (const char* const name : {"conf", "conf with blanks", "old", "plain"})
    writeFile(files / name, "x");
  std::string const digest = " d41d8cd98f00b204e9800998ecf8427e";
  addPackage("demo", {files / "conf", files / "conf with blanks", files / "old", files / "plain"},
             " " + (files / "conf") + digest + "\n " + (files / "conf with blanks") + digest +
                 "\n " + (files / "old") + digest + " obsolete\n");
  ASSERT_EQ(make({"--dpkg", "demo", "--exclude", "/"}).status, notLoaded) << "/ has all below it";
  ASSERT_EQ(make({"--dpkg", "demo"}).status, 0);
  Lines expected = linesFor({"/"});
  for (const char* const name : {"conf", "conf with blanks"})
    expected.push_back(entryLine(files / name, "-", "-", "f", "644", "0", "0"));
  expected.push_back(entryLine(files / "old"));
  expected.push_back(entryLine(files / "plain"));
  EXPECT_EQ(entries(), expected);
  // It does not matter how a configuration file was found, unless its content is requested.
  ASSERT_EQ(make({files / "conf", "--dpkg", "demo"}).status, 0);
  EXPECT_EQ(entries(), expected);
}

TEST_F(MakeDpkgTest, FilesThatAreNotAsTheirPackageInstalledThemAreRefused) {
  useOwnDatabase();
  for (const char* const name : {"a", "b", "c", "conf"})
    writeFile(files / name, name);
  addPackage("demo", {files / "a", files / "b", files / "c"},
             " " + (files / "conf") + " " + md5Of(files / "conf") + "\n");
  appendToFile(database / "info/demo.list", (files / "conf") + "\n");
  ASSERT_EQ(make({"--dpkg", "demo"}).status, 0);
  remove(output);
  for (const char* const name : {"b", "c", "conf"})
    appendToFile(files / name, "x");
  std::string const named = "zemo-selfcheck: '" + (files / "b") +
                            "' differs from what its package installed\nzemo-selfcheck: '" +
                            (files / "c") + "' differs from what its package installed\n";
  ProgramRun const refused = make({"--dpkg", "demo"});
  EXPECT_EQ(refused.status, changed);
  EXPECT_EQ(refused.errors, named +
                                "zemo-selfcheck: no list was written, because of 2 changed files; "
                                "--allow-changed lists them as they are\n");
  EXPECT_FALSE(isWritten());
  EXPECT_TRUE(isOutputAlone());
  ProgramRun const allowed = make({"--dpkg", "demo", "--allow-changed"});
  EXPECT_EQ(allowed.status, 0);
  EXPECT_EQ(allowed.errors, named);
  EXPECT_TRUE(isIntact({output}));
  // A configuration file counts if its content is stated; content that is not stated never does.
  EXPECT_EQ(make({"--dpkg", "demo", "--exclude", "[bc]"}).status, 0);
  EXPECT_EQ(make({"--dpkg", "demo", "--exclude", "[bc]", "--conffiles"}).status, changed);
  EXPECT_EQ(make({"--dpkg", "demo", "--omit", "hash"}).status, 0);
}

TEST_F(MakeDpkgTest, DivertedFilesAreComparedAtTheirNewPaths) {
  useOwnDatabase();
  writeFile(files / "a", "package's own");
  addPackage("mine", {files / "a"});
  writeFile(files / "a.other", "changed");
  writeFile(database / "diversions", (files / "a") + "\n" + (files / "a.other") + "\nother\n");
  EXPECT_EQ(make({"--dpkg", "mine"}).status, changed);
  writeFile(files / "a.other", "package's own");
  writeFile(files / "a", "the other's");
  EXPECT_EQ(make({"--dpkg", "mine"}).status, 0);
}

TEST_F(MakeDpkgTest, FilesWithoutADigestAreNamed) {
  useOwnDatabase();
  writeFile(files / "a", "a");
  writeFile(files / "b", "b");
  addPackage("demo", {files / "a", files / "b"});
  remove(database / "info/demo.md5sums");
  ProgramRun const run = make({"--dpkg", "demo"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: package 'demo': '" + (files / "a") +
                "' and 1 more are listed unchecked: dpkg has no digest to compare with\n");
  EXPECT_EQ(make({"--dpkg", "demo", "--omit", "hash"}).errors, "");
}

TEST_F(MakeDpkgTest, LinksAboveFilesAreResolvedAndReportedOnce) {
  useOwnDatabase();
  makeDirectory(files / "usr/lib");
  makeLink("usr/lib", files / "lib");
  makeLink("lib", files / "lib2");
  writeFile(files / "usr/lib/a", "");
  writeFile(files / "usr/lib/b", "");
  addPackage("one", {files / "lib", files / "lib/a", files / "lib2/b"});
  addPackage("two", {files / "lib/b", files / "usr/lib/b"});
  ProgramRun const run = make({"--dpkg", "one", "two"});
  EXPECT_EQ(linesOf(run.errors), (Lines{"zemo-selfcheck: '" + (files / "lib") +
                                            "' is a link: the files below it are listed below '" +
                                            (files / "usr/lib") + "'",
                                        "zemo-selfcheck: '" + (files / "lib2") +
                                            "' is a link: the files below it are listed below '" +
                                            (files / "usr/lib") + "'"}));
  EXPECT_EQ(entries(), linesFor({"/", files / "lib", files / "usr/lib/a", files / "usr/lib/b"}));
}

TEST_F(MakeDpkgTest, DivertedFilesAreListedAtTheirNewPaths) {
  useOwnDatabase();
  for (const std::string name : {"a", "a.other", "b", "b.local"})
    writeFile(files / name, name.substr(0, 1));
  addPackage("mine", {files / "a", files / "b"});
  addPackage("other", {files / "a"});
  writeFile(database / "diversions", (files / "a") + "\n" + (files / "a.other") + "\nother\n" +
                                         (files / "b") + "\n" + (files / "b.local") + "\n:\n");
  ASSERT_EQ(make({"--dpkg", "mine"}).status, 0);
  EXPECT_EQ(entries(), linesFor({"/", files / "a.other", files / "b.local"}));
  ASSERT_EQ(make({"--dpkg", "other"}).status, 0);
  EXPECT_EQ(entries(), linesFor({"/", files / "a"}));
}

TEST_F(MakeDpkgTest, ArchitecturesOfOnePackage) {
  useOwnDatabase();
  writeFile(files / "a", "");
  writeFile(files / "b", "");
  addPackage("lib", {files / "a"}, "", "installed", "amd64");
  addPackage("lib", {files / "b"}, "", "installed", "i386");
  writeFile(database / "arch", "amd64\ni386\n");
  ASSERT_EQ(make({"--dpkg", "lib"}).status, 0);
  EXPECT_EQ(entries(), linesFor({"/", files / "a", files / "b"}));
  ASSERT_EQ(make({"--dpkg", "lib:i386"}).status, 0);
  EXPECT_EQ(entries(), linesFor({"/", files / "b"}));
  EXPECT_EQ(make({"--dpkg", "lib:arm64"}).status, notLoaded);
}

TEST_F(MakeDpkgTest, FilesThatAreNotOnDiskAreLeftOut) {
  useOwnDatabase();
  writeFile(files / "a", "");
  addPackage("demo", {files / "a", files / "gone1", files / "gone2", files / "a/below"});
  addPackage("less", {files / "gone1"});
  ProgramRun const run = make({"--dpkg", "demo", "less"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(linesOf(run.errors), (Lines{"zemo-selfcheck: package 'demo': '" + (files / "a/below") +
                                            "' and 2 more are left out: not on disk",
                                        "zemo-selfcheck: package 'less': '" + (files / "gone1") +
                                            "' is left out: not on disk"}));
  EXPECT_EQ(entries(), linesFor({"/", files / "a"}));
}

TEST_F(MakeDpkgTest, WithABaseMissingFilesAreRemoved) {
  useOwnDatabase();
  writeFile(files / "a", "");
  writeFile(files / "b", "");
  addPackage("demo", {files / "a", files / "b"});
  ASSERT_EQ(make({"--dpkg", "demo"}).status, 0);
  std::string const base = output;
  output = lists / "wam.full.update.list";
  remove(files / "b");
  ASSERT_EQ(make({"--dpkg", "demo", "--base", base}).status, 0);
  EXPECT_EQ(entries(), Lines{"-" + (files / "b") + "\t-\t-\t-\t-\t-\t-"});
}

TEST_F(MakeDpkgTest, DpkgMustBeThere) {
  std::string const path = getenv("PATH");
  setenv("PATH", files.path().c_str(), 1);
  ProgramRun const run = make({"--dpkg", "bash"});
  setenv("PATH", path.c_str(), 1);
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors, "zemo-selfcheck: cannot run 'dpkg-query': No such file or directory\n");
}
