#include "app/settings_store.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "core/text.h"
#include "uvx/uvx_file.h"

namespace {

std::string Key(const char* pattern, int index) { return toStr(index, pattern); }

// Counts read from the file are clamped before anything is sized from them: telescope numbers
// are bytes (at most 255 telescopes), and a UVX file holds at most AUVXFile::kMaxAxis IFs.
constexpr int kMaxTelescopes = 255;

int ClampedCount(const AIniFile& ini, const std::string& section, const char* key, int limit) {
  return std::clamp(ini.GetProfileInt(section, key, 0), 0, limit);
}

double GetDouble(const AIniFile& ini, const std::string& section, const std::string& key, const char* def) {
  return std::atof(ini.GetProfileString(section, key, def).c_str());
}

void PutDouble(AIniFile& ini, const std::string& section, const std::string& key, double value) {
  ini.WriteProfileString(section, key, valToStr(value));
}

// The random start value is optional: empty text means "from the clock".
std::optional<std::uint32_t> GetStart(const AIniFile& ini, const std::string& section) {
  const std::string text = ini.GetProfileString(section, "RANDOM START", "");
  if (text.empty()) return std::nullopt;
  return static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 10));
}

void PutStart(AIniFile& ini, const std::string& section, const std::optional<std::uint32_t>& start) {
  ini.WriteProfileString(section, "RANDOM START", start ? std::to_string(*start) : std::string());
}

void LoadModelPage(const AIniFile& ini, AMModelPageSettings& p) {
  const std::string s = SettingsSection("%s-PROCESS2");
  p.fov_ra = GetDouble(ini, s, "FOV RA", "1");
  p.fov_dec = GetDouble(ini, s, "FOV DEC", "1");
  p.ext_mdl = ini.GetProfileString(s, "EXT_MDL", "");
  p.use_ext = ini.GetProfileInt(s, "USE_EXT", 0);
  p.ext_mdl_path = ini.GetProfileString(s, "EXT_MDL_PATH", "");
  p.ext_mdl_tstep = GetDouble(ini, s, "EXT_MDL_TSTEP", "600");
}

void LoadWorkItem(const AIniFile& ini, AMUVXWorkItem& w) {
  const std::string s = SettingsSection("%s-UVXITEM");
  w.in_path = ini.GetProfileString(s, "UVX IN", "");
  w.out_path = ini.GetProfileString(s, "UVX OUT", "");
  w.add_type = ini.GetProfileInt(s, "UVX ADDTYPE", 1);
  w.source = ini.GetProfileString(s, "UVX SRC", "");
  w.fast = ini.GetProfileInt(s, "UVX BFAST", 1);
  LoadSIMapSettings(ini, w.si_map);
  w.use_mfs = ini.GetProfileInt(s, "UVX USEMFS", 0);
}

void SaveWorkItem(AIniFile& ini, const AMUVXWorkItem& w) {
  const std::string s = SettingsSection("%s-UVXITEM");
  ini.WriteProfileString(s, "UVX IN", w.in_path);
  ini.WriteProfileString(s, "UVX OUT", w.out_path);
  ini.WriteProfileInt(s, "UVX ADDTYPE", w.add_type);
  ini.WriteProfileString(s, "UVX SRC", w.source);
  ini.WriteProfileInt(s, "UVX BFAST", w.fast);
  SaveSIMapSettings(ini, w.si_map);
  ini.WriteProfileInt(s, "UVX USEMFS", w.use_mfs);
}

