#include "uvx/uvfits_import.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "core/astro_time.h"
#include "core/text.h"
#include "uvx/fits_header_check.h"
#include "uvx/uvfits_common.h"
#include "uvx/uvfits_import_tables.h"
#include "uvx/uvfits_layout.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_frame.h"
#include "uvx/uvx_lists.h"

using namespace uvfits;

namespace {

constexpr std::size_t kBlockBytes = std::size_t{4} << 20;

void CopyText(char* field, std::size_t size, std::string text) {
  while (!text.empty() && text.back() == ' ') text.pop_back();
  std::memset(field, 0, size);
  std::memcpy(field, text.data(), std::min(text.size(), size));
}

std::string ReadText(fitsfile* f, const char* key) {
  char value[FLEN_VALUE] = {};
  int st = 0;
  fits_read_key(f, TSTRING, key, value, nullptr, &st);
  fits_clear_errmsg();
  return st ? std::string() : std::string(value);
}

// 0h UTC of DATE-OBS ("YYYY-MM-DD", optionally with a time after it, or the old "DD/MM/YY").
std::optional<double> ReferenceDay(const std::string& date_obs) {
  if (const auto d = ParseIsoDate(date_obs.substr(0, 10))) return JulianDay(d->day, d->month, d->year);
  int day = 0, month = 0, year = 0;
  char tail = 0;
  if (std::sscanf(date_obs.c_str(), "%2d/%2d/%2d%c", &day, &month, &year, &tail) == 3 && day >= 1 && day <= 31 &&
      month >= 1 && month <= 12)
    return JulianDay(day, month, 1900 + year);
  return std::nullopt;
}

// Turns raw groups into UVX groups and records, checking what a UVX group can hold.
struct GroupReader {
  GroupReader(const UVFitsLayout& layout, const ImportTables& tables) : l(layout), t(tables) {}
  const UVFitsLayout& l;
  const ImportTables& t;
  bool force_general = false;
  bool to_date = false;       // turn J2000 u, v, w into the UVX frame
  std::unique_ptr<AUVWFrameRotation> rotation;  // made once jd0 is known
  std::optional<double> jd0;  // 0h of the reference date
  double start_s = 0;         // time of the first group, seconds from jd0
  bool started = false;
  double source = 0;
  double inttim = 0;
  double min_step = std::numeric_limits<double>::max(), last_time = 0;

