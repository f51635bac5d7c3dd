#include "coverage/uvx_creation.h"

#include <erfa.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

#include "core/astro_time.h"
#include "core/file.h"
#include "coverage/frame_of_date.h"
#include "coverage/uv_point.h"
#include "coverage/uv_plane.h"
#include "uvx/fq_table.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_lists.h"

namespace {

constexpr double kRadToDeg = 180.0 / std::numbers::pi;

std::string Format(const char* fmt, int n) {
  char buf[16];
  std::snprintf(buf, sizeof buf, fmt, n);
  return buf;
}

double Degrees360(double rad) {
  double deg = std::fmod(rad * kRadToDeg, 360.0);
  return deg < 0 ? deg + 360.0 : deg;
}

}  // namespace

int TablesFreqId(const AMObservation& obs) {
  return obs.intervals.GetSize() > 0 ? obs.intervals[0].freq_id : 1;
}

double TotalBandwidthHz(const AMObservation& obs, int freq_id) {
  int row = -1;
  for (int r = 0; r < obs.freq.freq_ids.GetSize(); ++r)
    if (obs.freq.freq_ids[r] == freq_id) row = r;
  if (row < 0) row = freq_id - 1;
  if (row < 0 || row >= obs.freq.Rows()) return 0.0;
  double total = 0;
  for (int c = 0; c < obs.freq.Cols() && c < obs.freq.n_if; ++c)
    total += obs.freq.n_channels * obs.freq.table(static_cast<std::uint32_t>(row), static_cast<std::uint32_t>(c)).ch_width_hz;
  return total;
}

AUVXTable* MakeSourceTable(const AMObservation& obs, int freq_id, double bandwidth_hz) {
  const int n_if = obs.freq.n_if;
  auto t = std::make_unique<AUVXTable>("SU", AUVXTable::toHash("SU", 0) | 0x100000);
  const std::string nE = Format("%dE", n_if), nD = Format("%dD", n_if);
  const int c_id = t->AddColumn("ID. NO.", "", "1J");
  const int c_src = t->AddColumn("SOURCE", "", "16A");
  t->AddColumn("QUAL", "", "1J");
  const int c_cal = t->AddColumn("CALCODE", "", "4A");
  t->AddColumn("IFLUX", "JY", nE.c_str());
  t->AddColumn("QFLUX", "JY", nE.c_str());
  t->AddColumn("UFLUX", "JY", nE.c_str());
  t->AddColumn("VFLUX", "JY", nE.c_str());
  t->AddColumn("FREQOFF", "HZ", nD.c_str());
  const int c_bw = t->AddColumn("BANDWIDTH", "HZ", "1D");
  const int c_raepo = t->AddColumn("RAEPO", "DEGREES", "1D");
  const int c_decepo = t->AddColumn("DECEPO", "DEGREES", "1D");
  const int c_epoch = t->AddColumn("EPOCH", "YEARS", "1D");
  const int c_raapp = t->AddColumn("RAAPP", "DEGREES", "1D");
  const int c_decapp = t->AddColumn("DECAPP", "DEGREES", "1D");
  t->AddColumn("LSRVEL", "M/SEC", nD.c_str());
  const int c_rest = t->AddColumn("RESTFREQ", "HZ", nD.c_str());
  t->AddColumn("PMRA", "DEG/DAY", "1D");
  t->AddColumn("PMDEC", "DEG/DAY", "1D");

  const int r = t->AddRow();
  t->SetInt(r, c_id, 1);
  t->SetChars(r, c_src, obs.source_name.substr(0, 16));
  t->SetChars(r, c_cal, "    ");
  t->SetDouble(r, c_bw, bandwidth_hz);
  t->SetDouble(r, c_raepo, obs.ra_time_s * kRaTimeToRad * kRadToDeg);
  t->SetDouble(r, c_decepo, obs.dec_arcsec * kDecArcsecToRad * kRadToDeg);
  t->SetDouble(r, c_epoch, 2000.0);
  ASampleFrame f;
  MakeSampleFrame(JulianDay(obs.day, obs.month, obs.year), 0.0, obs.ra_time_s * kRaTimeToRad,
                  obs.dec_arcsec * kDecArcsecToRad, f);
  t->SetDouble(r, c_raapp, Degrees360(std::atan2(f.src[1], f.src[0])));
  t->SetDouble(r, c_decapp, std::atan2(f.src[2], std::hypot(f.src[0], f.src[1])) * kRadToDeg);
  for (int k = 0; k < n_if; ++k) t->SetDouble(r, c_rest, obs.freq.ref_freq_hz, k);

  t->AddKeywordInt("NO_IF", n_if);
  t->AddKeywordChar("VELTYPE", "TOPOCENT");
  t->AddKeywordChar("VELDEF", "        ");
  t->AddKeywordInt("FREQID", freq_id);
  return t.release();
}

