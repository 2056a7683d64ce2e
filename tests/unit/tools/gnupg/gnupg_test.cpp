// GnuPG's machine-readable output, parsed without GnuPG.

#include <gtest/gtest.h>

#include "gnupg/algorithms.h"
#include "gnupg/fingerprint.h"
#include "gnupg/keys.h"
#include "gnupg/options.h"
#include "gnupg/signature_check.h"
#include "gnupg/status_lines.h"
#include "io/exit_status.h"

using namespace tool;

namespace {

const std::string fingerprint = "6136B3167575C697A6AB41B58489D4A54BFA7117";
const std::string primary = "91734C2ABB9668696E3C02D8276EB0A0143520CD";

std::string configuration() {
  std::string content;
  for (const NeededOption& option : neededOptions)
    content += std::string(option.line) + "\n";
  return content;
}

std::string status(const std::string& line) {
  return "[GNUPG:] " + line + "\n";
}

}  // namespace

TEST(StatusLines, OtherLinesAreLeftOut) {
  std::vector<StatusLine> const lines =
      statusLines("gpg: [GNUPG:] GOODSIG x\n" + status("NODATA 1") + "[GNUPG:]BADSIG\n");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].keyword, "NODATA");
  EXPECT_EQ(lines[0].word(0), "1");
  EXPECT_EQ(lines[0].word(9), "");
}

TEST(StatusLines, TextKeepsItsBlanksAndBytes) {
  StatusLine const line = statusLines(status("GOODSIG 12 a  b%0A%25%zz%"))[0];
  EXPECT_EQ(line.textFrom(1), "a  b\n%%zz%");
}

TEST(StatusLines, NumbersAreWhole) {
  EXPECT_EQ(numberIn("17"), 17);
  EXPECT_EQ(numberIn("17x"), 0);
  EXPECT_EQ(numberIn(""), 0);
  EXPECT_EQ(numberIn("99999999999999999999999"), 0);
}

TEST(StatusLines, FailuresOfTheOperation) {
  auto const lines =
      statusLines(status("FAILURE gpg-exit 33554433") + status("FAILURE sign 67108875"));
  EXPECT_EQ(failureIn(lines, "sign"), "wrong passphrase");
  EXPECT_EQ(failureIn(lines, "verify"), "");
  EXPECT_EQ(errorText(67109000), "error code 136");
  EXPECT_EQ(errorText(83886179), "cancelled");
}

TEST(Signatures, EachBeginsWithItsLine) {
  auto const signatures = signaturesIn(
      status("GOODSIG 1 before any") + status("NEWSIG") + status("GOODSIG 8489 Maker <m@e>") +
      status("VALIDSIG " + fingerprint + " 2026-11-21 1795248987 0 4 0 22 8 00 " + primary) +
      status("NEWSIG") + status("BADSIG 8489 Other") + status("NEWSIG"));
  ASSERT_EQ(signatures.size(), 3U);
  EXPECT_EQ(signatures[0].verdict, Signature::Verdict::Good);
  EXPECT_EQ(signatures[0].userId, "Maker <m@e>");
  EXPECT_EQ(signatures[0].fingerprint, fingerprint);
  EXPECT_EQ(signatures[0].primary, primary);
  EXPECT_EQ(signatures[0].made, 1795248987);
  EXPECT_EQ(digestName(signatures[0].digest), "SHA256");
  EXPECT_FALSE(signatures[0].ofText);
  EXPECT_EQ(signatures[1].verdict, Signature::Verdict::Bad);
  EXPECT_EQ(signatures[2].verdict, Signature::Verdict::None);
  EXPECT_EQ(signatureText(signatures[2]), "no verdict");
}

TEST(Signatures, AreGoodOnlyWithTheirSignedData) {
  std::string const good = status("NEWSIG") + status("GOODSIG 8489 Maker");
  EXPECT_FALSE(isGood(signaturesIn(good).at(0)));
  EXPECT_EQ(signatureText(signaturesIn(good).at(0)),
            "reported as good, but GnuPG does not say by which key");
  std::string const valid = "VALIDSIG " + fingerprint + " 2026-11-21 1795248987 0 4 0 22 8 ";
  EXPECT_TRUE(isGood(signaturesIn(good + status(valid + "00 " + primary)).at(0)));
  EXPECT_FALSE(isGood(signaturesIn(status("NEWSIG") + status(valid + "00 " + primary)).at(0)));
  for (const std::string word : {"EXPKEYSIG", "REVKEYSIG"})
    EXPECT_TRUE(isGood(signaturesIn(status("NEWSIG") + status(word + " 8489 Maker") +
                                    status(valid + "00 " + primary))
                           .at(0)));
}

