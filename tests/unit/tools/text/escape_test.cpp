#include "text/escape.h"

#include <gtest/gtest.h>

#include <random>

using tool::escaped;
using tool::unescaped;

TEST(Escape, PrintableUtf8StaysAsItIs) {
  EXPECT_EQ(escaped("/usr/lib/Über uns/\xf0\x9f\x90\xa7"), "/usr/lib/Über uns/\xf0\x9f\x90\xa7");
}

TEST(Escape, ControlBytesBecomeOctal) {
  EXPECT_EQ(escaped("a\x1b[2Jb\n\t\x7f"), "a\\033[2Jb\\012\\011\\177");
  EXPECT_EQ(escaped(std::string("\0", 1)), "\\000");
}

TEST(Escape, BackslashBecomesOctalSoThatNothingLooksEscapedThatIsNot) {
  EXPECT_EQ(escaped("a\\012"), "a\\134012");
}

TEST(Escape, InvalidUtf8BecomesOctal) {
  EXPECT_EQ(escaped("\xff"), "\\377");
  EXPECT_EQ(escaped("\xc3"), "\\303");                    // cut off
  EXPECT_EQ(escaped("\xc0\xaf"), "\\300\\257");           // overlong
  EXPECT_EQ(escaped("\xe0\x80\xaf"), "\\340\\200\\257");  // overlong
  EXPECT_EQ(escaped("\xf0\x8f\xbf\xbf"), "\\360\\217\\277\\277");
  EXPECT_EQ(escaped("\xed\xa0\x80"), "\\355\\240\\200");           // surrogate
  EXPECT_EQ(escaped("\xf4\x90\x80\x80"), "\\364\\220\\200\\200");  // beyond Unicode
  EXPECT_EQ(escaped("\xc3("), "\\303(");
}

TEST(Escape, CharactersThatControlTerminalsBecomeOctal) {
  EXPECT_EQ(escaped("\xc2\x9b"), "\\302\\233");           // the one-character CSI
  EXPECT_EQ(escaped("\xe2\x80\xae"), "\\342\\200\\256");  // right to left
  EXPECT_EQ(escaped("\xe2\x80\xa8"), "\\342\\200\\250");  // line separator
  EXPECT_EQ(escaped("\xc2\xa0"), "\xc2\xa0");
}

TEST(Escape, InvisibleCharactersBecomeOctal) {
  for (const char* const invisible :
       {"\u00ad", "\u061c", "\u200b", "\u200c", "\u200d", "\u200e", "\u200f", "\u202a", "\u202e",
        "\u2060", "\u2061", "\u2064", "\u2066", "\u2069", "\u206f", "\ufeff", "\U000e0000",
        "\U000e0041", "\U000e007f"})
    EXPECT_EQ(escaped(invisible).front(), '\\') << escaped(invisible);
  EXPECT_EQ(escaped("l\u200bs"), "l\\342\\200\\213s");
  for (const char* const visible : {"\u00ac", "\u00ae", "\u200a", "\u2010", "\u2027", "\u2030",
                                    "\u2070", "\ufefe", "\uff00", "\U000e0080"})
    EXPECT_EQ(escaped(visible), visible);
}

TEST(Escape, UnescapedTakesEveryTextBack) {
  unsigned const seed = std::random_device()();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  for (int round = 0; round < 2000; ++round) {
    std::string bytes;
    for (unsigned length = random() % 12; length > 0; --length)
      bytes += static_cast<char>(random() % 3 == 0 ? '\\' : random() % 256);
    std::string const text = escaped(bytes);
    EXPECT_TRUE(tool::isUtf8(text));
    EXPECT_EQ(unescaped(text), bytes);
  }
}

TEST(Escape, UnescapedRefusesWhatIsNotAByte) {
  EXPECT_EQ(unescaped("\\"), std::nullopt);
  EXPECT_EQ(unescaped("\\12"), std::nullopt);
  EXPECT_EQ(unescaped("\\400"), std::nullopt);
  EXPECT_EQ(unescaped("\\08a"), std::nullopt);
  EXPECT_EQ(unescaped("\\n"), std::nullopt);
  EXPECT_EQ(unescaped("plain"), "plain");
}
