#include "text/entry_json.h"

using ZEMO::SELF_CHECK::ProtectedFile;

namespace tool {

// A permission is octal, which JSON numbers cannot express.
const std::array<Column, 6> columns = {{
    {"size", &ProtectedFile::_size, true},
    {"hash", &ProtectedFile::_hash, false},
    {"type", &ProtectedFile::_type, false},
    {"permission", &ProtectedFile::_permission, false},
    {"owner", &ProtectedFile::_owner, true},
    {"group", &ProtectedFile::_group, true},
}};

void putColumn(Json& record, const ProtectedFile& entry, const Column& column) {
  const std::string& text = entry.*column.text;
  if (text == "-")
    return;
  if (column.number)
    putNumber(record, column.name, text);
  else
    putText(record, column.name, text);
}

void putColumns(Json& record, const ProtectedFile& entry) {
  for (const Column& column : columns)
    putColumn(record, entry, column);
}

}  // namespace tool
