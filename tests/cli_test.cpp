// The talmon terminal tool, driven as a user drives it: the built executable run as a child
// process in a fresh data directory, its pages read back through the library.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "talmon/session.h"
#include "talmon/trace.h"
#include "tests/support/small_disk.h"
#include "tests/support/temp_dir.h"

namespace {

using Clock = std::chrono::steady_clock;
using talmon_test::ScopedDataDir;
using Words = std::vector<std::string>;

// A running talmon: its pid and the read end of its standard output.
struct Tool {
  pid_t pid = -1;
  int out = -1;
};

// Starts talmon with args; standard input from input (-1: /dev/null), standard output on a
// pipe when captured, standard error on errFd (-1: /dev/null).
Tool Start(const Words& args, int input = -1, bool captured = true, int errFd = -1) {
  int out[2] = {-1, -1};
  if (captured && pipe2(out, O_CLOEXEC) != 0) return {};
  std::vector<std::string> all = {TALMON_CLI_PATH};
  all.insert(all.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& a : all)
    argv.push_back(a.data());
  argv.push_back(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    signal(SIGPIPE, SIG_DFL);
    const int null = open("/dev/null", O_RDWR);
    dup2(input >= 0 ? input : null, 0);
    dup2(captured ? out[1] : null, 1);
    dup2(errFd >= 0 ? errFd : null, 2);
    if (captured) close(out[0]);
    execv(argv[0], argv.data());
    _exit(126);
  }
  if (captured) close(out[1]);
  return {pid, out[0]};
}

// Waits for the tool to end, at most timeoutMs; its exit code, 128 + signal, or -1 when it
// was still running (it is killed then).
int Wait(pid_t pid, int timeoutMs = 10000) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  int status = 0;
  while (waitpid(pid, &status, WNOHANG) == 0) {
    if (Clock::now() > deadline) {
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      return -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Reads what is available on fd into text, waiting at most timeoutMs for the first bytes;
// false at end of file.
bool ReadSome(int fd, std::string& text, int timeoutMs) {
  pollfd p{fd, POLLIN, 0};
  if (poll(&p, 1, timeoutMs) <= 0) return true;
  char buffer[4096];
  const ssize_t n = read(fd, buffer, sizeof buffer);
  if (n <= 0) return false;
  text.append(buffer, static_cast<size_t>(n));
  return true;
}

struct Result {
  int status = -1;
  std::string out;
  std::string err;
};

// Runs talmon to its end with input on standard input.
Result Talmon(const Words& args, const std::string& input = "") {
  // A tool that stops reading early (a failure) must not end the test with the pipe.
  signal(SIGPIPE, SIG_IGN);
  int in[2], err[2];
  if (pipe2(in, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) return {};
  Tool tool = Start(args, in[0], true, err[1]);
  close(in[0]);
  close(err[1]);
  [[maybe_unused]] ssize_t n = write(in[1], input.data(), input.size());
  close(in[1]);
  Result r;
  bool outOpen = true, errOpen = true;
  const auto deadline = Clock::now() + std::chrono::seconds(10);
  while ((outOpen || errOpen) && Clock::now() < deadline) {
    if (outOpen) outOpen = ReadSome(tool.out, r.out, 5);
    if (errOpen) errOpen = ReadSome(err[0], r.err, 5);
  }
  close(tool.out);
  close(err[0]);
  r.status = Wait(tool.pid);
  return r;
}

std::vector<std::string> Rows(unsigned int session, const char* page) {
  std::vector<std::string> rows;
  IMonitorReader* reader = nullptr;
  TalOpenMonitorReader(session, page, &reader);
  uint32_t count = 0;
  if (reader != nullptr && reader->GetCount(count)) {
    for (uint32_t i = 0; i < count; ++i) {
      const char* text = nullptr;
      uint32_t length = 0;
      if (reader->GetRow(i, text, length)) rows.emplace_back(text);
    }
  }
  TalCloseMonitorReader(reader);
  return rows;
}

// Waits until the page has more than rows rows; the count it reached.
size_t WaitForRows(unsigned int session, const char* page, size_t rows, int timeoutMs = 3000) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  size_t now = Rows(session, page).size();
  while (now <= rows && Clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    now = Rows(session, page).size();
  }
  return now;
}

void Sleep(int ms) {
  std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

std::string Join(const std::vector<std::string>& rows) {
  std::string text;
  for (const std::string& r : rows)
    text += r + "|";
  return text;
}

TEST(CliRun, RelaysOutputAndErrorsIntoPagesAndReturnsTheStatus) {
  struct Case {
    Words args;
    int status;
    const char* outPage;
    Words outRows;
    const char* errPage;
    Words errRows;
  };
  const Case cases[] = {
      {{"run", "--", "sh", "-c", "echo a; echo b >&2; exit 3"},
       3,
       "Output",
       {"a"},
       "Errors",
       {"(error b)"}},
      // CR LF line ends, an empty line, a last line without a line feed, death by a signal.
      {{"run", "--page", "Build", "sh", "-c", "printf 'x\\r\\n\\ny'; kill -9 $$"},
       137,
       "Build",
       {"x", "", "y"},
       "BuildErrors",
       {}},
      {{"run", "--", "no-such-command-here"},
       127,
       "Output",
       {},
       "Errors",
       {"(error cannot run no-such-command-here: No such file or directory)"}},
  };
  for (const Case& c : cases) {
    ScopedDataDir dir;
    const std::string input = Join(c.args);
    EXPECT_EQ(Talmon(c.args).status, c.status) << "case: " << input;
    EXPECT_EQ(Rows(1, c.outPage), c.outRows) << "case: " << input;
    EXPECT_EQ(Rows(1, c.errPage), c.errRows) << "case: " << input;
    unsigned int activity = 9;
    TalMonitorGetActivity(1, &activity);
    EXPECT_EQ(activity, static_cast<unsigned int>(kTalMonStopped)) << "case: " << input;
  }
}

std::string FileText(const std::string& path) {
  std::string text;
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  for (char buffer[4096]; fd >= 0;) {
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n <= 0) break;
    text.append(buffer, static_cast<size_t>(n));
  }
  if (fd >= 0) close(fd);
  return text;
}

// Texts as a failure shows them: long ones by their first byte and size.
Words Short(const Words& texts) {
  Words shown;
  for (const std::string& t : texts)
    shown.push_back(t.size() > 80 ? t.substr(0, 1) + " x " + std::to_string(t.size()) : t);
  return shown;
}

// The lines of a whole input, written read by read, give the bytes a flushed row per line
// gave, and the rows.
TEST(CliWrite, LinesBecomeTheRowsAndBytesOfOneRowPerLine) {
  const std::string longLine(70000, 'z');
  const struct {
    std::string input;
    Words rows;
    std::string text;
  } cases[] = {
      {"a\n\nb(c)\r\nd", {"a", "", "(raw 4 b(c))", "d"}, "a\n\n(raw 4 b(c))\nd\n"},
      {"\n\nx\n\n", {"x", ""}, "x\n\n"},
      {std::string("x\0y\n\0\0\nz\n", 10), {"x", "z"}, "x\nz\n"},
      {"cr\r\r\nin (a) line\r\n", {"cr\r", "(raw 11 in (a) line)"}, "cr\r\n(raw 11 in (a) line)\n"},
      {longLine + "\n",
       {longLine.substr(0, 65536), longLine.substr(65536)},
       longLine.substr(0, 65536) + "\n" + longLine.substr(65536) + "\n"},
  };
  for (const auto& c : cases) {
    ScopedDataDir dir;
    const std::string label = c.input.substr(0, 40);
    ASSERT_EQ(Talmon({"write", "Log"}, c.input).status, 0) << "case: " << label;
    EXPECT_EQ(Short(Rows(1, "Log")), Short(c.rows)) << "case: " << label;
    EXPECT_EQ(Short({FileText(dir.file("0001Log.TXT"))}), Short({c.text})) << "case: " << label;
  }
}

// Rows are published as their lines arrive, with no empty row after the last one; a line
// without its line feed shows after a moment and is completed in place.
TEST(CliWrite, PublishesEachReadAndShowsAPartialLineAfterAMoment) {
  ScopedDataDir dir;
  int in[2];
  ASSERT_EQ(pipe2(in, O_CLOEXEC), 0);
  Tool tool = Start({"write", "Log"}, in[0], false);
  close(in[0]);
  auto send = [&](const std::string& text) {
    ASSERT_EQ(write(in[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  };
  send("a\nb\n");
  EXPECT_EQ(WaitForRows(1, "Log", 1), 2u);
  Sleep(100);
  EXPECT_EQ(Rows(1, "Log"), (Words{"a", "b"}));
  send("par");
  EXPECT_EQ(WaitForRows(1, "Log", 2), 3u);
  EXPECT_EQ(Rows(1, "Log"), (Words{"a", "b", "par"}));
  send("tial\nc\n");
  EXPECT_EQ(WaitForRows(1, "Log", 3), 4u);
  close(in[1]);
  EXPECT_EQ(Wait(tool.pid), 0);
  EXPECT_EQ(Rows(1, "Log"), (Words{"a", "b", "partial", "c"}));
}

TEST(CliRun, PauseStopsTheCommandResumeContinuesItAndStopEndsIt) {
  ScopedDataDir dir;
  Tool run = Start({"run", "--", "sh", "-c", "while :; do echo x; sleep 0.02; done"}, -1, false);
  ASSERT_GT(WaitForRows(1, "Output", 2), 2u);

  EXPECT_EQ(Talmon({"pause"}).status, 0);
  Sleep(80);  // the tool looks at the activity every 20 ms
  const size_t paused = Rows(1, "Output").size();
  Sleep(150);
  EXPECT_EQ(Rows(1, "Output").size(), paused) << "rows grew while paused";

  EXPECT_EQ(Talmon({"resume"}).status, 0);
  EXPECT_GT(WaitForRows(1, "Output", paused), paused) << "rows did not grow after resume";

  EXPECT_EQ(Talmon({"stop"}).status, 0);
  EXPECT_EQ(Wait(run.pid, 3000), 128 + SIGTERM);
}

TEST(CliShow, FollowPrintsAFlushedRowAtOnceAndEndsWithTheSession) {
  ScopedDataDir dir;
  unsigned int session = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&session));
  IMonitorWriter* log = nullptr;
  ASSERT_TRUE(TalOpenMonitorWriter(session, "Log", false, &log));
  trace(*log, block) << "first";

  Tool show = Start({"show", "-f"});
  std::string out;
  const auto deadline = Clock::now() + std::chrono::seconds(3);
  while (out.find("first\n") == std::string::npos && Clock::now() < deadline) {
    ReadSome(show.out, out, 10);
  }
  ASSERT_NE(out.find("first\n"), std::string::npos);

  trace(*log, block, bold) << "second";
  // The watch wakes the tool within milliseconds; a second is room for a loaded machine.
  const auto soon = Clock::now() + std::chrono::seconds(1);
  while (out.find("second\n") == std::string::npos && Clock::now() < soon) {
    ReadSome(show.out, out, 10);
  }
  EXPECT_NE(out.find("second\n"), std::string::npos) << out;

  TalCloseMonitorWriter(log);
  TalCloseMonitorSession(session);
  EXPECT_EQ(Wait(show.pid, 3000), 0) << "follow did not end with the session";
  while (ReadSome(show.out, out, 100)) {
  }
  close(show.out);
  EXPECT_EQ(out, "first\nsecond\n") << "a pipe gets plain text";
}

// Reads the follower's output to its end (at most timeoutMs); the lines.
std::vector<std::string> ReadLines(int fd, int timeoutMs) {
  std::string out;
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  while (ReadSome(fd, out, 50) && Clock::now() < deadline) {
  }
  std::vector<std::string> lines;
  for (size_t at = 0, end; (end = out.find('\n', at)) != std::string::npos; at = end + 1)
    lines.push_back(out.substr(at, end - at));
  return lines;
}

// Two producers write 200k rows each into pages of one session while followers read along:
// merged or page by page, every row is printed exactly once, each page's rows in order.
TEST(CliShow, FollowPrintsEveryRowOfEveryPageOnce) {
  const struct {
    const char* mode;
    int rows;
  } cases[] = {{"--merged", 200000}, {"--pages", 20000}};
  for (const auto& c : cases) {
    ScopedDataDir dir;
    unsigned int session = 0;
    ASSERT_TRUE(TalCreateMonitorSession(&session));
    Tool show = Start({"show", "-f", c.mode});
    std::vector<pid_t> writers;
    for (const char* page : {"A", "B"}) {
      writers.push_back(fork());
      if (writers.back() != 0) continue;
      IMonitorWriter* writer = nullptr;
      if (!TalOpenMonitorWriter(session, page, false, &writer)) _exit(1);
      for (int i = 0; i < c.rows; ++i) {
        writer->Write((page + std::to_string(i) + "\n").c_str());
        writer->Flush();
      }
      TalCloseMonitorWriter(writer);
      _exit(0);
    }
    for (pid_t writer : writers)
      EXPECT_EQ(Wait(writer, 60000), 0) << "case: " << c.mode;
    TalCloseMonitorSession(session);
    const std::vector<std::string> lines = ReadLines(show.out, 60000);
    close(show.out);
    EXPECT_EQ(Wait(show.pid, 5000), 0) << "case: " << c.mode;
    // Each page ends with the empty row its last line feed began.
    ASSERT_GE(lines.size(), 2u) << "case: " << c.mode;
    EXPECT_EQ(std::count(lines.begin(), lines.end(), ""), 2) << "case: " << c.mode;
    int next[2] = {0, 0};
    size_t wrong = 0;
    for (const std::string& line : lines) {
      if (line.empty()) continue;
      int& expected = next[line[0] == 'A' ? 0 : 1];
      if (line.size() > 1 && line.substr(1) == std::to_string(expected)) {
        ++expected;
      } else if (++wrong < 5) {
        ADD_FAILURE() << "case: " << c.mode << ": '" << line << "' where row " << expected
                      << " was due";
      }
    }
    EXPECT_EQ(next[0], c.rows) << "case: " << c.mode;
    EXPECT_EQ(next[1], c.rows) << "case: " << c.mode;
    EXPECT_EQ(lines.size(), 2u * c.rows + 2) << "case: " << c.mode;
  }
}

// A follower ends when no producer plays or pauses the session, no writer holds a page of it
// and every row it can read is printed: a writer that joined the stopped session keeps it
// going, a page that claims rows it cannot give does not.
TEST(CliShow, FollowEndsOnlyWhenNothingCanAddRows) {
  ScopedDataDir dir;
  ASSERT_EQ(Talmon({"write", "Log"}, "done\n").status, 0);
  // Two rows, "ab" and "cd", in a header that claims a million.
  const auto u32 = [](uint32_t v) { return std::string(reinterpret_cast<const char*>(&v), 4); };
  std::ofstream(dir.file("0001Bad.ROW"), std::ios::binary)
      << u32(5) + u32(12 + 8 * 1000000) + std::string(4, '\0') + u32(0) + u32(1) + u32(3) + u32(2);
  std::ofstream(dir.file("0001Bad.TXT"), std::ios::binary) << "ab\ncd";
  Tool show = Start({"show", "-f", "--pages", "1"});
  EXPECT_EQ(Wait(show.pid, 5000), 0) << "a page claiming rows it cannot give kept it going";
  EXPECT_EQ(ReadLines(show.out, 1000), (Words{"ab", "cd", "done"}));
  close(show.out);

  IMonitorWriter* late = nullptr;
  ASSERT_TRUE(TalOpenMonitorWriter(1, "Late", false, &late));
  show = Start({"show", "-f", "1"});
  Sleep(300);
  EXPECT_EQ(Wait(show.pid, 1), -1) << "ended while a writer held a page";
  show = Start({"show", "-f", "1", "Late"});
  trace(*late, block) << "joined";
  Sleep(100);
  TalCloseMonitorWriter(late);
  EXPECT_EQ(Wait(show.pid, 5000), 0);
  EXPECT_EQ(ReadLines(show.out, 1000), Words{"joined"});
  close(show.out);
}

TEST(CliShow, PrintsOnePageAllPagesInOrderOrMergedInWriteOrder) {
  ScopedDataDir dir;
  unsigned int session = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&session));
  IMonitorWriter* a = nullptr;
  IMonitorWriter* b = nullptr;
  ASSERT_TRUE(TalOpenMonitorWriter(session, "A", false, &a));
  ASSERT_TRUE(TalOpenMonitorWriter(session, "B", false, &b));
  trace(*a, block) << "a1";
  trace(*b, block) << "b1";
  trace(*a, block) << "a2";
  trace(*b, block) << "b2";

  const struct {
    Words args;
    const char* out;
  } cases[] = {
      {{"show"}, "a1\nb1\na2\nb2\n"},
      {{"show", "--merged", "1"}, "a1\nb1\na2\nb2\n"},
      {{"show", "--pages"}, "a1\na2\nb1\nb2\n"},
      {{"show", "1", "B"}, "b1\nb2\n"},
      {{"show", "B"}, "b1\nb2\n"},
      // Only the last rows of the view.
      {{"show", "-n", "3"}, "b1\na2\nb2\n"},
      {{"show", "-n", "9"}, "a1\nb1\na2\nb2\n"},
      {{"show", "-n", "0"}, ""},
      {{"show", "-n", "3", "--pages"}, "a2\nb1\nb2\n"},
      {{"show", "--tail=1", "1", "B"}, "b2\n"},
  };
  for (const auto& c : cases) {
    const Result r = Talmon(c.args);
    EXPECT_EQ(r.status, 0) << "case: " << Join(c.args) << r.err;
    EXPECT_EQ(r.out, c.out) << "case: " << Join(c.args);
  }
  TalCloseMonitorWriter(a);
  TalCloseMonitorWriter(b);
  TalCloseMonitorSession(session);
  // Following from the last rows of a session that has ended prints them and ends.
  for (const Words& args :
       {Words{"show", "-f", "-n", "3"}, Words{"show", "-f", "-n", "3", "--pages"}}) {
    const Result r = Talmon(args);
    EXPECT_EQ(r.status, 0) << "case: " << Join(args) << r.err;
    EXPECT_EQ(r.out, args.size() == 4 ? "b1\na2\nb2\n" : "a2\nb1\nb2\n") << "case: " << Join(args);
  }
}

TEST(CliShow, ColourOnlyWhenAskedForOrOnATerminal) {
  ScopedDataDir dir;
  unsigned int session = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&session));
  IMonitorWriter* log = nullptr;
  ASSERT_TRUE(TalOpenMonitorWriter(session, "Log", false, &log));
  trace(*log, block, bold) << "bold";
  trace(*log, block, error) << "failed";
  trace(*log, block) << link("https://example.org") << "docs";
  trace(*log, block) << "half" << progress(1, 2);
  TalCloseMonitorWriter(log);

