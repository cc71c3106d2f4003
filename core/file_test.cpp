#include "core/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "tests/support/temp_dir.h"

namespace {

using talmon_test::ScopedDataDir;

void WriteText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// The file's bytes, or "<none>" when there is no file.
std::string ReadText(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  return f ? std::string(std::istreambuf_iterator<char>(f), {}) : "<none>";
}

KorinHandle OpenWriter(const std::string& path, uint32_t disposition = kCreateAlways,
                       uint32_t flags = kFileAttributeNormal, uint32_t share = kFileShareRead) {
  return Korin_CreateFile(path.c_str(), kGenericWrite, share, nullptr, disposition, flags, nullptr);
}

// Runs body in a forked child, which ends with _exit(body()) and so never closes its
// handles; returns its exit status, or -1 when it did not exit.
template <typename Body>
int InChild(Body body) {
  pid_t pid = fork();
  if (pid == 0) _exit(body());
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(FileTest, Dispositions) {
  struct Case {
    uint32_t disposition;
    bool exists, opens;
    uint32_t error;
    const char* after;  // the file's bytes after open and close
  };
  const Case cases[] = {
      {kCreateNew, false, true, kErrorSuccess, ""},
      {kCreateNew, true, false, kErrorFileExists, "old"},
      {kCreateAlways, false, true, kErrorSuccess, ""},
      {kCreateAlways, true, true, kErrorAlreadyExists, ""},
      {kOpenExisting, false, false, kErrorFileNotFound, "<none>"},
      {kOpenExisting, true, true, kErrorSuccess, "old"},
      {kOpenAlways, false, true, kErrorSuccess, ""},
      {kOpenAlways, true, true, kErrorAlreadyExists, "old"},
      {kTruncateExisting, false, false, kErrorFileNotFound, "<none>"},
      {kTruncateExisting, true, true, kErrorSuccess, ""},
      {9, true, false, kErrorInvalidParameter, "old"},
  };
  ScopedDataDir dir;
  const std::string path = dir.file("f");
  for (const Case& c : cases) {
    unlink(path.c_str());
    if (c.exists) WriteText(path, "old");
    KorinHandle h = OpenWriter(path, c.disposition);
    const std::string tag = "case: " + std::to_string(c.disposition) + (c.exists ? " on old" : "");
    EXPECT_EQ(KorinIsOpen(h), c.opens) << tag;
    EXPECT_EQ(Korin_GetLastError(), c.error) << tag;
    EXPECT_TRUE(c.opens ? Korin_CloseHandle(h) : h == KorinInvalidHandle()) << tag;
    EXPECT_EQ(ReadText(path), c.after) << tag;
  }
}

TEST(FileTest, RefusedPathsAndHandles) {
  ScopedDataDir dir;
  EXPECT_EQ(OpenWriter(dir.file("missing/f")), KorinInvalidHandle());
  EXPECT_EQ(Korin_GetLastError(), kErrorPathNotFound);
  EXPECT_EQ(OpenWriter(dir.path(), kOpenExisting), KorinInvalidHandle());
  EXPECT_EQ(Korin_GetLastError(), kErrorAccessDenied);

  // 259 bytes is the longest path; 260 is refused before the file system sees it.
  std::string longest = dir.file("s");
  ASSERT_TRUE(Korin_CreateDirectory(longest.c_str()));
  longest += "/" + std::string(259 - longest.size() - 1, 'n');
  EXPECT_TRUE(Korin_CloseHandle(OpenWriter(longest)));
  EXPECT_EQ(OpenWriter(longest + "n"), KorinInvalidHandle());
  EXPECT_EQ(Korin_GetLastError(), kErrorFilenameTooLong);

  uint32_t done = 7;
  for (KorinHandle bad : {static_cast<KorinHandle>(nullptr), KorinInvalidHandle()}) {
    EXPECT_FALSE(Korin_CloseHandle(bad));
    EXPECT_FALSE(Korin_ReadFileAt(bad, 0, &done, 4, &done));
    EXPECT_EQ(done, 0u);
    EXPECT_FALSE(Korin_WriteFileAt(bad, 0, "x", 1, &done));
    EXPECT_FALSE(Korin_SetEndOfFileAt(bad, 0));
    EXPECT_EQ(Korin_GetLastError(), kErrorInvalidHandle);
  }
}

TEST(FileTest, PositionedReadWriteAndCut) {
  ScopedDataDir dir;
  KorinHandle w = OpenWriter(dir.file("f"));
  uint32_t done = 0;
  ASSERT_TRUE(Korin_WriteFileAt(w, 4, "tail", 4, &done));
  EXPECT_EQ(done, 4u);
  ASSERT_TRUE(Korin_WriteFileAt(w, 0, "head", 4, &done));
  KorinHandle r = Korin_CreateFile(dir.file("f").c_str(), kGenericRead, 7, nullptr, kOpenExisting,
                                   kFileAttributeNormal, nullptr);
  char buffer[16];
  ASSERT_TRUE(Korin_ReadFileAt(r, 2, buffer, sizeof buffer, &done));
  EXPECT_EQ(std::string(buffer, done), "adtail");  // a short read at the end succeeds
  ASSERT_TRUE(Korin_SetEndOfFileAt(w, 6));
  EXPECT_EQ(ReadText(dir.file("f")), "headta");
  EXPECT_FALSE(Korin_SetEndOfFileAt(r, 0));  // a reading handle cannot cut
  Korin_CloseHandle(r);
  Korin_CloseHandle(w);
}

TEST(FileTest, AWriterHoldsItsFileAgainstOtherWriters) {
  ScopedDataDir dir;
  const std::string path = dir.file("page.TXT");
  KorinFileAttributes attributes;
  WriteText(path, "abc");
  ASSERT_TRUE(Korin_GetFileAttributesEx(path.c_str(), &attributes));
  EXPECT_EQ(attributes.attributes, kFileAttributeNormal);
  EXPECT_EQ(attributes.size, 3u);
  KorinHandle first = OpenWriter(path, kOpenAlways);
  ASSERT_TRUE(Korin_WriteFileAt(first, 0, "live", 4, nullptr));
  ASSERT_TRUE(Korin_GetFileAttributesEx(path.c_str(), &attributes));
  EXPECT_EQ(attributes.attributes, kFileAttributeTemporary);
  for (uint32_t disposition : {kCreateAlways, kTruncateExisting, kOpenAlways}) {
    EXPECT_EQ(OpenWriter(path, disposition), KorinInvalidHandle()) << "case: " << disposition;
    EXPECT_EQ(Korin_GetLastError(), kErrorSharingViolation) << "case: " << disposition;
  }
  EXPECT_EQ(0, InChild([&] {
              return Korin_IsHeld(path.c_str()) && OpenWriter(path) == KorinInvalidHandle() &&
                             Korin_GetLastError() == kErrorSharingViolation
                         ? 0
                         : 1;
            }));
  EXPECT_EQ(ReadText(path), "live");
  // A writer that shares writing takes no lock.
  EXPECT_TRUE(Korin_CloseHandle(OpenWriter(path, kOpenExisting, 0, kFileShareWrite)));
  Korin_CloseHandle(first);
  EXPECT_FALSE(Korin_IsHeld(path.c_str()));

  // A writer that died without closing holds nothing.
  EXPECT_EQ(0, InChild([&] { return KorinIsOpen(OpenWriter(path)) ? 0 : 1; }));
  EXPECT_FALSE(Korin_IsHeld(path.c_str()));
  EXPECT_TRUE(Korin_CloseHandle(OpenWriter(path)));
}

// Whatever stands under a page's name, an open never follows it, never blocks on it, and
// never writes, cuts or reads through it: only regular files of the caller's own user open.
TEST(FileTest, LinksFifosDirectoriesAndOtherUsersFilesAreRefused) {
  ScopedDataDir dir;
  const std::string target = dir.file("target");
  WriteText(target, "precious");
  struct Case {
    const char* name;
    uint32_t attributes;  // as Korin_GetFileAttributesEx reports the entry
    bool rootOnly;
  };
  const Case cases[] = {
      {"link", kFileAttributeReparsePoint, false}, {"dangling", kFileAttributeReparsePoint, false},
      {"fifo", kFileAttributeDevice, false},       {"dir", kFileAttributeDirectory, false},
      {"other", kFileAttributeNormal, true},
  };
  ASSERT_EQ(symlink(target.c_str(), dir.file("link").c_str()), 0);
  ASSERT_EQ(symlink(dir.file("nowhere").c_str(), dir.file("dangling").c_str()), 0);
  ASSERT_EQ(mkfifo(dir.file("fifo").c_str(), 0666), 0);
  ASSERT_EQ(mkdir(dir.file("dir").c_str(), 0700), 0);
  const bool root = geteuid() == 0;
  if (root) {
    WriteText(dir.file("other"), "theirs");
    ASSERT_EQ(chmod(dir.file("other").c_str(), 0666), 0);
    ASSERT_EQ(chown(dir.file("other").c_str(), 65534, 65534), 0);
  }
  for (const Case& c : cases) {
    if (c.rootOnly && !root) continue;
    const std::string path = dir.file(c.name);
    for (uint32_t disposition : {kCreateAlways, kOpenAlways, kOpenExisting, kTruncateExisting}) {
      EXPECT_EQ(OpenWriter(path, disposition), KorinInvalidHandle())
          << "case: " << c.name << " " << disposition;
    }
    EXPECT_EQ(Korin_CreateFile(path.c_str(), kGenericRead, 7, nullptr, kOpenExisting, 0, nullptr),
              KorinInvalidHandle())
        << "case: " << c.name;
    KorinFileAttributes attributes;
    ASSERT_TRUE(Korin_GetFileAttributesEx(path.c_str(), &attributes)) << "case: " << c.name;
    EXPECT_EQ(attributes.attributes, c.attributes) << "case: " << c.name;
    EXPECT_EQ(attributes.owned, !c.rootOnly) << "case: " << c.name;
    if (!c.rootOnly) {
      EXPECT_FALSE(Korin_IsHeld(path.c_str())) << "case: " << c.name;
    }
  }
  EXPECT_EQ(ReadText(target), "precious");
  EXPECT_EQ(ReadText(dir.file("nowhere")), "<none>");
  if (root) {
    EXPECT_EQ(ReadText(dir.file("other")), "theirs");
  }
}

TEST(FileTest, WriterWaitsOutABriefHeldTest) {
  ScopedDataDir dir;
  const std::string path = dir.file("marker");
  WriteText(path, "");
  // The held test of another process keeps a shared lock for an instant.
  int probe = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(probe, LOCK_SH | LOCK_NB), 0);
  std::thread release([probe] {
    usleep(5000);
    close(probe);
  });
  KorinHandle h = OpenWriter(path, kOpenAlways);
  release.join();
  EXPECT_TRUE(Korin_CloseHandle(h));
}

TEST(FileTest, DeleteOnCloseFollowsRenamesAndSparesOtherFiles) {
  ScopedDataDir dir;
  const uint32_t flags = kFileFlagDeleteOnClose | kFileAttributeTemporary;
  const std::string play = dir.file("0001Play.TXT"), pause = dir.file("0001Pause.TXT");
  // Renamed by another process, then a new file takes the old name: the renamed file goes,
  // the newcomer stays.
  KorinHandle h = OpenWriter(play, kOpenAlways, flags);
  ASSERT_EQ(0, InChild([&] { return Korin_MoveFile(play.c_str(), pause.c_str()) ? 0 : 1; }));
  EXPECT_TRUE(Korin_IsHeld(pause.c_str()));  // the lock moved with the inode
  WriteText(play, "by hand");
  EXPECT_TRUE(Korin_CloseHandle(h));
  EXPECT_EQ(ReadText(pause), "<none>");
  EXPECT_EQ(ReadText(play), "by hand");

  // Deleted and replaced under the same name: the replacement is not ours to remove.
  h = OpenWriter(dir.file("x"), kCreateNew, flags);
  unlink(dir.file("x").c_str());
  WriteText(dir.file("x"), "new");
  EXPECT_TRUE(Korin_CloseHandle(h));
  EXPECT_EQ(ReadText(dir.file("x")), "new");
}

// A forked child inherits the parent's handles; its exit must not close, and so delete, them.
// (The exit-time close of a process's own handles is checked below.)
TEST(FileTest, ExitClosesOnlyTheExitingProcessHandles) {
  ScopedDataDir dir;
  const std::string parents = dir.file("parent");
  KorinHandle h = OpenWriter(parents, kCreateAlways, kFileFlagDeleteOnClose);
  EXPECT_EQ(0, InChild([]() -> int { exit(0); }));
  EXPECT_EQ(ReadText(parents), "");
  Korin_CloseHandle(h);
  EXPECT_EQ(ReadText(parents), "<none>");
}

// The owner of a handle may outlive the exit-time close: a writer held by a static object
// is destroyed after it. Its handle must then fail cleanly instead of touching freed memory
// or a descriptor number that a later open has taken.
KorinHandle gOutlived = nullptr;
std::string gDir;

void UseOutlivedHandle() {
  const std::string other = gDir + "/other";
  WriteText(other, "keep");
  const int fd = open(other.c_str(), O_RDWR);  // may take the closed descriptor number
  uint32_t done = 0;
  const bool cut = Korin_SetEndOfFileAt(gOutlived, 0);
  const bool wrote = Korin_WriteFileAt(gOutlived, 0, "zz", 2, &done);
  Korin_CloseHandle(gOutlived);
  close(fd);
  const bool intact = ReadText(other) == "keep" && ReadText(gDir + "/page") == "<none>";
  talmon_test::RemoveTree(gDir);
  _exit(cut || wrote || !intact ? 3 : 0);
}

TEST(FileTest, HandleUsedAfterTheExitTimeClose) {
  // A fresh process, so that the exit-time close is registered after this test's handler.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        char dir[] = "/tmp/talmon-test-XXXXXX";
        if (mkdtemp(dir) == nullptr) _exit(1);
        gDir = dir;
        atexit(UseOutlivedHandle);
        gOutlived = OpenWriter(gDir + "/page", kCreateAlways, kFileFlagDeleteOnClose);
        if (!KorinIsOpen(gOutlived)) _exit(1);
        exit(2);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(FileTest, MoveCreateDirectoryAndDelete) {
  ScopedDataDir dir;
  const std::string a = dir.file("a"), b = dir.file("b"), c = dir.file("c");
  WriteText(a, "A");
  WriteText(b, "B");
  EXPECT_FALSE(Korin_MoveFile(a.c_str(), b.c_str()));
  EXPECT_EQ(Korin_GetLastError(), kErrorAlreadyExists);
  EXPECT_EQ(ReadText(b), "B");
  EXPECT_TRUE(Korin_MoveFile(a.c_str(), c.c_str()));
  EXPECT_EQ(ReadText(c), "A");
  EXPECT_FALSE(Korin_MoveFile(a.c_str(), c.c_str()));
  EXPECT_EQ(Korin_GetLastError(), kErrorFileNotFound);

  struct stat st;
  ASSERT_TRUE(Korin_CreateDirectory(dir.file("sub").c_str()));
  ASSERT_EQ(stat(dir.file("sub").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  EXPECT_FALSE(Korin_CreateDirectory(dir.file("sub").c_str()));
  EXPECT_EQ(Korin_GetLastError(), kErrorAlreadyExists);
  EXPECT_FALSE(Korin_CreateDirectory(dir.file("x/y").c_str()));  // one level only
  EXPECT_EQ(Korin_DeleteFile(dir.file("sub").c_str()), 0);       // directories are no files

  // A held file is removed all the same: whether it may go is the caller's test.
  KorinHandle h = OpenWriter(b);
  EXPECT_NE(Korin_DeleteFile(b.c_str()), 0);
  EXPECT_FALSE(Korin_FileExists(b.c_str()));
  EXPECT_EQ(Korin_DeleteFile(b.c_str()), 0);
  EXPECT_EQ(Korin_GetLastError(), kErrorFileNotFound);
  Korin_CloseHandle(h);
}

}  // namespace

// The lock table lists a writer's file while the writer holds it, and only then, so that a
// listing may skip the open of every file the table does not name.
TEST(LockedInodes, AHeldFileIsListedUntilItsWriterCloses) {
  ScopedDataDir dir;
  const std::string path = dir.file("0001Log.TXT");
  KorinHandle writer = Korin_CreateFile(path.c_str(), kGenericWrite, kFileShareRead, nullptr,
                                        kCreateAlways, kFileAttributeNormal, nullptr);
  ASSERT_TRUE(KorinIsOpen(writer));
  struct stat st;
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  const uint64_t inode = st.st_ino;
  std::vector<uint64_t> locked;
  if (!Korin_ListLockedInodes(locked)) GTEST_SKIP() << "no lock table to read (/proc/locks)";
  EXPECT_TRUE(std::binary_search(locked.begin(), locked.end(), inode));
  EXPECT_TRUE(std::is_sorted(locked.begin(), locked.end()));
  Korin_CloseHandle(writer);
  ASSERT_TRUE(Korin_ListLockedInodes(locked));
  EXPECT_FALSE(std::binary_search(locked.begin(), locked.end(), inode));
}
