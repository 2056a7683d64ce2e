// lstat with scripted answers, for files that tests cannot create. Test programs that link this use
// it instead of the C library's.

#ifndef ZEMO_TESTS_SUPPORT_DOUBLES_SCRIPTED_STATUS_H
#define ZEMO_TESTS_SUPPORT_DOUBLES_SCRIPTED_STATUS_H

#include <sys/stat.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

// The answers for these paths. All other paths get their true status.
extern std::map<std::string, struct stat> scriptedStatus;

// The paths for which this thread has called lstat, oldest first.
extern thread_local std::vector<std::string> examinedPaths;

// Called with the path before each call of lstat, if not empty.
extern std::function<void(const std::string&)> beforeStatus;

#endif
