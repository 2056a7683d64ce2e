// bare_insert LIST: only inserts paths into a map in the list's order. The comparisons that find
// their places, and the resulting cache misses, are unavoidable when a list in random order is
// loaded into such a map.
//
// The map's nodes and keys are as far apart as with entries between them, in memory that has been
// used before: allocating memory is a cost of every list.

#include <functional>
#include <map>
#include <scoped_allocator>
#include <string_view>
#include <utility>

#include "measured.h"
#include "plain_entry.h"

namespace {

// Allocates memory from one block, from start to end.
class Arena {
 public:
  explicit Arena(std::size_t size) : _memory(size, 1) {}

  char* take(std::size_t size) {
    constexpr std::size_t unit = 16;  // like malloc, which adds 8 bytes before each allocation
    std::size_t const used = (size + 8 + unit - 1) / unit * unit;
    if (_taken + used > _memory.size())
      bench::fail("the arena is too small");
    _taken += used;
    return _memory.data() + _taken - used;
  }

 private:
  std::vector<char> _memory;
  std::size_t _taken = 0;
};

template <typename T>
class ArenaAllocator {
 public:
  using value_type = T;

  explicit ArenaAllocator(Arena& arena) : _arena(&arena) {}
  template <typename U>
  // NOLINTNEXTLINE(google-explicit-constructor): containers convert allocators
  ArenaAllocator(const ArenaAllocator<U>& other) : _arena(other.arena()) {}

  T* allocate(std::size_t count) { return reinterpret_cast<T*>(_arena->take(count * sizeof(T))); }
  void deallocate(T* /*memory*/, std::size_t /*count*/) {}
  Arena* arena() const { return _arena; }

  template <typename U>
  bool operator==(const ArenaAllocator<U>& other) const {
    return _arena == other.arena();
  }
  template <typename U>
  bool operator!=(const ArenaAllocator<U>& other) const {
    return !(*this == other);
  }

 private:
  Arena* _arena;
};

using Path = std::basic_string<char, std::char_traits<char>, ArenaAllocator<char>>;
using Pointer = std::pair<void*, void*>;  // as large as a shared pointer
using Element = std::pair<const Path, Pointer>;
using Map =
    std::map<Path, Pointer, std::less<>, std::scoped_allocator_adaptor<ArenaAllocator<Element>>>;

// The memory of an entry in addition to its node and key: the object with its counters, path and
// digest.
void skipEntry(Arena& arena, std::string_view path) {
  constexpr std::size_t counters = 32;
  constexpr std::size_t digest = 41;
  (void)arena.take(sizeof(bench::PlainEntry) + counters);
  (void)arena.take(path.size() + 1);
  (void)arena.take(digest);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2)
    bench::fail("usage: bare_insert LIST");
  std::vector<std::string> paths = bench::readAll(argv[1], '\n');
  paths.erase(paths.begin(), paths.begin() + 2);
  for (std::string& path : paths)
    path.resize(path.find('\t'));
  constexpr std::size_t most = 1024;  // more than an entry takes
  Arena arena(paths.size() * most);

  bench::Stopwatch const stopwatch;
  Map files{ArenaAllocator<Element>(arena)};
  for (const std::string& path : paths) {
    skipEntry(arena, path);
    (void)files.try_emplace(Path(path, ArenaAllocator<char>(arena)));
  }
  (void)printf("{\"seconds\": %.6f, \"entries\": %zu}\n", stopwatch.seconds(), files.size());
  return 0;
}
