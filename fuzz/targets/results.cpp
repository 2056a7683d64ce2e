// The flag words of named files. Every line of an input lists a file or names one:
//
//   LETTER TAB SIZE TAB HASH TAB TYPE TAB PERMISSION TAB OWNER TAB GROUP   lists one of our files
//   +PATH TAB HASH                                                         lists any other path
//   LETTER                                                                 names one of our files
//   ?PATH                                                                  names any other path
//
// A column of "=" has the right value. The letters are those of the types, or n for a missing file,
// or x for an unreadable file.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <zemo/selfcheck.h>

#include <boost/make_shared.hpp>
#include <cstring>
#include <map>

#include "engine/agree.h"
#include "engine/scratch.h"
#include "engine/target.h"
#include "models/number.h"
#include "support/doubles/recorded_log.h"
#include "support/fixed_directories_model.h"

using namespace ZEMO::SELF_CHECK;

namespace {

const char* const digest = "040f06fd774092478d450774f5ba30c5da78acc8";  // of "content"

struct File {
  std::string path;
  std::string content;  // its correct hash column
  struct stat status = {};
  bool exists = false;
};

std::map<char, File> madeFiles() {
  const std::string& root = fuzz::scratch();
  fuzz::writeFile(root + "/f", "content");
  (void)symlink("target", (root + "/l").c_str());
  (void)mkdir((root + "/d").c_str(), 0755);
  (void)mkfifo((root + "/p").c_str(), 0600);
  (void)mknod((root + "/s").c_str(), S_IFSOCK | 0600, 0);
  std::map<char, File> files = {{'f', {root + "/f", digest}},        {'l', {root + "/l", "target"}},
                                {'d', {root + "/d", "FIXED"}},       {'p', {root + "/p", "-"}},
                                {'s', {root + "/s", "-"}},           {'c', {"/dev/null", "1,3"}},
                                {'x', {"/proc/self/mem", "cannot"}}, {'n', {root + "/n", "none"}}};
  (void)chmod((root + "/f").c_str(), 06751);
  for (auto& [letter, file] : files)
    file.exists = lstat(file.path.c_str(), &file.status) == 0;
  return files;
}

const std::map<char, File>& files() {
  static std::map<char, File> const made = madeFiles();
  return made;
}

std::string octal(mode_t mode) {
  std::ostringstream text;
  text << std::oct << (mode & 07777);
  return text.str();
}

// The right columns after the path.
std::vector<std::string> rightColumns(char letter, const File& file) {
  return {std::to_string(file.status.st_size),          file.content,
          std::string(1, letter == 'x' ? 'f' : letter), octal(file.status.st_mode),
          std::to_string(file.status.st_uid),           std::to_string(file.status.st_gid)};
}

using Columns = std::vector<std::string>;

// The flag word of a listed file that can be read.
uint32_t wordOf(char letter, const File& file, const Columns& columns) {
  if (!file.exists)
    return 0x40;
  bool const isLink = letter == 'l';
  bool const hasSize = letter == 'f' || letter == 'x' || isLink;
  auto const differs = [&columns](std::size_t column, bool applies, bool same) {
    return columns[column] != "-" && applies && !same;
  };
  auto const low32 = [](uint64_t number) { return static_cast<uint32_t>(number); };
  uint32_t word = 0;
  word |= differs(0, hasSize, fuzz::signedNumberOf(columns[0]) == file.status.st_size) ? 0x01 : 0;
  word |= differs(4, !isLink, low32(fuzz::unsignedNumberOf(columns[4], 10)) == file.status.st_uid)
              ? 0x02
              : 0;
  word |= differs(5, !isLink, low32(fuzz::unsignedNumberOf(columns[5], 10)) == file.status.st_gid)
              ? 0x04
              : 0;
  word |= differs(2, true, columns[2] == rightColumns(letter, file)[2]) ? 0x08 : 0;
  word |= differs(3, !isLink,
                  low32(fuzz::unsignedNumberOf(columns[3], 8)) == (file.status.st_mode & 07777))
              ? 0x10
              : 0;
  bool const hasContent = letter == 'f' || letter == 'c' || isLink;
  word |= differs(1, hasContent, columns[1] == file.content) ? 0x20 : 0;
  return word;
}

class Set {
 public:
  void list(char letter, Columns columns) {
    const File& file = files().at(letter);
    Columns const right = rightColumns(letter, file);
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (columns[i] == "=")
        columns[i] = right[i];
    }
    auto entry = boost::make_shared<ProtectedFile>("");
    entry->_path = file.path;
    entry->_size = columns[0];
    entry->_hash = columns[1];
    entry->_type = columns[2];
    entry->_permission = columns[3];
    entry->_owner = columns[4];
    entry->_group = columns[5];
    (*_list.getProtectedFiles())[file.path] = entry;
    _listed[file.path] = {letter, columns};
  }

