// A file that is going to be signed.

#ifndef ZEMO_TOOLS_SIGN_SIGNED_FILE_H
#define ZEMO_TOOLS_SIGN_SIGNED_FILE_H

#include <string>

#include "io/directory.h"

namespace tool {

struct SignedFile {
  Directory directory;  // the path's directory, even if the path leads elsewhere by now
  std::string path;
  std::string content;
};

}  // namespace tool

#endif
