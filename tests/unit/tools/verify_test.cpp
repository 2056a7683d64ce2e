// zemo-selfcheck verify: every kind of signature, place and label, with real GnuPG.

#include "json_lines.h"
#include "support/gnupg_home.h"
#include "support/signing_key.h"
#include "support/tool_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

const std::string hostile = "Host\x1b[2J\nile <hostile@example.org>";

// Made once for all tests.
const GnupgHome& keys() {
  static GnupgHome* const home = [] {
    static GnupgHome made;
    made.make("Maker <maker@example.org>");
    made.make("Second <second@example.org>", "rsa1024");
    made.make("Expired", "ed25519", "1y", "--faked-system-time '20200101T000000!'");
    made.make("Revoked");
    made.make("Subbed", "ed25519", "never");
    made.addSubkey("Subbed");
    made.make("Old", "ed25519", "never", "--faked-system-time '20200101T000000!'");
    made.make(hostile);
    made.make("Stranger");
    made.make("Future", "ed25519", "never", "--faked-system-time '20600101T000000!'");
    return &made;
  }();
  return *home;
}

class VerifyCommandTest : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    if (IsSkipped())
      return;
    static const std::string ring = makeRing();
    runShell("cp " + quoted(ring) + " " + ringPath);
    configure("weak-digest SHA1\n");
  }

  // A list of the set wam with one entry, labelled with its own name.
  static std::string list(const std::string& name) {
    return labelled(name, "set=wam mode=full list=" + name + " serial=7 date=2026-09-21T12:00:00Z");
  }
  static std::string labelled(const std::string& name, const std::string& label) {
    std::string path = std::string(listDir) + "/wam.full." + name + ".list";
    writeFile(path, "WAM_SELF_CHECK\n" + label + "\n/etc/passwd\t-\t-\tf\t-\t-\t-\n");
    return path;
  }
  static std::string signedList(const std::string& name, const std::string& options) {
    std::string path = list(name);
    keys().sign(path, options);
    return path;
  }
  static void configure(const std::string& lines) {
    writeFile(std::string(listDir) + "/gpg.conf",
              "trust-model always\nno-auto-key-retrieve\nno-auto-check-trustdb\n" + lines);
  }
  static std::string key(const std::string& id, std::size_t index = 0) {
    return keys().fingerprint(id, index);
  }

  // Runs verify --strict with --key for each fingerprint.
  static ProgramRun strictly(const std::vector<std::string>& fingerprints) {
    std::vector<std::string> words = {"verify", "--strict"};
    for (const std::string& fingerprint : fingerprints)
      words.insert(words.end(), {"--key", fingerprint});
    return tool(words);
  }

  static const std::string ringPath;

 private:
  // All keys except the stranger's. The revocation does not reach the signers' home.
  static std::string makeRing() {
    static TemporaryDirectory const directory;
    GnupgHome ring;
    std::string const file = keys().exported(
        {"Maker", "Second", "Expired", "Subbed", "=Old", "hostile", "Revoked", "Future"},
        ring.path() + "/x");
    runShell("gpg --homedir " + quoted(ring.path()) +
             " --batch --quiet --ignore-time-conflict --import " + quoted(file) + " 2>/dev/null");
    std::string const revocation =
        keys().path() + "/openpgp-revocs.d/" + keys().fingerprint("Revoked") + ".rev";
    runShell("sed 's/^:---/---/' " + quoted(revocation) + " | gpg --homedir " +
             quoted(ring.path()) + " --batch --quiet --import");
    writeFile(directory / "pubring.kbx", readFile(ring.path() + "/pubring.kbx"));
    return directory / "pubring.kbx";
  }
};

const std::string VerifyCommandTest::ringPath = std::string(listDir) + "/pubring.kbx";

}  // namespace

