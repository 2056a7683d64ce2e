// Reads a text file line by line.

#ifndef ZEMO_SELFCHECK_SRC_FILE_LIST_LINE_READER_H
#define ZEMO_SELFCHECK_SRC_FILE_LIST_LINE_READER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ZEMO::SELF_CHECK {

// The standard file streams would do, were it not that they hand their descriptor on to every
// program that another thread starts, and wait for a writer when the path is a FIFO.
class LineReader {
 public:
  // Opens `path`. What is not a regular file opens, but has no lines.
  explicit LineReader(const std::string& path);
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  bool isOpen() const { return _fd >= 0; }

  // Stores the next line without its line feed, and of a longer one its first `longest` bytes. A
  // last line needs no line feed, and behind a last line feed no further line begins. Returns
  // false, with `line` unspecified, at the end of the file and on a read error, which also drops
  // the line that it cuts short.
  bool next(std::string& line, size_t longest = SIZE_MAX);

 private:
  bool fill();

  int _fd;
  bool _readable = false;
  std::vector<char> _buffer;
  size_t _begin = 0;  // what has been read and not handed out is [_begin, _end) of _buffer
  size_t _end = 0;
  bool _failed = false;
};

}  // namespace ZEMO::SELF_CHECK

#endif
