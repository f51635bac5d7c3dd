// qvlmodel configure: task 1. Computes the UV coverage of an observation, shows what it gives and
// writes the empty (zero-visibility) UVX file.
#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>

#include "app/cli/commands.h"
#include "app/cli/terminal.h"
#include "app/task_runner.h"
#include "core/file.h"
#include "core/paths.h"
#include "core/text.h"
#include "coverage/frame_of_date.h"
#include "coverage/obs_preflight.h"
#include "coverage/uv_plane.h"
#include "coverage/uv_point_table.h"
#include "coverage/uv_review.h"
#include "coverage/uvx_creation.h"
#include "observation/obs_json.h"
#include "observation/obs_limits.h"
#include "observation/observation.h"
#include "observation/telescope_catalog.h"

namespace {

constexpr double kLightSpeed = 299792458.0;

struct ConfigureArgs {
  std::string file;
  std::string out;
  std::string base;
  bool review = false;
  bool keep_uv = false;
  bool json = false;
  AMUVPlaneOptions options;
  int points = 0;
};

// The first rows of the review table, each with the texts of its six columns.
nlohmann::json PointRows(const std::string& uv_path, const AMObservation& obs, int count) {
  nlohmann::json rows = nlohmann::json::array();
  AMUVPointTable table;
  if (!table.Open(uv_path, obs)) return rows;
  for (std::int64_t r = 0; r < table.Rows() && r < count; ++r) {
    nlohmann::json row = nlohmann::json::array();
    for (int c = 0; c < AMUVPointTable::kColumnCount; ++c) row.push_back(table.Text(r, c));
    rows.push_back(row);
  }
  return rows;
}

nlohmann::json MakeSummary(const AMObservation& obs, const AMUVPlane& plane, const AMUVReview& review) {
  nlohmann::json j;
  j["uv_points"] = review.points;
  j["samples"] = plane.Samples();
  j["time_span"] = {{"first_s", review.first_time_s},
                    {"last_s", review.last_time_s},
                    {"first", dateTimeToStr(review.first_time_s)},
                    {"last", dateTimeToStr(review.last_time_s)}};
  nlohmann::json bl = nlohmann::json::array();
  for (const auto& b : review.baselines) {
    bl.push_back({{"tel1", b.tel1},
                  {"tel2", b.tel2},
                  {"name", obs.telescopes[b.tel1 - 1].name + "-" + obs.telescopes[b.tel2 - 1].name},
                  {"points", b.points}});
  }
  j["baselines"] = bl;
  nlohmann::json tl = nlohmann::json::array();
  for (int i = 0; i < obs.telescopes.GetSize(); ++i) {
    const double frac = plane.Samples() > 0 ? double(plane.SeenSamples()[i]) / double(plane.Samples()) : 0.0;
    tl.push_back({{"number", i + 1}, {"name", obs.telescopes[i].name}, {"fraction_seen", frac}});
  }
  j["telescopes"] = tl;
  nlohmann::json longest = {{"km", review.max_uv_s * kLightSpeed / 1000.0},
                            {"mega_wavelengths", review.max_uv_s * obs.freq.ref_freq_hz / 1e6},
                            {"reference_freq_hz", obs.freq.ref_freq_hz}};
  if (review.max_tel1 > 0)
    longest["baseline"] = obs.telescopes[review.max_tel1 - 1].name + "-" + obs.telescopes[review.max_tel2 - 1].name;
  j["largest_baseline"] = longest;
  return j;
}

void PrintSummary(const nlohmann::json& s) {
  std::printf("UV points:    %lld in %lld samples\n", s["uv_points"].get<long long>(), s["samples"].get<long long>());
  std::printf("Time span:    %s - %s\n", s["time_span"]["first"].get<std::string>().c_str(),
              s["time_span"]["last"].get<std::string>().c_str());
  const auto& lb = s["largest_baseline"];
  std::printf("Largest projected baseline: %.1f km = %.2f M wavelengths at %.3f MHz%s%s\n", lb["km"].get<double>(),
              lb["mega_wavelengths"].get<double>(), lb["reference_freq_hz"].get<double>() / 1e6,
              lb.contains("baseline") ? "  " : "", lb.contains("baseline") ? lb["baseline"].get<std::string>().c_str() : "");
  std::printf("Telescopes (fraction of samples seeing the source):\n");
  for (const auto& t : s["telescopes"])
    std::printf("  %2d %-16s %6.1f %%\n", t["number"].get<int>(), t["name"].get<std::string>().c_str(),
                100.0 * t["fraction_seen"].get<double>());
  std::printf("Baselines:    %zu\n", s["baselines"].size());
  for (const auto& b : s["baselines"])
    std::printf("  %3d-%-3d %-24s %lld\n", b["tel1"].get<int>(), b["tel2"].get<int>(), b["name"].get<std::string>().c_str(),
                b["points"].get<long long>());
  if (s.contains("points")) {
    std::printf("%-14s %-16s %15s %14s %14s %14s\n", AMUVPointTable::ColumnTitle(0), AMUVPointTable::ColumnTitle(1),
                AMUVPointTable::ColumnTitle(2), AMUVPointTable::ColumnTitle(3), AMUVPointTable::ColumnTitle(4),
                AMUVPointTable::ColumnTitle(5));
    for (const auto& r : s["points"])
      std::printf("%-14s %-16s %15s %14s %14s %14s\n", r[0].get<std::string>().c_str(), r[1].get<std::string>().c_str(),
                  r[2].get<std::string>().c_str(), r[3].get<std::string>().c_str(), r[4].get<std::string>().c_str(),
                  r[5].get<std::string>().c_str());
  }
}

}  // namespace