TEST_F(VerifyCommandTest, SetsThatCannotBeFoundAreNotReportedAsAbsent) {
  signedList("base", "-u Maker");
  makeLink("/nowhere", std::string(listDir) + "/packages");
  ProgramRun const all = tool({"verify", "--all"});
  EXPECT_EQ(all.status, notLoaded);
  EXPECT_THAT(all.output, HasSubstr("set wam, mode full: 1 list\n"));
  EXPECT_THAT(all.output, HasSubstr("; the sets of packages are unknown: cannot read "
                                    "'/usr/zemo/selfcheck/packages': No such file or directory\n"));
  ProgramRun const one = tool({"verify", "p"});
  EXPECT_EQ(one.status, notLoaded);
  EXPECT_THAT(one.output, HasSubstr("set p, mode full: no lists\n"));
  remove(std::string(listDir) + "/packages");
  makeDirectory(std::string(listDir) + "/packages");
  makeLink("/nowhere", std::string(listDir) + "/packages/p");
  EXPECT_THAT(tool({"verify", "p"}).output,
              HasSubstr("set p, mode full: cannot read '/usr/zemo/selfcheck/packages/p': No such "
                        "file or directory\n"));
}

TEST_F(VerifyCommandTest, ASetWithoutListsIsNotVerified) {
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(run.output,
            "set wam, mode full: no lists\n"
            "0 lists: 0 good, 0 unusable, 0 rejected; 1 set without lists\n");
  EXPECT_EQ(run.errors, "");
}

TEST_F(VerifyCommandTest, AGoodListIsReported) {
  std::string const path = list("base");
  keys().sign(path, "-u =Old --digest-algo SHA384 --faked-system-time '20200102T030405!'");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "set wam, mode full: 1 list\n" + path +
                            ": good\n"
                            "  order      by name (there is no listorder)\n"
                            "  label      this list, serial 7, made 2026-09-21T12:00:00Z\n"
                            "  signature  good, SHA384, made 2020-01-02T03:04:05Z\n"
                            "  key        " +
                            key("=Old") + " 'Old'\n  primary    " + key("=Old") +
                            "\n"
                            "1 list: 1 good, 0 unusable, 0 rejected\n");
  EXPECT_EQ(run.errors, "");
}

TEST_F(VerifyCommandTest, WithoutASignatureFile) {
  std::string const path = list("base");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.output, HasSubstr(path + ": does not verify\n"));
  EXPECT_THAT(run.output,
              HasSubstr("  signature  signature file '" + path + ".asc' does not exist"));
}

TEST_F(VerifyCommandTest, WithoutAKeyRingNothingIsMade) {
  signedList("base", "-u Maker");
  remove(ringPath);
  std::vector<std::string> const before = namesIn(listDir);
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.output, HasSubstr("there is no key ring in '/usr/zemo/selfcheck'"));
  EXPECT_EQ(namesIn(listDir), before);
}

TEST_F(VerifyCommandTest, AChangedListIsBad) {
  appendToFile(signedList("base", "-u Maker"), "/etc/group\t-\t-\tf\t-\t-\t-\n");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.output, HasSubstr("signature  bad: the list is not the one that was signed"));
  EXPECT_THAT(run.output, HasSubstr("'Maker <maker@example.org>'"));
  EXPECT_THAT(run.output, HasSubstr("1 list: 0 good, 1 unusable, 0 rejected"));
}

TEST_F(VerifyCommandTest, TheSignatureOfAnotherListIsBad) {
  std::string const other = signedList("other", "-u Maker");
  writeFile(list("base") + ".asc", readFile(other + ".asc"));
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.output, HasSubstr("base.list: does not verify"));
  EXPECT_THAT(run.output, HasSubstr("other.list: good"));
}

TEST_F(VerifyCommandTest, AnUnknownKeyIsNamed) {
  signedList("base", "-u Stranger");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.output, HasSubstr("public key " + key("Stranger") + " is not in the key ring"));
}

TEST_F(VerifyCommandTest, AnExpiredKeyIsGoodUnlessStrict) {
  signedList("base", "-u Expired --faked-system-time '20200102T000000!'");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr("base.list: good"));
  EXPECT_THAT(run.output, HasSubstr("'Expired', expired 2020-12-31T00:00:00Z"));
  ProgramRun const strict = strictly({key("Expired")});
  EXPECT_EQ(strict.status, unchecked);
  EXPECT_THAT(strict.output, HasSubstr("base.list: rejected"));
  EXPECT_THAT(strict.output, HasSubstr("reason     key " + key("Expired") + " has expired\n"));
}

TEST_F(VerifyCommandTest, ARevokedKeyIsGoodUnlessStrict) {
  signedList("base", "-u Revoked");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr("'Revoked', revoked"));
  ProgramRun const strict = strictly({key("Revoked")});
  EXPECT_EQ(strict.status, unchecked);
  EXPECT_THAT(strict.output, HasSubstr("reason     key " + key("Revoked") + " is revoked\n"));
}

