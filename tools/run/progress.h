// How far a long piece of work has got, on one line of a terminal that is written again and again.

#ifndef ZEMO_TOOLS_RUN_PROGRESS_H
#define ZEMO_TOOLS_RUN_PROGRESS_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

// What has been done of what, and in which time. Totals of 0 are not known.
struct Advance {
  uint64_t files = 0;
  uint64_t totalFiles = 0;
  uint64_t bytes = 0;
  uint64_t totalBytes = 0;
  double seconds = 0;  // since the work began
};

// "12,345 of 50,000 files, 1.2 of 2.3 GB, 350 MB/s, 0:05 left"; of that, from the left, the parts
// that fit into `width` characters.
std::string progressText(const Advance& advance, std::size_t width);

// Shows nothing unless it is wanted and standard error is a terminal. advance() may be called by
// any thread; the others by one, which calls clear() before it writes anything else to the
// terminal.
class Progress {
 public:
  explicit Progress(bool wanted);
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Whether anything is ever shown, so that work that only this needs can be left out.
  bool wanted() const { return _wanted; }

  // How much there is to do in all; begins anew, at nothing done.
  void total(uint64_t files, uint64_t bytes);

  // So many more have been done.
  void advance(uint64_t files, uint64_t bytes);

  // Writes the line, unless it has been written in the last tenth of a second.
  void show();

  // Takes the line off the terminal. The next show() writes it again.
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
