#include "ms/ms_export.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include "core/astro_time.h"
#include "ms/ms_output.h"
#include "ms/ms_plain.h"
#include "ms/ms_uvw.h"
#include "uvx/fq_table.h"
#include "uvx/uvfits_tables.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_frame.h"

namespace {

constexpr std::size_t kBlockBytes = std::size_t{4} << 20;
using ms::kMjdZeroJd;
using ms::kSecondsPerDay;

// MNTSTA (AIPS) to the MS mount names.
const char* MountName(int mntsta) {
  switch (mntsta) {
    case 1: return "equatorial";
    case 2: return "orbiting";
    case 3: return "X-Y";
    case 4: return "alt-az+nasmyth-r";
    case 5: return "alt-az+nasmyth-l";
    default: return "alt-az";
  }
}

double Keyword(const AUVXTable& t, const char* name) { return uvfits::KeywordReal(t, name, 0.0); }

// The antennas in AN row order; `row_of[n]` is the ANTENNA row of telescope number n (-1: none).
int DescribeAntennas(const AUVXTable& an, const std::map<std::string, double>& diameters, ms::Description& d,
                     std::vector<int>& row_of, std::string& error) {
  const int c_name = an.FindColumn("ANNAME"), c_xyz = an.FindColumn("STABXYZ"), c_no = an.FindColumn("NOSTA");
  const int c_mnt = an.FindColumn("MNTSTA"), c_diam = an.FindColumn("DIAMETER");
  if (c_name < 0 || c_xyz < 0 || c_no < 0 || an.ColumnRepeat(c_xyz) != 3)
    return error = "no AN table with ANNAME, STABXYZ (3 values) and NOSTA: the telescopes are unknown", 0;
  const double centre[3] = {Keyword(an, "ARRAYX"), Keyword(an, "ARRAYY"), Keyword(an, "ARRAYZ")};
  row_of.assign(256, -1);
  for (int r = 0; r < an.n_rows; ++r) {
    const int no = int(an.GetNumber(r, c_no));
    if (no < 1 || no > 255) return error = "telescope number " + std::to_string(no) + " in the AN table is outside 1..255", 0;
    if (row_of[std::size_t(no)] >= 0) return error = "telescope number " + std::to_string(no) + " appears twice in the AN table", 0;
    row_of[std::size_t(no)] = r;
    ms::Antenna a;
    a.name = a.station = an.GetChars(r, c_name);
    const int mount = c_mnt >= 0 ? int(an.GetNumber(r, c_mnt)) : 0;
    a.mount = MountName(mount);
    if (mount == 2) a.type = "SPACE-BASED";  // no position: the UVX file stores no orbit
    for (int k = 0; k < 3; ++k) a.xyz[k] = mount == 2 ? 0.0 : an.GetNumber(r, c_xyz, k) + centre[k];
    const auto known = diameters.find(a.name);
    a.dish_diameter = c_diam >= 0 ? an.GetNumber(r, c_diam) : known != diameters.end() ? known->second : 0.0;
    d.antennas.push_back(a);
  }
  return 1;
}

// One spectral window per frequency set-up and IF, in FQ row order then IF order.
void DescribeWindows(const AUVXFqTbl& fq, ms::Description& d) {
  for (int s = 0; s < fq.GetFreqSels(); ++s) {
    const int id = fq.GetFreqSelID(s);
    for (int i = 0; i < fq.NIF(); ++i) {
      ms::SpectralWindow w;
      w.name = (fq.GetFreqSels() > 1 ? "FQ" + std::to_string(id) + " " : std::string()) + "IF" + std::to_string(i + 1);
      const double width = fq.GetDeltaIFFq(s, i);
      for (int k = 0; k < fq.NChannels(); ++k) {
        w.chan_freq.push_back(fq.GetFreq(s, i, k));
        w.chan_width.push_back(width);
      }
      w.ref_freq = w.chan_freq.front();
      const double total = fq.GetTotalBandwidth(s, i);
      w.total_bandwidth = total > 0 ? total : fq.NChannels() * std::fabs(width);
      w.net_sideband = fq.GetSideband(s, i) < 0 ? -1 : 1;
      w.freq_group = id;
      w.freq_group_name = "FQ" + std::to_string(id);
      d.windows.push_back(std::move(w));
    }
  }
}

int Describe(AUVXFile& in, const AUVXFqTbl& fq, const MSExportOptions& options, ms::Description& d,
             std::vector<int>& row_of, std::string& error) {
  const AUVXHeader& h = in.Header();
  if (in.NIF() < 1 || in.NChannels() < 1 || in.NStokes() < 1)
    return error = "the file holds no visibilities (IFs x channels x Stokes = " + std::to_string(in.NIF()) + " x " +
                   std::to_string(in.NChannels()) + " x " + std::to_string(in.NStokes()) + ")", 0;
  bool linear = false;
  for (int s = 0; s < h.n_pol; ++s) {
    const int t = CorrTypeFromAips(h.pol[s]);
    if (!t) return error = "polarization code " + std::to_string(h.pol[s]) + " has no Measurement Set correlation type", 0;
    if (std::find(d.corr_types.begin(), d.corr_types.end(), t) != d.corr_types.end())
      return error = "a polarization code appears twice", 0;
    d.corr_types.push_back(t);
    linear = linear || (t >= 9 && t <= 12);
  }
  d.receptors = linear ? std::vector<std::string>{"X", "Y"} : std::vector<std::string>{"R", "L"};
  if (fq.GetFreqSels() < 1 || fq.NIF() != in.NIF())
    return error = "no FQ table describing the file's " + std::to_string(in.NIF()) + " IFs: the channel frequencies are unknown", 0;
  const AUVXTable* an = in.GetTable("AN");
  if (!an) return error = "no AN table: the telescopes are unknown", 0;
  if (!DescribeAntennas(*an, options.dish_diameters, d, row_of, error)) return 0;
  DescribeWindows(fq, d);
  d.n_chan = in.NChannels();
  d.field_name = h.Object();
  const std::string array = uvfits::KeywordText(*an, "ARRNAM");
  d.telescope = array.empty() ? "VLBI" : array;
  d.observer = h.Observer();
  d.origin = h.Origin().empty() ? "QVLMODEL" : h.Origin();
  d.interval = h.time_step_s;
  d.rows = in.Groups() * in.NIF();
  const double zero = (h.jd0 - kMjdZeroJd) * kSecondsPerDay + h.time;
  double t_min = h.extremes.time_min, t_max = h.extremes.time_max;
  if (!(t_min <= t_max)) {  // extremes not folded: the first and last groups
    AUVXGroup g;
    t_min = t_max = 0;
    if (in.Groups() > 0 && in.SeekUVGroup(0) && g.load(in)) t_min = g.time;
    if (in.Groups() > 0 && in.SeekUVGroup(in.Groups() - 1) && g.load(in)) t_max = g.time;
  }
  d.time_first = zero + t_min, d.time_last = zero + std::max(t_min, t_max);
  return 1;
}

// Fills the rows of `n` UVX records (one row per IF). Non-zero on success.
struct RowFiller {
  const AUVXHeader& h;
  const AUVXFqTbl& fq;
  const std::vector<int>& row_of;
  ms::UVWConverter& uvw;
  bool unit_weights;
  double zero_s;  // MJD seconds of the UVX start time
  int n_if, n_chan, n_stokes;
  int scan = 0;
  double last_time = 0;
  bool started = false;

