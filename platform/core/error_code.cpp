#include <zemo/core.h>

namespace {

// In the static block, which a library loaded at run time has a small share of: no call into the
// loader to find the variable, and no dependency on it.
__attribute__((tls_model("initial-exec"))) thread_local int lastError = VLIB_ERR_NONE;

}  // namespace

int VLIBErrGet(void) {
  return lastError;
}

void VLIBErrSet(int code) {
  lastError = code;
}
