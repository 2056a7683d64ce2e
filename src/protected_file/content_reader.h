// The bytes of a file, for its digest.

#ifndef ZEMO_SELFCHECK_SRC_PROTECTED_FILE_CONTENT_READER_H
#define ZEMO_SELFCHECK_SRC_PROTECTED_FILE_CONTENT_READER_H

#include <sys/stat.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace ZEMO::SELF_CHECK {

// Memory to read a file into. Aligned, because the kernel copies several times slower into memory
// that is not, such as that of standard streams.
class ReadBuffer {
 public:
  // For a file of about `size` bytes.
  explicit ReadBuffer(off_t size);

  char* begin() { return _far ? _far.get() : _near; }
  size_t size() const { return _size; }

 private:
  static constexpr size_t alignment = 64;

  struct Free {
    void operator()(char* memory) const { free(memory); }
  };

  size_t _size;
  std::unique_ptr<char, Free> _far;
  // Getting memory takes a fortieth of the time that a small file takes. It also serves where there
  // is no other memory. Not larger, because callers' threads may have the smallest of stacks, 16
  // KiB.
  alignas(alignment) char _near[size_t{4} * 1024];
};

// Reads a file from its start to its end. Logs when the file cannot be opened or is not of the kind
// that was asked for, and nothing else.
class ContentReader {
 public:
  // Whatever `path` leads to. Waits where opening or reading it does. `path` must outlive this.
  explicit ContentReader(const std::string& path);

  // The regular file of `size` bytes that was at `path` a moment ago. Does not follow or wait for
  // what has taken its place; reading that fails, unless it is a block device of exactly this size.
  // `path` must outlive this.
  ContentReader(const std::string& path, off_t size);

  ~ContentReader();
  ContentReader(const ContentReader&) = delete;
  ContentReader& operator=(const ContentReader&) = delete;

  // Stores the bytes that follow, none at the end; they are valid until the next call. False when
  // the file cannot be read.
  bool next(std::string_view& bytes);

  // Stores the metadata of the open file.
  bool examine(struct stat& st) const { return fstat(_fd, &st) == 0; }

 private:
  ssize_t read();
  bool isAsAnnounced(ssize_t count) const;

  const std::string& _path;
  int _fd;
  bool _anyKind;    // any kind of file will do, or it is known to be of the right one
  bool _atOffsets;  // reads do not depend on the file's position
  off_t _size;      // as announced
  off_t _offset = 0;
  ReadBuffer _buffer;
};

}  // namespace ZEMO::SELF_CHECK

#endif
