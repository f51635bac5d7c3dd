#include "ms/ms_import.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <set>
#include <vector>

#include "ms/ms_export.h"
#include "ms/ms_import_tables.h"
#include "ms/ms_plain.h"
#include "ms/ms_uvw.h"
#include "uvx/uvfits_common.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_lists.h"

namespace {

constexpr std::size_t kBlockBytes = std::size_t{4} << 20;
constexpr int kIndexRows = 1 << 16;
// Rows whose TIME differs by less than this belong to one UVX time sample.
constexpr double kSameTimeS = 1e-3;

// What the rows of the main table become.
struct Plan {
  std::vector<int> if_of_dd;  // IF of each data description, -1 when no row uses it
  std::vector<const ms::SpectralWindow*> windows;  // per IF
  std::vector<std::int16_t> pol;                   // AIPS codes
  int field = -1;
  int n_corr = 0, n_chan = 0;
  bool sorted = true;
  double first_time = 0;  // MJD seconds
};

std::string List(const std::set<int>& ids) {
  std::string s;
  for (int id : ids) s += (s.empty() ? "" : ", ") + std::to_string(id);
  return s;
}

// Reads the index columns once: which fields and data descriptions the rows use, whether the
// rows come in time order, and that every number points into its subtable.
int ScanRows(ms::Reader& r, Plan& p, std::set<int>& fields, std::set<int>& dds, StopFlag* stop, std::string& error) {
  const ms::ReadDescription& info = r.Info();
  ms::IndexBlock b;
  double last = -std::numeric_limits<double>::max(), first = std::numeric_limits<double>::max();
  for (std::int64_t at = 0; at < info.rows; at += kIndexRows) {
    if (StopRequested(stop)) return error = "stopped", 0;
    const int n = int(std::min<std::int64_t>(kIndexRows, info.rows - at));
    if (!r.ReadIndex(at, n, b, error)) return 0;
    for (int i = 0; i < n; ++i) {
      const auto where = [&] { return "row " + std::to_string(at + i) + ": "; };
      if (b.field[i] < 0 || b.field[i] >= int(info.fields.size()))
        return error = where() + "FIELD_ID " + std::to_string(b.field[i]) + " is not in the FIELD table", 0;
      if (b.data_desc[i] < 0 || b.data_desc[i] >= int(info.data_descs.size()))
        return error = where() + "DATA_DESC_ID " + std::to_string(b.data_desc[i]) + " is not in the DATA_DESCRIPTION table", 0;
      for (int a : {b.antenna1[i], b.antenna2[i]})
        if (a < 0 || a >= int(info.antennas.size()))
          return error = where() + "antenna " + std::to_string(a) + " is not in the ANTENNA table", 0;
      if (!std::isfinite(b.time[i])) return error = where() + "TIME is not a finite number", 0;
      fields.insert(b.field[i]);
      dds.insert(b.data_desc[i]);
      if (b.time[i] < last) p.sorted = false;
      last = b.time[i];
      first = std::min(first, b.time[i]);
    }
  }
  p.first_time = first;
  return 1;
}

// Decides the UVX layout from the subtables and what the rows use; refuses what a UVX file
// cannot represent.
int MakePlan(const ms::ReadDescription& info, const std::set<int>& fields, const std::set<int>& dds, bool j2000, Plan& p,
             std::string& error) {
  if (info.antennas.size() > 255)
    return error = std::to_string(info.antennas.size()) + " antennas in the ANTENNA table: a UVX file holds at most 255", 0;
  if (fields.size() > 1)
    return error = "rows of " + std::to_string(fields.size()) + " fields (FIELD_ID " + List(fields) +
                   "): a UVX file holds one field", 0;
  p.field = *fields.begin();
  const ms::Field& f = info.fields[std::size_t(p.field)];
  if (j2000 && f.ref != "J2000" && f.ref != "ICRS")
    return error = "the phase centre (PHASE_DIR) is in '" + f.ref + "': only J2000 and ICRS are understood", 0;
  if (j2000 && !info.uvw_ref.empty() && info.uvw_ref != "J2000" && info.uvw_ref != "ICRS")
    return error = "UVW is in '" + info.uvw_ref + "': only J2000 and ICRS axes are understood", 0;
  if (!info.time_ref.empty() && info.time_ref != "UTC")
    return error = "TIME is in '" + info.time_ref + "': only UTC is understood", 0;
  std::set<int> pols, spws;
  for (int dd : dds) {
    const ms::DataDescription& d = info.data_descs[std::size_t(dd)];
    if (d.spw < 0 || d.spw >= int(info.windows.size()) || d.pol < 0 || d.pol >= int(info.polarizations.size()))
      return error = "data description " + std::to_string(dd) + " names no spectral window or polarization", 0;
    pols.insert(d.pol);
  }
  if (pols.size() > 1)
    return error = "rows of " + std::to_string(pols.size()) + " polarization set-ups (" + List(pols) +
                   "): a UVX file holds one", 0;
  for (int dd : dds)
    if (!spws.insert(info.data_descs[std::size_t(dd)].spw).second)
      return error = "spectral window " + std::to_string(info.data_descs[std::size_t(dd)].spw) +
                     " appears in two data descriptions: a UVX file holds one", 0;
  for (int corr : info.polarizations[std::size_t(*pols.begin())]) {
    const int code = AipsFromCorrType(corr);
    if (!code) return error = "correlation type " + std::to_string(corr) + " has no UVX polarization code", 0;
    p.pol.push_back(std::int16_t(code));
  }
  if (p.pol.empty() || p.pol.size() > 8)
    return error = std::to_string(p.pol.size()) + " correlations: a UVX file holds 1 to 8", 0;
  p.n_corr = int(p.pol.size());
  // IFs in order of spectral window.
  p.if_of_dd.assign(info.data_descs.size(), -1);
  std::vector<std::pair<int, int>> by_spw;
  for (int dd : dds) by_spw.push_back({info.data_descs[std::size_t(dd)].spw, dd});
  std::sort(by_spw.begin(), by_spw.end());
  for (const auto& [spw, dd] : by_spw) {
    const ms::SpectralWindow& w = info.windows[std::size_t(spw)];
    const int n = int(w.chan_freq.size());
    if (p.windows.empty()) p.n_chan = n;
    if (n != p.n_chan || n < 1 || int(w.chan_width.size()) != n)
      return error = "spectral windows of different shapes (" + std::to_string(p.n_chan) + " and " + std::to_string(n) +
                     " channels): a UVX file holds one shape", 0;
    for (int k = 1; k < n; ++k)
      if (std::fabs(w.chan_freq[std::size_t(k)] - w.chan_freq[0] - k * w.chan_width[0]) > 1e-3 * std::fabs(w.chan_width[0]) + 1e-3)
        return error = "the channels of spectral window " + std::to_string(spw) + " are not evenly spaced by CHAN_WIDTH", 0;
    p.if_of_dd[std::size_t(dd)] = int(p.windows.size());
    p.windows.push_back(&w);
  }
  return 1;
}

// Gathers the rows of one time sample into UVX records (one per baseline, every IF) and writes
// them in order of first appearance.
struct Assembler {
  Assembler(AUVXFile& o, const Plan& plan, ms::UVWConverter& u, double jd0_mjd, double start)
      : out(o), p(plan), uvw(u), jd0_mjd_s(jd0_mjd), start_s(start) {
    rec = out.RecordBytes();
    slot_of.assign(256 * 256, -1);
  }
  AUVXFile& out;
  const Plan& p;
  ms::UVWConverter& uvw;
  double jd0_mjd_s;  // MJD seconds of 0h UTC of the reference day (JD0)
  double start_s;    // the UVX start time, seconds from JD0
  std::int64_t rec = 0;
  std::vector<unsigned char> pending, done;
  std::vector<std::uint8_t> filled;  // per pending record and IF
  std::vector<int> slot_of, keys;
  double time = 0;
  std::int64_t written = 0, done_first = 0;
  AUVXMinMax mm;
  AUVXVisExtremes vx;
  AUVXBaseLines baselines{0, 128};
  AUVXPosition position;

