// The list set as an object, and its loading: find the lists, verify and merge them, prepare the
// fixed directories.

#include <zemo/selfcheck/file_list.h>

#include <boost/algorithm/string/replace.hpp>
#include <boost/make_shared.hpp>
#include <utility>

#include "file_list/loading.h"
#include "file_list/paths.h"
#include "log.h"

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
  // Copies of this wrapper all call the one copy of the caller's hook, so its state is shared as
  // well.
  auto const kept = boost::make_shared<Hook>(hook);
  _hooks.emplace_back([kept](boost::shared_ptr<ProtectedFile>& entry, bool& changed) {
    return (*kept)(entry, changed);
  });
}

boost::shared_ptr<FileList::ProtectedFileMap> FileList::getProtectedFiles() const {
  return _protectedFiles;
}

std::string listPattern(const std::string& listDir, const std::string& set,
                        const std::string& mode) {
  // One pass, not repeated, so "....//" leaves "../". The directory keeps the name unchanged.
  std::string const fileName = boost::algorithm::replace_all_copy(set, "../", "");
  return listDir + "/" + fileName + "." + mode + ".*.list";
}

bool FileList::loadList(bool verifySignatures) {
  std::string const pattern = listPattern(_listDir, _name, _mode);
  _listFiles = ::glob(_listDir, pattern);
  if (_listFiles.empty())
    return false;
  if (verifySignatures && !checkSign()) {
    log::setNotVerified(pattern);
    return false;
  }
  return parseList() && fillFixedDirInfo();
}

std::string FileList::toString() const {
  return _name + " " + _mode;
}

}  // namespace ZEMO::SELF_CHECK
