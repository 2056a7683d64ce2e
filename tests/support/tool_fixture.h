// The program zemo-selfcheck, run in the private root.

#ifndef ZEMO_TESTS_SUPPORT_TOOL_FIXTURE_H
#define ZEMO_TESTS_SUPPORT_TOOL_FIXTURE_H

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

  // The same in a separate mount namespace, after the shell script `before` has run there.
  static ProgramRun toolAfter(const std::string& before, const std::vector<std::string>& words) {
    std::vector<std::string> all = {"/usr/bin/unshare",       "--mount", "/bin/sh", "-ec",
                                    before + "\nexec \"$@\"", "sh",      ZEMO_TOOL};
    all.insert(all.end(), words.begin(), words.end());
    return runProgram(all);
  }

  // A script for toolAfter: /etc contains only the file `name` in its directory gnupg.
  static std::string systemWide(const std::string& name, const std::string& content) {
    return "mount -t tmpfs -o mode=755 none /etc\nmkdir /etc/gnupg\nprintf '" + content +
           "' >/etc/gnupg/" + name;
  }

  // An entry that checks only the size.
  static std::string sized(const std::string& path, const std::string& size) {
    return entryLine(path, size, "-", "f", "-", "-", "-");
  }

  // A directory for the files that lists name.
  TemporaryDirectory files;
};

#endif