AUVXTable* MakeAntennaTable(const AMObservation& obs, int freq_id) {
  auto t = std::make_unique<AUVXTable>("AN", AUVXTable::toHash("AN", 0) | 0x100000);
  const int c_name = t->AddColumn("ANNAME", "", "8A");
  const int c_xyz = t->AddColumn("STABXYZ", "METERS", "3D");
  t->AddColumn("ORBPARM", "", Format("%dD", 0).c_str());
  const int c_nosta = t->AddColumn("NOSTA", "", "1J");
  const int c_mnt = t->AddColumn("MNTSTA", "", "1J");
  t->AddColumn("STAXOF", "METERS", "1E");
  const int c_polta = t->AddColumn("POLTYA", "", "1A");
  t->AddColumn("POLAA", "DEGREES", "1E");
  t->AddColumn("POLCALA", "", "2E");
  const int c_poltb = t->AddColumn("POLTYB", "", "1A");
  t->AddColumn("POLAB", "DEGREES", "1E");
  t->AddColumn("POLCALB", "", "2E");

  for (int i = 0; i < obs.telescopes.GetSize(); ++i) {
    const AMTlscItem& tl = obs.telescopes[i];
    const int r = t->AddRow();
    t->SetChars(r, c_name, tl.name.substr(0, 8));
    if (tl.IsGround()) {
      t->SetDouble(r, c_xyz, tl.params[tlsc::kX], 0);
      t->SetDouble(r, c_xyz, -tl.params[tlsc::kY], 1);
      t->SetDouble(r, c_xyz, tl.params[tlsc::kZ], 2);
    }
    t->SetInt(r, c_nosta, i + 1);
    t->SetInt(r, c_mnt, tl.kind == 0 ? 2 : 0);
    t->SetChars(r, c_polta, "R");
    t->SetChars(r, c_poltb, "L");
  }

  const double jd0 = JulianDay(obs.day, obs.month, obs.year);
  t->AddKeywordReal("ARRAYX", 0.0);
  t->AddKeywordReal("ARRAYY", 0.0);
  t->AddKeywordReal("ARRAYZ", 0.0);
  t->AddKeywordReal("GSTIA0", Degrees360(GreenwichSiderealTime(jd0)));
  t->AddKeywordReal("DEGPDY", kDegreesPerDay);
  t->AddKeywordReal("FREQ", obs.freq.ref_freq_hz);
  if (const auto date = CalendarFromJulianDay(jd0, "%Y-%m-%d"))
    t->AddKeyword("RDATE", kKeyDate, *date);
  else
    t->AddKeywordDate("RDATE", obs.year, obs.month, obs.day);
  double iat_utc = 0;
  if (eraDat(obs.year, obs.month, obs.day, 0.0, &iat_utc) < 0) iat_utc = 0;
  t->AddKeywordReal("POLARX", 0.0);
  t->AddKeywordReal("POLARY", 0.0);
  t->AddKeywordReal("UT1UTC", 0.0);
  t->AddKeywordReal("DATUTC", 0.0);
  t->AddKeywordChar("TIMSYS", "UTC");
  t->AddKeywordChar("ARRNAM", "VLBI");
  t->AddKeywordInt("NUMORB", 0);
  t->AddKeywordInt("NOPCAL", 2);
  t->AddKeywordInt("FREQID", freq_id);
  t->AddKeywordReal("IATUTC", iat_utc);
  return t.release();
}

