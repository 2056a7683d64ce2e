// String lists and the splitter. Every line of an input is one operation:
//
//   + TEXT                  push the text
//   = NUMBER                push the item with this number, which is in the list itself
//   / SEPARATORS \x01 TEXT  split the text
//   * NUMBER                continue with a new list with room for this many items

#include <zemo/core.h>

#include <cstdlib>

#include "engine/agree.h"
#include "engine/target.h"

namespace {

using Items = std::vector<std::string>;

Items modelOfSplitting(const std::string& text, const std::string& separators) {
  Items items(1);
  for (char const c : text) {
    if (separators.find(c) != std::string::npos)
      items.emplace_back();
    else
      items.back() += c;
  }
  return items;
}

class Lists {
 public:
  ~Lists() { VLIBSzListFree(_list); }

  void push(const std::string& text) {
    _items.push_back(text);
    fuzz::agree("VLIBSzListPush", VLIBSzListPush(&_list, text.c_str()), count());
  }

  void pushOwn(std::size_t index) {
    if (_items.empty())
      return;
    index %= _items.size();
    std::string const text = _items[index];
    _items.push_back(text);
    const char* const own = VLIBSzListGet(_list, static_cast<int>(index));
    fuzz::agree("VLIBSzListPush of an item", VLIBSzListPush(&_list, own), count());
  }

  void split(const std::string& separators, const std::string& text) {
    _items = modelOfSplitting(text, separators);
    fuzz::agree("VLIBStrTok", VLIBStrTok(text.c_str(), separators.c_str(), &_list), count());
  }

  void restart(int room) {
    VLIBSzListFree(_list);
    _list = VLIBSzListAlloc(room);
    _items.clear();
  }

  void compare() const {
    fuzz::agree("count", _list->count, count());
    fuzz::require(_list->capacity >= _list->count, "the items have room");
    fuzz::require(VLIBSzListGet(_list, -1) == nullptr, "no item before the first");
    fuzz::require(VLIBSzListGet(_list, count()) == nullptr, "no item behind the last");
    for (int i = 0; i < count(); ++i)
      fuzz::agree("item", std::string(VLIBSzListGet(_list, i)),
                  _items[static_cast<std::size_t>(i)]);
  }

 private:
  int count() const { return static_cast<int>(_items.size()); }

  VLIBSzList* _list = VLIBSzListAlloc(0);
  Items _items;
};

void run(fuzz::Input input) {
  Lists lists;
  while (!input.atEnd()) {
    unsigned char const operation = input.byte();
    std::string const line = input.line();
    fuzz::Input words(line);
    if (operation == '+') {
      lists.push(fuzz::beforeNul(line));
    } else if (operation == '=') {
      lists.pushOwn(strtoul(line.c_str(), nullptr, 10));
    } else if (operation == '/') {
      std::string const separators = fuzz::beforeNul(words.upTo('\x01'));
      lists.split(separators, fuzz::beforeNul(words.rest()));
    } else if (operation == '*') {
      lists.restart(static_cast<int>(strtoul(line.c_str(), nullptr, 10) % 2000));
    }
    lists.compare();
  }
}

fuzz::Target const target("string_list", run);

}  // namespace
