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

// The type of a settings value, for the check of a settings file.
enum class ValueType { Text, Int, OptionalInt, Double, DoubleList, RowCol };

struct KnownKey {
  const char* suffix;   // section: "" for "QVLMODEL" itself, else the part after "QVLMODEL"
  const char* pattern;  // key, "%d" standing for a decimal index
  ValueType type;
};

constexpr KnownKey kKnownKeys[] = {
    {"", "WND X", ValueType::Int}, {"", "WND Y", ValueType::Int}, {"", "WND WIDTH", ValueType::Int},
    {"", "WND HEIGHT", ValueType::Int}, {"", "WND MAXIMIZED", ValueType::Int},
    {"-PROCESS1", "OBS FILE", ValueType::Text}, {"-PROCESS1", "EARTH BLOCKING", ValueType::Int},
    {"-PROCESS1", "AZIMUTH LIMITS", ValueType::Int},
    {"-PROCESS2", "MODEL FILE", ValueType::Text}, {"-PROCESS2", "FOV RA", ValueType::Double},
    {"-PROCESS2", "FOV DEC", ValueType::Double}, {"-PROCESS2", "EXT_MDL", ValueType::Text},
    {"-PROCESS2", "USE_EXT", ValueType::Int}, {"-PROCESS2", "EXT_MDL_PATH", ValueType::Text},
    {"-PROCESS2", "EXT_MDL_TSTEP", ValueType::Double},
    {"-UVXITEM", "UVX IN", ValueType::Text}, {"-UVXITEM", "UVX OUT", ValueType::Text},
    {"-UVXITEM", "UVX ADDTYPE", ValueType::Int}, {"-UVXITEM", "UVX SRC", ValueType::Text},
    {"-UVXITEM", "UVX BFAST", ValueType::Int}, {"-UVXITEM", "UVX USEMFS", ValueType::Int},
    {"-SIMAP", "ROW-COL", ValueType::RowCol}, {"-SIMAP", "ROW%d", ValueType::DoubleList},
    {"-PROCESS3", "IN UVX-FILE", ValueType::Text}, {"-PROCESS3", "OUT UVX-FILE", ValueType::Text},
    {"-PROCESS3", "USE PHASE ERR", ValueType::Int}, {"-PROCESS3", "USE AMPL ERR", ValueType::Int},
    {"-PROCESS3", "INTERVAL START", ValueType::Double}, {"-PROCESS3", "INTERVAL STOP", ValueType::Double},
    {"-PROCESS3", "INTERVAL LENGTH", ValueType::Double}, {"-PROCESS3", "PHASE STEP", ValueType::Double},
    {"-PROCESS3", "RANDOM START", ValueType::OptionalInt}, {"-PROCESS3", "NTLSCS", ValueType::Int},
    {"-PROCESS3", "TLSC NAME%d", ValueType::Text}, {"-PROCESS3", "TLSC ID%d", ValueType::Int},
    {"-PROCESS3", "TLSC PHASEERR%d", ValueType::Double}, {"-PROCESS3", "TLSC AMPLERR%d", ValueType::Double},
    {"-PROCESS3", "TLSC PH0%d", ValueType::Double}, {"-PROCESS3", "TLSC FRATE%d", ValueType::Double},
    {"-PROCESS3", "TLSC DELAY%d", ValueType::Double}, {"-PROCESS3", "TLSC RATEACC%d", ValueType::Double},
    {"-PROCESS3", "TLSC DELAYACC%d", ValueType::Double},
    {"-PROCESS4", "IN UVX-FILE", ValueType::Text}, {"-PROCESS4", "OUT UVX-FILE", ValueType::Text},
    {"-PROCESS4", "DT", ValueType::Double}, {"-PROCESS4", "DF", ValueType::Double},
    {"-PROCESS4", "NTLSCS", ValueType::Int}, {"-PROCESS4", "NIFS", ValueType::Int},
    {"-PROCESS4", "GAUSSIAN", ValueType::Int}, {"-PROCESS4", "EFFICIENCY", ValueType::Double},
    {"-PROCESS4", "THERMAL WEIGHTS", ValueType::Int}, {"-PROCESS4", "RANDOM START", ValueType::OptionalInt},
    {"-PROCESS4", "TLSC NAME%d", ValueType::Text}, {"-PROCESS4", "TLSC ID%d", ValueType::Int},
    {"-PROCESS4", "TLSC SEFD%d_%d", ValueType::Double},
    {"-COMMON", "CUR TASK", ValueType::Int},
    // The desktop program's recent files and last folders (app/recent_files.h).
    {"-RECENT", "PROCESS%d FILE%d", ValueType::Text}, {"-RECENT", "VIEWER FILE%d", ValueType::Text},
    {"-RECENT", "DIR %s", ValueType::Text},
};

