// `talmon show -f` of a live page: the time from the producer's Flush to the row's line on
// the follower's standard output, beside `tail -f` of a plain file from write to line, in
// the same run. A plain program: the followers run as child processes on pipes.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "bench/process.h"
#include "bench/ratio.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_bench::NowNs;
using talmon_bench::Percentile;

constexpr int kRounds = 300;

// Starts argv with its standard output on a pipe; the read end.
int Start(std::vector<std::string> argv, pid_t& pid) {
  int out[2];
  if (pipe2(out, O_CLOEXEC) != 0) return -1;
  std::vector<char*> args;
  for (std::string& a : argv)
    args.push_back(a.data());
  args.push_back(nullptr);
  pid = fork();
  if (pid == 0) {
    dup2(out[1], 1);
    execvp(args[0], args.data());
    _exit(127);
  }
  close(out[1]);
  return out[0];
}

// Reads from fd until text has a line that ends in mark; false after 2 s without it.
bool ReadUntil(int fd, std::string& text, const std::string& mark) {
  const double deadline = NowNs() + 2e9;
  while (text.find(mark + "\n") == std::string::npos) {
    pollfd p{fd, POLLIN, 0};
    if (NowNs() > deadline || poll(&p, 1, 100) < 0) return false;
    char buffer[4096];
    const ssize_t n = p.revents != 0 ? read(fd, buffer, sizeof buffer) : 0;
    if (n < 0) return false;
    text.append(buffer, static_cast<size_t>(n));
  }
  text.clear();
  return true;
}

// Runs the rounds: publish(i) makes row i visible and returns the moment it did.
std::vector<double> Rounds(int fd, const std::function<double(int)>& publish) {
  std::vector<double> latencies;
  std::string text;
  usleep(200000);  // the follower is up and has printed what there was
  for (int i = 0; i < kRounds; ++i) {
    const double published = publish(i);
    if (!ReadUntil(fd, text, "row " + std::to_string(i))) break;
    latencies.push_back(NowNs() - published);
    usleep(2000);
  }
  return latencies;
}

void Stop(pid_t pid, int fd) {
  kill(pid, SIGTERM);
  close(fd);
  waitpid(pid, nullptr, 0);
}

}  // namespace

int main() {
  talmon_test::ScopedDataDir dir;
  unsigned int session = 0;
  IMonitorWriter* writer = nullptr;
  if (!TalCreateMonitorSession(&session) || !TalOpenMonitorWriter(session, "Log", false, &writer)) {
    std::fprintf(stderr, "follow_bench: cannot make the page\n");
    return 1;
  }
  pid_t pid = -1;
  int fd =
      Start({TALMON_CLI_PATH, "show", "-f", "--color=never", std::to_string(session), "Log"}, pid);
  const std::vector<double> show = Rounds(fd, [&](int i) {
    const std::string row = (i == 0 ? "" : "\n") + std::string("row ") + std::to_string(i);
    writer->Write(row.c_str());
    const double published = NowNs();
    writer->Flush();
    return published;
  });
  Stop(pid, fd);
  TalCloseMonitorWriter(writer);
  TalCloseMonitorSession(session);

  const std::string file = dir.file("plain.log");
  const int out = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  fd = Start({"tail", "-n", "0", "-f", file}, pid);
  const std::vector<double> tail = Rounds(fd, [&](int i) {
    const std::string row = "row " + std::to_string(i) + "\n";
    const double published = NowNs();
    if (write(out, row.data(), row.size()) < 0) std::perror("write");
    return published;
  });
  Stop(pid, fd);
  close(out);

  std::printf("flush to printed line, %zu rounds: show -f p50 %s p99 %s; tail -f p50 %s p99 %s\n",
              show.size(), talmon_bench::Time(Percentile(show, 0.5)).c_str(),
              talmon_bench::Time(Percentile(show, 0.99)).c_str(),
              talmon_bench::Time(Percentile(tail, 0.5)).c_str(),
              talmon_bench::Time(Percentile(tail, 0.99)).c_str());
  talmon_bench::PrintRow("show -f", "flush to printed line, p99", Percentile(show, 0.99),
                         "tail -f p99", Percentile(tail, 0.99), 0);
  talmon_bench::PrintRow("show -f", "flush to printed line, p50", Percentile(show, 0.5),
                         "tail -f p50", Percentile(tail, 0.5), 0);
  std::printf("| show -f | p99 under 1 ms | %s | - | - | - | %s |\n",
              talmon_bench::Time(Percentile(show, 0.99)).c_str(),
              show.size() == kRounds && Percentile(show, 0.99) < 1e6 ? "met" : "MISSED");
  return 0;
}
