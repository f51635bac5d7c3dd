// qvlmodel info FILE.uvx: what a UVX file holds — header, frequency set-up, sources, telescopes,
// tables, baselines, time range and visibility statistics; optionally a listing of groups.
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "app/cli/commands.h"
#include "core/file.h"
#include "core/astro_time.h"
#include "core/text.h"
#include "uvx/fast_read.h"
#include "uvx/fq_table.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_lists.h"

namespace {

using nlohmann::json;

struct InfoArgs {
  std::string path;
  std::string groups;  // FIRST:COUNT
  bool json = false;
};

int Fail(const InfoArgs& args, const std::string& what) {
  std::fprintf(stderr, "qvlmodel info: %s: %s\n", args.path.c_str(), what.c_str());
  return 2;
}

std::string KindName(int kind) {
  switch (kind) {
    case kKeyInt: return "integer";
    case kKeyReal: return "real";
    case kKeyDate: return "date";
    default: return "character";
  }
}

json HeaderJson(const AUVXHeader& h) {
  json stokes = json::array();
  for (int i = 0; i < h.n_pol; ++i) stokes.push_back({{"code", h.pol[i]}, {"name", AStokesItem(h.pol[i]).asShortString()}});
  const auto date = CalendarFromJulianDay(h.jd0, "%Y-%m-%d");
  return {{"groups", h.groups},
          {"n_if", h.n_if},
          {"n_channels", h.n_channels},
          {"n_stokes", h.n_pol},
          {"stokes", stokes},
          {"object", h.Object()},
          {"observer", h.Observer()},
          {"origin", h.Origin()},
          {"flux_unit", h.FluxUnit()},
          {"epoch", h.epoch},
          {"jd0", h.jd0},
          {"date", date ? *date : std::string()},
          {"start_time_s", h.time},
          {"start_time", timeToStr(h.time)},
          {"ref_freq_hz", h.ref_freq_hz},
          {"time_step_s", h.time_step_s}};
}

json FreqJson(AUVXFile& f) {
  json sels = json::array();
  AUVXFqTbl fq(f);
  for (int s = 0; s < fq.GetFreqSels(); ++s) {
    json ifs = json::array();
    for (int i = 0; i < fq.NIF(); ++i)
      ifs.push_back({{"if", i + 1},
                     {"start_hz", fq.GetStartIFFq(s, i)},
                     {"channel_width_hz", fq.GetDeltaIFFq(s, i)},
                     {"total_bandwidth_hz", fq.GetTotalBandwidth(s, i)},
                     {"sideband", fq.GetSideband(s, i)}});
    sels.push_back({{"freq_id", fq.GetFreqSelID(s)}, {"ifs", ifs}});
  }
  return sels;
}

json TablesJson(AUVXFile& f) {
  json tables = json::array();
  for (int t = 0; t < f.TableCount(); ++t) {
    const AUVXTable& tb = *f.TableAt(t);
    json cols = json::array(), keys = json::array();
    for (const AUVXColumn& c : tb.columns) cols.push_back({{"name", c.name}, {"unit", c.unit}, {"format", c.format}});
    for (const AUVXKeyword& k : tb.keywords)
      keys.push_back({{"name", k.name}, {"kind", KindName(k.kind)}, {"value", k.value}});
    char type[16];
    std::snprintf(type, sizeof type, "0x%06X", unsigned(tb.type));
    tables.push_back({{"name", tb.name},
                      {"type", type},
                      {"rows", tb.n_rows},
                      {"row_length", tb.row_length},
                      {"columns", cols},
                      {"keywords", keys}});
  }
  return tables;
}

struct Stat {
  double min = std::numeric_limits<double>::infinity(), max = -std::numeric_limits<double>::infinity(), sum = 0;
  std::int64_t n = 0;
  void Add(double v) {
    min = std::min(min, v), max = std::max(max, v), sum += v, ++n;
  }
  json Json() const {
    if (n == 0) return {{"count", 0}};
    return {{"count", n}, {"min", min}, {"max", max}, {"mean", sum / double(n)}};
  }
};

int ParseRange(const std::string& text, std::int64_t& first, std::int64_t& count) {
  const auto colon = text.find(':');
  if (colon == std::string::npos) return 0;
  char* end = nullptr;
  const std::string a = text.substr(0, colon), b = text.substr(colon + 1);
  first = std::strtoll(a.c_str(), &end, 10);
  if (a.empty() || *end || first < 0) return 0;
  count = std::strtoll(b.c_str(), &end, 10);
  return !b.empty() && !*end && count >= 0;
}

int RunInfo(const InfoArgs& args) {
  std::int64_t first = 0, count = 0;
  if (!args.groups.empty() && !ParseRange(args.groups, first, count)) {
    std::fprintf(stderr, "qvlmodel info: invalid --groups '%s' (expected FIRST:COUNT)\n", args.groups.c_str());
    return 2;
  }
  AUVXFile f;
  if (!f.Open(args.path, AUVXFile::modeRead)) {
    // A file of another kind is named as what it is, with the command that reads it.
    const std::string kind = FileKindName(args.path);
    if (kind == "a JSON document") return Fail(args, "this is a JSON document, not a UVX file (an observation? qvlmodel obs show)");
    if (kind == "a FITS file") return Fail(args, "this is a FITS file, not a UVX file (UVFITS: qvlmodel import)");
    return Fail(args, f.Error());
  }
  const AUVXHeader h(f);
  AUVXAntenns ants;
  if (AUVXTable* an = f.GetTable("AN")) ants.Load(*an);
  AUVXSources sources;
  if (AUVXTable* su = f.GetTable("SU")) sources.Load(*su);

  // One pass over the data: time range, baselines, amplitude and weight statistics.
  Stat amp, weight, time;
  std::set<int> baselines;
  {
    AUVXFastRead reader(&f, nullptr);
    AUVXGroup g;
    AUVXVisibility v;
    int status = 0;
    while (reader.GetUVGVis(g, v, status)) {
      time.Add(g.time);
      baselines.insert(256 * g.tel1 + g.tel2);
      for (int e = 0; e < v.Count(); ++e) {
        amp.Add(AUVXComplex(v.entries[e]).ampl());
        weight.Add(v.entries[e].weight);
      }
    }
    if (status != -1) return Fail(args, "cannot read group " + std::to_string(reader.Next()));
  }

  json out;
  out["file"] = args.path;
  out["header"] = HeaderJson(h);
  out["frequencies"] = FreqJson(f);
  json src = json::array();
  for (const AUVXSourceItem& s : sources)
    src.push_back({{"id", s.id}, {"name", s.Name()}, {"ra_deg", s.ra_epo_deg}, {"dec_deg", s.dec_epo_deg},
                   {"epoch", s.epoch}});
  out["sources"] = src;
  json tel = json::array();
  for (const AUVXTlscItem& a : ants)
    tel.push_back({{"number", a.number}, {"name", a.Name()}, {"x_m", a.x}, {"y_m", a.y}, {"z_m", a.z}});
  out["telescopes"] = tel;
  out["tables"] = TablesJson(f);
  out["baselines"] = baselines.size();
  out["time_range_s"] = time.n ? json{{"first", time.min}, {"last", time.max}} : json(nullptr);
  out["amplitude"] = amp.Json();
  out["weight"] = weight.Json();

  auto tel_name = [&](int number) {
    const AUVXTlscItem* a = ants.FindNumber(number);
    return a ? a->Name() : std::string("?");
  };
  json listed = json::array();
  if (!args.groups.empty()) {
    AUVXGroup g;
    AUVXVisibility v(f);
    const std::int64_t last = std::min(first + count, f.Groups());
    for (std::int64_t i = first; i < last; ++i) {
      if (!f.SeekUVGroup(i) || !g.load(f) || !v.load(f)) return Fail(args, "cannot read group " + std::to_string(i));
      json entries = json::array();
      for (int e = 0; e < v.Count(); ++e) entries.push_back({v.entries[e].re, v.entries[e].im, v.entries[e].weight});
      listed.push_back({{"index", i},
                        {"time_s", g.time},
                        {"tel1", g.tel1},
                        {"tel2", g.tel2},
                        {"tel1_name", tel_name(g.tel1)},
                        {"tel2_name", tel_name(g.tel2)},
                        {"freq_id", g.freq_id},
                        {"uvw_s", {g.u, g.v, g.w}},
                        {"uvw_wavelengths", {g.u * h.ref_freq_hz, g.v * h.ref_freq_hz, g.w * h.ref_freq_hz}},
                        {"entries", entries}});
    }
    out["groups"] = listed;
  }

  if (args.json) {
    // Names from a damaged file may not be UTF-8: such bytes print as U+FFFD instead of failing.
    std::printf("%s\n", out.dump(2, ' ', false, json::error_handler_t::replace).c_str());
    return 0;
  }
  const json& hj = out["header"];
  std::printf("File:             %s\n", args.path.c_str());
  // Text from the file is escaped: a terminal would act on its control characters.
  auto text = [](const std::string& s) { return EscapeText(s, 64); };
  std::printf("Object:           %s   observer %s, origin %s\n", text(h.Object()).c_str(), text(h.Observer()).c_str(),
              text(h.Origin()).c_str());
  std::printf("Groups:           %d\n", h.groups);
  std::printf("IFs x channels:   %d x %d\n", h.n_if, h.n_channels);
  std::string stokes;
  for (int i = 0; i < h.n_pol; ++i) stokes += (i ? " " : "") + AStokesItem(h.pol[i]).asShortString();
  std::printf("Stokes:           %d (%s)\n", h.n_pol, stokes.c_str());
  std::printf("Start:            %s %s UT (JD0 %.1f, epoch %.1f)\n", hj["date"].get<std::string>().c_str(),
              timeToStr(h.time).c_str(), h.jd0, h.epoch);
  std::printf("Reference freq.:  %.6f MHz   time step %g s\n", h.ref_freq_hz / 1e6, h.time_step_s);
  for (const auto& s : out["frequencies"]) {
    std::printf("Freq. ID %d:\n", s["freq_id"].get<int>());
    for (const auto& i : s["ifs"])
      std::printf("  IF %d: start %.6f MHz, channel %.3f kHz, total %.3f kHz, sideband %d\n", i["if"].get<int>(),
                  i["start_hz"].get<double>() / 1e6, i["channel_width_hz"].get<double>() / 1e3,
                  i["total_bandwidth_hz"].get<double>() / 1e3, i["sideband"].get<int>());
  }
  for (const AUVXSourceItem& s : sources)
    std::printf("Source %d:         %s  RA %.6f deg, Dec %.6f deg (epoch %.1f)\n", s.id, text(s.Name()).c_str(),
                s.ra_epo_deg, s.dec_epo_deg, s.epoch);
  std::printf("Telescopes:       %d\n", ants.GetSize());
  for (const AUVXTlscItem& a : ants)
    std::printf("  %3d %-8s  %15.3f %15.3f %15.3f m\n", a.number, text(a.Name()).c_str(), a.x, a.y, a.z);
  for (int t = 0; t < f.TableCount(); ++t) {
    const AUVXTable& tb = *f.TableAt(t);
    std::printf("Table %-3s type 0x%06X, %d rows of %d bytes\n", text(tb.name).c_str(), unsigned(tb.type), tb.n_rows,
                tb.row_length);
    for (const AUVXColumn& c : tb.columns)
      std::printf("  column %-17s %-9s %s\n", text(c.name).c_str(), text(c.unit).c_str(), text(c.format).c_str());
    for (const AUVXKeyword& k : tb.keywords)
      std::printf("  keyword %-8s = %s (%s)\n", text(k.name).c_str(), text(k.value).c_str(), KindName(k.kind).c_str());
  }
  std::printf("Baselines:        %zu\n", baselines.size());
  if (time.n)
    std::printf("Time range:       %s .. %s (%.3f .. %.3f s from start)\n", timeToStr(h.time + time.min).c_str(),
                timeToStr(h.time + time.max).c_str(), time.min, time.max);
  if (amp.n) {
    std::printf("|V| [Jy]:         min %.6g  max %.6g  mean %.6g\n", amp.min, amp.max, amp.sum / double(amp.n));
    std::printf("Weights:          min %.6g  max %.6g  mean %.6g\n", weight.min, weight.max,
                weight.sum / double(weight.n));
  }
  for (const auto& g : listed) {
    std::printf("Group %" PRId64 ": t %.3f s, %d-%d (%s-%s), freq. ID %d\n", g["index"].get<std::int64_t>(),
                g["time_s"].get<double>(), g["tel1"].get<int>(), g["tel2"].get<int>(),
                text(g["tel1_name"].get<std::string>()).c_str(), text(g["tel2_name"].get<std::string>()).c_str(),
                g["freq_id"].get<int>());
    std::printf("  u v w = %.9g %.9g %.9g s = %.6g %.6g %.6g wavelengths\n", g["uvw_s"][0].get<double>(),
                g["uvw_s"][1].get<double>(), g["uvw_s"][2].get<double>(), g["uvw_wavelengths"][0].get<double>(),
                g["uvw_wavelengths"][1].get<double>(), g["uvw_wavelengths"][2].get<double>());
    int e = 0;
    for (const auto& v : g["entries"]) {
      const int st = e % std::max(h.n_pol, std::int16_t(1));
      const int ch = (e / std::max(h.n_pol, std::int16_t(1))) % std::max(h.n_channels, 1);
      const int ifi = e / std::max(1, std::max(h.n_pol, std::int16_t(1)) * std::max(h.n_channels, 1));
      std::printf("    IF %d ch %d %-2s  re %.6g  im %.6g  w %.6g\n", ifi + 1, ch + 1,
                  AStokesItem(h.pol[st]).asShortString().c_str(), v[0].get<double>(), v[1].get<double>(),
                  v[2].get<double>());
      ++e;
    }
  }
  return 0;
}

}  // namespace

void AddInfoCommand(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<InfoArgs>();
  CLI::App* cmd = app.add_subcommand("info", "Show what a UVX file holds");
  cmd->add_option("file", args->path, "UVX file")->required();
  cmd->add_option("--groups", args->groups, "List groups FIRST:COUNT (from 0)");
  cmd->add_flag("--json", args->json, "Print the results as JSON");
  cmd->callback([args, &ctx] { ctx.exit_code = RunInfo(*args); });
}
