// ProtectedFile: one entry of a check list, and its comparison with the file on disk.
//
// An entry line has seven columns separated by TABs:
//
//   path  size  hash  type  permission  owner  group
//
// The entry keeps them as text, exactly as in the list. "-" in any column except the path means
// that the attribute is not checked. Any other text is compared, even an empty one.
//
// Threads: different threads may check different entries at the same time, but only one thread at a
// time may check a given entry. Constructing entries reads the package binding (_pkginfo), which is
// process-wide and not locked: while setPkg() runs, no entry may be constructed and setPkg() must
// not run in another thread. setPkg() uses getpwnam(), so no other thread may use the functions of
// <pwd.h> meanwhile.

#ifndef ZEMO_SELFCHECK_PROTECTED_FILE_H
#define ZEMO_SELFCHECK_PROTECTED_FILE_H

#include <sys/stat.h>
#include <sys/types.h>
#include <zemo/export.h>
#include <zemo/selfcheck/check_error.h>

#include <string>
#include <vector>

namespace ZEMO::SELF_CHECK {

// The package that the placeholders "$pkg", "$pkg_sys" and "$pkg_dir" in package lists refer to.
struct ZEMO_EXPORT PkgInfo {
  bool isSet = false;     // a package is bound; until then placeholders stay as they are
  uid_t uid = 0;          // the package user's id: "$pkg" in an owner column
  gid_t gid = 0;          // the package user's primary group id: "$pkg" in a group column
  std::string targetDir;  // the package's installation directory: "$pkg_dir"

  ~PkgInfo();
};

class ZEMO_EXPORT ProtectedFile {
 public:
  std::string _path;  // absolute path, the entry's key in its list; empty for an invalid line
  std::string _size;  // bytes, decimal
  // Regular file: SHA-1 of the content, 40 lower-case hexadecimal digits. Symbolic link: the
  // target. Character device: "major,minor". Directory: "FIXED" if it may contain only listed
  // members.
  std::string _hash;
  std::string _type;        // f, d, l, b, c, s or p
  std::string _permission;  // the mode's low twelve bits, octal
  std::string _owner;       // user id, decimal
  std::string _group;       // group id, decimal

  // The mismatches that checks have found, oldest first. Checks only append. The entry owns the
  // records and deletes them in its destructor.
  std::vector<CheckError*> _errors;

  // The names that a directory with fixed members may contain; empty for every other entry.
  std::vector<std::string> _fixedEntries;

  // Makes an entry from `line`, which has no line end. A line with fewer than seven columns gives
  // an entry whose texts are all empty; columns after the seventh are ignored. A single leading "-"
  // of the path is removed. Placeholders are resolved once, here, against _pkginfo. Throws only
  // std::bad_alloc.
  explicit ProtectedFile(std::string line);
  ~ProtectedFile();

  // Not copyable: entries are shared, and a copy would need its own mismatch records.
  ProtectedFile(const ProtectedFile&) = delete;
  ProtectedFile& operator=(const ProtectedFile&) = delete;

  // Compares the file on disk with this entry in the attributes that `items` selects. Appends one
  // record to _errors for every mismatch and then sets `changed` to true; never sets it to false.
  // If the file is missing, that is the only mismatch. Symbolic links are examined themselves, not
  // followed.
  //
  // Returns true if the comparison was made, false if CHECK_ITEM_HASH was requested and the content
  // could not be read (the reason is in the system log).
  bool check(bool& changed, CHECK_ITEM items);

  // The CHECK_ITEM_HASH part of check(), for a file whose lstat() result is `st`. Sets `changed` as
  // check() does.
  //
  // Returns true on FAILURE, that is, if the content could not be read (the reason is in the system
  // log). This includes a file whose type has changed since `st` was taken. If reading a directory
  // fails, the unknown members found by then are still recorded. Returns false if the comparison
  // was made or there was nothing to compare.
  bool checkHash(const struct stat& st, bool& changed);

  // Binds the placeholders to the installed package `pkg`, whose name is used verbatim. Takes the
  // package's user from the package manager and that user's ids from the password database. For a
  // package without its own user, the ids of the previous binding stay.
  //
  // Returns false, with the reason in the system log and the binding unchanged, if the package is
  // not installed or its user is not known. A binding stays until another one replaces it, or the
  // caller assigns `_pkginfo = {}`.
  static bool setPkg(const std::string& pkg);

  // The current binding of the whole process.
  static PkgInfo _pkginfo;
};

// Computes the SHA-1 of everything that can be read from `path`, following symbolic links, and
// stores it in `digest` as 40 lower-case hexadecimal digits. A pipe or device is read until its
// end. Memory use does not depend on the file's size.
//
// Returns false and leaves `digest` unchanged if the file cannot be opened (logged) or read.
// Threads: may be called from any thread at any time.
ZEMO_EXPORT bool calculateHash(std::string path, std::string& digest);

}  // namespace ZEMO::SELF_CHECK

#endif