  int Read(const unsigned char* raw, std::int64_t index, AUVXGroup& g, unsigned char* vis, std::string& error) {
    auto where = [index] { return "group " + std::to_string(index + 1) + ": "; };
    double days = 0, zero = 0;
    for (int p : l.p_date) {
      days += RawElement(raw, p, l.bitpix) * l.params[std::size_t(p)].scale;
      zero += l.params[std::size_t(p)].zero;
    }
    // A Julian day outside 0 .. 10^7 (4713 BC to AD 22666) is a damaged DATE: refused before it
    // becomes a reference day or a time no frame computation can take.
    if (!(zero + days > 0 && zero + days < 1e7)) return error = where() + "DATE is not a Julian day of 0 .. 10^7", 0;
    if (!jd0) jd0 = std::floor(zero + days - 0.5) + 0.5;
    // Rounded to the microsecond: two float32 DATE parameters carry about 50 ps, one carries
    // milliseconds at best; the rounding only removes the noise of the day-to-second conversion.
    const double t_s = std::round(((days + (zero - *jd0)) * kSecondsPerDay - t.time_shift_s) * 1e6) / 1e6;
    if (!std::isfinite(t_s)) return error = where() + "DATE is not a finite number", 0;
    if (!started) {
      started = true, start_s = t_s, last_time = t_s;
      if (l.p_source >= 0) source = ParamValue(l, raw, l.p_source);
      if (l.p_inttim >= 0) inttim = ParamValue(l, raw, l.p_inttim);
    }
    if (t_s != last_time) min_step = std::min(min_step, std::fabs(t_s - last_time)), last_time = t_s;
    if (l.p_source >= 0 && ParamValue(l, raw, l.p_source) != source)
      return error = where() + "source " + std::to_string(std::lround(ParamValue(l, raw, l.p_source))) + " after source " +
                     std::to_string(std::lround(source)) + ": a UVX file holds one source", 0;
    long a1 = 0, a2 = 0, sub = 1;
    if (l.p_baseline >= 0) {
      const double b = ParamValue(l, raw, l.p_baseline);
      const long whole = std::lround(std::floor(b + 1e-6));
      sub = std::lround((b - double(whole)) * 100.0) + 1;
      if (whole >= 65536) a1 = (whole - 65536) / 2048, a2 = (whole - 65536) % 2048;
      else a1 = whole / 256, a2 = whole % 256;
    } else {
      a1 = std::lround(ParamValue(l, raw, l.p_ant1));
      a2 = std::lround(ParamValue(l, raw, l.p_ant2));
      if (l.p_subarray >= 0) sub = std::lround(ParamValue(l, raw, l.p_subarray));
    }
    if (sub != 1) return error = where() + "subarray " + std::to_string(sub) + ": a UVX file holds one array", 0;
    for (long a : {a1, a2})
      if (a < 1 || a > kMaxTelescope)
        return error = where() + "telescope number " + std::to_string(a) + " does not fit a UVX group (1..255)", 0;
    long fid = t.default_freq_id;
    if (l.p_freqsel >= 0) fid = std::lround(ParamValue(l, raw, l.p_freqsel));
    if (fid < 1 || fid > 127) return error = where() + "FREQSEL " + std::to_string(fid) + " does not fit a UVX group (1..127)", 0;
    g.lead = 0;
    g.tel1 = std::uint8_t(a1), g.tel2 = std::uint8_t(a2);
    g.freq_id = std::int8_t(fid);
    double uvw[3] = {ParamValue(l, raw, l.p_u), ParamValue(l, raw, l.p_v), ParamValue(l, raw, l.p_w)};
    if (to_date) {
      if (!rotation) {
        double ra = 0, dec = 0;
        SourceTablePhaseCentre(t.su, ra, dec);
        rotation = std::make_unique<AUVWFrameRotation>(*jd0, ra, dec);
      }
      const double j2000[3] = {uvw[0], uvw[1], uvw[2]};
      rotation->ToDate(t_s, j2000, uvw);
    }
    g.u = float(uvw[0]);
    g.v = float(uvw[1]);
    g.w = float(uvw[2]);
    g.time = t_s - start_s;
    if (force_general) DecodeVisibilityGeneral(l, raw, vis);
    else DecodeVisibility(l, raw, vis);
    return 1;
  }
};

int Import(const std::string& fits_path, const std::string& uvx_path, ProgressSink* progress, StopFlag* stop,
           MessageSink* messages, std::string& error, UVFitsSummary* summary, bool force_general, UVFitsFrame frame) {
  std::error_code ec;
  const auto size = std::filesystem::file_size(fits_path, ec);
  if (ec) return error = "cannot open the file: " + ec.message(), 0;
  if (const std::string why = FitsHeaderProblem(fits_path); !why.empty()) return error = why, 0;
  fitsfile* raw_file = nullptr;
  int st = 0;
  if (fits_open_diskfile(&raw_file, fits_path.c_str(), READONLY, &st))
    return error = "not a FITS file (" + FitsError(st) + ")", 0;
  FitsPtr f(raw_file);
  UVFitsLayout l;
  if (!ReadUVFitsLayout(f.get(), l, error)) return 0;
  LONGLONG head = 0, data = 0, end = 0;
  if (fits_get_hduaddrll(f.get(), &head, &data, &end, &st)) return error = FitsError(st), 0;
  const std::int64_t group_bytes = l.GroupBytes(), file_bytes = std::int64_t(size);
  if (l.gcount > 0 && (file_bytes - data) / group_bytes < l.gcount)
    return error = "truncated: " + std::to_string(l.gcount) + " groups of " + std::to_string(group_bytes) + " bytes need " +
                   std::to_string(l.gcount * group_bytes) + " bytes after the header, the file holds " +
                   std::to_string(file_bytes - data), 0;
  ImportTables t;
  if (!ReadImportTables(f.get(), l, file_bytes, t, error)) return 0;
  if (t.time_shift_s != 0 && messages)
    messages->Show("Times converted from " + t.time_system + " to UTC (" + std::to_string(-t.time_shift_s) + " s)");

  AUVXHeader h;
  h.groups = std::int32_t(l.gcount);
  h.epoch = t.epoch;
  h.n_pol = std::int16_t(l.n_stokes);
  std::copy(l.stokes, l.stokes + l.n_stokes, h.pol);
  h.n_if = l.n_if, h.n_channels = l.n_channels;
  h.ref_freq_hz = l.ref_freq_hz;
  h.SetObject(t.object.substr(0, 15));
  const std::string bunit = Normalized(ReadText(f.get(), "BUNIT"));
  if (!bunit.empty() && bunit != "JY") CopyText(h.flux_unit, sizeof h.flux_unit - 1, bunit);
  if (const std::string o = ReadText(f.get(), "OBSERVER"); !o.empty()) CopyText(h.observer, sizeof h.observer - 1, o);
  if (const std::string o = ReadText(f.get(), "ORIGIN"); !o.empty()) CopyText(h.origin, sizeof h.origin - 1, o);
  GroupReader reader{l, t};
  reader.force_general = force_general;
  double ra = 0, dec = 0;
  reader.to_date = frame == UVFitsFrame::J2000 && SourceTablePhaseCentre(t.su, ra, dec);
  if (reader.to_date && std::fabs(t.epoch - 2000.0) > 0.01) {
    reader.to_date = false;
    if (messages) messages->Show("EPOCH " + std::to_string(t.epoch) + ": u, v, w are not on J2000 axes and are kept as stored");
  }
  reader.jd0 = ReferenceDay(ReadText(f.get(), "DATE-OBS"));

  const std::string part = PartPath(uvx_path);
  AUVXFile out;
  if (!out.Open(part, AUVXFile::modeCreate)) return error = "cannot create " + uvx_path + ": " + out.Error(), 0;
  auto fail = [&](const std::string& what) {
    out.Discard();
    error = what;
    return 0;
  };
  if (!out.SetLayout(l.n_if, l.n_channels, l.n_stokes)) return fail("the layout does not fit a UVX file");
  const std::int64_t rec = out.RecordBytes(), entries = out.VisBytes() / 12;
  const std::int64_t per_block = std::max<std::int64_t>(1, std::int64_t(kBlockBytes) / group_bytes);
  std::vector<unsigned char> src(std::size_t(std::min(per_block, std::max<std::int64_t>(l.gcount, 1)) * group_bytes));
  std::vector<unsigned char> dst(src.size() / std::size_t(group_bytes) * std::size_t(rec));
  AUVXBaseLines baselines(0, 128);
  AUVXPosition position;
  AUVXMinMax mm;
  AUVXVisExtremes vx;
  if (progress) progress->SetText("Import " + fits_path), progress->SetRange(0, l.gcount);
  for (std::int64_t first = 0; first < l.gcount; first += per_block) {
    const std::int64_t n = std::min(per_block, l.gcount - first);
    if (ffmbyt(f.get(), data + first * group_bytes, 0, &st) || ffgbyt(f.get(), n * group_bytes, src.data(), &st))
      return fail("cannot read group " + std::to_string(first + 1) + " (" + FitsError(st) + ")");
    for (std::int64_t i = 0; i < n; ++i) {
      if (StopRequested(stop)) return fail("stopped");
      AUVXGroup g;
      unsigned char* r = dst.data() + i * rec;
      if (!reader.Read(src.data() + i * group_bytes, first + i, g, r + AUVXGroup::kBytes, error)) return fail(error);
      g.ToBytes(r);
      g.check(mm);
      vx.Fold(r + AUVXGroup::kBytes, entries);
      AUVXBaseLineItem item(g);
      baselines.checkBase(item);
      position.CheckUVGroup(g, int(first + i));
    }
    if (!out.WriteRecords(first, n, dst.data())) return fail("cannot write " + uvx_path + ": " + out.Error());
    if (progress) progress->SetPos(first + n);
  }

  vx.Into(mm);
  h.extremes = mm;
  h.jd0 = reader.jd0.value_or(0.0);
  h.time = reader.start_s;
  h.time_step_s = reader.inttim > 0 ? reader.inttim : reader.min_step < std::numeric_limits<double>::max() ? reader.min_step : 0.0;
  position.AddStartTime(reader.start_s);
  if (!out.Write(h)) return fail("cannot write the header of " + uvx_path + ": " + out.Error());
  std::unique_ptr<AUVXTable> bl(baselines.ToUVXTable()), ps(position.ToUVXTable());
  if (!bl || !ps) return fail("cannot build the BL and PS tables");
  out.AddTable(t.fq).AddTable(t.su).AddTable(t.an).AddTable(*bl).AddTable(*ps);
  if (StopRequested(stop)) return fail("stopped");
  if (!out.Close()) {
    error = "cannot write " + uvx_path + ": " + out.Error();
    std::filesystem::remove(part, ec);
    return 0;
  }
  std::filesystem::rename(part, uvx_path, ec);
  if (ec) {
    error = "cannot write " + uvx_path + ": " + ec.message();
    std::filesystem::remove(part, ec);
    return 0;
  }
  if (summary) {
    summary->groups = l.gcount;
    summary->telescopes = t.an.n_rows;
    summary->n_if = l.n_if, summary->n_channels = l.n_channels, summary->n_stokes = l.n_stokes;
    summary->freq_setups = t.fq.n_rows;
    summary->j2000 = reader.to_date;
    summary->bytes = std::int64_t(std::filesystem::file_size(uvx_path, ec));
  }
  return 1;
}

}  // namespace

// Reasons may quote the file's keywords: they are escaped before anyone prints them.
int ImportUVFITS(const std::string& fits_path, const std::string& uvx_path, ProgressSink* progress, StopFlag* stop,
                 MessageSink* messages, std::string& error, UVFitsSummary* summary, UVFitsFrame frame) {
  const int ok = Import(fits_path, uvx_path, progress, stop, messages, error, summary, false, frame);
  if (!ok) error = EscapeText(error, 400);
  return ok;
}

int ImportUVFITSGeneral(const std::string& fits_path, const std::string& uvx_path, std::string& error) {
  const int ok = Import(fits_path, uvx_path, nullptr, nullptr, nullptr, error, nullptr, true, UVFitsFrame::Date);
  if (!ok) error = EscapeText(error, 400);
  return ok;
}
