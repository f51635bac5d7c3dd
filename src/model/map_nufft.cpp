#include "model/map_nufft.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "model/map_comps.h"
#include "model/map_nufft_kernel.h"

namespace {

// UV points handed to the kernel at once.
constexpr std::size_t kChunk = 256;

// Grid tiles of 16 x 16 cells for ordering the points.
constexpr std::uint32_t kTileCells = 16;

std::uint32_t WrapIndex(std::int64_t k, std::uint32_t n) {
  const std::int64_t m = k % std::int64_t(n);
  return std::uint32_t(m < 0 ? m + n : m);
}

}  // namespace

std::vector<std::uint32_t> NufftTileOrder(const double* gx, const double* gy, std::size_t n, std::uint32_t rows,
                                          std::uint32_t cols) {
  const std::uint32_t tiles_x = (cols + kTileCells - 1) / kTileCells, tiles_y = (rows + kTileCells - 1) / kTileCells;
  const std::size_t tiles = std::size_t(tiles_x) * tiles_y;
  std::vector<std::uint32_t> tile(n), start(tiles + 1, 0), order(n);
  for (std::size_t i = 0; i < n; ++i) {
    const std::uint32_t tx = std::min(std::uint32_t(gx[i]) / kTileCells, tiles_x - 1);
    const std::uint32_t ty = std::min(std::uint32_t(gy[i]) / kTileCells, tiles_y - 1);
    tile[i] = ty * tiles_x + tx;
    ++start[tile[i] + 1];
  }
  for (std::size_t t = 0; t < tiles; ++t) start[t + 1] += start[t];
  for (std::size_t i = 0; i < n; ++i) order[start[tile[i]]++] = std::uint32_t(i);
  return order;
}

void AMapNufft::SetKernel(MapKernel kernel) {
  active_ = kernel == MapKernel::Generic || !MapKernelAvx2Supported() ? MapKernel::Generic : MapKernel::Avx2;
}

std::size_t AMapNufft::PlannedBytes(std::uint32_t rows, std::uint32_t cols, double accuracy) {
  const ANufftKernel k = ANufftKernel::ForAccuracy(accuracy);
  const std::uint64_t fr = NufftFineSize(std::max<std::uint64_t>(2ull * rows, 2ull * std::uint64_t(k.width)));
  const std::uint64_t fc = NufftFineSize(std::max<std::uint64_t>(2ull * cols, 2ull * std::uint64_t(k.width)));
  return std::size_t(fr * (fc + 2 * 16 + 8) * (k.single ? 8 : 16));
}

std::int64_t AMapNufft::Build(const AMatrix<float>& map, const TMinMax& range, double accuracy) {
  grid_.Release();
  pixels_ = 0;
  for (std::uint64_t i = 0; i < map.Elements(); ++i) pixels_ += map.data[i] != 0;
  kernel_ = ANufftKernel::ForAccuracy(accuracy);
  if (pixels_ == 0) return 0;
  // Pixel positions as phase per wavelength (2 pi times radians), in double.
  const double step_x = (range.xmax - range.xmin) / (map.cols - 1.0) * kMapOffsetK;
  const double step_y = (range.ymax - range.ymin) / (map.rows - 1.0) * kMapOffsetK;
  ax_.Init(map.cols, range.xmin * kMapOffsetK, step_x, kernel_);
  ay_.Init(map.rows, range.ymin * kMapOffsetK, step_y, kernel_);
  if (!grid_.Allocate(ay_.fine, ax_.fine, kernel_.single, kernel_.width)) return -1;
  // The corrected pixels at their modes: pixel (r, c) is mode (r - centre, c - centre), stored at
  // that index modulo the fine size.
  const std::vector<std::uint32_t> rows = NufftModeRows(ay_);
  std::vector<std::uint32_t> cols(map.cols);
  for (std::uint32_t c = 0; c < map.cols; ++c) cols[c] = WrapIndex(std::int64_t(c) - ax_.centre, ax_.fine);
  tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, map.rows, 16), [&](const tbb::blocked_range<std::uint32_t>& r) {
    for (std::uint32_t row = r.begin(); row != r.end(); ++row) {
      const float* src = map.Row(row);
      const double cy = ay_.correction[row];
      for (std::uint32_t c = 0; c < map.cols; ++c) {
        if (src[c] == 0) continue;
        const double value = double(src[c]) * cy * ax_.correction[c];
        if (grid_.single()) grid_.CellF(rows[row], cols[c])[0] = float(value);
        else grid_.CellD(rows[row], cols[c])[0] = value;
      }
    }
  });
  grid_.FftRows(rows, +1);
  grid_.FftColumns(+1);
  grid_.WrapMargins();
  return pixels_;
}

