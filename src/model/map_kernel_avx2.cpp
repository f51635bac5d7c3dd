// The fast map-sum kernel with AVX2 and FMA. This file alone is compiled with -mavx2 -mfma; it is
// called only after MapKernelAvx2Supported() said yes. It uses intrinsics and plain loops only
// (no library templates), so no AVX2 code can leak into functions shared with the rest.

#include <immintrin.h>

#include <cstdint>

#include "model/map_kernel.h"

namespace {

struct SinCos8 {
  __m256 s, c;
};

// Horner step in float: p * z + k.
inline __m256 Step(__m256 p, __m256 z, float k) { return _mm256_fmadd_ps(p, z, _mm256_set1_ps(k)); }

// Reduces 4 phases by multiples of pi/2 in double: x = n pi/2 + r, |r| <= pi/4. n is rounded by
// adding 1.5 * 2^52; r keeps double accuracy (pi/2 in two parts, the product exact in the FMA).
inline void Reduce(__m256d x, __m128& r, __m128i& n) {
  const __m256d round = _mm256_set1_pd(6755399441055744.0);
  const __m256d nd = _mm256_sub_pd(_mm256_fmadd_pd(x, _mm256_set1_pd(0.6366197723675814), round), round);
  __m256d rd = _mm256_fnmadd_pd(nd, _mm256_set1_pd(1.5707963267948966), x);
  rd = _mm256_fnmadd_pd(nd, _mm256_set1_pd(6.123233995736766e-17), rd);
  r = _mm256_cvtpd_ps(rd);
  n = _mm256_cvtpd_epi32(nd);
}

// sin and cos of 8 phases (two vectors of 4 doubles) to float accuracy: reduction in double, then
// the Taylor polynomials to r^9 and r^10 in float (truncation below 2e-9 for |r| <= pi/4).
inline SinCos8 SinCos(__m256d x_lo, __m256d x_hi) {
  __m128 r_lo, r_hi;
  __m128i n_lo, n_hi;
  Reduce(x_lo, r_lo, n_lo);
  Reduce(x_hi, r_hi, n_hi);
  const __m256 r = _mm256_set_m128(r_hi, r_lo);
  const __m256i q = _mm256_set_m128i(n_hi, n_lo);
  const __m256 z = _mm256_mul_ps(r, r);
  __m256 ps = _mm256_set1_ps(1.0f / 362880.0f);
  ps = Step(ps, z, -1.0f / 5040.0f);
  ps = Step(ps, z, 1.0f / 120.0f);
  ps = Step(ps, z, -1.0f / 6.0f);
  const __m256 sr = _mm256_fmadd_ps(_mm256_mul_ps(r, z), ps, r);
  __m256 pc = _mm256_set1_ps(-1.0f / 3628800.0f);
  pc = Step(pc, z, 1.0f / 40320.0f);
  pc = Step(pc, z, -1.0f / 720.0f);
  pc = Step(pc, z, 1.0f / 24.0f);
  pc = Step(pc, z, -0.5f);
  const __m256 cr = _mm256_fmadd_ps(z, pc, _mm256_set1_ps(1.0f));
  // Quadrant n mod 4: odd swaps sine and cosine; the signs follow n & 2 and (n + 1) & 2.
  const __m256i one = _mm256_set1_epi32(1), two = _mm256_set1_epi32(2);
  const __m256 swap = _mm256_castsi256_ps(_mm256_cmpeq_epi32(_mm256_and_si256(q, one), one));
  const __m256 sign_s = _mm256_castsi256_ps(_mm256_slli_epi32(_mm256_and_si256(q, two), 30));
  const __m256 sign_c = _mm256_castsi256_ps(_mm256_slli_epi32(_mm256_and_si256(_mm256_add_epi32(q, one), two), 30));
  return {_mm256_xor_ps(_mm256_blendv_ps(sr, cr, swap), sign_s), _mm256_xor_ps(_mm256_blendv_ps(cr, sr, swap), sign_c)};
}

// Adds one pixel to the four accumulators of 16 lanes.
inline void Accumulate(const AMapPixel& px, const float* scratch, __m256& c0, __m256& c1, __m256& s0, __m256& s1) {
  const __m256 f = _mm256_set1_ps(px.flux);
  const float* p = scratch + std::size_t(px.col) * 2 * kMapLanes;
  c0 = _mm256_fmadd_ps(f, _mm256_load_ps(p), c0);
  c1 = _mm256_fmadd_ps(f, _mm256_load_ps(p + 8), c1);
  s0 = _mm256_fmadd_ps(f, _mm256_load_ps(p + 16), s0);
  s1 = _mm256_fmadd_ps(f, _mm256_load_ps(p + 24), s1);
}

}  // namespace