  int Add(const ms::RowBlock& b, int r, std::int64_t row_number, std::string& error) {
    const double t = b.time[std::size_t(r)];
    if (!keys.empty() && std::fabs(t - time) > kSameTimeS && !Flush(error)) return 0;
    if (keys.empty()) time = t;
    const int a1 = b.antenna1[std::size_t(r)], a2 = b.antenna2[std::size_t(r)], key = 256 * a1 + a2;
    const int n_if = int(p.windows.size()), iff = p.if_of_dd[std::size_t(b.data_desc[std::size_t(r)])];
    int& slot = slot_of[std::size_t(key)];
    if (slot < 0) {
      slot = int(keys.size());
      keys.push_back(key);
      pending.resize(keys.size() * std::size_t(rec), 0);
      filled.resize(keys.size() * std::size_t(n_if), 0);
      AUVXGroup g;
      g.tel1 = std::uint8_t(a1 + 1), g.tel2 = std::uint8_t(a2 + 1), g.freq_id = 1;
      // Microseconds: what remains below is the rounding of MJD seconds, not information.
      const double t_s = std::round((time - jd0_mjd_s) * 1e6) / 1e6;
      g.time = t_s - start_s;
      double in_uvw[3], out_uvw[3];
      for (int k = 0; k < 3; ++k) in_uvw[k] = b.uvw[3 * std::size_t(r) + std::size_t(k)];
      uvw.ToUVX(t_s, in_uvw, out_uvw);
      g.u = float(out_uvw[0]), g.v = float(out_uvw[1]), g.w = float(out_uvw[2]);
      g.ToBytes(pending.data() + std::size_t(slot) * std::size_t(rec));
    }
    std::uint8_t& mark = filled[std::size_t(slot) * std::size_t(n_if) + std::size_t(iff)];
    if (mark)
      return error = "row " + std::to_string(row_number) + ": baseline " + std::to_string(a1) + "-" + std::to_string(a2) +
                     " has two rows for spectral window " + std::to_string(iff + 1) + " of the set at one time", 0;
    mark = 1;
    const int cells = p.n_chan * p.n_corr;
    unsigned char* e = pending.data() + std::size_t(slot) * std::size_t(rec) + AUVXGroup::kBytes + std::size_t(12 * iff * cells);
    const std::size_t base = std::size_t(r) * std::size_t(cells);
    const bool row_flag = b.flag_row[std::size_t(r)];
    for (int c = 0; c < cells; ++c) {
      const float w = b.weight_spectrum[base + std::size_t(c)];
      // A flagged entry keeps its weight's size with a negative sign, as AIPS flags (a weight
      // of 0 or less already means flagged and stays as it is).
      const bool flagged = row_flag || b.flag[base + std::size_t(c)];
      float entry[3] = {0, 0, flagged && w > 0 ? -w : w};
      ms::FromMSVisibility(b.data[base + std::size_t(c)], entry[0], entry[1]);
      std::memcpy(e + 12 * c, entry, 12);
    }
    return 1;
  }

