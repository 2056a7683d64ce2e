#include "text/json.h"

#include <gtest/gtest.h>

using tool::Json;

TEST(Json, TextKeepsUtf8) {
  EXPECT_EQ(tool::jsonText(""), "");
  EXPECT_EQ(tool::jsonText("a\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"),
            "a\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80");
}

TEST(Json, EachWrongByteBecomesOneReplacement) {
  EXPECT_EQ(tool::jsonText("a\xff\xfe"), "a\xef\xbf\xbd\xef\xbf\xbd");
  EXPECT_EQ(tool::jsonText("\xe2\x82"), "\xef\xbf\xbd\xef\xbf\xbd");
  EXPECT_EQ(tool::jsonText("\xed\xa0\x80"), "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd");
}

TEST(Json, TextThatIsNotUtf8HasItsBytesToo) {
  Json record;
  tool::putText(record, "good", "ok");
  tool::putText(record, "bad", std::string("\x00\xff\x41", 3));
  EXPECT_EQ(record.dump(),
            "{\"good\":\"ok\",\"bad\":\"\\u0000\xef\xbf\xbd"
            "A\",\"bad_hex\":\"00ff41\"}");
}

TEST(Json, NumbersAreThoseWrittenLikeNumbers) {
  for (const char* const text :
       {"0", "7", "-5", "9223372036854775807", "-9223372036854775808", "4294967296"}) {
    Json record;
    tool::putNumber(record, "n", text);
    EXPECT_EQ(record.dump(), "{\"n\":" + std::string(text) + "}");
  }
  for (const char* const text : {"", "-", "007", "+1", " 1", "1 ", "-0", "0x10", "1e3", "1.0",
                                 "9223372036854775808", "$pkg"}) {
    Json record;
    tool::putNumber(record, "n", text);
    EXPECT_EQ(record.dump(), "{\"n\":\"" + std::string(text) + "\"}");
  }
}

TEST(Json, ColumnThatIsNotUtf8HasItsBytesToo) {
  Json record;
  tool::putNumber(record, "n", "1\xff");
  EXPECT_EQ(record.at("n_hex"), "31ff");
}

TEST(Json, RecordIsOneAsciiLine) {
  Json record;
  tool::putText(record, "name", "\xc3\xa4\n\x1b\x7f");
  EXPECT_EQ(tool::recordLine(record), "{\"name\":\"\\u00e4\\n\\u001b\\u007f\"}");
}
