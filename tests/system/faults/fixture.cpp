#include "fixture.h"

#include <dlfcn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <zemo/core.h>

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <thread>

#include "support/files.h"

// Replaces GnuPG with a program that takes little time, or with none. Verifies all lists except
// forged ones.
int VLIBExecl(const char* program, int options, ...) {
  using Exec = int(const char*, int, ...);
  static auto* const real = reinterpret_cast<Exec*>(dlsym(RTLD_NEXT, "VLIBExecl"));
  if (strcmp(program, "/usr/bin/gpg") != 0)
    return real(program, options, static_cast<char*>(nullptr));
  va_list words;
  va_start(words, options);
  const char* list = "";
  while (const char* const word = va_arg(words, const char*))
    list = word;
  va_end(words);
  bool const forged = strstr(list, "forged") != nullptr;
  if (callFails("VLIBExecl"))
    return -1;
  if (faults::withoutPrograms)
    return forged ? -1 : 0;
  return real(forged ? "/bin/false" : "/bin/true", options, "an argument",
              static_cast<char*>(nullptr));
}

namespace faults {

namespace {

// Prints the number of failures at the end. After a run of all tests, every function that can fail
// must have failed.
class Total : public ::testing::Environment {
 public:
  void TearDown() override {
    std::cout << failureCount() << " failures\n";
    const ::testing::UnitTest& tests = *::testing::UnitTest::GetInstance();
    if (tests.test_to_run_count() == tests.total_test_count() && tests.skipped_test_count() == 0) {
      EXPECT_EQ(neverFailed(), "");
    }
  }
};

const ::testing::Environment* const total = ::testing::AddGlobalTestEnvironment(new Total);

}  // namespace

bool withoutPrograms = false;

std::string notCompared(const std::string& names, const std::string& line) {
  std::string const file = " <T/(" + names + ")> failed";
  return "((protected_file:[0-9]+ [A-Za-z ]+" + file + "; )+" + line + file + "\\.(; )?)+";
}

std::string failingFromOne(const std::vector<std::string>& words,
                           const std::vector<std::string>& failing) {
  std::string all;
  for (std::size_t first = 0; first < words.size(); ++first) {
    for (std::size_t const last : {first, words.size() - 1}) {
      all += all.empty() ? "" : "|";
      for (std::size_t i = 0; i < words.size(); ++i)
        all += i >= first && i <= last ? failing[i] : words[i];
    }
  }
  return "(" + all + ")";
}

bool isLogged(const std::string& text) {
  return strstr(loggedText(), text.c_str()) != nullptr;
}

std::string listed(const std::string& path) {
  return entryLine(path, "100000", good, "f", "644", "-", "-");
}

std::string kindsOf(const ZEMO::SELF_CHECK::ProtectedFile& entry) {
  std::string kinds;
  for (const ZEMO::SELF_CHECK::CheckError* error : entry._errors)
    kinds += " " + ZEMO::SELF_CHECK::CheckError().type2String(error->_error);
  return kinds;
}

// Closing every possible descriptor, one by one, may take long. Orphans of a child become children
// of this process.
void LibraryFaultsTest::SetUpTestSuite() {
  rlimit limit = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_cur, 1024);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
}

void LibraryFaultsTest::SetUp() {
  PrivateRootTest::SetUp();
  if (IsSkipped())
    return;
  if (getenv("ZEMO_UNDER_VALGRIND") != nullptr)
    GTEST_SKIP() << "valgrind replaces the functions that fail here";
  withoutPrograms = false;
  abbreviate(tree, "T/");
  abbreviate(lists, "L/");
  makeDirectory(fixed);
  // Too long to be read at once, or into a buffer on the stack.
  writeFile(intact, std::string(100'000, 'x'));
  writeFile(tampered, std::string(99'999, 'x') + "y");
  writeFile(member, "content");
  makeLink("an old target", link);
  writeFile(tree + "user", "daemon\n");
  makeDirectory(tree + "target");
  // A recently changed directory is read again, and every attempt must make the same calls.
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

void LibraryFaultsTest::writeLists() {
  writeList("wam.full.maker.list",
            listed(intact) + "\n" + entryLine(tampered, "100000", bad, "f", "644", "-", "-") +
                "\n" + listed(tree + "removed") + "\n" +
                entryLine(fixed, "-", "FIXED", "d", "-", "-", "-") + "\n" +
                entryLine(link, "13", "a new target", "l", "-", "-", "-") + "\n");
  writeList("wam.full.local.list", entryLine(link, "13", "an old target", "l", "-", "-", "-") +
                                       "\n-" + listed(tree + "removed") + "\n" +
                                       entryLine(member, "7", "-", "f", "-", "-", "-") + "\n" +
                                       listed(tampered) + "\n");
  for (const char* const name : {"maker", "local"})
    writeFile(lists + "wam.full." + name + ".list.asc", "");
  writeFile(lists + "listorder", "wam.full.maker.list\nwam.full.local.list\n");
}

}  // namespace faults
