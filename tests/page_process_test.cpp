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
using talmon_test::Slurp;

TEST(PageProcessTest, ReaderFollowsAWriterInAnotherProcess) {
  talmon_test::ScopedDataDir dir;
  const std::string page = dir.file("0001Log");
  bool opened = true;
  auto reader = Page(page, false, false, &opened);  // before the page exists
  EXPECT_FALSE(opened);
  int toParent[2], toChild[2];
  ASSERT_EQ(pipe(toParent), 0);
  ASSERT_EQ(pipe(toChild), 0);
  char c = 0;
  pid_t pid = fork();
  if (pid == 0) {
    bool ok = false;
    auto writer = Page(page, true, true, &ok);
    writer->Write("a\nb");
    writer->Flush();
    writer->Save();
    writer->Write("pending 50%");  // written, never published
    if (!ok || write(toParent[1], "1", 1) != 1 || read(toChild[0], &c, 1) != 1) _exit(2);
    writer->Restore();
    writer->Write("c");
    writer->Flush();
    writer.reset();
    _exit(0);
  }
  ASSERT_GT(pid, 0);
  ASSERT_EQ(read(toParent[0], &c, 1), 1);
  EXPECT_EQ(Rows(*reader), (std::vector<std::string>{"a|2", "b|1"}));
  // A second writer is refused and changes neither file.
  const std::string text = Slurp(page + ".TXT"), rows = Slurp(page + ".ROW");
  Page(page, true, false, &opened).reset();
  EXPECT_FALSE(opened);
  EXPECT_EQ(Slurp(page + ".TXT"), text);
  EXPECT_EQ(Slurp(page + ".ROW"), rows);
  ASSERT_EQ(write(toChild[1], "2", 1), 1);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
  // The producer's page was temporary: gone from the directory, still read through the
  // handles this reader holds.
  EXPECT_EQ(dir.list(), std::vector<std::string>{});
  EXPECT_EQ(Rows(*reader), (std::vector<std::string>{"a|2", "bc|2"}));
  for (int fd : {toParent[0], toParent[1], toChild[0], toChild[1]})
    close(fd);
}

}  // namespace
