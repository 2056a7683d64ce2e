// zemo-selfcheck check on files of every kind and name.

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <thread>

#include "fixture.h"
#include "support/started_program.h"

namespace {

class CheckFilesTest : public CheckTest {
 protected:
  std::string sparse(const std::string& name, off_t size) const {
    std::string path = file(name, "");
    EXPECT_EQ(truncate(path.c_str(), size), 0);
    return path;
  }
};

constexpr off_t eightGiB = off_t{8} << 30U;

}  // namespace

TEST_F(CheckFilesTest, EveryKindOfFile) {
  makeFifo(files / "fifo");
  makeLink("/nowhere/to be found", files / "dangling");
  makeDirectory(files / "directory");
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  strncpy(address.sun_path, (files / "socket").c_str(), sizeof address.sun_path - 1);
  int const socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  std::vector<std::string> lines = {entryLine("/dev/null"), entryLine(file("empty", ""))};
  for (const char* const name : {"fifo", "dangling", "directory", "socket"})
    lines.push_back(entryLine(files / name));
  list(lines);
  ProgramRun const run = check({"--jobs", "2"});
  close(socket);
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_EQ(lastLine(run.output).substr(0, 17), "checked 6 entries");
}

TEST_F(CheckFilesTest, FifoInThePlaceOfAFileIsNotOpened) {
  makeFifo(files / "fifo");
  list({entryLine(files / "fifo", "3", "00", "f", "644", "-", "-")});
  StartedProgram program({ZEMO_TOOL, "check"});
  ASSERT_TRUE(program.endsWithin(10));
  EXPECT_EQ(program.run().status, changed);
  EXPECT_EQ(linesOf(program.run().output).at(0), files / "fifo type expect[f] but get[p]");
}

TEST_F(CheckFilesTest, OtherDevice) {
  list({entryLine("/dev/null", "-", "1,5", "c", "-", "-", "-")});
  EXPECT_EQ(linesOf(check().output).at(0), "/dev/null hash expect[1,5] but get[1,3]");
}

TEST_F(CheckFilesTest, SizesBeyondFourGigabytes) {
  list({entryLine(sparse("big", eightGiB), "8589934592", "-", "f", "-", "-", "-"),
        entryLine(sparse("bigger", eightGiB + 1), "8589934592", "-", "f", "-", "-", "-")});
  ProgramRun const run = check();
  EXPECT_EQ(run.status, changed);
  EXPECT_EQ(linesOf(run.output).at(0),
            files / "bigger size expect[8589934592] but get[8589934593]");
}

TEST_F(CheckFilesTest, ContentIsNotReadWithoutTheItem) {
  list({entryLine(sparse("big", eightGiB), "8589934592", "00", "f", "-", "-", "-")});
  StartedProgram program({ZEMO_TOOL, "check", "--items", "size,type"});
  ASSERT_TRUE(program.endsWithin(5));
  EXPECT_EQ(program.run().status, 0);
}

TEST_F(CheckFilesTest, LongestComponent) {
  std::string const longest(255, 'n');
  list({entryLine(file(longest)), existing(files / (longest + "n"))});
  ProgramRun const run = check();
  EXPECT_EQ(run.status, missing);
  EXPECT_EQ(linesOf(run.output).at(0), (files / (longest + "n")) + " not exist expect[] but get[]");
}

TEST_F(CheckFilesTest, LongestPaths) {
  std::string directory = files.path();
  std::string const part(200, 'p');
  while (directory.size() + part.size() + 1 < 3890) {
    directory += "/" + part;
    makeDirectory(directory);
  }
  std::string const longest = directory + "/" + std::string(4095 - directory.size() - 1, 'f');
  std::string const file =
      longest.size() - directory.size() > 256 ? directory + "/" + std::string(255, 'f') : longest;
  ASSERT_EQ(file.size(), 4095U);
  writeFile(file, "x");
  list({entryLine(file), existing(file + "f"), existing(file + std::string(100000, 'f'))});
  ProgramRun const run = check();
  EXPECT_EQ(run.status, missing);
  EXPECT_EQ(lastLine(run.output),
            "checked 3 entries of 1 set: 0 changed, 2 missing, 0 stray, 0 could not be checked");
}

// A list has one line per entry, so only a stray member's name can contain a line feed.
TEST_F(CheckFilesTest, HostileNames) {
  makeDirectory(files / "fixed");
  std::vector<std::string> lines = {entryLine(files / "fixed", "-", "FIXED", "d", "-", "-", "-")};
  for (int byte = 1; byte < 256; ++byte) {
    if (byte == '/' || byte == '\n' || byte == '\t')
      continue;
    std::string const name = "fixed/-" + std::string(1, static_cast<char>(byte)) + "\"$(`';";
    lines.push_back(entryLine(file(name)));
  }
  list(lines);
  EXPECT_EQ(
      check().output,
      "checked 253 entries of 1 set: 0 changed, 0 missing, 0 stray, 0 could not be checked\n");
  file("fixed/a\nchecked 9 entries\x1b[1A\x7f\xc2\x9b");
  ProgramRun const run = check();
  EXPECT_EQ(run.status, stray);
  ASSERT_EQ(linesOf(run.output).size(), 2U);
  EXPECT_EQ(linesOf(run.output).at(0),
            files / "fixed/a\\012checked 9 entries\\033[1A\\177\\302\\233 is unknown file");
}

TEST_F(CheckFilesTest, ShortLineIsAMissingFileWithoutName) {
  list({"", existing("/")});
  ProgramRun const run = check();
  EXPECT_EQ(run.status, missing);
  EXPECT_EQ(linesOf(run.output).at(0), " not exist expect[] but get[]");
}

TEST_F(CheckFilesTest, FilesChangeAndVanishMeanwhile) {
  std::vector<std::string> lines;
  std::vector<std::string> paths;
  for (int i = 0; i < 200; ++i) {
    paths.push_back(file(std::to_string(i), std::string(100000, 'x')));
    lines.push_back(entryLine(paths.back()));
  }
  list(lines);
  StartedProgram program({ZEMO_TOOL, "check", "--jobs", "4"});
  for (int round = 0; !program.endsWithin(0); ++round) {
    std::string const& path = paths[static_cast<std::size_t>(round * 7 % 200)];
    switch (round % 5) {
      case 0:
        unlink(path.c_str());
        break;
      case 1:
        unlink(path.c_str());
        makeFifo(path);
        break;
      case 2:
        unlink(path.c_str());
        writeFile(path, std::string(100000, 'x'));
        break;
      case 3:
        (void)truncate(path.c_str(), round % 1000);
        break;
      default:
        unlink(path.c_str());
        makeLink(paths[0], path);
    }
  }
  ProgramRun const run = program.run();
  EXPECT_EQ(run.status & ~(changed | missing | unchecked), 0) << run.errors;
  std::string const summary = lastLine(run.output);
  EXPECT_EQ(summary.find("interrupted"), std::string::npos);
  EXPECT_NE(summary.find(" of 1 set: "), std::string::npos);
}
