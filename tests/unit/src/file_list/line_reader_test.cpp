#include "file_list/line_reader.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <random>

#include "support/doubles/scripted_files.h"
#include "support/files.h"
#include "support/temporary_directory.h"
#include "support/without_input.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ZEMO::SELF_CHECK::LineReader;

constexpr size_t kibibyte = 1024;

// Ends the test program if something blocks, so that no test waits forever.
class TimeLimit {
 public:
  TimeLimit() { alarm(20); }
  ~TimeLimit() { alarm(0); }
  TimeLimit(const TimeLimit&) = delete;
  TimeLimit& operator=(const TimeLimit&) = delete;
};

std::vector<std::string> linesOf(const std::string& path) {
  LineReader reader(path);
  EXPECT_TRUE(reader.isOpen());
  std::vector<std::string> lines;
  for (std::string line = "before"; reader.next(line);)
    lines.push_back(line);
  return lines;
}

class LineReaderTest : public ::testing::Test {
  TemporaryDirectory _directory;

 protected:
  LineReaderTest() : path(_directory / "lines") {}

  ~LineReaderTest() override {
    scriptedReads = {};
    openErrors.clear();
  }

  std::vector<std::string> linesOfText(const std::string& text) const {
    writeFile(path, text);
    return linesOf(path);
  }

  // After `reads` successful reads, `count` reads fail with `error`.
  static void failReads(int reads, int error, int count) {
    scriptedReads.goodCalls = reads;
    scriptedReads.error = error;
    scriptedReads.failingCalls = count;
  }

  std::string path;

 private:
  TimeLimit _limit;
};

TEST_F(LineReaderTest, OfALongLineTheStartIsKept) {
  for (std::size_t const size : {std::size_t{3}, std::size_t{4}, std::size_t{5}, 200 * kibibyte}) {
    writeFile(path, std::string(size, 'a') + "\nb\n");
    LineReader reader(path);
    std::string line;
    ASSERT_TRUE(reader.next(line, 4));
    EXPECT_EQ(line, std::string(std::min(size, std::size_t{4}), 'a'));
    ASSERT_TRUE(reader.next(line, 4));
    EXPECT_EQ(line, "b");
    EXPECT_FALSE(reader.next(line, 4));
  }
}

TEST_F(LineReaderTest, SplitsAtLineFeeds) {
  EXPECT_THAT(linesOfText("one\ntwo\nthree\n"), ElementsAre("one", "two", "three"));
}

TEST_F(LineReaderTest, LastLineNeedsNoLineFeed) {
  EXPECT_THAT(linesOfText("one\ntwo"), ElementsAre("one", "two"));
  EXPECT_THAT(linesOfText("one"), ElementsAre("one"));
}

TEST_F(LineReaderTest, LastLineFeedBeginsNoLine) {
  EXPECT_THAT(linesOfText("one\n"), ElementsAre("one"));
  EXPECT_THAT(linesOfText("\n"), ElementsAre(""));
}

TEST_F(LineReaderTest, EmptyLinesAreLines) {
  EXPECT_THAT(linesOfText("\n\none\n\n"), ElementsAre("", "", "one", ""));
}

TEST_F(LineReaderTest, EmptyFileHasNoLine) {
  EXPECT_THAT(linesOfText(""), IsEmpty());
}

TEST_F(LineReaderTest, NothingButTheLineFeedIsTakenOff) {
  EXPECT_THAT(linesOfText(" one \r\n\ttwo\t\r\n\r\n"), ElementsAre(" one \r", "\ttwo\t\r", "\r"));
}

TEST_F(LineReaderTest, NulBytesArePartOfALine) {
  using std::string;
  EXPECT_THAT(linesOfText(string("a\0b\n\0\n\0c", 8)),
              ElementsAre(string("a\0b", 3), string("\0", 1), string("\0c", 2)));
}

TEST_F(LineReaderTest, BytesAboveSevenBitsArePartOfALine) {
  EXPECT_THAT(linesOfText("\xff\xfe\n\x80\n"), ElementsAre("\xff\xfe", "\x80"));
}

