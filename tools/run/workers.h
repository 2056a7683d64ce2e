// Threads that share the items of one job.

#ifndef ZEMO_TOOLS_RUN_WORKERS_H
#define ZEMO_TOOLS_RUN_WORKERS_H

#include <atomic>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace tool {

// Calls `work(i)` once for every i below `count`, on up to `threads` threads, in about the order of
// i. The thread that made the object continues, and reads the results of items that are done().
class Workers {
 public:
  using Work = std::function<void(std::size_t)>;
  using IsQuick = std::function<bool(std::size_t)>;
  using Begin = std::function<void()>;

  // If fewer threads can be started, those do all the work; if none can, the constructor itself
  // does it. Neighbouring quick items may be given to one thread together; others are given singly.
  // Both functions are called on any of the threads.
  //
  // With `begin`, each thread calls that first and does no work if it throws. The constructor then
  // never does the work itself, but throws Failure(STATUS_NOT_LOADED) if no thread can be started.
  Workers(std::size_t count, unsigned threads, Work work, IsQuick isQuick = nullptr,
          Begin begin = nullptr);

  // Starts no further items and waits for those in progress.
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // True if the item's work has ended and its results can be read.
  bool done(std::size_t item) const { return _done[item].load(std::memory_order_acquire); }

  bool allDone() const { return left() == 0; }

  // The number of items that are not done. Items given to one thread together count until all of
  // them are done.
  std::size_t left() const { return _left.load(std::memory_order_acquire); }

  // True if every item's work has begun or is next on a thread that is working.
  bool allBegun() const { return _next.load() >= _count; }

  // Waits until everything is done, but at most a 50th of a second. Throws what an item's work has
  // thrown.
  void wait();

 private:
  struct Range {
    std::size_t begin;
    std::size_t end;
  };

  void start();
  void serve();
  void fail();
  Range take();
  std::size_t neighbours(std::size_t begin, std::size_t most) const;
  void stop();

  Work _work;
  IsQuick _isQuick;
  Begin _begin;
  std::size_t _count;
  std::size_t _wanted;  // threads
  std::unique_ptr<std::atomic<bool>[]> _done;
  std::atomic<std::size_t> _next{0};
  std::atomic<bool> _stopped{false};
  std::atomic<std::size_t> _left;
  std::mutex _mutex;  // for the following members
  std::condition_variable _ended;
  std::exception_ptr _thrown;
  std::vector<std::thread> _threads;
};

// The maximum number of threads that users may request.
constexpr unsigned mostJobs = 1024;

// The number of processors that this process may use.
unsigned processors();

}  // namespace tool

#endif