  int Fill(const unsigned char* records, std::int64_t rec_bytes, std::int64_t first, int n, ms::RowBlock& b,
           StopFlag* stop, std::string& error) {
    b.Resize(n * n_if, n_stokes, n_chan);
    const int cells = n_chan * n_stokes;
    for (int gi = 0; gi < n; ++gi) {
      if (StopRequested(stop)) return error = "stopped", 0;
      const unsigned char* rec = records + gi * rec_bytes;
      AUVXGroup g;
      g.FromBytes(rec);
      const auto where = [&] { return "group " + std::to_string(first + gi + 1) + ": "; };
      const int a1 = row_of[g.tel1], a2 = row_of[g.tel2];
      if (a1 < 0 || a2 < 0)
        return error = where() + "telescope " + std::to_string(a1 < 0 ? g.tel1 : g.tel2) + " is not in the AN table", 0;
      const int sel = fq.GetFreqSelNum(g.freq_id);
      if (sel < 0) return error = where() + "frequency set-up " + std::to_string(g.freq_id) + " is not in the FQ table", 0;
      // A new scan after a gap of more than two time steps.
      if (!started || g.time - last_time > 2.0 * h.time_step_s) ++scan;
      started = true, last_time = g.time;
      const double t_s = h.time + g.time, in_uvw[3] = {g.u, g.v, g.w};
      double m[3];
      uvw.ToMS(t_s, in_uvw, m);
      const unsigned char* vis = rec + AUVXGroup::kBytes;
      for (int i = 0; i < n_if; ++i) {
        const std::size_t r = std::size_t(gi) * std::size_t(n_if) + std::size_t(i);
        b.time[r] = zero_s + g.time;
        for (int k = 0; k < 3; ++k) b.uvw[3 * r + k] = m[k];
        b.antenna1[r] = a1, b.antenna2[r] = a2;
        b.data_desc[r] = sel * n_if + i;
        b.field[r] = 0;
        b.scan[r] = scan;
        FillCells(vis + std::size_t(12 * i * cells), r, cells, b);
      }
    }
    return 1;
  }