TEST_F(LineReaderTest, LineIsReplacedAndNotAppendedTo) {
  writeFile(path, "a longer line\nb\n\n");
  LineReader reader(path);
  std::string line = "before";
  EXPECT_TRUE(reader.next(line));
  EXPECT_EQ(line, "a longer line");
  EXPECT_TRUE(reader.next(line));
  EXPECT_EQ(line, "b");
  EXPECT_TRUE(reader.next(line));
  EXPECT_EQ(line, "");
}

TEST_F(LineReaderTest, StaysAtTheEnd) {
  writeFile(path, "one\n");
  LineReader reader(path);
  std::string line;
  EXPECT_TRUE(reader.next(line));
  EXPECT_FALSE(reader.next(line));
  EXPECT_FALSE(reader.next(line));
}

// Half a line was returned at the end, so the rest of it is not a line.
TEST_F(LineReaderTest, StaysAtTheEndOfAFileThatGrows) {
  writeFile(path, "one\nhal");
  LineReader reader(path);
  std::string line;
  EXPECT_TRUE(reader.next(line));
  EXPECT_TRUE(reader.next(line));
  EXPECT_EQ(line, "hal");
  writeFile(path, "one\nhalf\ntwo\n");
  EXPECT_FALSE(reader.next(line));
}

TEST_F(LineReaderTest, LongLinesAreWhole) {
  for (size_t const size : {64 * kibibyte - 1, 64 * kibibyte, 64 * kibibyte + 1, 200 * kibibyte}) {
    std::string const longLine(size, 'x');
    EXPECT_TRUE(linesOfText(longLine + "\nnext\n") == std::vector<std::string>({longLine, "next"}))
        << size;
    EXPECT_TRUE(linesOfText("before\n" + longLine) ==
                std::vector<std::string>({"before", longLine}))
        << size;
  }
}

TEST_F(LineReaderTest, LineFeedsAroundTheEndOfABlockAreNeitherLostNorDoubled) {
  std::string const almost(64 * kibibyte - 2, 'x');
  EXPECT_TRUE(linesOfText(almost + "\n\n\n\ny") ==
              std::vector<std::string>({almost, "", "", "", "y"}));
}

TEST_F(LineReaderTest, ShortReadsDoNotEndALine) {
  writeFile(path, "one\n\nthree\nfour");
  for (std::size_t& most = scriptedReads.mostBytes = 1; most < 20; ++most)
    EXPECT_THAT(linesOf(path), ElementsAre("one", "", "three", "four")) << most;
}

TEST_F(LineReaderTest, AnyTextIsSplitLikeAtEveryLineFeed) {
  unsigned int const seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (int round = 0; round < 200; ++round) {
    std::string text(random() % 60, '\0');
    for (char& c : text)
      c = "\n\nab\0"[random() % 5];
    std::vector<std::string> expected(1);
    for (char const c : text) {
      if (c == '\n')
        expected.emplace_back();
      else
        expected.back() += c;
    }
    if (expected.back().empty())
      expected.pop_back();
    scriptedReads.mostBytes = 1 + random() % 9;
    EXPECT_EQ(linesOfText(text), expected);
  }
}

// Files that cannot be opened or read.

TEST_F(LineReaderTest, MissingFileIsNotOpen) {
  LineReader reader(path);
  EXPECT_FALSE(reader.isOpen());
  std::string line;
  EXPECT_FALSE(reader.next(line));
}

TEST_F(LineReaderTest, EmptyPathIsNotOpen) {
  EXPECT_FALSE(LineReader("").isOpen());
}

TEST_F(LineReaderTest, UnreadableFileIsNotOpen) {
  writeFile(path, "one\n", 0);
  WithoutFileCapabilities const ordinary;
  EXPECT_FALSE(LineReader(path).isOpen());
}

TEST_F(LineReaderTest, DanglingLinkIsNotOpen) {
  makeLink("/nowhere/at/all", path);
  EXPECT_FALSE(LineReader(path).isOpen());
}

TEST_F(LineReaderTest, LinkToAFileIsFollowed) {
  writeFile(path, "one\n");
  makeLink(path, path + ".link");
  EXPECT_THAT(linesOf(path + ".link"), ElementsAre("one"));
}

