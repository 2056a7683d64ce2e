// zemo-selfcheck check on a terminal: progress, colour, escaping.

#include <unistd.h>

#include "fixture.h"
#include "support/started_program.h"

namespace {

const std::string takenOff = "\r\x1b[K";

class CheckTerminalTest : public CheckTest {
 protected:
  // An entry whose check takes longer than the delay before progress is shown.
  std::string slow(const std::string& name, int gigabytes) const {
    std::string const path = file(name, "");
    EXPECT_EQ(truncate(path.c_str(), off_t{gigabytes} << 30U), 0);
    return entryLine(path, std::to_string(off_t{gigabytes} << 30U), "00", "f", "-", "-", "-");
  }

  // The output of `check WORD...` on a terminal, which is its standard output and, with `both`, its
  // standard error.
  static std::string shown(const std::vector<std::string>& environment,
                           const std::vector<std::string>& words, bool both = false) {
    std::vector<std::string> all = {"/usr/bin/env", "-u", "NO_COLOR", "-u", "TERM"};
    all.insert(all.end(), environment.begin(), environment.end());
    all.insert(all.end(), {ZEMO_TOOL, "check"});
    all.insert(all.end(), words.begin(), words.end());
    StartedProgram program(all, StartedProgram::terminal,
                           both ? StartedProgram::terminal : StartedProgram::file);
    EXPECT_TRUE(program.endsWithin(20));
    return program.screen().screen();
  }

  static std::size_t count(const std::string& text, const std::string& part) {
    std::size_t number = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
      ++number;
    return number;
  }
};

}  // namespace

TEST_F(CheckTerminalTest, ProgressIsShownOnStandardErrorAndErased) {
  list({entryLine(file("a")), slow("b", 8)});
  StartedProgram program({ZEMO_TOOL, "check", "--jobs", "1"}, StartedProgram::file,
                         StartedProgram::terminal);
  Terminal& terminal = program.screen();
  ASSERT_TRUE(eventually([&] {
    terminal.read(10);
    return terminal.screen().find("1 of 2 files, 0.0 of 8.6 GB, ") != std::string::npos;
  })) << terminal.screen();
  EXPECT_NE(terminal.screen().find(" left\x1b[K"), std::string::npos);
  terminal.type("\x03");
  ASSERT_TRUE(program.endsWithin(1));
  std::string const screen = terminal.screen();
  std::string const end =
      takenOff + "zemo-selfcheck: interrupted while checking '" + (files / "b") + "'\n";
  ASSERT_GT(screen.size(), end.size());
  EXPECT_EQ(screen.substr(screen.size() - end.size()), end);
  EXPECT_EQ(screen.find('\n'), screen.size() - 1);
  EXPECT_EQ(program.run().output,
            "interrupted, partial result: checked 1 of 2 entries of 1 set: 0 changed, 0 missing, 0 "
            "stray, 0 could not be checked\n");
}

TEST_F(CheckTerminalTest, NoProgressIfUnwanted) {
  list({slow("b", 1)});
  for (const std::string option : {"--no-progress", "--quiet"}) {
    StartedProgram program({ZEMO_TOOL, "check", option}, StartedProgram::file,
                           StartedProgram::terminal);
    ASSERT_TRUE(program.endsWithin(20));
    EXPECT_EQ(program.screen().screen(), "") << option;
  }
}

TEST_F(CheckTerminalTest, NoProgressInAFile) {
  list({slow("b", 1)});
  StartedProgram program({ZEMO_TOOL, "check"}, StartedProgram::terminal, StartedProgram::file);
  ASSERT_TRUE(program.endsWithin(20));
  EXPECT_EQ(program.run().errors, "");
  EXPECT_EQ(program.screen().screen().find(takenOff), std::string::npos);
}

TEST_F(CheckTerminalTest, ProgressIsErasedBeforeALine) {
  list({slow("b", 1), entryLine(file("c"), "1", "-", "f", "-", "-", "-")});
  std::string const screen = shown({}, {"--jobs", "1"}, true);
  // The progress was on the row of the first line.
  std::size_t const line = screen.find((files / "b") + " hash expect[00] but get[");
  ASSERT_NE(line, std::string::npos) << screen;
  std::string const before = screen.substr(0, line);
  EXPECT_NE(before.find(" of 2 files"), std::string::npos);
  ASSERT_GE(before.size(), takenOff.size());
  EXPECT_EQ(before.substr(before.size() - takenOff.size()), takenOff);
  EXPECT_NE(screen.find("]\n" + (files / "c") + " size expect[1] but get[7]\n"), std::string::npos);
  std::size_t const summary = screen.find("checked 2 entries");
  ASSERT_NE(summary, std::string::npos);
  EXPECT_EQ(screen.find(" files", summary), std::string::npos) << "progress after the summary";
}

TEST_F(CheckTerminalTest, FindingsAreRedAndSuccessIsGreen) {
  list({existing("/nowhere")});
  EXPECT_EQ(shown({"TERM=xterm"}, {}),
            "\x1b[31m/nowhere not exist expect[] but get[]\x1b[0m\n"
            "\x1b[31mchecked 1 entry of 1 set: 0 changed, 1 missing, 0 stray, 0 could not be "
            "checked\x1b[0m\n");
  writeFile(files / "known", "/nowhere\n");
  EXPECT_EQ(shown({"TERM=xterm"}, {"--accept", files / "known"}),
            "\x1b[33m/nowhere not exist expect[] but get[] (accepted)\x1b[0m\n"
            "\x1b[32mchecked 1 entry of 1 set: 0 changed, 0 missing, 0 stray, 0 could not be "
            "checked, 1 accepted\x1b[0m\n");
}

TEST_F(CheckTerminalTest, ColourOnlyIfWanted) {
  list({existing("/nowhere")});
  using Words = std::vector<std::string>;
  for (const Words& environment : {Words{"TERM=xterm", "NO_COLOR=1"},
                                   Words{"TERM=xterm", "NO_COLOR=0"}, Words{"TERM=dumb"}, Words{}})
    EXPECT_EQ(shown(environment, {}).find('\x1b'), std::string::npos)
        << testing::PrintToString(environment);
  EXPECT_NE(shown({"TERM=xterm", "NO_COLOR="}, {}).find("\x1b[31m"), std::string::npos);
  for (const char* const format : {"paths", "json"})
    EXPECT_EQ(shown({"TERM=xterm"}, {"--format", format}).find('\x1b'), std::string::npos);
}

TEST_F(CheckTerminalTest, NoColourInAFile) {
  list({existing("/nowhere")});
  StartedProgram program({"/usr/bin/env", "-u", "NO_COLOR", "TERM=xterm", ZEMO_TOOL, "check"},
                         StartedProgram::file, StartedProgram::terminal);
  ASSERT_TRUE(program.endsWithin(20));
  EXPECT_EQ(program.run().output.find('\x1b'), std::string::npos);
}

TEST_F(CheckTerminalTest, NamesDoNotReachTheTerminalAsTheyAre) {
  makeDirectory(files / "fixed");
  file(
      "fixed/\x1b]0;title\x07\r\n\xc2\x9b"
      "2J");
  list({existing("/nowhere/\x1b[2J\x9b"),
        entryLine(files / "fixed", "-", "FIXED", "d", "-", "-", "-")});
  for (const char* const format : {"text", "paths", "json"}) {
    std::string const screen = shown({"NO_COLOR=1"}, {"--no-progress", "--format", format}, true);
    EXPECT_EQ(screen.find_first_of("\x1b\x07\r\x9b"), std::string::npos) << screen;
  }
}
