// Paths as texts: made absolute, compared, left out.

#ifndef ZEMO_TOOLS_MAKE_PATHS_H
#define ZEMO_TOOLS_MAKE_PATHS_H

#include <string>
#include <vector>

namespace tool {

// `path` as the lists name files: from the root, without empty components, "." and "..", and
// without a slash at the end. Nothing on disk is looked at, so "link/.." is where the link lies.
// Throws UsageError if `path` is empty, and Failure if it is relative to a directory that has no
// name.
std::string absolutePath(const std::string& path);

// What is not to be listed.
class Exclusions {
 public:
  Exclusions() = default;

  // Shell patterns: one with a slash is compared with whole paths, one without with last
  // components;
  // * and ? match a slash, too. A slash at the end says nothing. Throws UsageError for a pattern
  // that cannot match.
  explicit Exclusions(const std::vector<std::string>& patterns);

  // A pattern matches this path itself.
  bool match(const std::string& path) const;

  // A pattern matches this path or a directory above it.
  bool cover(const std::string& path) const;

 private:
  std::vector<std::string> _forPaths;
  std::vector<std::string> _forNames;
};

}  // namespace tool

#endif
