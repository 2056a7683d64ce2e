// A GnuPG home with secret keys of all kinds, for tests that sign.

#ifndef ZEMO_TESTS_SUPPORT_GNUPG_HOME_H
#define ZEMO_TESTS_SUPPORT_GNUPG_HOME_H

#include <string>
#include <vector>

#include "support/temporary_directory.h"

class GnupgHome {
 public:
  GnupgHome();
  ~GnupgHome();  // stops the home's agent
  GnupgHome(const GnupgHome&) = delete;
  GnupgHome& operator=(const GnupgHome&) = delete;

  const std::string& path() const { return _home.path(); }

  // Creates a signing key. `options` are GnuPG's, such as --faked-system-time.
  void make(const std::string& userId, const std::string& algorithm = "ed25519",
            const std::string& expires = "never", const std::string& options = "",
            const std::string& passphrase = "");

  // Adds a signing subkey.
  void addSubkey(const std::string& userId, const std::string& options = "");

  void revoke(const std::string& userId);

  // Fingerprint `index` of the key; 0 is the primary key's.
  std::string fingerprint(const std::string& userId, std::size_t index = 0) const;

  // Writes `list`.asc with these GnuPG options, which include -u.
  void sign(const std::string& list, const std::string& options) const;

  // Writes the public keys to `file` and returns `file`.
  std::string exported(const std::vector<std::string>& userIds, const std::string& file) const;

  // Writes the secret key to `file` and returns `file`.
  std::string exportedSecret(const std::string& userId, const std::string& file) const;

  // From now on the agent asks this shell script, which answers one-line requests, for passphrases.
  // $terminal is the terminal that it may use, empty if none is known.
  void askBy(const std::string& answerToGetpin) const;

 private:
  // The beginning of a command line.
  std::string gpg() const;

  TemporaryDirectory _home;
};

// The names in a directory, sorted.
std::vector<std::string> namesIn(const std::string& directory);

// The standard output of the shell command.
std::string outputOf(const std::string& command);

#endif
