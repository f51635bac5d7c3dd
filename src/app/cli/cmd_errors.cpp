// qvlmodel errors: task 3. Copies a UVX file applying per-telescope phase and amplitude errors read
// from a tab-separated table; `--template` prints that table for a file's telescopes.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "app/cli/commands.h"
#include "app/cli/copy_task_cli.h"
#include "app/cli/terminal.h"
#include "core/text.h"
#include "errors/error_tables.h"
#include "errors/errors_task.h"
#include "errors/tlsc_rows.h"

namespace {

struct ErrorsArgs {
  std::string input;
  std::string output;
  std::string table;
  std::string template_of;
  std::vector<std::string> interval;
  double segment_s = 0;
  double step_s = 0;
  std::uint64_t start_value = 0;
  CLI::Option* start_option = nullptr;
  bool no_phase = false;
  bool no_amplitude = false;
  bool strict = false;
  bool json = false;
};

constexpr const char* kMe = "qvlmodel errors";

int PrintTemplate(const std::string& path) {
  AUVXFile file;
  if (!file.Open(path, AUVXFile::modeRead)) {
    std::fprintf(stderr, "%s: %s: %s\n", kMe, path.c_str(), file.Error().c_str());
    return 2;
  }
  AMTlscErrors tlscs;
  std::string error;
  if (!MakeErrorsTemplate(file, tlscs, &error)) {
    std::fprintf(stderr, "%s: %s\n", kMe, error.c_str());
    return 2;
  }
  WriteErrorsTable(std::cout, tlscs);
  return 0;
}

int RunErrors(const ErrorsArgs& args) {
  if (!args.template_of.empty()) {
    if (!args.input.empty() || !args.table.empty()) {
      std::fprintf(stderr, "%s: --template takes the UVX file alone\n", kMe);
      return 2;
    }
    return PrintTemplate(args.template_of);
  }
  if (args.input.empty() || args.table.empty()) {
    std::fprintf(stderr, "%s: give IN.uvx and --table ERRORS.tsv (or --template IN.uvx)\n", kMe);
    return 2;
  }
  AMErrorsParams p;
  p.in_path = args.input;
  p.out_path = args.output;
  p.use_phase_err = args.no_phase ? 0 : 1;
  p.use_ampl_err = args.no_amplitude ? 0 : 1;
  p.segment_s = args.segment_s;
  p.step_s = args.step_s;
  if (args.start_option && *args.start_option) p.rng_start = std::uint32_t(args.start_value);
  if (!args.interval.empty()) {
    p.has_interval = true;
    if (!ParseIntervalTime(args.interval[0], &p.start_s) || !ParseIntervalTime(args.interval[1], &p.stop_s)) {
      std::fprintf(stderr, "%s: --interval: not a time (H:MM:SS or seconds): %s %s\n", kMe, args.interval[0].c_str(),
                   args.interval[1].c_str());
      return 2;
    }
  }
  std::string error;
  if (!LoadErrorsTable(args.table, p.tlscs, &error)) {
    std::fprintf(stderr, "%s: %s\n", kMe, error.c_str());
    return 2;
  }
  if (std::string bad = p.Validate(); !bad.empty()) {
    std::fprintf(stderr, "%s: %s\n", kMe, bad.c_str());
    return 2;
  }
  if (const int rc = CheckTableAgainstFile(kMe, args.table, p.in_path, TableRows(p.tlscs), args.strict)) return rc;

  CopyTaskRun run;
  const int status = RunCopyTaskOnTerminal(
      kMe,
      [&](ProgressSink* progress, StopFlag* stop, MessageSink& messages, std::string* why, std::uint32_t* used,
          AMCopyStats* stats) { return RunErrorsTask(p, progress, stop, messages, why, used, stats); },
      run);
  if (status) return status;
  if (args.json) {
    nlohmann::json j = CopyTaskJson("errors", p.in_path, run);
    j["phase_errors"] = p.use_phase_err != 0;
    j["amplitude_errors"] = p.use_ampl_err != 0;
    j["telescopes"] = p.tlscs.GetSize();
    std::printf("%s\n", j.dump(2).c_str());
  } else {
    PrintCopyTaskSummary(run);
  }
  return 0;
}

}  // namespace

void AddErrorsCommand(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<ErrorsArgs>();
  CLI::App* cmd = app.add_subcommand("errors", "Task 3: apply per-telescope phase and amplitude errors to a UVX file");
  cmd->add_option("input", args->input, "Input UVX file");
  cmd->add_option("-o,--output", args->output, "Output UVX file (default: the input with _err before .uvx)");
  cmd->add_option("--table", args->table, "Tab-separated errors table (see --template and docs/errors.md)");
  cmd->add_option("--template", args->template_of, "Print an errors table for the telescopes of this UVX file");
  cmd->add_option("--interval", args->interval, "Time interval START STOP (H:MM:SS or seconds from 0h of the date)")
      ->expected(2);
  cmd->add_option("--segment", args->segment_s, "Length L after which dt starts again from 0, s (default: never)")
      ->check(CLI::NonNegativeNumber);
  cmd->add_option("--step", args->step_s, "Time step of the random phase, s (default: the file's time step)")
      ->check(CLI::NonNegativeNumber);
  // The second name is the one earlier scripts use.
  args->start_option = cmd->add_option("--random-start,--seed", args->start_value, "Start value of the random generator (default: tick count)")
                           ->check(CLI::Range(std::uint64_t{0}, std::uint64_t{4294967295u}));
  cmd->add_flag("--no-phase", args->no_phase, "Leave the phases alone (amplitude errors only)");
  cmd->add_flag("--no-amplitude", args->no_amplitude, "Leave the amplitudes alone (phase errors only)");
  cmd->add_flag("--strict", args->strict,
                "Refuse to run when the table's names differ from the file's telescope names or baselines have no row "
                "(default: warn)");
  cmd->add_flag("--json", args->json, "Print the summary as JSON");
  cmd->callback([args, &ctx] { ctx.exit_code = RunErrors(*args); });
}
