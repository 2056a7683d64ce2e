// zemo-selfcheck without a command, or with an unknown one.

#include <utility>

#include "support/tool_fixture.h"

namespace {

class ProgramTest : public ToolTest {
 protected:
  static void expectUsage(const std::vector<std::string>& words, const std::string& message) {
    ProgramRun const run = tool(words);
    EXPECT_EQ(run.status, usage);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(linesOf(run.errors).size(), 1U);
    EXPECT_EQ(run.errors.find("zemo-selfcheck: " + message), 0U) << run.errors;
  }
};

}  // namespace

TEST_F(ProgramTest, UnknownCommandIsNamed) {
  expectUsage({"chekc", "wam"}, "there is no command 'chekc'; there are: check, files");
  expectUsage({"chekc", "--help"}, "there is no command 'chekc'; there are: check, files");
  expectUsage({""}, "there is no command ''; there are: check, files");
  expectUsage({"-"}, "there is no command '-'; there are: check, files");
}

TEST_F(ProgramTest, BracketsAreLeftAlone) {
  expectUsage({"[check,files]"}, "there is no command '[check,files]'; there are: ");
  expectUsage({"check", "[wam,demo]"}, "'[wam,demo]' cannot be the name of a set");
  expectUsage({"check", "[]"}, "'[]' cannot be the name of a set");
  expectUsage({"check", "--jobs", "[1]"}, "--jobs: takes a number from 1 to 1024, not [1]");
  expectUsage({"make", "--package", "[a]", "--output", "wam.full.x.list", "/"},
              "'[a]' cannot be the name of a set");
  EXPECT_EQ(tool({"files", "\x01x"}).status, notLoaded);
  EXPECT_EQ(tool({"files", "--from", "\x01x"}).errors,
            "zemo-selfcheck: cannot open '\\001x': No such file or directory\n");
}

TEST_F(ProgramTest, UnknownCommandIsEscaped) {
  expectUsage({"che\n\x1b[2J"}, "there is no command 'che\\012\\033[2J'; there are: ");
}

TEST_F(ProgramTest, OptionBeforeTheCommandIsNamed) {
  expectUsage({"--bogus"},
              "there is no option '--bogus' before the command; see zemo-selfcheck --help\n");
  expectUsage({"-q", "--help"}, "there is no option '-q' before the command");
  expectUsage(
      {"--quiet", "check"},
      "The following argument was not expected: --quiet; see zemo-selfcheck check --help\n");
}

TEST_F(ProgramTest, NoCommand) {
  expectUsage({}, "A subcommand is required; see zemo-selfcheck --help\n");
}

TEST_F(ProgramTest, HelpAndVersion) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"--help"}, {"-h"}, {"check", "--help"}, {"files", "-h"}}) {
    ProgramRun const run = tool(words);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_NE(run.output.find("Examples:\n  zemo-selfcheck "), std::string::npos);
  }
  EXPECT_EQ(tool({"--version"}).output.find("zemo-selfcheck "), 0U);
  EXPECT_EQ(tool({"--version"}).status, 0);
}

TEST_F(ProgramTest, HelpThatCannotBeWrittenIsNoSuccess) {
  ProgramRun const run =
      runProgram({"/bin/sh", "-c", "exec \"$1\" --help >/dev/full", "sh", ZEMO_TOOL});
  EXPECT_EQ(run.status, unchecked);
  EXPECT_NE(run.errors, "");
}

// Standard error is a file, and JOURNAL_STREAM names that file, another file or none.
TEST_F(ProgramTest, LinesHaveAPriorityForTheJournalOnly) {
  const std::string message = "zemo-selfcheck: cannot open '/nowhere': No such file or directory\n";
  for (const auto& [stream, errors] : std::vector<std::pair<std::string, std::string>>{
           {"$(stat -L -c %d:%i /dev/fd/2)", "<3>" + message},
           {"$(stat -L -c %d:%i /)", message},
           {"x", message},
           {"", message}}) {
    ProgramRun const run = runProgram(
        {"/bin/sh", "-c", "JOURNAL_STREAM=" + stream + " exec \"$1\" files --from /nowhere", "sh",
         ZEMO_TOOL});
    EXPECT_EQ(run.status, notLoaded);
    EXPECT_EQ(run.errors, errors) << stream;
  }
}
