#include "file_list/line_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace ZEMO::SELF_CHECK {
namespace {

constexpr size_t bufferSize = size_t{64} * 1024;

// Non-blocking, so that a FIFO does not make the open wait for a writer.
int openForReading(const std::string& path) {
  int fd = -1;
  do {
    fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

bool isRegularFile(int fd) {
  struct stat st = {};
  return fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace

// The buffer comes first: were it made after the open and memory short, the descriptor would leak.
LineReader::LineReader(const std::string& path) : _fd(-1), _buffer(bufferSize) {
  _fd = openForReading(path);
  // A list that arrives through a pipe may be cut off anywhere without a read error to show for it.
  if (_fd >= 0 && !isRegularFile(_fd))
    _buffer.clear();
}

LineReader::~LineReader() {
  if (_fd >= 0)
    (void)close(_fd);  // read only: nothing can get lost
}

bool LineReader::fill() {
  if (_fd < 0 || _buffer.empty())
    return false;
  ssize_t count = -1;
  do {
    count = read(_fd, _buffer.data(), _buffer.size());
  } while (count < 0 && errno == EINTR);
  _failed = count < 0;
  if (count <= 0)
    return false;
  _begin = 0;
  _end = static_cast<size_t>(count);
  return true;
}

bool LineReader::next(std::string& line) {
  line.clear();
  bool found = false;  // a part of this line has been read
  while (_begin < _end || fill()) {
    const char* const start = _buffer.data() + _begin;
    const void* const lineFeed = memchr(start, '\n', _end - _begin);
    if (lineFeed != nullptr) {
      auto const length = static_cast<size_t>(static_cast<const char*>(lineFeed) - start);
      line.append(start, length);
      _begin += length + 1;
      return true;
    }
    line.append(start, _end - _begin);
    _begin = _end;
    found = true;
  }
  return found && !_failed;
}

}  // namespace ZEMO::SELF_CHECK
