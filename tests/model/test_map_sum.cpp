// Map to point components (offsets, K) and both engines of the sum over them: the reference
// reduction (serial cut-off, parallel reduction) and the fast tiled kernels, against hand values
// and a plain double-precision loop; random maps and UV points, one thread and two, tiles, tails.

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <cmath>
#include <complex>
#include <random>
#include <vector>

#include "model/map_comps.h"
#include "model/map_sum.h"
#include "model/model_test_util.h"

namespace {

struct Points {
  std::vector<double> u, v;
};

// UV points in wavelengths up to `extent`, random.
Points RandomPoints(std::size_t n, double extent, std::mt19937& rng) {
  std::uniform_real_distribution<double> d(-extent, extent);
  Points p;
  for (std::size_t i = 0; i < n; ++i) {
    p.u.push_back(d(rng));
    p.v.push_back(d(rng));
  }
  return p;
}

// R x C map, a fraction `fill` of the pixels non-zero with values in [-0.5, 1.5).
AMatrix<float> RandomMap(std::uint32_t rows, std::uint32_t cols, double fill, std::mt19937& rng) {
  AMatrix<float> m(rows, cols);
  std::uniform_real_distribution<double> pick(0, 1);
  std::uniform_real_distribution<float> val(-0.5f, 1.5f);
  for (std::uint64_t i = 0; i < m.Elements(); ++i) m.data[i] = pick(rng) < fill ? val(rng) : 0.0f;
  return m;
}

// A 16 x 16 map with exactly `count` non-zero pixels, values in [-1, 2).
AMatrix<float> SparseMap(int count, std::mt19937& rng) {
  AMatrix<float> m = ZeroMap(16, 16);
  std::uniform_real_distribution<float> val(-1.0f, 2.0f);
  for (int k = 0; k < count; ++k) {
    const float f = val(rng);
    m.data[(k * 97) % 256] = f == 0 ? 0.5f : f;  // 97 is odd: distinct pixels for k < 256
  }
  return m;
}

double AbsFluxSum(const AMapComps& comps) {
  double s = 0;
  for (int i = 0; i < comps.GetSize(); ++i) s += std::fabs(comps[i].flux);
  return s;
}

// sqrt(sum |got - want|^2 / sum |want|^2) over the points, the fast engine's output (re, im).
double RelRms(const std::vector<double>& re, const std::vector<double>& im, const AMapComps& comps, const Points& p) {
  double err = 0, norm = 0;
  for (std::size_t i = 0; i < p.u.size(); ++i) {
    const std::complex<double> want = PointSum(comps, p.u[i], p.v[i]);
    err += std::norm(std::complex<double>(re[i], im[i]) - want);
    norm += std::norm(want);
  }
  return std::sqrt(err / norm);
}

struct FastResult {
  std::vector<double> re, im;
};

FastResult RunFast(const AMapSum& sum, const Points& p) {
  FastResult r;
  r.re.assign(p.u.size(), -1.0);
  r.im.assign(p.u.size(), -1.0);
  sum.Sum(p.u.data(), p.v.data(), p.u.size(), r.re.data(), r.im.data());
  return r;
}

std::vector<MapKernel> Kernels() {
  std::vector<MapKernel> k{MapKernel::Generic};
  if (MapKernelAvx2Supported()) k.push_back(MapKernel::Avx2);
  return k;
}

}  // namespace

TEST(MapComps, OffsetsFollowTheFormulaWithHandValues) {
  // 2 pi times one arcsecond in radians.
  const float k = 3.0461741978670858e-05f;
  EXPECT_DOUBLE_EQ(kMapOffsetK, 3.0461741978670858e-05);
  // 3 rows x 5 columns; columns 0.5 arcsec apart from 0.5, rows 2 arcsec apart from -1.
  AMatrix<float> m = ZeroMap(3, 5);
  m(0, 0) = 1.5f;
  m(2, 3) = -0.25f;
  m(1, 4) = 7.0f;
  AMapComps comps;
  ASSERT_EQ(comps.FromMap(m, TMinMax{0.5, 2.5, -1.0, 3.0}), 3);
  // Row-major order: (0,0), (1,4) at 4 * 0.5 + 0.5 and 1 * 2 - 1 arcsec, (2,3) at 3 * 0.5 + 0.5, 2 * 2 - 1.
  const float want[3][3] = {{1.5f, 0.5f, -1.0f}, {7.0f, 2.5f, 1.0f}, {-0.25f, 2.0f, 3.0f}};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(comps[i].flux, want[i][0]) << i;
    EXPECT_FLOAT_EQ(comps[i].x, want[i][1] * k) << i;
    EXPECT_FLOAT_EQ(comps[i].y, want[i][2] * k) << i;
  }
  // A second conversion replaces the items.
  AMatrix<float> one = ZeroMap(2, 2);
  one(1, 1) = 2.0f;
  ASSERT_EQ(comps.FromMap(one, TMinMax{-1, 1, -1, 1}), 1);
  EXPECT_EQ(comps[0].flux, 2.0f);
  EXPECT_FLOAT_EQ(comps[0].x, k);
  // A single column divides by zero: the offsets along that axis are not finite.
  AMatrix<float> column(3, 1);
  column(0, 0) = 1, column(1, 0) = 2, column(2, 0) = 3;
  ASSERT_EQ(comps.FromMap(column, TMinMax{-1, 1, -1, 1}), 3);
  EXPECT_FALSE(std::isfinite(comps[1].x));
  EXPECT_TRUE(std::isfinite(comps[1].y));
}

