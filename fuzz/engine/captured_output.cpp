#include "engine/captured_output.h"

#include <cstdlib>
#include <iostream>
#include <sstream>

namespace fuzz {
namespace {

// Replaces one stream during its lifetime.
class Stream {
 public:
  explicit Stream(FILE*& stream) : _stream(stream), _real(stream) {
    _stream = open_memstream(&_text, &_size);
  }
  ~Stream() {
    (void)fclose(_stream);
    _stream = _real;
    free(_text);
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  std::string text() const {
    (void)fflush(_stream);
    return {_text, _size};
  }

 private:
  FILE*& _stream;
  FILE* _real;
  char* _text = nullptr;
  std::size_t _size = 0;
};

// The same for C++ streams.
class Redirection {
 public:
  Redirection(std::ostream& from, const std::ostream& to)
      : _from(from), _real(from.rdbuf(to.rdbuf())) {}
  ~Redirection() { _from.rdbuf(_real); }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;

 private:
  std::ostream& _from;
  std::streambuf* _real;
};

}  // namespace

Output captured(const std::function<void()>& work) {
  Stream const out(stdout);
  Stream const errors(stderr);
  std::ostringstream more;
  {
    Redirection const redirection(std::cout, more);
    work();
  }
  return {out.text() + more.str(), errors.text()};
}

}  // namespace fuzz
