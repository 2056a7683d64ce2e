// A set of two lists that were signed together with their manifest.

#ifndef ZEMO_TESTS_UNIT_TOOLS_MANIFEST_FIXTURE_H
#define ZEMO_TESTS_UNIT_TOOLS_MANIFEST_FIXTURE_H

#include <string>
#include <vector>

#include "../doctor/fixture.h"

// The list `base` names the file "tool", the list `local` the file "config".
class ManifestTest : public DoctorTest {
 protected:
  void SetUp() override {
    DoctorTest::SetUp();
    if (IsSkipped())
      return;
    writeFile(home("tool"), "tool");
    writeFile(home("config"), "config");
    list("base", "2", "tool");
    list("local", "2", "config");
    order("wam.full.base.list\nwam.full.local.list\n");
    ProgramRun const run = signAll();
    ASSERT_EQ(run.status, 0) << run.errors;
  }

  // Writes a list that names this file.
  static void list(const std::string& name, const std::string& serial, const std::string& file) {
    writeFile(home("wam.full." + name + ".list"),
              "WAM_SELF_CHECK\nset=wam mode=full list=" + name + " serial=" + serial +
                  " date=2026-09-21T12:00:00Z\n" + entryLine(home(file)) + "\n");
  }

  static ProgramRun sign(std::vector<std::string> words) {
    words.insert(words.begin(), "sign");
    words.insert(words.end(), {"--key", "Maker", "--homedir", key().home()});
    return tool(words);
  }
  static ProgramRun signAll(const std::string& serial = "5") {
    return sign({"--manifest", manifest, "--serial", serial, base, local});
  }

  static ProgramRun check(const std::vector<std::string>& words = {}) {
    std::vector<std::string> all = {"check", "--require", "manifest"};
    all.insert(all.end(), words.begin(), words.end());
    return tool(all);
  }
  static ProgramRun verify() { return tool({"verify", "--strict", "--key", fingerprint()}); }

  static std::string fingerprint() {
    static const std::string print = [] {
      ProgramRun const run = runProgram({"/usr/bin/gpg", "--homedir", key().home(), "--batch",
                                         "--with-colons", "--list-keys", "Maker"});
      std::size_t const start = run.output.find("\nfpr:::::::::") + 13;
      return run.output.substr(start, run.output.find(':', start) - start);
    }();
    return print;
  }

  inline static const std::string manifest = home("wam.full.manifest");
  inline static const std::string base = home("wam.full.base.list");
  inline static const std::string local = home("wam.full.local.list");
};

#endif
