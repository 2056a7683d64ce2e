// The program's operator new, which fails on request and counts allocations. It also serves the
// library's allocations.

#ifndef ZEMO_TESTS_SUPPORT_DOUBLES_FAILING_NEW_H
#define ZEMO_TESTS_SUPPORT_DOUBLES_FAILING_NEW_H

#include <cstddef>

// From now on, only the `n`-th allocation of this thread fails; 0: none does.
void failAllocation(long n);

// From now on, the `n`-th allocation by any thread of at least `size` bytes fails; 0: none does.
void failLargeAllocation(long n, std::size_t size);

// True if the requested failure has happened.
bool allocationHasFailed();

// The number of this thread's allocations that have not been freed yet.
long liveAllocations();

#endif
