#include "root/isolation.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <fstream>

#include "io/descriptors.h"
#include "io/exit_status.h"

namespace tool {
namespace {

[[noreturn]] void cannot(const std::string& what, int error) {
  throw Failure(STATUS_NOT_LOADED, withReason("--root cannot " + what, error));
}

// The kernel takes such a file's content only in a single write.
void put(const char* file, const std::string& content) {
  Descriptor const opened(open(file, O_WRONLY | O_CLOEXEC));
  if (opened.get() < 0 ||
      write(opened.get(), content.data(), content.size()) != static_cast<ssize_t>(content.size()))
    cannot("write " + inQuotes(file), errno);
}

// "1000 1000 1": the same number inside and outside, so that findings show the machine's numbers.
std::string onlyItself(unsigned number) {
  return std::to_string(number) + " " + std::to_string(number) + " 1";
}

void enterUserNamespace() {
  std::string const user = onlyItself(geteuid());
  std::string const group = onlyItself(getegid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
    throw Failure(
        STATUS_NOT_LOADED,
        withReason("--root needs root or user namespaces, which this machine forbids", errno));
  put("/proc/self/setgroups", "deny");  // the kernel demands it before the group map
  put("/proc/self/uid_map", user);
  put("/proc/self/gid_map", group);
}

bool mapsAll(const char* map) {
  std::ifstream lines(map);
  uint64_t mapped = 0;
  for (uint64_t inside = 0, outside = 0, count = 0; lines >> inside >> outside >> count;)
    mapped += count;
  return mapped >= UINT32_MAX;  // which is itself no number of a user or group
}

std::string shownFor(const char* map, const char* shown) {
  std::string number;
  if (!mapsAll(map) && !(std::ifstream(shown) >> number))
    number = "65534";  // the kernel's default
  return number;
}

}  // namespace

UnclearIds unclearIds() {
  return {shownFor("/proc/self/uid_map", "/proc/sys/kernel/overflowuid"),
          shownFor("/proc/self/gid_map", "/proc/sys/kernel/overflowgid")};
}

bool isolateMounts() {
  bool const privileged = unshare(CLONE_NEWNS) == 0;
  if (!privileged && errno != EPERM)
    cannot("make a mount namespace", errno);
  if (!privileged)
    enterUserNamespace();
  // Not private: a medium that is unmounted elsewhere must not stay in use here.
  if (mount(nullptr, "/", nullptr, MS_REC | MS_SLAVE, nullptr) != 0)
    cannot("separate its mounts from the machine's", errno);
  return privileged;
}

}  // namespace tool
