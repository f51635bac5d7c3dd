// The fast map-sum kernel for any x86-64 processor: plain loops over the 16 lanes that the
// compiler vectorises with SSE2. Same algorithm and data layout as map_kernel_avx2.cpp.

#include <cstdint>
#include <cstring>

#include "model/map_kernel.h"

namespace {

constexpr double kTwoOverPi = 0.6366197723675814;
constexpr double kPiHalf1 = 1.5707963267948966;      // pi/2 in three parts
constexpr double kPiHalf2 = 6.123233995736766e-17;
constexpr double kPiHalf3 = -1.4973849048591698e-33;
constexpr double kRound = 6755399441055744.0;         // 1.5 * 2^52: adding it rounds to an integer

// sin and cos of x: x = n pi/2 + r, |r| <= pi/4, Taylor polynomials to r^15 and r^16.
inline void SinCos(double x, double& s, double& c) {
  const double t = x * kTwoOverPi + kRound;
  const double n = t - kRound;
  std::uint64_t bits;
  std::memcpy(&bits, &t, sizeof bits);
  const unsigned q = unsigned(bits & 3u);
  double r = x - n * kPiHalf1;
  r -= n * kPiHalf2;
  r -= n * kPiHalf3;
  const double z = r * r;
  double ps = -1.0 / 1307674368000.0;
  ps = ps * z + 1.0 / 6227020800.0;
  ps = ps * z - 1.0 / 39916800.0;
  ps = ps * z + 1.0 / 362880.0;
  ps = ps * z - 1.0 / 5040.0;
  ps = ps * z + 1.0 / 120.0;
  ps = ps * z - 1.0 / 6.0;
  const double sr = r + r * z * ps;
  double pc = 1.0 / 20922789888000.0;
  pc = pc * z - 1.0 / 87178291200.0;
  pc = pc * z + 1.0 / 479001600.0;
  pc = pc * z - 1.0 / 3628800.0;
  pc = pc * z + 1.0 / 40320.0;
  pc = pc * z - 1.0 / 720.0;
  pc = pc * z + 1.0 / 24.0;
  pc = pc * z - 0.5;
  const double cr = 1.0 + z * pc;
  const double s0 = (q & 1u) ? cr : sr;
  const double c0 = (q & 1u) ? sr : cr;
  s = (q & 2u) ? -s0 : s0;
  c = ((q + 1u) & 2u) ? -c0 : c0;
}

}  // namespace

void MapTileKernelGeneric(const AMapTileView& tile, const double* u, const double* v, double* re, double* im,
                          float* scratch) {
  constexpr int L = kMapLanes;
  for (std::uint32_t k = 0; k < tile.n_cols; ++k) {
    const double x = tile.col_x[k];
    float* cs = scratch + std::size_t(k) * 2 * L;
    for (int p = 0; p < L; ++p) {
      double s, c;
      SinCos(x * u[p], s, c);
      cs[p] = float(c);
      cs[L + p] = float(s);
    }
  }
  double tre[L] = {}, tim[L] = {};
  for (std::uint32_t j = 0; j < tile.n_rows; ++j) {
    const double y = tile.row_y[j];
    double rc[L], rs[L];
    for (int p = 0; p < L; ++p) SinCos(y * v[p], rs[p], rc[p]);
    const AMapPixel* px = tile.pixels + tile.row_start[j];
    const AMapPixel* end = tile.pixels + tile.row_start[j + 1];
    while (px != end) {
      const AMapPixel* stop = end - px > kMapRowChunk ? px + kMapRowChunk : end;
      float ac[L] = {}, as[L] = {}, bc[L] = {}, bs[L] = {};
      for (; px + 1 < stop; px += 2) {
        const float f0 = px[0].flux, f1 = px[1].flux;
        const float* c0 = scratch + std::size_t(px[0].col) * 2 * L;
        const float* c1 = scratch + std::size_t(px[1].col) * 2 * L;
        for (int p = 0; p < L; ++p) {
          ac[p] += f0 * c0[p];
          as[p] += f0 * c0[L + p];
          bc[p] += f1 * c1[p];
          bs[p] += f1 * c1[L + p];
        }
      }
      if (px != stop) {
        const float f0 = px->flux;
        const float* c0 = scratch + std::size_t(px->col) * 2 * L;
        for (int p = 0; p < L; ++p) {
          ac[p] += f0 * c0[p];
          as[p] += f0 * c0[L + p];
        }
        ++px;
      }
      for (int p = 0; p < L; ++p) {
        const double sc = double(ac[p] + bc[p]), ss = double(as[p] + bs[p]);
        tre[p] += sc * rc[p] - ss * rs[p];
        tim[p] += sc * rs[p] + ss * rc[p];
      }
    }
  }
  for (int p = 0; p < L; ++p) {
    re[p] = tre[p];
    im[p] = tim[p];
  }
}

bool MapKernelAvx2Supported() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}