  int Flush(std::string& error) {
    const std::int64_t per_block = std::max<std::int64_t>(1, std::int64_t(kBlockBytes) / rec);
    for (std::size_t s = 0; s < keys.size(); ++s) {
      const unsigned char* src = pending.data() + s * std::size_t(rec);
      AUVXGroup g;
      g.FromBytes(src);
      g.check(mm);
      vx.Fold(src + AUVXGroup::kBytes, (rec - AUVXGroup::kBytes) / 12);
      AUVXBaseLineItem item(g);
      baselines.checkBase(item);
      if (written + std::int64_t(done.size()) / rec >= std::numeric_limits<std::int32_t>::max())
        return error = "more than 2^31 - 1 groups: a UVX file holds fewer", 0;
      position.CheckUVGroup(g, int(written + std::int64_t(done.size()) / rec));
      done.insert(done.end(), src, src + rec);
      if (std::int64_t(done.size()) / rec >= per_block && !WriteDone(error)) return 0;
      slot_of[std::size_t(keys[s])] = -1;
    }
    keys.clear();
    pending.clear();
    filled.clear();
    return 1;
  }

  int WriteDone(std::string& error) {
    const std::int64_t n = std::int64_t(done.size()) / rec;
    if (n > 0 && !out.WriteRecords(written, n, done.data())) return error = "cannot write " + out.Path() + ": " + out.Error(), 0;
    written += n;
    done.clear();
    return 1;
  }
};

int ReadAll(ms::Reader& r, const Plan& p, Assembler& as, ProgressSink* progress, StopFlag* stop, std::string& error) {
  const std::int64_t rows = r.Info().rows;
  const int per_block = int(std::clamp<std::int64_t>(std::int64_t(kBlockBytes) / (13 * p.n_corr * p.n_chan + 64), 1, 1 << 16));
  ms::RowBlock b;
  if (progress) progress->SetRange(0, rows);
  for (std::int64_t at = 0; at < rows; at += per_block) {
    const int n = int(std::min<std::int64_t>(per_block, rows - at));
    if (!r.ReadRows(at, n, p.n_corr, p.n_chan, b, error))
      return error = "rows " + std::to_string(at) + "..." + std::to_string(at + n - 1) + ": " + error, 0;
    for (int i = 0; i < n; ++i) {
      if (StopRequested(stop)) return error = "stopped", 0;
      if (!as.Add(b, i, at + i, error)) return 0;
    }
    if (progress) progress->SetPos(at + n);
  }
  return as.Flush(error) && as.WriteDone(error);
}

}  // namespace

