// The package binding is global to the process; this keeps it from leaking from one test to the
// next.

#ifndef ZEMO_TESTS_SUPPORT_RESTORED_BINDING_H
#define ZEMO_TESTS_SUPPORT_RESTORED_BINDING_H

#include <zemo/selfcheck/protected_file.h>

// Restores the binding that was in force when the object was created.
class RestoredBinding {
 public:
  RestoredBinding() : _before(ZEMO::SELF_CHECK::ProtectedFile::_pkginfo) {}
  ~RestoredBinding() { ZEMO::SELF_CHECK::ProtectedFile::_pkginfo = _before; }
  RestoredBinding(const RestoredBinding&) = delete;
  RestoredBinding& operator=(const RestoredBinding&) = delete;

 private:
  ZEMO::SELF_CHECK::PkgInfo _before;
};

#endif
