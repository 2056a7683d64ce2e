// The key ring in the home that lists are verified with, and how it is changed.

#ifndef ZEMO_TOOLS_GNUPG_KEY_RING_H
#define ZEMO_TOOLS_GNUPG_KEY_RING_H

#include <string>
#include <vector>

#include "common/scratch_directory.h"
#include "gnupg/keys.h"

namespace tool {

// A copy of a home's public key ring, in a private directory. GnuPG works on the copy, and so
// leaves no lock, backup, socket or trust database in the home; install() then replaces the home's
// ring as a whole. All operations throw Failure(STATUS_NOT_LOADED) when they cannot do what they
// say.
class KeyRing {
 public:
  // Copies the ring in `home`; begins with an empty one if it has none. Whoever means to call
  // install() holds a DirectoryLock on `home` meanwhile.
  explicit KeyRing(const std::string& home);

  // The keys in the copy.
  std::vector<Key> keys() const;

  // Adds the public keys in the file, or what it has to say of keys that are there. Refuses files
  // with secret keys, with keys that GnuPG does not take, and with none at all.
  void import(const std::string& file);

  // Takes out the key with this fingerprint, which is that of a primary key in the ring.
  void remove(const std::string& fingerprint);

  // Puts the copy in the place of the home's ring, readable by everybody. At every moment the old
  // ring or the new one is there.
  void install() const;

 private:
  std::vector<std::string> gpg(const std::vector<std::string>& words) const;

  std::string _home;
  ScratchDirectory _scratch;
};

// The keys that GnuPG finds in `home`, run as the library runs it. Throws
// Failure(STATUS_NOT_LOADED) if it cannot use that home.
std::vector<Key> keysOfHome(const std::string& home);

// The path of the key ring in `home`.
std::string ringIn(const std::string& home);

// Throws Failure(STATUS_NOT_LOADED) if `home` has files that GnuPG takes instead of pubring.kbx and
// gpg.conf.
void refuseOtherRings(const std::string& home);

// Something exists at `path`, a dangling link included.
bool exists(const std::string& path);

}  // namespace tool

#endif
