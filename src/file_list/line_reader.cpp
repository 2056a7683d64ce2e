#include "file_list/line_reader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "open_file.h"

namespace ZEMO::SELF_CHECK {
namespace {

constexpr size_t bufferSize = size_t{64} * 1024;

}  // namespace

// The buffer is allocated first: if that failed after the open, the descriptor would leak.
LineReader::LineReader(const std::string& path) : _fd(-1), _buffer(bufferSize) {
  _fd = openFile(path, 0);
  // A list read from a pipe could be cut off anywhere without a read error.
  _readable = isOpen() && isRegularFile(_fd);
}

LineReader::~LineReader() {
  if (_fd >= 0)
    closeFile(_fd);
}

bool LineReader::fill() {
  if (!_readable)
    return false;
  ssize_t count = -1;
  do {
    count = read(_fd, _buffer.data(), _buffer.size());
  } while (count < 0 && errno == EINTR);
  _failed = count < 0;
  if (count <= 0) {
    _readable = false;  // data appended from now on would begin within a line
    return false;
  }
  _begin = 0;
  _end = static_cast<size_t>(count);
  return true;
}

bool LineReader::next(std::string& line, size_t longest) {
  line.clear();
  bool found = false;  // a part of this line has been read
  while (_begin < _end || fill()) {
    const char* const start = _buffer.data() + _begin;
    const void* const lineFeed = memchr(start, '\n', _end - _begin);
    if (lineFeed != nullptr) {
      auto const length = static_cast<size_t>(static_cast<const char*>(lineFeed) - start);
      line.append(start, std::min(length, longest - line.size()));
      _begin += length + 1;
      return true;
    }
    line.append(start, std::min(_end - _begin, longest - line.size()));
    _begin = _end;
    found = true;
  }
  return found && !_failed;
}

}  // namespace ZEMO::SELF_CHECK
