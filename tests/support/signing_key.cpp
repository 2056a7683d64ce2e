#include "support/signing_key.h"

#include <cstdlib>
#include <stdexcept>

#include "support/files.h"

void runShell(const std::string& command) {
  if (system(command.c_str()) != 0)
    throw std::runtime_error("failed: " + command);
}

std::string quoted(const std::string& text) {
  std::string word = "'";
  for (char const c : text)
    word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return word + "'";
}

SigningKey::SigningKey() {
  changeMode(_home.path(), 0700);
  runShell("gpg --homedir " + quoted(_home.path()) +
           " --batch --quiet --passphrase '' --pinentry-mode loopback"
           " --quick-generate-key 'Maker <maker@example.org>' ed25519 sign never 2>/dev/null");
}

SigningKey::~SigningKey() {
  try {
    runShell("gpgconf --homedir " + quoted(_home.path()) + " --kill all");
  } catch (const std::runtime_error&) {  // the agent ends by itself when its directory is gone
  }
}

void SigningKey::trustedBy(const std::string& homeDirectory) const {
  runShell("gpg --homedir " + quoted(_home.path()) + " --batch --export | gpg --homedir " +
           quoted(homeDirectory) +
           " --batch --quiet --no-autostart --no-permission-warning --import 2>/dev/null");
}

void SigningKey::sign(const std::string& list, const std::string& options) const {
  runShell("gpg --homedir " + quoted(_home.path()) + " --batch --yes --armor " + options +
           " --output " + quoted(list + ".asc") + " --detach-sign " + quoted(list));
}
