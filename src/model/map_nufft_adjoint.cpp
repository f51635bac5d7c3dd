#include "model/map_nufft_adjoint.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>

#include "model/map_nufft_kernel.h"

namespace {

// Grid rows per spreading strip (at least the widest kernel).
constexpr std::uint32_t kStripRows = 32;

std::uint32_t WrapIndex(std::int64_t k, std::uint32_t n) {
  const std::int64_t m = k % std::int64_t(n);
  return std::uint32_t(m < 0 ? m + n : m);
}

}  // namespace

void AMapNufftAdjoint::SetKernel(MapKernel kernel) {
  active_ = kernel == MapKernel::Generic || !MapKernelAvx2Supported() ? MapKernel::Generic : MapKernel::Avx2;
}

int AMapNufftAdjoint::Init(std::uint32_t rows, std::uint32_t cols, double first_x, double step_x, double first_y,
                           double step_y, double accuracy) {
  kernel_ = ANufftKernel::ForAccuracy(accuracy);
  ax_.Init(cols, first_x, step_x, kernel_);
  ay_.Init(rows, first_y, step_y, kernel_);
  return grid_.Allocate(ay_.fine, ax_.fine, kernel_.single, kernel_.width);
}

void AMapNufftAdjoint::Add(const double* u, const double* v, const double* re, const double* im, std::size_t n) {
  if (n == 0 || !grid_.Data()) return;
  const int w = kernel_.width;
  const std::uint32_t rows = grid_.rows();
  // Coordinates, and the values turned by the phase of the centre pixel the modes count from.
  std::vector<double> gx(n), gy(n), vr(n), vi(n);
  std::vector<char> ok(n);
  const double ox = ax_.origin, oy = ay_.origin;
  tbb::parallel_for(tbb::blocked_range<std::size_t>(0, n, 4096), [&](const tbb::blocked_range<std::size_t>& r) {
    for (std::size_t i = r.begin(); i != r.end(); ++i) {
      ok[i] = std::isfinite(u[i]) && std::isfinite(v[i]) && std::isfinite(re[i]) && std::isfinite(im[i]);
      gx[i] = ax_.Coordinate(u[i]);
      gy[i] = ay_.Coordinate(v[i]);
      vr[i] = re[i];
      vi[i] = im[i];
      if (ox != 0 || oy != 0) {
        const double ph = -(ox * u[i] + oy * v[i]), c = std::cos(ph), s = std::sin(ph);
        vr[i] = re[i] * c - im[i] * s;
        vi[i] = re[i] * s + im[i] * c;
      }
    }
  });
  // Each point goes to the strips its w rows fall in (rows wrap), in point order.
  const std::uint32_t strips = (rows + kStripRows - 1) / kStripRows;
  std::vector<std::uint32_t> start(std::size_t(strips) + 1, 0), order;
  auto for_strips = [&](std::size_t i, auto&& visit) {
    const std::int64_t first = std::int64_t(std::ceil(gy[i] - 0.5 * w));
    std::uint32_t last = strips;
    for (int k = 0; k < w; ++k) {
      const std::uint32_t s = WrapIndex(first + k, rows) / kStripRows;
      if (s != last) visit(s), last = s;
    }
  };
  for (std::size_t i = 0; i < n; ++i)
    if (ok[i]) for_strips(i, [&](std::uint32_t s) { ++start[s + 1]; });
  for (std::uint32_t s = 0; s < strips; ++s) start[s + 1] += start[s];
  order.resize(start[strips]);
  std::vector<std::uint32_t> fill(start.begin(), start.end() - 1);
  for (std::size_t i = 0; i < n; ++i)
    if (ok[i]) for_strips(i, [&](std::uint32_t s) { order[fill[s]++] = std::uint32_t(i); });

  ANufftGridRef ref;
  ref.data = grid_.single() ? static_cast<void*>(grid_.CellF(0, -grid_.pad()))
                            : static_cast<void*>(grid_.CellD(0, -grid_.pad()));
  ref.stride = grid_.stride();
  ref.pad = grid_.pad();
  ref.rows = rows;
  ref.cols = grid_.cols();
  ref.single = grid_.single();
  ANufftTapTable taps;
  taps.width = w;
  taps.degree = kernel_.degree;
  taps.coef = kernel_.coef.data();
  taps.coef_f = kernel_.coef_f.data();
  const NufftSpreadFn spread = active_ == MapKernel::Avx2 ? NufftSpreadAvx2 : NufftSpreadGeneric;
  tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, strips), [&](const tbb::blocked_range<std::uint32_t>& r) {
    for (std::uint32_t s = r.begin(); s != r.end(); ++s)
      spread(ref, taps, gx.data(), gy.data(), vr.data(), vi.data(), order.data() + start[s], start[s + 1] - start[s],
             s * kStripRows, std::min(rows, (s + 1) * kStripRows));
  });
}

std::vector<std::complex<double>> AMapNufftAdjoint::Finish() {
  std::vector<std::complex<double>> image(std::size_t(ay_.modes) * ax_.modes);
  if (!grid_.Data()) return image;
  grid_.FoldMargins();
  grid_.FftColumns(-1);
  const std::vector<std::uint32_t> rows = NufftModeRows(ay_);
  grid_.FftRows(rows, -1);
  std::vector<std::uint32_t> cols(ax_.modes);
  for (std::uint32_t c = 0; c < ax_.modes; ++c) cols[c] = WrapIndex(std::int64_t(c) - ax_.centre, ax_.fine);
  tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, ay_.modes, 16), [&](const tbb::blocked_range<std::uint32_t>& r) {
    for (std::uint32_t row = r.begin(); row != r.end(); ++row)
      for (std::uint32_t c = 0; c < ax_.modes; ++c) {
        const double k = ay_.correction[row] * ax_.correction[c];
        std::complex<double> cell;
        if (grid_.single()) {
          const float* p = grid_.CellF(rows[row], cols[c]);
          cell = {double(p[0]), double(p[1])};
        } else {
          const double* p = grid_.CellD(rows[row], cols[c]);
          cell = {p[0], p[1]};
        }
        image[std::size_t(row) * ax_.modes + c] = cell * k;
      }
  });
  grid_.Release();
  return image;
}
