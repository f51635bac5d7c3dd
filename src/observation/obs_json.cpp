#include "observation/obs_json.h"

#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>

#include "core/astro_time.h"
#include "core/text.h"
#include "observation/polarization.h"

using nlohmann::json;

namespace {

// ---- writing --------------------------------------------------------------------------------

bool SameDouble(double a, double b) { return a == b && std::signbit(a) == std::signbit(b); }

json TimeValue(double seconds) {
  const std::string text = ExactTimeText(seconds);
  return text.empty() ? json(seconds) : json(text);
}

json AngleValue(double arcsec) {
  const std::string text = ExactAngleText(arcsec);
  return text.empty() ? json(arcsec) : json(text);
}

// Puts "<key>_mhz" when MHz reads back exactly, else "<key>_hz".
void PutFrequency(json& j, const std::string& key, double hz) {
  const double mhz = hz / 1.0e6;
  if (std::isfinite(mhz) && SameDouble(mhz * 1.0e6, hz)) j[key + "_mhz"] = mhz;
  else j[key + "_hz"] = hz;
}

struct ParamName {
  const char* key;
  int index;
};
constexpr ParamName kGroundKeys[] = {{"x_m", 0},          {"y_m", 1},          {"z_m", 2},
                                     {"diameter_m", 3},   {"az_min_deg", 4},   {"az_max_deg", 5},
                                     {"zenith_min_deg", 6}, {"zenith_max_deg", 7}};
constexpr ParamName kOrbitKeys[] = {{"semimajor_axis_km", 0}, {"eccentricity", 1},
                                    {"inclination_deg", 2},   {"ascending_node_deg", 3},
                                    {"perigee_argument_deg", 4}, {"epoch_jd", 5},
                                    {"mean_anomaly_deg", 6},  {"unused", 7}};

bool MatchesCatalog(const AMTlscItem& t, const AMTlscInfoItem& e) {
  if (t.name != e.name || t.id_name != e.id_name) return false;
  if ((t.kind == kTlscGround) != (e.ground != 0) || (t.kind != kTlscGround && t.kind != kTlscOrbital)) return false;
  for (int i = 0; i < tlsc::kParamCount; ++i)
    if (!SameDouble(t.params[i], e.params[i])) return false;
  return true;
}

json TelescopeToJson(const AMTlscItem& t, const AMTlscCatalog* catalog) {
  json j = json::object();
  bool by_reference = false;
  if (catalog) {
    const int at = FindTelescope(*catalog, t.name, t.id_name);
    by_reference = at >= 0 && MatchesCatalog(t, (*catalog)[at]);
  }
  if (by_reference) {
    j["catalog"] = t.name;
    j["id"] = t.id_name;
  } else {
    j["name"] = t.name;
    j["id"] = t.id_name;
    if (t.kind == kTlscGround) j["kind"] = "ground";
    else if (t.kind == kTlscOrbital) j["kind"] = "orbital";
    else j["kind"] = t.kind;
    const bool ground = t.IsGround();
    for (const ParamName& p : ground ? kGroundKeys : kOrbitKeys) {
      if (!ground && p.index == tlsc::kUnused && SameDouble(t.params[p.index], 0.0)) continue;
      j[p.key] = t.params[p.index];
    }
  }
  if (t.use_orbit_file == 0 || t.use_orbit_file == 1) {
    if (t.use_orbit_file) j["use_orbit_file"] = true;
  } else {
    j["use_orbit_file"] = t.use_orbit_file;
  }
  if (!t.orbit_file.empty()) j["orbit_file"] = t.orbit_file;
  return j;
}

// ---- reading --------------------------------------------------------------------------------

// Collects the first error with the path of the offending key. Keys and values quoted from the
// file are escaped so that the message is safe to print.
struct Reader {
  std::string error;