  const struct {
    const char* option;
    bool escapes;
  } cases[] = {{"--color=never", false}, {"--color=auto", false}, {"--color=always", true}};
  for (const auto& c : cases) {
    const Result r = Talmon({"show", c.option});
    EXPECT_EQ(r.status, 0) << "case: " << c.option;
    EXPECT_EQ(r.out.find('\x1b') != std::string::npos, c.escapes) << "case: " << c.option;
    EXPECT_NE(r.out.find("failed"), std::string::npos) << "case: " << c.option;
    EXPECT_NE(r.out.find("docs"), std::string::npos) << "case: " << c.option;
  }
}

// A page longer than the tool's block of rows is printed block by block through storage kept
// from one block to the next: nothing of a block's rows may show in the next one's.
TEST(CliShow, RowsOfOneBlockDoNotLeakIntoTheNext) {
  ScopedDataDir dir;
  unsigned int session = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&session));
  IMonitorWriter* log = nullptr;
  ASSERT_TRUE(TalOpenMonitorWriter(session, "Log", false, &log));
  // Long rows among short rows with links, so that a block of rows places them differently
  // from the block before.
  constexpr int kRows = 601;
  const std::string wide(60, 'x');
  for (int i = 0; i < kRows; ++i) {
    if (i % 3 == 0) {
      trace(*log, block) << "row " << i << " " << wide.c_str();
    } else {
      trace(*log, block) << "r" << i << " " << link(("https://x/" + std::to_string(i)).c_str())
                         << "go";
    }
  }
  TalCloseMonitorWriter(log);

  for (const char* colour : {"--color=never", "--color=always"}) {
    const Result r = Talmon({"show", colour, "--width=80", "Log"});
    ASSERT_EQ(r.status, 0) << "case: " << colour << r.err;
    std::vector<std::string> lines;
    for (size_t at = 0, end; (end = r.out.find('\n', at)) != std::string::npos; at = end + 1)
      lines.push_back(r.out.substr(at, end - at));
    ASSERT_EQ(lines.size(), size_t{kRows}) << "case: " << colour;
    const bool plain = colour == std::string("--color=never");
    for (int i = 0; i < kRows; ++i) {
      const std::string& line = lines[static_cast<size_t>(i)];
      const std::string target = "\x1b]8;;https://x/" + std::to_string(i) + "\x1b\\";
      if (i % 3 == 0) {
        EXPECT_EQ(line, "row " + std::to_string(i) + " " + wide) << "case: " << colour << " " << i;
      } else if (plain) {
        EXPECT_EQ(line, "r" + std::to_string(i) + " go") << "case: " << colour << " " << i;
      } else {
        EXPECT_EQ(line.find("xxxx"), std::string::npos) << "case: " << colour << " " << i;
        EXPECT_NE(line.find(target), std::string::npos) << "case: " << colour << " " << i;
        EXPECT_EQ(line.find("\x1b]8;;http", line.find(target) + 1), std::string::npos)
            << "case: " << colour << " " << i;
      }
    }
  }
  TalCloseMonitorSession(session);
}

