// The meaning of a check list as text, and its effect on the entries of earlier lists.

#ifndef ZEMO_FUZZ_MODELS_LIST_H
#define ZEMO_FUZZ_MODELS_LIST_H

#include <zemo/selfcheck/file_list.h>

#include <map>
#include <string>

#include "models/entry.h"

namespace fuzz {

// By path.
using Entries = std::map<std::string, Columns>;

// 0, or the number of the library's "Format Error" log line.
int formatErrorOf(const std::string& content);

// Applies the lines of a list that has no such error.
void merge(const std::string& content, const Binding& binding, Entries& entries);

// The entries of the library's list; checks that each has its key as its path.
Entries entriesOf(const ZEMO::SELF_CHECK::FileList& list);

}  // namespace fuzz

#endif
