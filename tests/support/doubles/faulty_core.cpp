#include "support/doubles/faulty_core.h"

#include <dlfcn.h>
#include <zemo/core.h>

bool failListAlloc = false;
bool failStrTok = false;
bool countNoTokens = false;

VLIBSzList* VLIBSzListAlloc(int items) {
  static auto* const real =
      reinterpret_cast<VLIBSzList* (*)(int)>(dlsym(RTLD_NEXT, "VLIBSzListAlloc"));
  return failListAlloc ? nullptr : real(items);
}

int VLIBStrTok(const char* text, const char* separators, VLIBSzList** list) {
  static auto* const real = reinterpret_cast<int (*)(const char*, const char*, VLIBSzList**)>(
      dlsym(RTLD_NEXT, "VLIBStrTok"));
  if (failStrTok)
    return -1;
  int const result = real(text, separators, list);
  return countNoTokens ? 0 : result;
}
