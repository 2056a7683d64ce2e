// Carrying the files of a directory over into another by hard links.

#ifndef ZEMO_TOOLS_SETS_CARRIED_H
#define ZEMO_TOOLS_SETS_CARRIED_H

#include <set>
#include <string>

namespace tool {

// Gives the directory `to` the owner, the mode and the extended attributes of `from`. Throws
// Failure(STATUS_NOT_LOADED), and NoExchange if this process may not do that.
void copyAttributes(int from, int to, const std::string& path);

// A directory tree whose files are carried over into another directory. The operations throw
// Failure(STATUS_NOT_LOADED), NoExchange if it cannot be carried over, and Changed if something
// disappears meanwhile.
class Carried {
 public:
  // `handled`: the paths, relative to the directory, that are not carried over.
  Carried(int directory, std::string path, std::set<std::string> handled)
      : _directory(directory), _path(std::move(path)), _handled(std::move(handled)) {}

  void into(int to) { _seen = walk(_directory, to, ""); }

  // True if nobody has changed the directory since.
  bool isUnchanged() { return walk(_directory, -1, "") == _seen; }

 private:
  // Returns which files are below `from`, and which version of each. If `to` is a directory, they
  // are linked there.
  std::string walk(int from, int to, const std::string& below);
  std::string walkDirectory(int from, int to, const std::string& name, const std::string& inside);

  int _directory;
  std::string _path;
  std::set<std::string> _handled;
  std::string _seen;
};

}  // namespace tool

#endif