  bool Fail(const std::string& path, const std::string& what) {
    if (error.empty()) error = EscapeText((path.empty() ? std::string("observation") : path) + ": " + what, 400);
    return false;
  }
  bool Object(const json& j, const std::string& path, std::initializer_list<const char*> allowed) {
    if (!j.is_object()) return Fail(path, "expected an object");
    for (auto it = j.begin(); it != j.end(); ++it) {
      bool known = false;
      for (const char* k : allowed) known = known || it.key() == k;
      if (!known) return Fail(Join(path, it.key()), "unknown key");
    }
    return true;
  }
  static std::string Join(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
  }
  bool Number(const json& j, const std::string& path, double& out) {
    if (!j.is_number()) return Fail(path, "expected a number");
    if (!std::isfinite(j.get<double>())) return Fail(path, "not a finite number");
    out = j.get<double>();
    return true;
  }
  bool Int(const json& j, const std::string& path, std::int64_t low, std::int64_t high, std::int64_t& out) {
    if (!j.is_number_integer()) return Fail(path, "expected an integer");
    const std::int64_t v = j.is_number_unsigned() && j.get<std::uint64_t>() > std::uint64_t(INT64_MAX)
                               ? INT64_MAX
                               : j.get<std::int64_t>();
    if (v < low || v > high) return Fail(path, "out of range " + std::to_string(low) + ".." + std::to_string(high));
    out = v;
    return true;
  }
  bool Int32(const json& j, const std::string& path, std::int32_t& out, std::int64_t low = INT32_MIN) {
    std::int64_t v = 0;
    if (!Int(j, path, low, INT32_MAX, v)) return false;
    out = static_cast<std::int32_t>(v);
    return true;
  }
  bool String(const json& j, const std::string& path, std::string& out) {
    if (!j.is_string()) return Fail(path, "expected a string");
    out = j.get<std::string>();
    return true;
  }
  bool Bool(const json& j, const std::string& path, std::int32_t& out) {
    if (j.is_boolean()) {
      out = j.get<bool>() ? 1 : 0;
      return true;
    }
    if (j.is_number_integer()) return Int32(j, path, out);
    return Fail(path, "expected true or false");
  }
  bool Time(const json& j, const std::string& path, double& out) {
    if (j.is_number()) return Number(j, path, out);
    if (!j.is_string()) return Fail(path, "expected a time \"HH:MM:SS\" or seconds");
    if (!strToTime(j.get<std::string>(), out)) return Fail(path, "invalid time '" + j.get<std::string>() + "'");
    return true;
  }
  bool Angle(const json& j, const std::string& path, double& out) {
    if (j.is_number()) return Number(j, path, out);
    if (!j.is_string()) return Fail(path, "expected an angle \"+DD:MM:SS\" or arc-seconds");
    if (!strToAngle(j.get<std::string>(), out)) return Fail(path, "invalid angle '" + j.get<std::string>() + "'");
    return true;
  }
  // Either "<key>_mhz" or "<key>_hz" (not both); `required` refuses a missing one.
  bool Frequency(const json& j, const std::string& path, const std::string& key, double& out, bool required) {
    const bool mhz = j.contains(key + "_mhz"), hz = j.contains(key + "_hz");
    if (mhz && hz) return Fail(Join(path, key + "_hz"), "give either " + key + "_mhz or " + key + "_hz");
    if (mhz) {
      if (!Number(j[key + "_mhz"], Join(path, key + "_mhz"), out)) return false;
      out *= 1.0e6;
      return true;
    }
    if (hz) return Number(j[key + "_hz"], Join(path, key + "_hz"), out);
    if (required) return Fail(Join(path, key + "_mhz"), "missing");
    return true;
  }
};

bool ReadSource(Reader& r, const json& j, AMObservation& obs, const AMSourceCatalog* sources) {
  if (j.is_object() && j.contains("catalog")) {
    if (!r.Object(j, "source", {"catalog", "name_choice"})) return false;
    std::string name, choice = "name";
    if (!r.String(j["catalog"], "source.catalog", name)) return false;
    if (j.contains("name_choice") && !r.String(j["name_choice"], "source.name_choice", choice)) return false;
    if (choice != "name" && choice != "other") return r.Fail("source.name_choice", "expected \"name\" or \"other\"");
    if (!sources) return r.Fail("source.catalog", "no source catalogue (Sources.dat) to look '" + name + "' up in");
    const int at = FindSource(*sources, name);
    if (at < 0) return r.Fail("source.catalog", "source '" + name + "' is not in Sources.dat");
    const AMSourceInfoItem& s = (*sources)[at];
    obs.source_name = choice == "other" ? s.other_name : s.name;
    obs.ra_time_s = s.ra_time_s;
    obs.dec_arcsec = s.dec_arcsec;
    return true;
  }
  if (!r.Object(j, "source", {"name", "ra", "dec"})) return false;
  if (j.contains("name") && !r.String(j["name"], "source.name", obs.source_name)) return false;
  if (j.contains("ra") && !r.Time(j["ra"], "source.ra", obs.ra_time_s)) return false;
  if (j.contains("dec") && !r.Angle(j["dec"], "source.dec", obs.dec_arcsec)) return false;
  return true;
}

bool ReadFrequency(Reader& r, const json& j, AMFreqSetup& f) {
  if (!r.Object(j, "frequency", {"reference_mhz", "reference_hz", "channels", "if_count", "setups"})) return false;
  if (!r.Frequency(j, "frequency", "reference", f.ref_freq_hz, false)) return false;
  if (j.contains("channels") && !r.Int32(j["channels"], "frequency.channels", f.n_channels)) return false;
  if (!j.contains("setups")) return true;
  const json& setups = j["setups"];
  if (!setups.is_array()) return r.Fail("frequency.setups", "expected an array");
  std::int64_t cols = -1;
  for (std::size_t i = 0; i < setups.size(); ++i) {
    const std::string path = "frequency.setups[" + std::to_string(i) + "]";
    if (!r.Object(setups[i], path, {"freq_id", "ifs"})) return false;
    if (!setups[i].contains("ifs") || !setups[i]["ifs"].is_array()) return r.Fail(path + ".ifs", "expected an array");
    const auto n = static_cast<std::int64_t>(setups[i]["ifs"].size());
    if (cols >= 0 && n != cols) return r.Fail(path + ".ifs", "every setup needs the same number of IFs");
    cols = n;
  }
  const auto rows = static_cast<std::uint32_t>(setups.size());
  f.table.Resize(0, 0);
  f.table.Resize(rows, static_cast<std::uint32_t>(std::max<std::int64_t>(cols, 0)));
  f.freq_ids = AArray<int>();
  for (std::uint32_t row = 0; row < rows; ++row) {
    const std::string path = "frequency.setups[" + std::to_string(row) + "]";
    std::int32_t id = static_cast<std::int32_t>(row + 1);
    if (setups[row].contains("freq_id") && !r.Int32(setups[row]["freq_id"], path + ".freq_id", id)) return false;
    f.freq_ids.Add(id);
    const json& ifs = setups[row]["ifs"];
    for (std::uint32_t c = 0; c < f.table.cols; ++c) {
      const std::string ip = path + ".ifs[" + std::to_string(c) + "]";
      if (!r.Object(ifs[c], ip, {"offset_mhz", "offset_hz", "channel_width_mhz", "channel_width_hz"})) return false;
      AUVXFqTblItem cell;
      if (!r.Frequency(ifs[c], ip, "offset", cell.if_offset_hz, true)) return false;
      if (!r.Frequency(ifs[c], ip, "channel_width", cell.ch_width_hz, true)) return false;
      f.table(row, c) = cell;
    }
  }
  f.n_if = static_cast<std::int32_t>(f.table.cols);
  if (j.contains("if_count") && !r.Int32(j["if_count"], "frequency.if_count", f.n_if)) return false;
  return true;
}

bool ReadIntervals(Reader& r, const json& j, AMObservation& obs) {
  if (!j.is_array()) return r.Fail("intervals", "expected an array");
  obs.intervals = AArray<AMTimeItem>();
  for (std::size_t i = 0; i < j.size(); ++i) {
    const std::string path = "intervals[" + std::to_string(i) + "]";
    if (!r.Object(j[i], path, {"start", "stop", "freq_id"})) return false;
    AMTimeItem t;
    if (!j[i].contains("start")) return r.Fail(path + ".start", "missing");
    if (!j[i].contains("stop")) return r.Fail(path + ".stop", "missing");
    if (!r.Time(j[i]["start"], path + ".start", t.start) || !r.Time(j[i]["stop"], path + ".stop", t.stop)) return false;
    if (j[i].contains("freq_id") && !r.Int32(j[i]["freq_id"], path + ".freq_id", t.freq_id)) return false;
    GrowWithCount(obs.intervals);
    obs.intervals.Add(t);
  }
  return true;
}

bool ReadPolarizations(Reader& r, const json& j, AMObservation& obs) {
  if (!j.is_array()) return r.Fail("polarizations", "expected an array");
  obs.polarizations = AArray<std::int16_t>();
  for (std::size_t i = 0; i < j.size(); ++i) {
    const std::string path = "polarizations[" + std::to_string(i) + "]";
    if (j[i].is_string()) {
      const auto code = PolarizationCode(j[i].get<std::string>());
      if (!code) return r.Fail(path, "unknown polarization '" + j[i].get<std::string>() + "' (I Q U V RR LL RL LR XX YY XY YX)");
      obs.polarizations.Add(*code);
    } else {
      std::int64_t v = 0;
      if (!r.Int(j[i], path, INT16_MIN, INT16_MAX, v)) return false;
      obs.polarizations.Add(static_cast<std::int16_t>(v));
    }
  }
  return true;
}

bool ReadTelescope(Reader& r, const json& j, const std::string& path, const AMTlscCatalog* catalog, AMTlscItem& t) {
  if (!j.is_object()) return r.Fail(path, "expected an object");
  if (j.contains("catalog")) {
    if (!r.Object(j, path, {"catalog", "id", "use_orbit_file", "orbit_file"})) return false;
    std::string name, id;
    if (!r.String(j["catalog"], path + ".catalog", name)) return false;
    if (j.contains("id") && !r.String(j["id"], path + ".id", id)) return false;
    if (!catalog) return r.Fail(path + ".catalog", "no telescope catalogue to look '" + name + "' up in");
    const int at = FindTelescope(*catalog, name, id);
    if (at < 0) return r.Fail(path + ".catalog", "telescope '" + name + (id.empty() ? "" : " " + id) + "' is not in the catalogue");
    t = AMTlscItem((*catalog)[at]);
  } else {
    std::string kind = "ground";
    if (j.contains("kind") && j["kind"].is_number_integer()) {
      if (!r.Int32(j["kind"], path + ".kind", t.kind)) return false;
      kind = t.IsGround() ? "ground" : "orbital";
    } else if (j.contains("kind")) {
      if (!r.String(j["kind"], path + ".kind", kind)) return false;
      if (kind != "ground" && kind != "orbital") return r.Fail(path + ".kind", "expected \"ground\" or \"orbital\"");
      t.kind = kind == "ground" ? kTlscGround : kTlscOrbital;
    }
    const bool ground = kind == "ground";
    if (ground) {
      if (!r.Object(j, path, {"name", "id", "kind", "x_m", "y_m", "z_m", "itrf_m", "diameter_m", "az_min_deg",
                              "az_max_deg", "zenith_min_deg", "zenith_max_deg", "use_orbit_file", "orbit_file"}))
        return false;
    } else if (!r.Object(j, path, {"name", "id", "kind", "semimajor_axis_km", "eccentricity", "inclination_deg",
                                   "ascending_node_deg", "perigee_argument_deg", "epoch_jd", "mean_anomaly_deg",
                                   "unused", "use_orbit_file", "orbit_file"})) {
      return false;
    }
    if (!j.contains("name")) return r.Fail(path + ".name", "missing");
    if (!j.contains("id")) return r.Fail(path + ".id", "missing");
    if (!r.String(j["name"], path + ".name", t.name) || !r.String(j["id"], path + ".id", t.id_name)) return false;
    // "itrf_m": [X, Y, Z] right-handed Earth-fixed, in place of the catalogue's x_m, y_m, z_m
    // (whose Y is the ITRF Y negated).
    const bool itrf = ground && j.contains("itrf_m");
    if (itrf) {
      const json& v = j["itrf_m"];
      if (j.contains("x_m") || j.contains("y_m") || j.contains("z_m"))
        return r.Fail(path + ".itrf_m", "give either itrf_m or x_m, y_m, z_m");
      if (!v.is_array() || v.size() != 3) return r.Fail(path + ".itrf_m", "expected [X, Y, Z] in metres");
      for (int k = 0; k < 3; ++k)
        if (!r.Number(v[std::size_t(k)], path + ".itrf_m[" + std::to_string(k) + "]", t.params[k])) return false;
      t.params[tlsc::kY] = -t.params[tlsc::kY];
    }
    for (const ParamName& p : ground ? kGroundKeys : kOrbitKeys) {
      if (itrf && p.index <= tlsc::kZ) continue;
      if (!j.contains(p.key)) {
        if (!ground && p.index == tlsc::kUnused) continue;
        return r.Fail(path + "." + p.key, "missing");
      }
      if (!r.Number(j[p.key], path + "." + p.key, t.params[p.index])) return false;
    }
  }
  if (j.contains("use_orbit_file") && !r.Bool(j["use_orbit_file"], path + ".use_orbit_file", t.use_orbit_file))
    return false;
  if (j.contains("orbit_file") && !r.String(j["orbit_file"], path + ".orbit_file", t.orbit_file)) return false;
  return true;
}

}  // namespace

