#include "make/record.h"

#include <algorithm>
#include <filesystem>

#include "gnupg/signature_check.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"
#include "io/scratch_directory.h"
#include "sets/items.h"
#include "sets/list_file.h"
#include "sets/set_content.h"
#include "text/escape.h"
#include "text/strings.h"

namespace tool {
namespace {

const std::string standardInput = "-";

// The file at the absolute path `path`, from the directory of `list`.
std::string fromDirectoryOf(const std::string& list, const std::string& path) {
  std::string name = std::filesystem::path(path).lexically_relative(directoryOf(list));
  return name == standardInput ? "./" + name : name;
}

[[noreturn]] void cannotRepeat(const std::string& list, const std::string& reason) {
  throw Failure(STATUS_NOT_LOADED, inQuotes(list) + " cannot be made again: " + reason);
}

[[noreturn]] void notOfMake(const std::string& list, const std::string& reason) {
  cannotRepeat(list, "its second line is not one of make: " + reason);
}

// Words that the parser of make's own arguments refuses were not written by `make`.
MakeOptions parsed(const std::vector<std::string>& record, const std::string& list) {
  MakeOptions options;
  Commands commands("zemo-selfcheck", "", "", "");
  Arguments takes = commands.add("make", "", "", [] { return STATUS_INTACT; });
  addRecorded(takes, options);
  std::vector<const char*> words = {"zemo-selfcheck", "make"};
  for (const std::string& word : record)
    words.push_back(word.c_str());
  try {
    if (commands.parse(static_cast<int>(words.size()), words.data()).command.empty())
      cannotRepeat(list, "its second line asks for help");
  } catch (const UsageError& error) {
    notOfMake(list, error.reason());
  }
  return options;
}

// Throws unless `make` could have written this record for the list. Wrong words in it are not the
// caller's error.
void requireOwnWords(const MakeOptions& recorded, const std::string& list) {
  Label own;
  stamp(own, recorded.serial);  // what the caller and the environment give is the caller's error
  try {
    MakePlan const plan = planOf(recorded);
    if (plan.trees != recorded.paths || plan.fixed != recorded.fixed)
      notOfMake(list, "make writes absolute paths");
  } catch (const UsageError& error) {
    notOfMake(list, error.reason());
  }
  if (std::string const reason = recorded.from ? irregular(*recorded.from) : ""; !reason.empty())
    cannotRepeat(list, reason);
}

bool statesAnything(const MakeOptions& options) {
  MakeOptions const none;
  return options.oneFileSystem || options.nul || options.dpkgAll || options.conffiles ||
         options.from || options.package || options.mode != none.mode ||
         !(options.paths.empty() && options.dpkg.empty() && options.exclude.empty() &&
           options.fixed.empty() && options.omit.empty() && options.base.empty());
}

// Throws unless GnuPG verifies `content` with the signature next to `list`. It reads copies of
// both, which are out of reach of others who may write to the list's directory.
void requireVerified(const std::string& list, const std::string& content) {
  auto const refuse = [&list](const std::string& reason) {
    cannotRepeat(list, "it does not verify with this machine's key ring: " + reason +
                           "; --no-verify trusts it");
  };
  std::string const signature = list + ".asc";
  std::error_code ignored;
  if (!std::filesystem::exists(signature, ignored))
    refuse("it has no signature");
  std::string const name = fileName(list);
  ScratchDirectory const scratch({name, name + ".asc"});
  writeWholeFile(scratch / name, content);
  writeWholeFile(scratch / (name + ".asc"), RegularFile::following(signature).content(longestList));
  SignatureCheck const check = checkSignature(scratch / name);
  if (!check.verified)
    refuse(whyNotVerified(check, "it"));
}

// The list's content, read once, so that what is used is what was verified.
std::string contentToRepeat(const std::string& list, bool verify) {
  std::string content = RegularFile::following(list).content(longestList + 1);
  if (content.size() > longestList)
    throw Failure(STATUS_NOT_LOADED, inQuotes(list) + " is too large");
  if (verify)
    requireVerified(list, content);
  return content;
}

// The second line of the list with this content, which says that it is this list.
Label labelThatFits(const std::string& path, const std::string& content) {
  std::optional<Label> label = parseLabel(listIn(content, path).label);
  if (!label || label->made.empty())
    cannotRepeat(path, "its second line does not say how it was made");
  if (!isLabelOf(*label, path, label->set, label->mode))
    cannotRepeat(path, "its second line says that it is " +
                           inQuotes(label->set + "." + label->mode + "." + label->list + ".list"));
  return *label;
}

}  // namespace

std::vector<std::string> recordOf(const MakePlan& plan) {
  std::vector<std::string> words;
  auto const add = [&words](const char* option, const std::string& value) {
    words.push_back(std::string(option) + "=" + value);
  };
  auto const addAll = [&add](const char* option, const std::vector<std::string>& values) {
    for (const std::string& value : values)
      add(option, value);
  };
  auto const flag = [&words](const char* option, bool isGiven) {
    if (isGiven)
      words.emplace_back(option);
  };
  flag("--one-file-system", plan.oneFileSystem);
  if (plan.from)
    add("--from",
        *plan.from == standardInput ? standardInput : fromDirectoryOf(plan.output, *plan.from));
  flag("--null", plan.nul);
  flag("--dpkg-all", plan.allDebs);
  addAll("--dpkg", plan.debs);
  flag("--conffiles", plan.conffiles);
  addAll("--exclude", plan.excluded);
  addAll("--fixed", plan.fixed);
  if (plan.omitted != 0)
    add("--omit", joinedBy(",", namesOf(plan.omitted)));
  for (const std::string& base : plan.bases)
    add("--base", fromDirectoryOf(plan.output, base));
  words.emplace_back("--");
  words.insert(words.end(), plan.trees.begin(), plan.trees.end());
  return words;
}

MakeOptions optionsToRepeat(const MakeOptions& given) {
  if (statesAnything(given))
    throw UsageError(
        "--again takes what to list from the list's second line: only --root, --output, --serial, "
        "--allow-changed, --no-verify, --jobs, --format and --no-progress may be added");
  std::string const list = absolutePath(*given.again);
  Label const label = labelThatFits(list, contentToRepeat(list, !given.noVerify));
  std::string record;
  for (const std::string& word : label.made)
    record += " " + escaped(word);
  say(inQuotes(list) + " is made again: make" + record);
  MakeOptions options = parsed(label.made, list);
  if (options.from == standardInput)
    throw UsageError(inQuotes(list) +
                     " cannot be made again: its names came from standard input (--from -)");
  std::string const directory = directoryOf(list);
  if (options.from)
    options.from = absolutePath(joined(directory, *options.from));
  for (std::string& base : options.base)
    base = absolutePath(joined(directory, base));
  if (label.set != systemSet)
    options.package = label.set;
  options.mode = label.mode;
  options.output = list;
  options.serial = given.serial;
  requireOwnWords(options, list);
  if (!given.output.empty())
    options.output = given.output;
  options.root = given.root;
  options.allowChanged = given.allowChanged;
  options.jobs = given.jobs;
  options.noProgress = given.noProgress;
  return options;
}

void addRecorded(Arguments& takes, MakeOptions& options) {
  takes.words("PATH", options.paths, "Files, and directories with everything below them");
  takes.flag("--one-file-system", options.oneFileSystem,
             "Do not list the members of directories where something is mounted");
  takes.value("--from", "FILE", options.from,
              "List the files named in this file (- is standard input), and directories without "
              "their members");
  takes.flag("-z,--null", options.nul, "Names read by --from end with a zero byte");
  takes.values("--dpkg", "PACKAGE", options.dpkg, "List the files of these Debian packages");
  takes.flag("--dpkg-all", options.dpkgAll, "List the files of all installed Debian packages");
  takes.flag("--conffiles", options.conffiles,
             "Also state size and content of the packages' configuration files");
  takes.repeated(
      "--exclude", "GLOB", options.exclude,
      "Leave out paths that match, and everything below them; a pattern with a slash is matched "
      "against the whole path, any other against the last component; may be repeated");
  takes.repeated(
      "--fixed", "DIR", options.fixed,
      "List this directory and its members, and allow no other members; may be repeated");
  takes.list("--omit", "ITEM,...", options.omit,
             "Do not state size, owner, group, type, permission or hash, or all of them");
  takes.values("--base", "LIST", options.base,
               "Write only what differs from these lists, which are read before this one");
}

}  // namespace tool
