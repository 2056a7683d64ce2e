// Every line that the library writes to the system log, one function per line.
//
// The texts, module names and line numbers are fixed, because log filters and administrators
// recognise the messages by them. The numbers are therefore constants that stay when code moves.

#ifndef ZEMO_SELFCHECK_SRC_LOG_H
#define ZEMO_SELFCHECK_SRC_LOG_H

#include <string>

namespace ZEMO::SELF_CHECK::log {

// protected_file
void outOfMemoryForColumns();
void splittingFailed(const std::string& line);
void packageNotInstalled(const std::string& package);
void noPackageUser(const std::string& package);
void openDirectoryFailed(const std::string& path);
void readDirectoryFailed(const std::string& path);
void hashFailed(const std::string& path);
void readLinkFailed(const std::string& path);
void openFailed(const std::string& path);

// file_list
void nothingToCheck();
void parseListFailed(const std::string& list);
void openListFailed(const std::string& list);
void badHeader();
void noSecondLine();
void checkFailed(const std::string& path);
void namedCheckFailed(const std::string& path);
void listNotVerified(const std::string& list);
void signatureMissing(const std::string& list);
void signatureBad();
void openOrderFailed(const std::string& orderFile);
void setNotVerified(const std::string& pattern);

// util
void nullArgument();
void loadFailed();
void selfCheckFailed();

}  // namespace ZEMO::SELF_CHECK::log

#endif
