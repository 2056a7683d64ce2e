// zemo-selfcheck doctor, on a machine without problems until a test causes one.

#ifndef ZEMO_TESTS_UNIT_TOOLS_DOCTOR_FIXTURE_H
#define ZEMO_TESTS_UNIT_TOOLS_DOCTOR_FIXTURE_H

#include <string>
#include <vector>

#include "support/signing_key.h"
#include "support/tool_fixture.h"

class DoctorTest : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    if (IsSkipped())
      return;
    // The private root created them under the caller's umask.
    for (const char* const directory : {"/usr", "/usr/zemo", listDir})
      changeMode(directory, 0755);
    makeHome(listDir);
    addList("wam.full.base.list", sized("/a") + "\n");
  }

  static std::string home(const std::string& name) { return std::string(listDir) + "/" + name; }

  static void order(const std::string& content) { writeFile(home("listorder"), content); }

  // An entry without problems.
  static std::string sized(const std::string& path) {
    return entryLine(path, "1", "-", "f", "-", "-", "-");
  }

  static std::string fixed(const std::string& path, const std::string& type = "d") {
    return entryLine(path, "-", "FIXED", type, "-", "-", "-");
  }

  // Writes a list of the set wam and signs it.
  static std::string addList(const std::string& name, const std::string& lines) {
    return addList(listDir, name, lines);
  }
  static std::string addList(const std::string& directory, const std::string& name,
                             const std::string& lines) {
    std::string path = writeList(directory, name, lines);
    changeMode(directory, 0755);
    key().sign(path);
    changeMode(path + ".asc", 0644);
    return path;
  }

  // A package, and the directory of its set.
  static std::string installDemo() {
    makeDirectory(std::string(packagesDir) + "/demo/target");
    makeDirectory(home("packages/demo"));
    changeMode(home("packages"), 0755);
    changeMode(home("packages/demo"), 0755);
    return home("packages/demo");
  }

  static ProgramRun doctor(std::vector<std::string> words = {}) {
    words.insert(words.begin(), "doctor");
    return tool(words);
  }

  static SigningKey& key() {
    static SigningKey key;
    return key;
  }

  // A GnuPG home without files that only its owner could use.
  static void makeHome(const std::string& directory) {
    TemporaryDirectory const scratch;
    changeMode(scratch.path(), 0700);
    key().trustedBy(scratch.path());
    writeFile(directory + "/pubring.kbx", readFile(scratch / "pubring.kbx"));
    writeFile(directory + "/gpg.conf",
              "trust-model always\nweak-digest SHA1\nno-auto-key-retrieve\nno-auto-key-import\n"
              "no-auto-check-trustdb\nignore-time-conflict\n");
  }
};

// The run found exactly this one problem, says how to fix it in a line with `fix`, and ends with
// `status`.
inline void expectProblem(const ProgramRun& run, int status, const std::string& problem,
                          const std::string& fix) {
  std::vector<std::string> const lines = linesOf(run.output);
  EXPECT_EQ(run.status, status) << run.output;
  EXPECT_EQ(run.errors, "");
  ASSERT_EQ(lines.size(), 3U) << run.output;
  EXPECT_EQ(lines[0], "problem: " + problem);
  EXPECT_EQ(lines[1], "    fix: " + fix);
  EXPECT_EQ(lines[2].find("1 problem; "), 0U) << lines[2];
}

// Expects this problem, among others.
inline void expectAmong(const ProgramRun& run, int status, const std::string& problem) {
  EXPECT_EQ(run.status, status) << run.output;
  EXPECT_NE(("\n" + run.output).find("\nproblem: " + problem + "\n"), std::string::npos)
      << run.output;
}

#endif
