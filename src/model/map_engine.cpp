#include "model/map_engine.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

namespace {

// The cost model's constants: seconds on one core of the measuring machine (docs/maps.md).
constexpr double kSeparableTerm = 60e-12;     // one pixel x one UV point
constexpr double kSeparablePhasor = 1e-9;     // one row or column phasor x one UV point
constexpr double kNufftCellDouble = 20e-9;    // one fine-grid cell: correction, FFTs, margins
constexpr double kNufftCellSingle = 12e-9;
constexpr double kNufftPoint = 10e-9;         // one UV point: coordinates, order, phase
constexpr double kNufftTap = 0.6e-9;          // one of the w x w cells of a point
// The separable engine's error model: float phasors and sums, and float offsets.
constexpr double kSeparableErrorFloor = 2e-7;
constexpr double kSeparableErrorPerRadian = 3e-9;
// The NUFFT is not chosen automatically beyond this grid size.
constexpr std::size_t kNufftAutoBytes = std::size_t(2) << 30;
constexpr std::int64_t kTilePixels = AMapSum::kTilePixels;

std::string Seconds(double s) {
  char text[32];
  std::snprintf(text, sizeof text, s < 0.01 ? "%.2g s" : "%.2f s", s);
  return text;
}

std::string Sci(double v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1e", v);
  return text;
}

}  // namespace

const char* MapEngineName(MapEngine engine) {
  switch (engine) {
    case MapEngine::Reference: return "reference";
    case MapEngine::Fast: return "separable";
    case MapEngine::Nufft: return "nufft";
    case MapEngine::Auto: return "auto";
  }
  return "auto";
}

AMapWorkload DescribeMapWork(const AMatrix<float>& map, const TMinMax& range, std::int64_t points, double uv_max,
                             double accuracy) {
  AMapWorkload w;
  w.rows = map.rows;
  w.cols = map.cols;
  w.points = std::max<std::int64_t>(points, 0);
  w.accuracy = accuracy;
  w.threads = MapSumThreads();
  std::vector<char> col_used(map.cols, 0);
  double y = 0;  // largest |offset| of a used row and column, 2 pi radians per wavelength
  for (std::uint32_t r = 0; r < map.rows; ++r) {
    const float* row = map.Row(r);
    std::int64_t n = 0;
    for (std::uint32_t c = 0; c < map.cols; ++c)
      if (row[c] != 0) ++n, col_used[c] = 1;
    w.pixels += n;
    w.used_rows += n > 0;
    if (n > 0) y = std::max(y, std::fabs(double(MapOffsetY(r, map.rows, range))));
  }
  double x = 0;
  for (std::uint32_t c = 0; c < map.cols; ++c)
    if (col_used[c]) ++w.used_cols, x = std::max(x, std::fabs(double(MapOffsetX(c, map.cols, range))));
  if (!(uv_max > 0) && map.cols > 1 && map.rows > 1) {  // unknown: up to the Nyquist limit
    const double sx = std::fabs(range.xmax - range.xmin) / (map.cols - 1.0) * kMapOffsetK;
    const double sy = std::fabs(range.ymax - range.ymin) / (map.rows - 1.0) * kMapOffsetK;
    uv_max = std::numbers::pi / std::max(std::min(sx, sy), 1e-300);
  }
  w.max_phase = (x + y) * std::max(uv_max, 0.0);
  return w;
}

