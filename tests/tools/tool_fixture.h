// The program zemo-selfcheck, run as a program in the private root.

#ifndef ZEMO_TESTS_TOOLS_TOOL_FIXTURE_H
#define ZEMO_TESTS_TOOLS_TOOL_FIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/files.h"
#include "support/private_root.h"
#include "support/program.h"
#include "support/temporary_directory.h"

// The bits of the exit status.
enum : int { changed = 1, missing = 2, stray = 4, unchecked = 8, notLoaded = 16, usage = 64 };

class ToolTest : public PrivateRootTest {
 protected:
  // Runs `zemo-selfcheck WORD...`.
  static ProgramRun tool(std::vector<std::string> words, const std::string& input = "") {
    words.insert(words.begin(), ZEMO_TOOL);
    return runProgram(words, input);
  }

  // A directory for the files that lists name.
  TemporaryDirectory files;
};

#endif