int CreateZeroUVX(const std::string& uv_path, const AMObservation& obs, const std::string& output_path,
                  ProgressSink* progress, StopFlag* stop, MessageSink* /*messages*/) {
  if (progress) progress->SetText(std::string(kCreateFile) + " " + output_path);
  // 1. The UV-point file: header image (validated against the file length), then records.
  AUVXHeader uv_header;
  if (!ReadUVHeader(uv_path, uv_header)) return 0;
  AFile in;
  if (!in.Open(uv_path, AFile::modeRead | AFile::modeBinary) || !in.Seek(AUVXHeader::kImageBytes)) return 0;
  const std::int32_t points = uv_header.groups;

  // 2. Output file, header, zero visibility, baseline and position lists.
  AUVXFile file;
  if (!file.Open(output_path, AUVXFile::modeCreate)) return 0;
  AFileRemover remover(output_path);
  AUVXHeader header = uv_header;
  header.groups = points;
  header.n_if = obs.freq.n_if;
  header.n_channels = obs.freq.n_channels;
  header.SetObject(obs.source_name);
  const double start_time = uv_header.time;
  header.time = 0;
  AUVXVisibility vis(header.n_if, header.n_channels, header.nStokes());
  vis.Zero();
  AUVXPosition position;
  AUVXBaseLines baselines(0, 128);
  AUVXMinMax mm;
  mm.init();
  if (!file.Write(header)) {
    file.Discard();
    return 0;
  }
  if (progress) progress->SetRange(0, points);

  // 3. One group and one zero visibility per point.
  if (!file.SeekUVGroup(0)) {
    file.Discard();
    return 0;
  }
  constexpr int kChunk = 4096;
  std::vector<unsigned char> chunk(static_cast<std::size_t>(kChunk) * kUVPointBytes);
  AUVXGroup group;
  for (std::int32_t i = 0; i < points; ++i) {
    if (StopRequested(stop)) {
      file.Discard();
      return 0;
    }
    const int in_chunk = i % kChunk;
    if (in_chunk == 0) {
      const std::size_t want = static_cast<std::size_t>(std::min(kChunk, points - i)) * kUVPointBytes;
      if (!in.Read(chunk.data(), want)) {
        file.Discard();
        return 0;
      }
      if (progress) progress->SetPos(i);
    }
    const AMUVPoint p = UnpackUVPoint(chunk.data() + static_cast<std::size_t>(in_chunk) * kUVPointBytes);
    group.lead = 0;
    group.tel1 = p.tel1;
    group.tel2 = p.tel2;
    group.freq_id = static_cast<std::int8_t>(p.freq_id);
    group.u = p.u;
    group.v = p.v;
    group.w = p.w;
    group.time = p.time - start_time;
    if (!group.store(file) || !vis.store(file)) {
      file.Discard();
      return 0;
    }
    group.check(mm);
    vis.check(mm);
    AUVXBaseLineItem base(group);
    baselines.checkBase(base);
    position.CheckUVGroup(group, i);
  }

  // 4. Header with the start time.
  header.time += start_time;
  header.extremes = mm;
  position.AddStartTime(start_time);
  if (!file.Write(header)) {
    file.Discard();
    return 0;
  }

  // 5. Tables, in this order.
  const int freq_id = TablesFreqId(obs);
  std::unique_ptr<AUVXTable> tables[] = {
      std::unique_ptr<AUVXTable>(MakeFqTable(obs.freq.table, obs.freq.freq_ids, obs.freq.n_if, obs.freq.n_channels)),
      std::unique_ptr<AUVXTable>(MakeSourceTable(obs, freq_id, TotalBandwidthHz(obs, freq_id))),
      std::unique_ptr<AUVXTable>(MakeAntennaTable(obs, freq_id)),
      std::unique_ptr<AUVXTable>(baselines.ToUVXTable()),
      std::unique_ptr<AUVXTable>(position.ToUVXTable()),
  };
  for (auto& t : tables) {
    if (!t) {
      file.Discard();
      return 0;
    }
    file.AddTable(*t);
  }

  // 6. Close.
  if (!file.Close()) return 0;
  remover.Keep();
  if (progress) progress->SetPos(points);
  return 1;
}