TEST_F(VerifyCommandTest, ADigestThatTheHomeRefuses) {
  signedList("base", "-u Maker --digest-algo SHA1");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.output, HasSubstr("signature  refused: SHA1 is a weak digest, SHA1, made "));
}

TEST_F(VerifyCommandTest, AWeakDigestIsGoodUnlessStrict) {
  configure("");
  for (const std::string digest : {"SHA1", "RIPEMD160"}) {
    signedList("base", "-u Maker --digest-algo " + digest);
    EXPECT_EQ(tool({"verify"}).status, 0) << digest;
    ProgramRun const strict = strictly({key("Maker")});
    EXPECT_EQ(strict.status, unchecked) << digest;
    EXPECT_THAT(strict.output, HasSubstr("reason     " + digest + " is a weak digest\n"));
  }
}

TEST_F(VerifyCommandTest, AnExpiredSignatureDoesNotVerify) {
  signedList("base",
             "-u =Old --digest-algo SHA256 --default-sig-expire 1d --faked-system-time "
             "'20200102T000000!'");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.output, HasSubstr("signature  expired 2020-01-03T00:00:00Z, SHA256, made "
                                    "2020-01-02T00:00:00Z"))
      << run.output;
}

TEST_F(VerifyCommandTest, ASignatureThatWillExpire) {
  signedList("base", "-u Maker --default-sig-expire 20y");
  EXPECT_THAT(tool({"verify"}).output, HasSubstr("Z, expires 20"));
}

TEST_F(VerifyCommandTest, ASubkeyHasItsPrimary) {
  signedList("base", "-u Subbed");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr("key        " + key("Subbed", 1) + " 'Subbed'\n"));
  EXPECT_THAT(run.output, HasSubstr("primary    " + key("Subbed") + "\n"));
  EXPECT_EQ(strictly({key("Subbed")}).status, 0);
  EXPECT_EQ(strictly({key("Subbed", 1)}).status, 0);
  EXPECT_EQ(strictly({key("Maker")}).status, unchecked);
}

TEST_F(VerifyCommandTest, EverySignatureInAFileCounts) {
  signedList("base", "-u Maker -u Second");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr(key("Maker") + " 'Maker"));
  EXPECT_THAT(run.output, HasSubstr(key("Second") + " 'Second"));
  EXPECT_EQ(strictly({key("Maker")}).status, unchecked);
  EXPECT_EQ(strictly({key("Maker"), key("Second")}).status, 0);

  signedList("base", "-u Maker -u Stranger");
  ProgramRun const half = tool({"verify"});
  EXPECT_EQ(half.status, notLoaded);
  EXPECT_THAT(half.output, HasSubstr("signature  good"));
  EXPECT_THAT(half.output, HasSubstr("public key " + key("Stranger") + " is not in the key ring"));
}

TEST_F(VerifyCommandTest, SignatureFilesWithoutSignature) {
  std::string const path = signedList("base", "-u Maker");
  std::string const signature = readFile(path + ".asc");
  for (const std::string& content :
       {std::string(), std::string("nonsense\n"), signature.substr(0, signature.size() / 2)}) {
    writeFile(path + ".asc", content);
    ProgramRun const run = tool({"verify"});
    EXPECT_EQ(run.status, notLoaded);
    EXPECT_THAT(run.output, HasSubstr("signature  the signature file holds no complete signature"))
        << run.output;
  }
}

TEST_F(VerifyCommandTest, ASignatureThatHoldsItsOwnTextDoesNotVerify) {
  std::string const path = list("base");
  for (const std::string options :
       {"--clearsign", "--sign", "--sign --armor", "--sign -z 0", "--sign --armor -z 0"}) {
    runShell("gpg --homedir " + quoted(keys().path()) +
             " --batch --yes --quiet -u Maker --output " + quoted(path + ".asc") + " " + options +
             " " + quoted(path));
    ProgramRun const run = tool({"verify"});
    EXPECT_EQ(run.status, notLoaded) << options;
    EXPECT_THAT(run.output, HasSubstr("base.list: does not verify\n")) << options;
    EXPECT_THAT(run.output,
                HasSubstr("  the signature file holds signed text, not a detached signature\n"))
        << options;
  }
}

