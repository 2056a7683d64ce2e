// zemo-selfcheck retire

#include <gmock/gmock.h>

#include "fixture.h"

namespace {

using ::testing::HasSubstr;

class RetireTest : public InstallTest {
 protected:
  void SetUp() override {
    InstallTest::SetUp();
    if (IsSkipped())
      return;
    addList("wam.full.fix.list", sized("/fix") + "\n" + fixed("/a") + "\n-/b\t-\t-\t-\t-\t-\t-\n");
    order("# first\nwam.full.base.list\nwam.part.x.list\nwam.full.fix.list\n");
  }

  static ProgramRun retire(std::vector<std::string> words) {
    words.insert(words.begin(), "retire");
    return tool(words);
  }
};

const std::string output =
    "~ /a size - -> 1\n~ /a hash FIXED -> -\n~ /a type d -> f\n- /fix\t1\t-\tf\t-\t-\t-\nlist "
    "'wam.full.fix.list': removed\n0 added, 1 removed, 1 changed, 0 unchanged\n";
const std::string orderAfter = "# first\nwam.full.base.list\nwam.part.x.list\n";

}  // namespace

TEST_F(RetireTest, AListGoesWithItsSignatureAndItsLine) {
  ProgramRun run = retire({"wam.full.fix.list", "--dry-run"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, output + "dry run: nothing was changed\n");
  EXPECT_EQ(names(),
            "listorder wam.full.base.list wam.full.base.list.asc wam.full.fix.list "
            "wam.full.fix.list.asc ");
  run = retire({"wam.full.fix.list"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, output + "done: set 'wam', mode 'full', has 1 list\n");
  EXPECT_EQ(names(), ".previous listorder wam.full.base.list wam.full.base.list.asc ");
  EXPECT_EQ(readFile(home("listorder")), orderAfter);
  EXPECT_EQ(install({"--back"}).status, 0);
  EXPECT_EQ(tool({"show", "/fix"}).status, 0);
}

TEST_F(RetireTest, FileByFile) {
  ProgramRun const run = toolAfter("mount --bind " + std::string(listDir) + " " + listDir,
                                   {"retire", "wam.full.fix.list", "--format", "json"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(run.output, HasSubstr(R"("way":"renames"})"));
  EXPECT_EQ(names(), ".previous listorder wam.full.base.list wam.full.base.list.asc ");
  EXPECT_EQ(readFile(home("listorder")), orderAfter);
}

TEST_F(RetireTest, WhatAKilledRunHasLeft) {
  writeFile(home("wam.full.unfinished-install.list"), "");
  remove(home("wam.full.fix.list"));
  ProgramRun const run = retire({"wam.full.fix.list"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(names(), "listorder wam.full.base.list wam.full.base.list.asc ");
  EXPECT_EQ(readFile(home("listorder")), orderAfter);
}

TEST_F(RetireTest, WhatIsRefused) {
  EXPECT_EQ(retire({}).status, usage);
  EXPECT_EQ(retire({"wam.full.fix.list", "wam.full.fix.list"}).status, usage);
  EXPECT_EQ(retire({home("wam.full.fix.list")}).status, usage);
  EXPECT_EQ(retire({"wam.part.x.list"}).status, usage);
  EXPECT_THAT(retire({"wam.full.none.list"}).errors,
              HasSubstr("there is no list 'wam.full.none.list' in '/usr/zemo/selfcheck'"));
  EXPECT_THAT(retire({"wam.full.fix.list", "wam.full.base.list"}).errors,
              HasSubstr("no list would be left"));
  writeFile(home("wam.full.manifest"), "");
  EXPECT_THAT(retire({"wam.full.fix.list"}).errors, HasSubstr("the set has a manifest"));
  remove(home("wam.full.manifest"));
  EXPECT_EQ(names(),
            "listorder wam.full.base.list wam.full.base.list.asc wam.full.fix.list "
            "wam.full.fix.list.asc ");
}
