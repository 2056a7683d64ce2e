// The option --root: a system below a directory, whose files and configuration may be an
// intruder's.

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>

#include "../check/fixture.h"

namespace {

const std::string intact = "0 changed, 0 missing, 0 stray, 0 could not be checked";

class OtherRootTest : public CheckTest {
 protected:
  static constexpr char sets[] = "/usr/zemo/selfcheck";

  // Writes the file, and the directories above it, below the root.
  void below(const std::string& path, const std::string& content) const {
    makeDirectory((root / path).substr(0, (root / path).rfind('/')));
    writeFile(root / path, content);
  }

  // entryLine() of the file at this absolute path below the root, as the root's lists write it.
  std::string entry(const std::string& path) const {
    return entryLine(root.path() + path).substr(root.path().size());
  }

  // Writes and signs a list in the root's own directory of lists.
  std::string rootList(const std::vector<std::string>& lines,
                       const std::string& name = "wam.full.base.list") const {
    return rootListIn(root.path() + sets, lines, name);
  }

  static std::string rootListIn(const std::string& directory, const std::vector<std::string>& lines,
                                const std::string& name) {
    std::string path = writeList(directory, name, CheckTest::joined(lines));
    key().sign(path);
    return path;
  }

  void rootPackage(const std::string& user, const std::vector<std::string>& lines) const {
    makeDirectory(root / "var/packages/demo/target");
    below("var/packages/demo/user", user);
    rootListIn(root.path() + sets + "/packages/demo", lines, "demo.full.base.list");
  }

  ProgramRun look(std::vector<std::string> words = {}) const {
    words.insert(words.begin(), {"--root", root.path()});
    return check(words);
  }

  // The same without the right to mount, as an ordinary user.
  ProgramRun lookUnprivileged(std::vector<std::string> words = {},
                              const std::string& before = "") const {
    words.insert(words.begin(), {"/usr/bin/setpriv", "--bounding-set=-sys_admin,-sys_chroot",
                                 "--inh-caps=-all", ZEMO_TOOL, "check", "--root", root.path()});
    words.insert(words.begin(), {"/bin/sh", "-ec", before + "\nexec \"$@\"", "sh"});
    return runProgram(words);
  }

  // The system calls of a run that cannot read files against their permissions.
  std::string traced(std::vector<std::string> words = {},
                     const std::string& command = "check") const {
    std::string const trace = files / "trace";
    words.insert(words.begin(),
                 {"/usr/bin/strace", "-f", "-qq", "-s", "4096", "-o", trace, "/usr/bin/setpriv",
                  "--bounding-set=-dac_override,-dac_read_search", "--inh-caps=-all", ZEMO_TOOL,
                  command, "--root", root.path()});
    (void)runProgram(words);
    return readFile(trace);
  }

  // Nothing is below the root but what the test makes, and a file that exists here as well.
  TemporaryDirectory root;
};

// `strace` arguments that make the first call fail.
std::vector<std::string> failing(const std::string& call, const std::string& error,
                                 std::vector<std::string> words) {
  std::vector<std::string> all = {"/usr/bin/strace",
                                  "-E",
                                  "ASAN_OPTIONS=detect_leaks=0",  // impossible if traced
                                  "-f",
                                  "-qq",
                                  "-o",
                                  "/dev/null",
                                  "-e",
                                  std::string("inject=").append(call).append(":error=") + error,
                                  ZEMO_TOOL};
  std::move(words.begin(), words.end(), std::back_inserter(all));
  return all;
}

// The paths below `directory`, as seen there, that were opened before any thread entered it: by
// openat2, or by a path of this machine.
std::set<std::string> openedBefore(const std::string& trace, const std::string& directory) {
  std::set<std::string> paths;
  std::istringstream lines(trace);
  std::regex const opening("(?:open|openat|execve|connect)\\([^\"]*\"([^\"]*)\"");
  std::regex const inRoot("openat2\\([^\"]*\"([^\"]*)\".*RESOLVE_IN_ROOT");
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    if (std::regex_search(line, match, inRoot))
      paths.insert(match[1]);
    else if (std::regex_search(line, match, opening) && match[1].str().find(directory) == 0)
      paths.insert(match[1]);
  }
  return paths;
}

