#include "support/gnupg_home.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "support/files.h"
#include "support/program.h"
#include "support/signing_key.h"

GnupgHome::GnupgHome() {
  changeMode(_home.path(), 0700);
}

GnupgHome::~GnupgHome() {
  try {
    runShell("gpgconf --homedir " + quoted(path()) + " --kill all");
  } catch (const std::runtime_error&) {  // the agent ends by itself when its directory is gone
  }
}

std::string GnupgHome::gpg() const {
  return "gpg --homedir " + quoted(path()) + " --batch --yes --quiet --pinentry-mode loopback ";
}

void GnupgHome::make(const std::string& userId, const std::string& algorithm,
                     const std::string& expires, const std::string& options,
                     const std::string& passphrase) {
  runShell(gpg() + "--passphrase " + quoted(passphrase) + " " + options + " --quick-generate-key " +
           quoted(userId) + " " + algorithm + " sign " + expires + " 2>/dev/null");
}

void GnupgHome::addSubkey(const std::string& userId, const std::string& options) {
  runShell(gpg() + "--passphrase '' " + options + " --quick-add-key " + fingerprint(userId) +
           " ed25519 sign never 2>/dev/null");
}

void GnupgHome::revoke(const std::string& userId) {
  std::string const file = path() + "/openpgp-revocs.d/" + fingerprint(userId) + ".rev";
  runShell("sed 's/^:---/---/' " + quoted(file) + " | " + gpg() + "--import 2>/dev/null");
}

std::string GnupgHome::fingerprint(const std::string& userId, std::size_t index) const {
  std::string const listing = outputOf(gpg() + "--with-colons --list-keys " + quoted(userId));
  std::vector<std::string> fingerprints;
  for (const std::string& line : linesOf(listing)) {
    if (line.compare(0, 4, "fpr:") == 0)
      fingerprints.push_back(line.substr(12, line.size() - 13));
  }
  return fingerprints.at(index);
}

void GnupgHome::sign(const std::string& list, const std::string& options) const {
  runShell(gpg() + options + " --armor --output " + quoted(list + ".asc") + " --detach-sign " +
           quoted(list) + " 2>/dev/null");
}

std::string GnupgHome::exported(const std::vector<std::string>& userIds,
                                const std::string& file) const {
  std::string words;
  for (const std::string& id : userIds)
    words += " " + quoted(id);
  runShell(gpg() + "--output " + quoted(file) + " --export" + words);
  return file;
}

std::string GnupgHome::exportedSecret(const std::string& userId, const std::string& file) const {
  runShell(gpg() + "--passphrase '' --output " + quoted(file) + " --export-secret-keys " +
           quoted(userId));
  return file;
}

void GnupgHome::askBy(const std::string& answerToGetpin) const {
  writeFile(path() + "/pinentry",
            "#!/bin/sh\n"
            "echo OK\n"
            "while read -r request; do\n"
            "  case $request in\n"
            "    'OPTION ttyname='*) terminal=${request#*=}; echo OK ;;\n"
            "    GETPIN*) " +
                answerToGetpin +
                ";;\n"
                "    BYE*) echo OK; exit ;;\n"
                "    *) echo OK ;;\n"
                "  esac\n"
                "done\n",
            0755);
  writeFile(path() + "/gpg-agent.conf", "pinentry-program " + path() + "/pinentry\n");
  runShell("gpgconf --homedir " + quoted(path()) + " --kill all");
}

std::vector<std::string> namesIn(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& member : std::filesystem::directory_iterator(directory))
    names.push_back(member.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

std::string outputOf(const std::string& command) {
  return runProgram({"/bin/sh", "-c", command}).output;
}