TEST(Cli, UsageErrorsExitTwoAndHelpExitsZero) {
  const Words usage[] = {
      {},
      {"frobnicate"},
      {"show", "--bogus"},
      {"show", "--color=sometimes"},
      {"show", "--merged", "--pages"},
      {"show", "--pages", "1", "Log"},
      {"show", "0"},
      {"pages", "abc"},
      {"write"},
      {"write", "a/b"},
      {"run"},
      {"run", "--page"},
      {"demo", "--seconds", "0"},
  };
  ScopedDataDir dir;
  for (const Words& args : usage) {
    const Result r = Talmon(args);
    EXPECT_EQ(r.status, 2) << "case: " << Join(args);
    EXPECT_NE(r.err.find("talmon"), std::string::npos) << "case: " << Join(args);
    EXPECT_TRUE(r.out.empty()) << "case: " << Join(args);
  }
  for (const char* command : {"sessions", "pages", "show", "pause", "write", "run", "demo"}) {
    const Result r = Talmon({command, "--help"});
    EXPECT_EQ(r.status, 0) << "case: " << command;
    EXPECT_EQ(r.out.rfind("Usage: talmon", 0), 0u) << "case: " << command;
  }
}

TEST(Cli, MissingSessionsAndPagesFailWithAClearMessage) {
  ScopedDataDir dir;
  const struct {
    Words args;
    const char* message;
  } cases[] = {
      {{"show"}, "no sessions"},
      {{"show", "42"}, "session 42 does not exist"},
      {{"pages", "42"}, "session 42 does not exist"},
      {{"pause", "42"}, "session 42 does not exist"},
      {{"write", "-s", "42", "Log"}, "session 42 does not exist"},
  };
  for (const auto& c : cases) {
    const Result r = Talmon(c.args);
    EXPECT_EQ(r.status, 1) << "case: " << Join(c.args);
    EXPECT_NE(r.err.find(c.message), std::string::npos) << "case: " << Join(c.args) << r.err;
  }
  // A session whose producer has ended can be neither paused nor resumed, nor can a page it
  // does not have be shown.
  ASSERT_EQ(Talmon({"write", "Log"}, "row\n").status, 0);
  for (const Words& args :
       {Words{"pause"}, Words{"resume"}, Words{"stop"}, Words{"show", "Nope"}}) {
    const Result r = Talmon(args);
    EXPECT_EQ(r.status, 1) << "case: " << Join(args);
    EXPECT_FALSE(r.err.empty()) << "case: " << Join(args);
  }
}