void MapTileKernelAvx2(const AMapTileView& tile, const double* u, const double* v, double* re, double* im,
                       float* scratch) {
  const __m256d u0 = _mm256_loadu_pd(u), u1 = _mm256_loadu_pd(u + 4), u2 = _mm256_loadu_pd(u + 8),
                u3 = _mm256_loadu_pd(u + 12);
  for (std::uint32_t k = 0; k < tile.n_cols; ++k) {
    const __m256d x = _mm256_set1_pd(double(tile.col_x[k]));
    float* cs = scratch + std::size_t(k) * 2 * kMapLanes;
    const SinCos8 a = SinCos(_mm256_mul_pd(x, u0), _mm256_mul_pd(x, u1));
    const SinCos8 b = SinCos(_mm256_mul_pd(x, u2), _mm256_mul_pd(x, u3));
    _mm256_store_ps(cs, a.c);
    _mm256_store_ps(cs + 8, b.c);
    _mm256_store_ps(cs + 16, a.s);
    _mm256_store_ps(cs + 24, b.s);
  }
  alignas(32) double tre[kMapLanes] = {}, tim[kMapLanes] = {};
  alignas(32) double rc[kMapLanes], rs[kMapLanes];
  for (std::uint32_t j = 0; j < tile.n_rows; ++j) {
    const __m256d y = _mm256_set1_pd(double(tile.row_y[j]));
    for (int q = 0; q < kMapLanes; q += 8) {
      const SinCos8 sc = SinCos(_mm256_mul_pd(y, _mm256_loadu_pd(v + q)), _mm256_mul_pd(y, _mm256_loadu_pd(v + q + 4)));
      _mm256_store_pd(rc + q, _mm256_cvtps_pd(_mm256_castps256_ps128(sc.c)));
      _mm256_store_pd(rc + q + 4, _mm256_cvtps_pd(_mm256_extractf128_ps(sc.c, 1)));
      _mm256_store_pd(rs + q, _mm256_cvtps_pd(_mm256_castps256_ps128(sc.s)));
      _mm256_store_pd(rs + q + 4, _mm256_cvtps_pd(_mm256_extractf128_ps(sc.s, 1)));
    }
    const AMapPixel* px = tile.pixels + tile.row_start[j];
    const AMapPixel* end = tile.pixels + tile.row_start[j + 1];
    while (px != end) {
      const AMapPixel* stop = end - px > kMapRowChunk ? px + kMapRowChunk : end;
      __m256 ac0 = _mm256_setzero_ps(), ac1 = ac0, as0 = ac0, as1 = ac0;
      __m256 bc0 = ac0, bc1 = ac0, bs0 = ac0, bs1 = ac0;
      for (; px + 1 < stop; px += 2) {
        Accumulate(px[0], scratch, ac0, ac1, as0, as1);
        Accumulate(px[1], scratch, bc0, bc1, bs0, bs1);
      }
      if (px != stop) Accumulate(*px++, scratch, ac0, ac1, as0, as1);
      const __m256 sc_lo = _mm256_add_ps(ac0, bc0), sc_hi = _mm256_add_ps(ac1, bc1);
      const __m256 ss_lo = _mm256_add_ps(as0, bs0), ss_hi = _mm256_add_ps(as1, bs1);
      const __m256d sc[4] = {_mm256_cvtps_pd(_mm256_castps256_ps128(sc_lo)), _mm256_cvtps_pd(_mm256_extractf128_ps(sc_lo, 1)),
                             _mm256_cvtps_pd(_mm256_castps256_ps128(sc_hi)), _mm256_cvtps_pd(_mm256_extractf128_ps(sc_hi, 1))};
      const __m256d ss[4] = {_mm256_cvtps_pd(_mm256_castps256_ps128(ss_lo)), _mm256_cvtps_pd(_mm256_extractf128_ps(ss_lo, 1)),
                             _mm256_cvtps_pd(_mm256_castps256_ps128(ss_hi)), _mm256_cvtps_pd(_mm256_extractf128_ps(ss_hi, 1))};
      for (int q = 0; q < 4; ++q) {
        const __m256d c = _mm256_load_pd(rc + 4 * q), s = _mm256_load_pd(rs + 4 * q);
        __m256d tr = _mm256_load_pd(tre + 4 * q), ti = _mm256_load_pd(tim + 4 * q);
        tr = _mm256_fnmadd_pd(ss[q], s, _mm256_fmadd_pd(sc[q], c, tr));
        ti = _mm256_fmadd_pd(ss[q], c, _mm256_fmadd_pd(sc[q], s, ti));
        _mm256_store_pd(tre + 4 * q, tr);
        _mm256_store_pd(tim + 4 * q, ti);
      }
    }
  }
  for (int p = 0; p < kMapLanes; ++p) {
    re[p] = tre[p];
    im[p] = tim[p];
  }
}
