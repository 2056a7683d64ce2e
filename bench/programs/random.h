// Pseudo-random numbers that are the same on every machine.

#ifndef ZEMO_BENCH_PROGRAMS_RANDOM_H
#define ZEMO_BENCH_PROGRAMS_RANDOM_H

#include <cstdint>

namespace bench {

// Vigna's splitmix64.
class Random {
 public:
  explicit Random(uint64_t seed) : _state(seed) {}

  uint64_t next() {
    uint64_t value = _state += 0x9e3779b97f4a7c15;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9;
    value = (value ^ (value >> 27)) * 0x94d049bb133111eb;
    return value ^ (value >> 31);
  }

  uint64_t below(uint64_t bound) { return next() % bound; }

 private:
  uint64_t _state;
};

}  // namespace bench

#endif