int ImportMS(const std::string& ms_path, const std::string& uvx_path, ProgressSink* progress, StopFlag* stop,
             MessageSink* messages, std::string& error, UVFitsSummary* summary, UVFitsFrame frame,
             const std::string& column) {
  ms::Reader r;
  if (!r.Open(ms_path, column, error)) return error = "not a readable Measurement Set (" + error + ")", 0;
  const ms::ReadDescription& info = r.Info();
  if (info.rows < 1) return error = "the main table has no rows", 0;
  Plan p;
  std::set<int> fields, dds;
  if (progress) progress->SetText("Import " + ms_path);
  if (!ScanRows(r, p, fields, dds, stop, error)) return 0;
  const bool j2000 = frame == UVFitsFrame::J2000;
  if (!MakePlan(info, fields, dds, j2000, p, error)) return 0;
  if (!p.sorted) {
    if (messages) messages->Show("The rows are not in time order: read through a time-sorted view");
    if (!r.SortByTime(error)) return 0;
  }

  const ms::Field& field = info.fields[std::size_t(p.field)];
  // JD0 is 0h UTC of the first row's day; times stay in seconds (a Julian date in days would
  // resolve only 40 microseconds).
  const double day = std::floor(p.first_time / ms::kSecondsPerDay);
  const double jd0_mjd_s = day * ms::kSecondsPerDay;
  AUVXHeader h;
  h.jd0 = day + ms::kMjdZeroJd;
  h.time = std::round((p.first_time - jd0_mjd_s) * 1e6) / 1e6;
  h.n_pol = std::int16_t(p.n_corr);
  std::copy(p.pol.begin(), p.pol.end(), h.pol);
  h.n_if = int(p.windows.size()), h.n_channels = p.n_chan;
  h.ref_freq_hz = p.windows[0]->chan_freq[0];
  h.time_step_s = info.first_interval;
  h.SetObject(field.name.substr(0, 15));
  if (!info.observer.empty()) {
    std::memset(h.observer, 0, sizeof h.observer);
    std::memcpy(h.observer, info.observer.data(), std::min(info.observer.size(), sizeof h.observer - 1));
  }
  std::unique_ptr<AUVWFrameRotation> rotation;
  if (j2000) rotation = std::make_unique<AUVWFrameRotation>(h.jd0, field.ra_rad, field.dec_rad);
  ms::UVWConverter uvw(rotation.get());

  const std::string part = uvfits::PartPath(uvx_path);
  AUVXFile out;
  if (!out.Open(part, AUVXFile::modeCreate)) return error = "cannot create " + part + ": " + out.Error(), 0;
  auto fail = [&](const std::string& what) {
    out.Discard();
    error = what;
    return 0;
  };
  if (!out.SetLayout(h.n_if, h.n_channels, h.n_pol)) return fail("the layout does not fit a UVX file");
  if (!out.Write(h)) return fail("cannot write the header of " + part + ": " + out.Error());
  Assembler as(out, p, uvw, jd0_mjd_s, h.time);
  if (!ReadAll(r, p, as, progress, stop, error)) return fail(error);

  as.vx.Into(as.mm);
  h.extremes = as.mm;
  h.groups = std::int32_t(as.written);
  if (h.time_step_s <= 0) {
    double step = 0;
    const auto& items = as.position.Items();
    for (int i = 1; i < items.GetSize(); ++i) {
      const double d = items[i].time - items[i - 1].time;
      if (d > 0 && (step == 0 || d < step)) step = d;
    }
    h.time_step_s = step;
  }
  as.position.AddStartTime(h.time);
  if (!out.Write(h)) return fail("cannot write the header of " + part + ": " + out.Error());
  AUVXTable fq = ms::ImportFqTable(p.windows, h.ref_freq_hz, p.n_chan);
  AUVXTable su = ms::ImportSourceTable(field, h.n_if, h.ref_freq_hz);
  std::vector<std::string> receptors = info.receptors;
  if (receptors.empty()) receptors = p.pol[0] <= -5 ? std::vector<std::string>{"X", "Y"} : std::vector<std::string>{"R", "L"};
  AUVXTable an = ms::ImportAntennaTable(info, h.jd0, h.ref_freq_hz, receptors);
  std::unique_ptr<AUVXTable> bl(as.baselines.ToUVXTable()), ps(as.position.ToUVXTable());
  if (!bl || !ps) return fail("cannot build the BL and PS tables");
  out.AddTable(fq).AddTable(su).AddTable(an).AddTable(*bl).AddTable(*ps);
  if (StopRequested(stop)) return fail("stopped");
  std::error_code ec;
  if (!out.Close()) {
    error = "cannot write " + part + ": " + out.Error();
    std::filesystem::remove(part, ec);
    return 0;
  }
  std::filesystem::rename(part, uvx_path, ec);
  if (ec) {
    std::filesystem::remove(part, ec);
    return error = "cannot rename " + part + " to " + uvx_path, 0;
  }
  if (summary) {
    summary->groups = as.written;
    summary->telescopes = an.n_rows;
    summary->n_if = h.n_if, summary->n_channels = h.n_channels, summary->n_stokes = h.n_pol;
    summary->freq_setups = 1;
    summary->j2000 = j2000;
    summary->bytes = std::int64_t(std::filesystem::file_size(uvx_path, ec));
  }
  return 1;
}
