// The differences between two lists or sets, path by path, and reports of them.

#ifndef ZEMO_TOOLS_SETS_DIFFERENCES_H
#define ZEMO_TOOLS_SETS_DIFFERENCES_H

#include <zemo/selfcheck.h>

#include <boost/shared_ptr.hpp>
#include <map>
#include <optional>
#include <string>

namespace tool {

// The last statement of a list about a path. A removal line removes the path's earlier entries; its
// other columns have no meaning.
struct Statement {
  bool removal = false;
  boost::shared_ptr<ZEMO::SELF_CHECK::ProtectedFile> entry;
};

struct Side {
  std::string name;                             // as given
  std::string root;                             // of the set; empty: on this machine
  std::optional<std::string> label;             // line 2, for a list
  std::map<std::string, Statement> statements;  // by path
};

struct Counts {
  std::size_t added = 0;
  std::size_t removed = 0;
  std::size_t changed = 0;
  std::size_t same = 0;
};

// Writes the differences to standard output, path by path; this class writes nothing. Each function
// is called for `path`; an entry that became a removal line, or the reverse, is reported as removed
// and added.
class DiffReport {
 public:
  DiffReport() = default;
  virtual ~DiffReport() = default;
  DiffReport(const DiffReport&) = delete;
  DiffReport& operator=(const DiffReport&) = delete;

  virtual void added(const std::string& path, const Statement& statement);
  virtual void removed(const std::string& path, const Statement& statement);
  // Two entries that differ in at least one column.
  virtual void changed(const std::string& path, const Statement& before, const Statement& after);
  virtual void summary(const Side& before, const Side& after, const Counts& counts);
};

// For people; every name is escaped.
class TextReport : public DiffReport {
 public:
  void added(const std::string& path, const Statement& statement) override;
  void removed(const std::string& path, const Statement& statement) override;
  void changed(const std::string& path, const Statement& before, const Statement& after) override;
  void summary(const Side& before, const Side& after, const Counts& counts) override;
};

class JsonReport : public DiffReport {
 public:
  void added(const std::string& path, const Statement& statement) override;
  void removed(const std::string& path, const Statement& statement) override;
  void changed(const std::string& path, const Statement& before, const Statement& after) override;
  void summary(const Side& before, const Side& after, const Counts& counts) override;
};

// Reports every difference, in byte order of paths.
Counts compareSides(const Side& before, const Side& after, DiffReport& report);

}  // namespace tool

#endif
