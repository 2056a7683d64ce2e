// FileList: one set of signed check lists, loaded into one map of protected files and compared with
// the disk.
//
//   ZEMO::SELF_CHECK::FileList list("wam", "full");
//   if (!list.loadList(true)) ...                         // find, verify, parse
//   bool intact = list.check(CHECK_ITEM_ALL);             // compare
//
// The set "wam" is the operating system's own, in /usr/zemo/selfcheck; any other name is that of a
// package, whose set lies in /usr/zemo/selfcheck/packages/NAME. A set's lists are the files
// NAME.MODE.*.list of its directory.
//
// Names and modes become parts of paths and patterns as they are: a caller that gets them from
// outside has to reject '/', and the wildcards of glob(), itself.
//
// Errors: operations return true for success. The reason of a failure is in the system log, at
// priority LOG_ERR. Only std::bad_alloc, boost::bad_function_call from an empty hook, and what
// hooks throw themselves reach the caller. What an operation had done by then stays done, entries
// that were merged and results that were appended included, and the list can be used further.
//
// Threads: one FileList must be used by one thread at a time, and so must lists that share entries.
// Loading a package's set must not run at the same time as any other loading, because all sets
// share ProtectedFile::_pkginfo.

#ifndef ZEMO_SELFCHECK_FILE_LIST_H
#define ZEMO_SELFCHECK_FILE_LIST_H

#include <zemo/export.h>
#include <zemo/selfcheck/check_error.h>
#include <zemo/selfcheck/protected_file.h>
#include <zemo/selfcheck/self_check_result.h>

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <map>
#include <string>
#include <vector>

// Finds files and puts them in the order in which a set is read. `pattern` goes to the system's
// glob() with GLOB_TILDE; `listDir` is the directory whose file `listorder` gives the order, one
// file name a line. Files that it does not name come first, in byte order of their paths; the named
// ones follow in the order of the last line that names each. Names can only be found again in a
// pattern that begins with `listDir` and "/". An order file that cannot be opened is logged and
// names nothing.
//
// Returns the paths as the pattern matcher gives them; none when nothing matches or matching fails.
// Threads: may be called from any thread at any time.
ZEMO_EXPORT std::vector<std::string> glob(const std::string& listDir, const std::string& pattern);

namespace ZEMO::SELF_CHECK {

using ::glob;

// A copy of a FileList shares the map of the original, and the state of its hooks; use the
// constructor with a source for a list with a map of its own.
class ZEMO_EXPORT FileList {
 public:
  // Called by check() for an entry with mismatches, with that entry and its `changed` flag. Setting
  // the flag to false accepts the entry: it no longer counts against the result. The returned value
  // is ignored. A hook must not load the list or erase entries from its map. It may add hooks,
  // which are called from the next entry on. It is not called for an entry whose content could not
  // be read and that has no mismatch otherwise.
  using Hook = boost::function2<int, boost::shared_ptr<ProtectedFile>&, bool&>;
  static_assert(sizeof(Hook) == 4 * sizeof(void*),
                "this version of Boost lays hooks out otherwise than the library does");

  // Entries by path, in byte order of the paths.
  using ProtectedFileMap = std::map<std::string, boost::shared_ptr<ProtectedFile>>;

  // Names a set and a mode, such as "wam" and "full". Reads nothing and validates nothing.
  FileList(std::string name, std::string mode);

  // The same, starting with the entries of `source`: a map of its own with the same entry objects,
  // so that records made through one list are seen through the other. Hooks are not taken over.
  FileList(std::string name, std::string mode, FileList& source);

  ~FileList();

  // Finds the set's lists, verifies the signature of every one when `verifySignatures` is true,
  // merges them in order into the map (later lists override earlier ones) and collects the members
  // of fixed directories. No list is merged unless all verify. In the pattern of the file names,
  // but not in the directory, "../" is removed from the set's name.
  //
  // Returns false when there is no list (not logged), or one does not verify or parse; the lists
  // read before one that does not parse stay merged. Entries that are in the map already stay,
  // unless a list replaces or removes them.
  bool loadList(bool verifySignatures);

  // Verifies every list's signature with GnuPG, stopping at the first that does not verify. True
  // when there is no list.
  bool checkSign() const;

  // Verifies the list at the path `list` against the signature in the file `list`.asc and the key
  // ring in /usr/zemo/selfcheck.
  bool checkSign(const std::string& list) const;

  // Merges every list into the map, stopping at the first that cannot be read. True when there is
  // no list.
  bool parseList();

  // Merges the list at the path `list` into the map. For a package's set it first binds the
  // package's placeholders. Returns false, with the map unchanged, when the list cannot be opened,
  // its first two lines are not those of a check list, or the package cannot be bound. What is not
  // a regular file has no lines.
  bool parseList(const std::string& list);

  // Collects the directories whose members are fixed and gives each entry the names of its members.
  // Appends, so calling it twice repeats names. Returns true.
  bool fillFixedDirInfo();

  // Compares every entry with the disk, as checkFiles(items) does. Returns false at once, logged,
  // when no lists were loaded or they have no entry.
  bool check(CHECK_ITEM items);

  // Compares every entry with the disk, in path order, never stopping early, and lets the hooks see
  // each entry with mismatches. Returns true when no mismatch is left that no hook accepted.
  //
  // An entry whose content cannot be read is logged, and that alone does NOT make the result false.
  // Callers to whom that matters check the entries of getProtectedFiles() themselves, or name their
  // paths to the other checkFiles().
  bool checkFiles(CHECK_ITEM items) const;

  // Compares the named paths with their entries in every attribute and appends one result per path
  // to `results`, in order. Paths are looked up byte for byte.
  //
  // Returns false when the content of a listed file could not be read: that path, logged, gets NO
  // result, so the results no longer stand in line with the paths and are of no use.
  //
  // Afterwards the map holds an element with an empty pointer for every unlisted path that was
  // named; whole-set operations pass over such elements.
  bool checkFiles(std::vector<std::string> paths, std::vector<SELFCHECK_RESULT>& results);

  // Appends a copy of `hook` to the hooks, which are called in the order in which they were added
  // and live as long as the list. An empty hook is accepted, and throws boost::bad_function_call
  // when it is called.
  //
  // The name of its symbol is given here, because it would change with Boost: since 1.84, function2
  // is another name for function_n, which has the same layout.
  void addHook(const Hook& hook) __asm__(
      "_ZN4ZEMO10SELF_CHECK8FileList7addHookERKN5boost9function2IiRNS2_10shared_ptrINS0_"
      "13ProtectedFileEEERbEE");

  // Returns a further owner of the list's own map; never null. What is changed through it changes
  // the list.
  boost::shared_ptr<ProtectedFileMap> getProtectedFiles() const;

  // Returns the set name, a blank and the mode, such as "wam full".
  std::string toString() const;

 private:
  std::string _name;
  std::string _mode;
  std::string _listDir;
  std::vector<std::string> _listFiles;  // paths, in load order
  boost::shared_ptr<ProtectedFileMap> _protectedFiles;
  std::vector<std::string> _fixedDirs;
  std::vector<Hook> _hooks;
};

}  // namespace ZEMO::SELF_CHECK

#endif
