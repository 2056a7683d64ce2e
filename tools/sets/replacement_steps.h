// The steps of a replacement: changes of directories that are opened once and never reached through
// a link. They throw Failure(STATUS_NOT_LOADED), naming `path`, unless they say otherwise.

#ifndef ZEMO_TOOLS_SETS_REPLACEMENT_STEPS_H
#define ZEMO_TOOLS_SETS_REPLACEMENT_STEPS_H

#include <string>
#include <vector>

#include "io/descriptors.h"
#include "sets/set_content.h"

namespace tool {

// In the set's directory. It is not a set's directory itself: the names of those are looked for in
// packages/ only.
inline const std::string previousName = ".previous";
// In `previousName`: the files of the new and of the old set, before they are renamed.
inline const std::string nextName = ".next";
inline const std::string keptName = ".kept";

// Why a directory cannot be exchanged as a whole.
struct NoExchange {
  std::string reason;
};

// Another program has changed the directory.
struct Changed {};

[[noreturn]] void failToReplace(const std::string& what, int error);

// Throws NoExchange for the errors of file systems and directories that cannot be exchanged, and
// Changed if something no longer exists.
[[noreturn]] void failOrRename(const std::string& what, int error);

// Ignores that a file system cannot sync directories.
void syncDirectory(int directory, const std::string& path);

// The directory `name` in `at`, neither through a link nor on another file system. Throws like
// failOrRename().
Descriptor directoryIn(int at, const std::string& name, const std::string& path);

Descriptor directoryAt(const std::string& path);

// The directory `name` in `at`, made if it does not exist.
Descriptor madeDirectory(int at, const std::string& name, const std::string& path);

// Makes the directory readable by everybody and writable by its owner, regardless of the umask.
void publish(int directory, const std::string& path);

// The sorted names of its members.
std::vector<std::string> namesIn(int directory, const std::string& path);

// Writes a new file, readable by everybody, to the disk.
void writeFile(int directory, const std::string& name, const std::string& content,
               const std::string& path);

// Removes the file or tree at `path`, without following links. If that fails twice, the next run
// tries again.
void removeTree(const std::string& path);

// Removes `nextName` and `keptName`.
void removeStaging(const SetPlace& place);

// The start of the names of new directories next to the top directory.
std::string siblingStart(const SetPlace& place);

}  // namespace tool

#endif
