#include "core/app_data.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "core/path.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::ScopedEnv;

Korin::IAppData& AppData() {
  return *LoadAppDataManager()->GetAppData();
}

TEST(AppDataTest, DirectoryComesFromTheEnvironmentAndIsMadePrivate) {
  struct Case {
    const char *data, *state, *want;  // under a fresh root; data and state null: unset
  };
  const Case cases[] = {
      {"mine", "state", "mine/"},
      {"deep/er/", nullptr, "deep/er/"},
      {"", "state", "state/talmon/"},  // an empty TALMON_DATA_DIR counts as unset
      {nullptr, "st/ate", "st/ate/talmon/"},
      {nullptr, "", "home/.local/state/talmon/"},
  };
  for (const Case& c : cases) {
    talmon_test::ScopedDataDir root;
    auto under = [&](const char* part) {
      return part && *part ? root.path() + part : std::string();
    };
    const std::string data = under(c.data), state = under(c.state), home = under("home");
    ScopedEnv e1("TALMON_DATA_DIR", c.data ? data.c_str() : nullptr);
    ScopedEnv e2("XDG_STATE_HOME", c.state ? state.c_str() : nullptr);
    ScopedEnv e3("HOME", home.c_str());
    char buffer[Korin::kMaxPath];
    ASSERT_TRUE(AppData().GetDataDirectory(buffer, 0, sizeof buffer, '/')) << "case: " << c.want;
    const std::string want = root.path() + c.want;
    EXPECT_EQ(std::string(buffer), want);
    for (size_t slash = want.find('/', root.path().size()); slash != std::string::npos;
         slash = want.find('/', slash + 1)) {
      struct stat st;
      ASSERT_EQ(stat(want.substr(0, slash).c_str(), &st), 0) << "case: " << c.want;
      EXPECT_EQ(st.st_mode & (S_IFMT | 0777), S_IFDIR | 0700u)
          << "case: " << c.want << " at " << slash;
    }
  }
}

TEST(AppDataTest, RefusalsLeaveAnEmptyBuffer) {
  talmon_test::ScopedDataDir dir;
  char buffer[Korin::kMaxPath] = "x";
  EXPECT_FALSE(AppData().GetDataDirectory(buffer, 1, sizeof buffer, '/'));  // reserved
  EXPECT_STREQ(buffer, "");
  char small[4] = "x";
  EXPECT_FALSE(AppData().GetDataDirectory(small, 0, sizeof small, '/'));
  EXPECT_STREQ(small, "");

  ASSERT_TRUE(AppData().GetDataFilePath(buffer, 0, sizeof buffer, "0001Play.TXT"));
  EXPECT_EQ(std::string(buffer), dir.file("0001Play.TXT"));
  const std::string tooLong(Korin::kMaxPath - dir.path().size(), 'n');
  EXPECT_FALSE(AppData().GetDataFilePath(buffer, 0, sizeof buffer, tooLong.c_str()));
  EXPECT_STREQ(buffer, "");

  std::ofstream(dir.file("file")) << "in the way";
  ScopedEnv env("TALMON_DATA_DIR", dir.file("file/sub").c_str());
  EXPECT_FALSE(AppData().GetDataDirectory(buffer, 0, sizeof buffer, '/'));
  EXPECT_STREQ(buffer, "");
}

// A directory others may write, or that another user owns, would let them plant links and
// forge or remove sessions: it is refused unless the user declares it shared.
TEST(AppDataTest, UnsafeExistingDirectoryIsRefusedUnlessShared) {
  struct Case {
    mode_t mode;
    bool otherOwner;  // chowned to another user: only when running as root
    bool ok, okShared;
  };
  const Case cases[] = {
      {0700, false, true, true},  {0755, false, true, true},   {0770, false, false, true},
      {0777, false, false, true}, {01777, false, false, true}, {0700, true, false, true},
  };
  for (const Case& c : cases) {
    if (c.otherOwner && geteuid() != 0) continue;
    talmon_test::ScopedDataDir dir;
    ASSERT_EQ(chmod(dir.path().c_str(), c.mode), 0);
    if (c.otherOwner) {
      ASSERT_EQ(chown(dir.path().c_str(), 65534, 65534), 0);
    }
    char buffer[Korin::kMaxPath];
    for (const char* shared : {static_cast<const char*>(nullptr), "0", "1"}) {
      ScopedEnv env("TALMON_SHARED_DIR", shared);
      const bool want = shared != nullptr && std::string(shared) == "1" ? c.okShared : c.ok;
      EXPECT_EQ(AppData().GetDataDirectory(buffer, 0, sizeof buffer, '/'), want)
          << "case: " << std::oct << c.mode << " other " << c.otherOwner << " shared "
          << (shared ? shared : "unset");
    }
  }
}

}  // namespace
