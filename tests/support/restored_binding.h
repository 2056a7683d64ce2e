// The package binding is one for the whole process; this keeps it from reaching from test to test.

#ifndef ZEMO_TESTS_SUPPORT_RESTORED_BINDING_H
#define ZEMO_TESTS_SUPPORT_RESTORED_BINDING_H

#include <zemo/selfcheck/protected_file.h>

// Puts the binding back that was in force when it was made.
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
