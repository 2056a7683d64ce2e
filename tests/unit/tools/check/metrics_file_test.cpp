// zemo-selfcheck check --metrics: the file, and the values that it keeps from the previous one.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include "metrics_fixture.h"

namespace {

class CheckMetricsFileTest : public CheckMetricsTest {
 protected:
  // The set, with a finding or clean.
  static void arrange(bool clean, const std::string& name = "wam") {
    std::vector<std::string> const lines = {existing(clean ? "/" : "/nowhere")};
    if (name == "wam")
      list(lines);
    else
      packageList(name, lines);
  }

  std::string lastClean(const std::string& set = "wam") const {
    return value("last_clean_timestamp_seconds", set);
  }

  // A metrics file with these bytes after its first line.
  void writeOld(const std::string& rest = "") const {
    writeFile(metrics, "# HELP zemo_selfcheck_mismatches text\n" + rest);
  }

  // Expects that nothing is checked.
  void expectRefusal(const std::string& path, const std::string& message,
                     ProgramRun (*run)(const std::vector<std::string>&)) const {
    arrange(false);
    ProgramRun const refused = run({"--metrics", path});
    EXPECT_EQ(refused.status, notLoaded) << path;
    EXPECT_EQ(refused.errors, "zemo-selfcheck: " + message + "\n");
    EXPECT_EQ(refused.output, "");
  }
  void expectRefusal(const std::string& path, const std::string& message) const {
    expectRefusal(path, message,
                  [](const std::vector<std::string>& words) { return check(words); });
  }

  std::size_t members() const {
    auto const begin = std::filesystem::directory_iterator(files.path());
    return static_cast<std::size_t>(std::distance(begin, std::filesystem::directory_iterator()));
  }
};

}  // namespace

TEST_F(CheckMetricsFileTest, EverybodyMayReadIt) {
  arrange(true);
  EXPECT_EQ(checkAfter("umask 077", {"--metrics", metrics}).status, 0);
  EXPECT_EQ(statusOf(metrics).st_mode & 07777U, 0644U);
  EXPECT_EQ(members(), 1U) << "the temporary file stays";
}

TEST_F(CheckMetricsFileTest, ItIsReplacedAndNotWrittenTo) {
  arrange(true);
  writeOld("old\n");
  std::string const old = readFile(metrics);
  std::filesystem::create_hard_link(metrics, files / "same");
  EXPECT_EQ(measured().status, 0);
  EXPECT_EQ(readFile(files / "same"), old);
  EXPECT_EQ(value("exit_status"), "0");
}

TEST_F(CheckMetricsFileTest, ARelativeName) {
  arrange(true);
  EXPECT_EQ(checkAfter("cd " + quoted(files.path()), {"--metrics", "selfcheck.prom"}).status, 0);
  EXPECT_EQ(value("exit_status"), "0");
}

TEST_F(CheckMetricsFileTest, TheCleanTimeSurvivesABadRunAndAGoodOneMovesIt) {
  writeOld(cleanSample("1000000000") + "\n");
  arrange(false);
  EXPECT_EQ(measured().status, missing);
  EXPECT_EQ(lastClean(), "1000000000");
  EXPECT_EQ(measured().status, missing);
  EXPECT_EQ(lastClean(), "1000000000");
  appendToFile(std::string(listDir) + "/wam.full.base.list", "\n");
  EXPECT_EQ(measured().status, notLoaded);
  EXPECT_EQ(lastClean(), "1000000000");
  arrange(true);
  EXPECT_EQ(measured({"--no-verify"}).status, 0);
  EXPECT_EQ(lastClean(), "1000000000");
  EXPECT_EQ(measured().status, 0);
  EXPECT_EQ(lastClean(), value("last_run_timestamp_seconds"));
}

TEST_F(CheckMetricsFileTest, EverySetHasItsOwnCleanTime) {
  writeOld(cleanSample("1000000000") + "\n" + cleanSample("1000000001", "demo") + "\n" +
           cleanSample("1000000002", R"(q\"\\033)") + "\n" + cleanSample("9", "gone") + "\n");
  arrange(true);
  arrange(false, "demo");
  arrange(false, "q\"\x1b");
  EXPECT_EQ(measured({"--all"}).status, missing);
  EXPECT_EQ(lastClean(), value("last_run_timestamp_seconds"));
  EXPECT_EQ(lastClean("demo"), "1000000001");
  EXPECT_EQ(lastClean(R"(q\"\\033)"), "1000000002");
  EXPECT_EQ(lastClean("gone"), "");
}

TEST_F(CheckMetricsFileTest, DamagedSamplesOfAnOldFileAreIgnored) {
  arrange(false);
  std::string const all(4096, '\0');
  for (const std::string& content :
       {std::string(), std::string("\n\n"), all, cleanSample("1000000000"), cleanSample("x") + "\n",
        cleanSample("-1") + "\n", cleanSample("0") + "\n", cleanSample("01") + "\n",
        cleanSample("1e9") + "\n", cleanSample("1000000000 ") + "\n",
        cleanSample("99999999999999999999") + "\n", cleanSample("9999999999") + "\n",
        " " + cleanSample("1000000000") + "\n", "# " + cleanSample("1000000000") + "\n",
        cleanSample("1000000000", "other") + "\n", cleanSample("") + "\n",
        cleanSample("1000000000\r") + "\n"}) {
    writeOld(content);
    ProgramRun const run = measured();
    EXPECT_EQ(run.status, missing) << content;
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(lastClean(), "") << content;
  }
}

