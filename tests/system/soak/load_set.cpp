// load_set [verify] [check] [named FILE]: loads the system's set, checks all of it, and the paths
// in FILE, one per line. Prints the costs and the results as JSON.

#include <syslog.h>
#include <zemo/selfcheck.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <string>
#include <vector>

using namespace ZEMO::SELF_CHECK;

namespace {

long logLines = 0;

// The time of this process alone, so that other programs on the machine have little influence.
double seconds() {
  timespec now = {};
  (void)clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// The most memory that was in use. (The value of getrusage includes that of the starting program.)
long peakKib() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, 6, "VmHWM:") == 0)
      return std::stol(line.substr(6));
  }
  return 0;
}

template <typename Value>
void say(const char* name, Value value) {
  (void)printf(", \"%s\": %s", name, std::to_string(value).c_str());
}

void check(FileList& list) {
  long entries = 0;
  size_t text = 0;  // bytes in the records
  std::map<CHECK_ERROR, long> records;
  list.addHook([&](boost::shared_ptr<ProtectedFile>& file, bool&) {
    ++entries;
    for (const CheckError* error : file->_errors) {
      ++records[error->_error];
      text += error->_filePath.size() + error->_expected.size();
    }
    return 0;
  });
  double const start = seconds();
  bool const intact = list.check(CHECK_ITEM_ALL);
  say("check_seconds", seconds() - start);
  say("intact", static_cast<int>(intact));
  say("changed_entries", entries);
  say("text", text);
  for (const auto& [kind, count] : records)
    say(("records_" + std::to_string(kind)).c_str(), count);
}

void checkNamed(FileList& list, const char* file) {
  std::vector<std::string> paths;
  std::ifstream names(file);
  for (std::string path; std::getline(names, path);)
    paths.push_back(path);
  std::vector<SELFCHECK_RESULT> results;
  double const start = seconds();
  bool const done = list.checkFiles(paths, results);
  say("named_seconds", seconds() - start);
  say("named_done", static_cast<int>(done));
  std::map<uint32_t, long> words;
  for (const SELFCHECK_RESULT& result : results) {
    uint32_t word = 0;
    memcpy(&word, &result, sizeof word);
    ++words[word];
  }
  for (const auto& [word, count] : words)
    say(("word_" + std::to_string(word)).c_str(), count);
}

}  // namespace

// Counts the library's log lines instead of logging them.
extern "C" void syslog(int /*priority*/, const char* /*format*/, ...) {
  ++logLines;
}

int main(int argc, char** argv) {
  std::vector<std::string> const words(argv + 1, argv + argc);
  auto const has = [&words](const char* word) {
    return std::find(words.begin(), words.end(), word) != words.end();
  };
  long const before = peakKib();
  FileList list("wam", "full");
  double const start = seconds();
  bool const loaded = list.loadList(has("verify"));
  (void)printf("{\"loaded\": %d", loaded ? 1 : 0);
  say("load_seconds", seconds() - start);
  say("entries", list.getProtectedFiles()->size());
  say("load_kib", peakKib() - before);
  if (has("check"))
    check(list);
  if (has("named"))
    checkNamed(list, argv[argc - 1]);
  say("log_lines", logLines);
  say("kib", peakKib() - before);
  (void)puts("}");
  return 0;
}
