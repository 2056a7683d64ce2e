// Small operations on files. All of them throw if they fail.

#ifndef ZEMO_TESTS_SUPPORT_FILES_H
#define ZEMO_TESTS_SUPPORT_FILES_H

#include <sys/stat.h>

#include <string>

void writeFile(const std::string& path, const std::string& content, mode_t mode = 0644);
void appendToFile(const std::string& path, const std::string& content);
std::string readFile(const std::string& path);
void makeDirectory(const std::string& path);  // and its parents; one that exists is fine
void makeLink(const std::string& target, const std::string& path);
void makeFifo(const std::string& path);
void changeMode(const std::string& path, mode_t mode);
void remove(const std::string& path);           // with everything in it
struct stat statusOf(const std::string& path);  // by lstat

// The entry line that describes the file at `path` as it is, in all columns.
std::string entryLine(const std::string& path);

// An entry line with these columns.
std::string entryLine(const std::string& path, const std::string& size, const std::string& hash,
                      const std::string& type, const std::string& permission,
                      const std::string& owner, const std::string& group);

// The number of this process's open descriptors.
int openDescriptors();

// While it exists, this thread cannot read files against their permissions, even as root.
class WithoutFileCapabilities {
 public:
  WithoutFileCapabilities();
  ~WithoutFileCapabilities();
  WithoutFileCapabilities(const WithoutFileCapabilities&) = delete;
  WithoutFileCapabilities& operator=(const WithoutFileCapabilities&) = delete;

 private:
  unsigned int _effective[2];
};

#endif
