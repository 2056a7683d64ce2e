#include "failing_calls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <glob.h>
#include <openssl/evp.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <utility>

// Some of this code runs in processes that share the memory of a suspended thread.
#define SHARES_MEMORY __attribute__((no_sanitize("address", "thread", "undefined")))

// The allocator that ours wraps: the sanitizer's, if there is one, or the C library's under names
// that are available before any symbol lookup.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define BELOW(function) __interceptor_##function
#else
#define BELOW(function) __libc_##function
#endif
extern "C" {
void* BELOW(malloc)(size_t size);
void* BELOW(calloc)(size_t count, size_t size);
void* BELOW(realloc)(void* memory, size_t size);
void* BELOW(memalign)(size_t alignment, size_t size);
void BELOW(free)(void* memory);
int __clone(int (*function)(void*), void* stack, int flags, void* argument, ...);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace {

thread_local bool armed = false;
thread_local Failure wanted;
thread_local long calls = 0;
thread_local bool happened = false;
thread_local long live = 0;
thread_local bool nextLeased = false;
thread_local time_t paused = 0;  // how much time the pauses have skipped

std::array<char, 262144> logText{};
std::size_t logSize = 0;

SHARES_MEMORY bool same(const char* a, const char* b) {
  while (*a != '\0' && *a == *b) {
    ++a;
    ++b;
  }
  return *a == *b;
}

// Whether this call of `function` fails.
SHARES_MEMORY bool fails(const char* function) {
  if (!armed || !same(function, wanted.function))
    return false;
  ++calls;
  if (calls != wanted.n && !(wanted.lasting && calls > wanted.n))
    return false;
  happened = true;
  errno = wanted.error;
  return true;
}

// Like fails(), for calls that do their work even if they fail: close() closes the descriptor
// whatever it returns.
template <typename Result, typename Work>
Result failing(const char* function, Result failure, Work work) {
  bool const fail = fails(function);
  Result const result = work();
  if (!fail)
    return result;
  errno = wanted.error;
  return failure;
}

// While an object exists, nothing fails.
class NotInjected {
 public:
  NotInjected() : _before(armed) { armed = false; }
  ~NotInjected() { armed = _before; }
  NotInjected(const NotInjected&) = delete;
  NotInjected& operator=(const NotInjected&) = delete;

 private:
  bool _before;
};

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void* counted(void* memory) {
  live += memory != nullptr ? 1 : 0;
  return memory;
}

// The functions that processes with shared memory call. Those processes must not look them up
// themselves.
auto* const realClone =
    next<int(int (*)(void*), void*, int, void*, void*, void*, void*)>("__clone");
auto* const realSyscall = next<long(long, long, long, long, long, long, long)>("syscall");

SHARES_MEMORY const char* nameOf(long number) {
  switch (number) {
    case SYS_close:
      return "SYS_close";
    case SYS_close_range:
      return "SYS_close_range";
    case SYS_openat:
      return "SYS_openat";
    case SYS_dup2:
      return "SYS_dup2";
    case SYS_rt_sigaction:
      return "SYS_rt_sigaction";
    case SYS_rt_sigprocmask:
      return "SYS_rt_sigprocmask";
    case SYS_execve:
      return "SYS_execve";
    case SYS_wait4:
      return "SYS_wait4";
    default:
      return "";
  }
}

}  // namespace

Injected::Injected(const Failure& failure) {
  wanted = failure;
  calls = 0;
  happened = false;
  paused = 0;
  armed = true;
}

Injected::~Injected() {
  armed = false;
}

bool callFails(const char* function) {
  return fails(function);
}

void leaseNextFile(bool leased) {
  nextLeased = leased;
}

bool injectedFailureHappened() {
  return happened;
}

long liveBlocks() {
  return live;
}

const char* loggedText() {
  return logText.data();
}

void clearLoggedText() {
  logSize = 0;
  logText[0] = '\0';
}

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

// Memory.

extern "C" void* malloc(size_t size) noexcept {
  return fails("malloc") ? nullptr : counted(BELOW(malloc)(size));
}

extern "C" void* calloc(size_t count, size_t size) noexcept {
  return fails("calloc") ? nullptr : counted(BELOW(calloc)(count, size));
}

extern "C" void* realloc(void* memory, size_t size) noexcept {
  if (memory == nullptr)  // a compiler may also turn it into this
    return malloc(size);
  return fails("realloc") ? nullptr : BELOW(realloc)(memory, size);
}

extern "C" void* aligned_alloc(size_t alignment, size_t size) noexcept {
  return fails("aligned_alloc") ? nullptr : counted(BELOW(memalign)(alignment, size));
}

extern "C" void free(void* memory) noexcept {
  live -= memory != nullptr ? 1 : 0;
  BELOW(free)(memory);
}

// No tested code asks for more than malloc's alignment.
void* operator new(std::size_t size) {
  void* const memory = fails("new") ? nullptr : counted(BELOW(malloc)(size));
  if (memory == nullptr)
    throw std::bad_alloc();
  return memory;
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return fails("new") ? nullptr : counted(BELOW(malloc)(size));
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void* memory) noexcept {
  free(memory);
}
void operator delete[](void* memory) noexcept {
  free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  free(memory);
}

// Files.

namespace {

bool opensNot() {
  if (fails("open64"))
    return true;
  errno = EWOULDBLOCK;
  return armed && std::exchange(nextLeased, false);
}

}  // namespace

extern "C" int open64(const char* path, int flags, ...) {
  static auto* const real = next<int(const char*, int, mode_t)>("open64");
  va_list more;
  va_start(more, flags);
  mode_t const mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  return opensNot() ? -1 : real(path, flags, mode);
}

// The name of open64 in code that is compiled with fortification.
extern "C" int __open64_2(const char* path, int flags) {
  static auto* const real = next<int(const char*, int)>("__open64_2");
  return opensNot() ? -1 : real(path, flags);
}

extern "C" int close(int fd) {
  static auto* const real = next<int(int)>("close");
  return failing("close", -1, [fd] { return real(fd); });
}

extern "C" ssize_t read(int fd, void* buffer, size_t size) {
  static auto* const real = next<ssize_t(int, void*, size_t)>("read");
  return fails("read") ? -1 : real(fd, buffer, size);
}

extern "C" ssize_t pread64(int fd, void* buffer, size_t size, off64_t offset) {
  static auto* const real = next<ssize_t(int, void*, size_t, off64_t)>("pread64");
  return fails("pread64") ? -1 : real(fd, buffer, size, offset);
}

// Their names in code that is compiled with fortification.
extern "C" ssize_t __read_chk(int fd, void* buffer, size_t size, size_t room) {
  return size <= room ? read(fd, buffer, size) : (abort(), -1);
}

extern "C" ssize_t __pread64_chk(int fd, void* buffer, size_t size, off64_t offset, size_t room) {
  return size <= room ? pread64(fd, buffer, size, offset) : (abort(), -1);
}

extern "C" int stat64(const char* path, struct stat64* status) noexcept {
  static auto* const real = next<int(const char*, struct stat64*)>("stat64");
  return fails("stat64") ? -1 : real(path, status);
}

extern "C" int lstat64(const char* path, struct stat64* status) noexcept {
  static auto* const real = next<int(const char*, struct stat64*)>("lstat64");
  return fails("lstat64") ? -1 : real(path, status);
}

extern "C" int fstat64(int fd, struct stat64* status) noexcept {
  static auto* const real = next<int(int, struct stat64*)>("fstat64");
  return fails("fstat64") ? -1 : real(fd, status);
}

extern "C" int fstatat64(int fd, const char* path, struct stat64* status, int flags) noexcept {
  static auto* const real = next<int(int, const char*, struct stat64*, int)>("fstatat64");
  return fails("fstatat64") ? -1 : real(fd, path, status, flags);
}

extern "C" ssize_t readlink(const char* path, char* target, size_t size) noexcept {
  static auto* const real = next<ssize_t(const char*, char*, size_t)>("readlink");
  return fails("readlink") ? -1 : real(path, target, size);
}

extern "C" ssize_t __readlink_chk(const char* path, char* target, size_t size,
                                  size_t room) noexcept {
  return size <= room ? readlink(path, target, size) : (abort(), -1);
}

extern "C" DIR* fdopendir(int fd) {
  static auto* const real = next<DIR*(int)>("fdopendir");
  return fails("fdopendir") ? nullptr : real(fd);
}

extern "C" dirent64* readdir64(DIR* directory) {
  static auto* const real = next<dirent64*(DIR*)>("readdir64");
  return fails("readdir64") ? nullptr : real(directory);
}

extern "C" int closedir(DIR* directory) {
  static auto* const real = next<int(DIR*)>("closedir");
  return failing("closedir", -1, [directory] { return real(directory); });
}

namespace {

// The result of a failing glob64(). It does not notice a directory that it cannot read to the end.
int globResult() {
  switch (wanted.error) {
    case 0:
      return 0;
    case ENOMEM:
      return GLOB_NOSPACE;
    default:
      return GLOB_ABORTED;
  }
}

// Keeps only one of the found paths.
int found(glob64_t& paths, std::size_t index) {
  std::swap(paths.gl_pathv[0], paths.gl_pathv[index]);
  for (std::size_t i = 1; i < paths.gl_pathc; ++i)
    free(std::exchange(paths.gl_pathv[i], nullptr));
  paths.gl_pathc = 1;
  return globResult();
}

}  // namespace

// "glob64" fails before it has found anything, "glob64_first" and "glob64_last" when it has found
// only that path. Its own allocations do not fail: glibc's glob frees names twice if memory runs
// out while it prepends the directory to the second or a later one.
extern "C" int glob64(const char* pattern, int flags, int (*onError)(const char*, int),
                      glob64_t* paths) noexcept {
  static auto* const real =
      next<int(const char*, int, int (*)(const char*, int), glob64_t*)>("glob64");
  if (fails("glob64"))
    return globResult();
  int const result = [&] {
    NotInjected const whole;
    return real(pattern, flags, onError, paths);
  }();
  if (result == 0 && fails("glob64_first"))
    return found(*paths, 0);
  if (result == 0 && fails("glob64_last"))
    return found(*paths, paths->gl_pathc - 1);
  return result;
}

// Its own allocations do not fail, because the C library would then load or free cached data.
extern "C" passwd* getpwnam(const char* name) {
  static auto* const real = next<passwd*(const char*)>("getpwnam");
  if (fails("getpwnam"))
    return nullptr;
  NotInjected const whole;
  return real(name);
}

// Time.

extern "C" int nanosleep(const timespec* pause, timespec* left) {
  static auto* const real = next<int(const timespec*, timespec*)>("nanosleep");
  if (!armed)
    return real(pause, left);
  constexpr time_t longPause = 20;
  paused += longPause;
  return fails("nanosleep") ? -1 : 0;
}

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
  static auto* const real = next<int(clockid_t, timespec*)>("clock_gettime");
  int const result = real(clock, now);
  now->tv_sec += armed ? paused : 0;
  return result;
}