// With a carriage return after it, the library takes the group column "-" for the number 0.
TEST_F(VerifyCommandTest, ASignatureOfTextDoesNotCoverCarriageReturns) {
  std::string const path = signedList("base", "-u Maker --textmode");
  std::string const content = readFile(path);
  writeFile(path, content.substr(0, content.size() - 1) + "\r\n");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output,
              HasSubstr(", over text: carriage returns at line ends are not covered\n"));
  ProgramRun const strict = strictly({key("Maker")});
  EXPECT_EQ(strict.status, unchecked);
  EXPECT_THAT(strict.output,
              HasSubstr("reason     the signature covers text, not the exact bytes of the list\n"));
  writeFile(path, content.substr(0, content.size() - 1) + " \n");  // blanks are covered
  EXPECT_EQ(tool({"verify"}).status, notLoaded);
}

TEST_F(VerifyCommandTest, AClockThatIsBehind) {
  signedList("base", "-u Future --faked-system-time '20600102T000000!'");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.output,
              HasSubstr("this machine's clock is slow (the signature is dated in the future)"));
  configure("ignore-time-conflict\n");
  EXPECT_EQ(tool({"verify"}).status, 0);
}

TEST_F(VerifyCommandTest, StrictObjectsToSignaturesFromTheFuture) {
  signedList("base", "-u Maker --faked-system-time '20600102T000000!'");
  EXPECT_EQ(tool({"verify"}).status, 0);
  ProgramRun const strict = strictly({key("Maker")});
  EXPECT_EQ(strict.status, unchecked);
  EXPECT_THAT(strict.output, HasSubstr("reason     the signature is dated in the future: 2060-01-"
                                       "02T00:00:00Z\n"));
}

// With the first two, GnuPG's exit status is 0 for any list and signature.
TEST_F(VerifyCommandTest, OptionsThatMayDecideWhatVerifies) {
  signedList("base", "-u Stranger");
  for (const std::string line :
       {"skip-verify", "list-only", "auto-key-import", "keyring /tmp/other",
        "primary-keyring /tmp/other", "no-default-keyring", "log-file /usr/zemo/selfcheck/log"}) {
    configure("# ours\n  " + line + "\n");
    ProgramRun const run = tool({"verify"});
    EXPECT_EQ(run.status, notLoaded) << line;
    EXPECT_THAT(run.output, HasSubstr("base.list: does not verify\n")) << line;
    EXPECT_THAT(run.output,
                HasSubstr("  signature  GnuPG was not run: line 5 of '/usr/zemo/selfcheck/"
                          "gpg.conf', '" +
                          line + "', is not known to be harmless; remove that line\n"));
  }
  EXPECT_FALSE(std::filesystem::exists(std::string(listDir) + "/log"));  // GnuPG was not run
}

TEST_F(VerifyCommandTest, EveryOptionFileCounts) {
  signedList("base", "-u Maker");
  for (const std::string name : {"gpg.conf-2", "gpg.conf-2.2.40", "common.conf"}) {
    std::string const file = std::string(listDir) + "/" + name;
    writeFile(file, "use-keyboxd\n");
    ProgramRun const run = tool({"verify"});
    EXPECT_EQ(run.status, notLoaded) << name;
    EXPECT_THAT(run.output, HasSubstr("GnuPG was not run: line 1 of '" + file +
                                      "', 'use-keyboxd', makes GnuPG ask a daemon for keys instead "
                                      "of reading the key ring; remove that line\n"));
    remove(file);
  }
  for (const std::string name : {"gpg.conf", "common.conf"}) {
    ProgramRun const run = toolAfter(systemWide(name, "allow-weak-digest-algos\\n"), {"verify"});
    EXPECT_EQ(run.status, notLoaded) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("GnuPG was not run: line 1 of '/etc/gnupg/" + name +
                                      "', 'allow-weak-digest-algos', is not known to be harmless"));
    EXPECT_EQ(toolAfter(systemWide(name, "no-autostart\\n"), {"verify"}).status, 0);
  }
}