std::string ExactTimeText(double seconds) {
  if (!std::isfinite(seconds) || seconds < 0) return {};
  for (int p = 0; p <= 9; ++p) {
    const std::string text = timeToStr(seconds, p);
    double back = 0;
    if (strToTime(text, back) && SameDouble(back, seconds)) return text;
  }
  return {};
}

std::string ExactAngleText(double arcsec) {
  if (!std::isfinite(arcsec)) return {};
  for (int p = 0; p <= 9; ++p) {
    const std::string text = angleToStr(arcsec, p);
    double back = 0;
    if (strToAngle(text, back) && SameDouble(back, arcsec)) return text;
  }
  return {};
}

json ObservationToJson(const AMObservation& obs, const AMTlscCatalog* catalog) {
  json j = json::object();
  j["source"] = {{"name", obs.source_name}, {"ra", TimeValue(obs.ra_time_s)}, {"dec", AngleValue(obs.dec_arcsec)}};
  char date[64];
  std::snprintf(date, sizeof date, "%04d-%02d-%02d", obs.year, obs.month, obs.day);
  j["date"] = date;

  const AMFreqSetup& f = obs.freq;
  json freq = json::object();
  PutFrequency(freq, "reference", f.ref_freq_hz);
  freq["channels"] = f.n_channels;
  if (f.n_if != f.Cols()) freq["if_count"] = f.n_if;
  json setups = json::array();
  for (int r = 0; r < f.Rows(); ++r) {
    json row = json::object();
    if (r < f.freq_ids.count) row["freq_id"] = f.freq_ids[r];
    json ifs = json::array();
    for (int c = 0; c < f.Cols(); ++c) {
      json cell = json::object();
      PutFrequency(cell, "offset", f.table(r, c).if_offset_hz);
      PutFrequency(cell, "channel_width", f.table(r, c).ch_width_hz);
      ifs.push_back(cell);
    }
    row["ifs"] = ifs;
    setups.push_back(row);
  }
  freq["setups"] = setups;
  j["frequency"] = freq;

  j["time_step_s"] = obs.time_step_s;
  json intervals = json::array();
  for (const AMTimeItem& t : obs.intervals)
    intervals.push_back({{"start", TimeValue(t.start)}, {"stop", TimeValue(t.stop)}, {"freq_id", t.freq_id}});
  j["intervals"] = intervals;

  json pols = json::array();
  for (std::int16_t code : obs.polarizations) {
    const auto name = PolarizationName(code);
    pols.push_back(name ? json(*name) : json(code));
  }
  j["polarizations"] = pols;

  json tl = json::array();
  for (const AMTlscItem& t : obs.telescopes) tl.push_back(TelescopeToJson(t, catalog));
  j["telescopes"] = tl;
  j["output"] = obs.output_path;
  if (obs.earth_blocking) j["earth_blocking"] = true;
  if (obs.azimuth_limits) j["azimuth_limits"] = true;
  return j;
}

