// How a set is found and verified: which lists, in which order. The first line of an input is a
// number that selects the set, then a letter for the state of listorder, then a digit: the number
// of the verification that fails. The second line and all text up to a form feed is the content of
// listorder; each later line is the name of a file in the set's directory, followed by a slash and
// letters for its defects.

#include <sys/stat.h>
#include <unistd.h>
#include <zemo/selfcheck.h>

#include <algorithm>
#include <array>
#include <map>

#include "engine/agree.h"
#include "engine/scratch.h"
#include "engine/target.h"
#include "models/package.h"
#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_exec.h"

using namespace ZEMO::SELF_CHECK;

namespace {

struct SetName {
  const char* name;
  const char* inFileNames;  // with "../" removed once
};

constexpr std::array<SetName, 6> setNames = {{{"wam", "wam"},
                                              {"demo", "demo"},
                                              {"WAM", "WAM"},
                                              {"../plain", "plain"},
                                              {"demo/../plain", "demo/plain"},
                                              {"....//demo", "../demo"}}};

const std::string listDir = "/usr/zemo/selfcheck";

struct File {
  std::string name;  // relative to the set's directory
  std::string path;
  bool isList;  // can be parsed
};

class Set {
 public:
  Set(const SetName& names, int failing) : _names(names), _failing(failing) {
    fuzz::makeEmpty(listDir);
    for (const char* const name : {"demo", "plain/demo", "WAM", "..../demo", "../plain"})
      fuzz::makeEmpty(listDir + "/packages/" + name);
    _directory = std::string(names.name) == "wam" ? listDir : listDir + "/packages/" + names.name;
    std::string const inFileNames = names.inFileNames;
    _below = inFileNames.substr(0, inFileNames.rfind('/') + 1);
  }

  void writeOrder(char kind, const std::string& content) {
    std::string const path = _directory + "/listorder";
    if (kind == 'd') {
      (void)mkdir(path.c_str(), 0755);
    } else if (kind == 'l') {
      (void)symlink("nowhere", path.c_str());
    } else if (kind == 'p') {
      (void)mkfifo(path.c_str(), 0644);
    } else if (kind == 's') {
      (void)mknod(path.c_str(), S_IFSOCK | 0644, 0);
      _log.push_back(logged("file_list", 274, "Open list order file [%s] failed", path));
    } else if (kind == 'f') {
      fuzz::writeFile(path, content);
      int position = 0;
      std::vector<std::string> lines = fuzz::split(content, '\n');
      for (const std::string& line : lines)
        _positions[line] = ++position;
    }
  }

  void addFile(const std::string& name, const std::string& flags) {
    auto const has = [&flags](char flag) { return flags.find(flag) != std::string::npos; };
    File const file = {_below + name, _directory + "/" + _below + name, !has('d') && !has('h')};
    if (name.empty() || name.size() > 200 || access(file.path.c_str(), F_OK) == 0 ||
        name.find('\0') != std::string::npos || name == "." || name == ".." || name == "listorder")
      return;
    if (has('d'))
      (void)mkdir(file.path.c_str(), 0755);
    else
      fuzz::writeFile(file.path, has('h') ? "no list\n\n"
                                          : "WAM_SELF_CHECK\n\n/last\t" + escaped(name) +
                                                "\t-\t-\t-\t-\t-\n/" + escaped(name) +
                                                "\t-\t-\t-\t-\t-\t-\n");
    if (!has('s'))
      fuzz::writeFile(file.path + ".asc", "");
    _files.push_back(file);
  }

  void load(bool verify) {
    std::vector<File> const lists = inOrder();
    execCalls.clear();
    execResult = [this](const ExecCall&) {
      return static_cast<int>(execCalls.size()) == _failing ? 1 : 0;
    };
    clearLog();
    FileList list(_names.name, "full");
    bool const loaded = list.loadList(verify);

    _loads = !lists.empty();
    std::vector<std::string> verified =
        verify ? modelOfVerifying(lists) : std::vector<std::string>();
    std::string const last = _loads ? modelOfParsing(lists) : "";
    fuzz::agree("loadList", loaded, _loads);
    fuzz::agree("verified", pathsOfCalls(), verified);
    fuzz::agree("log", recordedLog(), _log);
    auto const& files = *list.getProtectedFiles();
    auto const winner = files.find("/last");
    fuzz::agree("the list that wins", winner == files.end() ? "" : winner->second->_size, last);
  }