TEST(MapSum, ZeroMapsAndZeroSpacingInBothEngines) {
  // An all-zero map: no items, zero visibility, and a fast sum that writes zeros.
  std::mt19937 rng(3);
  AMapComps comps;
  comps.FromMap(SparseMap(60, rng), TMinMax{-1, 1, -1, 1});
  ASSERT_EQ(comps.GetSize(), 60);
  EXPECT_EQ(comps.FromMap(ZeroMap(8, 8), TMinMax{-1, 1, -1, 1}), 0);
  EXPECT_EQ(comps.GetSize(), 0);
  EXPECT_EQ(comps.VfromUV(1e6, -2e6), std::complex<float>(0, 0));
  AMapSum sum;
  EXPECT_EQ(sum.Build(ZeroMap(4, 4), TMinMax{-1, 1, -1, 1}), 0);
  double u[3] = {0, 1e5, -3e7}, v[3] = {0, 2e5, 1e6}, re[3] = {9, 9, 9}, im[3] = {9, 9, 9};
  sum.Sum(u, v, 3, re, im);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(std::complex<double>(re[i], im[i]), std::complex<double>(0, 0)) << i;
  // n = 0 writes nothing.
  re[0] = 42;
  sum.Sum(u, v, 0, re, im);
  EXPECT_EQ(re[0], 42);

  // Zero spacing is the pixel sum: reference engine serial and parallel, fast engine with one
  // UV point (a pass of one lane).
  for (int count : {7, 200}) {
    const AMatrix<float> m = SparseMap(count, rng);
    comps.FromMap(m, TMinMax{-0.01, 0.01, -0.02, 0.02});
    const std::complex<float> z = comps.VfromUV(0.0, 0.0);
    EXPECT_NEAR(z.real(), PixelSum(m), 1e-5 * AbsFluxSum(comps)) << count;
    EXPECT_EQ(z.imag(), 0.0f) << count;
  }
  const AMatrix<float> map = RandomMap(20, 30, 0.4, rng);
  sum.Build(map, TMinMax{-0.1, 0.1, -0.1, 0.1});
  double r0 = 0, i0 = 1;
  sum.Sum(u, v, 1, &r0, &i0);
  EXPECT_NEAR(r0, PixelSum(map), 1e-5);
  EXPECT_EQ(i0, 0.0);
  // Large phases (space baselines over a wide field: |phase| ~ 1e5 rad) stay accurate.
  const TMinMax wide{-1.5, 1.5, -1.0, 2.0};
  comps.FromMap(map, wide);
  sum.Build(map, wide);
  const Points p = RandomPoints(16, 3e9, rng);
  for (MapKernel k : Kernels()) {
    sum.SetKernel(k);
    const FastResult got = RunFast(sum, p);
    EXPECT_LT(RelRms(got.re, got.im, comps, p), 1e-6) << int(k);
  }
}

