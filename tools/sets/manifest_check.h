// Whether a set on this machine is the one that its manifest describes.

#ifndef ZEMO_TOOLS_SETS_MANIFEST_CHECK_H
#define ZEMO_TOOLS_SETS_MANIFEST_CHECK_H

#include <optional>
#include <string>
#include <vector>

#include "gnupg/signature_check.h"
#include "sets/manifest.h"

namespace tool {

// One way in which a set differs from its manifest.
struct ManifestDifference {
  enum class Kind {
    MISSING,  // the manifest names a list that is not there
    EXTRA,    // a list is there that the manifest does not name
    ORDER,    // a list is read after one that should be read later
    OLDER,    // other bytes, and an older serial
    BYTES,    // other bytes
  };
  Kind kind;
  std::string list;  // its file name
  std::string what;  // a sentence; names are escaped
};

struct ManifestCheck {
  enum class State {
    NONE,        // there is neither a manifest nor a signature of one
    UNVERIFIED,  // its signature does not verify, and nothing in it was read
    UNREADABLE,  // it is not a manifest of this set
    DIFFERS,
    FITS,
    ROLLED_BACK,  // it fits, but a later one is known
  };
  State state = State::NONE;
  std::string path;
  std::string reason;                           // why it neither fits nor differs
  SignatureCheck signature;                     // unless there is none
  std::optional<Manifest> manifest;             // unless it could not be read
  std::vector<ManifestDifference> differences;  // if the state is DIFFERS
};

// Verifies the manifest of the set in its directory as lists are verified, and compares its lists,
// in the order in which the library reads them, with the manifest. At most as many bytes of a list
// are read as the manifest states.
ManifestCheck checkManifest(const std::string& set, const std::string& mode);

// How the lists at `paths`, in the order in which they are read, differ from the manifest.
std::vector<ManifestDifference> differencesFrom(const Manifest& manifest,
                                                const std::vector<std::string>& paths);

// Makes a manifest that fits, but has a lower serial than `least`, which was accepted before, one
// that was rolled back. If there is no manifest, the reason says that there was one.
void requireSerial(ManifestCheck& check, uint64_t least);

// "missing", "extra", "order", "older" or "bytes".
std::string kindName(ManifestDifference::Kind kind);

// "none", "unverified", "unreadable", "differs", "fits" or "rolled_back".
std::string stateName(ManifestCheck::State state);

// Why the set is not the one that was signed, one sentence each; none if it is.
std::vector<std::string> objectionsTo(const ManifestCheck& check);

}  // namespace tool

#endif
