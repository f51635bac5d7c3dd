// qvlmodel model: task 2. Puts the visibilities of a source model (components from a .mdl file,
// one map, or a series of maps from a folder) onto the UV points of a UVX file; with --render,
// draws a component model into a map file instead.
#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>

#include "app/cli/commands.h"
#include "app/cli/terminal.h"
#include "app/task_runner.h"
#include "core/astro_time.h"
#include "core/file.h"
#include "core/paths.h"
#include "model/comp_table.h"
#include "model/components.h"
#include "model/map_fits.h"
#include "model/map_model.h"
#include "model/model_run.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_frame.h"

namespace {

struct ModelArgs {
  std::string in;
  std::string out;
  std::string model;
  std::string map;
  std::string map_dir;
  double time_step = 600.0;
  bool add = false;
  bool no_fast = false;
  std::string mfs;
  std::string engine = "auto";
  double accuracy = kMapDefaultAccuracy;
  bool engine_given = false;
  bool json = false;
  // --render
  std::string render;
  std::vector<double> fov;
  int size = 256;
  std::string render_for;
};

constexpr const char* kMe = "qvlmodel model";

int Fail(const std::string& file, const std::string& what) {
  if (file.empty())
    std::fprintf(stderr, "%s: %s\n", kMe, what.c_str());
  else
    std::fprintf(stderr, "%s: %s: %s\n", kMe, file.c_str(), what.c_str());
  return 1;
}

int LoadModelFile(const std::string& path, AComponents& model) {
  std::ifstream in(path);
  if (!in) return Fail(path, "cannot open the model file"), 2;
  // A file of another kind is named as what it is: a map is given with --map.
  if (const std::string kind = FileKindName(path); !kind.empty())
    return Fail(path, "this is " + kind + ", not a source model (.mdl)" +
                          (kind == "a FITS file" ? std::string("; a map is given with --map") : std::string())),
           2;
  std::string error;
  std::vector<int> lines;
  if (!LoadComponents(in, model, &error, &lines)) return Fail(path, error);
  // The fixed message of the check, then where: the file's line and the component's number.
  const ACompCheck check = CheckComponents(model);
  if (!check.ok) {
    std::fprintf(stderr, "%s\n", check.message);
    const int line = check.row >= 1 && check.row <= int(lines.size()) ? lines[std::size_t(check.row - 1)] : 0;
    std::fprintf(stderr, "%s: %s line %d, component %d\n", kMe, path.c_str(), line, check.row);
    return 1;
  }
  return 0;
}

// The sky position a render is made for: the phase centre of a UVX file (SU table) or the source
// of an observation (.obs, .json). Non-zero on success; *why says otherwise.
int RenderCentre(const std::string& path, AFitsImageInfo& info, std::string* why) {
  if (FileKindName(path) == "a UVX file") {
    AUVXFile f;
    double ra = 0, dec = 0;
    if (!f.Open(path, AUVXFile::modeRead)) return *why = f.Error(), 0;
    if (!UVXPhaseCentre(f, ra, dec)) return *why = "the file has no source table (SU) with a position", 0;
    info.celestial = true;
    info.ra_deg = ra * 180.0 / M_PI;
    info.dec_deg = dec * 180.0 / M_PI;
    info.object = f.Header().Object();
    info.jd0 = f.Header().jd0;
    info.freq_hz = f.Header().ref_freq_hz;
    return 1;
  }
  AMObservation obs;
  if (!LoadObservationAny(path, BaseFolder(), obs, *why)) return 0;
  info.celestial = true;
  info.ra_deg = obs.ra_time_s / 240.0;   // 86400 s of time are 360 degrees
  info.dec_deg = obs.dec_arcsec / 3600.0;
  info.object = obs.source_name;
  info.jd0 = JulianDay(obs.day, obs.month, obs.year);
  info.freq_hz = obs.freq.ref_freq_hz;
  return 1;
}

int RunRender(const ModelArgs& args) {
  if (args.out.empty()) return Fail("", "--render needs -o MAP (.exm, .amap or .fits)");
  if (!args.fov.empty() && (args.fov.size() != 2 || !(args.fov[0] > 0) || !(args.fov[1] > 0)))
    return Fail("", "--fov needs two positive sizes in arcseconds (RA DEC)");
  if (args.size < 2 || args.size > 8192) return Fail("", "--size must lie between 2 and 8192 pixels");
  const bool fits = IsFitsMapPath(args.out);
  if (!args.render_for.empty() && !fits) return Fail("", "--for places a FITS map on the sky: give -o MAP.fits");
  AFitsImageInfo info;
  if (!args.render_for.empty()) {
    std::string why;
    if (!RenderCentre(args.render_for, info, &why)) return Fail(args.render_for, why), 2;
  }
  AComponents model;
  if (const int rc = LoadModelFile(args.render, model)) return rc;
  AMatrix<float> map(std::uint32_t(args.size), std::uint32_t(args.size));
  // Without --fov the range stays empty and the renderer chooses a square field holding every
  // component (docs/models.md).
  TMinMax range;
  if (!args.fov.empty()) range = {-args.fov[0] / 2, args.fov[0] / 2, -args.fov[1] / 2, args.fov[1] / 2};
  const AMapValueRange values = model.ToMap(map, range);
  const double fov_ra = range.xmax - range.xmin, fov_dec = range.ymax - range.ymin;
  std::string error;
  const int saved = fits ? SaveSkyFitsMap(args.out, map, range, "JY/PIXEL", info, &error)
                         : SaveMapAny(args.out, map, range, "JY/PIXEL", &error);
  if (!saved) return Fail(args.out, error);
  if (args.json) {
    nlohmann::json j = {{"map", args.out},
                        {"size", args.size},
                        {"fov_arcsec", {fov_ra, fov_dec}},
                        {"fov_chosen", args.fov.empty()},
                        {"min_jy", values.min},
                        {"max_jy", values.max},
                        {"components", model.GetSize()}};
    if (fits) j["centre_deg"] = {info.ra_deg, info.dec_deg};
    std::printf("%s\n", j.dump(2).c_str());
  } else {
    std::printf("Rendered %d components into %s (%d x %d pixels, %.6g\" x %.6g\"%s, %.5E .. %.5E Jy/pixel)\n",
                model.GetSize(), args.out.c_str(), args.size, args.size, fov_ra, fov_dec,
                args.fov.empty() ? " chosen to hold every component" : "", double(values.min), double(values.max));
    if (fits)
      std::printf("Centre:       %s\n", info.celestial ? ("RA " + std::to_string(info.ra_deg) + " deg, Dec " +
                                                           std::to_string(info.dec_deg) + " deg (" + args.render_for + ")")
                                                              .c_str()
                                                        : "RA 0, Dec 0 (offsets only; --for FILE places the map on the sky)");
  }
  return 0;
}

// The engine report of a map run: which engine summed the map(s), why, and the NUFFT's set-up.
nlohmann::json EngineJson(const AMapEngineReport& r) {
  nlohmann::json j = {{"name", MapEngineName(r.engine)},
                      {"reason", r.reason},
                      {"accuracy", r.accuracy},
                      {"pixels", r.pixels},
                      {"points", r.points},
                      {"estimated_s", {{"separable", r.separable_s}, {"nufft", r.nufft_s}}},
                      {"separable_error", r.separable_error},
                      {"maps", {{"reference", r.maps_reference}, {"separable", r.maps_separable}, {"nufft", r.maps_nufft}}}};
  if (r.maps_nufft > 0)
    j["nufft"] = {{"width", r.nufft_width},
                  {"grid", {r.nufft_rows, r.nufft_cols}},
                  {"precision", r.nufft_single ? "float" : "double"}};
  return j;
}

int RunModel(const ModelArgs& args) {
  if (!args.render.empty()) return RunRender(args);
  if (args.in.empty()) return Fail("", "give the input UVX file (or --render MODEL.mdl)");
  const int sources = int(!args.model.empty()) + int(!args.map.empty()) + int(!args.map_dir.empty());
  if (sources != 1) return Fail("", "give exactly one model: -m MODEL.mdl, --map FILE or --map-dir DIR");
  if (!args.map_dir.empty() && !(args.time_step > 0)) return Fail("", "--time-step must be positive");

  AMUVXWorkItem item;
  item.in_path = args.in;
  item.out_path = args.out.empty() ? DefaultModelOutput(args.in) : args.out;
  item.add_type = args.add ? 0 : 1;
  item.fast = args.no_fast ? 0 : 1;
  if (!args.mfs.empty()) {
    std::string error;
    if (!item.si_map.LoadFile(args.mfs, &error)) return Fail(args.mfs, error);
    item.use_mfs = 1;
  }
  MapEngine engine = MapEngine::Auto;
  if (args.engine == "reference") engine = MapEngine::Reference;
  else if (args.engine == "separable" || args.engine == "fast") engine = MapEngine::Separable;
  else if (args.engine == "nufft") engine = MapEngine::Nufft;
  else if (args.engine != "auto") return Fail("", "--engine must be auto, reference, separable or nufft");
  if (!(args.accuracy >= 1e-12 && args.accuracy <= 0.1))
    return Fail("", "--accuracy must lie between 1e-12 and 0.1 (relative RMS error of the visibilities)");
  AComponents components;
  AMModelSource source;
  if (!args.model.empty()) {
    if (const int rc = LoadModelFile(args.model, components)) return rc;
    source.kind = kModelComponents;
    source.components = &components;
  } else if (!args.map.empty()) {
    source.kind = kModelMap;
    source.map_path = args.map;
  } else {
    source.kind = kModelMapSeries;
    source.map_folder = args.map_dir;
    source.map_time_step_s = args.time_step;
  }

  if (source.kind == kModelComponents && args.engine_given)
    return Fail("", "--engine and --accuracy apply to map models (--map, --map-dir)");
  source.engine = engine;
  source.accuracy = args.accuracy;

  const bool in_place = SameFile(item.in_path, item.out_path);
  std::int64_t total = 0;
  if (in_place) {
    AUVXFile probe;
    if (probe.Open(item.in_path, AUVXFile::modeRead)) total = probe.Groups();
  }
  if (in_place)
    std::fprintf(stderr,
                 "%s: warning: the output is the input: %s is changed group by group, and a stop (Ctrl-C) leaves "
                 "it partly changed\n",
                 kMe, item.in_path.c_str());
  StopFlag stop{0};
  InterruptStop interrupt(stop);
  TerminalMessages messages;
  int ok = 0;
  std::string error;
  std::int64_t groups = 0;
  AMapEngineReport report;
  {
    TerminalProgress progress;
    AMP2Work work(item, source, &progress, &stop, messages);
    ok = work.Run();
    error = work.Error();
    groups = work.GroupsDone();
    report = work.EngineReport();
  }
  if (!ok) {
    if (StopRequested(&stop)) {
      if (in_place)
        std::fprintf(stderr, "%s: stopped; %s is partly changed: %lld of its %lld groups hold the model, the rest are as "
                     "they were\n",
                     kMe, item.in_path.c_str(), static_cast<long long>(groups), static_cast<long long>(total));
      else
        std::fprintf(stderr, "%s: stopped; nothing written\n", kMe);
      return 130;
    }
    return Fail("", error);
  }
  const char* kind = source.kind == kModelComponents ? "components" : source.kind == kModelMap ? "map" : "map series";
  if (args.json) {
    nlohmann::json j = {{"input", item.in_path},   {"output", item.out_path},   {"model", kind},
                        {"groups", groups},        {"add", item.add_type == 0}, {"fast", item.fast != 0},
                        {"in_place", in_place}};
    if (source.kind == kModelComponents) j["components"] = components.GetSize();
    else j["engine"] = EngineJson(report);
    std::printf("%s\n", j.dump(2).c_str());
  } else {
    std::printf("Model (%s) %s %lld groups of %s\n", kind, item.add_type == 0 ? "added to" : "written into",
                static_cast<long long>(groups), item.in_path.c_str());
    if (source.kind != kModelComponents)
      std::printf("Engine:       %s (%s)\n", MapEngineName(report.engine), report.reason.c_str());
    std::printf("Written:      %s\n", item.out_path.c_str());
  }
  return 0;
}

}  // namespace

