#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include "signature_log.h"
#include "support/doubles/scripted_exec.h"
#include "support/files.h"
#include "support/private_root.h"
#include "support/temporary_directory.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class SignatureTest : public ::testing::Test {
 protected:
  void SetUp() override {
    execCalls.clear();
    execResult = nullptr;
    clearLog();
  }

  // Makes the list `name` with a signature and returns its path.
  std::string makeSigned(const std::string& name) const {
    std::string path = makeUnsigned(name);
    writeFile(path + ".asc", "signature");
    return path;
  }

  std::string makeUnsigned(const std::string& name) const {
    std::string path = _directory / name;
    writeFile(path, "list");
    return path;
  }

  TemporaryDirectory _directory;
  const FileList _list{"wam", "full"};
};

TEST_F(SignatureTest, IsVerifiedByGnuPGWithTheSystemsKeyRing) {
  std::string const list = makeSigned("a.list");
  EXPECT_TRUE(_list.checkSign(list));
  ASSERT_THAT(execCalls, SizeIs(1));
  EXPECT_EQ(execCalls[0].program, "/usr/bin/gpg");
  EXPECT_EQ(execCalls[0].options, 187);
  EXPECT_THAT(execCalls[0].words,
              ElementsAre("--homedir", "/usr/zemo/selfcheck", "--verify", list + ".asc", list));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(SignatureTest, OfPackageSetIsVerifiedWithTheSystemsKeyRing) {
  std::string const list = makeSigned("a.list");
  EXPECT_TRUE(FileList("demo", "full").checkSign(list));
  ASSERT_THAT(execCalls, SizeIs(1));
  EXPECT_THAT(execCalls[0].words,
              ElementsAre("--homedir", "/usr/zemo/selfcheck", "--verify", list + ".asc", list));
}

TEST_F(SignatureTest, MissingOneIsLoggedWithListPath) {
  std::string const list = makeUnsigned("a.list");
  EXPECT_FALSE(_list.checkSign(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureMissing(list)));
}

TEST_F(SignatureTest, MissingOneKeepsGnuPGFromRunning) {
  EXPECT_FALSE(_list.checkSign(makeUnsigned("a.list")));
  EXPECT_THAT(execCalls, IsEmpty());
}

TEST_F(SignatureTest, UnderAnotherNameIsMissing) {
  std::string const list = makeUnsigned("a.list");
  writeFile(list + ".sig", "signature");
  writeFile(list + ".ASC", "signature");
  writeFile(_directory / "a.asc", "signature");
  EXPECT_FALSE(_list.checkSign(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureMissing(list)));
}

TEST_F(SignatureTest, DanglingLinkIsMissing) {
  std::string const list = makeUnsigned("a.list");
  makeLink("nowhere", list + ".asc");
  EXPECT_FALSE(_list.checkSign(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureMissing(list)));
  EXPECT_THAT(execCalls, IsEmpty());
}

TEST_F(SignatureTest, OfMissingListIsLeftToGnuPG) {
  std::string const list = _directory / "missing.list";
  writeFile(list + ".asc", "signature");
  execResult = [](const ExecCall&) { return 2; };
  EXPECT_FALSE(_list.checkSign(list));
  EXPECT_THAT(execCalls, SizeIs(1));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

TEST_F(SignatureTest, AnyResultButZeroIsFailure) {
  std::string const list = makeSigned("a.list");
  for (int const result : {1, 2, 256, -1, INT32_MIN}) {
    clearLog();
    execResult = [result](const ExecCall&) { return result; };
    EXPECT_FALSE(_list.checkSign(list)) << result;
    EXPECT_THAT(recordedLog(), ElementsAre(signatureBad())) << result;
  }
}

TEST_F(SignatureTest, FailureIsNotTriedAgain) {
  execResult = [](const ExecCall&) { return 1; };
  EXPECT_FALSE(_list.checkSign(makeSigned("a.list")));
  EXPECT_THAT(execCalls, SizeIs(1));
}

TEST_F(SignatureTest, OutcomeIsNotRemembered) {
  std::string const list = makeSigned("a.list");
  execResult = [](const ExecCall&) { return 1; };
  EXPECT_FALSE(_list.checkSign(list));
  execResult = nullptr;
  EXPECT_TRUE(_list.checkSign(list));
  EXPECT_THAT(execCalls, SizeIs(2));
}

TEST_F(SignatureTest, ListPathWithBlanksIsOneWord) {
  std::string const list = makeSigned("two  blanks .list");
  EXPECT_TRUE(_list.checkSign(list));
  ASSERT_THAT(execCalls, SizeIs(1));
  ASSERT_THAT(execCalls[0].words, SizeIs(5));
  EXPECT_EQ(execCalls[0].words[3], list + ".asc");
  EXPECT_EQ(execCalls[0].words[4], list);
}

TEST_F(SignatureTest, CharactersOfTheShellStayAsTheyAre) {
  std::string const list = makeSigned("$HOME;'\"`id`\\*\n&|.list");
  EXPECT_TRUE(_list.checkSign(list));
  ASSERT_THAT(execCalls, SizeIs(1));
  ASSERT_THAT(execCalls[0].words, SizeIs(5));
  EXPECT_EQ(execCalls[0].words[3], list + ".asc");
  EXPECT_EQ(execCalls[0].words[4], list);
}

TEST_F(SignatureTest, PercentSignsOfThePathAreNotFormatted) {
  std::string const list = makeUnsigned("%s%n%d.list");
  EXPECT_FALSE(_list.checkSign(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureMissing(list)));
}

class SetSignatureTest : public PrivateRootTest {
 protected:
  void SetUp() override {
    PrivateRootTest::SetUp();
    if (IsSkipped())
      return;
    execCalls.clear();
    execResult = nullptr;
    for (const char* const name : {"a", "b", "c"})
      _paths.push_back(writeList("wam.full." + std::string(name) + ".list", ""));
  }

  void sign(size_t index) const { writeFile(_paths[index] + ".asc", "signature"); }

  void signAll() const {
    for (size_t index = 0; index < _paths.size(); ++index)
      sign(index);
  }

  // The set's lists are known only after loading; signatures play no part in that here.
  void load() {
    ASSERT_TRUE(_list.loadList(false));
    clearLog();
  }

  // Makes the verification of one list fail.
  void failFor(size_t index) const {
    execResult = [failing = _paths[index]](const ExecCall& call) {
      return call.words.back() == failing ? 1 : 0;
    };
  }

  // The paths of the lists for which GnuPG was run.
  static std::vector<std::string> verified() {
    std::vector<std::string> paths;
    for (const ExecCall& call : execCalls)
      paths.push_back(call.words.back());
    return paths;
  }

  std::vector<std::string> _paths;
  FileList _list{"wam", "full"};
};

TEST_F(SetSignatureTest, EveryListIsVerified) {
  signAll();
  load();
  EXPECT_TRUE(_list.checkSign());
  EXPECT_EQ(verified(), _paths);
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(SetSignatureTest, ListsAreVerifiedInLoadOrder) {
  writeFile(std::string(listDir) + "/listorder", "wam.full.c.list\nwam.full.a.list\n");
  signAll();
  load();
  EXPECT_TRUE(_list.checkSign());
  EXPECT_THAT(verified(), ElementsAre(_paths[1], _paths[2], _paths[0]));
}

TEST_F(SetSignatureTest, FirstFailureEndsTheVerification) {
  signAll();
  load();
  failFor(1);
  EXPECT_FALSE(_list.checkSign());
  EXPECT_THAT(verified(), ElementsAre(_paths[0], _paths[1]));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad(), listNotVerified(_paths[1])));
}

TEST_F(SetSignatureTest, FailureOfTheFirstListKeepsTheOthersFromBeingVerified) {
  signAll();
  load();
  failFor(0);
  EXPECT_FALSE(_list.checkSign());
  EXPECT_THAT(verified(), ElementsAre(_paths[0]));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad(), listNotVerified(_paths[0])));
}

