// How doctor reports things that it could not examine.

#include "doctor/findings.h"

#include <gtest/gtest.h>

#include "../json_lines.h"

namespace {

using namespace tool;

TEST(FindingsTest, TemporaryFailuresAreProblems) {
  Findings findings(false);
  testing::internal::CaptureStdout();
  findings.leftOut("/a\x1b");
  findings.settle();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "problem: '/a\\033' could not be examined for a moment\n    fix: run this again\n");
  EXPECT_EQ(findings.status(), STATUS_UNCHECKED);
  EXPECT_EQ(findings.problemCount(), 1U);
}

TEST(FindingsTest, ProblemsOfAnotherCheckAreNotRepeated) {
  Findings findings(false);
  testing::internal::CaptureStdout();
  findings.leftOut("/a");
  findings.problem(STATUS_NOT_LOADED, "'/a' does not exist", "make one");
  findings.settle();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "problem: '/a' does not exist\n    fix: make one\n");
  EXPECT_EQ(findings.status(), STATUS_NOT_LOADED);
}

TEST(FindingsTest, NothingLeftOutIsFine) {
  Findings findings(false);
  findings.settle();
  EXPECT_EQ(findings.status(), STATUS_INTACT);
}

TEST(FindingsTest, JsonHasTheFirstProblemsOfAKindAndTheirNumber) {
  using Json = nlohmann::json;
  Repeated many;
  for (int i = 0; i < 12; ++i)
    many.add("problem " + std::to_string(i));
  Findings findings(true, true);
  testing::internal::CaptureStdout();
  findings.begin("full", "/mnt", {});
  findings.problems(STATUS_UNCHECKED, many, "correct them", "");
  findings.hint(std::string(30000, 'x'), "shorten it");
  findings.lookElsewhere();
  findings.well("fine");
  findings.summarize(2);
  std::vector<Json> const all = recordsOf("doctor", testing::internal::GetCapturedStdout());
  ASSERT_EQ(kindsOf(all), (std::vector<std::string>{"start", "problem", "hint", "ok", "summary"}));
  EXPECT_EQ(all[0].at("mode"), "full");
  EXPECT_EQ(all[0].at("root"), "/mnt");
  EXPECT_EQ(all[1].at("count"), 12);
  EXPECT_EQ(all[1].at("what").size(), 10U);
  EXPECT_EQ(all[1].at("what").at(9), "problem 9");
  EXPECT_EQ(all[1].at("fix"), "correct them");
  EXPECT_LT(all[2].at("what").at(0).get<std::string>().size(), 21000U);
  EXPECT_EQ(all[3],
            (Json{{"record", "ok"}, {"other_root", true}, {"count", 1}, {"what", {"fine"}}}));
  EXPECT_EQ(all[4], (Json{{"record", "summary"},
                          {"problems", 12},
                          {"passed", 1},
                          {"sets", 2},
                          {"status", STATUS_UNCHECKED}}));
}

}  // namespace
