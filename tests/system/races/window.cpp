#include "window.h"

#include <algorithm>
#include <iostream>

bool Window::isRight(const Situation& situation, int outcome) {
  if (outcome != misled)
    return isNoticed(situation, outcome);
  // The library opens the signature first, before GnuPG, or its replacement, opens the list.
  const std::vector<Call>& calls = situation.calls;
  auto const signature = std::find_if(
      calls.begin(), calls.end(), [this](const Call& call) { return call.path == _list + ".asc"; });
  _first = std::min(_first, situation.number);
  _last = std::max(_last, situation.number);
  _calls = calls.size();
  return situation.moment == between &&
         situation.number > static_cast<std::size_t>(signature - calls.begin());
}

void Window::print() const {
  if (_calls == 0)
    return;
  std::cout << "an unsigned list was read when the change came before one of the calls " << _first
            << " to " << _last << " of " << _calls << "\n";
}
