// Reads a text file line by line.

#ifndef ZEMO_SELFCHECK_SRC_FILE_LIST_LINE_READER_H
#define ZEMO_SELFCHECK_SRC_FILE_LIST_LINE_READER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ZEMO::SELF_CHECK {

// Standard file streams will not do: every program that another thread starts would inherit their
// descriptor, and they wait for a writer if the path is a FIFO.
class LineReader {
 public:
  // Opens `path`. Anything but a regular file opens as well, but has no lines.
  explicit LineReader(const std::string& path);
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  bool isOpen() const { return _fd >= 0; }

  // Stores the next line without its line feed; of a longer line, only its first `longest` bytes.
  // The last line needs no line feed, and a final line feed does not start another line. Returns
  // false, with `line` unspecified, at the end of the file and on a read error. A line cut short by
  // a read error is dropped.
  bool next(std::string& line, size_t longest = SIZE_MAX);

 private:
  bool fill();

  int _fd;
  bool _readable = false;
  std::vector<char> _buffer;
  size_t _begin = 0;  // data read but not yet returned: [_begin, _end) of _buffer
  size_t _end = 0;
  bool _failed = false;
};

}  // namespace ZEMO::SELF_CHECK

#endif
