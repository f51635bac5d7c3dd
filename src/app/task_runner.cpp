#include "app/task_runner.h"

#include <fstream>
#include <nlohmann/json.hpp>

#include "core/file.h"
#include "core/paths.h"
#include "core/text.h"
#include "coverage/obs_preflight.h"
#include "coverage/uv_plane.h"
#include "coverage/uvx_creation.h"
#include "errors/table_match.h"
#include "model/comp_table.h"
#include "observation/obs_document.h"
#include "observation/obs_json.h"
#include "observation/source_catalog.h"
#include "observation/obs_limits.h"
#include "observation/telescope_catalog.h"

namespace {

ATaskOutcome Failed(int task, const std::string& error) {
  ATaskOutcome o;
  o.task = task;
  o.error = error;
  return o;
}

ATaskOutcome Stopped(int task) {
  ATaskOutcome o;
  o.task = task;
  o.stopped = true;
  return o;
}

std::string Resolve(const std::string& settings_path, const std::string& p) {
  return p.empty() ? p : ResolveOutputPath(settings_path, p);
}

// The telescope table of task 3 or 4 against its input file: warnings, or when strict the reason
// to refuse (empty: go on). A file that cannot be read is left to the task to report.
std::string TableMismatch(const std::string& in_path, const std::vector<AMTableRow>& rows, const char* section,
                          MessageSink& messages, ATableCheck check) {
  if (check == ATableCheck::Off) return {};
  const bool strict = check == ATableCheck::Strict;
  AMTableMatch match;
  if (!MatchTableToFile(in_path, rows, match, nullptr) || match.Clean()) return {};
  const std::vector<std::string> lines = match.Lines();
  if (strict) return std::string("the telescope table of ") + section + " does not fit " + in_path + ": " + lines[0];
  for (const std::string& line : lines) messages.Show(std::string("warning: ") + section + ": " + line);
  return {};
}

}  // namespace

int LoadObservationAny(const std::string& path, const std::string& base_folder, AMObservation& obs, std::string& error) {
  AMTlscCatalog cat;
  AMSourceCatalog sources;
  std::string refused;  // catalogue lines left out as damaged: a likely reason for a failed look-up
  if (IsJsonObservationPath(path)) {
    LoadTelescopeFile(base_folder + kTelescopesFileName, cat, &refused);
    LoadSourceFile(base_folder + kSourcesFileName, sources, nullptr);
  }
  if (LoadObservationPath(path, cat, obs, error, &sources)) return 1;
  if (!refused.empty()) error += " (" + base_folder + kTelescopesFileName + ": " + EscapeText(refused) + ")";
  return 0;
}

ATaskOutcome RunTask1(const std::string& obs_path, const std::string& output, const std::string& base_folder,
                      ProgressSink* progress, StopFlag* stop, MessageSink& messages, const AMUVPlaneOptions& asked) {
  if (obs_path.empty()) return Failed(1, "no observation file (\"OBS FILE\")");
  AMObservation obs(base_folder);
  std::string error;
  if (!LoadObservationAny(obs_path, base_folder, obs, error)) return Failed(1, obs_path + ": " + error);
  obs.output_path = output.empty() ? ResolveOutputPath(obs_path, obs.output_path) : output;
  for (int i = 0; i < obs.telescopes.GetSize(); ++i)
    obs.telescopes[i].orbit_file = ResolveOutputPath(obs_path, obs.telescopes[i].orbit_file);
  const AMCreateCheck check = CheckForCreate(obs, nullptr);
  if (!check.ok) return Failed(1, obs_path + ": " + (check.message ? check.message : "invalid observation"));
  if (const std::string why = CheckTask1Limits(obs); !why.empty()) return Failed(1, obs_path + ": " + why);
  for (const AMObsProblem& p : CheckPlausibility(obs)) {
    if (p.error) return Failed(1, obs_path + ": " + p.where + ": " + p.text);
    messages.Show(obs_path + ": " + p.where + ": " + p.text);
  }
  const AMUVPlaneOptions options{asked.earth_blocking || obs.earth_blocking, asked.azimuth_limits || obs.azimuth_limits};

  AMUVPlane plane;
  if (!plane.Calculate(obs, progress, stop, &messages, options)) {
    switch (plane.GetStatus()) {
      case AMUVPlane::kStopped: return Stopped(1);
      case AMUVPlane::kNoTempFile:
        return Failed(1, "cannot create " + obs.output_path + " (not even its temporary UV-point file beside it)");
      case AMUVPlane::kNoPoints: return Failed(1, obs_path + ": no UV points: " + WhyNoUVPoints(obs, plane, options));
      case AMUVPlane::kWriteFailed: return Failed(1, obs.output_path + ": cannot write the UV-point file beside it");
      default: return Failed(1, obs_path + ": the UV-plane computation failed");
    }
  }
  if (!CreateZeroUVX(plane.UVPath(), obs, obs.output_path, progress, stop, &messages)) {
    if (StopRequested(stop)) return Stopped(1);
    return Failed(1, obs.output_path + ": cannot write the UVX file");
  }
  ATaskOutcome o;
  o.task = 1;
  o.ok = true;
  o.output = obs.output_path;
  o.summary = std::to_string(plane.Points()) + " UV points of " + std::to_string(obs.telescopes.GetSize()) +
              " telescopes in " + std::to_string(plane.Samples()) + " samples";
  return o;
}

