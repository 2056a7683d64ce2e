// FileList: one set of signed check lists, loaded into one map of protected files and compared with
// the disk.
//
//   ZEMO::SELF_CHECK::FileList list("wam", "full");
//   if (!list.loadList(true)) ...                         // find, verify, parse
//   bool intact = list.check(CHECK_ITEM_ALL);             // compare
//
// The set "wam" is the operating system's own, in /usr/zemo/selfcheck. Any other name is a
// package's name; its set is in /usr/zemo/selfcheck/packages/NAME. A set's lists are the files
// NAME.MODE.*.list in its directory.
//
// Names and modes become parts of paths and patterns unchanged: a caller that gets them from
// outside must itself reject '/' and the wildcards of glob().
//
// Errors: operations return true on success. The reason for a failure is in the system log, at
// priority LOG_ERR. The only exceptions that reach the caller are std::bad_alloc,
// boost::bad_function_call from an empty hook, and those that hooks throw. A
// failure or an exception undoes nothing: entries merged and results appended before it remain, and
// the list can still be used.
//
// Threads: only one thread at a time may use a FileList; lists that share entries count as one.
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

// Finds files and puts them in the order in which a set is read. `pattern` is passed to the
// system's glob() with GLOB_TILDE. The file `listorder` in the directory `listDir` gives the order,
// with one file name per line. Files that it does not name come first, in byte order of their
// paths. The named files follow in the order of their lines; if several lines name a file, the last
// one counts. The names match only if `pattern` begins with `listDir` and "/". If the order file
// cannot be opened, this is logged and no file counts as named.
//
// Returns the paths as the system's glob() gives them, or none if nothing matches or matching
// fails. Threads: may be called from any thread at any time.
ZEMO_EXPORT std::vector<std::string> glob(const std::string& listDir, const std::string& pattern);

namespace ZEMO::SELF_CHECK {

using ::glob;

// A copy of a FileList shares the original's map and the state of its hooks. To get a list with its
// own map, use the constructor that takes a source.
class ZEMO_EXPORT FileList {
 public:
  // Called by check() and checkFiles(items) for an entry with mismatches, with that entry and its
  // `changed` flag. Setting the flag to false accepts the entry: it no longer counts against the
  // result. The return value is ignored. A hook must not load the list or erase entries from its
  // map. It may add hooks, which are called from the next entry on. Hooks are not called for an
  // entry whose only fault is that its content could not be read.
  using Hook = boost::function2<int, boost::shared_ptr<ProtectedFile>&, bool&>;
  static_assert(sizeof(Hook) == 4 * sizeof(void*),
                "this version of Boost lays out hooks differently from the library");

  // Entries by path, in byte order of the paths.
  using ProtectedFileMap = std::map<std::string, boost::shared_ptr<ProtectedFile>>;

  // Makes a list for a set and a mode, such as "wam" and "full". Reads no files and does not
  // validate the names.
  FileList(std::string name, std::string mode);

  // The same, starting with the entries of `source`. The new list has its own map, but shares the
  // entry objects, so mismatches recorded through one list are visible through the other. Hooks are
  // not copied.
  FileList(std::string name, std::string mode, FileList& source);

  ~FileList();

  // Finds the set's lists, verifies the signature of each if `verifySignatures` is true, merges
  // them in order into the map (later lists override earlier ones) and collects the members of
  // directories with fixed members. Merges nothing unless every signature verifies. In the pattern
  // of the file names, but not in the directory, "../" is removed from the set's name.
  //
  // Returns false if there is no list (not logged), or if a list does not verify or parse. The
  // lists before one that does not parse stay merged. Entries already in the map stay, unless a
  // list replaces or removes them.
  bool loadList(bool verifySignatures);

  // Verifies every list's signature with GnuPG and stops at the first that does not verify. Returns
  // true if there is no list.
  bool checkSign() const;

  // Verifies the list at the path `list` against the signature in the file `list`.asc and the key
  // ring in /usr/zemo/selfcheck.
  bool checkSign(const std::string& list) const;

  // Merges every list into the map and stops at the first that cannot be parsed. Returns true if
  // there is no list.
  bool parseList();

  // Merges the list at the path `list` into the map. For a package's set it first binds the
  // package's placeholders. Returns false, with the map unchanged, if the list cannot be opened,
  // its first two lines are not those of a check list, or the package cannot be bound. Anything but
  // a regular file is read as an empty list and fails.
  bool parseList(const std::string& list);

  // Collects the directories with fixed members and gives each of their entries the names of its
  // members. Appends, so calling it twice repeats names. Returns true.
  bool fillFixedDirInfo();

  // Compares every entry with the disk, as checkFiles(items) does. Returns false at once, and logs
  // this, if no lists were loaded or they have no entries.
  bool check(CHECK_ITEM items);

  // Compares every entry with the disk, in path order and without stopping early, and calls the
  // hooks for each entry with mismatches. Returns true if every entry either has no
  // mismatches, or has its `changed` flag false after the last hook.
  //
  // An entry whose content cannot be read is logged, but that alone does NOT make the result false.
  // Callers that need to know call check() for the entries of getProtectedFiles(), or pass their
  // paths to the other checkFiles().
  bool checkFiles(CHECK_ITEM items) const;

  // Compares the named paths with their entries in every attribute and appends one result per path
  // to `results`, in order. Paths are looked up byte for byte.
  //
  // Returns false if the content of a listed file could not be read. That path is logged and gets
  // NO result, so the results no longer correspond to the paths by position and must not be used.
  //
  // Afterwards the map contains an element with a null pointer for every unlisted path that was
  // passed. Whole-set operations skip such elements.
  bool checkFiles(std::vector<std::string> paths, std::vector<SELFCHECK_RESULT>& results);

  // Appends a copy of `hook` to the list's hooks. Hooks are called in the order in which they were
  // added and live as long as the list. An empty hook is accepted, but throws
  // boost::bad_function_call when it is called.
  //
  // The symbol name is fixed here because it would otherwise depend on the version of Boost: since
  // 1.84, function2 is an alias of function_n, which has the same layout.
  void addHook(const Hook& hook) __asm__(
      "_ZN4ZEMO10SELF_CHECK8FileList7addHookERKN5boost9function2IiRNS2_10shared_ptrINS0_"
      "13ProtectedFileEEERbEE");

  // Returns a shared pointer to the list's own map; never null. Changes made through it change the
  // list.
  boost::shared_ptr<ProtectedFileMap> getProtectedFiles() const;

  // Returns the set name, a space and the mode, such as "wam full".
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
