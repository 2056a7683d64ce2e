// The library opens a list once to verify it and once to read it. Between these, an unsigned list
// can replace it: users who can write to the directory of lists control the lists.

#ifndef ZEMO_TESTS_SYSTEM_RACES_WINDOW_H
#define ZEMO_TESTS_SYSTEM_RACES_WINDOW_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "races.h"

// The first and last moment when a change led to an unsigned set.
class Window {
 public:
  explicit Window(std::string list) : _list(std::move(list)) {}

  // Accepts outcomes that are right, and those of a list that changed inside the window: after
  // verification began, and before parsing read the list to its end.
  bool isRight(const Situation& situation, int outcome);

  void print() const;

 private:
  std::string _list;
  std::size_t _first = SIZE_MAX;
  std::size_t _last = 0;
  std::size_t _calls = 0;
};

#endif