TEST(Cli, SessionsAndPagesListWhatWasWritten) {
  ScopedDataDir dir;
  ASSERT_EQ(Talmon({"write", "Notes"}, "one\r\ntwo (2)\n").status, 0);
  ASSERT_EQ(Talmon({"write", "-s", "1", "More"}, "three").status, 0);
  ASSERT_EQ(Talmon({"write", "-s", "1", "--temporary", "Scratch"}, "gone\n").status, 0);
  EXPECT_EQ(Rows(1, "Notes"), (Words{"one", "(raw 7 two (2))"}));
  EXPECT_EQ(Rows(1, "More"), Words{"three"});

  const Result sessions = Talmon({"sessions"});
  EXPECT_EQ(sessions.status, 0);
  EXPECT_NE(sessions.out.find(" finished      2          3"), std::string::npos) << sessions.out;

  const Result pages = Talmon({"pages"});
  EXPECT_EQ(pages.status, 0);
  EXPECT_NE(pages.out.find("More           1"), std::string::npos) << pages.out;
  EXPECT_NE(pages.out.find("Notes          2"), std::string::npos) << pages.out;
  EXPECT_EQ(pages.out.find("Scratch"), std::string::npos) << "a temporary page stays listed";
  EXPECT_EQ(pages.out.find("Play"), std::string::npos) << "the marker is listed as a page";
}