// The paths that threads opened after they had entered the root.
std::set<std::string> openedInside(const std::string& trace) {
  std::set<std::string> inside;
  std::set<std::string> paths;
  std::istringstream lines(trace);
  std::regex const opening(
      "^([0-9]+) +(?:open|openat|openat2|execve|connect)\\([^\"]*\"([^\"]*)\"");
  for (std::string line; std::getline(lines, line);) {
    std::string const thread = line.substr(0, line.find(' '));
    if (line.find("chroot(") != std::string::npos)
      inside.insert(thread);
    std::smatch match;
    if (inside.count(thread) != 0 && std::regex_search(line, match, opening))
      paths.insert(match[2]);
  }
  return paths;
}

}  // namespace

TEST_F(OtherRootTest, ComparesWithItsFilesAndNamesThemAsItsListsDo) {
  below("etc/hostname", "other");
  below("etc/evil", "");
  rootList({entry("/etc/hostname"), entryLine("/etc", "-", "FIXED", "d", "-", "-", "-"),
            existing("/etc/gone")});
  ProgramRun const run = look();
  EXPECT_EQ(run.status, missing | stray);
  EXPECT_EQ(run.output,
            "/etc/evil is unknown file\n"
            "/etc/gone not exist expect[] but get[]\n"
            "checked 3 entries of 1 set: 0 changed, 1 missing, 1 stray, 0 could not be checked\n");
  EXPECT_EQ(run.errors, "");
}

TEST_F(OtherRootTest, PathsOfThisMachineAreTranslatedForUnder) {
  below("etc/a", "a");
  rootList({existing("/etc/a")});
  std::string const nothing =
      "zemo-selfcheck: nothing was checked: no entry is at or below --under";
  for (const char* const end : {"", "/"}) {
    ProgramRun const run = check({"--root", root.path() + end, "--under", root / "etc"});
    EXPECT_EQ(linesOf(run.errors)[0], nothing + "; '" + (root / "etc") + "' is '/etc'");
  }
  EXPECT_EQ(linesOf(look({"--under", "/usr"}).errors)[0], nothing);
  list({existing("/")});
  EXPECT_EQ(linesOf(check({"--root", "/", "--under", "/usr"}).errors)[0], nothing);
}

TEST_F(OtherRootTest, ThisMachinesListsDoNotMatter) {
  list({existing("/nowhere")});
  below("a", "");
  rootList({entry("/a")});
  EXPECT_EQ(look().output, "checked 1 entry of 1 set: " + intact + "\n");
  EXPECT_EQ(check().status, missing);
}

TEST_F(OtherRootTest, ListsFromElsewhere) {
  below("a", "");
  rootList({existing("/nowhere")});
  TemporaryDirectory const lists;
  rootListIn(lists.path(), {entry("/a")}, "wam.full.base.list");
  EXPECT_EQ(look({"--lists", lists.path()}).output, "checked 1 entry of 1 set: " + intact + "\n");
}

TEST_F(OtherRootTest, RootOfThisMachine) {
  list({existing("/usr/zemo/selfcheck/pubring.kbx"),
        existing("/usr/zemo/selfcheck/wam.full.base.list")});
  writeFile(std::string(listDir) + "/extra", "");
  ProgramRun const run = check({"--root", "/", "--items", "size"});
  EXPECT_EQ(run.output, "checked 2 entries of 1 set: " + intact + "\n");
  list({existing("/usr/zemo/selfcheck/extra")});
  EXPECT_EQ(check({"--root", "/"}).status, 0);
}

TEST_F(OtherRootTest, IdsOfAPackagesUserAreThoseOfItsPasswordFile) {
  below("etc/passwd", "root:x:0:0::/:/bin/sh\ndaemon:x:4711:4712::/:/bin/sh\n");
  below("etc/nsswitch.conf", "passwd: evil\n");
  rootPackage("daemon\n", {"$pkg_dir\t-\t-\td\t-\t$pkg\t$pkg"});
  ProgramRun const run = look({"demo"});
  EXPECT_EQ(run.output,
            "/var/packages/demo/target owner expect[4711] but get[0]\n"
            "/var/packages/demo/target group expect[4712] but get[0]\n"
            "checked 1 entry of 1 set: 1 changed, 0 missing, 0 stray, 0 could not be checked\n");
}