TEST_F(SetSignatureTest, FailureOfTheLastListIsFailure) {
  signAll();
  load();
  failFor(2);
  EXPECT_FALSE(_list.checkSign());
  EXPECT_EQ(verified(), _paths);
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad(), listNotVerified(_paths[2])));
}

TEST_F(SetSignatureTest, ListWithoutSignatureEndsTheVerification) {
  sign(0);
  sign(2);
  load();
  EXPECT_FALSE(_list.checkSign());
  EXPECT_THAT(verified(), ElementsAre(_paths[0]));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureMissing(_paths[1]), listNotVerified(_paths[1])));
}

TEST_F(SetSignatureTest, OutcomeIsNotRemembered) {
  signAll();
  load();
  failFor(2);
  EXPECT_FALSE(_list.checkSign());
  execResult = nullptr;
  execCalls.clear();
  EXPECT_TRUE(_list.checkSign());
  EXPECT_EQ(verified(), _paths);
}

TEST_F(SetSignatureTest, WithoutListFilesNothingIsRun) {
  signAll();
  clearLog();
  EXPECT_TRUE(_list.checkSign());
  EXPECT_THAT(execCalls, IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(SetSignatureTest, EntriesOfAnotherListBringNoListFilesAlong) {
  load();
  const FileList derived("wam", "full", _list);
  EXPECT_TRUE(derived.checkSign());
  EXPECT_THAT(execCalls, IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

}  // namespace