// Links, FIFOs and other users' files named like pages are never followed, read, written or
// waited on: the tool answers at once and the files they lead to stay as they were.
TEST(Cli, HostileFilesInTheDataDirectoryAreNeitherFollowedNorWaitedOn) {
  ScopedDataDir dir;
  ASSERT_EQ(Talmon({"write", "Log"}, "mine\n").status, 0);
  std::ofstream(dir.file("secret")) << "password";
  ASSERT_EQ(symlink(dir.file("secret").c_str(), dir.file("0001Link.TXT").c_str()), 0);
  ASSERT_EQ(symlink(dir.file("secret").c_str(), dir.file("0002Log.TXT").c_str()), 0);
  ASSERT_EQ(mkfifo(dir.file("0001Fifo.TXT").c_str(), 0600), 0);
  ASSERT_EQ(mkfifo(dir.file("0001Fifo.ROW").c_str(), 0600), 0);
  const struct {
    Words args;
    int status;
  } cases[] = {
      {{"sessions"}, 0},
      {{"pages", "1"}, 0},
      {{"show", "1"}, 0},
      {{"show", "1", "Link"}, 1},
      {{"show", "1", "Fifo"}, 1},
      {{"show", "-f", "1"}, 0},
      {{"write", "-s", "1", "Fifo"}, 1},
      {{"write", "-s", "1", "Link"}, 1},
  };
  for (const auto& c : cases) {
    const Result r = Talmon(c.args, "overwritten\n");
    EXPECT_EQ(r.status, c.status) << "case: " << Join(c.args) << r.err;
    EXPECT_EQ(r.out.find("password"), std::string::npos) << "case: " << Join(c.args);
    EXPECT_EQ(r.out.find("Fifo"), std::string::npos) << "case: " << Join(c.args);
  }
  std::ifstream secret(dir.file("secret"));
  std::string text;
  secret >> text;
  EXPECT_EQ(text, "password");
}