// Prints the problems of an observation, errors and warnings, one line each on stderr; 0 when
// there was an error.
int ReportProblems(const char* me, const std::string& file, const std::vector<AMObsProblem>& problems) {
  for (const AMObsProblem& p : problems)
    std::fprintf(stderr, "%s: %s: %s%s: %s\n", me, file.c_str(), p.error ? "" : "warning: ", p.where.c_str(),
                 p.text.c_str());
  return HasErrors(problems) ? 0 : 1;
}

namespace {

int RunConfigure(const ConfigureArgs& args) {
  const char* me = "qvlmodel configure";
  AMObservation obs(BaseFolder(args.base));
  std::string error;
  if (!LoadObservationAny(args.file, BaseFolder(args.base), obs, error)) {
    std::fprintf(stderr, "%s: %s: %s\n", me, args.file.c_str(), error.c_str());
    return 2;
  }
  obs.output_path = args.out.empty() ? ResolveOutputPath(args.file, obs.output_path) : args.out;
  if (obs.output_path.empty()) {
    std::fprintf(stderr, "%s: %s: no output UVX file (give -o OUT.uvx)\n", me, args.file.c_str());
    return 2;
  }
  for (int i = 0; i < obs.telescopes.GetSize(); ++i)  // orbit files next to the observation
    obs.telescopes[i].orbit_file = ResolveOutputPath(args.file, obs.telescopes[i].orbit_file);

  TerminalMessages messages;
  const AMCreateCheck check = CheckForCreate(obs, nullptr);
  if (!check.ok) {
    std::fprintf(stderr, "%s: %s: %s\n", me, args.file.c_str(), check.message ? check.message : "invalid observation");
    if (check.row >= 0) {  // where: the interval (the intervals are sorted by then) and its field
      static const char* const kColumns[] = {"start", "stop", "Freq. ID"};
      std::fprintf(stderr, "%s: %s: interval %d in time order, %s\n", me, args.file.c_str(), check.row + 1,
                   check.column >= 0 && check.column < 3 ? kColumns[check.column] : "?");
    }
    return 1;
  }
  if (const std::string why = CheckTask1Limits(obs); !why.empty()) {
    std::fprintf(stderr, "%s: %s: %s\n", me, args.file.c_str(), why.c_str());
    return 1;
  }
  if (!ReportProblems(me, args.file, CheckPlausibility(obs))) return 1;
  AMUVPlaneOptions options = args.options;
  options.earth_blocking = options.earth_blocking || obs.earth_blocking;
  options.azimuth_limits = options.azimuth_limits || obs.azimuth_limits;

  StopFlag stop{0};
  InterruptStop interrupt(stop);
  AMUVPlane plane;
  {
    TerminalProgress progress;
    if (!plane.Calculate(obs, &progress, &stop, &messages, options)) {
      progress.Finish();
      switch (plane.GetStatus()) {
        case AMUVPlane::kNoPoints:
          std::fprintf(stderr, "%s: %s: %s\n", me, args.file.c_str(), WhyNoUVPoints(obs, plane, options).c_str());
          return 1;
        case AMUVPlane::kStopped:
          std::fprintf(stderr, "%s: stopped; nothing written\n", me);
          return 130;
        case AMUVPlane::kNoTempFile:
          std::fprintf(stderr, "%s: cannot create %s (not even its temporary UV-point file beside it)\n", me,
                       obs.output_path.c_str());
          return 1;
        case AMUVPlane::kWriteFailed:
          std::fprintf(stderr, "%s: %s: cannot write the temporary UV-point file beside it; nothing written\n", me,
                       obs.output_path.c_str());
          return 1;
        default:
          return 1;  // the message was shown
      }
    }
  }
  if (args.keep_uv) plane.KeepUVFile();

  AMUVReview review;
  if (!ReviewUVFile(plane.UVPath(), review)) {
    std::fprintf(stderr, "%s: %s: cannot read the UV-point file back\n", me, plane.UVPath().c_str());
    return 1;
  }
  nlohmann::json summary = MakeSummary(obs, plane, review);
  if (args.points > 0) summary["points"] = PointRows(plane.UVPath(), obs, args.points);
  summary["output"] = obs.output_path;
  summary["earth_blocking"] = options.earth_blocking;
  summary["azimuth_limits"] = options.azimuth_limits;
  const std::vector<std::string> blocked = EarthBlockedCounts(obs, plane);
  if (!blocked.empty()) summary["earth_blocked"] = blocked;
  if (!options.earth_blocking && !blocked.empty() && !args.json) {
    std::printf("The Earth hides the source from:\n");
    for (const std::string& b : blocked) std::printf("  %s\n", b.c_str());
    std::printf("  (counted as seeing it; --earth-blocking leaves these samples out)\n");
  }
  if (args.keep_uv) summary["uv_file"] = plane.UVPath();
  if (!args.json) PrintSummary(summary);

  bool accept = true;
  if (args.review) {
    TerminalMessages ask(true);
    accept = ask.Ask("Create " + obs.output_path + "?", Buttons::YesNo, Answer::No) == Answer::Yes;
  }
  summary["written"] = false;
  if (accept) {
    TerminalProgress progress;
    if (!CreateZeroUVX(plane.UVPath(), obs, obs.output_path, &progress, &stop, &messages)) {
      progress.Finish();
      if (StopRequested(&stop))
        std::fprintf(stderr, "%s: stopped; nothing written\n", me);
      else
        std::fprintf(stderr, "%s: %s: cannot write the UVX file\n", me, obs.output_path.c_str());
      return StopRequested(&stop) ? 130 : 1;
    }
    summary["written"] = true;
  }
  if (args.json)
    std::printf("%s\n", summary.dump(2).c_str());
  else if (accept)
    std::printf("Written:      %s\n", obs.output_path.c_str());
  else
    std::printf("Not written.\n");
  if (args.keep_uv && !args.json) std::printf("UV points kept in %s\n", plane.UVPath().c_str());
  return 0;
}

}  // namespace

