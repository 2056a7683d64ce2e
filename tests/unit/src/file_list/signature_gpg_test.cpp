#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <zemo/selfcheck/file_list.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "signature_log.h"
#include "support/files.h"
#include "support/private_root.h"
#include "support/signing_key.h"
#include "support/temporary_directory.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Creating a key is slow, so the first test that needs a key creates it.
const SigningKey& makersKey() {
  static SigningKey const key;
  return key;
}

const SigningKey& strangersKey() {
  static SigningKey const key;
  return key;
}

// While it exists, one file or directory is mounted over another, read-only on request.
class BoundOver {
 public:
  BoundOver(const char* source, const char* target, unsigned long flags = 0) : _target(target) {
    if (mount(source, target, "none", MS_BIND, nullptr) != 0)
      throw std::runtime_error("binding over " + _target + ": " + strerror(errno));
    // A bind mount has the flags of its source until it is remounted.
    if (flags != 0 && mount("none", target, "none", MS_BIND | MS_REMOUNT | flags, nullptr) != 0) {
      int const reason = errno;
      (void)umount2(target, MNT_DETACH);
      throw std::runtime_error("remounting " + _target + ": " + strerror(reason));
    }
  }
  ~BoundOver() { (void)umount2(_target.c_str(), MNT_DETACH); }
  BoundOver(const BoundOver&) = delete;
  BoundOver& operator=(const BoundOver&) = delete;

 private:
  std::string _target;
};

class GnuPGTest : public PrivateRootTest {
 protected:
  void SetUp() override {
    PrivateRootTest::SetUp();
    if (IsSkipped())
      return;
    clearLog();
  }

  // Makes the list "wam.full.NAME.list" and returns its path.
  static std::string makeList(const std::string& name) {
    return writeList("wam.full." + name + ".list", name + "\t-\t-\t-\t-\t-\t-\n");
  }

  // The same, with the maker's signature.
  static std::string makeSigned(const std::string& name) {
    std::string path = makeList(name);
    makersKey().sign(path);
    return path;
  }

  bool verifies(const std::string& list) const { return _list.checkSign(list); }

  FileList _list{"wam", "full"};
};

// The maker's key is in the key ring.
class SignedListTest : public GnuPGTest {
 protected:
  void SetUp() override {
    GnuPGTest::SetUp();
    if (!IsSkipped())
      makersKey().trustedBy(listDir);
  }
};

