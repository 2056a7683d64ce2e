// The core library with faults. Test programs that link this get VLIBSzListAlloc and VLIBStrTok
// from here instead of from the library. Both work as usual until told to fail.

#ifndef ZEMO_TESTS_SUPPORT_DOUBLES_FAULTY_CORE_H
#define ZEMO_TESTS_SUPPORT_DOUBLES_FAULTY_CORE_H

extern bool failListAlloc;  // VLIBSzListAlloc returns NULL
extern bool failStrTok;     // VLIBStrTok returns -1
extern bool countNoTokens;  // VLIBStrTok returns 0 when it succeeds

#endif
