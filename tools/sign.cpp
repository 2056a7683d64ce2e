// sign: puts a signature next to each list.
//
// The list is opened and read once. GnuPG signs the bytes that were read, and the same bytes are
// written back. So the directory's owner, who may be another user, cannot have other bytes signed
// than those that were examined, nor have files copied that only the caller may read. List and
// signature are each written to a temporary file, synced to disk and renamed, first the list, then
// the signature. The list's content does not change. So a list with a good signature has one at
// every moment, either the old or the new one. A list that was changed after it was signed verifies
// from the last rename on; if sign is interrupted before that, it can simply be run again.
//
// A manifest is made from the same bytes, and replaced after all lists, only if they are still the
// same. Its content does change: if sign is interrupted between the renames of manifest and
// signature, the manifest does not verify until sign has run again.
//
// Two runs of sign replace their files one after the other, and a list whose content no longer
// matches the signed bytes is left as it is. If a program ignores the lock and replaces the list
// between that comparison and the rename, its change is lost, but the resulting pair still
// verifies.

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "gnupg/key_ring.h"
#include "gnupg/signer.h"
#include "io/atomic_file.h"
#include "io/directory.h"
#include "io/directory_lock.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"
#include "sets/label.h"
#include "sets/list_file.h"
#include "sets/sets.h"
#include "sign/manifest.h"
#include "sign/signed_file.h"
#include "text/escape.h"

namespace tool {
namespace {

const char* const examples =
    "Writes LIST.asc, an armoured detached GnuPG signature with the digest SHA-512. GnuPG uses "
    "your own agent, pinentry and terminal.\n"
    "\n"
    "--manifest also writes a signed file that says which lists the set has, in which order. Give "
    "all lists of the set in the order in which they are read.\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck sign wam.full.base.list --key maker@example.org\n"
    "  zemo-selfcheck sign --manifest wam.full.manifest wam.full.base.list wam.full.local.list "
    "--key maker@example.org\n";

struct Options {
  std::vector<std::string> lists;
  std::optional<std::string> key;
  std::optional<std::string> home;
  std::optional<std::string> manifest;
  std::optional<std::string> serial;
  bool withoutSignatures = false;
};

void warnOfLabel(const std::string& path, const std::string& line) {
  std::optional<Label> const label = parseLabel(line);
  if (!label) {
    say("warning: " + inQuotes(path) +
        " does not say in line 2 which list it is, so it can pass as another");
    return;
  }
  std::string const name = label->set + "." + label->mode + "." + label->list + ".list";
  if (name != fileName(path))
    say("warning: " + inQuotes(path) + " says in line 2 that it is " + inQuotes(name));
}

// The content of the list, which is checked to be a check list.
SignedFile readList(const std::string& path, const Directory& directory) {
  RegularFile const file(directory, path);
  struct stat above = {};
  if (fstat(directory.get(), &above) != 0)
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot examine " + inQuotes(directory.path()), errno));
  // Signing it would publish it under a name that the file's owner does not know of.
  if (file.status().st_nlink > 1 && !strangerIn(above).empty())
    throw Failure(STATUS_NOT_LOADED,
                  inQuotes(path) + " has other hard links, in a directory that " +
                      strangerIn(above) + ": copy it to a directory of your own");
  std::string content = file.content();
  warnOfLabel(path, listIn(content, path).label);
  return {directory, path, std::move(content)};
}

void requireUnchanged(const SignedFile& list) {
  if (RegularFile(list.directory, list.path).content() != list.content)
    throw Failure(STATUS_NOT_LOADED,
                  inQuotes(list.path) + " changed while it was being signed; sign it again");
}

AtomicFile finishedCopy(const SignedFile& file) {
  AtomicFile copy(file.directory, file.path, 0644);
  copy.write(file.content);
  copy.finish();
  return copy;
}

// Writes the file and its signature if the content of `lists` has not changed.
void sign(const SignedFile& file, const std::vector<const SignedFile*>& lists,
          const Signer& signer) {
  std::string const signature = signer.signatureOf(file.content, file.path);
  AtomicFile contentFile = finishedCopy(file);
  AtomicFile signatureFile(file.directory, file.path + ".asc", 0644);
  signatureFile.write(signature);
  signatureFile.finish();

  DirectoryLock const lock(file.directory);
  for (const SignedFile* const list : lists)
    requireUnchanged(*list);
  contentFile.commit();
  signatureFile.commit();
  printf("%s.asc: signed by %s\n", escaped(file.path).c_str(), keyText(signer.key()).c_str());
}

// Writes the manifest alone if the content of `lists` has not changed.
void writeUnsigned(const SignedFile& manifest, const std::vector<SignedFile>& lists) {
  AtomicFile file = finishedCopy(manifest);
  DirectoryLock const lock(manifest.directory);
  for (const SignedFile& list : lists)
    requireUnchanged(list);
  file.commit();
  printf("%s: not signed\n", escaped(manifest.path).c_str());
}

std::vector<const SignedFile*> pointersTo(const std::vector<SignedFile>& files) {
  std::vector<const SignedFile*> pointers;
  pointers.reserve(files.size());
  for (const SignedFile& file : files)
    pointers.push_back(&file);
  return pointers;
}

int runSign(const Options& options) {
  if (options.withoutSignatures && (!options.manifest || options.key || options.home))
    throw UsageError("--unsigned needs --manifest, and takes neither --key nor --homedir");
  if (!options.withoutSignatures && !options.key)
    throw UsageError("--key is required; see zemo-selfcheck sign --help");
  if (options.key && options.key->empty())
    throw UsageError("--key needs a fingerprint, key ID or user ID");
  if (options.serial && !options.manifest)
    throw UsageError("--serial is the manifest's serial and needs --manifest");
  std::string const home = options.home ? homeFrom(*options.home) : "";
  if (!home.empty())
    (void)ownHome(home);
  std::vector<SignedFile> lists;
  std::map<std::string, Directory> directories;  // each is opened once, even with several lists
  for (const std::string& path : options.lists) {
    std::string const above = directoryOf(path);
    lists.push_back(readList(path, directories.try_emplace(above, above).first->second));
  }
  std::optional<SignedFile> manifest;
  if (options.manifest)
    manifest = manifestOf(*options.manifest, lists, options.serial);
  if (options.withoutSignatures) {
    writeUnsigned(*manifest, lists);
    return STATUS_INTACT;
  }
  Signer const signer(*options.key, home);
  for (const SignedFile& list : lists)
    sign(list, {&list}, signer);
  if (manifest)
    sign(*manifest, pointersTo(lists), signer);
  return STATUS_INTACT;
}

}  // namespace

void addSign(Commands& program) {
  auto const options = std::make_shared<Options>();
  Arguments takes = program.add("sign", "Sign check lists with GnuPG", examples,
                                [options] { return runSign(*options); });
  takes.requiredWords("LIST", options->lists, "Lists to sign");
  takes.value("--key", "KEY", options->key,
              "Secret key: a fingerprint, key ID or user ID (required without --unsigned)");
  takes.value("--manifest", "FILE", options->manifest,
              "Also write and sign the manifest of a set that consists of these lists, in this "
              "order: SET.MODE.manifest in their directory");
  takes.value("--serial", "N", options->serial,
              "Serial number of the manifest (default: the date in seconds since 1970)");
  takes.flag("--unsigned", options->withoutSignatures,
             "With --manifest: only write the manifest, for signing where the key is");
  takes.value("--homedir", "DIR", options->home, "GnuPG home directory (default: your own)");
}

}  // namespace tool
