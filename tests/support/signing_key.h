// A GnuPG key that signs check lists.

#ifndef ZEMO_TESTS_SUPPORT_SIGNING_KEY_H
#define ZEMO_TESTS_SUPPORT_SIGNING_KEY_H

#include <string>

#include "support/temporary_directory.h"

class SigningKey {
 public:
  // Creates a new key in its own home directory.
  SigningKey();
  ~SigningKey();  // stops the key's agent
  SigningKey(const SigningKey&) = delete;
  SigningKey& operator=(const SigningKey&) = delete;

  // The home directory.
  const std::string& home() const { return _home.path(); }

  // Adds the public key to the key ring in `homeDirectory`.
  void trustedBy(const std::string& homeDirectory) const;

  // Writes the detached signature of `list`, made with these GnuPG options, to `list`.asc.
  void sign(const std::string& list, const std::string& options = "") const;

 private:
  TemporaryDirectory _home;
};

// Runs a command in the shell; throws if its exit status is not 0.
void runShell(const std::string& command);

// Quotes `text` as one word for the shell.
std::string quoted(const std::string& text);

#endif