void AMapNufft::Sum(const double* u, const double* v, std::size_t n, double* re, double* im) const {
  if (n == 0) return;
  if (pixels_ == 0 || !grid_.Data()) {
    std::fill(re, re + n, 0.0);
    std::fill(im, im + n, 0.0);
    return;
  }
  ANufftGridRef ref;
  ref.data = const_cast<void*>(grid_.Data());
  ref.stride = grid_.stride();
  ref.pad = grid_.pad();
  ref.rows = grid_.rows();
  ref.cols = grid_.cols();
  ref.single = grid_.single();
  ANufftTapTable taps;
  taps.width = kernel_.width;
  taps.degree = kernel_.degree;
  taps.coef = kernel_.coef.data();
  taps.coef_f = kernel_.coef_f.data();
  const NufftInterpFn interp = active_ == MapKernel::Avx2 ? NufftInterpAvx2 : NufftInterpGeneric;
  const bool rotate = ax_.origin != 0 || ay_.origin != 0;

  // Grid coordinates of every point, then the points in order of the grid tile they fall in, so
  // that consecutive points read the same cells.
  std::vector<double> gx(n), gy(n);
  tbb::parallel_for(tbb::blocked_range<std::size_t>(0, n, 4096), [&](const tbb::blocked_range<std::size_t>& r) {
    for (std::size_t i = r.begin(); i != r.end(); ++i) {
      gx[i] = ax_.Coordinate(u[i]);
      gy[i] = ay_.Coordinate(v[i]);
    }
  });
  const std::vector<std::uint32_t> order = NufftTileOrder(gx.data(), gy.data(), n, ref.rows, ref.cols);

  const std::size_t chunks = (n + kChunk - 1) / kChunk;
  const double ox = ax_.origin, oy = ay_.origin;
  tbb::parallel_for(tbb::blocked_range<std::size_t>(0, chunks, 4), [&](const tbb::blocked_range<std::size_t>& r) {
    double cx[kChunk], cy[kChunk], ph[kChunk], cre[kChunk], cim[kChunk];
    for (std::size_t chunk = r.begin(); chunk != r.end(); ++chunk) {
      const std::size_t first = chunk * kChunk, count = std::min(kChunk, n - first);
      const std::uint32_t* idx = order.data() + first;
      for (std::size_t k = 0; k < count; ++k) {
        cx[k] = gx[idx[k]];
        cy[k] = gy[idx[k]];
        // The phase of the centre pixel, which the modes are counted from.
        ph[k] = ox * u[idx[k]] + oy * v[idx[k]];
      }
      interp(ref, taps, cx, cy, rotate ? ph : nullptr, count, cre, cim);
      for (std::size_t k = 0; k < count; ++k) {
        const std::uint32_t i = idx[k];
        const bool finite = std::isfinite(u[i]) && std::isfinite(v[i]);
        re[i] = finite ? cre[k] : std::numeric_limits<double>::quiet_NaN();
        im[i] = finite ? cim[k] : std::numeric_limits<double>::quiet_NaN();
      }
    }
  });
}