TEST_F(OtherRootTest, PackageThatIsOnlyOnThisMachineIsNotInstalled) {
  makeDirectory(std::string(packagesDir) + "/demo/target");
  rootListIn(root.path() + sets + "/packages/demo", {existing("$pkg_dir")}, "demo.full.base.list");
  ProgramRun const run = look({"demo"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(
      run.errors,
      "zemo-selfcheck: package 'demo' is not installed in '" + root.path() +
          "'\nzemo-selfcheck: set 'demo' could not be loaded; see zemo-selfcheck doctor --root '" +
          root.path() + "'\n");
}

TEST_F(OtherRootTest, AllChecksTheSetsOfItsPackages) {
  below("a", "");
  rootList({entry("/a")});
  below("etc/passwd", "daemon:x:0:0::/:/bin/sh\n");
  rootPackage("daemon", {"$pkg_dir\t-\t-\td\t-\t$pkg\t$pkg"});
  packageList("other", {existing("/nowhere")});
  EXPECT_EQ(look({"--all"}).output, "checked 2 entries of 2 sets: " + intact + "\n");
}

TEST_F(OtherRootTest, ItsKeysAndOptionsVerifyNothing) {
  SigningKey const stranger;
  below("a", "");
  std::string const path = rootList({entry("/a")});
  stranger.sign(path);
  stranger.trustedBy(root.path() + sets);
  below("usr/zemo/selfcheck/gpg.conf", "skip-verify\n");
  EXPECT_EQ(look().status, notLoaded);
  EXPECT_EQ(look({"--no-verify"}).status, 0);
}

TEST_F(OtherRootTest, ListThatIsAFifoFailsItsSet) {
  rootList({existing("/")});
  makeFifo(root.path() + sets + "/wam.full.more.list");
  ProgramRun const run = look();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(linesOf(run.errors)[0], "zemo-selfcheck: cannot read '/usr/zemo/selfcheck/" +
                                        std::string("wam.full.more.list' in '") + root.path() +
                                        "': it is not a regular file");
  EXPECT_EQ(look({"--no-verify"}).status, notLoaded);
}

// Without its order, lists that override others could be read before these.
TEST_F(OtherRootTest, OrderThatIsAFifoFailsItsSet) {
  below("etc/passwd", "");
  rootList({existing("/")});
  makeDirectory(root / "var/packages/demo/target");
  rootListIn(root.path() + sets + "/packages/demo", {existing("/")}, "demo.full.base.list");
  EXPECT_EQ(look({"demo"}).status, 0);
  makeFifo(root.path() + sets + "/packages/demo/listorder");
  EXPECT_EQ(look({"demo"}).status, notLoaded);
  EXPECT_EQ(look({"--all"}).output,
            "checked 1 entry of 1 set: " + intact + "; 1 set could not be loaded\n");
  makeFifo(root.path() + sets + "/listorder");
  EXPECT_EQ(look().status, notLoaded);
}

TEST_F(OtherRootTest, NoLinkLeadsOutOfIt) {
  below("etc/passwd", "daemon:x:0:0::/:/bin/sh\n");
  rootPackage("daemon", {existing("$pkg_dir")});
  list({existing("/")});  // of this machine, and signed
  std::string const up = "../../../../../../../../../..";
  for (std::string const& start : {std::string(), up}) {
    remove(root / "etc/passwd");
    makeLink(start + "/etc/passwd", root / "etc/passwd");
    EXPECT_EQ(look({"demo"}).status, notLoaded) << start;
  }
  for (std::string const& start : {std::string(), up}) {
    remove(root / "usr/zemo");
    makeLink(start + "/usr/zemo", root / "usr/zemo");
    EXPECT_EQ(look().status, notLoaded) << start;
  }
}

TEST_F(OtherRootTest, EntriesBelowALinkAreLookedUpBelowTheRoot) {
  makeDirectory(root / "only");
  rootList({existing("/out/etc/passwd"), existing("/up/etc/passwd"), existing("/in/b")});
  makeLink("/", root / "out");
  makeLink("../../../../../../..", root / "up");
  makeLink("/only", root / "in");
  below("only/b", "");
  ProgramRun const run = look();
  EXPECT_EQ(run.output,
            "/out/etc/passwd not exist expect[] but get[]\n"
            "/up/etc/passwd not exist expect[] but get[]\n"
            "checked 3 entries of 1 set: 0 changed, 2 missing, 0 stray, 0 could not be checked\n");
}

TEST_F(OtherRootTest, LinksOfAMountedProcAreNotFollowed) {
  below("proc/covered", "");
  makeLink("/proc/self/root/etc", root / "etc");
  makeDirectory(root / "usr");
  makeLink("/other proc/self/root/etc", root / "usr/lib");
  rootList({existing("/etc/passwd"), existing("/usr/lib/passwd"), existing("/proc/self/root/etc"),
            existing("/proc/sys")});
  // Also where it is mounted a second time, and if the directory has another name.
  makeLink(root.path(), files / "name");
  makeDirectory(root / "other proc");
  for (const std::string& name : {root.path(), files / "name"}) {
    ProgramRun const run =
        toolAfter("mount --rbind /proc " + (root / "proc") + "\nmount --rbind /proc '" +
                      (root / "other proc") + "'\ncd /",
                  {"check", "--root", name});
    EXPECT_EQ(run.output,
              "/etc/passwd not exist expect[] but get[]\n"
              "/proc/self/root/etc not exist expect[] but get[]\n"
              "/usr/lib/passwd not exist expect[] but get[]\n"
              "checked 4 entries of 1 set: 0 changed, 3 missing, 0 stray, 0 could not be checked\n")
        << run.errors;
  }
}

TEST_F(OtherRootTest, PasswordFileThatIsNotAFileIsNotOpened) {
  rootPackage("daemon", {existing("$pkg_dir")});
  makeDirectory(root / "etc");
  makeFifo(root / "etc/passwd");
  EXPECT_EQ(look({"demo"}).status, notLoaded);
  remove(root / "etc/passwd");
  makeLink("/fifo", root / "etc/passwd");
  makeFifo(root / "fifo");
  ProgramRun const run = look({"demo"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(linesOf(run.errors)[0], "zemo-selfcheck: cannot read '/etc/passwd' in '" + root.path() +
                                        "': it is not a regular file");
}

TEST_F(OtherRootTest, OnlyListedFilesAreOpenedInside) {
  for (const char* const path :
       {"etc/ld.so.preload", "etc/nsswitch.conf", "usr/lib/ssl/openssl.cnf", "etc/localtime",
        "usr/lib/locale/locale-archive", "etc/passwd", "etc/ld.so.cache"})
    below(path, "hostile\n");
  below("bin/a", "a");
  below("bin/b", "b");
  rootList({entry("/bin/a"), entry("/bin/b"), existing("/unread"),
            entryLine("/bin", "-", "FIXED", "d", "-", "-", "-")});
  EXPECT_EQ(openedInside(traced()), (std::set<std::string>{"/bin", "/bin/a", "/bin/b"}));
}

TEST_F(OtherRootTest, ItsLogGetsNothing) {
  below("a", "");
  rootList({entry("/a")});
  changeMode(root / "a", 0);
  std::string const trace = traced({"--items", "hash"});
  EXPECT_EQ(openedInside(trace), (std::set<std::string>{"/a"}));
  EXPECT_NE(trace.find("Open file [/a] failed"), std::string::npos);
  EXPECT_NE(trace.find("\"/dev/log\""), std::string::npos) << "this machine's log gets it";
}

TEST_F(OtherRootTest, OrdinaryUsersCompareNeitherOwnersNorGroups) {
  below("a", "");
  rootList({entryLine("/a", "0", "-", "f", "-", "4711", "4711")});
  EXPECT_EQ(look().status, changed);
  ProgramRun const run = lookUnprivileged();
  EXPECT_EQ(run.output,
            "checked 1 entry of 1 set: " + intact + "; owner and group were not compared\n");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(lookUnprivileged({"--quiet"}).errors,
            "zemo-selfcheck: owner and group were not compared\n");
  ProgramRun const nothing = lookUnprivileged({"--items", "owner"});
  EXPECT_EQ(nothing.status, notLoaded);
  EXPECT_EQ(nothing.errors,
            "zemo-selfcheck: only root can compare the owners and groups of another root\n");
}

TEST_F(OtherRootTest, SaysThatUserNamespacesAreForbidden) {
  rootList({existing("/")});
  std::vector<std::string> words = {"/usr/bin/unshare",
                                    "--user",
                                    "--map-root-user",
                                    "/bin/sh",
                                    "-ec",
                                    "echo 0 >/proc/sys/user/max_user_namespaces\nexec \"$@\"",
                                    "sh",
                                    "/usr/bin/setpriv",
                                    "--bounding-set=-sys_admin,-sys_chroot",
                                    "--inh-caps=-all",
                                    ZEMO_TOOL,
                                    "check",
                                    "--root",
                                    root.path()};
  ProgramRun const run = runProgram(words);
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: --root needs root or user namespaces, which this machine forbids: No "
            "space left on device\n");
}

TEST_F(OtherRootTest, JsonAndMetricsNameTheRoot) {
  below("a", "");
  rootList({entry("/a")});
  std::string const start = linesOf(look({"--format", "json"}).output)[0];
  EXPECT_NE(start.find("\"root\":\"" + root.path() + "\",\"package_users\":\"/etc/passwd\""),
            std::string::npos)
      << start;
  EXPECT_EQ(look({"--metrics", files / "m"}).status, 0);
  EXPECT_NE(readFile(files / "m")
                .find("zemo_selfcheck_entries{set=\"wam\",mode=\"full\",root=\"" + root.path() +
                      "\"} 1\n"),
            std::string::npos);
}

TEST_F(OtherRootTest, ListsNeedARoot) {
  ProgramRun const run = check({"--lists", "/"});
  EXPECT_EQ(run.status, usage);
  EXPECT_EQ(run.errors, "zemo-selfcheck: --lists needs --root\n");
}

TEST_F(OtherRootTest, NeedsAnExistingDirectoryAndAKeyRing) {
  EXPECT_EQ(check({"--root", files / "none"}).errors,
            "zemo-selfcheck: cannot open '" + (files / "none") + "': No such file or directory\n");
  EXPECT_EQ(check({"--root", file("file")}).errors,
            "zemo-selfcheck: cannot open '" + (files / "file") + "': Not a directory\n");
  remove(std::string(listDir) + "/pubring.kbx");
  ProgramRun const run = look();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors,
            "zemo-selfcheck: there is no key ring in '/usr/zemo/selfcheck' of this machine (see "
            "zemo-selfcheck-init-home(1))\n");
}

TEST_F(OtherRootTest, NothingRemainsOnThisMachine) {
  rootList({existing("/")});
  std::string const before = readFile("/proc/self/mountinfo");
  EXPECT_EQ(look().status, 0);
  EXPECT_EQ(readFile("/proc/self/mountinfo"), before);
}

TEST_F(OtherRootTest, VerifyShowsItsLists) {
  list({existing("/")});
  rootList({existing("/")}, "wam.full.other.list");
  std::vector<std::string> const words = {"verify", "--root", root.path()};
  ProgramRun const run = tool(words);
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.output.find("/usr/zemo/selfcheck/wam.full.other.list"), std::string::npos);
  EXPECT_EQ(linesOf(run.output).back(), "1 list: 1 good, 0 unusable, 0 rejected");
  SigningKey const stranger;
  stranger.sign(root.path() + sets + "/wam.full.other.list");
  stranger.trustedBy(root.path() + sets);
  EXPECT_EQ(tool(words).status, notLoaded);
}

TEST_F(OtherRootTest, ShowResolvesPlaceholdersForItsPackages) {
  below("etc/passwd", "daemon:x:4711:4712::/:/bin/sh\n");
  rootPackage("daemon", {"$pkg_dir/x\t-\t-\tf\t-\t$pkg\t$pkg"});
  std::string const line =
      "/var/packages/demo/target/x\t-\t-\tf\t-\t4711\t4712\tdemo.full.base.list\n";
  EXPECT_EQ(tool({"show", "demo", "--root", root.path()}).output, line);
  remove(root / "etc/passwd");
  ProgramRun const run = tool({"show", "demo", "--root", root.path()});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.errors, "zemo-selfcheck: cannot read '/etc/passwd' in '" + root.path() +
                            "': No such file or directory\n");
}

