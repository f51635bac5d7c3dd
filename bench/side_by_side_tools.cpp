// Helpers of bench/side_by_side.sh, the run of `qvlmodel model` beside `wsclean -predict`:
//
//   side_by_side_tools maps IN.uvx DIR [--big]  the model maps of the comparison, as FITS images
//       that both programs read alike (RA growing to the left, the phase centre on pixel N/2 as
//       WSClean places it, CRVAL at the file's source): sparse512.fits (the core-jet example
//       model, pixels above 1e-5 of the peak), dense256.fits and dense1024.fits (the same with a
//       broad halo, every pixel set), with --big also dense4096.fits; 0.1 mas pixels
//   side_by_side_tools error-uvx OUT.uvx MAP.fits   relative RMS error of the model visibilities
//       of a UVX file (first polarization, every channel of 200 groups spread over the file); the
//       FITS map lies on J2000 axes, so u, v are turned onto them as task 2 does
//   side_by_side_tools error-ms IN.ms MAP.fits      the same for the MODEL_DATA column of a
//       Measurement Set, row i being group i (needs casacore)
//   side_by_side_tools to-ms IN.uvfits OUT.ms       UVFITS to Measurement Set through casacore's
//       importer (the one behind CASA's importuvfits)
//
// Errors are against a double-precision sum over the pixel grid (every pixel at its exact
// position), evaluated separably: exp(i (x u + y v)) = exp(i x u) exp(i y v).

#include <cmath>
#include <complex>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "model/components.h"
#include "model/map_comps.h"
#include "model/map_fits.h"
#include "model/map_model.h"
#include "uvx/fq_table.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_frame.h"

#ifdef QVL_WITH_CASACORE
#include "side_by_side_ms.h"
#endif

