#include "core/path.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

TEST(PathTest, SplitThenJoin) {
  struct Case {
    const char *path, *dir, *name, *ext;
  };
  const Case cases[] = {
      {"/d/x/0001Log.TXT", "/d/x/", "0001Log", ".TXT"},
      {"/d/x/.hidden", "/d/x/", ".hidden", ""},
      {"0001Time", "", "0001Time", ""},
      {"/d/x/", "/d/x/", "", ""},
      {"a.b.c", "", "a.b", ".c"},
      {"/d.x/name", "/d.x/", "name", ""},  // a dot in the directory is no extension
  };
  for (const Case& c : cases) {
    char drive[Korin::kMaxDrive] = "?";
    char dir[Korin::kMaxDir], name[Korin::kMaxFName], ext[Korin::kMaxExt], out[Korin::kMaxPath];
    Korin::SplitPath(c.path, drive, dir, name, ext);  // a drive left as "?" shows in out
    EXPECT_STREQ(dir, c.dir) << "case: " << c.path;
    EXPECT_STREQ(name, c.name) << "case: " << c.path;
    EXPECT_STREQ(ext, c.ext) << "case: " << c.path;
    ASSERT_TRUE(Korin_makepath(out, drive, dir, name, ext)) << "case: " << c.path;
    EXPECT_STREQ(out, c.path);
  }
  char out[Korin::kMaxPath];
  ASSERT_TRUE(Korin_makepath(out, "", "/d", "n", "IDX"));  // separators are added
  EXPECT_STREQ(out, "/d/n.IDX");
  ASSERT_TRUE(Korin_makepath(out, nullptr, nullptr, "n", nullptr));
  EXPECT_STREQ(out, "n");
}

TEST(PathTest, LengthLimits) {
  const std::string longName(300, 'n');
  char name[Korin::kMaxFName];
  Korin::SplitPath(("/d/" + longName + ".e").c_str(), nullptr, nullptr, name, nullptr);
  EXPECT_EQ(std::string(name), longName.substr(0, Korin::kMaxFName - 1));

  char out[Korin::kMaxPath];
  const std::string dir = "/" + std::string(200, 'd') + "/";
  const std::string fits(259 - dir.size() - 4, 'n');
  ASSERT_TRUE(Korin_makepath(out, "", dir.c_str(), fits.c_str(), "TXT"));
  EXPECT_EQ(strlen(out), 259u);
  EXPECT_FALSE(Korin_makepath(out, "", dir.c_str(), (fits + "n").c_str(), "TXT"));
  EXPECT_STREQ(out, "");
}

}  // namespace
