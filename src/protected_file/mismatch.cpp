#include "protected_file/mismatch.h"

#include <memory>
#include <utility>

namespace ZEMO::SELF_CHECK {

void recordMismatch(ProtectedFile& entry, bool& changed, CHECK_ERROR kind, std::string expected,
                    std::string actual) {
  // Owned until it stands in the vector, so that a vector that cannot grow leaks nothing.
  std::unique_ptr<CheckError> error(
      new CheckError{kind, entry._path, std::move(expected), std::move(actual)});
  entry._errors.push_back(error.get());
  (void)error.release();  // the entry deletes it from now on
  changed = true;
}

}  // namespace ZEMO::SELF_CHECK
