#include "common/workers.h"

#include <sched.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace tool {

Workers::Workers(std::size_t count, unsigned threads, Work work)
    : _work(std::move(work)), _count(count), _done(new std::atomic<bool>[count]()), _left(count) {
  auto const wanted = static_cast<unsigned>(std::min<std::size_t>(threads, count));
  _threads.reserve(wanted);
  try {
    while (_threads.size() < wanted)
      _threads.emplace_back([this] { serve(); });
  } catch (const std::exception&) {  // no more threads, or no memory for one
    if (_threads.empty())
      serve();
  }
}

Workers::~Workers() {
  _next.store(_count);
  for (std::thread& thread : _threads)
    thread.join();
}

void Workers::serve() {
  for (std::size_t item = _next++; item < _count; item = _next++) {
    try {
      _work(item);
    } catch (...) {
      std::lock_guard<std::mutex> const lock(_mutex);
      _thrown = std::current_exception();
      _next.store(_count);
      _ended.notify_all();
      return;
    }
    _done[item].store(true, std::memory_order_release);
    if (--_left == 0) {
      std::lock_guard<std::mutex> const lock(_mutex);
      _ended.notify_all();
    }
  }
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
