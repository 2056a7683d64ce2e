// Writing an entry's columns to a JSON record.

#ifndef ZEMO_TOOLS_TEXT_ENTRY_JSON_H
#define ZEMO_TOOLS_TEXT_ENTRY_JSON_H

#include <zemo/selfcheck.h>

#include <array>
#include <string>

#include "text/json.h"

namespace tool {

// A column of an entry; the order is that in lists.
struct Column {
  const char* name;
  std::string ZEMO::SELF_CHECK::ProtectedFile::*text;
  bool number;  // written as a number if it is one
};

// All columns except the path.
extern const std::array<Column, 6> columns;

// Adds the column of `entry` under its name; left out if it is "-", not checked.
void putColumn(Json& record, const ZEMO::SELF_CHECK::ProtectedFile& entry, const Column& column);

// Adds all columns except the path.
void putColumns(Json& record, const ZEMO::SELF_CHECK::ProtectedFile& entry);

}  // namespace tool

#endif