TEST(Signatures, Objections) {
  auto const objections = [](const std::string& word, const std::string& made, int digest,
                             const std::string& kind) {
    std::string texts;
    for (const Objection& one : objectionsTo(
             signaturesIn(status("NEWSIG") + status(word + " 8489 Maker") +
                          status("VALIDSIG " + fingerprint + " 2026-11-21 " + made + " 0 4 0 22 " +
                                 std::to_string(digest) + " " + kind + " " + primary))
                 .at(0)))
      texts += one.what + "\n";
    return texts;
  };
  EXPECT_EQ(objections("GOODSIG", "1577836800", 8, "00"), "");
  EXPECT_EQ(objections("EXPKEYSIG", "1577836800", 8, "00"),
            "key " + fingerprint + " has expired\n");
  EXPECT_EQ(objections("REVKEYSIG", "1577836800", 8, "00"), "key " + fingerprint + " is revoked\n");
  EXPECT_EQ(objections("GOODSIG", "1577836800", 1, "00"), "MD5 is a weak digest\n");
  for (const std::string kind : {"01", "02", ""})
    EXPECT_EQ(objections("GOODSIG", "1577836800", 8, kind),
              "the signature covers text, not the exact bytes of the list\n");
  EXPECT_EQ(objections("GOODSIG", "4102444800", 8, "00"),
            "the signature is dated in the future: 2100-01-01T00:00:00Z\n");
}

TEST(Signatures, AClockThatIsBehindIsExplained) {
  for (const std::string code : {"6", "39"}) {  // GnuPG 2.2 and 2.4
    auto const one = [&code](const std::string& made) {
      return signatureText(
          signaturesIn(status("NEWSIG") + status("ERRSIG 8489 22 8 00 " + made + " " + code + " -"))
              .at(0));
    };
    EXPECT_EQ(one("4102444800"),
              "not checked: this machine's clock is slow (the signature is dated in the future)");
    EXPECT_EQ(one("1577836800"), "not checked: the key is unusable, or newer than the signature");
  }
}

TEST(Signatures, AUserIdCannotForgeALine) {
  auto const signatures =
      signaturesIn(status("NEWSIG") + status("BADSIG 8489 x%0A[GNUPG:] GOODSIG 8489 Maker"));
  ASSERT_EQ(signatures.size(), 1U);
  EXPECT_EQ(signatures[0].verdict, Signature::Verdict::Bad);
}

TEST(Signatures, ErrorsThatAreNotDigests) {
  auto const one = [](const std::string& rest) {
    return signatureText(signaturesIn(status("NEWSIG") + status("ERRSIG 8489 " + rest)).at(0));
  };
  EXPECT_EQ(one("22 2 00 1795248987 5 -"), "refused: SHA1 is a weak digest");
  EXPECT_EQ(one("22 14 00 1795248987 5 -"), "not checked: digest 14 is not supported");
  EXPECT_EQ(one("99 8 00 1795248987 4 -"),
            "not checked: the public key algorithm is not supported");
  EXPECT_EQ(one("22 8 00 1795248987 136 -"), "not checked: error code 136");
  EXPECT_EQ(one("22 8 00 1795248987 9 -"), "public key 8489 is not in the key ring");
}

