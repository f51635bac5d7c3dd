#pragma once
// The terminal side shared by the commands of tasks 3 and 4: a run under the progress bar and
// Ctrl-C, the random start value reported, the one-line failure, and the common summary.

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "app/cli/terminal.h"
#include "errors/copy_task.h"

struct CopyTaskRun {
  std::uint32_t start_used = 0;
  double seconds = 0;
  AMCopyStats stats;
};

// `run(progress, stop, messages, error, start_used, stats)` carries the task out. Returns the exit
// status: 0 on success, 130 when stopped, 1 on failure (its message printed).
template <class Run>
int RunCopyTaskOnTerminal(const char* me, Run&& run, CopyTaskRun& out) {
  StopFlag stop{0};
  InterruptStop interrupt(stop);
  TerminalMessages messages(false);
  std::string error;
  const auto t0 = std::chrono::steady_clock::now();
  int ok = 0;
  {
    TerminalProgress progress;
    ok = run(&progress, &stop, messages, &error, &out.start_used, &out.stats);
  }
  out.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  std::fprintf(stderr, "%s: random start value %u (--seed %u repeats this run)\n", me, out.start_used, out.start_used);
  if (ok) return 0;
  std::fprintf(stderr, "%s: %s\n", me, error.c_str());
  return StopRequested(&stop) ? 130 : 1;
}

// The summary fields every copy task prints.
inline nlohmann::json CopyTaskJson(const char* task, const std::string& input, const CopyTaskRun& r) {
  return {{"task", task},
          {"input", input},
          {"output", r.stats.out_path},
          {"groups", r.stats.groups},
          {"unchanged_missing_telescope", r.stats.unchanged_missing},
          {"rng_start", r.start_used},
          {"seconds", r.seconds}};
}

inline void PrintCopyTaskSummary(const CopyTaskRun& r) {
  std::printf("Written:      %s\n", r.stats.out_path.c_str());
  std::printf("Records:      %lld (%lld left unchanged: telescope not in the table)\n", (long long)r.stats.groups,
              (long long)r.stats.unchanged_missing);
}
