#include "log.h"

#include <syslog.h>

namespace ZEMO::SELF_CHECK::log {
namespace {

const char* const protectedFile = "protected_file";
const char* const fileList = "file_list";
const char* const util = "util";

}  // namespace

void outOfMemoryForColumns() {
  syslog(LOG_ERR, "%s:%d OOM parameters", protectedFile, 59);
}

void splittingFailed(const std::string& line) {
  syslog(LOG_ERR, "%s:%d [%s] strtok failed", protectedFile, 64, line.c_str());
}

void packageNotInstalled(const std::string& package) {
  syslog(LOG_ERR, "%s:%d package [%s] is not installed.", protectedFile, 113, package.c_str());
}

void noPackageUser(const std::string& package) {
  syslog(LOG_ERR, "%s:%d Failed to get package user for package [%s]", protectedFile, 119,
         package.c_str());
}

void openDirectoryFailed(const std::string& path) {
  syslog(LOG_ERR, "%s:%d opendir [%s] failed", protectedFile, 262, path.c_str());
}

void readDirectoryFailed(const std::string& path) {
  syslog(LOG_ERR, "%s:%d readdir [%s] failed", protectedFile, 267, path.c_str());
}

void hashFailed(const std::string& path) {
  syslog(LOG_ERR, "%s:%d Calculate hash of file [%s] failed", protectedFile, 288, path.c_str());
}

void readLinkFailed(const std::string& path) {
  syslog(LOG_ERR, "%s:%d readlink [%s] failed", protectedFile, 293, path.c_str());
}

void openFailed(const std::string& path) {
  syslog(LOG_ERR, "%s:%d Open file [%s] failed", protectedFile, 365, path.c_str());
}

void nothingToCheck() {
  syslog(LOG_ERR, "%s:%d No file need to check.", fileList, 34);
}

void parseListFailed(const std::string& list) {
  syslog(LOG_ERR, "%s:%d Parse list [%s] failed.", fileList, 48, list.c_str());
}

void openListFailed(const std::string& list) {
  syslog(LOG_ERR, "%s:%d Open input file [%s] failed", fileList, 104, list.c_str());
}

void badHeader() {
  syslog(LOG_ERR, "%s:%d Format Error", fileList, 108);
}

void noSecondLine() {
  syslog(LOG_ERR, "%s:%d Format Error", fileList, 113);
}

void checkFailed(const std::string& path) {
  syslog(LOG_ERR, "%s:%d Check file [%s] failed.", fileList, 150, path.c_str());
}

void namedCheckFailed(const std::string& path) {
  syslog(LOG_ERR, "%s:%d SelfCheck check file [%s] failed.", fileList, 187, path.c_str());
}

void listNotVerified(const std::string& list) {
  syslog(LOG_ERR, "%s:%d Check %s sign failed.", fileList, 225, list.c_str());
}

void signatureMissing(const std::string& list) {
  syslog(LOG_ERR, "%s:%d Signature of [%s] is not exist.", fileList, 242, list.c_str());
}

void signatureBad() {
  syslog(LOG_ERR, "%s:%d Verify signature failed", fileList, 247);
}

void openOrderFailed(const std::string& orderFile) {
  syslog(LOG_ERR, "%s:%d Open list order file [%s] failed", fileList, 274, orderFile.c_str());
}

void setNotVerified(const std::string& pattern) {
  syslog(LOG_ERR, "%s:%d Check signature of check list [%s] failed", fileList, 321,
         pattern.c_str());
}

void nullArgument() {
  syslog(LOG_ERR, "%s:%d Selfcheck check sanity failed", util, 24);
}

void loadFailed() {
  syslog(LOG_ERR, "%s:%d Selfcheck load list failed", util, 33);
}

void selfCheckFailed() {
  syslog(LOG_ERR, "%s:%d Selfcheck failed", util, 38);
}

}  // namespace ZEMO::SELF_CHECK::log
