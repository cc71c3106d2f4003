// Producers killed with SIGKILL at random points, 200 times: every row a producer had flushed
// is found whole in its page, nothing else is, and the dead session reads as stopped.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::ScopedDataDir;

constexpr int kKills = 200;
const char* const kPages[] = {"Even", "Odd"};

// The text of row i of producer k: lengths vary so that offsets do.
std::string RowText(int k, uint32_t i) {
  return std::to_string(k) + ":" + std::to_string(i) + ":" + std::string(i * 7 % 61, 'x');
}

// The producer: a new session, then rows written alternately to two pages, each flushed and
// then reported on fd (the session number first, then each row's number).
[[noreturn]] void Produce(int k, int fd) {
  unsigned int session = 0;
  IMonitorWriter* pages[2] = {nullptr, nullptr};
  if (!TalCreateMonitorSession(&session) || write(fd, &session, sizeof session) < 0 ||
      !TalOpenMonitorWriter(session, kPages[0], false, &pages[0]) ||
      !TalOpenMonitorWriter(session, kPages[1], false, &pages[1])) {
    _exit(1);
  }
  for (uint32_t i = 0;; ++i) {
    IMonitorWriter* page = pages[i % 2];
    page->Write((RowText(k, i) + "\n").c_str());
    page->Flush();
    if (write(fd, &i, sizeof i) < 0) _exit(2);
  }
}

// The session the producer reports once it has made it; 0 when it died before, or did not
// report within timeoutMs.
unsigned int ReadSession(int fd, int timeoutMs) {
  pollfd ready{fd, POLLIN, 0};
  unsigned int session = 0;
  if (poll(&ready, 1, timeoutMs) != 1 || read(fd, &session, sizeof session) != sizeof session) {
    return 0;
  }
  return session;
}

// How many rows the dead producer reported flushed.
uint32_t ReadFlushed(int fd) {
  uint32_t flushed = 0;
  uint32_t row = 0;
  while (read(fd, &row, sizeof row) == sizeof row)
    flushed = row + 1;
  return flushed;
}

// Checks both pages of the dead producer k; the number of its rows found.
uint32_t CheckPages(int k, unsigned int session) {
  uint32_t found = 0;
  for (uint32_t p = 0; p < 2; ++p) {
    IMonitorReader* reader = nullptr;
    if (!TalOpenMonitorReader(session, kPages[p], &reader)) continue;
    uint32_t count = 0;
    reader->GetCount(count);
    for (uint32_t j = 0; j < count; ++j) {
      const char* text = nullptr;
      uint32_t length = 0;
      const bool ok = reader->GetRow(j, text, length);
      // Each flush follows a whole row and its line feed, so the last row is the empty one
      // that line feed began.
      const std::string want = j + 1 == count ? "" : RowText(k, 2 * j + p);
      if (!ok || want != text) {
        ADD_FAILURE() << "kill " << k << " page " << kPages[p] << " row " << j << ": '"
                      << (ok ? text : "<unreadable>") << "', want '" << want << "'";
        break;
      }
      found += j + 1 < count ? 1 : 0;
    }
    TalCloseMonitorReader(reader);
  }
  return found;
}

TEST(Crash, EveryFlushedRowSurvivesRandomKills) {
  ScopedDataDir dir;
  std::mt19937 random(20261124);
  uint64_t rows = 0;
  for (int k = 0; k < kKills && !HasFailure(); ++k) {
    int fds[2];
    ASSERT_EQ(pipe2(fds, O_CLOEXEC), 0);
    const pid_t producer = fork();
    if (producer == 0) {
      close(fds[0]);
      Produce(k, fds[1]);
    }
    close(fds[1]);
    // One kill in four lands anywhere from the fork on, through the making of the session;
    // the others some way into the rows, however slowly the producer starts.
    unsigned int session = 0;
    const bool early = random() % 4 == 0;
    if (!early) session = ReadSession(fds[0], 10000);
    usleep(std::uniform_int_distribution<useconds_t>(0, early ? 4000 : 3000)(random));
    kill(producer, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(producer, &status, 0), producer);
    ASSERT_TRUE(WIFSIGNALED(status)) << "kill " << k << ": the producer ended by itself";
    if (early) session = ReadSession(fds[0], 0);
    const uint32_t flushed = ReadFlushed(fds[0]);
    close(fds[0]);
    if (session == 0) continue;
    unsigned int activity = 9;
    TalMonitorGetActivity(session, &activity);
    EXPECT_EQ(activity, 0u) << "kill " << k << ": a dead producer's session reads as live";
    const uint32_t found = CheckPages(k, session);
    // A row may be flushed and not yet reported, never reported and not found.
    EXPECT_TRUE(found == flushed || found == flushed + 1)
        << "kill " << k << ": " << found << " rows found, " << flushed << " flushed";
    rows += flushed;
  }
  RecordProperty("flushed_rows", std::to_string(rows));
  EXPECT_GT(rows, 0u);
}

}  // namespace
