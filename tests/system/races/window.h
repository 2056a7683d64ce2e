// A list is verified by one look at it and read by another. Between them an unsigned one can take
// its place: whoever can write to the directory of lists decides what is in them.

#ifndef ZEMO_TESTS_SYSTEM_RACES_WINDOW_H
#define ZEMO_TESTS_SYSTEM_RACES_WINDOW_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "races.h"

// From when to when a change led to a set that nobody has signed.
class Window {
 public:
  explicit Window(std::string list) : _list(std::move(list)) {}

  // Takes an outcome for right that is, or is that of a list that changed inside the window: after
  // verification has begun, and before parsing has read it to its end.
  bool isRight(const Situation& situation, int outcome);

  void print() const;

 private:
  std::string _list;
  std::size_t _first = SIZE_MAX;
  std::size_t _last = 0;
  std::size_t _calls = 0;
};

#endif