AMapCostEstimate EstimateMapEngines(const AMapWorkload& w) {
  AMapCostEstimate e;
  const double threads = std::max(w.threads, 1);
  const double points = double(w.points);
  const double tiles = std::ceil(double(w.pixels) / double(kTilePixels));
  e.separable_s =
      points * (double(w.pixels) * kSeparableTerm + (double(w.used_rows) + tiles * double(w.used_cols)) * kSeparablePhasor) /
      threads;
  e.separable_error = kSeparableErrorFloor + kSeparableErrorPerRadian * w.max_phase;
  const ANufftKernel k = ANufftKernel::ForAccuracy(w.accuracy);
  e.nufft_bytes = AMapNufft::PlannedBytes(w.rows, w.cols, w.accuracy);
  const double cells = double(e.nufft_bytes) / (k.single ? 8.0 : 16.0);
  e.nufft_s = (cells * (k.single ? kNufftCellSingle : kNufftCellDouble) +
               points * (kNufftPoint + double(k.width) * k.width * kNufftTap)) /
              threads;
  const std::string figures = "separable " + Seconds(e.separable_s) + " at about " + Sci(e.separable_error) +
                              ", nufft " + Seconds(e.nufft_s) + " at " + Sci(w.accuracy) + " (" +
                              std::to_string(w.pixels) + " pixels, " + std::to_string(w.points) + " UV points)";
  if (w.pixels == 0) {
    e.choice = MapEngine::Fast;
    e.reason = "the map has no non-zero pixel";
  } else if (e.nufft_bytes > kNufftAutoBytes) {
    e.choice = MapEngine::Fast;
    e.reason = "the NUFFT grid would need " + std::to_string(e.nufft_bytes >> 20) + " MiB; " + figures;
  } else if (e.separable_error > w.accuracy) {
    e.choice = MapEngine::Nufft;
    e.reason = "only the NUFFT reaches the accuracy: " + figures;
  } else if (e.nufft_s < e.separable_s) {
    e.choice = MapEngine::Nufft;
    e.reason = "the NUFFT is cheaper: " + figures;
  } else {
    e.choice = MapEngine::Fast;
    e.reason = "the separable sum is cheaper: " + figures;
  }
  return e;
}

int AMapEvaluator::Prepare(const AMatrix<float>& map, const TMinMax& range, std::int64_t points, double uv_max,
                           const AMapSumOptions& options, std::string* error) {
  const AMapWorkload work = DescribeMapWork(map, range, points, uv_max, options.accuracy);
  estimate_ = EstimateMapEngines(work);
  pixels_ = work.pixels;
  engine_ = options.engine == MapEngine::Auto ? estimate_.choice : options.engine;
  if (options.engine != MapEngine::Auto) estimate_.reason = std::string("chosen by the caller");
  switch (engine_) {
    case MapEngine::Reference: comps_.FromMap(map, range); break;
    case MapEngine::Fast: sum_.Build(map, range); break;
    default:
      if (nufft_.Build(map, range, options.accuracy) < 0) {
        if (error)
          *error = "cannot allocate the NUFFT grid of the map (" + std::to_string(estimate_.nufft_bytes >> 20) +
                   " MiB); use --engine separable";
        return 0;
      }
  }
  return 1;
}

void AMapEvaluator::Eval(const double* u, const double* v, std::size_t n, double* re, double* im) const {
  switch (engine_) {
    case MapEngine::Fast: return sum_.Sum(u, v, n, re, im);
    case MapEngine::Nufft: return nufft_.Sum(u, v, n, re, im);
    default:
      for (std::size_t i = 0; i < n; ++i) {
        const std::complex<float> s = comps_.VfromUV(u[i], v[i]);
        re[i] = s.real();
        im[i] = s.imag();
      }
  }
}

void AMapEvaluator::Report(AMapEngineReport& report, double accuracy) const {
  report.engine = engine_;
  report.reason = estimate_.reason;
  report.accuracy = accuracy;
  report.pixels = pixels_;
  report.separable_s = estimate_.separable_s;
  report.nufft_s = estimate_.nufft_s;
  report.separable_error = estimate_.separable_error;
  if (engine_ == MapEngine::Nufft) {
    report.nufft_width = nufft_.Setup().width;
    report.nufft_rows = nufft_.FineRows();
    report.nufft_cols = nufft_.FineCols();
    report.nufft_single = nufft_.Setup().single;
  }
  ++(engine_ == MapEngine::Reference ? report.maps_reference
     : engine_ == MapEngine::Nufft   ? report.maps_nufft
                                      : report.maps_separable);
}