void AddConfigureCommand(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<ConfigureArgs>();
  CLI::App* cmd = app.add_subcommand("configure", "Task 1: UV coverage of an observation -> empty (zero-visibility) UVX file");
  cmd->add_option("observation", args->file, "Observation file (.obs or .json)")->required();
  cmd->add_option("-o,--output", args->out, "Output UVX file (default: the observation's output file)");
  cmd->add_option("--base", args->base, "Folder holding Telescopes.dat (for .json telescopes given by catalogue name)")
      ->check(ExistingBaseFolder());
  cmd->add_flag("--review", args->review, "Show the UV plane summary and ask before writing the UVX file");
  cmd->add_flag("--keep-uv", args->keep_uv, "Keep the temporary UV-point file (.$uv)");
  cmd->add_flag("--json", args->json, "Print the summary as JSON");
  cmd->add_option("--points", args->points, "Also print the first N UV points as the review table shows them")
      ->check(CLI::NonNegativeNumber);
  cmd->add_flag("--earth-blocking", args->options.earth_blocking,
                "Leave out the samples in which the Earth hides the source from an orbiting telescope "
                "(default: orbiting telescopes always see it)");
  cmd->add_flag("--azimuth-limits", args->options.azimuth_limits,
                "Apply the ground stations' AZmin/AZmax as well (default: zenith-angle limits only)");
  cmd->callback([args, &ctx] { ctx.exit_code = RunConfigure(*args); });
}
