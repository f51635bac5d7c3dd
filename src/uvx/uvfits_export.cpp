#include "uvx/uvfits_export.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <memory>
#include <vector>

#include "core/astro_time.h"
#include "core/file.h"
#include "uvx/uvfits_common.h"
#include "uvx/uvfits_tables.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_frame.h"
#include "uvx/uvx_lists.h"

using namespace uvfits;

namespace {

constexpr std::size_t kBlockBytes = std::size_t{4} << 20;

struct Param {
  const char* name;
  double zero;
};

// The AN table as written: station = ARRAYXYZ + STABXYZ folded into STABXYZ (absolute,
// right-handed Earth-fixed: the UVX table already holds the catalogue's Y sign undone), the array
// centre 0, XYZHAND and TIMSYS stated, feed types filled when the columns were missing.
AUVXTable AntennaTable(const AUVXTable& src, const AUVXHeader& h) {
  AUVXTable an = WithColumns(src, AntennaColumns());
  const double centre[3] = {KeywordReal(src, "ARRAYX", 0), KeywordReal(src, "ARRAYY", 0), KeywordReal(src, "ARRAYZ", 0)};
  const int c_xyz = an.FindColumn("STABXYZ");
  const bool linear = h.n_pol > 0 && h.pol[0] <= -5;
  const bool had_poltype = src.FindColumn("POLTYA") >= 0;
  for (int r = 0; r < an.n_rows; ++r) {
    for (int k = 0; k < 3; ++k) an.SetDouble(r, c_xyz, an.GetNumber(r, c_xyz, k) + centre[k], k);
    if (!had_poltype) {
      an.SetChars(r, an.FindColumn("POLTYA"), linear ? "X" : "R");
      an.SetChars(r, an.FindColumn("POLTYB"), linear ? "Y" : "L");
    }
  }
  for (const char* k : {"ARRAYX", "ARRAYY", "ARRAYZ"}) SetKeywordReal(an, k, 0.0);
  if (!an.FindKeyword("FREQ")) SetKeywordReal(an, "FREQ", h.ref_freq_hz);
  if (!an.FindKeyword("RDATE"))
    if (const auto date = CalendarFromJulianDay(h.jd0, "%Y-%m-%d")) an.AddKeyword("RDATE", kKeyDate, *date);
  SetKeywordChar(an, "TIMSYS", "UTC");
  SetKeywordChar(an, "XYZHAND", "RIGHT");
  return an;
}

AUVXTable SourceTable(const AUVXTable& src, const AUVXHeader& h, int n_if) {
  AUVXTable su = WithColumns(src, SourceColumns(n_if));
  for (int r = 0; r < su.n_rows; ++r) {
    if (src.FindColumn("EPOCH") < 0) su.SetDouble(r, su.FindColumn("EPOCH"), h.epoch);
    if (src.FindColumn("RAAPP") < 0) su.SetDouble(r, su.FindColumn("RAAPP"), su.GetNumber(r, su.FindColumn("RAEPO")));
    if (src.FindColumn("DECAPP") < 0) su.SetDouble(r, su.FindColumn("DECAPP"), su.GetNumber(r, su.FindColumn("DECEPO")));
  }
  if (!su.FindKeyword("NO_IF")) SetKeywordInt(su, "NO_IF", n_if);
  return su;
}

// The checks that decide whether the file can be described in UVFITS at all.
int CheckExportable(AUVXFile& in, std::string& error) {
  const AUVXHeader& h = in.Header();
  if (in.NIF() < 1 || in.NChannels() < 1 || in.NStokes() < 1)
    return error = "the file holds no visibilities (IFs x channels x Stokes = " + std::to_string(in.NIF()) + " x " +
                   std::to_string(in.NChannels()) + " x " + std::to_string(in.NStokes()) + ")", 0;
  for (int s = 2; s < h.n_pol; ++s)
    if (h.pol[s] - h.pol[s - 1] != h.pol[1] - h.pol[0])
      return error = "the polarization codes are not evenly spaced: a STOKES axis cannot describe them", 0;
  if (h.n_pol > 1 && h.pol[1] == h.pol[0]) return error = "a polarization code appears twice", 0;
  const AUVXTable* fq = in.GetTable("FQ");
  if (!fq) return error = "no FQ table: the channel frequencies are unknown", 0;
  const int c_freq = fq->FindColumn("IF FREQ"), c_width = fq->FindColumn("CH WIDTH");
  if (fq->FindColumn("FRQSEL") < 0 || c_freq < 0 || c_width < 0 || fq->n_rows < 1)
    return error = "the FQ table lacks FRQSEL, IF FREQ or CH WIDTH, or has no row", 0;
  if (fq->ColumnRepeat(c_freq) != in.NIF() || fq->ColumnRepeat(c_width) != in.NIF())
    return error = "the FQ table describes " + std::to_string(fq->ColumnRepeat(c_freq)) + " IFs, the data " + std::to_string(in.NIF()), 0;
  const AUVXTable* an = in.GetTable("AN");
  if (!an || an->FindColumn("NOSTA") < 0 || an->FindColumn("ANNAME") < 0 || an->FindColumn("STABXYZ") < 0)
    return error = "no AN table with ANNAME, STABXYZ and NOSTA: the telescopes are unknown", 0;
  return 1;
}

void WritePrimaryHeader(fitsfile* f, AUVXFile& in, const std::vector<Param>& params, int* st) {
  const AUVXHeader& h = in.Header();
  long naxes[7] = {0, 3, in.NStokes(), in.NChannels(), in.NIF(), 1, 1};
  fits_write_grphdr(f, 1, FLOAT_IMG, 7, naxes, LONGLONG(params.size()), in.Groups(), 1, st);
  const AUVXTable* fq = in.GetTable("FQ");
  const AUVXTable* su = in.GetTable("SU");
  const AUVXTable* an = in.GetTable("AN");
  double ra = 0, dec = 0;
  if (su && su->n_rows > 0) {
    ra = su->GetNumber(0, su->FindColumn("RAEPO"));
    dec = su->GetNumber(0, su->FindColumn("DECEPO"));
  }
  const std::string array = KeywordText(*an, "ARRNAM");
  fits_write_key_str(f, "OBJECT", h.Object().c_str(), "source name", st);
  fits_write_key_str(f, "TELESCOP", array.empty() ? "VLBI" : array.c_str(), nullptr, st);
  fits_write_key_str(f, "OBSERVER", h.Observer().c_str(), nullptr, st);
  const auto date = CalendarFromJulianDay(h.jd0, "%Y-%m-%d");
  fits_write_key_str(f, "DATE-OBS", date ? date->c_str() : "", "reference date (0h UTC)", st);
  fits_write_key_dbl(f, "EPOCH", h.epoch, -17, "equinox of RA, DEC (years)", st);
  fits_write_key_dbl(f, "EQUINOX", h.epoch, -17, nullptr, st);
  fits_write_key_dbl(f, "BSCALE", 1.0, -17, nullptr, st);
  fits_write_key_dbl(f, "BZERO", 0.0, -17, nullptr, st);
  std::string unit = h.FluxUnit();
  for (char& c : unit) c = char(std::toupper(static_cast<unsigned char>(c)));
  fits_write_key_str(f, "BUNIT", unit.c_str(), "units of flux", st);
  fits_write_key_str(f, "ORIGIN", h.Origin().c_str(), nullptr, st);
  const double stokes_delta = h.n_pol > 1 ? h.pol[1] - h.pol[0] : -1;
  struct Axis {
    const char* type;
    double crval, cdelt;
  } axes[6] = {{"COMPLEX", 1, 1},
               {"STOKES", double(h.pol[0]), stokes_delta},
               {"FREQ", h.ref_freq_hz, fq->GetNumber(0, fq->FindColumn("CH WIDTH"), 0)},
               {"IF", 1, 1},
               {"RA", ra, 1},
               {"DEC", dec, 1}};
  for (int a = 0; a < 6; ++a) {
    const std::string n = std::to_string(a + 2);
    fits_write_key_str(f, ("CTYPE" + n).c_str(), axes[a].type, nullptr, st);
    fits_write_key_dbl(f, ("CRVAL" + n).c_str(), axes[a].crval, -17, nullptr, st);
    fits_write_key_dbl(f, ("CDELT" + n).c_str(), axes[a].cdelt, -17, nullptr, st);
    fits_write_key_dbl(f, ("CRPIX" + n).c_str(), 1.0, -17, nullptr, st);
    fits_write_key_dbl(f, ("CROTA" + n).c_str(), 0.0, -17, nullptr, st);
  }
  for (std::size_t p = 0; p < params.size(); ++p) {
    const std::string n = std::to_string(p + 1);
    fits_write_key_str(f, ("PTYPE" + n).c_str(), params[p].name, nullptr, st);
    fits_write_key_dbl(f, ("PSCAL" + n).c_str(), 1.0, -17, nullptr, st);
    fits_write_key_dbl(f, ("PZERO" + n).c_str(), params[p].zero, -17, nullptr, st);
  }
}

// The group block: every UVX record becomes PCOUNT parameters and the visibility words, in
// big-endian order. UVX entry order (IF, channel, Stokes, then re/im/weight) is the FITS order.
int WriteGroups(fitsfile* f, AUVXFile& in, bool freqsel, bool unit_weights, AUVWFrameRotation* to_j2000,
                ProgressSink* progress, StopFlag* stop, std::string& error) {
  const AUVXHeader& h = in.Header();
  const std::int64_t rec = in.RecordBytes(), vis_words = in.VisBytes() / 4;
  const int pcount = freqsel ? 8 : 7;
  const std::int64_t group_bytes = 4 * (pcount + vis_words);
  const std::int64_t groups = in.Groups();
  const std::int64_t per_block = std::max<std::int64_t>(1, std::int64_t(kBlockBytes) / rec);
  std::vector<unsigned char> src(std::size_t(per_block * rec)), dst(std::size_t(per_block * group_bytes));
  LONGLONG head = 0, data = 0, end = 0;
  int st = 0;
  if (fits_set_hdustruc(f, &st) || fits_get_hduaddrll(f, &head, &data, &end, &st)) return error = FitsError(st), 0;
  if (progress) progress->SetRange(0, groups);
  for (std::int64_t first = 0; first < groups; first += per_block) {
    const std::int64_t n = std::min(per_block, groups - first);
    if (!in.ReadRecords(first, n, src.data())) return error = "cannot read group " + std::to_string(first) + ": " + in.Error(), 0;
    for (std::int64_t i = 0; i < n; ++i) {
      if (StopRequested(stop)) return error = "stopped", 0;
      const unsigned char* r = src.data() + i * rec;
      unsigned char* o = dst.data() + i * group_bytes;
      AUVXGroup g;
      g.FromBytes(r);
      double uvw[3] = {g.u, g.v, g.w};
      if (to_j2000) {
        const double date[3] = {uvw[0], uvw[1], uvw[2]};
        to_j2000->ToJ2000(h.time + g.time, date, uvw);
      }
      const double days = (h.time + g.time) / kSecondsPerDay;
      const float day_hi = float(days);
      const float p[8] = {float(uvw[0]), float(uvw[1]), float(uvw[2]), day_hi, float(days - double(day_hi)), float(256 * g.tel1 + g.tel2),
                          float(h.time_step_s), float(g.freq_id)};
      for (int k = 0; k < pcount; ++k) PutBigFloat(o + 4 * k, p[k]);
      SwapWords(r + AUVXGroup::kBytes, o + 4 * pcount, std::size_t(vis_words));
      if (unit_weights)
        for (std::int64_t w = 2; w < vis_words; w += 3) PutBigFloat(o + 4 * (pcount + w), 1.0f);
    }
    if (ffmbyt(f, data + first * group_bytes, 1 /* IGNORE_EOF */, &st) || ffpbyt(f, n * group_bytes, dst.data(), &st))
      return error = FitsError(st), 0;
    if (progress) progress->SetPos(first + n);
  }
  return 1;
}

}  // namespace

