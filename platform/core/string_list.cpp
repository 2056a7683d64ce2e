// String lists. This library is for C callers and needs only libc, so memory comes from malloc().

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/error_code.h"

namespace {

using zemo::core::failure;

// A list is one block: this record and then, for `room` items, the offset where each starts in the
// text. The text of all items is another block. Memory beyond the items is never touched.
struct StringList {
  VLIBSzList head;
  int room;  // below head.capacity only until the first item that does not fit
  char* text;
  size_t textSize;
  size_t textRoom;

  size_t* starts() { return reinterpret_cast<size_t*>(this + 1); }
  const size_t* starts() const { return reinterpret_cast<const size_t*>(this + 1); }
};

// The first room of lists for up to 4096 items. Such a block is one that malloc() keeps at hand for
// each thread, which matters to callers that split line after line with a new list. Larger lists
// get their room at once, so that VLIBSzListAlloc() reports a lack of memory.
constexpr int firstRoom = 120;
constexpr int modest = 4096;
static_assert(sizeof(StringList) + firstRoom * sizeof(size_t) <= 1032);

StringList* full(VLIBSzList* list) {
  return reinterpret_cast<StringList*>(list);
}

const StringList* full(const VLIBSzList* list) {
  return reinterpret_cast<const StringList*>(list);
}

// Returns a block with room for `items`; `list` (null for a new one) moves into it. Returns null,
// with `list` unchanged, if memory is exhausted.
StringList* resized(StringList* list, int items) {
  return static_cast<StringList*>(
      realloc(list, sizeof(StringList) + static_cast<size_t>(items) * sizeof(size_t)));
}

// Makes room for `items` in `*list`. If the capacity has to grow, it at least doubles. Returns
// false if memory is exhausted.
bool reserve(VLIBSzList** list, int items) {
  if (items <= full(*list)->room)
    return true;
  int room = (*list)->capacity;
  if (items > room) {
    int const doubled = room > INT_MAX / 2 ? INT_MAX : 2 * room;
    room = items > doubled ? items : doubled;
  }
  StringList* const grown = resized(full(*list), room);
  if (grown == nullptr)
    return false;
  grown->head.capacity = room;
  grown->room = room;
  *list = &grown->head;
  return true;
}

// Returns an upper bound for the number of items, or -1 if there are more than a list can hold.
// Each item ends in one byte, so a text of at most `room` bytes, including its NUL, has at most
// `room` items. Items of longer texts are counted.
int itemsAtMost(const char* text, size_t size, const char* separators, int room) {
  if (size <= static_cast<size_t>(room))
    return room;
  int count = 1;
  for (; (text = strpbrk(text, separators)) != nullptr; ++text) {
    if (count == INT_MAX)
      return -1;
    ++count;
  }
  return count;
}

// Ends `item` at its first separator. Returns the start of the next item, or null at the end.
char* nextItem(char* item, const char* separators) {
  // strchr() finds the usual single separator faster.
  char* const end = separators[0] != '\0' && separators[1] == '\0' ? strchr(item, separators[0])
                                                                   : strpbrk(item, separators);
  if (end == nullptr)
    return nullptr;
  *end = '\0';
  return end + 1;
}

}  // namespace

VLIBSzList* VLIBSzListAlloc(int items) {
  if (items < 0) {
    VLIBErrSet(VLIB_ERR_BAD_PARAMETER);
    return nullptr;
  }
  int const room = items <= firstRoom || items > modest ? items : firstRoom;
  StringList* const list = resized(nullptr, room);
  if (list == nullptr) {
    VLIBErrSet(VLIB_ERR_OUT_OF_MEMORY);
    return nullptr;
  }
  *list = StringList{{items, 0}, room, nullptr, 0, 0};
  return &list->head;
}

const char* VLIBSzListGet(const VLIBSzList* list, int index) {
  if (list == nullptr || index < 0 || index >= list->count)
    return nullptr;
  return full(list)->text + full(list)->starts()[index];
}

int VLIBSzListPush(VLIBSzList** list, const char* item) {
  if (list == nullptr || *list == nullptr || item == nullptr)
    return failure(VLIB_ERR_BAD_PARAMETER);
  // Everything that can fail comes before the list changes.
  size_t const size = strlen(item) + 1;
  char* moved = nullptr;
  size_t const room = 2 * (full(*list)->textSize + size);
  if (size > full(*list)->textRoom - full(*list)->textSize) {
    moved = static_cast<char*>(malloc(room));
    if (moved == nullptr)
      return failure(VLIB_ERR_OUT_OF_MEMORY);
  }
  if ((*list)->count == INT_MAX || !reserve(list, (*list)->count + 1)) {
    free(moved);
    return failure(VLIB_ERR_OUT_OF_MEMORY);
  }

  StringList* const target = full(*list);
  char* const text = moved != nullptr ? moved : target->text;
  memcpy(text + target->textSize, item, size);  // before freeing the old text: it may hold the item
  if (moved != nullptr) {
    if (target->textSize > 0)
      memcpy(moved, target->text, target->textSize);
    free(target->text);
    target->text = moved;
    target->textRoom = room;
  }
  target->starts()[target->head.count] = target->textSize;
  target->textSize += size;
  return ++target->head.count;
}

void VLIBSzListFree(VLIBSzList* list) {
  if (list == nullptr)
    return;
  free(full(list)->text);
  free(list);
}

int VLIBStrTok(const char* text, const char* separators, VLIBSzList** list) {
  if (text == nullptr || separators == nullptr || list == nullptr || *list == nullptr)
    return failure(VLIB_ERR_BAD_PARAMETER);

  // Everything that can fail comes before the list changes.
  size_t const size = strlen(text) + 1;
  int const room = itemsAtMost(text, size, separators, full(*list)->room);
  auto* const copy = static_cast<char*>(malloc(size));
  if (copy == nullptr || room < 0 || !reserve(list, room)) {
    free(copy);
    return failure(VLIB_ERR_OUT_OF_MEMORY);
  }
  memcpy(copy, text, size);

  StringList* const target = full(*list);
  free(target->text);
  target->text = copy;
  target->textSize = size;
  target->textRoom = size;
  int count = 0;
  for (char* item = copy; item != nullptr; item = nextItem(item, separators))
    target->starts()[count++] = static_cast<size_t>(item - copy);
  target->head.count = count;
  return count;
}
