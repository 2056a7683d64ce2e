#include "io/names_input.h"

#include <gtest/gtest.h>

#include "io/exit_status.h"
#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

using Names = std::vector<std::string>;

class NamesInput : public testing::Test {
 protected:
  std::string holding(const std::string& text) const {
    writeFile(directory / "names", text);
    return directory / "names";
  }

  TemporaryDirectory directory;
};

}  // namespace

TEST_F(NamesInput, OnePerLine) {
  EXPECT_EQ(tool::readNames(holding("/a\n/b c\n"), false), (Names{"/a", "/b c"}));
  EXPECT_EQ(tool::readNames(holding("/a\n/b"), false), (Names{"/a", "/b"}));
  EXPECT_EQ(tool::readNames(holding(""), false), Names());
  EXPECT_EQ(tool::readNames(holding("\n\n/a\r\n\n"), false), Names{"/a\r"});
}

TEST_F(NamesInput, EndedByZeroBytes) {
  std::string const end(1, '\0');
  EXPECT_EQ(tool::readNames(holding("/a\n" + end + end + "/b"), true), (Names{"/a\n", "/b"}));
}

TEST_F(NamesInput, EmptyLinesCountAsLines) {
  EXPECT_EQ(tool::readLines(holding("\na\n\n")), (Names{"", "a", ""}));
}

TEST_F(NamesInput, LongerThanABlock) {
  std::string const longName(200000, 'n');
  std::string text;
  for (int i = 0; i < 20000; ++i)
    text += std::to_string(i) + "\n";
  Names const names = tool::readNames(holding(text + longName), false);
  ASSERT_EQ(names.size(), 20001U);
  for (std::size_t i = 0; i < 20000; ++i)
    ASSERT_EQ(names[i], std::to_string(i));
  EXPECT_EQ(names.back(), longName);
}

TEST_F(NamesInput, FailuresHaveAReason) {
  auto const reasonFor = [](const std::string& path) -> std::string {
    try {
      tool::readNames(path, false);
    } catch (const tool::Failure& failure) {
      EXPECT_EQ(failure.status(), tool::STATUS_NOT_LOADED);
      return failure.what();
    }
    return "";
  };
  EXPECT_EQ(reasonFor(directory / "none"),
            "cannot open '" + (directory / "none") + "': No such file or directory");
  EXPECT_EQ(reasonFor(directory.path()), "cannot read '" + directory.path() + "': Is a directory");
}