// `key` (upper case) against a pattern whose "%d" each stand for one or more digits and whose
// final "%s" stands for any non-empty rest.
bool KeyMatches(const std::string& key, const char* pattern) {
  std::size_t k = 0;
  for (const char* p = pattern; *p; ++p) {
    if (p[0] == '%' && p[1] == 's') return k < key.size();
    if (p[0] == '%' && p[1] == 'd') {
      const std::size_t from = k;
      while (k < key.size() && key[k] >= '0' && key[k] <= '9') ++k;
      if (k == from) return false;
      ++p;
    } else if (k >= key.size() || key[k++] != *p) {
      return false;
    }
  }
  return k == key.size();
}

bool WholeInt(const std::string& text) {
  std::size_t i = text[0] == '-' || text[0] == '+' ? 1 : 0;
  if (i == text.size()) return false;
  for (; i < text.size(); ++i)
    if (text[i] < '0' || text[i] > '9') return false;
  return true;
}

bool WholeDouble(const std::string& text) {
  if (text.empty()) return false;
  char* end = nullptr;
  std::strtod(text.c_str(), &end);
  return end == text.c_str() + text.size();
}

// Why a value does not parse as its type as a whole; empty when it does.
std::string BadValue(const std::string& value, ValueType type) {
  const std::string q = "\"" + EscapeText(value, 60) + "\"";
  switch (type) {
    case ValueType::Text: return {};
    case ValueType::OptionalInt:
      if (value.empty()) return {};
      [[fallthrough]];
    case ValueType::Int:
      if (WholeInt(value)) return {};
      return q + " is not a whole number (read as " + std::to_string(std::atol(value.c_str())) + ")";
    case ValueType::Double:
      if (WholeDouble(value)) return {};
      return q + " is not a number (read as " + valToStr(std::atof(value.c_str())) + ")";
    case ValueType::DoubleList: {
      std::size_t from = 0;
      while (true) {
        const std::size_t comma = value.find(", ", from);
        const std::string item(trim(value.substr(from, comma == std::string::npos ? std::string::npos : comma - from)));
        if (!WholeDouble(item))
          return q + ": \"" + EscapeText(item, 30) + "\" is not a number (read as " + valToStr(std::atof(item.c_str())) +
                 ")";
        if (comma == std::string::npos) return {};
        from = comma + 2;
      }
    }
    case ValueType::RowCol: {
      const std::size_t tab = value.find('\t');
      if (tab != std::string::npos && WholeInt(value.substr(0, tab)) && WholeInt(value.substr(tab + 1))) return {};
      return q + " is not \"rows<tab>columns\"";
    }
  }
  return {};
}

}  // namespace

std::vector<std::string> CheckSettings(const AIniFile& ini) {
  std::vector<std::string> out;
  const std::string base = kSettingsName;
  bool known_section = true;
  for (const AIniFile::Entry& e : ini.Entries()) {
    const std::string section = toUpper(e.section);
    const std::string at = "line " + std::to_string(e.line) + ": ";
    const bool ours = section.rfind(base, 0) == 0;
    const std::string suffix = ours ? section.substr(base.size()) : std::string();
    if (e.key.empty()) {  // a section header
      known_section = false;
      for (const KnownKey& k : kKnownKeys) known_section = known_section || (ours && suffix == k.suffix);
      if (!known_section) out.push_back(at + "unknown section [" + EscapeText(e.section, 60) + "] (its keys are not read)");
      continue;
    }
    if (!known_section) continue;  // said once, at its header
    if (e.section.empty()) {
      out.push_back(at + "key " + EscapeText(e.key, 60) + " before any section (not read)");
      continue;
    }
    const std::string key = toUpper(e.key);
    const KnownKey* found = nullptr;
    for (const KnownKey& k : kKnownKeys)
      if (suffix == k.suffix && KeyMatches(key, k.pattern)) found = &k;
    const std::string where = at + "[" + e.section + "] " + e.key;
    if (!found) {
      out.push_back(where + ": unknown key (not read)");
      continue;
    }
    if (const std::string why = BadValue(e.value, found->type); !why.empty()) out.push_back(where + ": " + why);
  }
  return out;
}

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
