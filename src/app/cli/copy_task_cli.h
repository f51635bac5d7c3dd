#pragma once
// The terminal side shared by the commands of tasks 3 and 4: a run under the progress bar and
// Ctrl-C, the random start value reported, the one-line failure, and the common summary.

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "app/cli/terminal.h"
#include "errors/copy_task.h"
#include "errors/table_match.h"

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
  std::fprintf(stderr, "%s: random start value %u (--random-start %u repeats this run)\n", me, out.start_used, out.start_used);
  if (ok) return 0;
  std::fprintf(stderr, "%s: %s\n", me, error.c_str());
  return StopRequested(&stop) ? 130 : 1;
}

// Before the run: says where the table `table` does not fit the telescopes of `uvx` (names that
// differ from the file's AN names, baselines without a row), one warning line each. With `strict`
// these are errors. Returns the exit status: 0 to go on, 1 when strict refuses. An input that
// cannot be read is left to the task, which reports it.
inline int CheckTableAgainstFile(const char* me, const std::string& table, const std::string& uvx,
                                 const std::vector<AMTableRow>& rows, bool strict) {
  AMTableMatch match;
  if (!MatchTableToFile(uvx, rows, match, nullptr)) return 0;
  for (const std::string& line : match.Lines())
    std::fprintf(stderr, "%s: %s%s: %s\n", me, strict ? "" : "warning: ", table.c_str(), line.c_str());
  if (strict && !match.Clean()) {
    std::fprintf(stderr, "%s: %s does not fit the telescopes of %s (--strict)\n", me, table.c_str(), uvx.c_str());
    return 1;
  }
  return 0;
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
