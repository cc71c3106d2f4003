// Each benchmark beside its baseline of the same run, as rows of one table:
//   | area | measured | value | baseline | value | ratio | goal |
// scripts/bench.sh gathers the rows of every program. Header-only; used by bench/ only.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace talmon_bench {

// A benchmark and its baseline, by name; the ratio should stay at or below limit (0: no
// goal, the ratio is only reported).
struct Goal {
  const char* area;
  const char* measured;
  const char* baseline;
  double limit;
};

// A time of nanoseconds in the unit that reads best.
inline std::string Time(double ns) {
  char text[32];
  if (ns >= 1e6) {
    std::snprintf(text, sizeof text, "%.2f ms", ns / 1e6);
  } else if (ns >= 1e3) {
    std::snprintf(text, sizeof text, "%.2f us", ns / 1e3);
  } else {
    std::snprintf(text, sizeof text, "%.1f ns", ns);
  }
  return text;
}

inline void PrintRow(const std::string& area, const std::string& measured, double value,
                     const std::string& baseline, double base, double limit) {
  const double ratio = base > 0 ? value / base : 0;
  char goal[48] = "-";
  if (limit > 0) {
    std::snprintf(goal, sizeof goal, "<= %gx: %s", limit, ratio <= limit ? "met" : "MISSED");
  }
  std::printf("| %s | %s | %s | %s | %s | %.2fx | %s |\n", area.c_str(), measured.c_str(),
              Time(value).c_str(), baseline.c_str(), Time(base).c_str(), ratio, goal);
}

// Keeps the real time per iteration of every run while the console shows them as usual.
class RecordingReporter : public benchmark::ConsoleReporter {
 public:
  // Without colours: the table's rows are found by their first character.
  RecordingReporter() : ConsoleReporter(OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      nanoseconds_[run.run_name.function_name] =
          run.GetAdjustedRealTime() * benchmark::GetTimeUnitMultiplier(benchmark::kNanosecond) /
          benchmark::GetTimeUnitMultiplier(run.time_unit);
    }
    ConsoleReporter::ReportRuns(runs);
  }
  double Nanoseconds(const std::string& name) const {
    const auto found = nanoseconds_.find(name);
    return found != nanoseconds_.end() ? found->second : 0;
  }

 private:
  std::map<std::string, double> nanoseconds_;
};

// Runs the benchmarks of the program, then prints a row per goal.
inline int RunWithGoals(int argc, char** argv, const std::vector<Goal>& goals) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RecordingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  std::fflush(stdout);
  for (const Goal& g : goals) {
    const double value = reporter.Nanoseconds(g.measured);
    const double base = reporter.Nanoseconds(g.baseline);
    if (value > 0 && base > 0) PrintRow(g.area, g.measured, value, g.baseline, base, g.limit);
  }
  return 0;
}

}  // namespace talmon_bench