TEST(MapComps, SerialAndParallelSumsAgreeToFloatRounding) {
  // 49 items take the plain loop, 50 and more the parallel reduction; both equal the double sum
  // to float rounding, with one thread and with two.
  std::mt19937 rng(5);
  const TMinMax range{-0.02, 0.02, -0.015, 0.025};  // arcsec: phases of tens of radians below
  const double uv[][2] = {{0, 0}, {3.1e8, -1.2e8}, {-7.7e8, 4.4e8}, {1.5e9, 2.5e9}};
  for (int threads : {1, 2}) {
    tbb::global_control limit(tbb::global_control::max_allowed_parallelism, std::size_t(threads));
    for (int count : {49, 50, 51, 100, 255}) {
      std::mt19937 local(rng());
      AMapComps comps;
      ASSERT_EQ(comps.FromMap(SparseMap(count, local), range), count);
      // Each float addition rounds by at most 2^-24 of the running sum, bounded by the flux sum.
      const double tol = count * std::ldexp(1.0, -24) * AbsFluxSum(comps);
      for (const auto& p : uv) {
        const std::complex<float> got = comps.VfromUV(p[0], p[1]);
        const std::complex<double> want = PointSum(comps, p[0], p[1]);
        EXPECT_NEAR(got.real(), want.real(), tol) << count << " items, " << threads << " threads";
        EXPECT_NEAR(got.imag(), want.imag(), tol) << count << " items, " << threads << " threads";
      }
    }
  }
  // The plain loop starts from the value it is given (the reduction body relies on it).
  std::mt19937 local(9);
  AMapComps comps;
  comps.FromMap(SparseMap(30, local), range);
  const auto whole = SumMapItems(comps.Items(), comps.Items() + 30, 2e8, 1e8);
  const auto first = SumMapItems(comps.Items(), comps.Items() + 12, 2e8, 1e8);
  EXPECT_EQ(whole, SumMapItems(comps.Items() + 12, comps.Items() + 30, 2e8, 1e8, first));
  EXPECT_GE(MapSumThreads(), 1);
}

TEST(MapSum, FastEngineMatchesReferenceAndDoubleLoop) {
  std::mt19937 rng(2024);
  // 20 mas across; UV up to 1e9 wavelengths: phases up to about +-600 rad.
  const TMinMax range{-0.01, 0.012, -0.009, 0.011};
  struct Case {
    std::uint32_t rows, cols;
    double fill;
  };
  for (const Case c : {Case{64, 48, 0.3}, Case{9, 700, 0.5}, Case{2, 2, 1.0}, Case{40, 40, 0.02}}) {
    const AMatrix<float> map = RandomMap(c.rows, c.cols, c.fill, rng);
    AMapComps comps;
    comps.FromMap(map, range);
    const Points p = RandomPoints(53, 1e9, rng);  // 3 passes of 16 and a tail of 5
    AMapSum sum;
    ASSERT_EQ(sum.Build(map, range), comps.GetSize());
    for (MapKernel k : Kernels()) {
      sum.SetKernel(k);
      ASSERT_EQ(sum.Kernel(), k);
      const FastResult got = RunFast(sum, p);
      // The error budget of float phasors and 128-pixel float sums.
      EXPECT_LT(RelRms(got.re, got.im, comps, p), 5e-7) << c.rows << "x" << c.cols << " kernel " << int(k);
    }
    // The reference engine agrees too, within its float accumulation.
    std::vector<double> rre, rim;
    for (std::size_t i = 0; i < p.u.size(); ++i) {
      const std::complex<float> v = comps.VfromUV(p.u[i], p.v[i]);
      rre.push_back(v.real());
      rim.push_back(v.imag());
    }
    EXPECT_LT(RelRms(rre, rim, comps, p), 2e-5);
  }
}

TEST(MapSum, KernelsAgreeAndThreadCountDoesNotChangeTheResult) {
  std::mt19937 rng(77);
  // 300 x 300 with half the pixels set: 45 000 pixels, more than one tile.
  const AMatrix<float> map = RandomMap(300, 300, 0.5, rng);
  const TMinMax range{0.02, -0.02, -0.02, 0.02};  // decreasing first axis, as a FITS RA axis
  AMapSum sum;
  sum.Build(map, range);
  ASSERT_GT(sum.Tiles(), 1u);
  const Points p = RandomPoints(37, 4e8, rng);
  AMapComps comps;
  comps.FromMap(map, range);
  FastResult one, two;
  {
    tbb::global_control limit(tbb::global_control::max_allowed_parallelism, 1);
    one = RunFast(sum, p);
  }
  {
    tbb::global_control limit(tbb::global_control::max_allowed_parallelism, 2);
    two = RunFast(sum, p);
  }
  EXPECT_EQ(one.re, two.re);  // fixed piece order: bit-identical
  EXPECT_EQ(one.im, two.im);
  EXPECT_LT(RelRms(one.re, one.im, comps, p), 1e-6);
  if (MapKernelAvx2Supported()) {
    AMapSum generic = sum;
    generic.SetKernel(MapKernel::Generic);
    const FastResult g = RunFast(generic, p);
    EXPECT_LT(RelRms(g.re, g.im, comps, p), 1e-6);
  }
}
