#include "protected_file/content_reader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "log.h"
#include "open_file.h"

namespace ZEMO::SELF_CHECK {
namespace {

constexpr size_t largestBuffer = size_t{64} * 1024;

// Unlike openFile(), waits for the writer of a FIFO.
int openAnyFile(const std::string& path) {
  int fd = -1;
  do {
    fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

}  // namespace

// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): clearing _near would cost the gain
ReadBuffer::ReadBuffer(off_t size) : _size(sizeof _near) {
  if (size <= static_cast<off_t>(sizeof _near))
    return;
  size_t const wanted = std::min(static_cast<size_t>(size), largestBuffer);
  size_t const room = (wanted + alignment - 1) / alignment * alignment;
  _far.reset(static_cast<char*>(aligned_alloc(alignment, room)));
  if (_far)
    _size = room;
}

ContentReader::ContentReader(const std::string& path)
    : _path(path),
      _fd(openAnyFile(path)),
      _anyKind(true),
      _atOffsets(false),
      _size(0),
      _buffer(largestBuffer) {
  if (_fd < 0)
    log::openFailed(_path);
}

ContentReader::ContentReader(const std::string& path, off_t size)
    : _path(path),
      _fd(openFile(path, O_NOFOLLOW)),
      _anyKind(false),
      _atOffsets(true),
      _size(size),
      _buffer(size) {
  if (_fd < 0)
    log::openFailed(_path);
}

ContentReader::~ContentReader() {
  if (_fd >= 0)
    closeFile(_fd);
}

bool ContentReader::next(std::string_view& bytes) {
  if (_fd < 0)
    return false;
  ssize_t count = read();
  if (!_anyKind && !isAsAnnounced(count)) {
    int const error = errno;
    if (!isRegularFile(_fd)) {
      log::openFailed(_path);
      return false;
    }
    _anyKind = true;
    // Some file systems have regular files that can only be read sequentially. This must show at
    // the first read, because a sequential read begins at the start of the file.
    if (count < 0 && error == ESPIPE && _offset == 0) {
      _atOffsets = false;
      count = read();
    }
  }
  if (count < 0)
    return false;
  _offset += count;
  bytes = {_buffer.begin(), static_cast<size_t>(count)};
  return true;
}

// A read at an offset fails on a FIFO or socket and so consumes nothing from it.
ssize_t ContentReader::read() {
  ssize_t count = -1;
  do {
    count = _atOffsets ? pread(_fd, _buffer.begin(), _buffer.size(), _offset)
                       : ::read(_fd, _buffer.begin(), _buffer.size());
  } while (count < 0 && errno == EINTR);
  return count;
}

// True if reading this many bytes is consistent with a regular file of the announced size. As long
// as it is, there is no need to ask for the type of file, which would take a twentieth of the time
// that a small file takes. Anything but a regular file fails, ends at another size, or never ends.
// (A block device of this size would also have to contain the listed content to pass.)
bool ContentReader::isAsAnnounced(ssize_t count) const {
  if (count < 0 || _size == 0)
    return false;
  return count > 0 ? _offset + count <= _size : _offset == _size;
}

}  // namespace ZEMO::SELF_CHECK
