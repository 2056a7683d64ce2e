// Verifying the signatures of lists.

#include <zemo/core.h>
#include <zemo/selfcheck/file_list.h>

#include "file_list/loading.h"
#include "file_list/paths.h"
#include "log.h"

namespace ZEMO::SELF_CHECK {
namespace {

// Only GnuPG's exit status matters: its messages are discarded, it gets neither the caller's
// environment nor its descriptors and signal settings, and the call returns after it has ended.
constexpr int execOptions = VLIB_EXEC_WAIT | VLIB_EXEC_STDIN_NULL | VLIB_EXEC_STDOUT_NULL |
                            VLIB_EXEC_STDERR_NULL | VLIB_EXEC_CLEAN_ENVIRONMENT | VLIB_EXEC_ISOLATE;
static_assert(execOptions == 187, "the option word that core libraries know this use by");

}  // namespace

bool FileList::checkSign(const std::string& list) const {
  std::string const signature = list + ".asc";
  if (VLIBFileExist(signature.c_str()) == 0) {
    log::signatureMissing(list);
    return false;
  }
  if (VLIBExecl("/usr/bin/gpg", execOptions, "--homedir", systemListDir, "--verify",
                signature.c_str(), list.c_str(), static_cast<char*>(nullptr)) != 0) {
    log::signatureBad();
    return false;
  }
  return true;
}

bool FileList::checkSign() const {
  return verifyLists(*this, _listFiles);
}

bool verifyLists(const FileList& set, const std::vector<std::string>& lists) {
  for (const std::string& list : lists) {
    if (!set.checkSign(list)) {
      log::listNotVerified(list);
      return false;
    }
  }
  return true;
}

}  // namespace ZEMO::SELF_CHECK
