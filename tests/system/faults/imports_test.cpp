// The functions that the libraries call: each of them fails in these tests or is known not to fail.

#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>
#include <link.h>
#include <regex.h>

#include <cstring>
#include <set>
#include <string>

#include "failing_calls.h"

namespace faults {

namespace {

// Functions that do not fail, or whose failure has no effect. EVP_MD_fetch is called only once in a
// program, and fails in tests/unit/src/protected_file. The last line lists the functions that
// sanitizers and coverage measurement add.
constexpr char neverFails[] =
    "^(memchr|memcmp|bcmp|memcpy|memmove|memset|__mem[a-z]+_chk|str[a-z]+|__isoc[0-9]+_strtou?l"
    "|vsnprintf|__vsnprintf_chk|sysconf|sigfillset|__sigaction|dirfd|rewinddir|globfree64"
    "|EVP_MD_CTX_free|EVP_MD_fetch|EVP_sha1|gnu_dev_m(aj|in)or|VLIB[A-Za-z]+|_ZN15ZEMOPackageTool.*"
    "|_ZN?K?S.*|_Zd.*|_Unwind_Resume|__cxa_.*|__g(cc|xx)_personality_v0|__gmon_start__|_ITM_.*"
    "|__errno_location|__stack_chk_fail|__assert_fail|__tls_get_addr|abort"
    "|__(a|l|t|ub)san_.*|__sanitizer_.*|__gcov_.*|__llvm_.*)$";

template <typename T>
const T* at(ElfW(Addr) address) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the structure holds addresses as numbers
  return reinterpret_cast<const T*>(address);
}

// The undefined functions of a library.
std::set<std::string> importsOf(const link_map& library) {
  const ElfW(Sym)* symbols = nullptr;
  const char* names = nullptr;
  const uint32_t* hashes = nullptr;
  for (const ElfW(Dyn)* entry = library.l_ld; entry->d_tag != DT_NULL; ++entry) {
    if (entry->d_tag == DT_SYMTAB)
      symbols = at<ElfW(Sym)>(entry->d_un.d_ptr);
    else if (entry->d_tag == DT_STRTAB)
      names = at<char>(entry->d_un.d_ptr);
    else if (entry->d_tag == DT_GNU_HASH)
      hashes = at<uint32_t>(entry->d_un.d_ptr);
  }
  std::set<std::string> imports;
  // The library's defined symbols come after the undefined ones.
  for (uint32_t i = 1; hashes != nullptr && i < hashes[1]; ++i) {
    if (symbols[i].st_shndx == SHN_UNDEF && ELF64_ST_TYPE(symbols[i].st_info) != STT_OBJECT)
      (void)imports.insert(names + symbols[i].st_name);
  }
  return imports;
}

// Whether this program defines the function.
bool isOurs(const std::string& function) {
  Dl_info found = {};
  Dl_info here = {};
  return dladdr(dlsym(RTLD_DEFAULT, function.c_str()), &found) != 0 &&
         dladdr(reinterpret_cast<const void*>(&callFails), &here) != 0 &&
         found.dli_fbase == here.dli_fbase;
}

}  // namespace

TEST(ImportsFaultsTest, EachFailsOrIsKnownNotTo) {
#ifdef ZEMO_COVERAGE
  GTEST_SKIP() << "the coverage runtime makes additional calls";
#endif
  regex_t known = {};
  ASSERT_EQ(regcomp(&known, neverFails, REG_EXTENDED | REG_NOSUB), 0);
  int libraries = 0;
  for (const link_map* library = _r_debug.r_map; library != nullptr; library = library->l_next) {
    if (strstr(library->l_name, "/libzemo") == nullptr)
      continue;
    ++libraries;
    std::set<std::string> const imports = importsOf(*library);
    EXPECT_GT(imports.size(), 10U) << library->l_name;
    for (const std::string& function : imports) {
      EXPECT_TRUE(isOurs(function) || regexec(&known, function.c_str(), 0, nullptr, 0) == 0)
          << library->l_name << " calls " << function << ", which does not fail in these tests";
    }
  }
  regfree(&known);
  EXPECT_EQ(libraries, 3);
}

}  // namespace faults
