// Paths as texts: making them absolute, comparing and excluding them.

#ifndef ZEMO_TOOLS_MAKE_PATHS_H
#define ZEMO_TOOLS_MAKE_PATHS_H

#include <string>
#include <vector>

namespace tool {

// `path` as lists write it: from the root, without empty components, "." and "..", and without a
// trailing slash. The disk is not examined, so "link/.." is the directory that contains the link.
// Throws UsageError if `path` is empty, and Failure if it is relative to a directory that has no
// name.
std::string absolutePath(const std::string& path);

// The same for a path as another root sees it. Throws UsageError if it is not absolute.
std::string pathInRoot(const std::string& path);

// The paths that must not be listed.
class Exclusions {
 public:
  Exclusions() = default;

  // Shell patterns: one with a slash is compared with whole paths, one without with last
  // components. A * or ? also matches a slash. A trailing slash has no meaning. Throws UsageError
  // for a pattern that cannot match.
  explicit Exclusions(const std::vector<std::string>& patterns);

  // True if a pattern matches this path itself. For one thread at a time, as cover().
  bool match(const std::string& path) const;

  // True if a pattern matches this path or a directory above it.
  bool cover(const std::string& path) const;

  // The patterns, as they were given, that have not matched yet.
  std::vector<std::string> unused() const;

 private:
  struct Pattern {
    std::string text;
    std::string given;
    mutable bool used = false;
  };

  static bool matchesIn(const std::vector<Pattern>& patterns, const std::string& text);

  std::vector<Pattern> _forPaths;
  std::vector<Pattern> _forNames;
};

}  // namespace tool

#endif