// Names the library would fold into another page, or that are the session's markers, are
// refused before anything is made.
TEST(Cli, PageNamesThatWouldMergeOrBeMarkersAreRefused) {
  ScopedDataDir dir;
  const struct {
    Words args;
    const char* message;
  } cases[] = {
      {{"write", "Log.v2"}, "would be written as the page 'Log'"},
      {{"write", "-s", "1", "notes.txt"}, "may not contain '.'"},
      {{"run", "--page", "build.log", "--", "true"}, "may not contain '.'"},
      {{"write", "Pause"}, "the session's Pause marker"},
      {{"write", "stop"}, "the session's Stop marker"},
      {{"run", "--page", "PLAY", "--", "true"}, "the session's Play marker"},
  };
  for (const auto& c : cases) {
    const Result r = Talmon(c.args, "row\n");
    EXPECT_EQ(r.status, 2) << "case: " << Join(c.args);
    EXPECT_NE(r.err.find(c.message), std::string::npos) << "case: " << Join(c.args) << r.err;
    EXPECT_EQ(dir.list(), Words{}) << "case: " << Join(c.args);
  }
}

// Starts `talmon write Log` in a new session with one row written; input is the write end of
// its standard input.
Tool StartWriter(int& input) {
  int in[2] = {-1, -1};
  EXPECT_EQ(pipe2(in, O_CLOEXEC), 0);
  Tool writer = Start({"write", "Log"}, in[0], false);
  close(in[0]);
  input = in[1];
  EXPECT_EQ(write(input, "one\n", 4), 4);
  return writer;
}

