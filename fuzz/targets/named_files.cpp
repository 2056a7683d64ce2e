// Named files, for which SelfCheckFiles keeps only a part of the set, compared with the whole set.
// The first line of an input is a digit, the number of the verification that fails; "b" if a
// package is bound, or another character; and the letters of the lists that listorder names. The
// second line and all text up to a form feed are the named paths. Further form feeds separate the
// lists a, b and so on, which lack their first line, unless they begin with "!"; one that begins
// with "?" has no signature. "@" stands for the directory of our files.

#include <sys/stat.h>
#include <unistd.h>
#include <zemo/selfcheck.h>

#include <boost/algorithm/string/replace.hpp>

#include "engine/agree.h"
#include "engine/scratch.h"
#include "engine/target.h"
#include "models/package.h"
#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_exec.h"
#include "support/path_list.h"
#include "support/result_mask.h"

using namespace ZEMO::SELF_CHECK;

namespace {

const std::string listDir = "/usr/zemo/selfcheck";
const std::string files = "/var/packages/demo/target";  // what $pkg_dir stands for

void makeFiles() {
  fuzz::makeEmpty(files);
  for (const char* const directory : {"/d", "/d/d", "/e"})
    (void)mkdir((files + directory).c_str(), 0755);
  for (const char* const file : {"/a", "/d/a", "/d/b", "/d/d/a", "/dx", "/e/a"})
    fuzz::writeFile(files + file, "content");
  (void)symlink("a", (files + "/l").c_str());
}

std::string inFull(std::string text) {
  boost::algorithm::replace_all(text, "@", files);
  return text;
}

void makeOrder(const std::string& letters) {
  std::string content;
  for (char const letter : letters)
    content += std::string("wam.full.") + letter + ".list\n";
  fuzz::writeFile(listDir + "/listorder", content);
}

void makeList(char letter, const std::string& content) {
  char const kind = content.empty() ? '\0' : content.front();
  std::string const path = listDir + "/wam.full." + letter + ".list";
  if (kind == '!')
    fuzz::writeFile(path, content.substr(1));
  else
    fuzz::writeFile(path, "WAM_SELF_CHECK\n" + content.substr(kind == '?' ? 1 : 0));
  if (kind != '?')
    fuzz::writeFile(path + ".asc", "");
}

struct Answer {
  int returned = -1;
  std::vector<uint32_t> words;
  std::vector<LogLine> log;
  std::vector<std::string> verified;
};

// The same steps as SelfCheckFiles, on the whole set.
int checkWhole(const std::vector<std::string>& paths, std::vector<uint32_t>& words,
               std::vector<LogLine>& log) {
  FileList list("wam", "full");
  bool const loaded = list.loadList(true);
  std::vector<SELFCHECK_RESULT> results;
  bool const checked = loaded && list.checkFiles(paths, results);
  log = recordedLog();
  if (!loaded)
    log.push_back(logged("util", 33, "Selfcheck load list failed"));
  else if (!checked)
    log.push_back(logged("util", 38, "Selfcheck failed"));
  else
    words = masksOf(results);
  return checked ? 0 : -1;
}

int checkPart(const std::vector<std::string>& paths, std::vector<uint32_t>& words,
              std::vector<LogLine>& log) {
  constexpr uint32_t untouched = 0xa5a5a5a5;
  PathList const list(paths);
  std::vector<SELFCHECK_RESULT> results(paths.size() + 1, resultFrom(untouched));
  int const returned = SelfCheckFiles(list.get(), results.data());
  log = recordedLog();
  words = masksOf(results);
  fuzz::agree("the word after the last", words.back(), untouched);
  words.pop_back();
  if (returned != 0) {
    fuzz::agree("words", words, std::vector<uint32_t>(paths.size(), untouched));
    words.clear();
  }
  return returned;
}

template <typename Check>
Answer answerOf(const Check& check, const std::vector<std::string>& paths) {
  Answer answer;
  clearLog();
  execCalls.clear();
  answer.returned = check(paths, answer.words, answer.log);
  for (const ExecCall& call : execCalls)
    answer.verified.push_back(call.words.back());
  return answer;
}

void run(fuzz::Input input) {
  fuzz::needPrivateRoot();
  fuzz::installPackages();
  static bool const made = (makeFiles(), true);
  (void)made;
  int const failing = input.byte() - '0';
  ProtectedFile::_pkginfo = PkgInfo();
  if (input.byte() == 'b')
    (void)ProtectedFile::setPkg("demo");
  execResult = [failing](const ExecCall&) {
    return static_cast<int>(execCalls.size()) == failing ? 1 : 0;
  };

  fuzz::makeEmpty(listDir);
  makeOrder(input.line());
  std::vector<std::string> paths;
  for (const std::string& path : fuzz::split(input.upTo('\f'), '\n'))
    paths.push_back(fuzz::beforeNul(inFull(path)));
  for (char letter = 'a'; letter <= 'e' && !input.atEnd(); ++letter)
    makeList(letter, inFull(input.upTo('\f')));

  Answer const whole = answerOf(checkWhole, paths);
  Answer const part = answerOf(checkPart, paths);
  fuzz::agree("returned", part.returned, whole.returned);
  fuzz::agree("words", part.words, whole.words);
  fuzz::agree("log", part.log, whole.log);
  fuzz::agree("verified", part.verified, whole.verified);
}

fuzz::Target const target("named_files", run);

}  // namespace
