#include "scenario.h"

#include <gtest/gtest.h>
#include <openssl/crypto.h>
#include <regex.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <deque>
#include <iterator>
#include <map>
#include <new>
#include <numeric>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <utility>

#include "support/files.h"

namespace {

struct Failing {
  const char* function;
  std::vector<int> errors;
  bool alike = false;  // has so many similar calls that they only fail together
};

const std::vector<Failing>& everyFailure() {
  static const std::vector<Failing> all = {
      {"new", {ENOMEM}},
      {"malloc", {ENOMEM}},
      {"calloc", {ENOMEM}},
      {"realloc", {ENOMEM}},
      {"aligned_alloc", {ENOMEM}},
      {"nanosleep", {EINTR}},
      {"open64",
       {EINTR, EIO, EACCES, ENOENT, EMFILE, ENFILE, ENOMEM, ELOOP, ENAMETOOLONG, ENOTDIR, EPERM,
        EWOULDBLOCK}},
      {"close", {EINTR, EIO, EDQUOT}},
      {"read", {EINTR, EIO, EISDIR, EAGAIN, ENOMEM}},
      {"pread64", {EINTR, EIO, EISDIR, EAGAIN, ENOMEM, ESPIPE}},
      {"stat64", {EINTR, EIO, EACCES, ENOENT, ELOOP, ENAMETOOLONG, ENOMEM, ENOTDIR}},
      {"lstat64", {EINTR, EIO, EACCES, ENOENT, ELOOP, ENAMETOOLONG, ENOMEM, ENOTDIR}},
      {"fstat64", {EINTR, EIO, ENOMEM, EBADF}},
      {"fstatat64", {EINTR, EIO, EACCES, ENOENT, ELOOP, ENAMETOOLONG, ENOMEM}},
      {"readlink", {EINTR, EIO, EACCES, ENOENT, EINVAL, ELOOP, ENAMETOOLONG, ENOMEM}},
      {"fdopendir", {ENOMEM, EMFILE, ENOTDIR}},
      {"readdir64", {EINTR, EIO, ENOENT, EBADF, ENOMEM}},
      {"closedir", {EINTR, EIO}},
      {"glob64", {ENOMEM, EIO}},
      {"glob64_first", {0, ENOMEM, EIO}},
      {"glob64_last", {0, ENOMEM, EIO}},
      {"getpwnam", {0, EINTR, EIO, EMFILE, ENFILE, ENOMEM, ENOENT}},
      {"mmap64", {ENOMEM, EAGAIN, EPERM}},
      {"mprotect", {ENOMEM, EACCES}},
      {"munmap", {EINVAL, ENOMEM}},
      {"waitpid", {EINTR, ECHILD}},
      {"pthread_sigmask", {EINVAL}},
      {"pthread_setcancelstate", {EINVAL}},
      {"__clone", {EAGAIN, ENOMEM, EPERM}},
      {"SYS_close", {EINTR, EIO}},
      {"SYS_close_range", {ENOSYS, EMFILE, EPERM, EINVAL}},
      {"SYS_openat", {EIO, EACCES, ENOENT, EMFILE, ENFILE, ENOMEM, ELOOP}},
      {"SYS_dup2", {EINTR, EIO, EMFILE, EBADF}},
      {"SYS_rt_sigaction", {EINVAL}, true},
      {"SYS_rt_sigprocmask", {EINVAL}},
      {"SYS_execve", {EIO, EACCES, ENOENT, ENOMEM, EAGAIN, E2BIG, ELOOP, ENOEXEC, ETXTBSY, EMFILE}},
      {"SYS_wait4", {EINTR, ECHILD}},
      {"VLIBExecl", {0}},
      {"EVP_MD_CTX_new", {ENOMEM}},
      {"EVP_DigestInit_ex", {0}},
      {"EVP_DigestUpdate", {0}},
      {"EVP_DigestFinal_ex", {0}},
  };
  return all;
}

// The library repeats an interrupted call; endlessly, if it is always interrupted.
bool isRetried(const std::string& function, int error) {
  static const std::set<std::string> retrying = {"open64", "read", "pread64", "waitpid",
                                                 "SYS_wait4"};
  return error == EINTR && retrying.count(function) != 0;
}

// It also repeats opening a regular file with a lease, but not endlessly.
bool mayBeRetried(const Failure& failure) {
  return failure.error == EWOULDBLOCK && !failure.lasting &&
         failure.function == std::string("open64");
}

// Functions whose failure never makes a difference.
bool isHarmless(const std::string& function) {
  static const std::set<std::string> harmless = {
      "close",         "closedir",         "mprotect",        "munmap",
      "SYS_close",     "SYS_rt_sigaction", "pthread_sigmask", "pthread_setcancelstate",
      "aligned_alloc", "nanosleep"};
  return harmless.count(function) != 0;
}

// Keeps its memory, so that appending to it does not change the memory count.
std::string outcome;

constexpr char calledIntactWords[] = " called intact";

// How often each function has failed, in all scenarios.
std::map<std::string, long> failureCounts;

std::vector<std::pair<std::string, std::string>> abbreviations;

struct Resources {
  long blocks;
  int descriptors;
  bool children;
};

Resources resources() {
  OPENSSL_thread_stop();  // libcrypto stores this thread's errors
  int const descriptors = openDescriptors();
  // Any child, including one that ends without a signal.
  int const child = waitpid(-1, nullptr, __WALL | WNOHANG);
  return {liveBlocks(), descriptors, child >= 0 || errno != ECHILD};
}

// Adds the text with abbreviations, and with < and > instead of brackets.
void addToOutcome(const char* text, std::size_t size) {
  for (std::size_t i = 0; i < size;) {
    auto const directory =
        std::find_if(abbreviations.begin(), abbreviations.end(), [&](const auto& abbreviation) {
          return strncmp(text + i, abbreviation.first.c_str(), abbreviation.first.size()) == 0;
        });
    if (directory != abbreviations.end()) {
      outcome += directory->second;
      i += directory->first.size();
    } else {
      outcome += text[i] == '[' ? '<' : text[i] == ']' ? '>' : text[i];
      ++i;
    }
  }
}

// Runs the scenario once; `outcome` then has the result.
void run(const Scenario& scenario, const Failure* failure) {
  outcome.clear();
  clearLoggedText();
  Attempt attempt(failure);
  scenario.run(attempt);
  const char* separator = " | ";
  for (const char* line = loggedText(); *line != '\0';) {
    const char* const end = strchr(line, '\n');
    outcome += separator;
    addToOutcome(line, static_cast<std::size_t>(end - line));
    separator = "; ";
    line = end + 1;
  }
}

bool names(const Documented& documented, const Failure& failure) {
  std::istringstream words(documented.functions);
  return std::find(std::istream_iterator<std::string>(words), {}, failure.function) !=
         std::istream_iterator<std::string>();
}

// A regular expression. (std::regex needs more stack for longer texts.)
class Pattern {
 public:
  explicit Pattern(const std::string& text) {
    if (regcomp(&_compiled, ("^(" + text + ")$").c_str(), REG_EXTENDED | REG_NOSUB) != 0)
      throw std::invalid_argument(text);
  }
  ~Pattern() { regfree(&_compiled); }
  Pattern(const Pattern&) = delete;
  Pattern& operator=(const Pattern&) = delete;