// A Pause marker beside "Play.TXT" reads as playing but holds the producer: the listing says
// so, and resume lets the producer go on.
TEST(Cli, ResumeFreesAProducerHeldByAStrayPauseMarker) {
  ScopedDataDir dir;
  int input = -1;
  Tool writer = StartWriter(input);
  ASSERT_EQ(WaitForRows(1, "Log", 0), 1u);
  std::ofstream(dir.file("0001Pause.TXT")) << "";
  Sleep(60);  // the writer looks at its session every 20 ms
  ASSERT_EQ(write(input, "two\n", 4), 4);
  Sleep(150);
  EXPECT_EQ(Rows(1, "Log").size(), 1u) << "the Pause marker did not hold the producer";
  const Result sessions = Talmon({"sessions"});
  EXPECT_NE(sessions.out.find(" playing, held by a Pause marker "), std::string::npos)
      << sessions.out;
  EXPECT_EQ(Talmon({"resume"}).status, 0);
  EXPECT_EQ(WaitForRows(1, "Log", 1), 2u) << "resume did not free the producer";
  EXPECT_EQ(Talmon({"resume"}).status, 0) << "resuming a playing session changes nothing";
  close(input);
  EXPECT_EQ(Wait(writer.pid), 0);
  const Result stop = Talmon({"stop"});
  EXPECT_EQ(stop.status, 1) << "stopping a session without a producer succeeded";
  EXPECT_NE(stop.err.find("no live producer"), std::string::npos) << stop.err;
}

// talmon killed outright takes the command it runs along.
TEST(CliRun, KilledToolTakesItsCommandAlong) {
  ScopedDataDir dir;
  Tool run = Start({"run", "--", "sh", "-c", "echo $$; exec sleep 30"}, -1, false);
  ASSERT_EQ(WaitForRows(1, "Output", 0), 1u);
  const pid_t command = std::stoi(Rows(1, "Output")[0]);
  kill(run.pid, SIGKILL);
  EXPECT_EQ(Wait(run.pid), 128 + SIGKILL);
  const auto deadline = Clock::now() + std::chrono::seconds(5);
  auto alive = [command] {
    std::ifstream stat("/proc/" + std::to_string(command) + "/stat");
    std::string pid, name, state;
    return stat >> pid >> name >> state && state != "Z";
  };
  while (alive() && Clock::now() < deadline)
    Sleep(10);
  EXPECT_FALSE(alive()) << "the command outlived talmon";
}

// Data directories that cannot be trusted, and session numbers used up, fail with one clear
// line; lost rows make the producing commands fail.
TEST(Cli, UnsafeDirectoryUsedUpNumbersAndFullDiskAreReported) {
  {
    ScopedDataDir dir;
    ASSERT_EQ(chmod(dir.path().c_str(), 0777), 0);
    Result r = Talmon({"sessions"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "talmon: data directory " + dir.path() +
                         ": writable by other users (set TALMON_SHARED_DIR=1 to use a directory "
                         "shared on purpose)\n");
    talmon_test::ScopedEnv shared("TALMON_SHARED_DIR", "1");
    r = Talmon({"write", "Log"}, "shared\n");
    EXPECT_EQ(r.status, 0) << r.err;
  }
  {
    ScopedDataDir dir;
    std::ofstream(dir.file("9999Old.TXT")) << "";
    const Result r = Talmon({"write", "Log"}, "row\n");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("numbers stop there"), std::string::npos) << r.err;
  }
  ScopedDataDir dir;
  talmon_test::SmallDisk disk(dir.file("small"), 64 * 1024);
  if (!disk.available()) GTEST_SKIP() << talmon_test::SmallDisk::kSkipMessage;
  talmon_test::ScopedEnv onDisk("TALMON_DATA_DIR", disk.path().c_str());
  const std::string lines = [] {
    std::string text;
    for (int i = 0; i < 4000; ++i)
      text += "line " + std::to_string(i) + " of a log that does not fit\n";
    return text;
  }();
  const struct {
    Words args;
    int status;
  } cases[] = {
      {{"write", "Log"}, 1},
      {{"run", "--", "sh", "-c", "while :; do echo filling the disk; done | head -5000"}, 1},
      {{"run", "--", "sh", "-c", "yes | head -20000; exit 4"}, 4}};
  for (const auto& c : cases) {
    const Result r = Talmon(c.args, lines);
    EXPECT_EQ(r.status, c.status) << "case: " << Join(c.args);
    EXPECT_NE(r.err.find("could not be written"), std::string::npos)
        << "case: " << Join(c.args) << r.err;
    for (const std::string& name : talmon_test::ScopedDataDir::ListDir(disk.path()))
      unlink((disk.path() + name).c_str());
  }
}

