// A caller's string list of paths.

#ifndef ZEMO_TESTS_SUPPORT_PATH_LIST_H
#define ZEMO_TESTS_SUPPORT_PATH_LIST_H

#include <zemo/core.h>

#include <stdexcept>
#include <string>
#include <vector>

class PathList {
 public:
  explicit PathList(const std::vector<std::string>& paths)
      : _list(VLIBSzListAlloc(static_cast<int>(paths.size()))) {
    for (const std::string& path : paths) {
      if (_list == nullptr || VLIBSzListPush(&_list, path.c_str()) < 0)
        throw std::runtime_error("cannot make the list of paths");
    }
  }
  ~PathList() { VLIBSzListFree(_list); }
  PathList(const PathList&) = delete;
  PathList& operator=(const PathList&) = delete;

  VLIBSzList* get() const { return _list; }

 private:
  VLIBSzList* _list;
};

#endif