TEST_F(OtherRootTest, DiffComparesThisMachinesSetWithItsSet) {
  list({entryLine("/a", "1", "-", "f", "-", "-", "-")});
  rootList({entryLine("/a", "2", "-", "f", "-", "-", "-")});
  ProgramRun const run = tool({"diff", "wam", "wam", "--root", root.path()});
  EXPECT_EQ(run.status, changed);
  EXPECT_EQ(linesOf(run.output)[0], "~ /a size 1 -> 2");
  ProgramRun const reversed = tool({"diff", "wam", "wam", "--root", root.path(), "--root", "/"});
  EXPECT_EQ(linesOf(reversed.output)[0], "~ /a size 2 -> 1");
  TemporaryDirectory const lists;
  std::string const path =
      rootListIn(lists.path(), {entryLine("/a", "3", "-", "f", "-", "-", "-")}, "wam.full.x.list");
  std::string const json = tool({"diff", path, "wam", "--root", root.path(), "--lists",
                                 lists.path(), "--format", "json"})
                               .output;
  EXPECT_NE(json.find("\"new\":\"wam\",\"newRoot\":\"" + root.path() + "\",\"added\":0"),
            std::string::npos)
      << json;
}

TEST_F(OtherRootTest, OrdinaryUsersCompareTheSetsOfTwoRoots) {
  list({existing("/a")});
  rootList({existing("/b")});
  ProgramRun const run =
      runProgram({"/usr/bin/setpriv", "--bounding-set=-sys_admin,-sys_chroot", "--inh-caps=-all",
                  ZEMO_TOOL, "diff", "wam", "wam", "--root", root.path(), "--root", "/"});
  EXPECT_EQ(run.status, changed) << run.errors;
  EXPECT_EQ(linesOf(run.output).back(), "1 added, 1 removed, 0 changed, 0 unchanged");
}