void AddModelCommand(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<ModelArgs>();
  CLI::App* cmd = app.add_subcommand("model", "Task 2: source model visibilities onto the UV points of a UVX file");
  cmd->add_option("input", args->in, "Input UVX file");
  cmd->add_option("-o,--output", args->out, "Output UVX file (default: <input>_mdl.uvx; the input itself updates it in place)");
  cmd->add_option("-m,--model", args->model, "Component model (.mdl)");
  cmd->add_option("--map", args->map, "One map as the model (.exm, .amap or .fits)");
  cmd->add_option("--map-dir", args->map_dir, "Folder of .exm maps, one per time step, in name order");
  cmd->add_option("--time-step", args->time_step, "Seconds each map of --map-dir serves (default 600)");
  cmd->add_flag("--add", args->add, "Add the model to the visibilities already in the file (default: replace)");
  cmd->add_flag("--no-fast", args->no_fast, "Evaluate the model at every channel's frequency (default: once per IF)");
  cmd->add_option("--mfs", args->mfs, "Spectral-index map file: per-component spectral scaling (components, or the set pixels of a map)");
  auto* engine = cmd->add_option("--engine", args->engine,
                                 "Map sum: auto (default: the cost model's choice), separable (direct sum), nufft "
                                 "(non-uniform FFT) or reference (the plain parallel reduction)");
  auto* accuracy = cmd->add_option("--accuracy", args->accuracy,
                                   "Map sum: relative RMS accuracy of the NUFFT engine (default 1e-6); also steers auto");
  cmd->add_flag("--json", args->json, "Print the summary as JSON");
  cmd->add_option("--render", args->render, "Draw this component model (.mdl) into the map given by -o instead");
  cmd->add_option("--fov", args->fov,
                  "With --render: field of view RA DEC in arcseconds (default: a square field holding every component)")
      ->expected(2);
  cmd->add_option("--for", args->render_for,
                  "With --render to FITS: the UVX file or observation whose source position becomes CRVAL "
                  "(default: RA 0, Dec 0)");
  cmd->add_option("--size", args->size, "With --render: pixels per side (default 256)");
  cmd->callback([args, &ctx, engine, accuracy] {
    args->engine_given = engine->count() > 0 || accuracy->count() > 0;
    ctx.exit_code = RunModel(*args);
  });
}