TEST_F(SignedListTest, Verifies) {
  EXPECT_TRUE(verifies(makeSigned("a")));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(SignedListTest, VerifiesWithAnyKeyOfTheRing) {
  strangersKey().trustedBy(listDir);
  std::string const list = makeList("a");
  strangersKey().sign(list);
  EXPECT_TRUE(verifies(list));
  EXPECT_TRUE(verifies(makeSigned("b")));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(SignedListTest, VerifiesWithBinarySignature) {
  std::string const list = makeSigned("a");
  runShell("gpg --batch --quiet --dearmor <" + quoted(list + ".asc") + " >" +
           quoted(list + ".binary"));
  writeFile(list + ".asc", readFile(list + ".binary"));
  EXPECT_TRUE(verifies(list));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(SignedListTest, VerifiesWithBlanksInItsPath) {
  TemporaryDirectory const directory;
  std::string const list = directory / " two  blanks.list ";
  writeFile(list, "content");
  makersKey().sign(list);
  EXPECT_TRUE(verifies(list));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(SignedListTest, VerifiesWithShellCharactersInItsPath) {
  TemporaryDirectory const directory;
  std::string const list = directory / "$HOME;'\"`id`*&|.list";
  writeFile(list, "content");
  makersKey().sign(list);
  EXPECT_TRUE(verifies(list));
}

TEST_F(SignedListTest, VerifiesWithKeyRingThatCannotBeWritten) {
  std::string const list = makeSigned("a");
  BoundOver const readOnly(listDir, listDir, MS_RDONLY);
  EXPECT_TRUE(verifies(list));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(SignedListTest, LeavesNoDescriptorOpen) {
  std::string const list = makeSigned("a");
  int const before = openDescriptors();
  EXPECT_TRUE(verifies(list));
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(SignedListTest, WithoutSignatureDoesNotVerify) {
  std::string const list = makeList("a");
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureMissing(list)));
}

TEST_F(SignedListTest, AlteredOneDoesNotVerify) {
  std::string const list = makeSigned("a");
  std::string content = readFile(list);
  content.back() = ' ';
  writeFile(list, content);
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

TEST_F(SignedListTest, LengthenedOneDoesNotVerify) {
  std::string const list = makeSigned("a");
  appendToFile(list, "\n");
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

TEST_F(SignedListTest, EmptiedOneDoesNotVerify) {
  std::string const list = makeSigned("a");
  writeFile(list, "");
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

TEST_F(SignedListTest, MissingOneDoesNotVerify) {
  std::string const list = makeSigned("a");
  remove(list);
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

using SignatureFileTest = SignedListTest;

TEST_F(SignatureFileTest, AlteredOneDoesNotVerify) {
  std::string const list = makeSigned("a");
  std::string signature = readFile(list + ".asc");
  char& character = signature.at(signature.size() / 2);
  character = character == 'A' ? 'B' : 'A';
  writeFile(list + ".asc", signature);
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

TEST_F(SignatureFileTest, OneBitMakesTheDifference) {
  std::string const list = makeSigned("a");
  runShell("gpg --batch --quiet --dearmor <" + quoted(list + ".asc") + " >" +
           quoted(list + ".binary"));
  std::string signature = readFile(list + ".binary");
  signature.back() = static_cast<char>(signature.back() ^ 1);
  writeFile(list + ".asc", signature);
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

TEST_F(SignatureFileTest, EmptyOneDoesNotVerify) {
  std::string const list = makeSigned("a");
  writeFile(list + ".asc", "");
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

TEST_F(SignatureFileTest, TruncatedOneDoesNotVerify) {
  std::string const list = makeSigned("a");
  std::string const signature = readFile(list + ".asc");
  writeFile(list + ".asc", signature.substr(0, signature.size() / 2));
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

TEST_F(SignatureFileTest, OtherTextDoesNotVerify) {
  std::string const list = makeSigned("a");
  writeFile(list + ".asc", "no signature\n");
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

TEST_F(SignatureFileTest, DirectoryDoesNotVerify) {
  std::string const list = makeList("a");
  makeDirectory(list + ".asc");
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

TEST_F(SignatureFileTest, OfAnotherListDoesNotVerify) {
  std::string const list = makeSigned("a");
  writeFile(list + ".asc", readFile(makeSigned("b") + ".asc"));
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

TEST_F(SignatureFileTest, OfUnknownKeyDoesNotVerify) {
  std::string const list = makeList("a");
  strangersKey().sign(list);
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

// Otherwise, any text that the maker ever signed would vouch for any list.
TEST_F(SignatureFileTest, ThatContainsTheSignedTextDoesNotVerify) {
  TemporaryDirectory const home;
  std::string const gpg = "gpg --homedir " + quoted(home.path()) +
                          " --batch --quiet --passphrase '' --pinentry-mode loopback ";
  changeMode(home.path(), 0700);
  runShell(gpg + "--quick-generate-key 'Maker <maker@example.org>' ed25519 sign never 2>&1");
  runShell(gpg + "--export | gpg --homedir " + listDir +
           " --batch --quiet --no-permission-warning --import 2>&1");
  writeFile(home / "text", "another text\n");
  std::string const list = makeList("a");
  for (const char* const command : {"--clear-sign", "--sign", "--armor --sign"}) {
    clearLog();
    runShell(gpg + "--yes --output " + quoted(list + ".asc") + " " + command + " " +
             quoted(home / "text"));
    EXPECT_FALSE(verifies(list)) << command;
    EXPECT_THAT(recordedLog(), ElementsAre(signatureBad())) << command;
  }
  runShell("gpgconf --homedir " + quoted(home.path()) + " --kill all");
}

using KeyRingTest = GnuPGTest;

TEST_F(KeyRingTest, WithoutKeysVerifiesNothing) {
  EXPECT_FALSE(verifies(makeSigned("a")));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

TEST_F(KeyRingTest, DamagedOneVerifiesNothing) {
  makersKey().trustedBy(listDir);
  std::string const list = makeSigned("a");
  writeFile(std::string(listDir) + "/pubring.kbx", "no key ring");
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

// Set up as documented. Otherwise, GnuPG tries to write a trust database.
TEST_F(KeyRingTest, ThatTrustsAllItsKeysNeedsNoTrustDatabase) {
  makersKey().trustedBy(listDir);
  std::string const list = makeSigned("a");
  std::string const directory = listDir;
  remove(directory + "/trustdb.gpg");
  writeFile(directory + "/gpg.conf",
            "trust-model always\nno-auto-check-trustdb\nno-auto-key-retrieve\n");
  BoundOver const readOnly(listDir, listDir, MS_RDONLY);
  EXPECT_TRUE(verifies(list));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(KeyRingTest, OfTheSystemVerifiesPackageSets) {
  makersKey().trustedBy(listDir);
  std::string const list =
      writeList(std::string(listDir) + "/packages/demo", "demo.full.a.list", "");
  makersKey().sign(list);
  EXPECT_TRUE(FileList("demo", "full").checkSign(list));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(KeyRingTest, OfPackageDirectoryHasNoEffect) {
  std::string const directory = std::string(listDir) + "/packages/demo";
  std::string const list = writeList(directory, "demo.full.a.list", "");
  makersKey().sign(list);
  makersKey().trustedBy(directory);
  EXPECT_FALSE(FileList("demo", "full").checkSign(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

using GnuPGProgramTest = SignedListTest;

TEST_F(GnuPGProgramTest, AbsentOneVerifiesNothing) {
  std::string const list = makeSigned("a");
  {
    BoundOver const hidden("/dev/null", "/usr/bin/gpg");
    EXPECT_FALSE(verifies(list));
  }
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
  EXPECT_TRUE(verifies(list));
}

TEST_F(GnuPGProgramTest, OneThatFailsVerifiesNothing) {
  std::string const list = makeSigned("a");
  BoundOver const failing("/bin/false", "/usr/bin/gpg");
  EXPECT_FALSE(verifies(list));
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad()));
}

class SignedSetTest : public SignedListTest {
 protected:
  // Makes three signed lists and loads them, so that the set knows them.
  void makeSet() {
    for (const char* const name : {"a", "b", "c"})
      _paths.push_back(makeSigned(name));
    ASSERT_TRUE(_list.loadList(false));
    clearLog();
  }

  std::vector<std::string> _paths;
};

TEST_F(SignedSetTest, Verifies) {
  makeSet();
  EXPECT_TRUE(_list.checkSign());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(SignedSetTest, WithOneAlteredListDoesNotVerify) {
  makeSet();
  appendToFile(_paths[1], "\n");
  EXPECT_FALSE(_list.checkSign());
  EXPECT_THAT(recordedLog(), ElementsAre(signatureBad(), listNotVerified(_paths[1])));
}

TEST_F(SignedSetTest, WithOneSignatureMissingDoesNotVerify) {
  makeSet();
  remove(_paths[2] + ".asc");
  EXPECT_FALSE(_list.checkSign());
  EXPECT_THAT(recordedLog(), ElementsAre(signatureMissing(_paths[2]), listNotVerified(_paths[2])));
}

}  // namespace
