// Sets whose files exist, and the effects of checking them.

#ifndef ZEMO_TESTS_UNIT_SRC_FILE_LIST_LIST_CHECK_FIXTURE_H
#define ZEMO_TESTS_UNIT_SRC_FILE_LIST_LIST_CHECK_FIXTURE_H

#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include <string>
#include <vector>

#include "loading_fixture.h"
#include "support/doubles/recorded_log.h"
#include "support/errors_of.h"
#include "support/files.h"
#include "support/temporary_directory.h"

class ListCheckTest : public LoadingTest {
 protected:
  // Loads a list of these entries.
  void load(const std::string& lines) {
    makeList("a", lines);
    ASSERT_TRUE(_list.loadList(false));
  }

  // Makes a file and returns its entry line.
  std::string intact(const std::string& name) const {
    writeFile(in(name), "content");
    return entryLine(in(name)) + "\n";
  }

  // Makes a file and returns an entry line with a different size.
  std::string altered(const std::string& name) const {
    writeFile(in(name), "content");
    return entryLine(in(name), "8", "-", "-", "-", "-", "-") + "\n";
  }

  // Makes an unreadable file and returns an entry line with a digest and this size column.
  std::string unreadable(const std::string& name, const std::string& size = "-") const {
    writeFile(in(name), "content", 0);
    return entryLine(in(name), size, std::string(40, '0'), "-", "-", "-", "-") + "\n";
  }

  std::vector<std::string> errors(const std::string& name) const {
    return errorsOf(*entryOf(_list, in(name)));
  }

  std::string in(const std::string& name) const { return _directory / name; }

  // The log lines for an unreadable file.
  std::vector<LogLine> unreadableLines(const std::string& name) const {
    return {logged("protected_file", 365, "Open file [%s] failed", in(name)),
            logged("protected_file", 288, "Calculate hash of file [%s] failed", in(name)),
            logged("file_list", 150, "Check file [%s] failed.", in(name))};
  }

  // Adds a hook that records `name` and the path, and sets the flag.
  void addHook(const std::string& name, bool flag) {
    _list.addHook([this, name, flag](boost::shared_ptr<ZEMO::SELF_CHECK::ProtectedFile>& entry,
                                     bool& changed) {
      calls.push_back(name + " " + entry->_path + (changed ? " changed" : " accepted"));
      changed = flag;
      return 0;
    });
  }

  std::vector<std::string> calls;

 private:
  TemporaryDirectory _directory;
};

#endif