void LoadErrors(const AIniFile& ini, AMErrorsParams& e, const UVXOpensFn& opens) {
  const std::string s = SettingsSection("%s-PROCESS3");
  e.in_path = ini.GetProfileString(s, "IN UVX-FILE", "");
  e.out_path = ini.GetProfileString(s, "OUT UVX-FILE", "");
  if (!opens(e.in_path)) return;  // the telescope list belongs to a file that is not there
  e.use_phase_err = ini.GetProfileInt(s, "USE PHASE ERR", 1);
  e.use_ampl_err = ini.GetProfileInt(s, "USE AMPL ERR", 1);
  e.has_interval = ini.HasKey(s, "INTERVAL START") && ini.HasKey(s, "INTERVAL STOP");
  e.start_s = GetDouble(ini, s, "INTERVAL START", "0");
  e.stop_s = GetDouble(ini, s, "INTERVAL STOP", "0");
  e.segment_s = GetDouble(ini, s, "INTERVAL LENGTH", "0");
  e.step_s = GetDouble(ini, s, "PHASE STEP", "0");
  e.rng_start = GetStart(ini, s);
  const int n = ClampedCount(ini, s, "NTLSCS", kMaxTelescopes);
  if (n <= 0) return;
  e.tlscs.SetSize(n);
  for (int d = 0; d < n; ++d) {
    AMTlscErrItem& t = e.tlscs[d];
    t.name = ini.GetProfileString(s, Key("TLSC NAME%d", d), "");
    t.id = ini.GetProfileInt(s, Key("TLSC ID%d", d), d + 1);
    t.phase_err_deg = GetDouble(ini, s, Key("TLSC PHASEERR%d", d), "0");
    t.ampl_err_db = GetDouble(ini, s, Key("TLSC AMPLERR%d", d), "0");
    t.phase0_deg = GetDouble(ini, s, Key("TLSC PH0%d", d), "0");
    t.fringe_rate = GetDouble(ini, s, Key("TLSC FRATE%d", d), "0");
    t.delay = GetDouble(ini, s, Key("TLSC DELAY%d", d), "0");
    t.fringe_acc = GetDouble(ini, s, Key("TLSC RATEACC%d", d), "0");
    t.delay_acc = GetDouble(ini, s, Key("TLSC DELAYACC%d", d), "0");
  }
}

void SaveErrors(AIniFile& ini, const AMErrorsParams& e) {
  const std::string s = SettingsSection("%s-PROCESS3");
  ini.WriteProfileString(s, "IN UVX-FILE", e.in_path);
  ini.WriteProfileString(s, "OUT UVX-FILE", e.out_path);
  ini.WriteProfileInt(s, "USE PHASE ERR", e.use_phase_err);
  ini.WriteProfileInt(s, "USE AMPL ERR", e.use_ampl_err);
  if (e.has_interval) {
    PutDouble(ini, s, "INTERVAL START", e.start_s);
    PutDouble(ini, s, "INTERVAL STOP", e.stop_s);
  }
  PutDouble(ini, s, "INTERVAL LENGTH", e.segment_s);
  PutDouble(ini, s, "PHASE STEP", e.step_s);
  PutStart(ini, s, e.rng_start);
  ini.WriteProfileInt(s, "NTLSCS", e.tlscs.GetSize());
  for (int d = 0; d < e.tlscs.GetSize(); ++d) {
    const AMTlscErrItem& t = e.tlscs[d];
    ini.WriteProfileString(s, Key("TLSC NAME%d", d), t.name);
    ini.WriteProfileInt(s, Key("TLSC ID%d", d), t.id);
    PutDouble(ini, s, Key("TLSC PHASEERR%d", d), t.phase_err_deg);
    PutDouble(ini, s, Key("TLSC AMPLERR%d", d), t.ampl_err_db);
    PutDouble(ini, s, Key("TLSC PH0%d", d), t.phase0_deg);
    PutDouble(ini, s, Key("TLSC FRATE%d", d), t.fringe_rate);
    PutDouble(ini, s, Key("TLSC DELAY%d", d), t.delay);
    PutDouble(ini, s, Key("TLSC RATEACC%d", d), t.fringe_acc);
    PutDouble(ini, s, Key("TLSC DELAYACC%d", d), t.delay_acc);
  }
}

