// Checks a set of lists and prints every mismatch: check_set [PACKAGE]
#include <syslog.h>
#include <zemo/selfcheck.h>

#include <iostream>

using namespace ZEMO::SELF_CHECK;

int main(int argc, char** argv) {
  openlog("check_set", LOG_PERROR, LOG_USER);         // also show the library's log lines here
  FileList list(argc > 1 ? argv[1] : "wam", "full");  // "wam": the operating system's own set
  if (!list.loadList(true))                           // true: verify every signature first
    return 2;
  list.addHook([](boost::shared_ptr<ProtectedFile>& file, bool&) {
    for (CheckError* error : file->_errors)
      std::cout << error->toString() << '\n';
    return 0;
  });
  bool const intact = list.check(CHECK_ITEM_ALL);
  std::cout << list.toString() << ": " << (intact ? "intact" : "CHANGED") << '\n';
  return intact ? 0 : 1;
}
