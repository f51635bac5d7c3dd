// qvlmodel obs: show, convert and check observation files (.obs binary or .json text).
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <system_error>

#include "app/cli/commands.h"
#include "app/task_runner.h"
#include "core/astro_time.h"
#include "core/file.h"
#include "core/paths.h"
#include "core/text.h"
#include "coverage/obs_preflight.h"
#include "observation/obs_json.h"
#include "observation/obs_limits.h"
#include "observation/observation.h"
#include "observation/polarization.h"
#include "observation/telescope_catalog.h"

namespace {

struct ObsArgs {
  std::string file;
  std::string out;
  std::string base;
  bool json = false;
  bool catalog_names = false;
  bool earth_blocking = false;
  bool azimuth_limits = false;
};

bool HasExtension(const std::string& path, const char* ext) {
  const std::string name = getfName(path);
  const auto dot = name.find_last_of('.');
  return dot != std::string::npos && toUpper(name.substr(dot)) == toUpper(ext);
}

AMTlscCatalog LoadCatalog(const std::string& base) {
  AMTlscCatalog cat;
  LoadTelescopeFile(BaseFolder(base) + kTelescopesFileName, cat);
  return cat;
}

// Reads .obs or .json (by extension) with the catalogues of the base folder.
int LoadAny(const std::string& path, const std::string& base, AMObservation& obs, std::string& error) {
  return LoadObservationAny(path, BaseFolder(base), obs, error);
}

int WriteTextAtomically(const std::string& path, const std::string& text) {
  const std::string temp = path + ".part";
  AFileRemover remover(temp);
  {
    std::ofstream out(temp, std::ios::binary | std::ios::trunc);
    if (!out) return 0;
    out << text;
    out.flush();
    if (!out) return 0;
  }
  std::error_code ec;
  std::filesystem::rename(temp, path, ec);
  if (ec) return 0;
  remover.Keep();
  return 1;
}

void PrintSummary(const AMObservation& obs, const std::string& path) {
  std::printf("Observation:  %s\n", path.c_str());
  std::printf("Source:       %s  RA %s  Dec %s (J2000)\n", obs.source_name.c_str(), timeToStr(obs.ra_time_s).c_str(),
              angleToStr(obs.dec_arcsec).c_str());
  std::printf("Date:         %04d-%02d-%02d\n", obs.year, obs.month, obs.day);
  const AMFreqSetup& f = obs.freq;
  std::printf("Frequency:    reference %.6f MHz, %d IF(s) x %d channel(s), %d frequency ID(s)\n", f.ref_freq_hz / 1e6,
              f.n_if, f.n_channels, f.Rows());
  for (int r = 0; r < f.Rows(); ++r) {
    std::printf("  Freq. ID %d:", r < f.freq_ids.count ? f.freq_ids[r] : r + 1);
    for (int c = 0; c < f.Cols(); ++c)
      std::printf("  IF%d %+.6f MHz / %.6f MHz", c + 1, f.table(r, c).if_offset_hz / 1e6, f.table(r, c).ch_width_hz / 1e6);
    std::printf("\n");
  }
  std::printf("Time step:    %s s\n", valToStr(obs.time_step_s).c_str());
  std::printf("Intervals:    %d\n", obs.intervals.count);
  for (const AMTimeItem& t : obs.intervals)
    std::printf("  %s - %s  Freq. ID %d\n", dateTimeToStr(t.start).c_str(), dateTimeToStr(t.stop).c_str(), t.freq_id);
  std::string pols;
  for (std::int16_t p : obs.polarizations) {
    const auto name = PolarizationName(p);
    pols += " " + (name ? *name : std::to_string(p));
  }
  std::printf("Polarization:%s\n", pols.empty() ? " (none)" : pols.c_str());
  std::printf("Telescopes:   %d\n", obs.telescopes.count);
  for (const AMTlscItem& t : obs.telescopes) {
    if (t.IsGround()) {
      std::printf("  %-4s %-16s ground   X %.3f  Y %.3f  Z %.3f m  D %g m\n", t.id_name.c_str(), t.name.c_str(),
                  t.params[0], t.params[1], t.params[2], t.params[3]);
    } else {
      std::printf("  %-4s %-16s orbital  a %g km  e %g  i %g deg  epoch JD %.4f%s%s\n", t.id_name.c_str(),
                  t.name.c_str(), t.params[0], t.params[1], t.params[2], t.params[5],
                  t.use_orbit_file ? "  orbit file " : "", t.use_orbit_file ? t.orbit_file.c_str() : "");
    }
  }
  std::printf("Output:       %s\n", obs.output_path.c_str());
  if (obs.output_path != ResolveOutputPath(path, obs.output_path))
    std::printf("              (%s)\n", ResolveOutputPath(path, obs.output_path).c_str());
}

int RunShow(const ObsArgs& a) {
  const AMTlscCatalog cat = LoadCatalog(a.base);
  AMObservation obs(std::string{});
  std::string error;
  if (!LoadAny(a.file, a.base, obs, error)) {
    std::fprintf(stderr, "qvlmodel obs show: %s: %s\n", a.file.c_str(), error.c_str());
    return 2;
  }
  if (a.json) std::printf("%s\n", ObservationToJson(obs, a.catalog_names ? &cat : nullptr).dump(2).c_str());
  else PrintSummary(obs, a.file);
  return 0;
}

int RunConvert(const ObsArgs& a) {
  const AMTlscCatalog cat = LoadCatalog(a.base);
  AMObservation obs(std::string{});
  std::string error;
  if (!LoadAny(a.file, a.base, obs, error)) {
    std::fprintf(stderr, "qvlmodel obs convert: %s: %s\n", a.file.c_str(), error.c_str());
    return 2;
  }
  int ok = 0;
  if (HasExtension(a.out, ".json"))
    ok = WriteTextAtomically(a.out, ObservationToJson(obs, a.catalog_names ? &cat : nullptr).dump(2) + "\n");
  else if (HasExtension(a.out, ".obs"))
    ok = SaveObservationFile(a.out, obs);
  else {
    std::fprintf(stderr, "qvlmodel obs convert: %s: the output must end in .obs or .json\n", a.out.c_str());
    return 2;
  }
  if (!ok) {
    std::fprintf(stderr, "qvlmodel obs convert: %s: cannot write the file\n", a.out.c_str());
    return 1;
  }
  if (a.json) std::printf("%s\n", nlohmann::json{{"input", a.file}, {"output", a.out}}.dump(2).c_str());
  else std::printf("%s -> %s\n", a.file.c_str(), a.out.c_str());
  return 0;
}

const char* CreateFieldName(AMCreateField f) {
  switch (f) {
    case AMCreateField::Telescopes: return "telescopes";
    case AMCreateField::Intervals: return "intervals";
    case AMCreateField::Polarizations: return "polarizations";
    case AMCreateField::RightAscension: return "ra";
    case AMCreateField::Declination: return "dec";
    default: return "";
  }
}

int RunCheck(const ObsArgs& a) {
  const char* me = "qvlmodel obs check";
  AMObservation obs(std::string{});
  std::string error;
  if (!LoadAny(a.file, a.base, obs, error)) {
    std::fprintf(stderr, "%s: %s: %s\n", me, a.file.c_str(), error.c_str());
    return 2;
  }
  for (int i = 0; i < obs.telescopes.GetSize(); ++i)  // orbit files next to the observation
    obs.telescopes[i].orbit_file = ResolveOutputPath(a.file, obs.telescopes[i].orbit_file);
  obs.output_path = ResolveOutputPath(a.file, obs.output_path);
  const AMCreateCheck c = CheckForCreate(obs);
  // The limits of task 1 (dates, sampling, telescopes the catalogue would refuse) come before the
  // plausibility checks and the coarse UV plane, as in configure.
  const std::string limits = c.ok ? CheckTask1Limits(obs) : std::string();
  AMPreflight pre;
  if (c.ok && limits.empty()) {
    const AMUVPlaneOptions options{a.earth_blocking || obs.earth_blocking, a.azimuth_limits || obs.azimuth_limits};
    pre = PreflightObservation(obs, options, true);
  }
  const bool ready = c.ok && limits.empty() && !HasErrors(pre.problems) && pre.any_pair_sees;
  if (a.json) {
    nlohmann::json j{{"file", a.file}, {"ok", ready}, {"ready", ready}};
    if (!c.ok) {
      j["message"] = c.message;
      if (c.row >= 0) j["row"] = c.row;
      if (c.column >= 0) j["column"] = c.column;
      if (c.id > 0) j["id"] = c.id;
      j["field"] = CreateFieldName(c.field);
    }
    if (!limits.empty()) j["message"] = limits;
    nlohmann::json problems = nlohmann::json::array();
    for (const AMObsProblem& p : pre.problems)
      problems.push_back({{"severity", p.error ? "error" : "warning"}, {"where", p.where}, {"text", p.text}});
    j["problems"] = problems;
    if (pre.visibility_tested) j["any_pair_sees_source"] = pre.any_pair_sees;
    if (!pre.any_pair_sees) j["why"] = pre.why_no_pair;
    std::printf("%s\n", j.dump(2).c_str());
  }
  if (!c.ok) {
    if (c.row >= 0)
      std::fprintf(stderr, "%s: %s (interval %d, column %d)\n", a.file.c_str(), c.message, c.row + 1, c.column + 1);
    else
      std::fprintf(stderr, "%s: %s\n", a.file.c_str(), c.message);
    return 1;
  }
  if (!limits.empty()) {
    if (!a.json) std::fprintf(stderr, "%s: %s: %s\n", me, a.file.c_str(), limits.c_str());
    return 1;
  }
  if (!a.json) ReportProblems(me, a.file, pre.problems);
  if (!pre.any_pair_sees) {
    if (!a.json) std::fprintf(stderr, "%s: %s: not ready: %s\n", me, a.file.c_str(), pre.why_no_pair.c_str());
    return 1;
  }
  if (!ready) return 1;
  if (!a.json)
    std::printf("%s: ready to create (%d telescopes, %d intervals)\n", a.file.c_str(), obs.telescopes.count,
                obs.intervals.count);
  return 0;
}

}  // namespace

