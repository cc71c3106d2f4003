// Pages shared between processes: a producer in one process, a reader in another.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "storage/page_test_support.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::Page;
using talmon_test::Rows;
using talmon_test::ScopedDataDir;
using talmon_test::Slurp;

char Receive(int fd) {
  char c = 0;
  return read(fd, &c, 1) == 1 ? c : 0;
}

void Send(int fd, char c) {
  ASSERT_EQ(write(fd, &c, 1), 1);
}

TEST(PageProcessTest, ReaderSeesExactlyTheFlushedRowsWhileThePageGrows) {
  ScopedDataDir dir;
  const std::string page = dir.file("0001Log");
  bool opened = true;
  auto reader = Page(page, false, false, &opened);  // before the page exists
  EXPECT_FALSE(opened);
  const char* text = nullptr;
  uint32_t length = 0;
  EXPECT_FALSE(reader->GetRow(0, text, length));
  int toParent[2], toChild[2];
  ASSERT_EQ(pipe(toParent), 0);
  ASSERT_EQ(pipe(toChild), 0);
  pid_t pid = fork();
  if (pid == 0) {
    bool ok = false;
    auto writer = Page(page, true, true, &ok);
    if (!ok) _exit(2);
    for (char step = '0'; step < '3'; ++step) {
      writer->Write((std::string("row ") + step + "\n").c_str());
      writer->Flush();
      // Temporary text, written but never published.
      writer->Save();
      writer->Write("pending 50%");
      if (write(toParent[1], &step, 1) != 1 || Receive(toChild[0]) != step) _exit(3);
      writer->Restore();
    }
    writer->Write("done");
    writer->Flush();
    const char end = 'E';
    if (write(toParent[1], &end, 1) != 1 || Receive(toChild[0]) != end) _exit(3);
    writer.reset();
    _exit(0);
  }
  ASSERT_GT(pid, 0);
  std::vector<std::string> expected;
  for (char step = '0'; step < '3'; ++step) {
    ASSERT_EQ(Receive(toParent[0]), step);
    if (!expected.empty()) expected.pop_back();
    expected.push_back(std::string("row ") + step + "|6");
    expected.push_back("|0");
    EXPECT_EQ(Rows(*reader), expected) << "step " << step;
    Send(toChild[1], step);
  }
  ASSERT_EQ(Receive(toParent[0]), 'E');
  expected.back() = "done|4";
  EXPECT_EQ(Rows(*reader), expected);
  Send(toChild[1], 'E');
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
  // The producer's page was temporary: gone from the directory, still read through the
  // handles this reader holds.
  EXPECT_EQ(dir.list(), std::vector<std::string>{});
  EXPECT_EQ(Rows(*reader), expected);
  for (int fd : {toParent[0], toParent[1], toChild[0], toChild[1]})
    close(fd);
}

TEST(PageProcessTest, OtherProcessCannotTakeALivePageButReadsIt) {
  ScopedDataDir dir;
  const std::string page = dir.file("0001Log");
  bool opened = false;
  auto writer = Page(page, true, false, &opened);
  ASSERT_TRUE(opened);
  writer->Write("a\nb");
  writer->Flush();
  const std::string text = Slurp(page + ".TXT"), rows = Slurp(page + ".ROW");
  pid_t pid = fork();
  if (pid == 0) {
    bool ok = true;
    Page(page, true, false, &ok).reset();
    if (ok || Slurp(page + ".TXT") != text || Slurp(page + ".ROW") != rows) _exit(1);
    auto reader = Page(page, false, false, &ok);
    _exit(Rows(*reader) == std::vector<std::string>{"a|2", "b|1"} ? 0 : 2);
  }
  int status = -1;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
  writer->Write("c");
  writer->Flush();
  auto reader = Page(page, false, false, &opened);
  EXPECT_EQ(Rows(*reader), (std::vector<std::string>{"a|2", "bc|2"}));
}

}  // namespace