// A stand-in for GnuPG ends with 0, and the library requires no more.
TEST_F(VerifyCommandTest, AnExitStatusAloneIsNoVerdict) {
  std::string const path = signedList("base", "-u Maker");
  std::string const valid =
      "VALIDSIG " + key("Maker") + " 2020-01-01 1577836800 0 4 0 22 8 00 " + key("Maker");
  auto const saying = [&](const std::string& words) {
    writeFile(files / "gpg", "#!/bin/sh\n{ " + words + "; } >&3\n", 0755);
    return toolAfter("mount --bind " + quoted(files / "gpg") + " /usr/bin/gpg", {"verify"});
  };
  std::string const newSignature = "echo '[GNUPG:] NEWSIG'; ";
  std::string const good = "echo '[GNUPG:] GOODSIG 8489 Maker'; ";
  EXPECT_EQ(saying(newSignature + good + "echo '[GNUPG:] " + valid + "'").status, 0);
  for (const std::string& words :
       {std::string(":"), newSignature + "echo '[GNUPG:] " + valid + "'", newSignature + good + ":",
        newSignature + good + "echo '[GNUPG:] " + valid + "'; " + newSignature + ":"}) {
    ProgramRun const run = saying(words);
    EXPECT_EQ(run.status, notLoaded) << words;
    EXPECT_THAT(run.output, HasSubstr(path + ": does not verify\n")) << words;
    EXPECT_THAT(run.output, HasSubstr("GnuPG does not say that a signature is good, but its exit "
                                      "status is 0, so the library accepts the list\n"))
        << words;
  }
}

TEST_F(VerifyCommandTest, UserIdsAreEscaped) {
  signedList("base", "-u hostile@example.org");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr(" 'Host\\033[2J\\012ile <hostile@example.org>'\n"));
}

TEST_F(VerifyCommandTest, ListNamesWithBlanksAndControlBytes) {
  labelled("a b\x1b", "set=wam mode=full list=a\\040b\\033 serial=1 date=2026-09-21T12:00:00Z");
  keys().sign(std::string(listDir) + "/wam.full.a b\x1b.list", "-u Maker");
  ProgramRun const run = strictly({key("Maker")});
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_THAT(run.output, HasSubstr("/usr/zemo/selfcheck/wam.full.a b\\033.list: good"));
}

TEST_F(VerifyCommandTest, ListsComeInLoadOrderWithTheirLines) {
  for (const std::string name : {"a", "b", "c"})
    signedList(name, "-u Maker");
  writeFile(std::string(listDir) + "/listorder", "\nwam.full.b.list\nwam.full.a.list\n");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, 0);
  std::vector<std::string> const lines = linesOf(run.output);
  EXPECT_THAT(lines.at(1), HasSubstr("wam.full.c.list: good"));
  EXPECT_EQ(lines.at(2), "  order      not named in listorder, so read before all lists that are");
  EXPECT_THAT(lines.at(7), HasSubstr("wam.full.b.list: good"));
  EXPECT_EQ(lines.at(8), "  order      line 2 of listorder");
  EXPECT_THAT(lines.at(13), HasSubstr("wam.full.a.list: good"));
  EXPECT_EQ(lines.at(14), "  order      line 3 of listorder");
  ProgramRun const strict = strictly({key("Maker")});
  EXPECT_EQ(strict.status, unchecked);
  EXPECT_THAT(strict.output, HasSubstr("reason     listorder does not name this list"));
  EXPECT_THAT(strict.output, HasSubstr("3 lists: 2 good, 0 unusable, 1 rejected"));
}

TEST_F(VerifyCommandTest, ALineThatAlmostNamesAListIsPointedOut) {
  signedList("a", "-u Maker");
  for (const std::string line : {"wam.full.a.list\r", " wam.full.a.list", "./wam.full.a.list"}) {
    writeFile(std::string(listDir) + "/listorder", line + "\n");
    EXPECT_THAT(tool({"verify"}).output, HasSubstr("; line 1 would name it without the blanks"))
        << line;
    EXPECT_EQ(strictly({key("Maker")}).status, unchecked);
  }
}

TEST_F(VerifyCommandTest, ALabelOfAnotherListIsAlwaysObjectedTo) {
  std::string const path =
      labelled("x", "set=wam mode=full list=y serial=1 date=2026-09-21T12:00:00Z");
  keys().sign(path, "-u Maker");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, unchecked);
  EXPECT_THAT(run.output, HasSubstr(path + ": rejected\n"));
  EXPECT_THAT(run.output, HasSubstr("reason     line 2 says that this is another list\n"));
}