namespace {

constexpr int kRows = 200;
constexpr double kCellArcsec = 1e-4;
// Pixels of the sparse map below this fraction of its peak are set to 0.
constexpr double kSparseClip = 1e-5;

int Usage() {
  std::fprintf(stderr,
               "usage: side_by_side_tools maps IN.uvx DIR [--big] | error-uvx OUT.uvx MAP.fits |\n"
               "       error-ms IN.ms MAP.fits | to-ms IN.uvfits OUT.ms\n");
  return 2;
}

// Renders `model` on n x n pixels of 0.1 mas, phase centre on pixel (n/2, n/2), first axis
// decreasing; pixels below `clip` of the peak set to 0.
AMatrix<float> Render(const AComponents& model, std::uint32_t n, double clip, TMinMax& range) {
  const double h = n / 2;
  TMinMax drawn{-(h - 1) * kCellArcsec, h * kCellArcsec, -h * kCellArcsec, (h - 1) * kCellArcsec};
  AMatrix<float> m(n, n);
  model.ToMap(m, drawn);
  AMatrix<float> flipped(n, n);
  float peak = 0;
  for (std::uint32_t r = 0; r < n; ++r)
    for (std::uint32_t c = 0; c < n; ++c) flipped(r, c) = m(r, n - 1 - c), peak = std::max(peak, m(r, c));
  for (std::uint64_t i = 0; i < flipped.Elements(); ++i)
    if (std::fabs(flipped.data[i]) < clip * peak) flipped.data[i] = 0;
  range = TMinMax{drawn.xmax, drawn.xmin, drawn.ymin, drawn.ymax};
  return flipped;
}

int Maps(const std::string& uvx, const std::string& dir, bool big) {
  AUVXFile f;
  if (!f.Open(uvx, AUVXFile::modeRead)) return std::fprintf(stderr, "%s\n", f.Error().c_str()), 1;
  AFitsImageInfo info;
  if (const AUVXTable* su = f.GetTable("SU")) {
    info.celestial = true;
    info.ra_deg = su->GetNumber(0, su->FindColumn("RAEPO"));
    info.dec_deg = su->GetNumber(0, su->FindColumn("DECEPO"));
  }
  AComponents model;
  std::ifstream in(std::string(QVL_SOURCE_DATA) + "/examples/core_jet.mdl");
  std::string error;
  if (!LoadComponents(in, model, &error)) return std::fprintf(stderr, "%s\n", error.c_str()), 1;
  struct Map {
    const char* name;
    std::uint32_t n;
    bool halo;
  };
  std::vector<Map> maps{{"sparse512", 512, false}, {"dense256", 256, true}, {"dense1024", 1024, true}};
  if (big) maps.push_back({"dense4096", 4096, true});
  for (const Map& m : maps) {
    TMinMax range;
    AMatrix<float> pixels = Render(model, m.n, m.halo ? 0.0 : kSparseClip, range);
    if (m.halo)  // a smooth Gaussian halo of 0.3 Jy, the field wide at half maximum: no pixel stays 0
      for (std::uint32_t r = 0; r < m.n; ++r)
        for (std::uint32_t c = 0; c < m.n; ++c) {
          const double dx = double(c) - m.n / 2, dy = double(r) - m.n / 2, f = m.n;
          pixels(r, c) += float(0.3 * 4 * std::numbers::ln2 / (std::numbers::pi * f * f) *
                                std::exp(-4 * std::numbers::ln2 * (dx * dx + dy * dy) / (f * f)));
        }
    std::int64_t set = 0;
    for (std::uint64_t i = 0; i < pixels.Elements(); ++i) set += pixels.data[i] != 0;
    const std::string path = dir + "/" + m.name + ".fits";
    if (!SaveFitsMap(path, pixels, range, "JY/PIXEL", info, &error)) return std::fprintf(stderr, "%s\n", error.c_str()), 1;
    std::printf("%s %u %lld\n", path.c_str(), m.n, static_cast<long long>(set));
  }
  return 0;
}

// The map's visibility at (u, v) wavelengths, in double over the exact pixel grid.
struct ExactMap {
  AMatrix<float> map;
  TMinMax range;
  std::complex<double> At(double u, double v) const {
    const double k = kMapOffsetK;
    const double dx = (range.xmax - range.xmin) / (map.cols - 1.0), dy = (range.ymax - range.ymin) / (map.rows - 1.0);
    std::vector<std::complex<double>> col(map.cols);
    for (std::uint32_t c = 0; c < map.cols; ++c) col[c] = std::polar(1.0, (range.xmin + c * dx) * k * u);
    std::complex<double> sum;
    for (std::uint32_t r = 0; r < map.rows; ++r) {
      std::complex<double> row;
      const float* p = map.Row(r);
      for (std::uint32_t c = 0; c < map.cols; ++c)
        if (p[c] != 0) row += double(p[c]) * col[c];
      sum += row * std::polar(1.0, (range.ymin + r * dy) * k * v);
    }
    return sum;
  }
};

int LoadExact(const std::string& path, ExactMap& m) {
  std::string unit, error;
  if (!LoadMapAny(path, m.map, m.range, unit, &error)) return std::fprintf(stderr, "%s\n", error.c_str()), 0;
  return 1;
}

// Groups 0, g/200, 2g/200, ...
std::vector<std::int64_t> Sample(std::int64_t groups) {
  std::vector<std::int64_t> rows;
  for (int i = 0; i < kRows && i < groups; ++i) rows.push_back(groups * i / std::min<std::int64_t>(kRows, groups));
  return rows;
}

int ErrorUvx(const std::string& uvx, const std::string& map_path) {
  ExactMap m;
  if (!LoadExact(map_path, m)) return 1;
  AUVXFile f;
  if (!f.Open(uvx, AUVXFile::modeRead)) return std::fprintf(stderr, "%s\n", f.Error().c_str()), 1;
  AUVXFqTbl fq;
  fq.Init(f, -1);
  const std::unique_ptr<AUVWFrameRotation> to_j2000 = UVXFrameRotation(f);
  double err = 0, norm = 0;
  for (std::int64_t g : Sample(f.Groups())) {
    AUVXGroup grp;
    AUVXVisibility vis(f);
    if (!f.SeekUVGroup(g) || !grp.load(f) || !vis.load(f)) return 1;
    double uvw[3] = {grp.u, grp.v, grp.w};
    if (to_j2000) {
      const double date[3] = {uvw[0], uvw[1], uvw[2]};
      to_j2000->ToJ2000(f.Header().time + grp.time, date, uvw);
    }
    const int s = fq.GetFreqSelNum(grp.freq_id);
    for (int k = 0; k < f.NIF(); ++k)
      for (int j = 0; j < f.NChannels(); ++j) {
        const double fr = fq.GetFreq(s, k, j);
        const std::complex<double> want = m.At(uvw[0] * fr, uvw[1] * fr);
        const AUVXVisEntry& e = vis.Entry(k, j, 0);
        err += std::norm(std::complex<double>(e.re, e.im) - want);
        norm += std::norm(want);
      }
  }
  std::printf("%.3g\n", std::sqrt(err / norm));
  return 0;
}

#ifdef QVL_WITH_CASACORE
int ErrorMs(const std::string& ms, const std::string& map_path) {
  ExactMap m;
  if (!LoadExact(map_path, m)) return 1;
  AMsRows rows;
  std::vector<std::int64_t> sample = Sample(MsRowCount(ms));
  if (!ReadMsRows(ms, std::vector<long long>(sample.begin(), sample.end()), rows)) return 1;
  const double c = 299792458.0;
  const std::size_t nch = rows.freq.size();
  // The sum at the row's own UVW: with UVW copied from UVFITS (casacore's importer) that is our V,
  // with our MS export (UVW negated, data conjugated) its conjugate, as the MS convention has it.
  double err = 0, norm = 0;
  for (std::size_t r = 0; r < sample.size(); ++r)
    for (std::size_t j = 0; j < nch; ++j) {
      const double f = rows.freq[j];
      const std::complex<double> want = m.At(rows.uvw[3 * r] / c * f, rows.uvw[3 * r + 1] / c * f);
      const std::complex<double> got(rows.model[2 * (r * nch + j)], rows.model[2 * (r * nch + j) + 1]);
      err += std::norm(got - want);
      norm += std::norm(want);
    }
  std::printf("%.3g\n", std::sqrt(err / norm));
  return 0;
}
#endif

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return Usage();
  const std::string what = argv[1];
  if (what == "maps") return Maps(argv[2], argv[3], argc > 4 && std::strcmp(argv[4], "--big") == 0);
  if (what == "error-uvx") return ErrorUvx(argv[2], argv[3]);
#ifdef QVL_WITH_CASACORE
  if (what == "error-ms") return ErrorMs(argv[2], argv[3]);
  if (what == "to-ms") return UvfitsToMs(argv[2], argv[3]);
#else
  if (what == "error-ms" || what == "to-ms") {
    std::fprintf(stderr, "side_by_side_tools: built without casacore\n");
    return 3;
  }
#endif
  return Usage();
}
