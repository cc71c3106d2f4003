#include "core/listing.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/temp_dir.h"

namespace {

using Korin::CollatorFactory;

int Sign(int v) {
  return v < 0 ? -1 : (v > 0 ? 1 : 0);
}

TEST(ListingTest, CollatorOrder) {
  struct Case {
    const char *a, *b;
    int caseless;  // sign under the POSIX and the caseless file-system collators
    int exact;     // sign under the case-sensitive file-system collator
  };
  const Case cases[] = {
      {"Page10", "Page2", -1, -1}, {"Page10", "page2", -1, -1}, {"abc", "ABC", 0, 1},
      {"alpha", "Beta", -1, 1},    {"Beta", "Play", -1, -1},    {"Play", "Zeta", -1, -1},
      {"a", "ab", -1, -1},         {"\xe9", "z", 1, 1},         {"_", "A", -1, 1},
  };
  const Korin::ICollator& posix = CollatorFactory::getPOSIXCollatorCI();
  const Korin::ICollator& caseless = CollatorFactory::getFileSystemCollator(true);
  const Korin::ICollator& exact = CollatorFactory::getFileSystemCollator(false);
  for (const Case& c : cases) {
    EXPECT_EQ(Sign(posix.compare(c.a, c.b)), c.caseless) << "case: " << c.a << " " << c.b;
    EXPECT_EQ(Sign(posix.compare(c.b, c.a)), -c.caseless) << "case: " << c.b << " " << c.a;
    EXPECT_EQ(Sign(caseless.compare(c.a, c.b)), c.caseless) << "case: " << c.a << " " << c.b;
    EXPECT_EQ(Sign(exact.compare(c.a, c.b)), c.exact) << "case: " << c.a << " " << c.b;
  }
}

TEST(ListingTest, Wildcards) {
  struct Case {
    const char *pattern, *name;
    bool caseless, exact;
  };
  const Case cases[] = {
      {"0003*.TXT", "0003Log.txt", true, false},
      {"0003*.TXT", "0004Log.TXT", false, false},
      {"0003*.TXT", "0003.TXT", true, true},
      {"*", "", true, true},
      {"?", "", false, false},
      {"a?c", "abc", true, true},
      {"a?c", "ac", false, false},
      {"*a*b", "xaxxb", true, true},
      {"*a*b", "xaxxbc", false, false},
      {"*ab", "aab", true, true},
      {"Page*", "page1", true, false},
      {"**x", "x", true, true},
      {"*.*", "noext", false, false},
      {"", "x", false, false},
  };
  const Korin::ICollator& caseless = CollatorFactory::getFileSystemCollator(true);
  const Korin::ICollator& exact = CollatorFactory::getFileSystemCollator(false);
  for (const Case& c : cases) {
    EXPECT_EQ(Korin::MatchWildcard(c.pattern, c.name, caseless), c.caseless)
        << "case: " << c.pattern << " on " << c.name;
    EXPECT_EQ(Korin::MatchWildcard(c.pattern, c.name, exact), c.exact)
        << "case: " << c.pattern << " on " << c.name;
  }
}

TEST(ListingTest, ListingThroughFilters) {
  talmon_test::ScopedDataDir dir;
  for (const char* name : {"0003Log.TXT", "0003a.txt", ".0003hidden.TXT", "0004Log.TXT"}) {
    std::ofstream(dir.file(name)) << "";
  }
  ASSERT_EQ(mkdir(dir.file("0003dir.TXT").c_str(), 0700), 0);
  // Links, FIFOs and other users' files never pass a pattern filter.
  ASSERT_EQ(symlink("0003Log.TXT", dir.file("0003link.TXT").c_str()), 0);
  ASSERT_EQ(mkfifo(dir.file("0003fifo.TXT").c_str(), 0600), 0);
  size_t entries = 7;
  if (geteuid() == 0) {
    std::ofstream(dir.file("0003other.TXT")) << "";
    ASSERT_EQ(chown(dir.file("0003other.TXT").c_str(), 65534, 65534), 0);
    ++entries;
  }
  const Korin::File folder(dir.path().c_str());
  auto list = [&](const Korin::IFileFilter& filter) {
    std::vector<Korin::String> names;
    EXPECT_TRUE(folder.listFiles(names, filter, false));
    std::vector<std::string> sorted(names.begin(), names.end());
    std::sort(sorted.begin(), sorted.end());
    return sorted;
  };
  struct Case {
    const char* pattern;
    bool directories, hidden, files;
    std::vector<std::string> want;
  };
  const Case cases[] = {
      {"0003*.TXT", false, false, true, {"0003Log.TXT", "0003a.txt"}},
      {"0003*.TXT", true, false, true, {"0003Log.TXT", "0003a.txt", "0003dir.TXT"}},
      {"0003*.TXT", true, false, false, {"0003dir.TXT"}},
      {"*hidden*", false, false, true, {}},
      {"*hidden*", false, true, true, {".0003hidden.TXT"}},
  };
  for (const Case& c : cases) {
    auto filter = Korin::IFileFilter::getMatchAllFilesFilenameFilterWithPattern(
        c.pattern, CollatorFactory::getFileSystemCollator(true), c.directories, c.hidden, c.files);
    EXPECT_EQ(list(*filter), c.want)
        << "case: " << c.pattern << " " << c.directories << c.hidden << c.files;
  }
  const Korin::IFileFilter& all = Korin::IFileFilter::getMatchAllFileFilter();
  EXPECT_EQ(list(all).size(), entries);

  std::vector<Korin::String> names;
  EXPECT_FALSE(folder.listFiles(names, all, true));
  EXPECT_FALSE(Korin::File(dir.file("0003Log.TXT").c_str()).listFiles(names, all, false));
  EXPECT_TRUE(names.empty());
  EXPECT_TRUE(Korin::File(dir.path().c_str(), "0003dir.TXT").isDirectory());
  EXPECT_FALSE(Korin::File(dir.path().c_str(), "0003Log.TXT").isDirectory());
  ASSERT_EQ(symlink("0003dir.TXT", dir.file("0003dirlink").c_str()), 0);
  EXPECT_FALSE(Korin::File(dir.path().c_str(), "0003dirlink").isDirectory());
}

TEST(ListingTest, FileNames) {
  EXPECT_STREQ(Korin::File("/d/0003Log.TXT").getBaseName().c_str(), "0003Log.TXT");
  EXPECT_STREQ(Korin::File("/d/sub/").getBaseName().c_str(), "sub");
  EXPECT_STREQ(Korin::File("/d", "x").getPath(), "/d/x");
  EXPECT_STREQ(Korin::File("/d/", "x").getPath(), "/d/x");
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  EXPECT_EQ(std::string(Korin::File("", "x").getAbsolutePath()), std::string(cwd) + "/x");
  EXPECT_STREQ(Korin::File("/d/x").getAbsolutePath().c_str(), "/d/x");
}

}  // namespace