// Processes.

extern "C" void* mmap64(void* address, size_t size, int protection, int flags, int fd,
                        off64_t offset) noexcept {
  static auto* const real = next<void*(void*, size_t, int, int, int, off64_t)>("mmap64");
  return fails("mmap64") ? MAP_FAILED : real(address, size, protection, flags, fd, offset);
}

extern "C" int mprotect(void* address, size_t size, int protection) noexcept {
  static auto* const real = next<int(void*, size_t, int)>("mprotect");
  return fails("mprotect") ? -1 : real(address, size, protection);
}

extern "C" int munmap(void* address, size_t size) noexcept {
  static auto* const real = next<int(void*, size_t)>("munmap");
  return failing("munmap", -1, [address, size] { return real(address, size); });
}

// ECHILD means that another waiter was faster, so the child must be gone. The same holds in
// syscall().
extern "C" pid_t waitpid(pid_t child, int* status, int options) {
  static auto* const real = next<pid_t(pid_t, int*, int)>("waitpid");
  if (!fails("waitpid"))
    return real(child, status, options);
  if (wanted.error == ECHILD)
    (void)real(child, nullptr, options);
  errno = wanted.error;
  return -1;
}

extern "C" int pthread_sigmask(int how, const sigset_t* set, sigset_t* before) noexcept {
  static auto* const real = next<int(int, const sigset_t*, sigset_t*)>("pthread_sigmask");
  bool const fail = fails("pthread_sigmask");
  int const result = real(how, set, before);
  return fail ? wanted.error : result;
}

