#include "run/workers.h"

#include <sched.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "io/exit_status.h"

namespace tool {

Workers::Workers(std::size_t count, unsigned threads, Work work, IsQuick isQuick, Begin begin)
    : _work(std::move(work)),
      _isQuick(std::move(isQuick)),
      _begin(std::move(begin)),
      _count(count),
      _wanted(std::min<std::size_t>(threads, count)),
      _done(new std::atomic<bool>[count]()),
      _left(count) {
  _threads.reserve(_wanted);
  try {
    while (_threads.size() < _wanted)
      _threads.emplace_back([this] { start(); });
  } catch (const std::exception&) {  // no more threads, or not enough memory for one
    if (_threads.empty() && _begin)
      throw Failure(STATUS_NOT_LOADED, "cannot start a thread");
    if (_threads.empty())
      serve();
  }
}

Workers::~Workers() {
  stop();
  for (std::thread& thread : _threads)
    thread.join();
}

// Returns how many items, starting with `begin`, may be taken together.
std::size_t Workers::neighbours(std::size_t begin, std::size_t most) const {
  std::size_t size = 0;
  while (size < most && _isQuick && _isQuick(begin + size))
    ++size;
  return std::max<std::size_t>(size, 1);
}

// Takes several quick items at once while many are left, because threads that take single items
// contend with each other. Never takes an item together with a slow one before it: it would have to
// wait although other threads may be idle.
Workers::Range Workers::take() {
  constexpr std::size_t most = 32;
  std::size_t const shares = 16 * _wanted;
  std::size_t begin = _next.load();
  std::size_t size = 0;
  do {
    if (begin >= _count)
      return {_count, _count};
    size = neighbours(begin, std::min(most, (_count - begin) / shares));
  } while (!_next.compare_exchange_weak(begin, begin + size));
  return {begin, begin + size};
}

void Workers::start() {
  try {
    if (_begin)
      _begin();
  } catch (...) {
    fail();
    return;
  }
  serve();
}

// Called while an exception is handled.
void Workers::fail() {
  std::lock_guard<std::mutex> const lock(_mutex);
  _thrown = std::current_exception();
  stop();
  _ended.notify_all();
}

void Workers::serve() {
  for (Range range = take(); range.begin < range.end; range = take()) {
    for (std::size_t item = range.begin; item < range.end; ++item) {
      if (_stopped.load())
        return;
      try {
        _work(item);
      } catch (...) {
        fail();
        return;
      }
      _done[item].store(true, std::memory_order_release);
    }
    std::size_t const size = range.end - range.begin;
    if (_left.fetch_sub(size) == size) {
      std::lock_guard<std::mutex> const lock(_mutex);
      _ended.notify_all();
    }
  }
}

void Workers::stop() {
  _next.store(_count);
  _stopped.store(true);
}

void Workers::wait() {
  std::unique_lock<std::mutex> lock(_mutex);
  _ended.wait_for(lock, std::chrono::milliseconds(20),
                  [this] { return allDone() || _thrown != nullptr; });
  if (_thrown != nullptr)
    std::rethrow_exception(_thrown);
}

unsigned processors() {
  cpu_set_t mine;
  if (sched_getaffinity(0, sizeof mine, &mine) == 0)
    return static_cast<unsigned>(std::max(1, CPU_COUNT(&mine)));
  return std::max(1U, std::thread::hardware_concurrency());
}

}  // namespace tool
