#include "sets/manifest.h"

#include <openssl/evp.h>

#include <array>
#include <charconv>
#include <set>

#include "io/exit_status.h"
#include "io/paths.h"
#include "sets/sets.h"
#include "text/escape.h"
#include "text/strings.h"

namespace tool {
namespace {

const std::string manifestEnding = ".manifest";
const std::string noSerial = "-";

std::string sha256(const std::string& content) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned length = 0;
  if (EVP_Digest(content.data(), content.size(), digest.data(), &length, EVP_sha256(), nullptr) !=
      1)
    throw Failure(STATUS_NOT_LOADED, "cannot compute a SHA-256 digest");
  std::string const bytes(digest.begin(), digest.begin() + length);
  return hexadecimal(bytes);
}

// The text up to the next `end`, which is removed from `rest` with it; all of it if there is none.
std::string_view takeUntil(std::string_view& rest, char end) {
  std::size_t const length = rest.find(end);
  std::string_view const taken = rest.substr(0, length);
  rest.remove_prefix(length == std::string_view::npos ? rest.size() : length + 1);
  return taken;
}

// 0 if it is not a number; such a text differs from what manifestText() writes.
uint64_t numberFrom(std::string_view text) {
  uint64_t number = 0;
  (void)std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

bool isSha256(const std::string& text) {
  return text.size() == 64 && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

ManifestLine lineFrom(std::string_view text) {
  ManifestLine line;
  line.digest = takeUntil(text, '\t');
  line.size = numberFrom(takeUntil(text, '\t'));
  std::string_view const serial = takeUntil(text, '\t');
  if (serial != noSerial)
    line.serial = numberFrom(serial);
  line.name = unescaped(text).value_or("");
  return line;
}

bool canBeListed(const ManifestLine& line, const Label& label) {
  return isSha256(line.digest) && line.name.find('/') == std::string::npos &&
         line.name.find('\0') == std::string::npos &&
         isNamedLikeListOf(line.name, label.set, label.mode);
}

[[noreturn]] void notAManifest(const std::string& path, const std::string& reason) {
  throw Failure(STATUS_NOT_LOADED, inQuotes(path) + " is not a manifest: " + reason);
}

}  // namespace

std::string manifestName(const std::string& set, const std::string& mode) {
  return set + "." + mode + manifestEnding;
}

Label labelOfManifest(const std::string& path) {
  std::string name = fileName(path);
  Label label;
  if (endsWith(name, manifestEnding)) {
    name.erase(name.size() - manifestEnding.size());
    std::size_t const dot = name.rfind('.');  // a mode contains none
    label.set = name.substr(0, dot);
    label.mode = dot == std::string::npos ? "" : name.substr(dot + 1);
  }
  if (!canNameSet(label.set) || label.mode.empty())
    throw UsageError(inQuotes(path) + " is not named like a manifest: SET.MODE.manifest");
  requireModeName(label.mode);
  return label;
}

std::optional<uint64_t> serialIn(std::string_view start) {
  (void)takeUntil(start, '\n');
  std::optional<Label> const label = parseLabel(std::string(takeUntil(start, '\n')));
  return label ? std::optional<uint64_t>(label->serial) : std::nullopt;
}

ManifestLine manifestLine(const std::string& name, const std::string& content) {
  return {sha256(content), content.size(), serialIn(content), name};
}

std::string manifestText(const Manifest& manifest) {
  std::string text = manifestHeader + "\n" + setLabelLine(manifest.label) + "\n";
  for (const ManifestLine& line : manifest.lists)
    text += line.digest + "\t" + std::to_string(line.size) + "\t" +
            (line.serial ? std::to_string(*line.serial) : noSerial) + "\t" + escaped(line.name) +
            "\n";
  return text;
}

Manifest parseManifest(const std::string& text, const std::string& path, const std::string& set,
                       const std::string& mode) {
  std::string_view rest = text;
  if (text.size() > longestManifest)
    notAManifest(path, "it has more than " + std::to_string(longestManifest) + " bytes");
  if (takeUntil(rest, '\n') != manifestHeader)
    notAManifest(path, "its first line is not " + manifestHeader);
  std::optional<Label> const label = parseSetLabel(std::string(takeUntil(rest, '\n')));
  if (!label)
    notAManifest(path, "its second line does not say which set it describes");
  if (label->set != set || label->mode != mode)
    notAManifest(path, "it describes another set: " + inQuotes(label->set) + ", mode " +
                           inQuotes(label->mode));
  Manifest manifest{*label, {}};
  std::set<std::string> names;
  while (!rest.empty()) {
    ManifestLine line = lineFrom(takeUntil(rest, '\n'));
    std::string const where = "line " + std::to_string(manifest.lists.size() + 3);
    if (!canBeListed(line, *label))
      notAManifest(path, where + " does not describe a list of the set");
    if (!names.insert(line.name).second)
      notAManifest(path, where + " names " + inQuotes(line.name) + " again");
    manifest.lists.push_back(std::move(line));
  }
  if (manifest.lists.empty())
    notAManifest(path, "it names no list");
  // There is only one way to write a manifest, so no two programs can read one differently.
  if (manifestText(manifest) != text)
    notAManifest(path, "it is not written in the form that zemo-selfcheck sign writes");
  return manifest;
}

}  // namespace tool