extern "C" int pthread_setcancelstate(int state, int* before) {
  static auto* const real = next<int(int, int*)>("pthread_setcancelstate");
  bool const fail = fails("pthread_setcancelstate");
  int const result = real(state, before);
  return fail ? wanted.error : result;
}

extern "C" SHARES_MEMORY int __clone(int (*function)(void*), void* stack, int flags, void* argument,
                                     ...) {
  return fails("__clone") ? -1
                          : realClone(function, stack, flags, argument, nullptr, nullptr, nullptr);
}

extern "C" SHARES_MEMORY long syscall(long number, ...) noexcept {
  va_list more;
  va_start(more, number);
  long words[6];
  for (long& word : words)
    word = va_arg(more, long);
  va_end(more);
  if (!armed || !fails(nameOf(number)))
    return realSyscall(number, words[0], words[1], words[2], words[3], words[4], words[5]);
  if (number == SYS_wait4 && wanted.error == ECHILD)
    (void)realSyscall(number, words[0], 0, words[2], words[3], 0, 0);
  errno = wanted.error;
  return -1;
}

// Digests.

EVP_MD_CTX* EVP_MD_CTX_new() {
  static auto* const real = next<EVP_MD_CTX*()>("EVP_MD_CTX_new");
  return fails("EVP_MD_CTX_new") ? nullptr : real();
}

