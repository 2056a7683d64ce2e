#include "whole_library.h"

#include <dirent.h>
#include <unistd.h>
#include <zemo/core.h>
#include <zemo/selfcheck.h>

#include <sstream>

#include "lost_lines.h"
#include "support/doubles/recorded_log.h"
#include "support/files.h"
#include "support/path_list.h"
#include "support/result_mask.h"
#include "support/witness.h"

using namespace ZEMO::SELF_CHECK;

namespace {

constexpr uint32_t untouched = 0x5a5a5a5a;

// If there is no memory for a line of a list, the call does not fail: the results are those without
// the line.
template <typename Results>
Outcome outcomeOf(const Results& found, const Results& right) {
  if (!LostLines(recordedLog()).give(found))
    return Outcome::wrong;
  return found == right ? Outcome::right : Outcome::failed;
}

// openDescriptors() cannot be used here, because it throws if no descriptor is left.
int descriptors() {
  DIR* const directory = opendir("/proc/self/fd");
  int count = 0;
  while (directory != nullptr && readdir(directory) != nullptr)
    ++count;
  if (directory != nullptr)
    (void)closedir(directory);
  return count;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, Outcome outcome) {
  constexpr const char* names[] = {"right", "failed", "wrong"};
  return out << names[static_cast<int>(outcome)];
}

Outcome WholeLibraryTest::selfCheckFiles(Afterwards afterwards) {
  PathList const list(paths());
  std::vector<uint32_t> const right = masks();
  std::vector<SELFCHECK_RESULT> results(right.size(), resultFrom(untouched));
  clearLog();
  int const returned = SelfCheckFiles(list.get(), results.data());
  afterwards();
  if (returned == 0)
    return outcomeOf(masksOf(results), right);
  bool const documented =
      returned == -1 && masksOf(results) == std::vector<uint32_t>(right.size(), untouched);
  return documented ? Outcome::failed : Outcome::wrong;
}

Outcome WholeLibraryTest::loadAndCheck(bool verify, Afterwards afterwards) {
  FileList list("wam", "full");
  std::vector<std::string> found;
  list.addHook([&found](boost::shared_ptr<ProtectedFile>& file, bool&) {
    for (CheckError* error : file->_errors)
      found.push_back(error->toString());
    return 0;
  });
  clearLog();
  if (!list.loadList(verify))
    return Outcome::failed;
  std::vector<std::string> const right = {
      pathOf("changed") + " size expect[0] but get[12345]",
      pathOf("fixed") + "/stray is unknown file",
  };
  bool const isIntact = list.check(CHECK_ITEM_ALL);
  afterwards();
  return isIntact ? Outcome::wrong : outcomeOf(found, right);
}

Outcome WholeLibraryTest::digest() {
  std::string found = "before";
  if (!calculateHash(pathOf("intact"), found))
    return found == "before" ? Outcome::failed : Outcome::wrong;
  return found == intactDigest ? Outcome::right : Outcome::wrong;
}

void WholeLibraryTest::expectRightResults() {
  int const before = descriptors();
  EXPECT_EQ(selfCheckFiles(), Outcome::right);
  EXPECT_EQ(loadAndCheck(true), Outcome::right);
  EXPECT_EQ(digest(), Outcome::right);
  EXPECT_EQ(execute("/bin/sh", VLIB_EXEC_WAIT, "-c", "exit 0"), 0);
  EXPECT_LT(execute("/bin/sh", VLIB_EXEC_WAIT, "-c", "exit 1"), 0);
  EXPECT_EQ(descriptors(), before);
}

bool mayBecome(unsigned int account) {
  std::istringstream map(readFile("/proc/self/uid_map"));
  unsigned long first = 0;
  unsigned long outside = 0;
  unsigned long size = 0;
  map >> first >> outside >> size;
  return getuid() == 0 && size > account;
}
