// Changes that somebody may make to a file while it is being checked.

#ifndef ZEMO_TESTS_SYSTEM_RACES_CHANGES_H
#define ZEMO_TESTS_SYSTEM_RACES_CHANGES_H

#include <functional>
#include <string>
#include <vector>

// After any of these, the file at the path differs from the original.
struct Change {
  std::string name;
  std::function<void(const std::string& path)> make;
};

// Replacements of the object at the path by other kinds of files, or by nothing.
const std::vector<Change>& replacements();

// For regular files: the replacements, and other content, by exchanging the file and by writing to
// it.
const std::vector<Change>& fileChanges();

// For directories: the replacements, and an additional member.
const std::vector<Change>& directoryChanges();

// The changes whose names contain none of the words.
std::vector<Change> without(const std::vector<std::string>& words, std::vector<Change> changes);

// The change with this name.
Change named(const std::string& name, const std::vector<Change>& changes);

// Mounts a device at the path of a file. (Creating a device node needs more rights than an ordinary
// user has in a private root.)
void bindDevice(const char* device, const std::string& path);

// Undoes bindDevice().
void unmount(const std::string& path);

// The content that fileChanges() writes: the last byte but one differs (the last ends the line),
// and the size stays the same.
std::string corrupted(std::string content);

#endif