  // An entry whose file is not checked.
  void listOther(const std::string& path, const std::string& hash) {
    auto entry = boost::make_shared<ProtectedFile>("");
    entry->_path = path;
    entry->_hash = hash;
    (*_list.getProtectedFiles())[path] = entry;
    _listed[path] = {'\0', {"-", hash}};
  }

  void name(const std::string& path) {
    auto const found = _listed.find(path);
    if (found == _listed.end() || found->second.letter != '\0')
      _paths.push_back(path);
  }

  void check() {
    _list.fillFixedDirInfo();
    clearLog();
    std::vector<SELFCHECK_RESULT> results;
    bool const checked = _list.checkFiles(_paths, results);
    std::vector<uint32_t> words(results.size());
    if (!words.empty())
      memcpy(words.data(), results.data(), words.size() * sizeof(uint32_t));

    std::vector<uint32_t> expected;
    std::vector<LogLine> log;
    for (const std::string& path : _paths) {
      auto const found = _listed.find(path);
      if (found == _listed.end())
        expected.push_back(isInFixedDirectory(path) ? 0x180 : 0x80);
      else if (found->second.letter == 'x' && found->second.columns[1] != "-")
        expectUnreadable(path, log);
      else
        expected.push_back(
            wordOf(found->second.letter, files().at(found->second.letter), found->second.columns));
    }
    fuzz::agree("checkFiles", checked, log.empty());
    fuzz::agree("words", words, expected);
    fuzz::agree("log", recordedLog(), log);
  }

 private:
  struct Listed {
    char letter;
    Columns columns;
  };

  static void expectUnreadable(const std::string& path, std::vector<LogLine>& log) {
    log.push_back(logged("protected_file", 288, "Calculate hash of file [%s] failed", path));
    log.push_back(logged("file_list", 187, "SelfCheck check file [%s] failed.", path));
  }

  bool isInFixedDirectory(const std::string& path) const {
    for (const auto& [directory, listed] : _listed) {
      if (listed.columns[1] == "FIXED" && fuzz::liesIn(directory, path))
        return true;
    }
    return false;
  }

  FileList _list{"wam", "full"};
  std::map<std::string, Listed> _listed;
  std::vector<std::string> _paths;
};

void run(fuzz::Input input) {
  Set set;
  std::vector<std::string> named;
  while (!input.atEnd()) {
    Columns columns = fuzz::split(input.line(), '\t');
    std::string const first = columns[0];
    columns.erase(columns.begin());
    if (first.size() == 1 && files().count(first[0]) != 0) {
      if (columns.size() == 6)
        set.list(first[0], columns);
      else
        named.push_back(files().at(first[0]).path);
    } else if (first.substr(0, 1) == "+" && columns.size() == 1) {
      set.listOther("/none" + first.substr(1), columns[0]);
    } else if (first.substr(0, 1) == "?") {
      named.push_back("/none" + first.substr(1));
    }
  }
  for (const std::string& path : named)
    set.name(path);
  set.check();
}

fuzz::Target const target("results", run);

}  // namespace
