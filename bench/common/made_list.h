// Check lists of any length, the same on every machine. Nothing that they name exists.

#ifndef ZEMO_BENCH_COMMON_MADE_LIST_H
#define ZEMO_BENCH_COMMON_MADE_LIST_H

#include <string>
#include <vector>

// Every so many-th entry of a made list is a directory; those that follow are the files in it.
constexpr unsigned entriesPerDirectory = 100;

// `count` entry lines in the order of their paths. The members of the first `fixedDirectories`
// directories are fixed.
std::vector<std::string> madeLines(unsigned count, unsigned fixedDirectories = 0);

// `count` paths that no made list names, in its first hundred directories by turns.
std::vector<std::string> unlistedPaths(unsigned count);

// Puts `lines` in an order that only their number decides.
void shuffle(std::vector<std::string>& lines);

// Writes a check list of these entry lines to `path`.
void writeList(const std::string& path, const std::vector<std::string>& lines);

#endif
