// library_check: loads the operating system's set without verifying signatures, and checks it.

#include <zemo/selfcheck.h>

#include "measured.h"

int main() {
  ZEMO::SELF_CHECK::FileList list("wam", "full");
  bench::Stopwatch const loading;
  if (!list.loadList(false))
    bench::fail("the set cannot be loaded");
  double const loaded = loading.seconds();
  bench::Stopwatch const checking;
  bool const intact = list.check(ZEMO::SELF_CHECK::CHECK_ITEM_ALL);
  (void)printf(
      "{\"load_seconds\": %.6f, \"seconds\": %.6f, \"entries\": %zu, \"intact\": %s, \"peak_kib\": "
      "%ld}\n",
      loaded, checking.seconds(), list.getProtectedFiles()->size(), intact ? "true" : "false",
      bench::peakKib());
  return 0;
}