void LoadNoise(const AIniFile& ini, AMNoiseParams& p, const UVXOpensFn& opens) {
  const std::string s = SettingsSection("%s-PROCESS4");
  p.in_path = ini.GetProfileString(s, "IN UVX-FILE", "");
  p.out_path = ini.GetProfileString(s, "OUT UVX-FILE", "");
  if (!opens(p.in_path)) return;
  AMTlscSfd& sfd = p.sfd;
  const int n = ClampedCount(ini, s, "NTLSCS", kMaxTelescopes);
  sfd.duration_s = GetDouble(ini, s, "DT", "0");
  sfd.bandwidth_hz = GetDouble(ini, s, "DF", "0");
  sfd.n_if = ClampedCount(ini, s, "NIFS", AUVXFile::kMaxAxis);
  p.gaussian = ini.GetProfileInt(s, "GAUSSIAN", 0) != 0;
  p.efficiency = GetDouble(ini, s, "EFFICIENCY", "0.88");
  p.thermal_weights = ini.GetProfileInt(s, "THERMAL WEIGHTS", 0) != 0;
  p.rng_start = GetStart(ini, s);
  if (n <= 0) return;
  sfd.items.SetSize(n);
  for (int d = 0; d < n; ++d) {
    AMSfdItem& t = sfd.items[d];
    t.name = ini.GetProfileString(s, Key("TLSC NAME%d", d), "");
    t.id = ini.GetProfileInt(s, Key("TLSC ID%d", d), d + 1);
    t.sefd.SetSize(sfd.n_if);
    for (int f = 0; f < sfd.n_if; ++f)
      t.sefd[f] = GetDouble(ini, s, Key("TLSC SEFD%d", d) + Key("_%d", f), "0");
  }
}

void SaveNoise(AIniFile& ini, const AMNoiseParams& p) {
  const std::string s = SettingsSection("%s-PROCESS4");
  const AMTlscSfd& sfd = p.sfd;
  ini.WriteProfileString(s, "IN UVX-FILE", p.in_path);
  ini.WriteProfileString(s, "OUT UVX-FILE", p.out_path);
  PutDouble(ini, s, "DT", sfd.duration_s);
  PutDouble(ini, s, "DF", sfd.bandwidth_hz);
  ini.WriteProfileInt(s, "NTLSCS", sfd.items.GetSize());
  ini.WriteProfileInt(s, "NIFS", sfd.n_if);
  ini.WriteProfileInt(s, "GAUSSIAN", p.gaussian ? 1 : 0);
  PutDouble(ini, s, "EFFICIENCY", p.efficiency);
  ini.WriteProfileInt(s, "THERMAL WEIGHTS", p.thermal_weights ? 1 : 0);
  PutStart(ini, s, p.rng_start);
  for (int d = 0; d < sfd.items.GetSize(); ++d) {
    const AMSfdItem& t = sfd.items[d];
    ini.WriteProfileString(s, Key("TLSC NAME%d", d), t.name);
    ini.WriteProfileInt(s, Key("TLSC ID%d", d), t.id);
    for (int f = 0; f < sfd.n_if; ++f)
      PutDouble(ini, s, Key("TLSC SEFD%d", d) + Key("_%d", f), f < t.sefd.GetSize() ? t.sefd[f] : 0.0);
  }
}

}  // namespace

std::string SettingsSection(const char* pattern) {
  char buf[64];
  std::snprintf(buf, sizeof buf, pattern, kSettingsName);
  return buf;
}

bool UVXFileOpens(const std::string& path) {
  if (path.empty()) return false;
  AUVXFile f;
  return f.Open(path, AUVXFile::modeRead) != 0;
}

void LoadSIMapSettings(const AIniFile& ini, AMSIMap& map) {
  const std::string s = SettingsSection("%s-SIMAP");
  map.FromSettings([&](const std::string& key) -> std::optional<std::string> {
    if (!ini.HasKey(s, key)) return std::nullopt;
    return ini.GetProfileString(s, key, "");
  });
}

void SaveSIMapSettings(AIniFile& ini, const AMSIMap& map) {
  const std::string s = SettingsSection("%s-SIMAP");
  for (const auto& [key, value] : map.ToSettings()) ini.WriteProfileString(s, key, value);
}