  bool matches(const std::string& text) const {
    return regexec(&_compiled, text.c_str(), 0, nullptr, 0) == 0;
  }

 private:
  regex_t _compiled{};
};

// The outcomes of a scenario that have occurred, and whether they are documented.
class Outcomes {
 public:
  explicit Outcomes(const Scenario& scenario)
      : _scenario(scenario), _seen(scenario.failures.size()) {
    for (const Documented& documented : scenario.failures)
      _patterns.emplace_back(documented.outcome);
  }

  bool documented(const Failure& failure) {
    auto const [known, isNew] =
        _known.try_emplace({failure.function, failure.error, failure.lasting, outcome}, false);
    if (isNew)
      known->second = lookUp(failure);
    return known->second;
  }

  std::string missing() const {
    std::string all;
    for (std::size_t i = 0; i < _seen.size(); ++i) {
      std::istringstream words(_scenario.failures[i].functions);
      for (std::string function; words >> function;) {
        if (_seen[i].count(function) == 0)
          all += function + " -> " + _scenario.failures[i].outcome + "\n";
      }
    }
    return all;
  }

 private:
  bool lookUp(const Failure& failure) {
    if (isRetried(failure.function, failure.error) || isHarmless(failure.function))
      return outcome == _scenario.outcome;
    if (mayBeRetried(failure) && outcome == _scenario.outcome)
      return true;
    const std::vector<Documented>& all = _scenario.failures;
    bool const special = std::any_of(all.begin(), all.end(), [&](const Documented& documented) {
      return documented.error == failure.error && names(documented, failure);
    });
    bool found = false;
    for (std::size_t i = 0; i < all.size(); ++i) {
      if (all[i].error != (special ? failure.error : Documented::anyError) ||
          !names(all[i], failure))
        continue;
      if (standsFor(i)) {
        (void)_seen[i].insert(failure.function);
        found = true;
      }
    }
    return found;
  }

