#include "gnupg/signer.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "gnupg/signature_check.h"
#include "gnupg/status_lines.h"
#include "io/exit_status.h"
#include "io/regular_file.h"
#include "io/scratch_directory.h"
#include "run/process.h"
#include "text/strings.h"

namespace tool {
namespace {

Outcome runFor(std::vector<std::string> words, int captured, bool showErrors) {
  Command command;
  command.words = std::move(words);
  command.captured = captured;
  command.showErrors = showErrors;
  command.callersLocale = true;
  return run(command);
}

Key onlyKey(const std::string& name, const std::vector<Key>& keys) {
  if (keys.empty())
    throw Failure(STATUS_NOT_LOADED, "no secret key matches " + inQuotes(name));
  if (keys.size() > 1) {
    std::vector<std::string> fingerprints;
    fingerprints.reserve(keys.size());
    for (const Key& key : keys)
      fingerprints.push_back(key.fingerprint);
    throw UsageError(inQuotes(name) +
                     " matches several secret keys; give one of the fingerprints " +
                     joinedBy(", ", fingerprints));
  }
  return keys.front();
}

// GnuPG's standard input is not the terminal, so it cannot find out where to ask for a passphrase.
// Ours need not be one either, as below xargs.
void nameTerminal() {
  for (int const stream : {STDIN_FILENO, STDERR_FILENO, STDOUT_FILENO}) {
    const char* const terminal = ttyname(stream);
    if (terminal == nullptr)
      continue;
    (void)setenv("GPG_TTY", terminal, 0);  // if this fails, GnuPG reports what is missing
    return;
  }
}

// The failure text of the sign operation, or else GnuPG's exit status.
std::string reasonIn(const std::vector<StatusLine>& lines, int status) {
  std::string const reason = failureIn(lines, "sign");
  return reason.empty() ? "GnuPG exited with status " + std::to_string(status) : reason;
}

}  // namespace

Signer::Signer(const std::string& key, const std::string& home) : _home(home) {
  nameTerminal();
  Outcome const found =
      runFor(gpg({"--batch", "--with-colons", "--list-secret-keys", "--", key}), 1, false);
  _key = onlyKey(key, keysIn(found.output));
  // Use the fingerprint, because another key may get the same name at any time.
  _localUser = key.back() == '!' ? key : _key.fingerprint;
}

std::vector<std::string> Signer::gpg(const std::vector<std::string>& words) const {
  std::vector<std::string> all = {"/usr/bin/gpg", "--quiet"};
  if (!_home.empty())
    all.insert(all.end(), {"--homedir", _home});
  all.insert(all.end(), words.begin(), words.end());
  return all;
}

std::string Signer::signatureOf(const std::string& content, const std::string& name) const {
  ScratchDirectory const scratch({"list", "list.asc"});
  std::string const list = scratch / "list";
  std::string const signature = scratch / "list.asc";
  writeWholeFile(list, content);
  Outcome const made = runFor(
      gpg({"--yes", "--armor", "--no-textmode", "--digest-algo", "SHA512", "--local-user",
           _localUser, "--status-fd", "3", "--output", signature, "--detach-sign", "--", list}),
      3, true);
  std::vector<StatusLine> const lines = statusLines(made.output);
  if (made.status != 0)
    throw Failure(STATUS_NOT_LOADED,
                  "cannot sign " + inQuotes(name) + ": " + reasonIn(lines, made.status));

  Outcome const verified =
      runFor(gpg({"--batch", "--status-fd", "3", "--verify", "--", signature, list}), 3, false);
  std::vector<Signature> const signatures = signaturesIn(verified.output);
  if (verified.status != 0 || signatures.size() != 1 || !isGood(signatures.front()) ||
      signatures.front().primary != _key.fingerprint || signatures.front().digest != digestSha512)
    throw Failure(STATUS_NOT_LOADED, "cannot sign " + inQuotes(name) +
                                         ": GnuPG does not verify the signature that it made");
  return readWholeFile(signature);
}

}  // namespace tool
