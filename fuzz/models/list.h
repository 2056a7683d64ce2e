// What a check list is as a text, and what it makes of the entries that lists before it have left.

#ifndef ZEMO_FUZZ_MODELS_LIST_H
#define ZEMO_FUZZ_MODELS_LIST_H

#include <zemo/selfcheck/file_list.h>

#include <map>
#include <string>

#include "models/entry.h"

namespace fuzz {

// By path.
using Entries = std::map<std::string, Columns>;

// 0, or the number that the library logs with "Format Error".
int formatErrorOf(const std::string& content);

// Applies the lines of a list that has none.
void merge(const std::string& content, const Binding& binding, Entries& entries);

// Those of the library's list, which all have the path that they stand under.
Entries entriesOf(const ZEMO::SELF_CHECK::FileList& list);

}  // namespace fuzz

#endif