TEST_F(OtherRootTest, DiffResolvesThePlaceholdersOfEachRoot) {
  TemporaryDirectory const other;
  std::string id = "4711";
  for (const TemporaryDirectory* const one :
       std::initializer_list<const TemporaryDirectory*>{&root, &other}) {
    makeDirectory(*one / "var/packages/demo/target");
    makeDirectory(*one / "etc");
    writeFile(*one / "var/packages/demo/user", "daemon");
    writeFile(*one / "etc/passwd", "daemon:x:" + id + ":0::/:/bin/sh\n");
    rootListIn(one->path() + sets + "/packages/demo", {"/x\t-\t-\tf\t-\t$pkg\t-"},
               "demo.full.base.list");
    id = "4712";
  }
  EXPECT_EQ(tool({"diff", "demo", "demo", "--root", root.path(), "--root", other.path()}).output,
            "~ /x owner 4711 -> 4712\n0 added, 0 removed, 1 changed, 0 unchanged\n");
}

TEST_F(OtherRootTest, ManifestIsTheRootsOwn) {
  below("a", "");
  std::string const path = root.path() + sets + "/wam.full.base.list";
  rootListIn(root.path() + sets, {entry("/a")}, "wam.full.base.list");
  std::vector<std::string> const words = {"--require", "manifest"};
  EXPECT_EQ(look(words).status, notLoaded);
  std::string const manifest = root.path() + sets + "/wam.full.manifest";
  writeFile(path,
            "WAM_SELF_CHECK\nwam.full.base.list set wam mode full serial 7\n" + entry("/a") + "\n");
  ASSERT_EQ(tool({"sign", "--manifest", manifest, path, "--key", "Maker", "--homedir", key().home(),
                  "--serial", "7"})
                .status,
            0);
  EXPECT_EQ(look(words).status, 0);
  EXPECT_NE(tool({"verify", "--root", root.path()})
                .output.find("\n/usr/zemo/selfcheck/wam.full.manifest: fits\n"),
            std::string::npos);
  TemporaryDirectory const state;
  EXPECT_EQ(look({"--require", "manifest", "--state", state.path()}).status, 0);
  EXPECT_EQ(readFile(state / "wam.full.serial"), "7\n");
  writeFile(state / "wam.full.serial", "8\n", 0600);
  EXPECT_EQ(look({"--require", "manifest", "--state", state.path()}).status, notLoaded);
  std::string const another = rootList({entry("/a")}, "wam.full.more.list");
  EXPECT_EQ(look(words).status, notLoaded);
  EXPECT_EQ(look().status, 0);
  remove(another);
  remove(manifest);
  makeFifo(manifest);
  EXPECT_EQ(look(words).status, notLoaded);
}

