// The core library with faults: test programs that link this have VLIBSzListAlloc and VLIBStrTok in
// the place of the library's own. They do what those do, until they are told to fail.

#ifndef ZEMO_TESTS_SUPPORT_DOUBLES_FAULTY_CORE_H
#define ZEMO_TESTS_SUPPORT_DOUBLES_FAULTY_CORE_H

extern bool failListAlloc;  // VLIBSzListAlloc returns NULL
extern bool failStrTok;     // VLIBStrTok returns -1

#endif
