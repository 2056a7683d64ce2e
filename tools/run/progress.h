// The progress of long work, on one line of a terminal that is rewritten again and again.

#ifndef ZEMO_TOOLS_RUN_PROGRESS_H
#define ZEMO_TOOLS_RUN_PROGRESS_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

// The work done, the total, and the time taken. A total of 0 is unknown.
struct Advance {
  uint64_t files = 0;
  uint64_t totalFiles = 0;
  uint64_t bytes = 0;
  uint64_t totalBytes = 0;
  double seconds = 0;  // since the work began
};

// "12,345 of 50,000 files, 1.2 of 2.3 GB, 350 MB/s, 0:05 left"; only as many parts, from the left,
// as fit into `width` characters.
std::string progressText(const Advance& advance, std::size_t width);

// Shows progress only if it is wanted and standard error is a terminal. Any thread may call
// advance(). A single thread calls the other functions, and calls clear() before it writes anything
// else to the terminal.
class Progress {
 public:
  explicit Progress(bool wanted);
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // True if progress is shown at all. Otherwise, work that only serves progress can be skipped.
  bool wanted() const { return _wanted; }

  // Sets the total amount of work and resets the work done to nothing.
  void total(uint64_t files, uint64_t bytes);

  // Adds this much to the work done.
  void advance(uint64_t files, uint64_t bytes);

  // Writes the line, unless it was written within the last tenth of a second.
  void show();

  // Removes the line from the terminal. The next show() writes it again.
  void clear();

 private:
  using Clock = std::chrono::steady_clock;

  bool _wanted;
  bool _shown = false;
  uint64_t _totalFiles = 0;
  uint64_t _totalBytes = 0;
  std::atomic<uint64_t> _files{0};
  std::atomic<uint64_t> _bytes{0};
  Clock::time_point _start = Clock::now();
  Clock::time_point _last;  // of the last show() that wrote
};

}  // namespace tool

#endif
