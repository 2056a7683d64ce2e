// The files of a set as their maker sent them.

#ifndef ZEMO_TOOLS_INSTALL_INCOMING_H
#define ZEMO_TOOLS_INSTALL_INCOMING_H

#include <optional>
#include <string>
#include <vector>

#include "sets/manifest.h"
#include "sets/set_content.h"

namespace tool {

// Copies that were verified with this machine's key ring.
struct Incoming {
  std::string set;
  std::string mode;
  SetContent content;  // lists in the order of the manifest, or as given
  std::optional<Manifest> manifest;
};

// Reads the files `paths`; a directory stands for the lists, signatures and manifests in it. The
// signature of a given list, or manifest, is also read if it is next to it. Throws UsageError if
// the files have other names or are of several sets, and Failure(STATUS_NOT_LOADED) if one cannot
// be read or is not a regular file, a list has no signature or does not verify, a list says that it
// is another, or the lists are not those that the manifest describes.
Incoming incomingFrom(const std::vector<std::string>& paths);

// Verifies the files in the same way. `where` is for messages.
Incoming verified(Incoming incoming, const std::string& where);

}  // namespace tool

#endif
