// A list set as an object.

#include <zemo/selfcheck/file_list.h>

#include <boost/make_shared.hpp>
#include <utility>

#include "file_list/paths.h"

namespace ZEMO::SELF_CHECK {

FileList::FileList(std::string name, std::string mode)
    : _name(std::move(name)),
      _mode(std::move(mode)),
      _listDir(listDirFor(_name)),
      _protectedFiles(boost::make_shared<ProtectedFileMap>()) {}

FileList::FileList(std::string name, std::string mode, FileList& source)
    : _name(std::move(name)),
      _mode(std::move(mode)),
      _listDir(listDirFor(_name)),
      _protectedFiles(boost::make_shared<ProtectedFileMap>(*source.getProtectedFiles())) {}

FileList::~FileList() = default;

void FileList::addHook(const Hook& hook) {
  // Copies of what is kept call the one copy of the caller's, whose state stays one, too.
  auto const kept = boost::make_shared<Hook>(hook);
  _hooks.emplace_back([kept](boost::shared_ptr<ProtectedFile>& entry, bool& changed) {
    return (*kept)(entry, changed);
  });
}

boost::shared_ptr<FileList::ProtectedFileMap> FileList::getProtectedFiles() const {
  return _protectedFiles;
}

std::string FileList::toString() const {
  return _name + " " + _mode;
}

}  // namespace ZEMO::SELF_CHECK
