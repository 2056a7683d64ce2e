// ProtectedFile: one entry of a check list, and its comparison with the file on disk.
//
// An entry line has seven columns separated by TABs:
//
//   path  size  hash  type  permission  owner  group
//
// They are kept as text, exactly as the list states them. "-" in any column but the path means that
// the attribute is not checked; every other text is compared, even an empty one.
//
// Threads: different entries may be checked by different threads at the same time; one entry must
// not be checked by two. Constructing entries reads the package binding (_pkginfo), which is
// process-wide and unlocked, so while setPkg runs no entry may be constructed and no other setPkg
// may run. setPkg uses getpwnam, so no other thread may use the functions of <pwd.h> meanwhile.

#ifndef ZEMO_SELFCHECK_PROTECTED_FILE_H
#define ZEMO_SELFCHECK_PROTECTED_FILE_H

#include <sys/stat.h>
#include <sys/types.h>
#include <zemo/export.h>
#include <zemo/selfcheck/check_error.h>

#include <string>
#include <vector>

namespace ZEMO::SELF_CHECK {

// The package that the placeholders "$pkg", "$pkg_sys" and "$pkg_dir" of package lists stand for.
struct ZEMO_EXPORT PkgInfo {
  bool isSet = false;     // a binding is in force; until then placeholders stay as they are
  uid_t uid = 0;          // the package user's id: "$pkg" in an owner column
  gid_t gid = 0;          // the package user's primary group id: "$pkg" in a group column
  std::string targetDir;  // where the package is installed: "$pkg_dir"

  ~PkgInfo();
};

class ZEMO_EXPORT ProtectedFile {
 public:
  std::string _path;  // absolute path, the key of the entry in its list; empty for a useless line
  std::string _size;  // bytes, decimal
  // Regular file: SHA-1 of the content, 40 lower-case hexadecimal digits. Symbolic link: the
  // target. Character device: "major,minor". Directory: "FIXED" when it may hold listed members
  // only.
  std::string _hash;
  std::string _type;        // f, d, l, b, c, s or p
  std::string _permission;  // the mode's low twelve bits, octal
  std::string _owner;       // user id, decimal
  std::string _group;       // group id, decimal

  // The mismatches that checks have found, oldest first; no check removes any. The entry owns them
  // and deletes them with itself.
  std::vector<CheckError*> _errors;

  // The names that a directory with fixed members may hold; empty for every other entry.
  std::vector<std::string> _fixedEntries;

  // Makes the entry that `line` (without its line end) states. A line with fewer than seven columns
  // gives an entry whose texts are all empty; columns after the seventh are dropped; one leading
  // "-" of the path is dropped. Placeholders are resolved once, here, against _pkginfo. Throws
  // std::bad_alloc only.
  explicit ProtectedFile(std::string line);
  ~ProtectedFile();

  // Not copyable: the library shares entries and never copies one, and a copy would need records
  // of its own.
  ProtectedFile(const ProtectedFile&) = delete;
  ProtectedFile& operator=(const ProtectedFile&) = delete;

  // Compares the file on disk with this entry in the attributes that `items` names. Appends one
  // record to _errors for every mismatch and then sets `changed` to true; never sets it to false.
  // A missing file is a mismatch, and then the only one. Symbolic links are examined themselves.
  //
  // Returns true when the comparison was made, false when CHECK_ITEM_HASH was asked for and the
  // content could not be read (the reason is in the system log).
  bool check(bool& changed, CHECK_ITEM items);

  // The CHECK_ITEM_HASH part of check(), for a file whose lstat result is `st`; sets `changed` as
  // check() does.
  //
  // Returns true on FAILURE: when the content could not be read (the reason is in the system log),
  // also because there is another type of file at the path by now. Unknown members of a directory
  // that were found before reading it failed are recorded even then. Returns false when the
  // comparison was made or there was nothing to compare.
  bool checkHash(const struct stat& st, bool& changed);

  // Binds the placeholders to the installed package `pkg`, whose name is used verbatim: takes the
  // ids of its user from the package manager and the password database. A package without a user
  // of its own keeps the ids of the binding before.
  //
  // Returns false, with the reason in the system log and the binding unchanged, when the package is
  // not installed or its user is not known. Nothing ever takes a binding back.
  static bool setPkg(const std::string& pkg);

  // The binding in force, for the whole process.
  static PkgInfo _pkginfo;
};

// Computes the SHA-1 of everything that can be read from `path`, following symbolic links, and
// stores it in `digest` as 40 lower-case hexadecimal digits. Reading a pipe or a device lasts until
// its end. Memory use does not depend on the size of the file.
//
// Returns false and leaves `digest` untouched when the file cannot be opened (logged) or read.
// Threads: may be called from any thread at any time.
ZEMO_EXPORT bool calculateHash(std::string path, std::string& digest);

}  // namespace ZEMO::SELF_CHECK

#endif