TEST_F(VerifyCommandTest, LabelsOfAnotherListOrNone) {
  std::string const other =
      labelled("x", "set=p mode=quick list=y serial=1 date=2026-09-21T12:00:00Z");
  std::string const none = labelled("z", "free text");
  keys().sign(other, "-u Maker");
  keys().sign(none, "-u Maker");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, unchecked);
  EXPECT_THAT(run.output, HasSubstr("label      another list: set 'p', mode 'quick', list 'y', "));
  EXPECT_THAT(run.output, HasSubstr("label      none: "));
  ProgramRun const strict = strictly({key("Maker")});
  EXPECT_EQ(strict.status, unchecked);
  EXPECT_THAT(strict.output, HasSubstr("reason     line 2 says that this is another list\n"));
  EXPECT_THAT(strict.output, HasSubstr("reason     line 2 does not say which list this is\n"));
}

TEST_F(VerifyCommandTest, SetModeAndNameOfALabelAllCount) {
  for (const std::string fields :
       {"set=p mode=full list=base", "set=wam mode=quick list=base", "set=wam mode=full list=x"}) {
    keys().sign(labelled("base", fields + " serial=1 date=2026-09-21T12:00:00Z"), "-u Maker");
    EXPECT_EQ(strictly({key("Maker")}).status, unchecked) << fields;
  }
}