ATaskOutcome RunTask2(const AMSettings& st, ProgressSink* progress, StopFlag* stop, MessageSink& messages,
                      const AComponents* given) {
  const AMUVXWorkItem& item = st.work_item;
  if (item.in_path.empty()) return Failed(2, "no input UVX file (\"UVX IN\")");
  AMUVXWorkItem run = item;
  if (run.out_path.empty()) run.out_path = DefaultModelOutput(run.in_path);
  AComponents components;
  AMModelSource source;
  const AMModelPageSettings& page = st.model_page;
  if (page.use_ext == 0) {
    const std::string name = given ? std::string("the model") : page.model_file;
    std::vector<int> lines;  // the file's line of each component
    if (given) {
      components = *given;
    } else {
      if (page.model_file.empty()) return Failed(2, "no source model file (\"MODEL FILE\")");
      std::ifstream in(page.model_file);
      if (!in) return Failed(2, page.model_file + ": cannot open the model file");
      std::string error;
      if (!LoadComponents(in, components, &error, &lines)) return Failed(2, page.model_file + ": " + error);
    }
    const ACompCheck check = CheckComponents(components);
    if (!check.ok && given) return Failed(2, name + ": component " + std::to_string(check.row) + ": " + check.message);
    if (!check.ok) {  // the fixed message, then where in the file
      const bool known = check.row >= 1 && check.row <= int(lines.size());
      return Failed(2, std::string(check.message) + " (" + name +
                           (known ? " line " + std::to_string(lines[std::size_t(check.row - 1)]) : std::string()) +
                           ", component " + std::to_string(check.row) + ")");
    }
    source.kind = kModelComponents;
    source.components = &components;
  } else if (page.use_ext == 1) {
    source.kind = kModelMap;
    source.map_path = page.ext_mdl;
  } else {
    source.kind = kModelMapSeries;
    source.map_folder = page.ext_mdl_path;
    source.map_time_step_s = page.ext_mdl_tstep;
  }
  const bool in_place = SameFile(run.in_path, run.out_path);
  AMP2Work work(run, source, progress, stop, messages);
  if (!work.Run()) {
    if (!StopRequested(stop)) return Failed(2, work.Error());
    ATaskOutcome o = Stopped(2);
    if (in_place) {  // the groups written so far hold the model
      o.output = run.in_path;
      o.summary = std::to_string(work.GroupsDone()) + " groups of " + run.in_path +
                  " hold the model, the rest are as they were";
    }
    return o;
  }
  ATaskOutcome o;
  o.task = 2;
  o.ok = true;
  o.output = run.out_path;
  o.summary = std::string(source.kind == kModelComponents ? "component model (" + std::to_string(components.GetSize()) +
                                                                " components)"
                                                          : "map model") +
              " on " + std::to_string(work.GroupsDone()) + " groups";
  return o;
}

ATaskOutcome RunTask3(const AMSettings& st, ProgressSink* progress, StopFlag* stop, MessageSink& messages,
                      ATableCheck check) {
  AMErrorsParams p = st.errors;
  if (p.in_path.empty()) return Failed(3, "no input UVX file (\"IN UVX-FILE\")");
  const std::string section = SettingsSection("%s-PROCESS3");
  if (const std::string why = TableMismatch(p.in_path, TableRows(p.tlscs), section.c_str(), messages, check);
      !why.empty())
    return Failed(3, why);
  if (p.out_path.empty()) p.out_path = DefaultErrorsOutput(p.in_path);
  std::string error;
  std::uint32_t start = 0;
  if (!RunErrorsTask(p, progress, stop, messages, &error, &start))
    return StopRequested(stop) ? Stopped(3) : Failed(3, error);
  ATaskOutcome o;
  o.task = 3;
  o.ok = true;
  o.output = p.out_path;
  o.summary = "telescope errors of " + std::to_string(p.tlscs.GetSize()) + " telescopes, random start " +
              std::to_string(start);
  return o;
}

