// The attributes that a check compares (CHECK_ITEM), the kinds of mismatch that it can find
// (CHECK_ERROR), and the record of one mismatch (CheckError).
//
// Threads: a CheckError never changes after it was made, so any number of threads may read it while
// its ProtectedFile exists.

#ifndef ZEMO_SELFCHECK_CHECK_ERROR_H
#define ZEMO_SELFCHECK_CHECK_ERROR_H

#include <zemo/export.h>

#include <cstdint>
#include <string>

namespace ZEMO::SELF_CHECK {

// The attributes to compare: any of these bits, ORed. They are compared in the order of the bits.
// Bits above 32 have no effect of their own.
enum CHECK_ITEM : int32_t {
  CHECK_ITEM_SIZE = 1,         // size in bytes, of regular files and symbolic links
  CHECK_ITEM_OWNER = 2,        // numeric owner id, not of symbolic links
  CHECK_ITEM_GROUP = 4,        // numeric group id, not of symbolic links
  CHECK_ITEM_TYPE = 8,         // one-letter file type
  CHECK_ITEM_PERMISSION = 16,  // the mode's low twelve bits, not of symbolic links
  CHECK_ITEM_HASH = 32,  // content digest, link target, device numbers, members of a directory
  CHECK_ITEM_ALL = 255,
};

constexpr CHECK_ITEM operator|(CHECK_ITEM a, CHECK_ITEM b) {
  return static_cast<CHECK_ITEM>(static_cast<int32_t>(a) | static_cast<int32_t>(b));
}

constexpr CHECK_ITEM& operator|=(CHECK_ITEM& a, CHECK_ITEM b) {
  return a = a | b;
}

// The kinds of mismatch. They are not bits, and their numbers differ from those of the items. 7 is
// unused and deliberately has no name: nothing produces it.
enum CHECK_ERROR : int32_t {
  CHECK_ERROR_SIZE = 1,
  CHECK_ERROR_HASH = 2,
  CHECK_ERROR_TYPE = 3,
  CHECK_ERROR_PERMISSION = 4,
  CHECK_ERROR_OWNER = 5,
  CHECK_ERROR_GROUP = 6,
  CHECK_ERROR_NOT_EXIST = 8,     // the file is missing or cannot be examined
  CHECK_ERROR_UNKNOWN_FILE = 9,  // a directory has a member that the lists do not allow
};

// One mismatch between a protected file and its list entry. The check that makes a record fills all
// four members. The ProtectedFile whose _errors contain the record owns it.
class ZEMO_EXPORT CheckError {
 public:
  CHECK_ERROR _error;
  std::string _filePath;  // the entry's path; for an unknown file, its directory's path
  std::string _expected;  // the entry's text; empty for NOT_EXIST and UNKNOWN_FILE
  std::string _actual;    // the state on disk; empty for NOT_EXIST; an unknown file's bare name

  // Returns the text of a kind, such as "size" or "not exist", or the empty string for a value that
  // is not a kind.
  std::string type2String(CHECK_ERROR error);

  // Returns the record as one line without a line end: "PATH KIND expect[...] but get[...]", or
  // "DIRECTORY/NAME is unknown file" for an unknown file. Nothing is quoted or escaped.
  std::string toString();
};

}  // namespace ZEMO::SELF_CHECK

#endif
