#include "core/watch.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "tests/support/temp_dir.h"

namespace {

using Clock = std::chrono::steady_clock;

long long MsSince(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

TEST(WatchTest, WakesOnChangesAndConsumesThem) {
  talmon_test::ScopedDataDir dir;
  Korin::DirectoryWatch watch;
  ASSERT_TRUE(watch.Open(dir.path().c_str()));
  EXPECT_FALSE(watch.Wait(0));
  const std::string play = dir.file("0001Play.TXT"), pause = dir.file("0001Pause.TXT");
  std::thread creator([&] {
    usleep(10000);
    std::ofstream(play) << "";
  });
  const Clock::time_point start = Clock::now();
  EXPECT_TRUE(watch.Wait(5000));
  EXPECT_LT(MsSince(start), 2000);
  creator.join();
  watch.Wait(10);  // the creation may have come as several events
  EXPECT_FALSE(watch.Wait(0));
  ASSERT_EQ(rename(play.c_str(), pause.c_str()), 0);
  EXPECT_TRUE(watch.Wait(1000));
}

TEST(WatchTest, AddedDirectoriesShareTheDescriptor) {
  talmon_test::ScopedDataDir first, second;
  Korin::DirectoryWatch watch;
  EXPECT_FALSE(watch.Add(first.file("none").c_str()));
  EXPECT_EQ(watch.Fd(), -1) << "a failed first Add leaves no descriptor";
  ASSERT_TRUE(watch.Add(first.path().c_str()));
  const int fd = watch.Fd();
  EXPECT_FALSE(watch.Add(second.file("none").c_str()));
  ASSERT_TRUE(watch.Add(second.path().c_str()));
  EXPECT_EQ(watch.Fd(), fd);
  for (const talmon_test::ScopedDataDir* dir : {&first, &second}) {
    std::ofstream(dir->file("x")) << "";
    EXPECT_TRUE(watch.Wait(1000)) << dir->path();
    watch.Wait(10);
  }
}

TEST(WatchTest, ClosedWatchSleepsOutItsTimeout) {
  talmon_test::ScopedDataDir dir;
  Korin::DirectoryWatch watch;
  EXPECT_FALSE(watch.Open(dir.file("none").c_str()));
  ASSERT_TRUE(watch.Open(dir.path().c_str()));
  watch.Close();
  EXPECT_EQ(watch.Fd(), -1);
  std::ofstream(dir.file("x")) << "";
  const Clock::time_point start = Clock::now();
  EXPECT_FALSE(watch.Wait(20));
  EXPECT_GE(MsSince(start), 20);
}

}  // namespace
