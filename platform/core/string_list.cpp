// String lists. This library is for C callers and needs only libc, so memory comes from malloc().

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/error_code.h"

namespace {

using zemo::core::failure;

// A list is one block: this record and then, for head.capacity items, the offset where each starts
// in the text. The text of all items is another block. Memory beyond the items is never touched, so
// spare room costs no time.
struct StringList {
  VLIBSzList head;
  char* text;
  size_t textSize;
  size_t textRoom;

  size_t* starts() { return reinterpret_cast<size_t*>(this + 1); }
  const size_t* starts() const { return reinterpret_cast<const size_t*>(this + 1); }
};

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

// Makes room for `items` in `*list`. If it has to grow, it at least doubles. Returns false if
// memory is exhausted.
bool reserve(VLIBSzList** list, int items) {
  int const capacity = (*list)->capacity;
  if (items <= capacity)
    return true;
  int const doubled = capacity > INT_MAX / 2 ? INT_MAX : 2 * capacity;
  int const room = items > doubled ? items : doubled;
  StringList* const grown = resized(full(*list), room);
  if (grown == nullptr)
    return false;
  grown->head.capacity = room;
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
  StringList* const list = resized(nullptr, items);
  if (list == nullptr) {
    VLIBErrSet(VLIB_ERR_OUT_OF_MEMORY);
    return nullptr;
  }
  *list = StringList{{items, 0}, nullptr, 0, 0};
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
  int const room = itemsAtMost(text, size, separators, (*list)->capacity);
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
