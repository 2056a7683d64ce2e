// The fixed workloads. Each function prepares a workload in the working directory, which must be
// empty, and returns the counted part, which returns whether everything went as expected. Paths on
// disk are relative, so that the count does not depend on the path of the directory.

#ifndef ZEMO_BENCH_COUNTS_WORKLOAD_H
#define ZEMO_BENCH_COUNTS_WORKLOAD_H

#include <functional>

using Work = std::function<bool()>;

Work makeEntries();    // 20,000 lines become entries
Work loadList();       // a list of 50,000 lines is read, members of 500 fixed directories collected
Work parseShuffled();  // a list of 20,000 lines in random order is read
Work checkSet();       // 2,000 files of at most 8 KiB, their directories, and links are checked
Work checkNamed();     // 5,000 paths are named, half of them unlisted, with 50 fixed directories

#endif
