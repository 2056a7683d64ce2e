#include "sets/label.h"

#include <gtest/gtest.h>

using tool::Label;
using tool::labelLine;
using tool::parseLabel;

namespace {

Label example() {
  return {"wam", "full", "base", 1790000000, 1789992000};
}

}  // namespace

TEST(Label, HasOneForm) {
  EXPECT_EQ(labelLine(example()),
            "set=wam mode=full list=base serial=1790000000 date=2026-09-21T12:00:00Z");
}

TEST(Label, IsReadBack) {
  std::optional<Label> const label = parseLabel(labelLine(example()));
  ASSERT_TRUE(label);
  EXPECT_EQ(label->set, "wam");
  EXPECT_EQ(label->mode, "full");
  EXPECT_EQ(label->list, "base");
  EXPECT_EQ(label->serial, 1790000000U);
  EXPECT_EQ(label->date, 1789992000);
}

TEST(Label, NamesWithBlanksAndControlBytesAreReadBack) {
  Label const strange{"a b", "x\\y", "z\x1b\xff", UINT64_MAX, 0};
  std::optional<Label> const label = parseLabel(labelLine(strange));
  ASSERT_TRUE(label);
  EXPECT_EQ(label->set, strange.set);
  EXPECT_EQ(label->mode, strange.mode);
  EXPECT_EQ(label->list, strange.list);
  EXPECT_EQ(label->serial, strange.serial);
}

TEST(Label, WordsWithWhichTheListWasMadeAreReadBack) {
  Label label = example();
  label.made = {"--dpkg=bash", "--", "/a b", "/c\n", "\\"};
  std::string const line = labelLine(label);
  EXPECT_EQ(line, labelLine(example()) + " make --dpkg=bash -- /a\\040b /c\\012 \\134");
  std::optional<Label> const read = parseLabel(line);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->made, label.made);
  EXPECT_EQ(parseLabel(labelLine(example()))->made, std::vector<std::string>());
  for (const char* const wrong :
       {" make", " make ", " make  -- /", " make -- / ", " make /\t", " made -- /"})
    EXPECT_FALSE(parseLabel(labelLine(example()) + wrong)) << wrong;
}

TEST(Label, AnyOtherTextIsNotALabel) {
  for (const char* const text :
       {"", "free text", "set=wam", "set=wam mode=full list=base serial=1 date=today",
        " set=wam mode=full list=base serial=1 date=2026-09-21T12:00:00Z",
        "set=wam mode=full list=base serial=1 date=2026-09-21T12:00:00Z ",
        "set=wam mode=full list=base serial=01 date=2026-09-21T12:00:00Z",
        "set=wam mode=full list=base serial=-1 date=2026-09-21T12:00:00Z",
        "set=wam  mode=full list=base serial=1 date=2026-09-21T12:00:00Z",
        "set=wam mode=full list=base serial=1 date=2026-02-30T12:00:00Z",
        "mode=full set=wam list=base serial=1 date=2026-09-21T12:00:00Z"})
    EXPECT_FALSE(parseLabel(text)) << text;
}
