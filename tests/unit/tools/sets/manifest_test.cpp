#include "sets/manifest.h"

#include <gtest/gtest.h>

#include "io/exit_status.h"

using tool::Failure;
using tool::labelOfManifest;
using tool::Manifest;
using tool::manifestText;
using tool::parseManifest;

namespace {

const std::string digest(64, 'a');
const std::string start =
    "WAM_SELF_CHECK_MANIFEST 1\nset=wam mode=full serial=7 date=2026-09-21T12:00:00Z\n";
const std::string line = digest + "\t12\t3\twam.full.base.list\n";

Manifest parsed(const std::string& text) {
  return parseManifest(text, "/m", "wam", "full");
}

std::string whyNot(const std::string& text) {
  try {
    (void)parsed(text);
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "";
}

}  // namespace

TEST(Manifest, IsReadBack) {
  Manifest const manifest{{"wam", "full", "", UINT64_MAX, 0},
                          {{digest, UINT64_MAX, UINT64_MAX, "wam.full.z.list"},
                           {digest, 0, std::nullopt, "wam.full.a b\t\n\x1b\xff\\.list"}}};
  std::string const text = manifestText(manifest);
  Manifest const read = parsed(text);
  EXPECT_EQ(read.label.serial, UINT64_MAX);
  ASSERT_EQ(read.lists.size(), 2U);
  EXPECT_EQ(read.lists[0].digest, digest);
  EXPECT_EQ(read.lists[0].size, UINT64_MAX);
  EXPECT_EQ(read.lists[0].serial, UINT64_MAX);
  EXPECT_EQ(read.lists[1].serial, std::nullopt);
  EXPECT_EQ(read.lists[1].name, manifest.lists[1].name);
  EXPECT_EQ(manifestText(read), text);
}

TEST(Manifest, HasOneForm) {
  EXPECT_EQ(whyNot(start + line), "");
  for (const std::string& text : std::vector<std::string>{
           "",
           "\n",
           start,
           line,
           start + "\n",
           start + line + "\n",
           start + line + line,
           start + line.substr(0, line.size() - 1),
           start + "\r" + line,
           "WAM_SELF_CHECK" + start.substr(start.find('\n')) + line,
           "WAM_SELF_CHECK_MANIFEST 2" + start.substr(start.find('\n')) + line,
           "WAM_SELF_CHECK_MANIFEST 1\nfree text\n" + line,
           "WAM_SELF_CHECK_MANIFEST 1\nset=wam mode=full list=base serial=7 "
           "date=2026-09-21T12:00:00Z\n" +
               line,
           "WAM_SELF_CHECK_MANIFEST 1\nset=wam mode=full serial=07 date=2026-09-21T12:00:00Z\n" +
               line,
           start + std::string(64, 'A') + "\t12\t3\twam.full.base.list\n",
           start + std::string(63, 'a') + "\t12\t3\twam.full.base.list\n",
           start + digest + "\t012\t3\twam.full.base.list\n",
           start + digest + "\t-1\t3\twam.full.base.list\n",
           start + digest + "\t18446744073709551616\t3\twam.full.base.list\n",
           start + digest + "\t12\t\twam.full.base.list\n",
           start + digest + "\t12\t+3\twam.full.base.list\n",
           start + digest + "\t12\twam.full.base.list\n",
           start + digest + "\t12\t3\twam.full.base.list\tmore\n",
           start + digest + "\t12\t3\tdir/wam.full.base.list\n",
           start + digest + "\t12\t3\twam.full.\\000.list\n",
           start + digest + "\t12\t3\twam.full.\\999.list\n",
           start + digest + "\t12\t3\twam.full.\\141.list\n",
           start + digest + "\t12\t3\twam.full.\x1b.list\n",
           start + digest + "\t12\t3\twam.quick.base.list\n",
           start + digest + "\t12\t3\twam.full.manifest\n",
           start + digest + "\t12\t3\t\n",
           start + std::string("\0", 1) + line,
       })
    EXPECT_NE(whyNot(text), "") << text;
}

TEST(Manifest, OfAnotherSetOrModeIsRefused) {
  for (const char* const other : {"set=x mode=full", "set=wam mode=quick"}) {
    std::string const text = "WAM_SELF_CHECK_MANIFEST 1\n" + std::string(other) +
                             " serial=7 date=2026-09-21T12:00:00Z\n" + line;
    EXPECT_NE(whyNot(text).find("it describes another set"), std::string::npos) << other;
  }
}

TEST(Manifest, ALongOneIsRefused) {
  EXPECT_EQ(whyNot(std::string(tool::longestManifest + 1, 'x')),
            "'/m' is not a manifest: it has more than 16777216 bytes");
}

TEST(Manifest, IsNamedBySetAndMode) {
  EXPECT_EQ(tool::manifestName("a.b", "full"), "a.b.full.manifest");
  EXPECT_EQ(labelOfManifest("/x/a.b.full.manifest").set, "a.b");
  EXPECT_EQ(labelOfManifest("/x/a.b.full.manifest").mode, "full");
  for (const char* const name :
       {"", "manifest", ".manifest", "wam.manifest", ".full.manifest", "wam..manifest",
        "wam.full.manifest/", "wam.full.list", "*.full.manifest", "wam.*.manifest"})
    EXPECT_THROW((void)labelOfManifest(name), tool::UsageError) << name;
}