TEST_F(CheckMetricsFileTest, AVeryLargeOldFileIsNotRead) {
  arrange(false);
  writeOld(cleanSample("1000000000") + "\n");
  std::filesystem::resize_file(metrics, std::uintmax_t{1} << 40U);
  EXPECT_EQ(measured().status, missing);
  EXPECT_EQ(lastClean(), "");
}

TEST_F(CheckMetricsFileTest, AnEmptyFileIsReplaced) {
  arrange(true);
  writeFile(metrics, "");
  EXPECT_EQ(measured().status, 0);
  EXPECT_EQ(value("exit_status"), "0");
}

TEST_F(CheckMetricsFileTest, AnotherFileIsNotReplaced) {
  std::string const message =
      "cannot replace '" + metrics + "': it is not a metrics file of this program";
  for (const std::string content :
       {"root:x:0:0:root:/root:/bin/sh\n", "\n", "# HELP node_cpu_seconds_total text\n", "#",
        "WAM_SELF_CHECK\n"}) {
    writeFile(metrics, content);
    expectRefusal(metrics, message);
    EXPECT_EQ(readFile(metrics), content);
  }
  writeFile(metrics, "x");
  std::filesystem::resize_file(metrics, std::uintmax_t{1} << 40U);
  expectRefusal(metrics, message);
  EXPECT_EQ(members(), 1U);
}

TEST_F(CheckMetricsFileTest, AFileThatCannotBeReadIsNotReplaced) {
  writeOld();
  changeMode(metrics, 0);
  expectRefusal(metrics, "cannot read '" + metrics + "': Permission denied",
                [](const std::vector<std::string>& words) { return checkUnprivileged(words); });
}

TEST_F(CheckMetricsFileTest, StandardOutputIsNotAFile) {
  arrange(true);
  ProgramRun const run = check({"--metrics", "-"});
  EXPECT_EQ(run.status, usage);
  EXPECT_EQ(run.output, "");
  EXPECT_NE(run.errors.find("--metrics writes to a file"), std::string::npos);
}

TEST_F(CheckMetricsFileTest, OnlyARegularFileIsReplaced) {
  makeDirectory(files / "directory");
  writeFile(files / "target", "old\n");
  makeLink(files / "target", files / "link");
  makeLink("/nowhere", files / "dangling");
  makeFifo(files / "fifo");
  for (const std::string name : {"directory", "link", "dangling", "fifo"})
    expectRefusal(files / name,
                  "cannot replace '" + (files / name) + "': it is not a regular file");
  expectRefusal("/dev/null", "cannot replace '/dev/null': it is not a regular file");
  EXPECT_EQ(readFile(files / "target"), "old\n");
  EXPECT_TRUE(S_ISLNK(statusOf(files / "link").st_mode));
  EXPECT_EQ(members(), 5U);
}

TEST_F(CheckMetricsFileTest, ItMustBePossibleToWriteIt) {
  expectRefusal(files / "none/x.prom",
                "cannot write '" + (files / "none/x.prom") + "': No such file or directory");
  writeFile(files / "file", "");
  expectRefusal(files / "file/x.prom",
                "cannot write '" + (files / "file/x.prom") + "': Not a directory");
  std::string const longest = files / std::string(256, 'x');
  expectRefusal(longest, "cannot read '" + longest + "': File name too long");
  EXPECT_EQ(members(), 1U);
}

TEST_F(CheckMetricsFileTest, ADirectoryThatOthersOwn) {
  writeOld("old\n");
  std::string const old = readFile(metrics);
  changeMode(files.path(), 0555);
  expectRefusal(metrics, "cannot write '" + metrics + "': Permission denied",
                [](const std::vector<std::string>& words) { return checkUnprivileged(words); });
  changeMode(files.path(), 0755);
  EXPECT_EQ(readFile(metrics), old);
}

// The findings stay true.
TEST_F(CheckMetricsFileTest, AFullDisk) {
  std::string const full = files / "full/x.prom";
  makeDirectory(files / "full");
  runShell("mount -t tmpfs -o size=8k zemo " + quoted(files / "full"));
  writeOld();
  std::string const old = readFile(metrics);
  writeFile(full, old);
  writeFile(files / "full/filler", "x");
  arrange(false);
  ProgramRun const failed = check({"--metrics", full});
  EXPECT_EQ(failed.status, missing | unchecked);
  EXPECT_EQ(failed.errors,
            "zemo-selfcheck: cannot write '" + full + "': No space left on device\n");
  EXPECT_NE(failed.output.find("1 missing"), std::string::npos);
  EXPECT_EQ(readFile(full), old);
  std::string const summary = lastLine(check({"--format", "json", "--metrics", full}).output);
  EXPECT_NE(summary.find("\"partial\":false,\"status\":10}"), std::string::npos) << summary;
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(files / "full"),
                          std::filesystem::directory_iterator()),
            2);
  runShell("umount " + quoted(files / "full"));
}

// If the program cannot begin, it leaves the old file, whose age then shows the failure.
TEST_F(CheckMetricsFileTest, TheOldFileStaysIfTheRunCannotBegin) {
  writeFile(metrics, "old\n");
  EXPECT_EQ(measured({"--accept", "/nowhere"}).status, notLoaded);
  EXPECT_EQ(measured({"--mode", "*"}).status, usage);
  EXPECT_EQ(readFile(metrics), "old\n");
}
