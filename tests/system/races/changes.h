// What somebody may do to a file while it is being checked.

#ifndef ZEMO_TESTS_SYSTEM_RACES_CHANGES_H
#define ZEMO_TESTS_SYSTEM_RACES_CHANGES_H

#include <functional>
#include <string>
#include <vector>

// After any of these, the file at the path is not what it was.
struct Change {
  std::string name;
  std::function<void(const std::string& path)> make;
};

// Other kinds of files, or nothing, in the place of what is at the path.
const std::vector<Change>& replacements();

// Regular files: replacements, and other content, by exchanging the file and by writing to it.
const std::vector<Change>& fileChanges();

// Directories: replacements, and another member.
const std::vector<Change>& directoryChanges();

// Those of the changes whose names do not contain any of the words.
std::vector<Change> without(const std::vector<std::string>& words, std::vector<Change> changes);

// The change with this name.
Change named(const std::string& name, const std::vector<Change>& changes);

// Mounts a device at the path of a file. (Making one would need more rights than a private root
// gives to an ordinary user.)
void bindDevice(const char* device, const std::string& path);

// Undoes what was mounted.
void unmount(const std::string& path);

// What fileChanges() writes in place of the last byte but one (the last ends the line), so that the
// size remains.
std::string corrupted(std::string content);

#endif