// The file is sparse.
TEST_F(OtherRootTest, ListsWithoutRoomFailTheirSet) {
  std::string const path = rootList({existing("/")});
  std::filesystem::resize_file(path, uint64_t{1} << 30U);
  ProgramRun const run = look();
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(
      linesOf(run.errors)[0],
      "zemo-selfcheck: cannot copy to '/usr/zemo/selfcheck/wam.full.base.list': No space left "
      "on device (all lists of another root together may have 1024 MiB and 65536 files)");
}

TEST_F(OtherRootTest, SaysWhichKernelItNeeds) {
  rootList({existing("/")});
  for (const std::string call : {"open_tree", "mount_setattr", "openat2"}) {
    for (const std::string error : {"ENOSYS", "EPERM"}) {
      ProgramRun const run = runProgram(failing(call, error, {"check", "--root", root.path()}));
      EXPECT_EQ(run.status, notLoaded) << call;
      EXPECT_EQ(run.errors.find("zemo-selfcheck: cannot open '" + root.path() +
                                "' as another root, which needs Linux 5.12 or later and the system "
                                "call " +
                                call + " (a container may forbid it): "),
                0U)
          << run.errors;
    }
  }
}

// In a container, files of users without a number there appear to belong to "nobody".
TEST_F(OtherRootTest, IdsWithoutANumberAreNotCalledRight) {
  below("a", "");
  rootList({entryLine("/a", "0", "-", "f", "-", "65534", "-")});
  std::vector<std::string> words = {
      "/usr/bin/unshare", "--user", "--map-root-user", ZEMO_TOOL, "check", "--root", root.path()};
  ProgramRun const run = runProgram(words);
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(linesOf(run.errors)[0],
            "zemo-selfcheck: the owner or group that set 'wam' states for '/a' is also shown for "
            "those without a number in this user namespace; do not compare owners and groups "
            "(--items), or run this outside the namespace");
  std::vector<std::string> without = words;
  without.insert(without.end(), {"--items", "size,group"});
  EXPECT_EQ(runProgram(without).status, 0);
  rootList({entryLine("/a", "0", "-", "f", "-", "-", "65534")});
  EXPECT_EQ(runProgram(words).status, notLoaded);
}

