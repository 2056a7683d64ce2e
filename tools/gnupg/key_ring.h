// The key ring in the home that lists are verified with, and changes to it.

#ifndef ZEMO_TOOLS_GNUPG_KEY_RING_H
#define ZEMO_TOOLS_GNUPG_KEY_RING_H

#include <optional>
#include <string>
#include <vector>

#include "gnupg/keys.h"
#include "io/atomic_file.h"
#include "io/directory.h"
#include "io/regular_file.h"
#include "io/scratch_directory.h"

namespace tool {

// A copy of a home's public key ring in a private directory. GnuPG works on the copy, so it leaves
// no lock, backup, socket or trust database in the home. install() then replaces the home's ring as
// a whole. All operations throw Failure(STATUS_NOT_LOADED) if they fail.
class KeyRing {
 public:
  // Copies the ring in `home`, or starts with an empty one if there is none. A caller that will
  // replace the home's ring must hold a DirectoryLock on `home` meanwhile.
  explicit KeyRing(const Directory& home);

  // True if this is a copy of an existing ring in the home.
  bool isCopy() const { return _found.has_value(); }

  // The keys in the copy.
  std::vector<Key> keys() const;

  // Adds the public keys in `content`, which comes from `file`, or updates those already in the
  // ring. Refuses secret keys, content without keys, and keys that GnuPG does not accept, which it
  // names.
  void import(const std::string& file, const std::string& content);

  // Removes the key with this fingerprint, which must be that of a primary key in the ring.
  void remove(const std::string& fingerprint);

  // Checks that GnuPG can read the copy with this content of gpg.conf. Throws as keysOfHome() does.
  void proveWith(const std::string& configuration) const;

  // The copy, written next to the home's ring and readable by everybody. commit() puts it in that
  // ring's place; at every moment either the old ring or the new one is there.
  AtomicFile staged() const;
  void install() const { staged().commit(); }

  // Makes the home's ring, which was copied, readable by everybody.
  void publish() const { _found->publish(); }

 private:
  std::vector<std::string> gpg(const std::vector<std::string>& words) const;

  Directory _home;
  std::optional<RegularFile> _found;
  ScratchDirectory _scratch;
};

// The keys that GnuPG finds in `home` if run as the library runs it. Throws
// Failure(STATUS_NOT_LOADED) if GnuPG cannot use that home.
std::vector<Key> keysOfHome(const std::string& home);

// The home that `--homedir` names, without trailing slashes. Throws UsageError if it is empty.
std::string homeFrom(const std::string& option);

// The directory `home`. Throws Failure(STATUS_NOT_LOADED) if it cannot be opened, or if users other
// than root and the caller could change or replace it, because GnuPG obeys the gpg.conf in it.
Directory ownHome(const std::string& home);

// The path of the key ring in `home`.
std::string ringIn(const std::string& home);

// Throws Failure(STATUS_NOT_LOADED) if `home` has files that GnuPG uses instead of pubring.kbx and
// gpg.conf, if one of its files is not regular, so that GnuPG could wait forever, or if users other
// than root and the caller can change one of them.
void refuseOtherRings(const std::string& home);

// The content of the key file `file`: a regular file or a pipe, which is read to its end; "-" is
// standard input of any kind. Throws Failure(STATUS_NOT_LOADED) if it cannot be read or is larger
// than 64 MiB.
std::string readKeys(const std::string& file);

}  // namespace tool

#endif
