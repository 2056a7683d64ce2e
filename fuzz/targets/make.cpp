// The maker of lists: a list of any tree can be read back, names every file, and checks as clean;
// after a change to one of the files it no longer does. Every line of an input is a file: the
// letter of its type (f, d, l, p, s), three octal digits, the number of its parent directory (a
// letter from a on), a letter that is upper case for a directory with fixed members, then the name,
// up to a \x01, and last the content or target. The last line may be ~NUMBER: the file to change.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zemo/selfcheck.h>

#include <algorithm>
#include <cstdlib>

#include "engine/agree.h"
#include "engine/captured_output.h"
#include "engine/scratch.h"
#include "engine/target.h"
#include "models/escape.h"
#include "program.h"
#include "support/doubles/recorded_log.h"

using namespace ZEMO::SELF_CHECK;

namespace {

struct File {
  char type;
  mode_t mode;
  std::string path;
  std::string content;
};

bool isColumn(const std::string& text) {
  return text.find_first_of("\t\n") == std::string::npos;
}

class Tree {
 public:
  Tree() : _root(fuzz::scratch() + "/tree") {
    fuzz::makeEmpty(fuzz::scratch());
    (void)mkdir(_root.c_str(), 0755);
    _directories = {_root};
    _paths = {_root};
  }

  // A line of the input.
  void add(fuzz::Input line) {
    char const type = static_cast<char>(line.byte());
    mode_t mode = 0;
    for (int digits = 0; digits < 3; ++digits)
      mode = mode << 3 | (line.byte() & 7U);
    std::string const& directory = _directories[(line.byte() - 'a') % _directories.size()];
    char const fixed = static_cast<char>(line.byte());
    std::string const name = fuzz::beforeNul(line.upTo('\x01'));
    File const file = {type, mode, directory + "/" + name, fuzz::beforeNul(line.rest())};
    if (name.empty() || name.size() > 255 || name == "." || name == ".." || hasSlash(name) ||
        _files.size() >= 30 || !create(file))
      return;
    _files.push_back(file);
    _paths.push_back(file.path);
    if (type == 'd')
      _directories.push_back(file.path);
    if (type == 'd' && fixed >= 'A' && fixed <= 'Z')
      _fixed.push_back(file.path);
  }

  // Whether its list can be made.
  bool canBeListed() const {
    return std::all_of(_files.begin(), _files.end(), [](const File& file) {
      bool const readable =
          geteuid() == 0 || file.type != 'f' || access(file.path.c_str(), R_OK) == 0;
      bool const target = file.type != 'l' || (isColumn(file.content.substr(0, 1023)) &&
                                               file.content != "-" && file.content != "FIXED");
      return readable && target && isColumn(file.path);
    });
  }

  int make(const std::string& output) const {
    std::vector<std::string> words = {"zemo-selfcheck", "make", "--output", output, "--jobs", "1",
                                      "--serial",       "1",    "--"};
    for (const std::string& directory : _fixed)
      words.insert(words.end() - 1, {"--fixed", directory});
    words.push_back(_root);
    std::vector<const char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words)
      arguments.push_back(word.c_str());
    arguments.push_back(nullptr);
    int status = -1;
    fuzz::Output const text = fuzz::captured(
        [&] { status = tool::runProgram(static_cast<int>(words.size()), arguments.data()); });
    fuzz::require(fuzz::isHarmless(text.errors), "messages are harmless: " + text.errors);
    return status;
  }

  std::vector<std::string> paths() const {
    std::vector<std::string> sorted = _paths;
    std::sort(sorted.begin(), sorted.end());
    return sorted;
  }

  // Changes one file; false if there is none, or if the check would not notice the change.
  bool change(std::size_t number) {
    if (_files.empty())
      return false;
    const File& file = _files[number % _files.size()];
    const char* const path = file.path.c_str();
    if (file.type == 'l')
      return unlink(path) == 0 &&
             symlink((file.content + "x").substr(0, 1023).c_str(), path) == 0 &&
             file.content.size() < 1023;
    if (number / _files.size() % 2 == 0)
      return chmod(path, file.mode ^ 1U) == 0;
    if (file.type == 'f')
      return truncate(path, static_cast<off_t>(file.content.size()) + 1) == 0;
    return file.type != 'd' && unlink(path) == 0;
  }

 private:
  static bool hasSlash(const std::string& name) { return name.find('/') != std::string::npos; }

  static bool create(const File& file) {
    const char* const path = file.path.c_str();
    if (file.type == 'd')
      return mkdir(path, 0700) == 0 && chmod(path, file.mode | 0700U) == 0;
    if (file.type == 'l')
      return symlink(file.content.c_str(), path) == 0;
    if (file.type == 'p')
      return mkfifo(path, 0) == 0 && chmod(path, file.mode) == 0;
    if (file.type == 's')
      return mknod(path, S_IFSOCK, 0) == 0 && chmod(path, file.mode) == 0;
    if (file.type != 'f' || access(path, F_OK) == 0)
      return false;
    int const descriptor = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0)
      return false;
    bool const written = write(descriptor, file.content.data(), file.content.size()) ==
                         static_cast<ssize_t>(file.content.size());
    return fchmod(descriptor, file.mode) == 0 && close(descriptor) == 0 && written;
  }

  std::string _root;
  std::vector<std::string> _directories;
  std::vector<std::string> _fixed;
  std::vector<std::string> _paths;
  std::vector<File> _files;
};

bool isClean(const std::string& list, std::vector<std::string>& paths) {
  clearLog();
  FileList files("wam", "full");
  fuzz::require(files.parseList(list) && files.fillFixedDirInfo(), "the list reads back");
  for (const auto& element : *files.getProtectedFiles())
    paths.push_back(element.first);
  bool const clean = files.checkFiles(CHECK_ITEM_ALL);
  // Unreadable files are logged, and do not count as differences.
  fuzz::agree("log", recordedLog(), std::vector<LogLine>());
  return clean;
}

void run(fuzz::Input input) {
  ProtectedFile::_pkginfo.isSet = false;
  Tree tree;
  std::string last;
  while (!input.atEnd()) {
    last = input.line();
    tree.add(fuzz::Input(last));
  }
  std::string const list = fuzz::scratch() + "/wam.full.a.list";
  bool const listed = tree.canBeListed();
  fuzz::agree("exit status", tree.make(list), listed ? 0 : 8);
  fuzz::agree("the list is there", access(list.c_str(), F_OK) == 0, listed);
  if (!listed)
    return;
  std::vector<std::string> paths;
  fuzz::require(isClean(list, paths), "nothing has changed yet");
  fuzz::agree("paths", paths, tree.paths());
  if (last.substr(0, 1) == "~" && tree.change(strtoul(last.c_str() + 1, nullptr, 10)))
    fuzz::require(!isClean(list, paths), "the change is seen");
}

fuzz::Target const target("make", run);

}  // namespace
