// How doctor reports things that it could not examine.

#include "doctor/findings.h"

#include <gtest/gtest.h>

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

}  // namespace