TEST(Keys, SubkeysAndUserIds) {
  std::vector<Key> const keys = keysIn(
      "tru:t:0\nfpr:::::::::orphan:\n"
      "pub:e:255:22:276E:1577836800:1672444800::-:::sc:::::ed25519:::0:\n"
      "fpr:::::::::" +
      primary +
      ":\n"
      "uid:e::::1::2::Host\\x1b[2J\\n\\x3a\\\\ \\q::::::::::0:\n"
      "sub:e:255:22:2EDB:1577836800::::::s:::::ed25519::\n"
      "fpr:::::::::" +
      fingerprint +
      ":\n"
      "pub:r:255\nfpr:::::::::SECOND:\n");
  ASSERT_EQ(keys.size(), 2U);
  EXPECT_EQ(keys[0].fingerprint, primary);
  EXPECT_EQ(keys[0].subkeys, std::vector<std::string>{fingerprint});
  EXPECT_EQ(keys[0].userIds, std::vector<std::string>{"Host\x1b[2J\n:\\ \\q"});
  EXPECT_EQ(keyText(keys[0]), primary +
                                  " 'Host\\033[2J\\012:\\134 \\134q' (expired "
                                  "2022-12-31T00:00:00Z)");
  EXPECT_EQ(keyText(keys[1]), "SECOND (revoked)");
}

TEST(Options, AreReadWithoutTheirBlanks) {
  OptionReading const reading = readOptions(
      " trust-model\talways \n#weak-digest SHA1\n\nno-auto-key-retrieve\r\nno-auto-check-trustdb\n"
      "ignore-time-conflict\nno-auto-key-import");
  ASSERT_EQ(reading.missing.size(), 1U);
  EXPECT_EQ(reading.missing[0], &neededOptions[1]);
  EXPECT_TRUE(reading.doubtful.empty());
  EXPECT_EQ(reading.held.size(), 5U);
}

TEST(Options, UnknownLinesAreDoubtful) {
  for (const std::string line : {"skip-verify",
                                 "list-only",
                                 "auto-key-import",
                                 "auto-key-retrieve",
                                 "keyring /x",
                                 "primary-keyring /x",
                                 "no-default-keyring",
                                 "log-file /x",
                                 "use-keyboxd",
                                 "trust-model pgp",
                                 "trust-model always x",
                                 "allow-weak-digest-algos",
                                 "auto-check-trustdb",
                                 "options /x",
                                 "faked-system-time 20200101T000000!",
                                 "keyserver-options auto-key-retrieve",
                                 "[+force]",
                                 "verify-options show-photos",
                                 "quiet\rskip-verify",
                                 "skip",
                                 "weak-digest",
                                 "no-such-option"}) {
    OptionReading const reading = readOptions(configuration() + " " + line + "\t\n");
    ASSERT_EQ(reading.doubtful.size(), 1U) << line;
    EXPECT_EQ(reading.doubtful[0].number, neededOptions.size() + 1) << line;
    EXPECT_EQ(reading.held.size(), neededOptions.size()) << line;
  }
  EXPECT_EQ(readOptions(std::string("quiet\0\n", 7)).doubtful.size(), 1U);
  EXPECT_EQ(optionText(readOptions("# x\n keyring   a\tb\n").doubtful.at(0), "/etc/x"),
            "line 2 of '/etc/x', 'keyring a b', is not known to be harmless");
  EXPECT_EQ(optionText(readOptions("use-keyboxd").doubtful.at(0), "/x"),
            "line 1 of '/x', 'use-keyboxd', makes GnuPG ask a daemon for keys instead of reading "
            "the key ring");
}

TEST(Options, HarmlessLinesAreNotDoubtful) {
  EXPECT_TRUE(readOptions(configuration() + "# skip-verify\n  #list-only\n\n\t\nalways-trust\n"
                                            "no-greeting\nweak-digest  MD5\r\nkeyid-format long\n"
                                            "personal-digest-preferences SHA512 SHA256\n")
                  .doubtful.empty());
}

TEST(Fingerprints, AreWrittenInManyWays) {
  EXPECT_EQ(fingerprintFrom(fingerprint), fingerprint);
  EXPECT_EQ(fingerprintFrom("6136 b316 7575 c697 a6ab  41b5 8489 d4a5 4bfa 7117"), fingerprint);
  EXPECT_EQ(fingerprintFrom(std::string(64, 'a')), std::string(64, 'A'));
}

TEST(Fingerprints, AnythingElseIsWrongUsage) {
  for (const std::string& text : {std::string(), fingerprint.substr(1), fingerprint + "0",
                                  "0x" + fingerprint, std::string(40, 'g'), fingerprint + "!"})
    EXPECT_THROW(fingerprintFrom(text), UsageError) << text;
}
