#include "support/files.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <openssl/sha.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

void require(bool success, const std::string& what) {
  if (!success)
    throw std::runtime_error(what + ": " + strerror(errno));
}

std::string octal(mode_t mode) {
  char text[16];
  (void)snprintf(text, sizeof text, "%o", mode);
  return text;
}

// Computes the digest independently of the library.
std::string sha1Of(const std::string& content) {
  unsigned char value[SHA_DIGEST_LENGTH];
  SHA1(reinterpret_cast<const unsigned char*>(content.data()), content.size(), value);
  std::string text;
  for (unsigned char const byte : value) {
    char digits[3];
    (void)snprintf(digits, sizeof digits, "%02x", byte);
    text += digits;
  }
  return text;
}

}  // namespace

void writeFile(const std::string& path, const std::string& content, mode_t mode) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << content;
  file.close();
  require(file.good(), "writing " + path);
  changeMode(path, mode);
}

void appendToFile(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary | std::ios::app);
  file << content;
  file.close();
  require(file.good(), "appending to " + path);
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  require(file.is_open(), "opening " + path);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

void makeDirectory(const std::string& path) {
  std::filesystem::create_directories(path);
}

void makeLink(const std::string& target, const std::string& path) {
  require(symlink(target.c_str(), path.c_str()) == 0, "linking " + path);
}

void makeFifo(const std::string& path) {
  require(mkfifo(path.c_str(), 0644) == 0, "making the FIFO " + path);
}

void changeMode(const std::string& path, mode_t mode) {
  require(chmod(path.c_str(), mode) == 0, "changing the mode of " + path);
}

void remove(const std::string& path) {
  std::filesystem::remove_all(path);
}

struct stat statusOf(const std::string& path) {
  struct stat st = {};
  require(lstat(path.c_str(), &st) == 0, "examining " + path);
  return st;
}

std::string entryLine(const std::string& path) {
  struct stat const st = statusOf(path);
  std::string size = "-";
  std::string hash = "-";
  std::string type;
  if (S_ISREG(st.st_mode)) {
    type = "f";
    size = std::to_string(st.st_size);
    hash = sha1Of(readFile(path));
  } else if (S_ISLNK(st.st_mode)) {
    type = "l";
    size = std::to_string(st.st_size);
    hash = std::filesystem::read_symlink(path);
  } else if (S_ISDIR(st.st_mode)) {
    type = "d";
  } else if (S_ISCHR(st.st_mode)) {
    type = "c";
    hash = std::to_string(major(st.st_rdev)) + "," + std::to_string(minor(st.st_rdev));
  } else if (S_ISFIFO(st.st_mode)) {
    type = "p";
  } else if (S_ISSOCK(st.st_mode)) {
    type = "s";
  } else {
    type = "b";
  }
  return entryLine(path, size, hash, type, octal(st.st_mode & 07777), std::to_string(st.st_uid),
                   std::to_string(st.st_gid));
}

std::string entryLine(const std::string& path, const std::string& size, const std::string& hash,
                      const std::string& type, const std::string& permission,
                      const std::string& owner, const std::string& group) {
  return path + "\t" + size + "\t" + hash + "\t" + type + "\t" + permission + "\t" + owner + "\t" +
         group;
}

int openDescriptors() {
  auto const all = std::filesystem::directory_iterator("/proc/self/fd");
  return static_cast<int>(std::distance(begin(all), end(all)));
}

WithoutFileCapabilities::WithoutFileCapabilities() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[2] = {};
  require(syscall(SYS_capget, &header, data) == 0, "capget");
  _effective[0] = data[0].effective;
  _effective[1] = data[1].effective;
  data[0].effective &= ~((1U << CAP_DAC_OVERRIDE) | (1U << CAP_DAC_READ_SEARCH));
  require(syscall(SYS_capset, &header, data) == 0, "capset");
}

WithoutFileCapabilities::~WithoutFileCapabilities() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[2] = {};
  (void)syscall(SYS_capget, &header, data);
  data[0].effective = _effective[0];
  data[1].effective = _effective[1];
  (void)syscall(SYS_capset, &header, data);
}
