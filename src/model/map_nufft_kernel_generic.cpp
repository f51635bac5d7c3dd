// The non-uniform FFT's inner loops for any x86-64 processor: plain loops over the taps that the
// compiler vectorises. Same algorithm and data layout as map_nufft_kernel_avx2.cpp.

#include <cmath>
#include <cstdint>

#include "model/map_nufft_kernel.h"

namespace {

constexpr int kStride = 16;

// Tap values of the point at g (T: float or double arithmetic); returns the first cell.
template <typename T>
std::int64_t Taps(const ANufftTapTable& tt, const T* coef, double g, T* k) {
  const double half = 0.5 * tt.width;
  const double start = std::ceil(g - half);
  const T t = T(2 * (start - (g - half)) - 1);
  for (int i = 0; i < kStride; ++i) k[i] = coef[i];
  for (int d = 1; d <= tt.degree; ++d)
    for (int i = 0; i < kStride; ++i) k[i] = k[i] * t + coef[d * kStride + i];
  return std::int64_t(start);
}

template <typename T>
const T* Coef(const ANufftTapTable& tt);
template <>
const double* Coef<double>(const ANufftTapTable& tt) {
  return tt.coef;
}
template <>
const float* Coef<float>(const ANufftTapTable& tt) {
  return tt.coef_f;
}

inline std::uint32_t WrapRow(std::int64_t row, std::uint32_t rows) {
  if (row < 0) row += rows;
  else if (row >= std::int64_t(rows)) row -= rows;
  return std::uint32_t(row);
}

template <typename T>
void Interp(const ANufftGridRef& grid, const ANufftTapTable& tt, const double* gx, const double* gy, std::size_t n,
            double* re, double* im) {
  const T* coef = Coef<T>(tt);
  const T* base = static_cast<const T*>(grid.data);
  const int w = tt.width;
  alignas(64) T kx[kStride], ky[kStride];
  for (std::size_t p = 0; p < n; ++p) {
    const std::int64_t mx = Taps<T>(tt, coef, gx[p], kx) + grid.pad;
    const std::int64_t my = Taps<T>(tt, coef, gy[p], ky);
    T sr = 0, si = 0;
    for (int i = 0; i < w; ++i) {
      const T* cell = base + 2 * (std::size_t(WrapRow(my + i, grid.rows)) * grid.stride + std::size_t(mx));
      T rr = 0, ri = 0;
      for (int j = 0; j < w; ++j) {
        rr += kx[j] * cell[2 * j];
        ri += kx[j] * cell[2 * j + 1];
      }
      sr += ky[i] * rr;
      si += ky[i] * ri;
    }
    re[p] = double(sr);
    im[p] = double(si);
  }
}

template <typename T>
void Spread(const ANufftGridRef& grid, const ANufftTapTable& tt, const double* gx, const double* gy, const double* re,
            const double* im, const std::uint32_t* order, std::size_t n, std::uint32_t row_lo, std::uint32_t row_hi) {
  const T* coef = Coef<T>(tt);
  T* base = static_cast<T*>(grid.data);
  const int w = tt.width;
  alignas(64) T kx[kStride], ky[kStride];
  for (std::size_t k = 0; k < n; ++k) {
    const std::uint32_t p = order[k];
    const std::int64_t mx = Taps<T>(tt, coef, gx[p], kx) + grid.pad;
    const std::int64_t my = Taps<T>(tt, coef, gy[p], ky);
    for (int i = 0; i < w; ++i) {
      const std::uint32_t row = WrapRow(my + i, grid.rows);
      if (row < row_lo || row >= row_hi) continue;
      const T vr = T(re[p]) * ky[i], vi = T(im[p]) * ky[i];
      T* cell = base + 2 * (std::size_t(row) * grid.stride + std::size_t(mx));
      for (int j = 0; j < w; ++j) {
        cell[2 * j] += vr * kx[j];
        cell[2 * j + 1] += vi * kx[j];
      }
    }
  }
}

}  // namespace

void NufftInterpGeneric(const ANufftGridRef& grid, const ANufftTapTable& taps, const double* gx, const double* gy,
                        const double* phase, std::size_t n, double* re, double* im) {
  if (grid.single) Interp<float>(grid, taps, gx, gy, n, re, im);
  else Interp<double>(grid, taps, gx, gy, n, re, im);
  if (!phase) return;
  for (std::size_t p = 0; p < n; ++p) {
    const double c = std::cos(phase[p]), s = std::sin(phase[p]), a = re[p], b = im[p];
    re[p] = a * c - b * s;
    im[p] = a * s + b * c;
  }
}

void NufftSpreadGeneric(const ANufftGridRef& grid, const ANufftTapTable& taps, const double* gx, const double* gy,
                        const double* re, const double* im, const std::uint32_t* order, std::size_t n,
                        std::uint32_t row_lo, std::uint32_t row_hi) {
  if (grid.single) Spread<float>(grid, taps, gx, gy, re, im, order, n, row_lo, row_hi);
  else Spread<double>(grid, taps, gx, gy, re, im, order, n, row_lo, row_hi);
}
