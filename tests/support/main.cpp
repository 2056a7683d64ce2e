// The main function of every test program. It moves the program into a private root unless it is in
// one already, so the program can be started by hand like any other.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  bool const onlyLists = ::testing::GTEST_FLAG(list_tests);
  if (onlyLists || getenv("ZEMO_PRIVATE_ROOT") != nullptr)
    return RUN_ALL_TESTS();

  // GoogleTest has removed its options from argv; the program that is executed needs them again.
  std::vector<std::string> words = ::testing::internal::GetArgvs();
  words.at(0) = std::filesystem::read_symlink("/proc/self/exe");
  words.insert(words.begin(), {ZEMO_PRIVATE_ROOT_SCRIPT, "--or-without"});
  std::vector<char*> arguments;
  for (std::string& word : words)
    arguments.push_back(word.data());
  arguments.push_back(nullptr);
  execv(arguments[0], arguments.data());
  perror("cannot execute " ZEMO_PRIVATE_ROOT_SCRIPT);
  return 1;
}
