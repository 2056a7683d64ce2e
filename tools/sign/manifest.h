// The manifest that is signed together with the lists that it describes.

#ifndef ZEMO_TOOLS_SIGN_MANIFEST_H
#define ZEMO_TOOLS_SIGN_MANIFEST_H

#include <optional>
#include <string>
#include <vector>

#include "sign/signed_file.h"

namespace tool {

// The manifest `path` of these lists, which have been read, in this order. Says so if the existing
// one has a higher serial. Throws UsageError if the names do not fit together or a list is in
// another directory, and Failure(STATUS_NOT_LOADED) if a list says that it is another.
SignedFile manifestOf(const std::string& path, const std::vector<SignedFile>& lists,
                      const std::optional<std::string>& serial);

}  // namespace tool

#endif
