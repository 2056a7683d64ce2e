// zemo-selfcheck make --format json.

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "fixture.h"

using Json = nlohmann::json;
using Names = std::vector<std::string>;

namespace {

class MakeJsonTest : public MakeTest {
 protected:
  std::vector<Json> records(Names words) {
    words.insert(words.end(), {"--format", "json"});
    run = make(words);
    if (canValidate()) {
      ProgramRun const verdict =
          runProgram({"/usr/bin/python3", ZEMO_VALIDATE_JSON, ZEMO_MAKE_SCHEMA}, run.output);
      EXPECT_EQ(verdict.output + verdict.errors, "");
    }
    std::vector<Json> all;
    for (const std::string& line : linesOf(run.output))
      all.push_back(Json::parse(line));
    return all;
  }

  static bool canValidate() {
    static bool const can = runProgram({"/usr/bin/python3", "-c", "import jsonschema"}).status == 0;
    return can;
  }

  static Names kinds(const std::vector<Json>& records) {
    Names names;
    for (const Json& record : records)
      names.push_back(record.at("record"));
    return names;
  }

  ProgramRun run;
};

}  // namespace

TEST_F(MakeJsonTest, SaysWhatTheListHas) {
  writeFile(files / "a", "a");
  makeFifo(files / "fifo");
  makeLink("a", files / "b\xff");
  std::vector<Json> const all = records({files.path(), "--fixed", files.path(), "--serial", "7"});
  EXPECT_EQ(run.status, 0);
  Json const& start = all.front();
  EXPECT_EQ(start.at("record"), "start");
  EXPECT_EQ(start.at("format"), 1);
  EXPECT_EQ(start.at("output"), output);
  EXPECT_EQ(start.at("list"), "base");
  EXPECT_EQ(start.at("serial"), 7);
  EXPECT_EQ(start.at("date"), "2026-09-21T14:13:20Z");
  EXPECT_EQ(start.at("made"), Json({"--fixed=" + files.path(), "--", files.path()}));
  EXPECT_EQ(start.count("root"), 0U);
  Json const& summary = all.back();
  EXPECT_EQ(summary, Json({{"record", "summary"},
                           {"written", true},
                           {"files", 1},
                           {"directories", 1},
                           {"links", 1},
                           {"character_devices", 0},
                           {"block_devices", 0},
                           {"fifos", 1},
                           {"sockets", 0},
                           {"others", 0},
                           {"fixed", 1},
                           {"removals", 0},
                           {"status", 0}}));
  EXPECT_EQ(all.at(1), Json({{"record", "unlisted"}, {"path", "/tmp"}}));
}

TEST_F(MakeJsonTest, SaysWhyThereIsNoList) {
  writeFile(files / "a\tb", "a");
  std::vector<Json> const all = records({files.path(), "/nowhere"});
  EXPECT_EQ(run.status, unchecked);
  ASSERT_EQ(kinds(all), (Names{"start", "problem", "problem", "summary"}));
  EXPECT_EQ(all[1].at("path"), "/nowhere");
  EXPECT_EQ(all[1].at("reason"), "cannot read '/nowhere': No such file or directory");
  EXPECT_EQ(all[2].at("path"), files / "a\tb");
  EXPECT_EQ(all[3].at("written"), false);
  EXPECT_EQ(all[3].at("reason"), "no list was written, because of 2 files");
  EXPECT_EQ(all[3].at("status"), unchecked);
  EXPECT_EQ(linesOf(run.errors).size(), 3U);
}

TEST_F(MakeJsonTest, NamesMembersThatAreStrayInTheListThatWasWritten) {
  makeDirectory(files / "d");
  writeFile(files / "d/a", "a");
  writeFile(files / "d/b", "b");
  std::vector<Json> const all = records({"--fixed", files / "d", "--exclude", "b"});
  EXPECT_EQ(run.status, changed);
  ASSERT_EQ(kinds(all), (Names{"start", "differing", "summary"}));
  EXPECT_EQ(all[1].at("path"), files / "d");
  EXPECT_EQ(all[2].at("status"), changed);
  EXPECT_FALSE(isWritten());
}

TEST_F(MakeJsonTest, WrongArgumentsHaveNoRecords) {
  EXPECT_TRUE(run.output.empty());
  ProgramRun const wrong = make({"--format", "json"});
  EXPECT_EQ(wrong.status, usage);
  EXPECT_EQ(wrong.output, "");
}
