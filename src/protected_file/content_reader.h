// Reads the bytes of a file for its digest.

#ifndef ZEMO_SELFCHECK_SRC_PROTECTED_FILE_CONTENT_READER_H
#define ZEMO_SELFCHECK_SRC_PROTECTED_FILE_CONTENT_READER_H

#include <sys/stat.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace ZEMO::SELF_CHECK {

// Memory to read a file into. It is aligned because the kernel copies several times slower into
// unaligned memory, such as that of standard streams.
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
  // Avoids an allocation, which takes a fortieth of the time that a small file takes, and serves as
  // the buffer if an allocation fails. Kept small because the stacks of callers' threads may have
  // the minimum size, 16 KiB.
  alignas(alignment) char _near[size_t{4} * 1024];
};

// Reads a file from start to end. Logs if the file cannot be opened or is of the wrong type, and
// nothing else.
class ContentReader {
 public:
  // Reads any type of file that `path` leads to. Waits if opening or reading the file waits. `path`
  // must outlive this object.
  explicit ContentReader(const std::string& path);

  // Reads the regular file of `size` bytes that was at `path` a moment ago. If something else has
  // replaced it, does not follow it or wait for it, and reading fails, unless it is a block device
  // of exactly this size. `path` must outlive this object.
  ContentReader(const std::string& path, off_t size);

  ~ContentReader();
  ContentReader(const ContentReader&) = delete;
  ContentReader& operator=(const ContentReader&) = delete;

  // Stores the next bytes, or none at the end; they are valid until the next call. Returns false if
  // the file cannot be read.
  bool next(std::string_view& bytes);

  // Stores the metadata of the open file.
  bool examine(struct stat& st) const { return fstat(_fd, &st) == 0; }

 private:
  ssize_t read();
  bool isAsAnnounced(ssize_t count) const;

  const std::string& _path;
  int _fd;
  bool _anyKind;    // any type will do, or the type is known to be right
  bool _atOffsets;  // reads use offsets, not the file's position
  off_t _size;      // as announced
  off_t _offset = 0;
  ReadBuffer _buffer;
};

}  // namespace ZEMO::SELF_CHECK

#endif