TEST_F(OtherRootTest, OnlyListsAndPackageUsersAreOpenedFromOutside) {
  below("etc/passwd", "daemon:x:0:0::/:/bin/sh\n");
  below("usr/zemo/selfcheck/gpg.conf", "hostile\n");
  below("usr/zemo/selfcheck/pubring.kbx", "hostile\n");
  below("usr/zemo/selfcheck/listorder", "wam.full.base.list\n");
  below("usr/zemo/selfcheck/wam.full.manifest", "");
  below("usr/zemo/selfcheck/wam.full.base.list.old", "");
  rootList({existing("/etc")});
  rootPackage("daemon", {existing("$pkg_dir")});
  std::string const set = std::string(sets) + "/packages/demo";
  EXPECT_EQ(
      openedBefore(traced({"--all"}), root.path()),
      (std::set<std::string>{
          "/", sets, std::string(sets) + "/listorder", std::string(sets) + "/packages",
          std::string(sets) + "/wam.full.base.list", std::string(sets) + "/wam.full.base.list.asc",
          std::string(sets) + "/wam.full.manifest", set, set + "/demo.full.base.list",
          set + "/demo.full.base.list.asc", "/etc/passwd", "/var/packages/demo/target",
          "/var/packages/demo/user"}));
}

TEST_F(OtherRootTest, DoctorOpensItsHomeAsDataAlone) {
  for (const char* const path :
       {"etc/ld.so.preload", "etc/nsswitch.conf", "usr/lib/ssl/openssl.cnf", "etc/localtime",
        "usr/lib/locale/locale-archive", "usr/bin/gpg", "etc/gnupg/gpg.conf",
        "usr/zemo/selfcheck/gpg.conf", "usr/zemo/selfcheck/common.conf",
        "usr/zemo/selfcheck/pubring.kbx", "usr/zemo/selfcheck/trustdb.gpg", "proc/self/uid_map",
        "proc/sys/kernel/overflowuid"})
    below(path, "hostile\n");
  below("owned", "");
  rootList({entry("/owned"), existing("/unread")});
  EXPECT_EQ(
      openedInside(traced({}, "doctor")),
      (std::set<std::string>{"/etc/gnupg/gpg.conf", sets, std::string(sets) + "/common.conf",
                             std::string(sets) + "/gpg.conf", std::string(sets) + "/pubring.kbx"}));
}

