// The non-uniform FFT's inner loops with AVX2 and FMA. This file alone (with map_kernel_avx2.cpp)
// is compiled with -mavx2 -mfma; it runs only after MapKernelAvx2Supported() said yes. Intrinsics,
// builtins and plain loops only: no library templates or inline library functions, so no AVX2
// code can be merged into functions shared with the rest of the program.
//
// Double grid: one vector holds 2 complex cells, a row of w taps takes ceil(w / 2) multiply-adds.
// Float grid: one vector holds 4 complex cells, ceil(w / 4) multiply-adds per row.

#include <immintrin.h>

#include <cstdint>

#include "model/map_nufft_kernel.h"

namespace {

constexpr int kStride = 16;

inline std::uint32_t WrapRow(std::int64_t row, std::uint32_t rows) {
  if (row < 0) row += rows;
  else if (row >= std::int64_t(rows)) row -= rows;
  return std::uint32_t(row);
}

// Tap values of the point at g in double, each duplicated for the real and imaginary parts
// (k2[2 j] = k2[2 j + 1] = tap j); k holds them once. Returns the first cell.
inline std::int64_t TapsD(const ANufftTapTable& tt, double g, double* k, double* k2) {
  const double half = 0.5 * tt.width;
  const double start = __builtin_ceil(g - half);
  const __m256d t = _mm256_set1_pd(2 * (start - (g - half)) - 1);
  const int vectors = (tt.width + 3) / 4;
  for (int v = 0; v < vectors; ++v) {
    __m256d acc = _mm256_loadu_pd(tt.coef + 4 * v);
    for (int d = 1; d <= tt.degree; ++d) acc = _mm256_fmadd_pd(acc, t, _mm256_loadu_pd(tt.coef + d * kStride + 4 * v));
    _mm256_store_pd(k + 4 * v, acc);
    _mm256_store_pd(k2 + 8 * v, _mm256_permute4x64_pd(acc, 0x50));      // k0 k0 k1 k1
    _mm256_store_pd(k2 + 8 * v + 4, _mm256_permute4x64_pd(acc, 0xFA));  // k2 k2 k3 k3
  }
  return std::int64_t(start);
}

inline std::int64_t TapsF(const ANufftTapTable& tt, double g, float* k, float* k2) {
  const double half = 0.5 * tt.width;
  const double start = __builtin_ceil(g - half);
  const __m256 t = _mm256_set1_ps(float(2 * (start - (g - half)) - 1));
  const int vectors = (tt.width + 7) / 8;
  const __m256i lo = _mm256_setr_epi32(0, 0, 1, 1, 2, 2, 3, 3), hi = _mm256_setr_epi32(4, 4, 5, 5, 6, 6, 7, 7);
  for (int v = 0; v < vectors; ++v) {
    __m256 acc = _mm256_loadu_ps(tt.coef_f + 8 * v);
    for (int d = 1; d <= tt.degree; ++d) acc = _mm256_fmadd_ps(acc, t, _mm256_loadu_ps(tt.coef_f + d * kStride + 8 * v));
    _mm256_store_ps(k + 8 * v, acc);
    _mm256_store_ps(k2 + 16 * v, _mm256_permutevar8x32_ps(acc, lo));
    _mm256_store_ps(k2 + 16 * v + 8, _mm256_permutevar8x32_ps(acc, hi));
  }
  return std::int64_t(start);
}

// Multiplies (re, im) of 4 points by exp(i phase): the phase reduced by multiples of pi/2 in double
// (pi/2 in three parts, FMA), sine and cosine from Taylor polynomials to r^15 and r^16 on
// [-pi/4, pi/4], the quadrant from the low bits of the rounded multiple.
inline void Rotate4(const double* phase, double* re, double* im) {
  const __m256d x = _mm256_loadu_pd(phase);
  const __m256d round = _mm256_set1_pd(6755399441055744.0);  // 1.5 * 2^52
  const __m256d t = _mm256_fmadd_pd(x, _mm256_set1_pd(0.6366197723675814), round);
  const __m256d nd = _mm256_sub_pd(t, round);
  __m256d r = _mm256_fnmadd_pd(nd, _mm256_set1_pd(1.5707963267948966), x);
  r = _mm256_fnmadd_pd(nd, _mm256_set1_pd(6.123233995736766e-17), r);
  r = _mm256_fnmadd_pd(nd, _mm256_set1_pd(-1.4973849048591698e-33), r);
  const __m256d z = _mm256_mul_pd(r, r);
  __m256d ps = _mm256_set1_pd(-1.0 / 1307674368000.0);
  ps = _mm256_fmadd_pd(ps, z, _mm256_set1_pd(1.0 / 6227020800.0));
  ps = _mm256_fmadd_pd(ps, z, _mm256_set1_pd(-1.0 / 39916800.0));
  ps = _mm256_fmadd_pd(ps, z, _mm256_set1_pd(1.0 / 362880.0));
  ps = _mm256_fmadd_pd(ps, z, _mm256_set1_pd(-1.0 / 5040.0));
  ps = _mm256_fmadd_pd(ps, z, _mm256_set1_pd(1.0 / 120.0));
  ps = _mm256_fmadd_pd(ps, z, _mm256_set1_pd(-1.0 / 6.0));
  const __m256d sr = _mm256_fmadd_pd(_mm256_mul_pd(r, z), ps, r);
  __m256d pc = _mm256_set1_pd(1.0 / 20922789888000.0);
  pc = _mm256_fmadd_pd(pc, z, _mm256_set1_pd(-1.0 / 87178291200.0));
  pc = _mm256_fmadd_pd(pc, z, _mm256_set1_pd(1.0 / 479001600.0));
  pc = _mm256_fmadd_pd(pc, z, _mm256_set1_pd(-1.0 / 3628800.0));
  pc = _mm256_fmadd_pd(pc, z, _mm256_set1_pd(1.0 / 40320.0));
  pc = _mm256_fmadd_pd(pc, z, _mm256_set1_pd(-1.0 / 720.0));
  pc = _mm256_fmadd_pd(pc, z, _mm256_set1_pd(1.0 / 24.0));
  pc = _mm256_fmadd_pd(pc, z, _mm256_set1_pd(-0.5));
  const __m256d cr = _mm256_fmadd_pd(z, pc, _mm256_set1_pd(1.0));
  // Quadrant q = n mod 4 from the low bits of t: odd swaps sine and cosine, the signs follow
  // q & 2 (sine) and (q + 1) & 2 (cosine).
  const __m256i q = _mm256_castpd_si256(t);
  const __m256i one = _mm256_set1_epi64x(1), two = _mm256_set1_epi64x(2);
  const __m256d swap = _mm256_castsi256_pd(_mm256_cmpeq_epi64(_mm256_and_si256(q, one), one));
  const __m256d sign_s = _mm256_castsi256_pd(_mm256_slli_epi64(_mm256_and_si256(q, two), 62));
  const __m256d sign_c = _mm256_castsi256_pd(_mm256_slli_epi64(_mm256_and_si256(_mm256_add_epi64(q, one), two), 62));
  const __m256d s = _mm256_xor_pd(_mm256_blendv_pd(sr, cr, swap), sign_s);
  const __m256d c = _mm256_xor_pd(_mm256_blendv_pd(cr, sr, swap), sign_c);
  const __m256d a = _mm256_loadu_pd(re), b = _mm256_loadu_pd(im);
  _mm256_storeu_pd(re, _mm256_fmsub_pd(a, c, _mm256_mul_pd(b, s)));
  _mm256_storeu_pd(im, _mm256_fmadd_pd(a, s, _mm256_mul_pd(b, c)));
}

// The same for the last 1 to 3 points of a chunk, through a padded copy.
inline void RotateTail(const double* phase, std::size_t n, double* re, double* im) {
  double p[4] = {0, 0, 0, 0}, a[4] = {0, 0, 0, 0}, b[4] = {0, 0, 0, 0};
  for (std::size_t i = 0; i < n; ++i) p[i] = phase[i], a[i] = re[i], b[i] = im[i];
  Rotate4(p, a, b);
  for (std::size_t i = 0; i < n; ++i) re[i] = a[i], im[i] = b[i];
}

void InterpD(const ANufftGridRef& grid, const ANufftTapTable& tt, const double* gx, const double* gy, std::size_t n,
             double* re, double* im) {
  const double* base = static_cast<const double*>(grid.data);
  const int w = tt.width, vectors = (w + 1) / 2;
  alignas(64) double kx[kStride], kx2[2 * kStride], ky[kStride], ky2[2 * kStride];
  for (std::size_t p = 0; p < n; ++p) {
    const std::int64_t mx = TapsD(tt, gx[p], kx, kx2) + grid.pad;
    const std::int64_t my = TapsD(tt, gy[p], ky, ky2);
    __m256d total = _mm256_setzero_pd();
    for (int i = 0; i < w; ++i) {
      const double* cell = base + 2 * (std::size_t(WrapRow(my + i, grid.rows)) * grid.stride + std::size_t(mx));
      __m256d acc = _mm256_mul_pd(_mm256_loadu_pd(cell), _mm256_load_pd(kx2));
      for (int v = 1; v < vectors; ++v)
        acc = _mm256_fmadd_pd(_mm256_loadu_pd(cell + 4 * v), _mm256_load_pd(kx2 + 4 * v), acc);
      total = _mm256_fmadd_pd(_mm256_set1_pd(ky[i]), acc, total);
    }
    const __m128d sum = _mm_add_pd(_mm256_castpd256_pd128(total), _mm256_extractf128_pd(total, 1));
    re[p] = _mm_cvtsd_f64(sum);
    im[p] = _mm_cvtsd_f64(_mm_unpackhi_pd(sum, sum));
  }
}

void InterpF(const ANufftGridRef& grid, const ANufftTapTable& tt, const double* gx, const double* gy, std::size_t n,
             double* re, double* im) {
  const float* base = static_cast<const float*>(grid.data);
  const int w = tt.width, vectors = (w + 3) / 4;
  alignas(64) float kx[kStride], kx2[2 * kStride], ky[kStride], ky2[2 * kStride];
  for (std::size_t p = 0; p < n; ++p) {
    const std::int64_t mx = TapsF(tt, gx[p], kx, kx2) + grid.pad;
    const std::int64_t my = TapsF(tt, gy[p], ky, ky2);
    __m256 total = _mm256_setzero_ps();
    for (int i = 0; i < w; ++i) {
      const float* cell = base + 2 * (std::size_t(WrapRow(my + i, grid.rows)) * grid.stride + std::size_t(mx));
      __m256 acc = _mm256_mul_ps(_mm256_loadu_ps(cell), _mm256_load_ps(kx2));
      for (int v = 1; v < vectors; ++v)
        acc = _mm256_fmadd_ps(_mm256_loadu_ps(cell + 8 * v), _mm256_load_ps(kx2 + 8 * v), acc);
      total = _mm256_fmadd_ps(_mm256_set1_ps(ky[i]), acc, total);
    }
    // Lanes re0 im0 re1 im1 | re2 im2 re3 im3: add the halves, then the two pairs.
    __m128 sum = _mm_add_ps(_mm256_castps256_ps128(total), _mm256_extractf128_ps(total, 1));
    sum = _mm_add_ps(sum, _mm_movehl_ps(sum, sum));
    re[p] = double(_mm_cvtss_f32(sum));
    im[p] = double(_mm_cvtss_f32(_mm_shuffle_ps(sum, sum, 1)));
  }
}

void SpreadD(const ANufftGridRef& grid, const ANufftTapTable& tt, const double* gx, const double* gy, const double* re,
             const double* im, const std::uint32_t* order, std::size_t n, std::uint32_t row_lo, std::uint32_t row_hi) {
  double* base = static_cast<double*>(grid.data);
  const int w = tt.width, vectors = (w + 1) / 2;
  alignas(64) double kx[kStride], kx2[2 * kStride], ky[kStride], ky2[2 * kStride];
  for (std::size_t k = 0; k < n; ++k) {
    const std::uint32_t p = order[k];
    const std::int64_t mx = TapsD(tt, gx[p], kx, kx2) + grid.pad;
    const std::int64_t my = TapsD(tt, gy[p], ky, ky2);
    const __m256d value = _mm256_setr_pd(re[p], im[p], re[p], im[p]);
    for (int i = 0; i < w; ++i) {
      const std::uint32_t row = WrapRow(my + i, grid.rows);
      if (row < row_lo || row >= row_hi) continue;
      const __m256d vy = _mm256_mul_pd(value, _mm256_set1_pd(ky[i]));
      double* cell = base + 2 * (std::size_t(row) * grid.stride + std::size_t(mx));
      for (int v = 0; v < vectors; ++v)
        _mm256_storeu_pd(cell + 4 * v, _mm256_fmadd_pd(vy, _mm256_load_pd(kx2 + 4 * v), _mm256_loadu_pd(cell + 4 * v)));
    }
  }
}

void SpreadF(const ANufftGridRef& grid, const ANufftTapTable& tt, const double* gx, const double* gy, const double* re,
             const double* im, const std::uint32_t* order, std::size_t n, std::uint32_t row_lo, std::uint32_t row_hi) {
  float* base = static_cast<float*>(grid.data);
  const int w = tt.width, vectors = (w + 3) / 4;
  alignas(64) float kx[kStride], kx2[2 * kStride], ky[kStride], ky2[2 * kStride];
  for (std::size_t k = 0; k < n; ++k) {
    const std::uint32_t p = order[k];
    const std::int64_t mx = TapsF(tt, gx[p], kx, kx2) + grid.pad;
    const std::int64_t my = TapsF(tt, gy[p], ky, ky2);
    const float r = float(re[p]), q = float(im[p]);
    const __m256 value = _mm256_setr_ps(r, q, r, q, r, q, r, q);
    for (int i = 0; i < w; ++i) {
      const std::uint32_t row = WrapRow(my + i, grid.rows);
      if (row < row_lo || row >= row_hi) continue;
      const __m256 vy = _mm256_mul_ps(value, _mm256_set1_ps(ky[i]));
      float* cell = base + 2 * (std::size_t(row) * grid.stride + std::size_t(mx));
      for (int v = 0; v < vectors; ++v)
        _mm256_storeu_ps(cell + 8 * v, _mm256_fmadd_ps(vy, _mm256_load_ps(kx2 + 8 * v), _mm256_loadu_ps(cell + 8 * v)));
    }
  }
}

}  // namespace

void NufftInterpAvx2(const ANufftGridRef& grid, const ANufftTapTable& taps, const double* gx, const double* gy,
                     const double* phase, std::size_t n, double* re, double* im) {
  if (grid.single) InterpF(grid, taps, gx, gy, n, re, im);
  else InterpD(grid, taps, gx, gy, n, re, im);
  if (!phase) return;
  std::size_t p = 0;
  for (; p + 4 <= n; p += 4) Rotate4(phase + p, re + p, im + p);
  if (p < n) RotateTail(phase + p, n - p, re + p, im + p);
}

void NufftSpreadAvx2(const ANufftGridRef& grid, const ANufftTapTable& taps, const double* gx, const double* gy,
                     const double* re, const double* im, const std::uint32_t* order, std::size_t n,
                     std::uint32_t row_lo, std::uint32_t row_hi) {
  if (grid.single) SpreadF(grid, taps, gx, gy, re, im, order, n, row_lo, row_hi);
  else SpreadD(grid, taps, gx, gy, re, im, order, n, row_lo, row_hi);
}