void LoadWindowPos(const AIniFile& ini, AMWindowPos& pos) {
  const std::string s = kSettingsName;
  pos = AMWindowPos{};
  pos.x = ini.GetProfileInt(s, "WND X", 0);
  pos.y = ini.GetProfileInt(s, "WND Y", 0);
  pos.width = ini.GetProfileInt(s, "WND WIDTH", 0);
  pos.height = ini.GetProfileInt(s, "WND HEIGHT", 0);
  pos.maximized = ini.GetProfileInt(s, "WND MAXIMIZED", 0) != 0;
  pos.valid = pos.width > 0 && pos.height > 0;
}

void SaveWindowPos(AIniFile& ini, const AMWindowPos& pos) {
  if (!pos.valid) return;
  const std::string s = kSettingsName;
  ini.WriteProfileInt(s, "WND X", pos.x);
  ini.WriteProfileInt(s, "WND Y", pos.y);
  ini.WriteProfileInt(s, "WND WIDTH", pos.width);
  ini.WriteProfileInt(s, "WND HEIGHT", pos.height);
  ini.WriteProfileInt(s, "WND MAXIMIZED", pos.maximized ? 1 : 0);
}

void LoadSettings(const AIniFile& ini, AMSettings& st, const UVXOpensFn& opens) {
  LoadWindowPos(ini, st.window);
  st.obs_file = ini.GetProfileString(SettingsSection("%s-PROCESS1"), "OBS FILE", "");
  st.earth_blocking = ini.GetProfileInt(SettingsSection("%s-PROCESS1"), "EARTH BLOCKING", 0);
  st.azimuth_limits = ini.GetProfileInt(SettingsSection("%s-PROCESS1"), "AZIMUTH LIMITS", 0);
  st.model_page.model_file = ini.GetProfileString(SettingsSection("%s-PROCESS2"), "MODEL FILE", "");
  LoadModelPage(ini, st.model_page);
  LoadWorkItem(ini, st.work_item);
  LoadErrors(ini, st.errors, opens);
  LoadNoise(ini, st.noise, opens);
  st.cur_task = ini.GetProfileInt(SettingsSection("%s-COMMON"), "CUR TASK", 1);
}

void SaveSettings(AIniFile& ini, const AMSettings& st) {
  SaveWindowPos(ini, st.window);
  ini.WriteProfileString(SettingsSection("%s-PROCESS1"), "OBS FILE", st.obs_file);
  ini.WriteProfileInt(SettingsSection("%s-PROCESS1"), "EARTH BLOCKING", st.earth_blocking);
  ini.WriteProfileInt(SettingsSection("%s-PROCESS1"), "AZIMUTH LIMITS", st.azimuth_limits);
  const std::string p2 = SettingsSection("%s-PROCESS2");
  const AMModelPageSettings& m = st.model_page;
  ini.WriteProfileString(p2, "MODEL FILE", m.model_file);
  PutDouble(ini, p2, "FOV RA", m.fov_ra);
  PutDouble(ini, p2, "FOV DEC", m.fov_dec);
  ini.WriteProfileString(p2, "EXT_MDL", m.ext_mdl);
  ini.WriteProfileInt(p2, "USE_EXT", m.use_ext);
  ini.WriteProfileString(p2, "EXT_MDL_PATH", m.ext_mdl_path);
  PutDouble(ini, p2, "EXT_MDL_TSTEP", m.ext_mdl_tstep);
  SaveWorkItem(ini, st.work_item);
  SaveErrors(ini, st.errors);
  SaveNoise(ini, st.noise);
  ini.WriteProfileInt(SettingsSection("%s-COMMON"), "CUR TASK", st.cur_task);
}

std::string SettingsPath(const std::string& base_folder) { return base_folder + kSettingsFileName; }

int LoadSettingsFile(const std::string& path, AMSettings& settings, const UVXOpensFn& opens) {
  AIniFile ini;
  const int read = ini.Load(path);
  LoadSettings(ini, settings, opens);
  return read;
}

int SaveSettingsFile(const std::string& path, const AMSettings& settings) {
  AIniFile ini;
  ini.Load(path);  // keeps the keys of others (window position, sections we do not know)
  SaveSettings(ini, settings);
  return ini.Save(path);
}
