// Descriptors, and the standard streams.

#ifndef ZEMO_TOOLS_IO_DESCRIPTORS_H
#define ZEMO_TOOLS_IO_DESCRIPTORS_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace tool {

// An open descriptor, closed by the destructor; -1 is none.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : _number(number) {}
  ~Descriptor() { close(); }
  Descriptor(Descriptor&& other) noexcept : _number(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return _number; }
  int release();
  void close();

 private:
  int _number;
};

// Calls `take` with one block after the other, up to the end of the file. Returns 0 or an errno
// value. An exception from `take` ends it.
int readBlocks(int descriptor, const std::function<void(std::string_view)>& take);

// Writes all of `data`. Returns 0 or an errno value.
int writeAll(int descriptor, std::string_view data);

// Writes the file to the disk. Returns 0 or an errno value.
int syncToDisk(int descriptor);

// Occupies the closed ones among the descriptors 0 to 2, so that no file opened later gets such a
// number and receives the program's output. Writing to a descriptor that was closed still fails.
void occupyStandardDescriptors();

// Writes to standard output, which may buffer it. flushOutput() reports failures.
void writeOut(std::string_view text);

// The same, with a line feed at the end.
void writeLine(const std::string& line);

// The number of columns of the terminal `descriptor`; 80 if it is not a terminal or does not report
// its width.
std::size_t terminalWidth(int descriptor);

// Flushes standard output. Throws Failure if anything could not be written.
void flushOutput();

}  // namespace tool

#endif