TEST_F(VerifyCommandTest, ASignedFileThatIsNotAListIsUnusable) {
  std::string const path = list("base");
  writeFile(path, "something else\n");
  keys().sign(path, "-u Maker");
  ProgramRun const run = tool({"verify"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_THAT(run.output, HasSubstr("base.list: not a check list\n"));
  EXPECT_THAT(run.output, HasSubstr("its first line is not WAM_SELF_CHECK"));
}

TEST_F(VerifyCommandTest, StrictWantsKeys) {
  signedList("base", "-u Maker");
  ProgramRun const run = tool({"verify", "--strict"});
  EXPECT_EQ(run.status, unchecked);
  EXPECT_THAT(run.output, HasSubstr("key " + key("Maker") + " is not one given by --key"));
  EXPECT_EQ(strictly({key("Maker")}).status, 0);
}

TEST_F(VerifyCommandTest, KeysRestrictWithoutStrict) {
  keys().sign(labelled("base", "free text"), "-u Maker");
  EXPECT_EQ(tool({"verify", "--key", key("Second")}).status, unchecked);
  EXPECT_EQ(tool({"verify", "--key", key("Second"), "--key", key("Maker")}).status, 0);
  EXPECT_EQ(tool({"verify", "--key", key("Maker"), "wam"}).status, 0);  // a set follows
}

TEST_F(VerifyCommandTest, FingerprintsInSmallLettersAndGroups) {
  signedList("base", "-u Maker");
  std::string text;
  for (char const c : key("Maker")) {
    text += static_cast<char>(tolower(c));
    if (text.size() % 5 == 4)
      text += ' ';
  }
  EXPECT_EQ(tool({"verify", "--key", text}).status, 0);
}

TEST_F(VerifyCommandTest, OnlyFullFingerprintsAreKeys) {
  signedList("base", "-u Maker");
  for (const std::string& word : {key("Maker").substr(24), std::string("Maker"), std::string()}) {
    ProgramRun const run = tool({"verify", "--key", word});
    EXPECT_EQ(run.status, usage) << word;
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(linesOf(run.errors).size(), 1U);
  }
}

TEST_F(VerifyCommandTest, BothBitsCanBeSet) {
  signedList("a", "-u Second");
  signedList("b", "-u Stranger");
  EXPECT_EQ(tool({"verify", "--key", key("Maker")}).status, notLoaded | unchecked);
}

TEST_F(VerifyCommandTest, SetsAndModes) {
  std::string const directory = std::string(listDir) + "/packages/p";
  makeDirectory(directory);
  writeFile(directory + "/p.quick.x.list", "WAM_SELF_CHECK\n\n");
  keys().sign(directory + "/p.quick.x.list", "-u Maker");
  signedList("base", "-u Maker");
  EXPECT_EQ(tool({"verify", "p", "--mode", "quick"}).status, 0);
  EXPECT_EQ(tool({"verify", "p"}).status, notLoaded);
  ProgramRun const all = tool({"verify", "--all"});
  EXPECT_EQ(all.status, notLoaded);
  EXPECT_THAT(all.output, HasSubstr("set wam, mode full: 1 list\n"));
  EXPECT_THAT(all.output, HasSubstr("set p, mode full: no lists\n"));
  EXPECT_EQ(tool({"verify", "--all", "p"}).status, usage);
  EXPECT_EQ(tool({"verify", "../p"}).status, usage);
  EXPECT_EQ(tool({"verify", "--mode", "*"}).status, usage);
}

TEST_F(VerifyCommandTest, WithoutCapabilitiesAndWriteAccessNothingIsLeft) {
  signedList("base", "-u Maker");
  std::vector<std::string> const before = namesIn(listDir);
  changeMode(ringPath, 0444);  // GnuPG locks what it may write
  changeMode(listDir, 0555);
  ProgramRun const run =
      runProgram({"/usr/bin/setpriv", "--bounding-set", "-all", ZEMO_TOOL, "verify"});
  changeMode(listDir, 0755);
  EXPECT_EQ(run.status, 0) << run.output << run.errors;
  EXPECT_EQ(namesIn(listDir), before);
}

TEST_F(VerifyCommandTest, AnOrdinaryUserVerifies) {
  std::vector<std::string> const user = {"/usr/bin/setpriv", "--reuid", "65534",
                                         "--regid",          "65534",   "--clear-groups"};
  std::vector<std::string> words = user;
  words.insert(words.end(), {ZEMO_TOOL, "--version"});
  if (runProgram(words).status != 0)
    GTEST_SKIP() << "cannot become another user, or that cannot reach the program";
  signedList("base", "-u Maker");
  std::vector<std::string> const before = namesIn(listDir);
  words.back() = "verify";
  ProgramRun const run = runProgram(words);
  EXPECT_EQ(run.status, 0) << run.output << run.errors;
  EXPECT_EQ(namesIn(listDir), before);

  changeMode(ringPath, 0600);
  EXPECT_THAT(runProgram(words).output,
              HasSubstr("the key ring '/usr/zemo/selfcheck/pubring.kbx' cannot be read: "));
  changeMode(ringPath, 0644);
  remove(std::string(listDir) + "/gpg.conf");
  ProgramRun const unconfigured = runProgram(words);
  EXPECT_EQ(unconfigured.status, notLoaded);
  EXPECT_THAT(
      unconfigured.output,
      HasSubstr("GnuPG exited with status 2 before a verdict; GnuPG may be unable to use the "
                "home '/usr/zemo/selfcheck' for this user (see "));
}

// The library refuses whatever GnuPG refuses.
TEST_F(VerifyCommandTest, TheVerdictIsTheLibrarys) {
  signedList("base", "-u Maker --digest-algo SHA1");
  EXPECT_EQ(tool({"files", "/etc/passwd"}).status, notLoaded);
  EXPECT_EQ(tool({"verify"}).status, notLoaded);
  configure("");
  EXPECT_EQ(tool({"files", "/etc/passwd"}).status, 0);
  EXPECT_EQ(tool({"verify"}).status, 0);
}

// A shell that ignores SIGCHLD passes that on to the programs that it runs.
TEST_F(VerifyCommandTest, ACallerThatIgnoresItsChildren) {
  signedList("base", "-u Maker");
  EXPECT_EQ(runProgram({"/usr/bin/env", "--ignore-signal=CHLD", ZEMO_TOOL, "verify"}).status, 0);
}

TEST_F(VerifyCommandTest, FifosAreNotWaitedFor) {
  for (const std::string name :
       {"wam.full.base.list", "wam.full.base.list.asc", "pubring.kbx", "pubring.gpg", "gpg.conf"}) {
    std::string const file = std::string(listDir) + "/" + name;
    signedList("base", "-u Maker");
    bool const isThere = std::filesystem::exists(file);
    std::string const content = isThere ? readFile(file) : "";
    remove(file);
    makeFifo(file);
    ProgramRun const run =
        runProgram({"/usr/bin/timeout", "--kill-after=1", "10", ZEMO_TOOL, "verify"});
    EXPECT_EQ(run.status, notLoaded) << name;
    EXPECT_THAT(run.output, HasSubstr("'" + file + "' is not a regular file")) << name;
    remove(file);
    if (isThere)
      writeFile(file, content);
  }
}

TEST_F(VerifyCommandTest, AnOrderThatIsNotARegularFile) {
  signedList("base", "-u Maker");
  std::string const file = std::string(listDir) + "/listorder";
  for (int kind = 0; kind < 3; ++kind) {
    if (kind == 0)
      makeFifo(file);
    else if (kind == 1)
      makeDirectory(file);
    else
      makeLink("/dev/null", file);
    ProgramRun const run =
        runProgram({"/usr/bin/timeout", "--kill-after=1", "10", ZEMO_TOOL, "verify"});
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_THAT(run.output, HasSubstr("order      by name (listorder is not a regular file)\n"));
    ProgramRun const strict = strictly({key("Maker")});
    EXPECT_EQ(strict.status, unchecked);
    EXPECT_THAT(strict.output, HasSubstr("reason     listorder is not a regular file\n"));
    remove(file);
  }
}

TEST_F(VerifyCommandTest, HelpHasAnExample) {
  EXPECT_THAT(tool({"verify", "--help"}).output, HasSubstr("Example"));
}

TEST_F(VerifyCommandTest, AFullOutputIsReported) {
  signedList("base", "-u Maker");
  ProgramRun const run =
      runProgram({"/bin/sh", "-c", "\"$1\" verify > /dev/full", "sh", ZEMO_TOOL});
  EXPECT_EQ(run.status, unchecked);
  EXPECT_THAT(run.errors, HasSubstr("cannot write to standard output"));
}

TEST_F(VerifyCommandTest, JsonHasARecordForEachList) {
  using Json = nlohmann::json;
  signedList("base", "--local-user Maker --local-user Revoked");
  list("unsigned");
  labelled("other", "set=wam mode=full list=x serial=3 date=2026-09-21T12:00:00Z");
  keys().sign(std::string(listDir) + "/wam.full.other.list", "--local-user Second");
  keys().sign(labelled("text", "free text"), "--textmode --local-user Stranger");
  writeFile(std::string(listDir) + "/listorder", "wam.full.base.list\n./wam.full.text.list\n");
  ProgramRun const run =
      tool({"verify", "--strict", "--key", key("Maker"), "--format", "json", "wam", "demo"});
  EXPECT_EQ(run.status, unchecked | notLoaded);
  std::vector<Json> const all = recordsOf("verify", run.output);
  ASSERT_EQ(kindsOf(all), (std::vector<std::string>{"start", "set", "list", "list", "list", "list",
                                                    "manifest", "set", "manifest", "summary"}));
  EXPECT_EQ(all[0].at("strict"), true);
  EXPECT_EQ(all[0].at("keys"), Json({key("Maker")}));
  EXPECT_EQ(all[1], (Json{{"record", "set"}, {"set", "wam"}, {"lists", 4}}));
  const Json& other = all[2];
  EXPECT_EQ(other.at("verdict"), "rejected");
  EXPECT_EQ(other.at("label"), (Json{{"state", "another_list"},
                                     {"set", "wam"},
                                     {"mode", "full"},
                                     {"list", "x"},
                                     {"serial", 3},
                                     {"date", "2026-09-21T12:00:00Z"}}));
  EXPECT_EQ(all[3].at("order"), (Json{{"state", "not_named"}, {"almost", 2}}));
  EXPECT_EQ(all[3].at("label"), (Json{{"state", "none"}}));
  EXPECT_EQ(all[3].at("signatures").at(0).at("state"), "no_public_key");
  EXPECT_EQ(all[4].at("verdict"), "not_verified");
  EXPECT_NE(all[4].at("reason"), "");
  const Json& base = all[5];
  EXPECT_EQ(base.at("order"), (Json{{"state", "line"}, {"line", 1}}));
  EXPECT_EQ(base.at("signatures").size(), 2U);
  EXPECT_EQ(base.at("signatures").at(0).at("primary"), key("Maker"));
  EXPECT_EQ(base.at("signatures").at(1).at("state"), "good_revoked_key");
  EXPECT_EQ(base.at("objections").size(), 2U) << base;
  EXPECT_EQ(all[6].at("state"), "none");
  EXPECT_EQ(all[7], (Json{{"record", "set"}, {"set", "demo"}, {"lists", 0}}));
  EXPECT_EQ(all[9], (Json{{"record", "summary"},
                          {"lists", 4},
                          {"good", 0},
                          {"unusable", 2},
                          {"rejected", 2},
                          {"empty_sets", 1},
                          {"rejected_manifests", 0},
                          {"status", unchecked | notLoaded}}));
}
