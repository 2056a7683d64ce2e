// The arguments of the program. Every line of an input is an argument. The target parses the
// arguments twice, with the same result. It runs the program itself only for errors, help and the
// commands that only read, in a directory with a few lists, and only with names in it.

#include <zemo/selfcheck.h>

#include <algorithm>
#include <filesystem>

#include "engine/agree.h"
#include "engine/captured_output.h"
#include "engine/scratch.h"
#include "engine/target.h"
#include "io/exit_status.h"
#include "models/escape.h"
#include "program.h"
#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_exec.h"

namespace {

// The command in the arguments; empty if they are wrong or request help.
std::string parsed(const std::vector<const char*>& words) {
  try {
    tool::Chosen const chosen =
        tool::allCommands().parse(static_cast<int>(words.size()), words.data());
    fuzz::require(static_cast<bool>(chosen.run), "a command is chosen");
    return chosen.command;
  } catch (const tool::UsageError&) {
    return "";
  }
}

// Also redirects standard input from /dev/null. False if that fails.
bool makeFiles() {
  std::string const lists = "/usr/zemo/selfcheck";
  std::string const list =
      "WAM_SELF_CHECK\nset=wam mode=full list=a serial=1 date=1970-01-01T00:00:01Z\n";
  fuzz::writeFile(lists + "/wam.full.a.list",
                  list + "/a\t1\t-\tf\t644\t0\t0\n/d\t-\tFIXED\td\t-\t-\t-\n");
  fuzz::writeFile(lists + "/wam.full.a.list.asc", "");
  fuzz::makeEmpty(lists + "/packages/demo");
  fuzz::writeFile("/usr/zemo/selfcheck/packages/demo/demo.full.a.list", list);
  fuzz::writeFile(fuzz::scratch() + "/a.list",
                  list + "/a\t1\t-\tf\t644\t0\t0\n-/b\t-\t-\t-\t-\t-\t-\n");
  fuzz::writeFile(fuzz::scratch() + "/b.list", list + "/a\t2\t-\tf\t644\t0\t\x1b\n/c\n");
  fuzz::writeFile(fuzz::scratch() + "/names", "/a\n/d/x\n\x1b\n");
  return freopen("/dev/null", "r", stdin) != nullptr;
}

// During its lifetime, the working directory is the one with the lists.
class InDirectory {
 public:
  InDirectory() : _before(std::filesystem::current_path()) {
    std::filesystem::current_path(fuzz::scratch());
  }
  ~InDirectory() { std::filesystem::current_path(_before); }
  InDirectory(const InDirectory&) = delete;
  InDirectory& operator=(const InDirectory&) = delete;

 private:
  std::filesystem::path _before;
};

// True for the option that moves the process to another mount namespace.
bool isRootOption(const std::string& word) {
  return word.compare(0, 6, "--root") == 0;
}

bool hasSlash(const std::string& word) {
  return word.find('/') != std::string::npos;
}

void run(fuzz::Input input) {
  std::vector<std::string> texts = {"zemo-selfcheck"};
  while (!input.atEnd() && texts.size() < 40)
    texts.push_back(fuzz::beforeNul(input.line()));
  std::vector<const char*> words;
  words.reserve(texts.size() + 1);
  for (const std::string& text : texts)
    words.push_back(text.c_str());

  std::string const command = parsed(words);
  fuzz::agree("the command", parsed(words), command);
  bool const reads = command.empty() || command == "show" ||
                     ((command == "diff" || command == "files") &&
                      std::none_of(texts.begin(), texts.end(), hasSlash));
  if (!reads || std::any_of(texts.begin(), texts.end(), isRootOption))
    return;
  fuzz::needPrivateRoot();
  static bool const made = makeFiles();
  fuzz::require(made, "standard input is empty");
  InDirectory const directory;
  execCalls.clear();
  clearLog();
  words.push_back(nullptr);
  int status = -1;
  fuzz::Output const output = fuzz::captured(
      [&] { status = tool::runProgram(static_cast<int>(words.size()) - 1, words.data()); });
  fuzz::require((status >= 0 && status < 32) || status == 64, "status " + std::to_string(status));
  fuzz::require(!command.empty() || status == 0 || status == 64, "wrong usage has its own status");
  fuzz::require(fuzz::isHarmless(output.errors), "messages are harmless: " + output.errors);
  fuzz::require((status != 64 && status != 16) || !output.errors.empty(), "a message says why");
  fuzz::require(status != 64 || output.out.empty(), "nothing is printed with wrong usage");
}

fuzz::Target const target("arguments", run);

}  // namespace
