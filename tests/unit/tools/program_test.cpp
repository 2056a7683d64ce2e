// zemo-selfcheck without a command, or with an unknown one.

#include <algorithm>
#include <utility>

#include "support/started_program.h"
#include "support/tool_fixture.h"

namespace {

class ProgramTest : public ToolTest {
 protected:
  // The output of `zemo-selfcheck COMMAND --help` on a terminal of so many columns.
  static std::vector<std::string> helpAt(const std::string& columns, const std::string& command) {
    StartedProgram program({"/bin/sh", "-ec", "stty cols \"$1\"; exec \"$2\" \"$3\" --help", "sh",
                            columns, ZEMO_TOOL, command},
                           StartedProgram::terminal);
    EXPECT_TRUE(program.endsWithin(20));
    EXPECT_EQ(program.run().errors, "");
    return linesOf(program.screen().screen());
  }

  static std::size_t widest(const std::vector<std::string>& lines) {
    std::size_t width = 0;
    for (const std::string& line : lines) {
      if (line.find("Example") == 0)
        break;  // the examples are not wrapped
      width = std::max(width, line.size());
    }
    return width;
  }

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
  expectUsage({"chekc", "wam"}, "unknown command 'chekc'; the commands are check, files");
  expectUsage({"chekc", "--help"}, "unknown command 'chekc'; the commands are check, files");
  expectUsage({""}, "unknown command ''; the commands are check, files");
  expectUsage({"-"}, "unknown command '-'; the commands are check, files");
}

TEST_F(ProgramTest, BracketsAreLeftAlone) {
  expectUsage({"[check,files]"}, "unknown command '[check,files]'; the commands are ");
  expectUsage({"check", "[wam,demo]"}, "'[wam,demo]' is not a valid set name");
  expectUsage({"check", "[]"}, "'[]' is not a valid set name");
  expectUsage({"check", "--jobs", "[1]"}, "--jobs takes a number from 1 to 1024, not '[1]'");
  expectUsage({"make", "--package", "[a]", "--output", "wam.full.x.list", "/"},
              "'[a]' is not a valid set name");
  EXPECT_EQ(tool({"files", "\x01x"}).status, notLoaded);
  EXPECT_EQ(tool({"files", "--from", "\x01x"}).errors,
            "zemo-selfcheck: cannot open '\\001x': No such file or directory\n");
}

TEST_F(ProgramTest, UnknownCommandIsEscaped) {
  expectUsage({"che\n\x1b[2J"}, "unknown command 'che\\012\\033[2J'; the commands are ");
}

TEST_F(ProgramTest, OptionBeforeTheCommandIsNamed) {
  expectUsage({"--bogus"},
              "unknown option --bogus before the command; see zemo-selfcheck --help\n");
  expectUsage({"-q", "--help"}, "unknown option -q before the command");
  expectUsage({"--quiet", "check"},
              "unknown option --quiet before the command; see zemo-selfcheck --help\n");
  expectUsage({"chekc", "check"}, "unknown command 'chekc'; the commands are check, files");
}

TEST_F(ProgramTest, NoCommand) {
  expectUsage({}, "a command is required; see zemo-selfcheck --help\n");
}

TEST_F(ProgramTest, WrongWordsOfACommandAreNamed) {
  std::string const seeCheck = "; see zemo-selfcheck check --help\n";
  std::string const seeMake = "; see zemo-selfcheck make --help\n";
  expectUsage({"check", "--foo"}, "unknown option --foo" + seeCheck);
  expectUsage({"check", "--foo=bar", "--all"}, "unknown option --foo" + seeCheck);
  for (const std::string option : {"--root", "--lists"})
    expectUsage({"files", option + "=/mnt", "/a"},
                "unknown option " + option +
                    ": files asks the C function, which knows only this machine's files; use check "
                    "--root; see zemo-selfcheck files --help\n");
  expectUsage({"check", "-zx"}, "unknown option -x" + seeCheck);
  expectUsage({"check", "--f\no"}, "unknown option --f\\012o" + seeCheck);
  expectUsage({"make", "--foo"}, "unknown option --foo" + seeMake);
  expectUsage({"diff", "a", "b", "c"}, "unexpected argument 'c'; see zemo-selfcheck diff --help\n");
  expectUsage({"doctor", "wam"}, "unexpected argument 'wam'; see zemo-selfcheck doctor --help\n");
}

TEST_F(ProgramTest, WrongValuesAreNamedWithTheirOption) {
  std::string const see = "; see zemo-selfcheck check --help\n";
  for (const std::string option :
       {"--mode", "--items", "--under", "--jobs", "--accept", "--metrics", "--format"}) {
    expectUsage({"check", option}, option + " needs a value" + see);
    expectUsage({"check", option + "="}, option + " needs a value" + see);
  }
  expectUsage({"check", "--under", "/a", "--under", "/b", "--under"},
              "--under needs a value" + see);
  for (const std::string option : {"--mode", "--items", "--under", "--jobs", "--format"})
    expectUsage({"check", option, "--all"}, option + " needs a value before --all" + see);
  expectUsage({"make", "--dpkg", "--output", "x"},
              "--dpkg needs a value before --output; see zemo-selfcheck make --help\n");
  for (const std::string option : {"--mode", "--accept", "--metrics"})
    expectUsage({"check", option, "a", option, "b"}, option + " may be given only once" + see);
  expectUsage({"check", "--jobs", "1", "--jobs=2"}, "--jobs may be given only once" + see);
  expectUsage({"check", "--format", "text", "--format", "json"},
              "--format may be given only once" + see);
  for (const std::string number : {"0", "1025", "x", "0x1", "-1", "1.5"})
    expectUsage({"check", "--jobs", number},
                "--jobs takes a number from 1 to 1024, not '" + number + "'" + see);
  expectUsage({"check", "--format", "xml"}, "--format takes text, paths or json, not 'xml'" + see);
  expectUsage({"show", "--format", "paths"},
              "--format takes text or json, not 'paths'; see zemo-selfcheck show --help\n");
  for (const std::string value : {"x", "--quiet", "x --quiet y"})
    expectUsage({"check", "--all=" + value}, "--all takes no value" + see);
  expectUsage({"check", "--quiet=x --all y"}, "--quiet takes no value" + see);
}

TEST_F(ProgramTest, MissingWordsAreNamed) {
  expectUsage({"make", "/etc"}, "--output is required; see zemo-selfcheck make --help\n");
  expectUsage({"sign", "a.list"}, "--key is required; see zemo-selfcheck sign --help\n");
  expectUsage({"sign", "--key", "x"}, "LIST is required; see zemo-selfcheck sign --help\n");
  expectUsage({"remove-key"}, "FINGERPRINT is required; see zemo-selfcheck remove-key --help\n");
  expectUsage({"diff", "a"}, "NEW is required; see zemo-selfcheck diff --help\n");
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

TEST_F(ProgramTest, HelpIsAlsoACommand) {
  EXPECT_EQ(tool({"help"}).output, tool({"--help"}).output);
  EXPECT_EQ(tool({"help", "help"}).output, tool({"--help"}).output);
  for (const std::string command : {"check", "init-home"}) {
    ProgramRun const run = tool({"help", command});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(run.output, tool({command, "--help"}).output);
  }
  expectUsage({"help", "chekc"}, "unknown command 'chekc'; the commands are check, files");
  expectUsage({"help", "check", "[files"}, "help takes one command, not also '[files'\n");
}

TEST_F(ProgramTest, HelpShowsValuesAndWhatIsRequired) {
  std::vector<std::string> const make = linesOf(tool({"make", "--help"}).output);
  for (const std::string line :
       {"Usage: zemo-selfcheck make [OPTION...] [PATH...]",
        "  PATH...                 Files, and directories with everything below them",
        "  -z, --null              Names read by --from end with a zero byte",
        "  --dpkg PACKAGE...       List the files of these Debian packages",
        "  --mode MODE             Mode of the list (default: full)"})
    EXPECT_NE(std::find(make.begin(), make.end(), line), make.end()) << line;
  std::vector<std::string> const merge = linesOf(tool({"merge", "--help"}).output);
  for (const std::string line : {"Usage: zemo-selfcheck merge [OPTION...] --output FILE LIST...",
                                 "  --output FILE           List to write (required)"})
    EXPECT_NE(std::find(merge.begin(), merge.end(), line), merge.end()) << line;
  std::string const sign = tool({"sign", "--help"}).output;
  EXPECT_NE(sign.find("\nUsage: zemo-selfcheck sign [OPTION...] LIST...\n"), std::string::npos);
  EXPECT_NE(sign.find("\n  LIST...                 Lists to sign (required)\n"), std::string::npos);
  std::string const check = tool({"check", "--help"}).output;
  EXPECT_NE(check.find("\n  --format text|paths|json\n"
                       "                          Output format (default: text)\n"),
            std::string::npos);
}

TEST_F(ProgramTest, HelpIsAsWideAsTheTerminal) {
  for (const std::string command : {"check", "files", "verify", "show", "diff", "doctor", "make",
                                    "merge", "sign", "init-home", "remove-key"}) {
    EXPECT_LE(widest(helpAt("60", command)), 60U) << command;
    EXPECT_LE(widest(helpAt("40", command)), 40U) << command;
    EXPECT_EQ(helpAt("20", command), helpAt("40", command));
  }
  std::vector<std::string> const wide = helpAt("120", "make");
  EXPECT_LE(widest(wide), 120U);
  EXPECT_GT(widest(wide), 100U);
}

TEST_F(ProgramTest, HelpHas80ColumnsWhereThereIsNoTerminal) {
  std::string const help = tool({"make", "--help"}).output;
  EXPECT_LE(widest(linesOf(help)), 80U);
  EXPECT_GT(widest(linesOf(help)), 75U);
  EXPECT_EQ(helpAt("80", "make"), linesOf(help));
  EXPECT_EQ(runProgram({"/usr/bin/env", "COLUMNS=50", ZEMO_TOOL, "make", "--help"}).output, help);
  EXPECT_EQ(helpAt("0", "make"), linesOf(help)) << "a terminal that does not say";
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
