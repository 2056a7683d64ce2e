// The library's glob and the C library's are overloads; here the C library's is declared last.

#include <zemo/selfcheck/file_list.h>

#include <glob.h>
#include <gtest/gtest.h>

namespace {

TEST(SystemGlobAfter, BothAreCallable) {
  glob_t found = {};
  EXPECT_EQ(glob("/", 0, nullptr, &found), 0);
  EXPECT_EQ(found.gl_pathc, 1U);
  globfree(&found);
  EXPECT_EQ(glob("/no-set", "/"), std::vector<std::string>{"/"});
  EXPECT_EQ(ZEMO::SELF_CHECK::glob("/no-set", "/"), std::vector<std::string>{"/"});
}

}  // namespace