ATaskOutcome RunTask4(const AMSettings& st, ProgressSink* progress, StopFlag* stop, MessageSink& messages,
                      ATableCheck check) {
  AMNoiseParams p = st.noise;
  if (p.in_path.empty()) return Failed(4, "no input UVX file (\"IN UVX-FILE\")");
  const std::string section = SettingsSection("%s-PROCESS4");
  if (const std::string why = TableMismatch(p.in_path, TableRows(p.sfd.items), section.c_str(), messages, check);
      !why.empty())
    return Failed(4, why);
  if (p.out_path.empty()) p.out_path = DefaultNoiseOutput(p.in_path);
  std::string error;
  std::uint32_t start = 0;
  if (!RunNoiseTask(p, progress, stop, messages, &error, &start))
    return StopRequested(stop) ? Stopped(4) : Failed(4, error);
  ATaskOutcome o;
  o.task = 4;
  o.ok = true;
  o.output = p.out_path;
  o.summary = std::string(p.gaussian ? "Gaussian" : "thermal") + " noise from " +
              std::to_string(p.sfd.items.GetSize()) + " SEFD entries, random start " + std::to_string(start);
  return o;
}

void ResolveSettingsPaths(AMSettings& st, const std::string& settings_path) {
  st.obs_file = Resolve(settings_path, st.obs_file);
  st.model_page.model_file = Resolve(settings_path, st.model_page.model_file);
  st.model_page.ext_mdl = Resolve(settings_path, st.model_page.ext_mdl);
  st.model_page.ext_mdl_path = Resolve(settings_path, st.model_page.ext_mdl_path);
  st.work_item.in_path = Resolve(settings_path, st.work_item.in_path);
  st.work_item.out_path = Resolve(settings_path, st.work_item.out_path);
  st.errors.in_path = Resolve(settings_path, st.errors.in_path);
  st.errors.out_path = Resolve(settings_path, st.errors.out_path);
  st.noise.in_path = Resolve(settings_path, st.noise.in_path);
  st.noise.out_path = Resolve(settings_path, st.noise.out_path);
}

std::vector<ATaskOutcome> RunTasks(const AIniFile& ini, const std::string& settings_path, const std::vector<int>& tasks,
                                   const std::string& base_folder, ProgressSink* progress, StopFlag* stop,
                                   MessageSink& messages, const std::function<void(const ATaskOutcome&)>& report,
                                   ATableCheck check) {
  std::vector<ATaskOutcome> done;
  std::string last_output;
  // Empty inputs stand for the previous task's output, also for the test whether they open.
  auto input = [&](const std::string& p) { return p.empty() ? last_output : Resolve(settings_path, p); };
  for (int t : tasks) {
    AMSettings st;
    LoadSettings(ini, st, [&](const std::string& p) { return UVXFileOpens(input(p)); });
    ResolveSettingsPaths(st, settings_path);
    ATaskOutcome o;
    switch (t) {
      case 1:
        o = RunTask1(st.obs_file, {}, base_folder, progress, stop, messages,
                     {st.earth_blocking != 0, st.azimuth_limits != 0});
        break;
      case 2:
        if (st.work_item.in_path.empty()) st.work_item.in_path = last_output;
        if (!st.work_item.out_path.empty() && SameFile(st.work_item.in_path, st.work_item.out_path))
          messages.Show("warning: task 2 writes into its input " + st.work_item.in_path +
                        ": a stop leaves it partly changed");
        o = RunTask2(st, progress, stop, messages);
        break;
      case 3:
        if (st.errors.in_path.empty()) st.errors.in_path = last_output;
        o = RunTask3(st, progress, stop, messages, check);
        break;
      case 4:
        if (st.noise.in_path.empty()) st.noise.in_path = last_output;
        o = RunTask4(st, progress, stop, messages, check);
        break;
      default: o = Failed(t, "there is no task " + std::to_string(t) + " (tasks are 1 to 4)"); break;
    }
    if (o.ok) last_output = o.output;
    o.error = EscapeText(o.error, 600);  // may quote paths and values of the settings file
    done.push_back(o);
    if (report) report(o);
    if (!o.ok) break;
  }
  return done;
}
