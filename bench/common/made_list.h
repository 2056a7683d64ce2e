// Check lists of any length, the same on every machine. Nothing in them exists.

#ifndef ZEMO_BENCH_COMMON_MADE_LIST_H
#define ZEMO_BENCH_COMMON_MADE_LIST_H

#include <string>
#include <vector>

// Every entriesPerDirectory-th entry of a made list is a directory, followed by its files.
constexpr unsigned entriesPerDirectory = 100;

// `count` entry lines in the order of their paths. The members of the first `fixedDirectories`
// directories are fixed.
std::vector<std::string> madeLines(unsigned count, unsigned fixedDirectories = 0);

// `count` paths that are in no made list, in each of its first hundred directories in turn.
std::vector<std::string> unlistedPaths(unsigned count);

// Shuffles `lines` in a way that depends only on their number.
void shuffle(std::vector<std::string>& lines);

// Writes a check list of these entry lines to `path`.
void writeList(const std::string& path, const std::vector<std::string>& lines);

#endif