int EVP_DigestInit_ex(EVP_MD_CTX* context, const EVP_MD* type, ENGINE* engine) {
  static auto* const real = next<int(EVP_MD_CTX*, const EVP_MD*, ENGINE*)>("EVP_DigestInit_ex");
  return fails("EVP_DigestInit_ex") ? 0 : real(context, type, engine);
}

int EVP_DigestUpdate(EVP_MD_CTX* context, const void* data, size_t size) {
  static auto* const real = next<int(EVP_MD_CTX*, const void*, size_t)>("EVP_DigestUpdate");
  return fails("EVP_DigestUpdate") ? 0 : real(context, data, size);
}

int EVP_DigestFinal_ex(EVP_MD_CTX* context, unsigned char* value, unsigned int* size) {
  static auto* const real =
      next<int(EVP_MD_CTX*, unsigned char*, unsigned int*)>("EVP_DigestFinal_ex");
  return fails("EVP_DigestFinal_ex") ? 0 : real(context, value, size);
}

// The system log: cannot fail, and replaces the one that all tests have.

extern "C" void syslog(int priority, const char* format, ...) {
  if (priority != LOG_ERR)
    abort();
  va_list values;
  va_start(values, format);
  std::size_t const room = logText.size() - logSize - 1;
  int const size = vsnprintf(logText.data() + logSize, room, format, values);
  va_end(values);
  logSize = std::min(logSize + static_cast<std::size_t>(std::max(size, 0)), logText.size() - 2);
  logText[logSize++] = '\n';
  logText[logSize] = '\0';
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