 private:
  // As a column: without TABs and line feeds.
  static std::string escaped(std::string name) {
    std::replace(name.begin(), name.end(), '\t', '_');
    std::replace(name.begin(), name.end(), '\n', '_');
    return name;
  }

  bool isMatched(const std::string& name) const {
    std::string const start = std::string(_names.inFileNames) + ".full.";
    std::string const end = ".list";
    return name.size() >= start.size() + end.size() && name.substr(0, start.size()) == start &&
           name.substr(name.size() - end.size()) == end;
  }

  std::vector<File> inOrder() {
    std::vector<File> lists;
    for (const File& file : _files) {
      if (isMatched(file.name))
        lists.push_back(file);
    }
    std::sort(lists.begin(), lists.end(), [this](const File& a, const File& b) {
      int const first = _positions[a.name];
      int const second = _positions[b.name];
      return first != second ? first < second : a.name < b.name;
    });
    return lists;
  }

  void notVerified(const File& list) {
    _log.push_back(logged("file_list", 225, "Check %s sign failed.", list.path));
    _log.push_back(logged("file_list", 321, "Check signature of check list [%s] failed",
                          _directory + "/" + _names.inFileNames + ".full.*.list"));
    _loads = false;
  }

  std::vector<std::string> modelOfVerifying(const std::vector<File>& lists) {
    std::vector<std::string> paths;
    for (const File& list : lists) {
      if (access((list.path + ".asc").c_str(), F_OK) != 0) {
        _log.push_back(logged("file_list", 242, "Signature of [%s] is not exist.", list.path));
        notVerified(list);
        break;
      }
      paths.push_back(list.path);
      if (static_cast<int>(paths.size()) == _failing) {
        _log.push_back(logged("file_list", 247, "Verify signature failed"));
        notVerified(list);
        break;
      }
    }
    return paths;
  }

  // Returns the list that came last.
  std::string modelOfParsing(const std::vector<File>& lists) {
    std::string last;
    fuzz::Binding binding;
    for (const File& list : lists) {
      int const number = std::string(_names.name) == "wam" ? 0 : fuzz::bind(_names.name, binding);
      if (!list.isList)
        _log.push_back(logged("file_list", 108, "Format Error"));
      else if (number != 0)
        _log.push_back(
            logged("protected_file", number, "package [%s] is not installed.", _names.name));
      if (!list.isList || number != 0) {
        _log.push_back(logged("file_list", 48, "Parse list [%s] failed.", list.path));
        _loads = false;
        break;
      }
      last = escaped(list.name);
    }
    return last;
  }

  static std::vector<std::string> pathsOfCalls() {
    std::vector<std::string> paths;
    for (const ExecCall& call : execCalls) {
      fuzz::agree("what is run", call.program, "/usr/bin/gpg");
      std::vector<std::string> const words = {"--homedir", listDir, "--verify",
                                              call.words.back() + ".asc", call.words.back()};
      fuzz::agree("words", call.words, words);
      paths.push_back(call.words.back());
    }
    return paths;
  }

  SetName _names;
  int _failing;  // the number of the failing verification, from 1
  bool _loads = true;
  std::string _directory;
  std::string _below;  // the part of the search directory that comes from the set's name
  std::map<std::string, int> _positions;
  std::vector<File> _files;
  std::vector<LogLine> _log;
};

void run(fuzz::Input input) {
  fuzz::needPrivateRoot();
  fuzz::installPackages();
  ProtectedFile::_pkginfo = PkgInfo();
  SetName const& names = setNames[input.byte() % setNames.size()];
  char const kind = static_cast<char>(input.byte());
  int const failing = input.byte() - '0';
  bool const verify = input.byte() != '-';
  (void)input.line();
  Set set(names, failing);
  set.writeOrder(kind, input.upTo('\f'));
  for (int files = 0; files < 12 && !input.atEnd(); ++files) {
    std::string const line = input.line();
    fuzz::Input words(line);
    std::string const name = words.upTo('/');
    set.addFile(name, words.rest());
  }
  set.load(verify);
}

fuzz::Target const target("order", run);

}  // namespace
