// qvlmodel noise: task 4. Copies a UVX file adding thermal noise from every telescope's SEFD per IF
// (a tab-separated table), the scan duration and the bandwidth; `--template` prints that table for
// a file's telescopes and IFs.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "app/cli/commands.h"
#include "app/cli/copy_task_cli.h"
#include "app/cli/terminal.h"
#include "errors/error_tables.h"
#include "errors/noise_task.h"

namespace {

struct NoiseArgs {
  std::string input;
  std::string output;
  std::string sefd;
  std::string template_of;
  double duration_s = 0;
  double bandwidth_hz = 0;
  bool gaussian = false;
  double efficiency = 0.88;
  bool weights = false;
  std::uint64_t start_value = 0;
  CLI::Option* start_option = nullptr;
  CLI::Option* duration_option = nullptr;
  CLI::Option* bandwidth_option = nullptr;
  bool strict = false;
  bool json = false;
};

constexpr const char* kMe = "qvlmodel noise";

int PrintTemplate(const std::string& path) {
  AUVXFile file;
  if (!file.Open(path, AUVXFile::modeRead)) {
    std::fprintf(stderr, "%s: %s: %s\n", kMe, path.c_str(), file.Error().c_str());
    return 2;
  }
  AObjArray<AMSfdItem> items;
  int n_if = 0;
  std::string error;
  if (!MakeSefdTemplate(file, items, &n_if, &error)) {
    std::fprintf(stderr, "%s: %s\n", kMe, error.c_str());
    return 2;
  }
  WriteSefdTable(std::cout, items, n_if);
  return 0;
}

int RunNoise(const NoiseArgs& args) {
  if (!args.template_of.empty()) {
    if (!args.input.empty() || !args.sefd.empty()) {
      std::fprintf(stderr, "%s: --template takes the UVX file alone\n", kMe);
      return 2;
    }
    return PrintTemplate(args.template_of);
  }
  if (args.input.empty() || args.sefd.empty() || !*args.duration_option || !*args.bandwidth_option) {
    std::fprintf(stderr, "%s: give IN.uvx, --sefd SEFD.tsv, --duration T and --bandwidth B (or --template IN.uvx)\n",
                 kMe);
    return 2;
  }
  AMNoiseParams p;
  p.in_path = args.input;
  p.out_path = args.output;
  p.sfd.duration_s = args.duration_s;
  p.sfd.bandwidth_hz = args.bandwidth_hz;
  p.gaussian = args.gaussian;
  p.efficiency = args.efficiency;
  p.thermal_weights = args.weights;
  if (args.start_option && *args.start_option) p.rng_start = std::uint32_t(args.start_value);
  std::string error;
  if (!LoadSefdTable(args.sefd, p.sfd.items, &p.sfd.n_if, &error)) {
    std::fprintf(stderr, "%s: %s\n", kMe, error.c_str());
    return 2;
  }
  if (std::string bad = p.Validate(); !bad.empty()) {
    std::fprintf(stderr, "%s: %s\n", kMe, bad.c_str());
    return 2;
  }
  if (const int rc = CheckTableAgainstFile(kMe, args.sefd, p.in_path, TableRows(p.sfd.items), args.strict)) return rc;

  CopyTaskRun run;
  const int status = RunCopyTaskOnTerminal(
      kMe,
      [&](ProgressSink* progress, StopFlag* stop, MessageSink& messages, std::string* why, std::uint32_t* used,
          AMCopyStats* stats) { return RunNoiseTask(p, progress, stop, messages, why, used, stats); },
      run);
  if (status) return status;
  if (args.json) {
    nlohmann::json j = CopyTaskJson("noise", p.in_path, run);
    j["model"] = p.gaussian ? "gaussian" : "classic";
    j["efficiency"] = p.gaussian ? nlohmann::json(p.efficiency) : nlohmann::json();
    j["weights"] = p.thermal_weights ? "thermal" : "kept";
    j["duration_s"] = p.sfd.duration_s;
    j["bandwidth_hz"] = p.sfd.bandwidth_hz;
    j["telescopes"] = p.sfd.items.GetSize();
    std::printf("%s\n", j.dump(2).c_str());
  } else {
    PrintCopyTaskSummary(run);
    std::printf("Noise model:  %s\n", p.gaussian ? "Gaussian (real and imaginary parts)" : "classic (fixed amplitude)");
  }
  return 0;
}

}  // namespace

void AddNoiseCommand(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<NoiseArgs>();
  CLI::App* cmd = app.add_subcommand("noise", "Task 4: add thermal noise from the telescopes' SEFDs to a UVX file");
  cmd->add_option("input", args->input, "Input UVX file");
  cmd->add_option("-o,--output", args->output, "Output UVX file (default: the input with _snt before .uvx)");
  cmd->add_option("--sefd", args->sefd, "Tab-separated SEFD table, Jy per IF (see --template and docs/errors.md)");
  cmd->add_option("--template", args->template_of, "Print an SEFD table for the telescopes and IFs of this UVX file");
  args->duration_option = cmd->add_option("--duration", args->duration_s, "Scan duration T, s")->check(CLI::PositiveNumber);
  args->bandwidth_option = cmd->add_option("--bandwidth", args->bandwidth_hz, "Bandwidth B, Hz")->check(CLI::PositiveNumber);
  // The second name is the one earlier scripts use.
  args->start_option = cmd->add_option("--random-start,--seed", args->start_value, "Start value of the random generators (default: tick count)")
                           ->check(CLI::Range(std::uint64_t{0}, std::uint64_t{4294967295u}));
  cmd->add_flag("--weights", args->weights,
                "Set each visibility's weight to 1/sigma^2 from the SEFDs, bandwidth and duration (default: keep the "
                "weights)");
  CLI::Option* gaussian = cmd->add_flag("--gaussian", args->gaussian,
                                        "Gaussian real and imaginary parts, sigma = sqrt(S1 S2 / (2 B T)) / eta");
  cmd->add_option("--efficiency", args->efficiency, "Correlator efficiency eta of --gaussian (default 0.88)")
      ->needs(gaussian)
      ->check(CLI::Range(0.0, 1.0));
  cmd->add_flag("--strict", args->strict,
                "Refuse to run when the table's names differ from the file's telescope names or baselines have no row "
                "(default: warn)");
  cmd->add_flag("--json", args->json, "Print the summary as JSON");
  cmd->callback([args, &ctx] { ctx.exit_code = RunNoise(*args); });
}