int ExportUVFITS(const std::string& uvx_path, const std::string& fits_path, ProgressSink* progress, StopFlag* stop,
                 MessageSink* /*messages*/, std::string& error, UVFitsSummary* summary, UVFitsWeights weights,
                 UVFitsFrame frame) {
  AUVXFile in;
  if (!in.Open(uvx_path, AUVXFile::modeRead)) return error = in.Error(), 0;
  if (!CheckExportable(in, error)) return 0;
  std::unique_ptr<AUVWFrameRotation> to_j2000;
  if (frame == UVFitsFrame::J2000 && !(to_j2000 = UVXFrameRotation(in)))
    return error = "no SU table with RAEPO and DECEPO: the phase centre is unknown, so u, v, w cannot be turned to "
                   "J2000 axes (the date frame writes them as stored)", 0;
  const AUVXHeader& h = in.Header();
  const AUVXTable* fq = in.GetTable("FQ");
  const bool freqsel = fq->n_rows > 1;
  std::vector<Param> params = {{"UU", 0}, {"VV", 0}, {"WW", 0}, {"DATE", h.jd0}, {"DATE", 0}, {"BASELINE", 0}, {"INTTIM", 0}};
  if (freqsel) params.push_back({"FREQSEL", 0});
  if (progress) progress->SetText("Export " + fits_path);

  const std::string part = PartPath(fits_path);
  std::error_code ec;
  std::filesystem::remove(part, ec);
  AFileRemover remover(part);
  fitsfile* raw = nullptr;
  int st = 0;
  if (fits_create_diskfile(&raw, part.c_str(), &st)) return error = "cannot create " + fits_path + ": " + FitsError(st), 0;
  FitsPtr f(raw);
  WritePrimaryHeader(f.get(), in, params, &st);
  if (st) return error = "cannot write " + fits_path + ": " + FitsError(st), 0;
  const bool unit_weights = weights == UVFitsWeights::Unit ||
                            (weights == UVFitsWeights::Auto && h.extremes.has_vis() && h.extremes.weight_max <= 0.0 &&
                             h.extremes.weight_min >= 0.0);
  if (!WriteGroups(f.get(), in, freqsel, unit_weights, to_j2000.get(), progress, stop, error)) {
    if (error.rfind("cfitsio", 0) == 0) error = "cannot write " + fits_path + ": " + error;  // not a read error
    return 0;
  }

  AUVXTable an = AntennaTable(*in.GetTable("AN"), h);
  WriteFitsTable(f.get(), an, kAntennaExt, &st);
  AUVXTable fq_out = *fq;
  SetKeywordInt(fq_out, "NO_IF", in.NIF());
  WriteFitsTable(f.get(), fq_out, kFrequencyExt, &st);
  if (const AUVXTable* su = in.GetTable("SU")) WriteFitsTable(f.get(), SourceTable(*su, h, in.NIF()), kSourceExt, &st);
  if (st) return error = "cannot write " + fits_path + ": " + FitsError(st), 0;
  if ((st = CloseFits(f)) != 0) return error = "cannot write " + fits_path + ": " + FitsError(st), 0;
  if (StopRequested(stop)) return error = "stopped", 0;
  std::filesystem::rename(part, fits_path, ec);
  if (ec) return error = "cannot write " + fits_path + ": " + ec.message(), 0;
  remover.Keep();
  if (summary) {
    summary->groups = in.Groups();
    summary->telescopes = an.n_rows;
    summary->n_if = in.NIF(), summary->n_channels = in.NChannels(), summary->n_stokes = in.NStokes();
    summary->freq_setups = fq->n_rows;
    summary->unit_weights = unit_weights;
    summary->j2000 = to_j2000 != nullptr;
    summary->bytes = std::int64_t(std::filesystem::file_size(fits_path, ec));
  }
  return 1;
}
