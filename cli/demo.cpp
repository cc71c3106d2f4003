// `talmon demo`: a producer that copies made-up files for a few seconds and shows every kind
// of markup on three pages written at once: "Log" (title, settings, the live progress bar on
// a temporary last row, one row per file, the summary), "Files" (a table in tab columns) and
// "Errors". It honours pause and stop like any producer.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "cli/commands.h"
#include "cli/common.h"
#include "cli/os.h"
#include "talmon/session.h"
#include "talmon/trace.h"

namespace talmon::cli {

namespace {

constexpr int kTickMs = 50;

struct DemoFile {
  const char* name;
  int megabytes;
  bool fails;  // the first try fails with a checksum error
};

const DemoFile kFiles[] = {
    {"alpha.dat", 12, false}, {"beta.log", 3, false},     {"gamma.img", 40, true},
    {"delta.csv", 7, false},  {"epsilon.tar", 25, false}, {"zeta.json", 1, false},
    {"eta.bin", 18, false},   {"theta.db", 30, true},     {"iota.txt", 2, false},
    {"kappa.iso", 48, false},
};
constexpr int kFileCount = sizeof kFiles / sizeof kFiles[0];

const char kDemoHelp[] =
    "Usage: talmon demo [--seconds N] [--gui]\n"
    "\n"
    "Runs a made-up copy job for N seconds (default 10, at most 3600) in a new session and\n"
    "writes its progress and log on the pages Log, Files and Errors, using every kind of\n"
    "markup. Prints the session number on standard error. Watch it with\n"
    "'talmon show -f --merged'; 'talmon pause', 'resume' and 'stop' control it.\n"
    "\n"
    "  --gui  also start TalMonView on the session when a display is available (found\n"
    "         through PATH, or the executable TALMON_VIEWER names)\n";

// Starts TalMonView on the demo's session, merged tab, when there is a display to show it on:
// through PATH, or the executable TALMON_VIEWER names, as libtalmon-ui's launcher does.
void StartViewer(unsigned int session) {
  std::string display;
  std::string wayland;
  os::GetEnv("DISPLAY", display);
  os::GetEnv("WAYLAND_DISPLAY", wayland);
  if (display.empty() && wayland.empty()) {
    std::fprintf(stderr, "talmon demo: no display for TalMonView; running without it\n");
    return;
  }
  std::string viewer;
  if (!os::GetEnv("TALMON_VIEWER", viewer) || viewer.empty()) viewer = "TalMonView";
  char number[8];
  std::snprintf(number, sizeof number, "%04u", session);
  if (!os::StartDetached({viewer, "*", number, "follow", "talmon", "demo"})) {
    std::fprintf(stderr, "talmon demo: cannot start %s; running without it\n", viewer.c_str());
  }
}

class Demo {
 public:
  Demo(unsigned int session, IMonitorWriter& log, IMonitorWriter& files, IMonitorWriter& errors,
       int seconds)
      : session_(session), log_(log), files_(files), errors_(errors), seconds_(seconds) {}

  // Runs the job; false when the session was stopped before the end.
  bool Run() {
    Header();
    int megabytes = 0;
    for (const DemoFile& f : kFiles)
      megabytes += f.megabytes;
    const int ticks = std::max(seconds_ * 1000 / kTickMs, kFileCount);
    int done = 0;
    int file = 0;
    int fileStart = 0;
    for (int tick = 0; tick < ticks && file < kFileCount; ++tick) {
      if (!Wait()) return Stopped();
      // Each file's share of the ticks is its share of the megabytes.
      const int end =
          static_cast<int>(static_cast<long>(ticks) * (done + kFiles[file].megabytes) / megabytes);
      if (tick + 1 >= end) {
        FileDone(kFiles[file], tick - fileStart + 1);
        done += kFiles[file].megabytes;
        ++file;
        fileStart = tick + 1;
      }
      Progress(done, megabytes, file < kFileCount ? kFiles[file].name : "");
      std::this_thread::sleep_for(std::chrono::milliseconds(kTickMs));
    }
    Summary(done);
    return true;
  }