  // One IF of a record: `cells` entries (channel, Stokes) of (re, im, weight).
  void FillCells(const unsigned char* entries, std::size_t r, int cells, ms::RowBlock& b) const {
    std::complex<float>* data = b.data.data() + r * std::size_t(cells);
    float* wspec = b.weight_spectrum.data() + r * std::size_t(cells);
    bool* flag = b.flag.get() + r * std::size_t(cells);
    float* weight = b.weight.data() + r * std::size_t(n_stokes);
    float* sigma = b.sigma.data() + r * std::size_t(n_stokes);
    double sum[8] = {};
    int used[8] = {};
    bool all_flagged = true;
    for (int c = 0; c < cells; c += n_stokes)
      for (int s = 0; s < n_stokes; ++s) {
        float e[3];
        std::memcpy(e, entries + 12 * (c + s), 12);
        const float w = unit_weights ? 1.0f : e[2];
        data[c + s] = ms::ToMSVisibility(e[0], e[1]);
        wspec[c + s] = w;
        const bool good = w > 0.0f;  // NaN flagged too
        flag[c + s] = !good;
        all_flagged = all_flagged && !good;
        sum[s] += good ? w : 0.0f;
        used[s] += good;
      }
    for (int s = 0; s < n_stokes; ++s) {
      weight[s] = used[s] ? float(sum[s] / used[s]) : 0.0f;
      sigma[s] = weight[s] > 0 ? 1.0f / std::sqrt(weight[s]) : 0.0f;
    }
    b.flag_row[r] = all_flagged;
  }
};

std::int64_t DirectoryBytes(const std::string& path) {
  std::int64_t total = 0;
  std::error_code ec;
  for (auto it = std::filesystem::recursive_directory_iterator(path, ec); !ec && it != std::filesystem::end(it);
       it.increment(ec))
    if (it->is_regular_file(ec)) total += std::int64_t(it->file_size(ec));
  return total;
}

}  // namespace

int CorrTypeFromAips(int code) {
  static constexpr int kNegative[9] = {0, 5, 8, 6, 7, 9, 12, 10, 11};  // -1 RR .. -8 YX
  if (code >= 1 && code <= 4) return code;
  if (code <= -1 && code >= -8) return kNegative[-code];
  return 0;
}

int AipsFromCorrType(int type) {
  for (int code = -8; code <= 4; ++code)
    if (code != 0 && CorrTypeFromAips(code) == type) return code;
  return 0;
}

