// The log lines about signatures.

#ifndef ZEMO_TESTS_UNIT_SRC_FILE_LIST_SIGNATURE_LOG_H
#define ZEMO_TESTS_UNIT_SRC_FILE_LIST_SIGNATURE_LOG_H

#include <string>

#include "support/doubles/recorded_log.h"

inline LogLine signatureMissing(const std::string& list) {
  return logged("file_list", 242, "Signature of [%s] is not exist.", list);
}

inline LogLine signatureBad() {
  return logged("file_list", 247, "Verify signature failed");
}

inline LogLine listNotVerified(const std::string& list) {
  return logged("file_list", 225, "Check %s sign failed.", list);
}

inline LogLine setNotVerified(const std::string& pattern) {
  return logged("file_list", 321, "Check signature of check list [%s] failed", pattern);
}

#endif
