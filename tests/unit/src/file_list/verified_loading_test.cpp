#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/core.h>
#include <zemo/selfcheck/file_list.h>

#include "loading_fixture.h"
#include "signature_log.h"
#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_exec.h"
#include "support/doubles/scripted_package.h"
#include "support/files.h"
#include "support/signing_key.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char systemPattern[] = "/usr/zemo/selfcheck/wam.full.*.list";

using VerifiedLoadingTest = LoadingTest;

TEST_F(VerifiedLoadingTest, SwitchedOffNeedsNoSignatures) {
  makeList("a", line("/a"));
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_THAT(pathsOf(_list), ElementsAre("/a"));
  EXPECT_THAT(execCalls, IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(VerifiedLoadingTest, SwitchedOffExaminesNoSignature) {
  makeSigned("a", line("/a"));
  failVerification();
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_THAT(execCalls, IsEmpty());
}

TEST_F(VerifiedLoadingTest, LoadsWhatVerifies) {
  std::string const a = makeSigned("a", line("/a"));
  std::string const b = makeSigned("b", line("/b"));
  EXPECT_TRUE(_list.loadList(true));
  EXPECT_THAT(pathsOf(_list), ElementsAre("/a", "/b"));
  EXPECT_THAT(verified(), ElementsAre(a, b));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(VerifiedLoadingTest, VerifiesInLoadOrder) {
  std::string const a = makeSigned("a", line("/a"));
  std::string const b = makeSigned("b", line("/b"));
  std::string const c = makeSigned("c", line("/c"));
  writeOrder("wam.full.c.list\nwam.full.a.list\n");
  EXPECT_TRUE(_list.loadList(true));
  EXPECT_THAT(verified(), ElementsAre(b, c, a));
}

TEST_F(VerifiedLoadingTest, VerifiesEveryListBeforeParsingAny) {
  makeSigned("a", line("/a"));
  makeSigned("b", line("/b"));
  std::vector<size_t> entries;
  execResult = [&](const ExecCall&) {
    entries.push_back(pathsOf(_list).size());
    return 0;
  };
  EXPECT_TRUE(_list.loadList(true));
  EXPECT_THAT(entries, ElementsAre(0, 0));
}

TEST_F(VerifiedLoadingTest, AlsoVerifiesTheListsAfterAMalformedOne) {
  std::string const a = makeMalformed("a");
  writeFile(a + ".asc", "signature");
  std::string const b = makeSigned("b", line("/b"));
  EXPECT_FALSE(_list.loadList(true));
  EXPECT_THAT(verified(), ElementsAre(a, b));
  EXPECT_THAT(recordedLog(), ElementsAre(badHeader(), notParsed(a)));
}

TEST_F(VerifiedLoadingTest, NeedsNoSignatureOfTheOrderFile) {
  makeSigned("a", line("/x", "1"));
  makeSigned("b", line("/x", "2"));
  writeOrder("wam.full.b.list\nwam.full.a.list\n");
  EXPECT_TRUE(_list.loadList(true));
  EXPECT_EQ(hashOf(_list, "/x"), "1");
}

TEST_F(VerifiedLoadingTest, MergesNothingWhenTheLastSignatureIsMissing) {
  makeSigned("a", line("/a"));
  std::string const b = makeList("b", line("/b"));
  EXPECT_FALSE(_list.loadList(true));
  EXPECT_THAT(pathsOf(_list), IsEmpty());
  EXPECT_THAT(recordedLog(),
              ElementsAre(signatureMissing(b), listNotVerified(b), setNotVerified(systemPattern)));
}

TEST_F(VerifiedLoadingTest, MergesNothingWhenOneListDoesNotVerify) {
  std::string const a = makeSigned("a", line("/a"));
  std::string const b = makeSigned("b", line("/b"));
  std::string const c = makeSigned("c", line("/c"));
  execResult = [&b](const ExecCall& call) { return call.words.back() == b ? 2 : 0; };
  EXPECT_FALSE(_list.loadList(true));
  EXPECT_THAT(verified(), ElementsAre(a, b));
  EXPECT_THAT(pathsOf(_list), IsEmpty());
  EXPECT_THAT(recordedLog(),
              ElementsAre(signatureBad(), listNotVerified(b), setNotVerified(systemPattern)));
}

TEST_F(VerifiedLoadingTest, FailureBindsNoPackage) {
  scriptedPackages()["demo"].user = "user";
  std::string const list = makePackageList("demo", "demo.full.a.list", line("/a"));
  FileList package("demo", "full");
  EXPECT_FALSE(package.loadList(true));
  EXPECT_THAT(packageCalls(), IsEmpty());
  EXPECT_THAT(recordedLog(),
              ElementsAre(signatureMissing(list), listNotVerified(list),
                          setNotVerified("/usr/zemo/selfcheck/packages/demo/demo.full.*.list")));
}

TEST_F(VerifiedLoadingTest, FailureLeavesEntriesAndFixedDirectoriesUntouched) {
  makeSigned("a", line("/d", "FIXED") + line("/d/x"));
  ASSERT_TRUE(_list.loadList(true));
  boost::shared_ptr<ProtectedFile> const before = entryOf(_list, "/d");
  failVerification();
  makeSigned("b", line("/b"));
  EXPECT_FALSE(_list.loadList(true));
  EXPECT_THAT(pathsOf(_list), ElementsAre("/d", "/d/x"));
  EXPECT_EQ(entryOf(_list, "/d"), before);
  EXPECT_THAT(before->_fixedEntries, ElementsAre("x"));
}

TEST_F(VerifiedLoadingTest, FailureKeepsTheListFiles) {
  std::string const a = makeSigned("a", line("/a"));
  std::string const b = makeSigned("b", line("/b"));
  failVerification();
  EXPECT_FALSE(_list.loadList(true));
  execCalls.clear();
  execResult = nullptr;
  EXPECT_TRUE(_list.checkSign());
  EXPECT_THAT(verified(), ElementsAre(a, b));
}

class GnuPGLoadingTest : public LoadingTest {
 protected:
  void SetUp() override {
    LoadingTest::SetUp();
    if (IsSkipped())
      return;
    key().trustedBy(listDir);
    execResult = reallyExec;
    for (const char* const name : {"a", "b"}) {
      _paths.push_back(makeList(name, line("/" + std::string(name))));
      key().sign(_paths.back());
    }
  }

  // Creating a key is slow, so all tests share one.
  static const SigningKey& key() {
    static SigningKey const made;
    return made;
  }

  std::vector<std::string> _paths;
};

TEST_F(GnuPGLoadingTest, LoadsSignedLists) {
  EXPECT_TRUE(_list.loadList(true));
  EXPECT_THAT(pathsOf(_list), ElementsAre("/a", "/b"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(GnuPGLoadingTest, LoadsNothingWhenOneListWasAltered) {
  appendToFile(_paths[1], line("/added"));
  EXPECT_FALSE(_list.loadList(true));
  EXPECT_THAT(pathsOf(_list), IsEmpty());
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad(), listNotVerified(_paths[1]),
                                         setNotVerified(systemPattern)));
}

TEST_F(GnuPGLoadingTest, LoadsAlteredListsWithoutVerification) {
  appendToFile(_paths[1], line("/added"));
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_THAT(pathsOf(_list), ElementsAre("/a", "/added", "/b"));
}

TEST_F(GnuPGLoadingTest, LoadsNothingWhenAnUnsignedListWasAdded) {
  std::string const added = makeList("c", line("/c"));
  EXPECT_FALSE(_list.loadList(true));
  EXPECT_THAT(pathsOf(_list), IsEmpty());
  EXPECT_THAT(recordedLog(), ElementsAre(signatureMissing(added), listNotVerified(added),
                                         setNotVerified(systemPattern)));
}

}  // namespace
