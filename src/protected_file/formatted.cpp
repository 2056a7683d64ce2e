#include "protected_file/formatted.h"

#include <cstdarg>
#include <cstdio>

namespace ZEMO::SELF_CHECK {

std::string formatted(const char* format, ...) {
  char text[64] = "";
  va_list arguments;
  va_start(arguments, format);
  (void)vsnprintf(text, sizeof text, format, arguments);  // cannot fail: plain numbers only
  va_end(arguments);
  return text;
}

}  // namespace ZEMO::SELF_CHECK
