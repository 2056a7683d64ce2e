// lstat with scripted answers, for files that tests cannot make: test programs that link this have
// it in the place of the C library's own.

#ifndef ZEMO_TESTS_SUPPORT_DOUBLES_SCRIPTED_STATUS_H
#define ZEMO_TESTS_SUPPORT_DOUBLES_SCRIPTED_STATUS_H

#include <sys/stat.h>

#include <map>
#include <string>
#include <vector>

// What lstat says about these paths; about all others, it says the truth.
extern std::map<std::string, struct stat> scriptedStatus;

// The paths that this thread has called lstat with, oldest first.
extern thread_local std::vector<std::string> examinedPaths;

#endif