int ObservationFromJson(const json& j, AMObservation& target, std::string& error, const AMTlscCatalog* catalog,
                        const AMSourceCatalog* sources) {
  Reader r;
  AMObservation obs(std::string{});
  obs.output_path.clear();
  auto done = [&](bool ok) {
    if (!ok) {
      error = r.error.empty() ? "invalid observation" : r.error;
      return 0;
    }
    target = obs;
    return 1;
  };
  if (!r.Object(j, "", {"source", "date", "frequency", "time_step_s", "intervals", "polarizations",
                                   "telescopes", "output", "earth_blocking", "azimuth_limits"}))
    return done(false);
  if (j.contains("source") && !ReadSource(r, j["source"], obs, sources)) return done(false);
  std::int32_t flag = 0;
  if (j.contains("earth_blocking")) {
    if (!r.Bool(j["earth_blocking"], "earth_blocking", flag)) return done(false);
    obs.earth_blocking = flag != 0;
  }
  if (j.contains("azimuth_limits")) {
    if (!r.Bool(j["azimuth_limits"], "azimuth_limits", flag)) return done(false);
    obs.azimuth_limits = flag != 0;
  }
  if (j.contains("date")) {
    std::string text;
    if (!r.String(j["date"], "date", text)) return done(false);
    const auto d = ParseIsoDate(text);
    if (!d) return done(r.Fail("date", "invalid date '" + text + "' (expected YYYY-MM-DD)"));
    obs.day = d->day;
    obs.month = d->month;
    obs.year = d->year;
  }
  if (j.contains("frequency") && !ReadFrequency(r, j["frequency"], obs.freq)) return done(false);
  if (j.contains("time_step_s") && !r.Number(j["time_step_s"], "time_step_s", obs.time_step_s)) return done(false);
  if (j.contains("intervals") && !ReadIntervals(r, j["intervals"], obs)) return done(false);
  if (j.contains("polarizations") && !ReadPolarizations(r, j["polarizations"], obs)) return done(false);
  if (j.contains("telescopes")) {
    const json& tl = j["telescopes"];
    if (!tl.is_array()) return done(r.Fail("telescopes", "expected an array"));
    AObjArray<AMTlscItem> list;
    for (std::size_t i = 0; i < tl.size(); ++i) {
      AMTlscItem t;
      if (!ReadTelescope(r, tl[i], "telescopes[" + std::to_string(i) + "]", catalog, t)) return done(false);
      GrowWithCount(list);
      list.Add(t);
    }
    obs.telescopes = list;
  }
  if (j.contains("output")) {
    if (!r.String(j["output"], "output", obs.output_path)) return done(false);
  } else {
    obs.output_path = DefaultOutputPath("", obs.source_name);
  }
  return done(true);
}