 private:
  void Header() {
    trace(log_, block, title) << logo("talmon") << "TalMon demo: copying " << kFileCount
                              << " files, started " << time_now;
    trace(log_, block, little) << "Session " << static_cast<int>(session_)
                               << ". Pause, resume or stop it from any terminal:" << line
                               << "talmon pause | talmon resume | talmon stop";
    trace(log_, block) << "Markup guide: " << link("https://example.org/talmon/markup")
                       << "doc/markup.md";
    trace(log_, block) << separator;
    trace(log_, block, underlined) << "Settings";
    {
      // Rows written while the section is open are indented by one step.
      trace indent(log_, section);
      trace(log_, block) << row("settings") << "Source" << row("settings") << field << "/data/in";
      trace(log_, block) << row("settings") << "Target" << row("settings") << field
                         << "/backup/2024 (nightly)";
      trace(log_, block) << row("settings") << "Verify checksums" << row("settings") << true
                         << space << "on";
      trace(log_, block) << row("settings") << "Compress" << row("settings") << false << space
                         << "off";
    }
    trace(log_, block, flat) << "Mode: " << bold << "copy";
    trace(log_, block, right) << "right-aligned: " << time_now;
    trace(log_, block) << separator;

    trace(files_, block, title) << "Files";
    // Every table row starts with a column stop, so its first stop is where one section step
    // indents: rows of other pages shown in the same screen share the unnamed tab stops.
    trace(files_, block, bold) << column << "File" << column << "Size" << column << "Took" << column
                               << "State";
  }

  // Waits while the session is paused; false once it is stopped.
  bool Wait() {
    unsigned int activity = kTalMonPlaying;
    TalMonitorGetActivity(session_, &activity);
    if (activity == kTalMonPaused) {
      trace(log_, temporary) << icon("media-playback-pause") << bold << "Paused"
                             << " - 'talmon resume' goes on" << flush;
    }
    return TalMonitorDoEvents(session_);
  }

  // The live progress bar: a temporary last row of the log, flushed so viewers see it, and
  // replaced by whatever the log writes next.
  void Progress(int done, int total, const char* current) {
    trace(log_, temporary) << "copying " << current << space << progress(done, total) << flush;
  }

  void FileDone(const DemoFile& f, int ticks) {
    const int64_t took = static_cast<int64_t>(ticks) * kTickMs / 1000;
    if (f.fails) {
      trace(errors_, block, error) << icon("dialog-warning") << space << time_now << space << f.name
                                   << ": checksum mismatch, copied again";
      trace(log_, block, error) << time_now << space << f.name << ": checksum mismatch (retry)";
    }
    trace(log_, block) << time_now << space << "copied " << bold << f.name;
    const std::string size = std::to_string(f.megabytes) + " MiB";
    trace(files_, block) << column << f.name << column << size.c_str() << column << duration(took)
                         << column << (f.fails ? "copied (retried)" : "copied");
  }

  void Summary(int megabytes) {
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start_);
    trace(log_, block) << separator;
    trace(log_, block, bold) << "Done: " << kFileCount << " files, " << megabytes << " MiB in "
                             << duration(elapsed.count());
    trace(log_, block, right) << little << "finished " << time_now;
  }

  bool Stopped() {
    trace(log_, block, error) << "Stopped by a viewer at " << time_now;
    return false;
  }

  unsigned int session_;
  IMonitorWriter& log_;
  IMonitorWriter& files_;
  IMonitorWriter& errors_;
  int seconds_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace

int CommandDemo(const Args& args) {
  Arguments a;
  int code = kExitOk;
  if (!ParseCommandLine("demo", args, {{"seconds", 0, true}, {"gui", 0, false}}, kDemoHelp, a,
                        code)) {
    return code;
  }
  if (!a.Positional().empty()) return UsageError("demo", "takes no arguments");
  long seconds = 10;
  if (a.Has("seconds") && !ParseNumber(a.Value("seconds", ""), 1, 3600, seconds)) {
    return UsageError("demo", "--seconds must be a number from 1 to 3600");
  }

  unsigned int session = 0;
  if (!TalCreateMonitorSession(&session) || session == 0) {
    return Fail("cannot make a session in " + DataDirectory());
  }
  std::fprintf(stderr, "talmon demo: session %u\n", session);
  if (a.Has("gui")) StartViewer(session);
  IMonitorWriter* log = nullptr;
  IMonitorWriter* files = nullptr;
  IMonitorWriter* errors = nullptr;
  if (TalOpenMonitorWriter(session, "Log", false, &log) &&
      TalOpenMonitorWriter(session, "Files", false, &files) &&
      TalOpenMonitorWriter(session, "Errors", false, &errors)) {
    Demo(session, *log, *files, *errors, static_cast<int>(seconds)).Run();
  } else {
    code = Fail("cannot make the pages of session " + std::to_string(session));
  }
  TalCloseMonitorWriter(errors);
  TalCloseMonitorWriter(files);
  TalCloseMonitorWriter(log);
  TalCloseMonitorSession(session);
  return code;
}

}  // namespace talmon::cli
