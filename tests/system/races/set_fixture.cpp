#include "set_fixture.h"

#include <fcntl.h>
#include <unistd.h>
#include <zemo/selfcheck/file_list.h>
#include <zemo/selfcheck/self_check_files.h>

#include "support/doubles/scripted_exec.h"
#include "support/files.h"
#include "support/path_list.h"
#include "support/result_mask.h"

namespace {

std::string signatureOf(const std::string& content) {
  return "signed:\n" + content;
}

// False for files that GnuPG would wait for or read forever.
bool readRegularFile(const std::string& path, std::string& content) {
  int const file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  struct stat st = {};
  bool const isRegular = file >= 0 && fstat(file, &st) == 0 && S_ISREG(st.st_mode);
  char buffer[4096];
  ssize_t count = 0;
  while (isRegular && (count = read(file, buffer, sizeof buffer)) > 0)
    content.append(buffer, static_cast<std::size_t>(count));
  if (file >= 0)
    (void)close(file);
  return isRegular && count == 0;
}

int verify(const ExecCall& call) {
  std::string signature;
  std::string content;
  bool const read =
      readRegularFile(call.words.at(3), signature) && readRegularFile(call.words.at(4), content);
  return read && signature == signatureOf(content) ? 0 : 1;
}

}  // namespace

void SetRacesTest::SetUp() {
  RacesTest::SetUp();
  execResult = verify;
}

void SetRacesTest::TearDown() {
  if (!IsSkipped())
    clearLists();
  RacesTest::TearDown();
}

// The directory itself may have been replaced.
void SetRacesTest::clearLists() {
  unmount(listDir);
  struct stat st = {};
  if (lstat(listDir, &st) == 0 && S_ISDIR(st.st_mode)) {
    changeMode(listDir, 0755);
    clear(listDir);
  } else {
    remove(std::string(listDir));
    makeDirectory(listDir);
  }
  for (const char* const suffix : {".copy", ".fifo"})
    remove(std::string(listDir) + suffix);
}

void SetRacesTest::writeSigned(const std::string& name, const std::string& lines) {
  std::string const list = writeList("wam.full." + name + ".list", lines);
  writeFile(list + ".asc", signatureOf(readFile(list)));
}

int SetRacesTest::checkNamed(const std::string& path) {
  PathList const paths({path});
  SELFCHECK_RESULT result = {};
  if (SelfCheckFiles(paths.get(), &result) != 0)
    return failed;
  return maskOf(result) == 0 ? intact : changed;
}

std::string SetRacesTest::linesOf(const ZEMO::SELF_CHECK::FileList& list) {
  std::string lines;
  for (const auto& [path, entry] : *list.getProtectedFiles())
    lines += entryLine(path, entry->_size, entry->_hash, entry->_type, entry->_permission,
                       entry->_owner, entry->_group) +
             "\n";
  return lines;
}
