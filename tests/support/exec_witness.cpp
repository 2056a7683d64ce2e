// Writes how it was started to the file named by its first word: records of a name, '=' and a
// value, each ended by a null character.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

namespace {

constexpr int highestDescriptor = 4096;

std::string record(const std::string& name, const std::string& value) {
  return name + "=" + value + '\0';
}

// Tries every number instead of listing a directory, which would itself need a descriptor.
std::string descriptors() {
  std::string records;
  for (int fd = 0; fd <= highestDescriptor; ++fd) {
    if (fcntl(fd, F_GETFD) < 0)
      continue;
    char target[4096];
    ssize_t const size =
        readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), target, sizeof target);
    records +=
        record("descriptor", std::to_string(fd) + " " + std::string(target, size < 0 ? 0 : size));
  }
  return records;
}

std::string signals() {
  std::ifstream status("/proc/self/status");
  std::string records;
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, 8, "SigBlk:\t") == 0)
      records += record("blocked", line.substr(8));
    if (line.compare(0, 8, "SigIgn:\t") == 0)
      records += record("ignored", line.substr(8));
  }
  return records;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2)
    return 2;
  std::string report = descriptors() + signals();
  for (int i = 0; i < argc; ++i)
    report += record("word", argv[i]);
  for (char** variable = environ; *variable != nullptr; ++variable)
    report += record("variable", *variable);
  report += record("process", std::to_string(getpid()));
  report += record("parent", std::to_string(getppid()));
  report += record("group", std::to_string(getpgrp()));
  std::ofstream file(argv[1], std::ios::binary);
  file << report;
  file.close();
  return file.good() ? 0 : 3;
}
