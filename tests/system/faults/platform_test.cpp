// Operations of the platform's libraries.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <zemo/core.h>
#include <zemo/package.h>

#include <cerrno>

#include "fixture.h"

namespace faults {

using PlatformFaultsTest = LibraryFaultsTest;

namespace {

// Waits for all children, and returns how many there were.
int reapAll() {
  int count = 0;
  while (waitpid(-1, nullptr, __WALL) > 0)
    ++count;
  return count;
}

}  // namespace

TEST_F(PlatformFaultsTest, Packages) {
  fail({"PMSCheckPackage",
        [](Attempt& attempt) {
          bool result = false;
          if (attempt([&] { result = ZEMOPackageTool::PMSCheckPackage(package); }))
            attempt.sayWhether(result);
        },
        "true",
        {outOfMemory, {"stat64", "false"}}});
  fail({"PMSGetPkgUserName",
        [](Attempt& attempt) {
          std::string name = "unknown";
          VLIBErrSet(VLIB_ERR_NONE);
          if (attempt([&] { name = ZEMOPackageTool::PMSGetPkgUserName(package); }))
            attempt.say(name + " " + std::to_string(VLIBErrGet()));
        },
        "daemon 0",
        {outOfMemory, {"open64 read fstat64", " " + std::to_string(ZEMO_PACKAGE_BAD_USER)}}});
}

TEST_F(PlatformFaultsTest, StringLists) {
  std::string const exhausted = std::to_string(VLIB_ERR_OUT_OF_MEMORY);
  fail({"VLIBSzListAlloc",
        [](Attempt& attempt) {
          VLIBErrSet(VLIB_ERR_NONE);
          VLIBSzList* list = nullptr;
          (void)attempt([&] { list = VLIBSzListAlloc(10); });
          attempt.say((list != nullptr ? "list " : "null ") + std::to_string(VLIBErrGet()));
          VLIBSzListFree(list);
        },
        "list 0",
        {{"malloc", "null " + exhausted}}});
  auto const sayList = [](Attempt& attempt, int result, const VLIBSzList* list) {
    attempt.say(std::to_string(result) + " " + std::to_string(VLIBErrGet()));
    for (int i = 0; i < list->count; ++i)
      attempt.say(std::string(" ") + VLIBSzListGet(list, i));
  };
  fail({"VLIBSzListPush",
        [&](Attempt& attempt) {
          VLIBErrSet(VLIB_ERR_NONE);
          VLIBSzList* list = VLIBSzListAlloc(1);
          (void)VLIBSzListPush(&list, "old");
          int result = 0;
          (void)attempt([&] { result = VLIBSzListPush(&list, "a longer new item"); });
          sayList(attempt, result, list);
          VLIBSzListFree(list);
        },
        "2 0 old a longer new item",
        {{"malloc realloc", "-1 " + exhausted + " old"}}});
  fail({"VLIBStrTok",
        [&](Attempt& attempt) {
          VLIBErrSet(VLIB_ERR_NONE);
          VLIBSzList* list = VLIBSzListAlloc(1);
          (void)VLIBSzListPush(&list, "old");
          int result = 0;
          (void)attempt([&] { result = VLIBStrTok("a b c", " ", &list); });
          sayList(attempt, result, list);
          VLIBSzListFree(list);
        },
        "3 0 a b c",
        {{"malloc realloc", "-1 " + exhausted + " old"}}});
}

TEST_F(PlatformFaultsTest, ErrorCode) {
  fail({"VLIBErrGet",
        [](Attempt& attempt) {
          int code = 0;
          (void)attempt([&] {
            VLIBErrSet(4711);
            code = VLIBErrGet();
          });
          attempt.say(std::to_string(code));
        },
        "4711",
        {}});
}

TEST_F(PlatformFaultsTest, FileExist) {
  fail({"VLIBFileExist",
        [](Attempt& attempt) {
          int result = 0;
          (void)attempt([&] { result = VLIBFileExist(intact.c_str()); });
          attempt.say(std::to_string(result));
        },
        "1",
        {{"stat64", "0"}}});
}

TEST_F(PlatformFaultsTest, Execl) {
  constexpr int waiting = VLIB_EXEC_WAIT;
  constexpr int all = 187;
  std::string const programFailed = "-1 " + std::to_string(VLIB_ERR_PROGRAM_FAILED);
  for (const char* const program : {"/bin/true", "/bin/false"}) {
    for (int const options : {all, waiting, all & ~waiting, 0}) {
      bool const waits = (options & waiting) != 0;
      bool const fails = waits && program == std::string("/bin/false");
      std::string const left = waits ? "" : " 1 left";
      std::vector<Documented> documented = {
          {"calloc mmap64 __clone",
           "-1 " + std::to_string(VLIB_ERR_OUT_OF_MEMORY) + (waits ? "" : " 0 left")},
          {"SYS_execve", fails ? "same" : programFailed + left},
          {"SYS_rt_sigprocmask waitpid", "same"}};
      if (waits)
        documented.push_back({"SYS_wait4", fails ? "same" : programFailed});
      if (options != 0)  // closes all descriptors after starting the program, or before
        documented.push_back({"SYS_close_range", "same"});
      if ((options & VLIB_EXEC_STDIN_NULL) != 0)
        documented.push_back({"SYS_openat SYS_dup2", fails ? "same" : programFailed + left});
      fail({"VLIBExecl of " + std::string(program) + " with " + std::to_string(options),
            [&](Attempt& attempt) {
              VLIBErrSet(VLIB_ERR_NONE);
              int result = 0;
              (void)attempt([&] {
                result = VLIBExecl(program, options, "word", static_cast<char*>(nullptr));
              });
              attempt.say(std::to_string(result) + " " + std::to_string(VLIBErrGet()));
              if (fails && result == 0)
                attempt.calledIntact(program);
              if (!waits)
                attempt.say(" " + std::to_string(reapAll()) + " left");
            },
            fails ? programFailed : "0 0" + left, documented});
    }
  }
}

}  // namespace faults
