// qvlmodel run: the tasks configured in a settings file ("QvlModel.ini"), in order, stopping at the
// first failure.
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "app/cli/commands.h"
#include "app/cli/terminal.h"
#include "app/task_runner.h"
#include "core/file.h"
#include "core/paths.h"

namespace {

struct RunArgs {
  std::string settings;
  std::string tasks = "1,2,3,4";
  std::string base;
  bool strict = false;
  bool json = false;
};

constexpr const char* kMe = "qvlmodel run";

int ParseTasks(const std::string& text, std::vector<int>& tasks) {
  std::stringstream in(text);
  std::string item;
  while (std::getline(in, item, ',')) {
    if (item.size() != 1 || item[0] < '1' || item[0] > '4') return 0;
    tasks.push_back(item[0] - '0');
  }
  return !tasks.empty();
}

int Run(const RunArgs& args) {
  std::vector<int> tasks;
  if (!ParseTasks(args.tasks, tasks)) {
    std::fprintf(stderr, "%s: --tasks: \"%s\" is not a list of task numbers 1 to 4 (e.g. 1,2,4)\n", kMe,
                 args.tasks.c_str());
    return 2;
  }
  const std::string base = BaseFolder(args.base);
  const std::string path = args.settings.empty() ? SettingsPath(base) : args.settings;
  AIniFile ini;
  if (!ini.Load(path)) {
    std::fprintf(stderr, "%s: %s: cannot read the settings file\n", kMe, path.c_str());
    return 2;
  }
  // (An INI file starts with "[" as a JSON array would: only binary kinds are told apart here.)
  if (const std::string kind = FileKindName(path); kind == "a UVX file" || kind == "a FITS file") {
    std::fprintf(stderr, "%s: %s: this is %s, not a settings file (QvlModel.ini)\n", kMe, path.c_str(), kind.c_str());
    return 2;
  }
  // What the file holds that the program cannot use: said before anything runs.
  const std::vector<std::string> findings = CheckSettings(ini);
  for (const std::string& f : findings)
    std::fprintf(stderr, "%s: %s%s: %s\n", kMe, args.strict ? "" : "warning: ", path.c_str(), f.c_str());
  if (args.strict && !findings.empty()) {
    std::fprintf(stderr, "%s: %s: not run (--strict)\n", kMe, path.c_str());
    return 1;
  }
  StopFlag stop{0};
  InterruptStop interrupt(stop);
  TerminalMessages messages;
  nlohmann::json report = nlohmann::json::array();
  std::vector<ATaskOutcome> outcomes;
  {
    TerminalProgress progress;
    outcomes = RunTasks(ini, path, tasks, base, &progress, &stop, messages, [&](const ATaskOutcome& o) {
      progress.Finish();
      if (!args.json && o.ok) std::printf("Task %d: %s -> %s\n", o.task, o.summary.c_str(), o.output.c_str());
    }, args.strict ? ATableCheck::Strict : ATableCheck::Warn);
  }
  int code = 0;
  for (const ATaskOutcome& o : outcomes) {
    report.push_back({{"task", o.task}, {"ok", o.ok}, {"stopped", o.stopped}, {"output", o.output},
                      {"summary", o.summary}, {"error", o.error}});
    if (o.stopped) {
      if (!o.summary.empty())  // a run in place: partly changed
        std::fprintf(stderr, "%s: task %d stopped; %s\n", kMe, o.task, o.summary.c_str());
      else
        std::fprintf(stderr, "%s: task %d stopped; its output was not written\n", kMe, o.task);
      code = 130;
    } else if (!o.ok) {
      std::fprintf(stderr, "%s: task %d: %s\n", kMe, o.task, o.error.c_str());
      code = 1;
    }
  }
  if (args.json) std::printf("%s\n", report.dump(2).c_str());
  return code;
}

}  // namespace

void AddRunCommand(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<RunArgs>();
  CLI::App* cmd = app.add_subcommand("run", "Run the tasks configured in a settings file (QvlModel.ini), in order");
  cmd->add_option("--settings", args->settings, "Settings file (default: QvlModel.ini in the base folder)");
  cmd->add_option("--tasks", args->tasks, "Tasks to run, e.g. 1,2,4 (default 1,2,3,4)");
  cmd->add_option("--base", args->base, "Base folder holding Telescopes.dat and QvlModel.ini")
      ->check(ExistingBaseFolder());
  cmd->add_flag("--strict", args->strict,
                "Refuse to run when the settings file has unknown sections or keys or unparsable numbers, and fail "
                "tasks 3 and 4 when their telescope table does not fit their input file (default: warn)");
  cmd->add_flag("--json", args->json, "Print the outcome of every task as JSON");
  cmd->callback([args, &ctx] { ctx.exit_code = Run(*args); });
}
