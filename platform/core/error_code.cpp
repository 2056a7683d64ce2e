#include <zemo/core.h>

namespace {

// In the static TLS block, which has a little room for libraries loaded at run time: access needs
// no call into the loader and no dependency on it.
__attribute__((tls_model("initial-exec"))) thread_local int lastError = VLIB_ERR_NONE;

}  // namespace

int VLIBErrGet(void) {
  return lastError;
}

void VLIBErrSet(int code) {
  lastError = code;
}
