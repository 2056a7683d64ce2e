// How lists are read and merged into the set's map.

#include <zemo/selfcheck/file_list.h>

#include <boost/make_shared.hpp>
#include <utility>

#include "file_list/line_reader.h"
#include "file_list/paths.h"
#include "log.h"

namespace ZEMO::SELF_CHECK {
namespace {

constexpr char header[] = "WAM_SELF_CHECK";

}  // namespace

bool FileList::parseList(const std::string& list) {
  LineReader reader(list);
  if (!reader.isOpen()) {
    log::openListFailed(list);
    return false;
  }
  std::string line;
  if (!reader.next(line) || line != header) {
    log::badHeader();
    return false;
  }
  if (!reader.next(line)) {  // the second line is free text, but must be there
    log::noSecondLine();
    return false;
  }
  if (_name != systemSet && !ProtectedFile::setPkg(_name))
    return false;

  ProtectedFileMap& files = *_protectedFiles;
  while (reader.next(line)) {
    // A removal line is an entry line, too: its path is known only when placeholders are resolved.
    auto entry = boost::make_shared<ProtectedFile>(line);
    if (!line.empty() && line.front() == '-')
      files.erase(entry->_path);
    else
      files[entry->_path] = std::move(entry);
  }
  return true;
}

bool FileList::parseList() {
  for (const std::string& list : _listFiles) {
    if (!parseList(list)) {
      log::parseListFailed(list);
      return false;
    }
  }
  return true;
}

}  // namespace ZEMO::SELF_CHECK