  // Whether the outcome is the documented one with this index.
  bool standsFor(std::size_t index) const {
    const std::string& text = _scenario.failures[index].outcome;
    if (outcome == _scenario.outcome || text == "same")
      return outcome == _scenario.outcome && text == "same";
    bool const intact = outcome.find(calledIntactWords) != std::string::npos;
    bool const mayBeIntact = text.find(calledIntactWords) != std::string::npos;
    return intact == mayBeIntact && _patterns[index].matches(outcome);
  }

  const Scenario& _scenario;
  std::deque<Pattern> _patterns;
  std::vector<std::set<std::string>> _seen;  // the functions with which each has occurred
  std::map<std::tuple<std::string, int, bool, std::string>, bool> _known;
};

std::string described(const Failure& failure) {
  return std::string(failure.function) + " number " + std::to_string(failure.n) +
         (failure.lasting ? " and all later ones" : "") + " fails with " +
         (failure.error == 0 ? "no reason" : strerrorname_np(failure.error));
}

// Ends the program if an attempt takes too long. Operations that block signals leave this signal to
// another thread.
std::array<char, 200> currentAttempt{};

extern "C" void endHanging(int /*signal*/) {
  constexpr char hangs[] = "hangs: ";
  (void)write(2, hangs, sizeof hangs - 1);
  (void)write(2, currentAttempt.data(), strlen(currentAttempt.data()));
  (void)write(2, "\n", 1);
  _exit(1);
}

void watch(const std::string& attempt) {
  constexpr unsigned int seconds = 60;
  static bool const watching = [] {
    (void)signal(SIGALRM, endHanging);
    std::thread([] {
      for (;;)
        (void)pause();
    }).detach();
    return true;
  }();
  (void)watching;
  currentAttempt[attempt.copy(currentAttempt.data(), currentAttempt.size() - 1)] = '\0';
  (void)alarm(seconds);
}

// False if nothing has failed, because the operation makes fewer calls.
bool failOnce(const Scenario& scenario, const Failure& failure, Outcomes& outcomes) {
  watch(scenario.name + ": " + described(failure));
  Resources const before = resources();
  run(scenario, &failure);
  Resources const after = resources();
  SCOPED_TRACE(described(failure));
  EXPECT_EQ(after.blocks, before.blocks) << "memory leaked";
  EXPECT_EQ(after.descriptors, before.descriptors) << "descriptors leaked";
  EXPECT_FALSE(after.children) << "a child is left";
  if (!injectedFailureHappened()) {
    EXPECT_EQ(outcome, scenario.outcome) << "earlier failures had lasting effects";
    return false;
  }
  ++failureCounts[failure.function];
  EXPECT_TRUE(outcomes.documented(failure)) << "is not documented: " << outcome;
  return true;
}

}  // namespace

Attempt::Attempt(const Failure* failure) : _failure(failure) {}

bool Attempt::operator()(const std::function<void()>& operation) {
  static const Failure none;
  try {
    Injected const injected(_failure != nullptr ? *_failure : none);
    operation();
    return true;
  } catch (const std::bad_alloc&) {
    outcome += "bad_alloc";
    return false;
  }
}

void Attempt::say(const std::string& text) {
  addToOutcome(text.data(), text.size());
}

void Attempt::calledIntact(const std::string& path) {
  say(" " + path + calledIntactWords);
}

void abbreviate(const std::string& directory, const std::string& name) {
  abbreviations.emplace_back(directory, name);
}

void fail(const Scenario& scenario) {
  SCOPED_TRACE(scenario.name);
  constexpr std::size_t room = 262144;
  outcome.reserve(room);
  run(scenario, nullptr);  // creates the things that are cached
  run(scenario, nullptr);
  EXPECT_EQ(outcome, scenario.outcome);

  Outcomes outcomes(scenario);
  for (const auto& [function, errors, alike] : everyFailure()) {
    for (int const error : errors) {
      for (bool const lasting : {false, true}) {
        if (lasting ? isRetried(function, error) : alike)
          continue;
        long n = 1;
        while (failOnce(scenario, {function, n, error, lasting}, outcomes) && !alike)
          ++n;
      }
    }
  }
  (void)alarm(0);
  EXPECT_EQ(outcomes.missing(), "") << "did not occur";
}

long failureCount() {
  return std::accumulate(failureCounts.begin(), failureCounts.end(), 0L,
                         [](long sum, const auto& each) { return sum + each.second; });
}

std::string neverFailed() {
  std::string all;
  for (const Failing& failing : everyFailure()) {
    if (failureCounts.count(failing.function) == 0)
      all += std::string(" ") + failing.function;
  }
  return all;
}
