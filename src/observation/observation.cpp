#include "observation/observation.h"

#include <cmath>
#include <ctime>
#include <filesystem>
#include <system_error>

#include "core/file.h"
#include "core/messages.h"
#include "core/paths.h"
#include "core/text.h"
#include "observation/obs_limits.h"

namespace {

// Smallest telescope record: 8 doubles, two empty lines, two int32, one empty line.
constexpr std::uint64_t kMinTelescopeBytes = 64 + 1 + 1 + 4 + 4 + 1;

// Reads one text line ended by byte 10, keeping at most buffer_bytes - 1 bytes of it (the rest
// is skipped). Fails at the end of the stream before a line feed: a cut file is refused.
template <class Stream>
int ReadObsLine(Stream& s, std::string& line, std::size_t buffer_bytes) {
  line.clear();
  const std::size_t keep = buffer_bytes > 0 ? buffer_bytes - 1 : 0;
  char c = 0;
  while (s.Read(&c, 1)) {
    if (c == '\n') return 1;
    if (line.size() < keep) line.push_back(c);
  }
  return 0;
}

template <class Stream>
int WriteObsLine(Stream& s, const std::string& text) {
  static const char lf = '\n';
  if (!text.empty() && !s.Write(text.data(), text.size())) return 0;
  return s.Write(&lf, 1);
}

template <class Stream>
int ReadCount(Stream& s, std::int32_t& n, std::uint64_t bytes_each) {
  if (!s.Read(&n, 4) || n < 0) return 0;
  return obs_detail::Fits(s, std::uint64_t(n) * bytes_each) ? 1 : 0;
}

void TodayLocal(std::int32_t& day, std::int32_t& month, std::int32_t& year) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  if (localtime_r(&now, &local)) {
    day = local.tm_mday;
    month = local.tm_mon + 1;
    year = local.tm_year + 1900;
  }
}

}  // namespace

AMObservation::AMObservation() : AMObservation(BaseFolder()) {}

AMObservation::AMObservation(const std::string& base_folder) {
  TodayLocal(day, month, year);
  polarizations.Add(-1);
  output_path = DefaultOutputPath(base_folder, source_name);
}

template <class Stream>
int AMObservation::Load(Stream& s) {
  if (!ReadObsLine(s, source_name, kSourceNameLineBytes)) return 0;
  if (!s.Read(&ra_time_s, 8) || !s.Read(&dec_arcsec, 8)) return 0;
  if (!s.Read(&day, 4) || !s.Read(&month, 4) || !s.Read(&year, 4)) return 0;
  if (!freq.Load(s)) return 0;
  if (!s.Read(&time_step_s, 8)) return 0;

  std::int32_t n = 0;
  if (!ReadCount(s, n, sizeof(AMTimeItem))) return 0;
  intervals.SetSize(n);
  if (n > 0 && !s.Read(intervals.data, sizeof(AMTimeItem) * static_cast<std::size_t>(n))) return 0;

  if (!ReadCount(s, n, 2)) return 0;
  polarizations.SetSize(n);
  if (n > 0 && !s.Read(polarizations.data, 2 * static_cast<std::size_t>(n))) return 0;

  if (!ReadCount(s, n, kMinTelescopeBytes)) return 0;
  telescopes = AObjArray<AMTlscItem>(n);
  for (int i = 0; i < n; ++i) {
    AMTlscItem& t = telescopes[i];
    if (!s.Read(t.params, sizeof t.params)) return 0;
    if (!ReadObsLine(s, t.name, kObsLineBytes) || !ReadObsLine(s, t.id_name, kObsLineBytes)) return 0;
    if (!s.Read(&t.kind, 4) || !s.Read(&t.use_orbit_file, 4)) return 0;
    if (!ReadObsLine(s, t.orbit_file, kObsLineBytes)) return 0;
  }
  return ReadObsLine(s, output_path, kObsLineBytes);
}

template <class Stream>
int AMObservation::Store(Stream& s) const {
  if (!WriteObsLine(s, source_name)) return 0;
  if (!s.Write(&ra_time_s, 8) || !s.Write(&dec_arcsec, 8)) return 0;
  if (!s.Write(&day, 4) || !s.Write(&month, 4) || !s.Write(&year, 4)) return 0;
  if (!freq.Store(s)) return 0;
  if (!s.Write(&time_step_s, 8)) return 0;
  if (!intervals.Store(s)) return 0;
  if (!polarizations.Store(s)) return 0;
  const std::int32_t k = telescopes.count;
  if (!s.Write(&k, 4)) return 0;
  for (const AMTlscItem& t : telescopes) {
    if (!s.Write(t.params, sizeof t.params)) return 0;
    if (!WriteObsLine(s, t.name) || !WriteObsLine(s, t.id_name)) return 0;
    if (!s.Write(&t.kind, 4) || !s.Write(&t.use_orbit_file, 4)) return 0;
    if (!WriteObsLine(s, t.orbit_file)) return 0;
  }
  return WriteObsLine(s, output_path);
}

