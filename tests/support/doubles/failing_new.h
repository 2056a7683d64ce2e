// The program's operator new, which fails when it is told to and keeps count. The library's
// allocations come here, too.

#ifndef ZEMO_TESTS_SUPPORT_DOUBLES_FAILING_NEW_H
#define ZEMO_TESTS_SUPPORT_DOUBLES_FAILING_NEW_H

#include <cstddef>

// From now on, the `n`-th allocation of this thread fails, and it alone; 0: none does.
void failAllocation(long n);

// From now on, the `n`-th allocation by any thread of at least `size` bytes fails; 0: none does.
void failLargeAllocation(long n, std::size_t size);

// True when the failure that was asked for has happened.
bool allocationHasFailed();

// The allocations of this thread that have not been freed yet.
long liveAllocations();

#endif