TEST(CliDemo, WritesEveryPageAndEndsWhenStopped) {
  ScopedDataDir dir;
  int err[2];
  ASSERT_EQ(pipe2(err, O_CLOEXEC), 0);
  Tool demo = Start({"demo", "--seconds", "60"}, -1, false, err[1]);
  close(err[1]);
  ASSERT_GT(WaitForRows(1, "Log", 5), 5u);
  EXPECT_EQ(Talmon({"stop", "1"}).status, 0);
  EXPECT_EQ(Wait(demo.pid, 3000), 0);
  std::string message;
  while (ReadSome(err[0], message, 100)) {
  }
  close(err[0]);
  EXPECT_EQ(message, "talmon demo: session 1\n");
  const Words log = Rows(1, "Log");
  ASSERT_FALSE(log.empty());
  EXPECT_EQ(log.back().rfind("(error Stopped by a viewer at ", 0), 0u) << log.back();
  EXPECT_EQ(log.front().rfind("(title (logo talmon)TalMon demo", 0), 0u) << log.front();
}

}  // namespace

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// An export keeps a session as plain text past the clean-up of the next session, and never
// overwrites what an earlier export kept.
TEST(CliExport, KeepsPagesAndTheMergedViewPastTheNextSession) {
  ScopedDataDir dir;
  ASSERT_EQ(Talmon({"write", "Log"}, "one\r\ntwo (2)\r\n").status, 0);
  ASSERT_EQ(Talmon({"write", "-s", "1", "Errors"}, "bad\r\n").status, 0);
  const std::string out = dir.file("kept");
  const Result r = Talmon({"export", "1", out});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(ReadFile(out + "/pages/Log.txt"), "one\ntwo (2)\n");
  EXPECT_EQ(ReadFile(out + "/pages/Errors.txt"), "bad\n");
  // Two processes count their stamps apart: equal stamps come in page order.
  EXPECT_EQ(ReadFile(out + "/merged.txt"), "bad\none\ntwo (2)\n");

  // Nothing of session 1 survives the next session, which takes its number again.
  ASSERT_EQ(Talmon({"write", "Next"}, "new\r\n").status, 0);
  EXPECT_EQ(Rows(1, "Log"), Words{}) << "the next session did not clean up";
  EXPECT_EQ(ReadFile(out + "/pages/Log.txt"), "one\ntwo (2)\n");

  const struct {
    Words args;
    int status;
    const char* message;
  } failures[] = {
      {{"export", "1", out}, 1, "File exists"},
      {{"export", "42", out}, 1, "session 42 does not exist"},
      {{"export", "1", dir.file("0001Next.TXT")}, 1, "exists and is not a directory"},
      {{"export", "1", "2", "3"}, 2, "too many arguments"},
  };
  for (const auto& c : failures) {
    const Result f = Talmon(c.args);
    EXPECT_EQ(f.status, c.status) << "case: " << Join(c.args);
    EXPECT_NE(f.err.find(c.message), std::string::npos) << "case: " << Join(c.args) << f.err;
  }
}

// The words of `sessions` follow the producer through its life, a crash included.
TEST(Cli, SessionsSayWhetherTheProducerPlaysPausesStopsEndedOrCrashed) {
  ScopedDataDir dir;
  int input = -1;
  Tool writer = StartWriter(input);
  ASSERT_EQ(WaitForRows(1, "Log", 0), 1u);
  const auto activity = [] {
    const Result r = Talmon({"pages"});
    return r.out.substr(0, r.out.find('\n'));
  };
  EXPECT_EQ(activity(), "Session 0001, playing");
  ASSERT_EQ(Talmon({"pause"}).status, 0);
  EXPECT_EQ(activity(), "Session 0001, paused");
  kill(writer.pid, SIGKILL);
  Wait(writer.pid);
  close(input);
  EXPECT_EQ(activity(), "Session 0001, crashed");
  const Result resume = Talmon({"resume"});
  EXPECT_EQ(resume.status, 1);
  EXPECT_NE(resume.err.find("no live producer"), std::string::npos) << resume.err;
  ASSERT_EQ(Talmon({"write", "Log"}, "two\n").status, 0);
  EXPECT_EQ(activity(), "Session 0001, finished") << "the crashed session was not cleaned up";

  const Result version = Talmon({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("talmon ", 0), 0u) << version.out;
}
