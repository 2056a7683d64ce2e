// zemo-selfcheck make PATH..., --from, --exclude and --fixed: the files that are listed, and how.

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <random>

#include "fixture.h"

using Lines = std::vector<std::string>;

class MakeTreeTest : public MakeTest {
 protected:
  void SetUp() override {
    MakeTest::SetUp();
    makeDirectory(files / "d/sub");
    writeFile(files / "d/a", "content", 04750);
    writeFile(files / "d/sub/b", "");
    makeLink("a", files / "d/link");
  }

  Lines pathsOfTree() const {
    return {files / "d", files / "d/a", files / "d/link", files / "d/sub", files / "d/sub/b"};
  }
};

TEST_F(MakeTreeTest, TreeIsListedInByteOrderWithAllColumns) {
  ProgramRun const run = make({files / "d"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(run.output, "wam.full.base.list: 2 files, 2 directories, 1 link\n");
  EXPECT_EQ(entries(), linesFor(pathsOfTree()));
  EXPECT_TRUE(isIntact({output}));
  EXPECT_TRUE(isOutputAlone());
  EXPECT_EQ(statusOf(output).st_mode & 07777U, 0644U);
}

TEST_F(MakeTreeTest, HeaderStatesWhichListItIs) {
  ASSERT_EQ(make({files / "d"}).status, 0);
  Lines const lines = linesOf(readFile(output));
  EXPECT_EQ(lines[0], "WAM_SELF_CHECK");
  EXPECT_EQ(lines[1],
            "set=wam mode=full list=base serial=1790000000 date=2026-09-21T14:13:20Z make -- " +
                (files / "d"));
}

TEST_F(MakeTreeTest, SerialAndModeAreStated) {
  output = lists / "wam.quick.a b.list";
  ASSERT_EQ(make({"--mode", "quick", "--serial", "18446744073709551615", files / "d"}).status, 0);
  EXPECT_EQ(linesOf(readFile(output))[1],
            "set=wam mode=quick list=a\\040b serial=18446744073709551615 "
            "date=2026-09-21T14:13:20Z make -- " +
                (files / "d"));
}

TEST_F(MakeTreeTest, WithoutAGivenDateItIsNow) {
  unsetenv("SOURCE_DATE_EPOCH");
  time_t const before = time(nullptr);
  ASSERT_EQ(make({files / "d"}).status, 0);
  std::string const label = linesOf(readFile(output))[1];
  auto const serial = std::stoll(label.substr(label.find("serial=") + 7));
  EXPECT_GE(serial, before);
  EXPECT_LE(serial, time(nullptr));
}

TEST_F(MakeTreeTest, SameBytesForAnyNumberOfThreads) {
  ASSERT_EQ(make({"--jobs", "1", files / "d"}).status, 0);
  std::string const first = readFile(output);
  ASSERT_EQ(make({"--jobs", "7", files / "d"}).status, 0);
  EXPECT_EQ(readFile(output), first);
}

TEST_F(MakeTreeTest, UmaskDoesNotMatter) {
  mode_t const before = umask(077);
  EXPECT_EQ(make({files / "d"}).status, 0);
  umask(before);
  EXPECT_EQ(statusOf(output).st_mode & 07777U, 0644U);
}

TEST_F(MakeTreeTest, PathsAreMadeAbsoluteAndListedOnce) {
  std::string const start = std::filesystem::current_path();
  std::filesystem::current_path(files.path());
  ProgramRun const run =
      make({"d//sub/../sub/.", files / "d/sub/", "./d/sub/b", files / "d/none/.."});
  std::filesystem::current_path(start);
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(entries(), linesFor(pathsOfTree()));
}

TEST_F(MakeTreeTest, LinksAreNotFollowed) {
  makeLink(files / "d", files / "to-d");
  makeLink("nowhere", files / "dangling");
  ASSERT_EQ(make({files / "to-d/", files / "dangling"}).status, 0);
  EXPECT_EQ(entries(), linesFor({files / "dangling", files / "to-d"}));
}

TEST_F(MakeTreeTest, FromNamesFilesWithoutTheirMembers) {
  writeFile(files / "names", (files / "d") + "\n\n" + (files / "d/a"));
  EXPECT_EQ(make({"--from", files / "names"}).status, 0);
  EXPECT_EQ(entries(), linesFor({files / "d", files / "d/a"}));
  std::string const end(1, '\0');
  ProgramRun const run =
      tool({"make", "-z", "--output", output, "--from", "-"}, (files / "d/sub") + end);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(entries(), linesFor({files / "d/sub"}));
}

TEST_F(MakeTreeTest, ExcludedNamesAreLeftOutWithAllBelow) {
  ASSERT_EQ(make({files / "d", "--exclude", "s?b", "--exclude", "lin*"}).status, 0);
  EXPECT_EQ(entries(), linesFor({files / "d", files / "d/a"}));
}

TEST_F(MakeTreeTest, ExcludedPathsAreLeftOutWithAllBelow) {
  ASSERT_EQ(make({files / "d", "--exclude", files / "d/sub/"}).status, 0);
  EXPECT_EQ(entries(), linesFor({files / "d", files / "d/a", files / "d/link"}));
  ASSERT_EQ(make({files / "d", "--exclude=*/sub/*"}).status, 0);
  EXPECT_EQ(entries(), linesFor({files / "d", files / "d/a", files / "d/link", files / "d/sub"}));
}

TEST_F(MakeTreeTest, ExclusionsThatMatchNothingAreNoted) {
  ProgramRun const run = make({files / "d", "--exclude", "s?b", "--exclude", "su*", "--exclude",
                               files / "d/sub/", "--exclude", "n\n", "--exclude", "/nowhere/"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors.substr(run.errors.find("zemo-selfcheck: note: ")),
            "zemo-selfcheck: note: --exclude '/nowhere/' matched nothing\n"
            "zemo-selfcheck: note: --exclude 'n\\012' matched nothing\n");
}

TEST_F(MakeTreeTest, NamesFromAFileAreExcludedByTheirDirectories) {
  writeFile(files / "names", (files / "d/sub/b") + "\n" + (files / "d/a"));
  ASSERT_EQ(make({"--from", files / "names", "--exclude", "sub"}).status, 0);
  EXPECT_EQ(entries(), linesFor({files / "d/a"}));
}

TEST_F(MakeTreeTest, FixedDirectoryIsListedWithItsMembers) {
  writeFile(files / "d/sub/.hidden", "x");
  makeDirectory(files / "d/sub/deep");
  writeFile(files / "d/sub/deep/c", "x");
  ProgramRun const run = make({"--fixed", files / "d/sub"});
  EXPECT_EQ(run.output, "wam.full.base.list: 2 files, 2 directories (1 fixed)\n");
  Lines expected =
      linesFor({files / "d/sub", files / "d/sub/.hidden", files / "d/sub/b", files / "d/sub/deep"});
  expected[0].replace(expected[0].find("\t-\t-\t"), 5, "\t-\tFIXED\t");
  EXPECT_EQ(entries(), expected);
  EXPECT_TRUE(isIntact({output}));
  writeFile(files / "d/sub/stray", "");
  EXPECT_FALSE(isIntact({output}));
}

TEST_F(MakeTreeTest, MemberThatAFixedDirectoryWouldLackIsFound) {
  ProgramRun const run = make({"--fixed", files / "d/sub", "--exclude", "b"});
  EXPECT_EQ(run.status, changed);
  EXPECT_EQ(linesOf(run.errors)[0], "zemo-selfcheck: " + (files / "d/sub/b") + " is unknown file");
  EXPECT_EQ(run.output, "");
  EXPECT_FALSE(isWritten());
  EXPECT_TRUE(isOutputAlone());
}

TEST_F(MakeTreeTest, FixedNeedsADirectory) {
  ProgramRun const run = make({"--fixed", files / "d/link", "--fixed", files / "none"});
  EXPECT_EQ(run.status, unchecked);
  EXPECT_EQ(linesOf(run.errors).size(), 3U);
  EXPECT_FALSE(isWritten());
}

TEST_F(MakeTreeTest, OmittedColumnsAreNotStated) {
  ASSERT_EQ(make({files / "d/a", "--omit", "size,owner", "--omit=group"}).status, 0);
  std::string const line = linesFor({files / "d/a"})[0];
  EXPECT_EQ(entries(), Lines{entryLine(files / "d/a", "-", line.substr(line.find("7\t") + 2, 40),
                                       "f", "4750", "-", "-")});
  ASSERT_EQ(make({"--fixed", files / "d/sub", "--omit", "hash,type,permission"}).status, 0);
  EXPECT_EQ(entries()[0], entryLine(files / "d/sub", "-", "FIXED", "-", "-", "0", "0"));
  EXPECT_EQ(entries()[1], entryLine(files / "d/sub/b", "0", "-", "-", "-", "0", "0"));
}

TEST_F(MakeTreeTest, WithoutDigestsNothingIsOpened) {
  changeMode(files / "d/a", 0);
  EXPECT_EQ(makeAsOthers({files / "d/a", "--omit", "hash"}).status, 0);
  EXPECT_EQ(makeAsOthers({files / "d/a"}).status, unchecked);
}

TEST_F(MakeTreeTest, EveryTypeOfFile) {
  makeFifo(files / "d/fifo");
  int const socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::string const name = files / "d/s";
  ASSERT_LT(name.size(), sizeof address.sun_path);
  name.copy(address.sun_path, name.size());
  ASSERT_EQ(bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  close(socket);
  ProgramRun const run = make({files / "d/fifo", files / "d/s", "/dev/null", files / "d/a"});
  EXPECT_EQ(run.output, "wam.full.base.list: 1 file, 1 character device, 1 FIFO, 1 socket\n");
  Lines const lines = entries();
  EXPECT_NE(std::find(lines.begin(), lines.end(), linesFor({"/dev/null"})[0]), lines.end());
  EXPECT_NE(readFile(output).find("/dev/null\t-\t1,3\tc\t666\t"), std::string::npos);
  EXPECT_TRUE(isIntact({output}));
}

TEST_F(MakeTreeTest, HostileNamesAreListed) {
  makeDirectory(files / "h");
  for (const std::string name :
       {" ", "\x1b[2J", "\xff\xfe", "\\", "-", "FIXED", "$pkg_dir", "\r", "*"})
    writeFile(files / ("h/" + name), name);
  writeFile(files / ("h/" + std::string(255, 'x')), "");
  makeLink("\x1b\xff $pkg_dir", files / "h/target");
  ProgramRun const run = make({files / "h"});
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(entries().size(), 12U);
  EXPECT_TRUE(isIntact({output}));
}

TEST_F(MakeTreeTest, PathsUpToTheLongest) {
  std::string deep = files / "deep";
  while (deep.size() + 202 < 4095)
    deep += "/" + std::string(200, 'n');
  makeDirectory(deep);
  std::string const longest = deep + "/" + std::string(4095 - deep.size() - 1, 'f');
  writeFile(longest, "x");
  ASSERT_EQ(make({files / "deep"}).status, 0);
  EXPECT_NE(readFile(output).find("\n" + longest + "\t1\t"), std::string::npos);
}

TEST_F(MakeTreeTest, PathsThatNoProgramCanNameAreRefused) {
  std::string deep = files / "deep";
  while (deep.size() + 202 < 4095)
    deep += "/" + std::string(200, 'n');
  makeDirectory(deep);
  int const directory = open(deep.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(mkdirat(directory, std::string(255, 'x').c_str(), 0755), 0);
  ProgramRun const run = make({files / "deep"});
  EXPECT_EQ(unlinkat(directory, std::string(255, 'x').c_str(), AT_REMOVEDIR), 0);
  close(directory);
  EXPECT_EQ(run.status, unchecked);
  EXPECT_NE(run.errors.find("': File name too long\n"), std::string::npos);
  EXPECT_FALSE(isWritten());
}

TEST_F(MakeTreeTest, LongTargetIsStoredAsTheCheckComparesIt) {
  std::string const target = std::string(1022, 't') + "\xc3\xa9/more";
  makeLink(target, files / "long");
  ASSERT_EQ(make({files / "long"}).status, 0);
  EXPECT_EQ(entries(), Lines{entryLine(files / "long", std::to_string(target.size()),
                                       target.substr(0, 1023), "l", "-", "-", "-")});
  EXPECT_TRUE(isIntact({output}));
}

TEST_F(MakeTreeTest, LineFeedBeyondWhatIsComparedDoesNoHarm) {
  makeLink(std::string(1023, 't') + "\n", files / "long");
  EXPECT_EQ(make({files / "long"}).status, 0);
}

TEST_F(MakeTreeTest, SparseFile) {
  writeFile(files / "sparse", "");
  ASSERT_EQ(truncate((files / "sparse").c_str(), 5'000'000), 0);
  ASSERT_EQ(make({files / "sparse"}).status, 0);
  EXPECT_EQ(entries(), linesFor({files / "sparse"}));
}

TEST_F(MakeTreeTest, ListDoesNotListItself) {
  output = files / "d/wam.full.base.list";
  writeFile(output, "old");
  writeFile(output + ".asc", "old");
  makeLink(files / "d", files / "to-d");
  ProgramRun run = make({files / "d"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(entries(), linesFor(pathsOfTree()));
  EXPECT_EQ(linesOf(run.errors).size(), 3U) << run.errors;
  // The same through a link.
  run = tool({"make", "--output", files / "to-d/wam.full.base.list", files / "d"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(entries(), linesFor(pathsOfTree()));
}

TEST_F(MakeTreeTest, RandomTreesAreReadBackAndIntact) {
  unsigned const seed = std::random_device()();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  std::vector<std::string> directories = {files / "random"};
  makeDirectory(directories[0]);
  for (int i = 0; i < 300; ++i) {
    std::string name;
    for (unsigned length = 1 + random() % 30; length > 0; --length) {
      char const byte = static_cast<char>(1 + random() % 255);
      name += byte == '/' || byte == '\t' || byte == '\n' ? '_' : byte;
    }
    std::string const path = directories[random() % directories.size()] + "/" + name;
    if (name == "." || name == ".." || path.size() > 3000 ||
        std::filesystem::exists(std::filesystem::symlink_status(path)))
      continue;
    switch (random() % 4) {
      case 0:
        makeDirectory(path);
        directories.push_back(path);
        break;
      case 1:
        makeLink("t" + name, path);
        break;
      case 2:
        makeFifo(path);
        break;
      default:
        writeFile(path, std::string(random() % 5000, 'c'), random() & 07777U);
    }
  }
  std::vector<std::string> words = {files / "random"};
  for (std::size_t i = 0; i < directories.size(); i += 3)
    words.insert(words.end(), {"--fixed", directories[i]});
  ProgramRun const run = make(words);
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_TRUE(isIntact({output}));
  Lines const lines = entries();
  std::vector<std::string> paths;
  for (const std::string& line : lines)
    paths.push_back(line.substr(0, line.find('\t')));
  EXPECT_TRUE(std::is_sorted(paths.begin(), paths.end()));
  EXPECT_EQ(paths.size(),
            1U + static_cast<std::size_t>(std::distance(
                     std::filesystem::recursive_directory_iterator(files / "random"), {})));
}

// Nothing would show that a link has replaced such a directory.
TEST_F(MakeTreeTest, DirectoriesAboveThatNoListNamesCauseAWarning) {
  makeDirectory(files / "a/b/c/d");
  writeFile(files / "a/b/c/d/f", "");
  auto const warned = [this](std::vector<std::string> words) {
    words.insert(words.begin(), {"make", "--output", output});
    ProgramRun const run = tool(words);
    EXPECT_EQ(run.status, 0);
    return run.errors;
  };
  std::string const errors = warned({files / "a/b/c"});
  EXPECT_EQ(errors.find(unlisted), 0U) << errors;
  EXPECT_NE(errors.find(", above listed files, to be directories: a link in their place would be "
                        "followed\n"),
            std::string::npos);
  EXPECT_EQ(linesOf(errors).size(), 1U);
  writeFile(files / "names", (files / "a") + "\n" + (files / "a/b") + "\n" + (files / "a/b/c") +
                                 "\n" + (files / "a/b/c/d/f") + "\n");
  EXPECT_NE(warned({"--from", files / "names"}).find(" to be directories"), std::string::npos);
  writeFile(files / "etc", "/etc\n");
  EXPECT_EQ(warned({"/etc/passwd", "--from", files / "etc"}), "");
  // An entry of a base list counts, unless it states no type.
  std::string const base = lists / "wam.full.aaa.list";
  ASSERT_EQ(tool({"make", "--output", base, "--from", files / "etc"}).status, 0);
  EXPECT_EQ(warned({"/etc/passwd", "--base", base}), "");
  ASSERT_EQ(tool({"make", "--output", base, "--from", files / "etc", "--omit", "type"}).status, 0);
  EXPECT_EQ(warned({"/etc/passwd", "--base", base}),
            std::string(unlisted) +
                "'/etc', above listed files, to be a directory: a link in its place would be "
                "followed\n");
}
