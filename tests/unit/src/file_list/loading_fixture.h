// Sets of lists to load, of the system and of packages. No program is run: each test chooses the
// result of the verification.

#ifndef ZEMO_TESTS_UNIT_SRC_FILE_LIST_LOADING_FIXTURE_H
#define ZEMO_TESTS_UNIT_SRC_FILE_LIST_LOADING_FIXTURE_H

#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include <string>
#include <vector>

#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_exec.h"
#include "support/files.h"
#include "support/private_root.h"

inline LogLine badHeader() {
  return logged("file_list", 108, "Format Error");
}

inline LogLine notParsed(const std::string& list) {
  return logged("file_list", 48, "Parse list [%s] failed.", list);
}

class LoadingTest : public PrivateRootTest {
 protected:
  void SetUp() override;

  // The entry line of a path with this hash column.
  static std::string line(const std::string& path, const std::string& hash = "-") {
    return entryLine(path, "-", hash, "-", "-", "-", "-") + "\n";
  }

  // Makes the list "wam.full.NAME.list" and returns its path.
  static std::string makeList(const std::string& name, const std::string& lines) {
    return writeList("wam.full." + name + ".list", lines);
  }

  static std::string makeSigned(const std::string& name, const std::string& lines) {
    std::string path = makeList(name, lines);
    writeFile(path + ".asc", "signature");
    return path;
  }

  static std::string makeMalformed(const std::string& name) {
    std::string path = makeList(name, "");
    writeFile(path, "not the header\n\n" + line("/malformed"));
    return path;
  }

  // Makes a list of a package's set; `directory` is relative to the directory of all package sets.
  static std::string makePackageList(const std::string& directory, const std::string& name,
                                     const std::string& lines) {
    return writeList(std::string(listDir) + "/packages/" + directory, name, lines);
  }

  static void writeOrder(const std::string& content) {
    writeFile(std::string(listDir) + "/listorder", content);
  }

  // The paths of the list's entries.
  static std::vector<std::string> pathsOf(const ZEMO::SELF_CHECK::FileList& list) {
    std::vector<std::string> paths;
    for (const auto& element : *list.getProtectedFiles())
      paths.push_back(element.first);
    return paths;
  }

  static boost::shared_ptr<ZEMO::SELF_CHECK::ProtectedFile> entryOf(
      const ZEMO::SELF_CHECK::FileList& list, const std::string& path) {
    return list.getProtectedFiles()->at(path);
  }

  static std::string hashOf(const ZEMO::SELF_CHECK::FileList& list, const std::string& path) {
    return entryOf(list, path)->_hash;
  }

  // The lists for which GnuPG was run.
  static std::vector<std::string> verified() {
    std::vector<std::string> paths;
    for (const ExecCall& call : execCalls)
      paths.push_back(call.words.back());
    return paths;
  }

  static void failVerification() {
    execResult = [](const ExecCall&) { return 1; };
  }

  ZEMO::SELF_CHECK::FileList _list{"wam", "full"};
};

#endif
