// The columns of an entry in a JSON record.

#ifndef ZEMO_TOOLS_TEXT_ENTRY_JSON_H
#define ZEMO_TOOLS_TEXT_ENTRY_JSON_H

#include <zemo/selfcheck.h>

#include <array>
#include <string>

#include "text/json.h"

namespace tool {

// A column of an entry, in the order in which lists have them.
struct Column {
  const char* name;
  std::string ZEMO::SELF_CHECK::ProtectedFile::*text;
  bool number;  // is written as a number where it is one
};

// All columns but the path.
extern const std::array<Column, 6> columns;

// Puts the column of `entry` under its name; left out if it is "-", not checked.
void putColumn(Json& record, const ZEMO::SELF_CHECK::ProtectedFile& entry, const Column& column);

// Puts all columns but the path.
void putColumns(Json& record, const ZEMO::SELF_CHECK::ProtectedFile& entry);

}  // namespace tool

#endif
