// self_check PATH...: prints "secure" if it was started as a set-user-ID program, and then the
// results of SelfCheckFiles for the paths, one per line.

#include <sys/auxv.h>
#include <zemo/selfcheck/self_check_files.h>

#include <cstdio>

#include "support/path_list.h"
#include "support/result_mask.h"

// NOLINTNEXTLINE(bugprone-exception-escape): an exception shall end it
int main(int argc, char** argv) {
  PathList const paths(std::vector<std::string>(argv + 1, argv + argc));
  std::vector<SELFCHECK_RESULT> results(static_cast<size_t>(argc));
  if (getauxval(AT_SECURE) != 0)
    (void)puts("secure");
  if (SelfCheckFiles(paths.get(), results.data()) != 0)
    return 1;
  results.pop_back();
  for (uint32_t const mask : masksOf(results))
    (void)printf("%03x\n", mask);
  return 0;
}
