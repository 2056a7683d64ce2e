#include "shared_set.h"

#include "support/doubles/recorded_log.h"
#include "support/files.h"
#include "support/signing_key.h"

std::unique_ptr<TemporaryDirectory> SharedSetTest::_directory;

namespace {

// Entries of one directory under many names (/usr, //usr and so on), so that a load takes some
// memory.
std::string manyEntries() {
  std::string lines;
  for (size_t slashes = 1; slashes <= 1000; ++slashes)
    lines += entryLine(std::string(slashes, '/') + "usr", "-", "-", "d", "-", "-", "-") + "\n";
  return lines;
}

}  // namespace

void SharedSetTest::SetUpTestSuite() {
  if (!inPrivateRoot())
    return;
  _directory = std::make_unique<TemporaryDirectory>();
  changeMode(_directory->path(), 0755);
  makeDirectory(pathOf("fixed"));
  for (const char* const name : {"intact", "changed", "unlisted", "fixed/member", "fixed/stray"})
    writeFile(pathOf(name), "content");
  writeFile(pathOf("changed"), std::string(12345, 'x'));  // a number with digits to group

  // The order of lists matters, and their names need not be valid text in any locale.
  std::string const lists[] = {
      writeList("wam.full.a.list",
                entryLine(pathOf("changed"), "0", "-", "-", "-", "-", "-") + "\n"),
      writeList("wam.full.b.list",
                entryLine(pathOf("changed")) + "\n" + entryLine(pathOf("intact")) + "\n" +
                    entryLine(pathOf("fixed/member")) + "\n" +
                    entryLine(pathOf("fixed"), "-", "FIXED", "d", "-", "-", "-") + "\n"),
      writeList("wam.full.\xff.list", manyEntries())};
  writeFile(std::string(listDir) + "/listorder", "wam.full.b.list\nwam.full.a.list\n");

  SigningKey const key;
  changeMode(listDir, 0700);
  writeFile(std::string(listDir) + "/gpg.conf",
            "trust-model always\nweak-digest SHA1\nno-auto-key-retrieve\nno-auto-check-trustdb\n");
  key.trustedBy(listDir);
  for (const std::string& list : lists)
    key.sign(list);
  runShell(std::string("chmod -R a+rX ") + listDir);
  clearLog();
}

void SharedSetTest::TearDownTestSuite() {
  _directory.reset();
}

void SharedSetTest::SetUp() {
  if (!inPrivateRoot())
    GTEST_SKIP() << "needs a private root";
}

std::string SharedSetTest::pathOf(const std::string& name) {
  return *_directory / name;
}

std::vector<std::string> SharedSetTest::paths() {
  return {pathOf("changed"), pathOf("unlisted"), pathOf("intact"), pathOf("fixed/stray")};
}

std::vector<uint32_t> SharedSetTest::masks() {
  return {0x001, 0x080, 0, 0x180};
}