int ExportMS(const std::string& uvx_path, const std::string& ms_path, ProgressSink* progress, StopFlag* stop,
             MessageSink* /*messages*/, std::string& error, UVFitsSummary* summary, const MSExportOptions& options) {
  const UVFitsWeights weights = options.weights;
  AUVXFile in;
  if (!in.Open(uvx_path, AUVXFile::modeRead)) return error = in.Error(), 0;
  const AUVXHeader& h = in.Header();
  AUVXFqTbl fq;
  fq.Init(in, -1);
  ms::Description d;
  std::vector<int> row_of;
  if (!Describe(in, fq, options, d, row_of, error)) return 0;
  double ra = 0, dec = 0;
  const bool have_centre = UVXPhaseCentre(in, ra, dec);
  std::unique_ptr<AUVWFrameRotation> rotation;
  if (options.frame == UVFitsFrame::J2000) {
    if (!have_centre)
      return error = "no SU table with RAEPO and DECEPO: the phase centre is unknown, so u, v, w cannot be turned to "
                     "J2000 axes (the date frame writes them as stored)", 0;
    rotation = std::make_unique<AUVWFrameRotation>(h.jd0, ra, dec);
  }
  d.ra_rad = ra, d.dec_rad = dec;
  const bool unit_weights = weights == UVFitsWeights::Unit ||
                            (weights == UVFitsWeights::Auto && h.extremes.has_vis() && h.extremes.weight_max <= 0.0 &&
                             h.extremes.weight_min >= 0.0);
  if (progress) progress->SetText("Export " + ms_path);

  ms::DirectoryOutput out(ms_path);
  if (!out.Prepare(error)) return 0;
  ms::Writer writer;
  // casacore's messages name the folder it writes, the temporary one: the user's name is given.
  auto as_named = [&](const std::string& why) {
    std::string text = why;
    for (std::size_t at = text.find(out.Part()); at != std::string::npos; at = text.find(out.Part(), at + ms_path.size()))
      text.replace(at, out.Part().size(), ms_path);
    return text;
  };
  if (!writer.Create(out.Part(), d, error)) return error = "cannot create " + ms_path + ": " + as_named(error), 0;
  ms::UVWConverter uvw(rotation.get());
  RowFiller filler{h, fq, row_of, uvw, unit_weights, (h.jd0 - kMjdZeroJd) * kSecondsPerDay + h.time,
                   in.NIF(), in.NChannels(), in.NStokes()};
  const std::int64_t rec = in.RecordBytes(), groups = in.Groups();
  const std::int64_t per_block = std::clamp<std::int64_t>(std::int64_t(kBlockBytes) / rec, 1, 1 << 20);
  std::vector<unsigned char> src(std::size_t(std::min(per_block, std::max<std::int64_t>(groups, 1)) * rec));
  ms::RowBlock block;
  if (progress) progress->SetRange(0, groups);
  for (std::int64_t first = 0; first < groups; first += per_block) {
    const int n = int(std::min(per_block, groups - first));
    if (!in.ReadRecords(first, n, src.data())) return error = "cannot read group " + std::to_string(first + 1) + ": " + in.Error(), 0;
    if (!filler.Fill(src.data(), rec, first, n, block, stop, error)) return 0;
    if (!writer.Put(first * in.NIF(), block, error))
      return error = "cannot write " + ms_path + ": " + as_named(error), 0;
    if (progress) progress->SetPos(first + n);
  }
  if (!writer.Close(error)) return error = "cannot write " + ms_path + ": " + as_named(error), 0;
  if (StopRequested(stop)) return error = "stopped", 0;
  if (!out.Commit(error)) return 0;
  if (summary) {
    summary->groups = groups;
    summary->telescopes = int(d.antennas.size());
    summary->n_if = in.NIF(), summary->n_channels = in.NChannels(), summary->n_stokes = in.NStokes();
    summary->freq_setups = fq.GetFreqSels();
    summary->unit_weights = unit_weights;
    summary->j2000 = rotation != nullptr;
    summary->bytes = DirectoryBytes(ms_path);
  }
  return 1;
}
