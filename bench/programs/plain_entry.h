// An entry with the members of the library's ProtectedFile, and no code that fills them.

#ifndef ZEMO_BENCH_PROGRAMS_PLAIN_ENTRY_H
#define ZEMO_BENCH_PROGRAMS_PLAIN_ENTRY_H

#include <zemo/selfcheck/protected_file.h>

#include <string>
#include <vector>

namespace bench {

struct PlainEntry {
  std::string path;
  std::string size;
  std::string hash;
  std::string type;
  std::string permission;
  std::string owner;
  std::string group;
  std::vector<void*> errors;
  std::vector<std::string> fixedEntries;
};

static_assert(sizeof(PlainEntry) == sizeof(ZEMO::SELF_CHECK::ProtectedFile));

}  // namespace bench

#endif