TEST_F(LineReaderTest, DirectoryOpensAndHasNoLine) {
  makeDirectory(path);
  EXPECT_THAT(linesOf(path), IsEmpty());
}

TEST_F(LineReaderTest, FifoOpensAtOnceAndHasNoLine) {
  makeFifo(path);
  EXPECT_THAT(linesOf(path), IsEmpty());
}

TEST_F(LineReaderTest, FifoWithAWriterIsNotRead) {
  makeFifo(path);
  int const fifo = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  ASSERT_EQ(write(fifo, "one\n", 4), 4);
  EXPECT_THAT(linesOf(path), IsEmpty());
  char text[8];
  EXPECT_EQ(read(fifo, text, sizeof text), 4);
  (void)close(fifo);
}

TEST_F(LineReaderTest, EndlessDeviceIsNotRead) {
  EXPECT_THAT(linesOf("/dev/zero"), IsEmpty());
}

TEST_F(LineReaderTest, InterruptedOpenIsRepeated) {
  writeFile(path, "one\n");
  openErrors = {EINTR, EINTR, EINTR};
  EXPECT_THAT(linesOf(path), ElementsAre("one"));
  EXPECT_THAT(openErrors, IsEmpty());
}

TEST_F(LineReaderTest, InterruptedReadIsRepeated) {
  writeFile(path, "one\ntwo");
  for (int reads = 0; reads < 3; ++reads) {
    failReads(reads, EINTR, 3);
    scriptedReads.mostBytes = 4;
    EXPECT_THAT(linesOf(path), ElementsAre("one", "two")) << reads;
    EXPECT_EQ(scriptedReads.failingCalls, 0);
  }
}

TEST_F(LineReaderTest, ReadErrorEndsTheLines) {
  writeFile(path, "one\ntwo\n");
  failReads(1, EIO, 10);
  scriptedReads.mostBytes = 4;
  EXPECT_THAT(linesOf(path), ElementsAre("one"));
}

TEST_F(LineReaderTest, ReadErrorDropsTheLineThatItCutsShort) {
  writeFile(path, "one\ntwo\n");
  failReads(1, EIO, 10);
  scriptedReads.mostBytes = 6;
  EXPECT_THAT(linesOf(path), ElementsAre("one"));
}

TEST_F(LineReaderTest, ReadErrorAtTheStartLeavesNoLine) {
  writeFile(path, "one\n");
  failReads(0, EIO, 10);
  EXPECT_THAT(linesOf(path), IsEmpty());
}

// The descriptor.

// The number of this process's descriptors for the file at `path`, and how many of these an
// executed program would not inherit.
struct Descriptors {
  int open = 0;
  int closedOnExec = 0;
};

Descriptors descriptorsOf(const std::string& path) {
  Descriptors found;
  for (const auto& link : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;  // for example the descriptor of this very walk
    if (std::filesystem::read_symlink(link.path(), gone) != path)
      continue;
    ++found.open;
    if ((fcntl(std::stoi(link.path().filename()), F_GETFD) & FD_CLOEXEC) != 0)
      ++found.closedOnExec;
  }
  return found;
}

TEST_F(LineReaderTest, DescriptorIsClosedOnExec) {
  writeFile(path, "one\n");
  LineReader const reader(path);
  EXPECT_EQ(descriptorsOf(path).open, 1);
  EXPECT_EQ(descriptorsOf(path).closedOnExec, 1);
}

// The value of errno then says nothing, nor does it at the end.
TEST_F(LineReaderTest, DescriptorZeroIsOneLikeAnyOther) {
  writeFile(path, "one\n");
  WithoutInput const without;
  errno = EINTR;
  EXPECT_THAT(linesOf(path), ElementsAre("one"));
  EXPECT_TRUE(WithoutInput::isFree());
}

TEST_F(LineReaderTest, DescriptorIsClosedWithTheReader) {
  writeFile(path, "one\n");
  makeFifo(path + ".fifo");
  int const before = openDescriptors();
  for (const std::string& name : {path, path + ".missing", path + ".fifo", std::string("/")}) {
    LineReader reader(name);
    std::string line;
    (void)reader.next(line);
  }
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