template <class Stream>
int LoadObservation(Stream& s, AMObservation& target) {
  AMObservation fresh(getfPath(target.output_path));
  if (!fresh.Load(s)) return 0;
  if (!FirstNonFiniteValue(fresh).empty()) return 0;  // a damaged file
  target = fresh;
  return 1;
}

template int AMObservation::Load<AFile>(AFile&);
template int AMObservation::Load<AMemoryFile>(AMemoryFile&);
template int AMObservation::Store<AFile>(AFile&) const;
template int AMObservation::Store<AMemoryFile>(AMemoryFile&) const;
template int LoadObservation<AFile>(AFile&, AMObservation&);
template int LoadObservation<AMemoryFile>(AMemoryFile&, AMObservation&);

int LoadObservationFile(const std::string& path, AMObservation& target) {
  AFile f;
  if (!f.Open(path, AFile::modeRead | AFile::modeBinary)) return 0;
  return LoadObservation(f, target);
}

int SaveObservationFile(const std::string& path, const AMObservation& obs) {
  const std::string temp = path + ".part";
  {
    AFileRemover remover(temp);
    AFile f;
    if (!f.Open(temp, AFile::modeWrite | AFile::modeBinary)) return 0;
    if (!obs.Store(f) || !f.Flush()) return 0;
    f.Close();
    std::error_code ec;
    std::filesystem::rename(temp, path, ec);
    if (ec) return 0;
    remover.Keep();
  }
  return 1;
}

std::string ResolveOutputPath(const std::string& obs_path, const std::string& output_path) {
  if (output_path.empty() || output_path.front() == '/') return output_path;
  return getfPath(obs_path) + output_path;
}

std::string DefaultOutputPath(const std::string& folder, const std::string& source_name) {
  return folder + source_name + "_mdl.uvx";
}

bool IsValidRightAscension(double ra_time_s) { return ra_time_s >= 0.0 && ra_time_s <= 86400.0; }
bool IsValidDeclination(double dec_arcsec) { return std::fabs(dec_arcsec) <= 648000.0; }

int ParseRightAscensionField(const std::string& text, double& ra_time_s) {
  double v = 0;
  if (!strToTime(text, v) || !IsValidRightAscension(v)) return 0;
  ra_time_s = v;
  return 1;
}

int ParseDeclinationField(const std::string& text, double& dec_arcsec) {
  double v = 0;
  if (!strToAngle(text, v) || !IsValidDeclination(v)) return 0;
  dec_arcsec = v;
  return 1;
}

AMCreateCheck CheckForCreate(AMObservation& obs, MessageSink* messages, const AMSourceFieldTexts* fields) {
  auto fail = [messages](int id, const char* text, AMCreateField field, int row = -1, int column = -1) {
    if (messages) messages->Show(text);
    return AMCreateCheck{0, text, row, column, id, field};
  };
  if (obs.telescopes.count < 2) return fail(300, msg::kTooFewTelescopes, AMCreateField::Telescopes);
  if (obs.intervals.count < 1) return fail(301, msg::kNoTimeIntervals, AMCreateField::Intervals);
  if (obs.polarizations.count < 1) return fail(306, msg::kNoPolarization, AMCreateField::Polarizations);
  SortTimeItems(obs.intervals);
  const int n_ids = obs.freq.freq_ids.count;
  for (int i = 0; i < obs.intervals.count; ++i) {
    const AMTimeItem& t = obs.intervals[i];
    if (t.freq_id > n_ids || t.freq_id < 1) return fail(302, msg::kInvalidFreqId, AMCreateField::Intervals, i, 2);
    if (t.stop < t.start) return fail(303, msg::kStartAfterStop, AMCreateField::Intervals, i, 1);
  }
  if (fields) {
    if (!ParseRightAscensionField(fields->ra_text, obs.ra_time_s))
      return fail(0, kInvalidRightAscension, AMCreateField::RightAscension);
    if (!ParseDeclinationField(fields->dec_text, obs.dec_arcsec))
      return fail(0, kInvalidDeclination, AMCreateField::Declination);
  }
  if (!IsValidRightAscension(obs.ra_time_s)) return fail(0, kInvalidRightAscension, AMCreateField::RightAscension);
  if (!IsValidDeclination(obs.dec_arcsec)) return fail(0, kInvalidDeclination, AMCreateField::Declination);
  return {};
}

void AMObsChangeTracker::Take(const AMObservation& obs) {
  step_ = obs.time_step_s;
  intervals_ = obs.intervals;
}

bool AMObsChangeTracker::IsModified(const AMObservation& obs, bool modified_flag) const {
  if (modified_flag) return true;
  if (obs.time_step_s != step_ || obs.intervals.count != intervals_.count) return true;
  for (int i = 0; i < intervals_.count; ++i) {
    const AMTimeItem& a = obs.intervals[i];
    const AMTimeItem& b = intervals_[i];
    if (a.start != b.start || a.stop != b.stop || a.freq_id != b.freq_id) return true;
  }
  return false;
}
