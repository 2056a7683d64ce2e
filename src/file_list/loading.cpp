// How a set is loaded: found, verified, merged, its fixed directories prepared.

#include <zemo/selfcheck/file_list.h>

#include <boost/algorithm/string/replace.hpp>

#include "log.h"

namespace ZEMO::SELF_CHECK {

bool FileList::loadList(bool verifySignatures) {
  // One pass, not repeated: "....//" leaves "../". The directory keeps the name as it was given.
  std::string const fileName = boost::algorithm::replace_all_copy(_name, "../", "");
  std::string const pattern = _listDir + "/" + fileName + "." + _mode + ".*.list";

  _listFiles = ::glob(_listDir, pattern);
  if (_listFiles.empty())
    return false;
  if (verifySignatures && !checkSign()) {
    log::setNotVerified(pattern);
    return false;
  }
  return parseList() && fillFixedDirInfo();
}

}  // namespace ZEMO::SELF_CHECK
