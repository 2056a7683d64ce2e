#include "support/doubles/failing_new.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

thread_local long toFail = 0;
thread_local bool hasFailed = false;
thread_local long live = 0;

std::atomic<std::size_t> largeSize{0};
std::atomic<long> largeToFail{0};

void* allocate(std::size_t size) {
  if (toFail > 0 && --toFail == 0) {
    hasFailed = true;
    return nullptr;
  }
  if (largeToFail > 0 && size >= largeSize && --largeToFail == 0)
    return nullptr;
  void* const memory = malloc(size != 0 ? size : 1);
  if (memory != nullptr)
    ++live;
  return memory;
}

void* allocateOrThrow(std::size_t size) {
  void* const memory = allocate(size);
  if (memory == nullptr)
    throw std::bad_alloc();
  return memory;
}

void release(void* memory) {
  if (memory == nullptr)
    return;
  --live;
  free(memory);
}

}  // namespace

void failAllocation(long n) {
  toFail = n;
  hasFailed = false;
}

void failLargeAllocation(long n, std::size_t size) {
  largeSize = size;
  largeToFail = n;
}

bool allocationHasFailed() {
  return hasFailed;
}

long liveAllocations() {
  return live;
}

// No tested code needs more than malloc's alignment, so the aligned forms stay the C++ library's.
void* operator new(std::size_t size) {
  return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
  return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void operator delete(void* memory) noexcept {
  release(memory);
}
void operator delete[](void* memory) noexcept {
  release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  release(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  release(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  release(memory);
}
