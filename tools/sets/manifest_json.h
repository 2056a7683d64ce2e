// Writing the comparison of a set with its manifest to a JSON record.

#ifndef ZEMO_TOOLS_SETS_MANIFEST_JSON_H
#define ZEMO_TOOLS_SETS_MANIFEST_JSON_H

#include "sets/manifest_check.h"
#include "text/json.h"

namespace tool {

// Adds the state, what the manifest says of itself, and why the set does not fit it.
void putManifest(Json& record, const ManifestCheck& check);

}  // namespace tool

#endif