void AddObsCommand(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<ObsArgs>();
  CLI::App* cmd = app.add_subcommand("obs", "Observation files: show, convert (.obs <-> .json), check");
  cmd->require_subcommand(1, 1);
  auto common = [args](CLI::App* sub) {
    sub->add_option("--base", args->base, "Base folder holding Telescopes.dat")
      ->check(ExistingBaseFolder());
    sub->add_flag("--json", args->json, "Print the results as JSON");
  };
  CLI::App* show = cmd->add_subcommand("show", "Readable summary of an observation (.obs or .json)");
  show->add_option("file", args->file, "Observation file")->required();
  show->add_flag("--catalog-names", args->catalog_names, "With --json: name catalogue telescopes by reference");
  common(show);
  show->callback([args, &ctx] { ctx.exit_code = RunShow(*args); });

  CLI::App* convert = cmd->add_subcommand("convert", "Convert .obs <-> .json (by extension)");
  convert->add_option("input", args->file, "Input observation (.obs or .json)")->required();
  convert->add_option("output", args->out, "Output observation (.obs or .json)")->required();
  convert->add_flag("--catalog-names", args->catalog_names,
                    "Write telescopes that match Telescopes.dat as {\"catalog\": name}");
  common(convert);
  convert->callback([args, &ctx] { ctx.exit_code = RunConvert(*args); });

  CLI::App* check = cmd->add_subcommand(
      "check", "The checks made before a UV plane is created, plausibility of the values, and whether two telescopes see the source together");
  check->add_option("file", args->file, "Observation file")->required();
  check->add_flag("--earth-blocking", args->earth_blocking, "Test visibility with Earth-blocked samples left out");
  check->add_flag("--azimuth-limits", args->azimuth_limits, "Test visibility with the azimuth limits applied");
  common(check);
  check->callback([args, &ctx] { ctx.exit_code = RunCheck(*args); });
}