// An ordinary user cannot make device nodes, but can mount some.
TEST_F(OtherRootTest, DevicesAreNotOpened) {
  below("zero", "");
  below("etc/passwd", "");
  below("usr/zemo/selfcheck/listorder", "");
  rootList({entry("/zero")});
  rootPackage("daemon", {existing("$pkg_dir")});
  std::vector<std::string> const check = {"check", "--root", root.path()};
  std::string const zero = "mount --bind /dev/zero " + root.path();
  ProgramRun const entryRun = toolAfter(zero + "/zero", check);
  EXPECT_EQ(entryRun.status & (changed | notLoaded), changed) << entryRun.errors;
  for (const char* const path :
       {"/usr/zemo/selfcheck/wam.full.base.list", "/usr/zemo/selfcheck/listorder"}) {
    ProgramRun const run = toolAfter(zero + path, check);
    EXPECT_EQ(run.status, notLoaded);
    EXPECT_EQ(linesOf(run.errors)[0], "zemo-selfcheck: cannot read '" + std::string(path) +
                                          "' in '" + root.path() + "': it is not a regular file");
  }
  EXPECT_EQ(toolAfter(zero + "/etc/passwd", {"check", "demo", "--root", root.path()}).status,
            notLoaded);
}

TEST_F(OtherRootTest, LinksOutAreNoListsOrSignatures) {
  std::string const path = rootList({existing("/")});
  EXPECT_EQ(look().status, 0);
  for (std::string const& start : {std::string(), std::string("../../../../../../../..")}) {
    for (std::string const& end : {std::string(), std::string(".asc")}) {
      std::filesystem::rename(path + end, files / "kept");
      makeLink(start + files.path() + "/kept", path + end);
      ProgramRun const run = look();
      EXPECT_EQ(run.status, notLoaded) << start << end;
      remove(path + end);
      std::filesystem::rename(files / "kept", path + end);
    }
  }
  makeDirectory(root / "usr/zemo/selfcheck/packages");
  for (const char* const name : {"usr/zemo/selfcheck/packages", "usr/zemo/selfcheck"}) {
    std::filesystem::rename(root / name, files / "kept");
    makeLink(files / "kept", root / name);
    EXPECT_EQ(look({"--all"}).status, notLoaded) << name;
    remove(root / name);
    std::filesystem::rename(files / "kept", root / name);
  }
  EXPECT_EQ(look().status, 0);
}
