// zemo-selfcheck check on sets that the tests create.

#ifndef ZEMO_TESTS_UNIT_TOOLS_CHECK_FIXTURE_H
#define ZEMO_TESTS_UNIT_TOOLS_CHECK_FIXTURE_H

#include <string>
#include <utility>
#include <vector>

#include "support/signing_key.h"
#include "support/tool_fixture.h"

class CheckTest : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    if (!IsSkipped())
      key().trustedBy(listDir);
  }

  static const SigningKey& key() {
    static SigningKey const key;
    return key;
  }

  // Writes and signs a list of the system's own set; `lines` are entry lines.
  static std::string list(const std::vector<std::string>& lines,
                          const std::string& name = "wam.full.base.list") {
    std::string path = writeList(name, joined(lines));
    key().sign(path);
    return path;
  }

  // Installs the package and writes and signs its list.
  static std::string packageList(const std::string& package,
                                 const std::vector<std::string>& lines) {
    makeDirectory(std::string(packagesDir) + "/" + package + "/target");
    std::string path = writeList(std::string(listDir) + "/packages/" + package,
                                 package + ".full.base.list", joined(lines));
    key().sign(path);
    return path;
  }

  // An entry that checks only that the file exists.
  static std::string existing(const std::string& path) {
    return entryLine(path, "-", "-", "-", "-", "-", "-");
  }

  // Writes the file and returns its path.
  std::string file(const std::string& name, const std::string& content = "content") const {
    writeFile(files / name, content);
    return files / name;
  }

  static ProgramRun check(std::vector<std::string> words = {}) {
    words.insert(words.begin(), "check");
    return tool(std::move(words));
  }

  // `check WORD...` in the shell, after `commands`.
  static ProgramRun checkAfter(const std::string& commands, const std::vector<std::string>& words) {
    std::vector<std::string> all = {"/bin/sh", "-c",      commands + "\nexec \"$@\"",
                                    "sh",      ZEMO_TOOL, "check"};
    all.insert(all.end(), words.begin(), words.end());
    return runProgram(all);
  }

  // The same as a user who cannot read files against their permissions, even as root.
  static ProgramRun checkUnprivileged(const std::vector<std::string>& words = {}) {
    std::vector<std::string> all = {"/usr/bin/setpriv",
                                    "--bounding-set=-dac_override,-dac_read_search",
                                    "--inh-caps=-all", ZEMO_TOOL, "check"};
    all.insert(all.end(), words.begin(), words.end());
    return runProgram(all);
  }

  static std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
      text += line + "\n";
    return text;
  }

  static std::string lastLine(const std::string& text) {
    std::vector<std::string> const lines = linesOf(text);
    return lines.empty() ? "" : lines.back();
  }
};

#endif
