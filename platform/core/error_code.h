// Sets this thread's last error code and returns the result that reports a failure.

#ifndef ZEMO_PLATFORM_CORE_ERROR_CODE_H
#define ZEMO_PLATFORM_CORE_ERROR_CODE_H

#include <zemo/core.h>

namespace zemo::core {

inline int failure(int code) {
  VLIBErrSet(code);
  return -1;
}

}  // namespace zemo::core

#endif
