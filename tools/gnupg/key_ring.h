// The key ring in the home that lists are verified with, and how it is changed.

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

// A copy of a home's public key ring, in a private directory. GnuPG works on the copy, and so
// leaves no lock, backup, socket or trust database in the home; install() then replaces the home's
// ring as a whole. All operations throw Failure(STATUS_NOT_LOADED) when they cannot do what they
// say.
class KeyRing {
 public:
  // Copies the ring in `home`; begins with an empty one if it has none. Whoever means to call
  // install() holds a DirectoryLock on `home` meanwhile.
  explicit KeyRing(const Directory& home);

  // The home had a ring, of which this is the copy.
  bool isCopy() const { return _found.has_value(); }

  // The keys in the copy.
  std::vector<Key> keys() const;

  // Adds the public keys in `content`, which comes from `file`, or what it has to say of keys that
  // are there. Refuses secret keys, content without any, and, by their names, keys that GnuPG does
  // not take.
  void import(const std::string& file, const std::string& content);

  // Takes out the key with this fingerprint, which is that of a primary key in the ring.
  void remove(const std::string& fingerprint);

  // Lets GnuPG read the copy with this content of gpg.conf. Throws as keysOfHome() does.
  void proveWith(const std::string& configuration) const;

  // The copy, written beside the home's ring and readable by everybody: commit() puts it in that
  // one's place. At every moment the old ring or the new one is there.
  AtomicFile staged() const;
  void install() const { staged().commit(); }

  // Lets everybody read the home's ring, which has been copied.
  void publish() const { _found->publish(); }

 private:
  std::vector<std::string> gpg(const std::vector<std::string>& words) const;

  Directory _home;
  std::optional<RegularFile> _found;
  ScratchDirectory _scratch;
};

// The keys that GnuPG finds in `home`, run as the library runs it. Throws
// Failure(STATUS_NOT_LOADED) if it cannot use that home.
std::vector<Key> keysOfHome(const std::string& home);

// The home that `--homedir` names, without slashes at its end. Throws UsageError if it is empty.
std::string homeFrom(const std::string& option);

// The directory `home`. Throws Failure(STATUS_NOT_LOADED) if it cannot be opened, or somebody other
// than root and the caller could change or exchange it: GnuPG does what the gpg.conf in it says.
Directory ownHome(const std::string& home);

// The path of the key ring in `home`.
std::string ringIn(const std::string& home);

// Throws Failure(STATUS_NOT_LOADED) if `home` has files that GnuPG takes instead of pubring.kbx and
// gpg.conf, or one of its files is not a regular one, for which GnuPG could wait for ever, or one
// that somebody other than root and the caller can change.
void refuseOtherRings(const std::string& home);

// The content of the file of keys at `file`: a regular file or a pipe, which is read to its end;
// "-" is standard input, whatever that is. Throws Failure(STATUS_NOT_LOADED), also for more than 64
// MiB.
std::string readKeys(const std::string& file);

}  // namespace tool

#endif
