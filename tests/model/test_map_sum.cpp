// The fast map sum against the reference reduction and a plain double-precision loop over the
// point components: random maps and UV points, both kernels, one thread and two, tiles, tails.

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <cmath>
#include <complex>
#include <random>
#include <vector>

#include "model/map_comps.h"
#include "model/map_sum.h"

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

// Plain sum over the items in double precision.
std::vector<std::complex<double>> DoubleSums(const AMapComps& comps, const Points& p) {
  std::vector<std::complex<double>> out;
  for (std::size_t i = 0; i < p.u.size(); ++i) {
    double re = 0, im = 0;
    for (int k = 0; k < comps.GetSize(); ++k) {
      const double ph = double(comps[k].x) * p.u[i] + double(comps[k].y) * p.v[i];
      re += double(comps[k].flux) * std::cos(ph);
      im += double(comps[k].flux) * std::sin(ph);
    }
    out.emplace_back(re, im);
  }
  return out;
}

// sqrt(sum |got - want|^2 / sum |want|^2)
double RelRms(const std::vector<double>& re, const std::vector<double>& im,
              const std::vector<std::complex<double>>& want) {
  double err = 0, norm = 0;
  for (std::size_t i = 0; i < want.size(); ++i) {
    err += std::norm(std::complex<double>(re[i], im[i]) - want[i]);
    norm += std::norm(want[i]);
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
    const auto want = DoubleSums(comps, p);
    AMapSum sum;
    ASSERT_EQ(sum.Build(map, range), comps.GetSize());
    for (MapKernel k : Kernels()) {
      sum.SetKernel(k);
      ASSERT_EQ(sum.Kernel(), k);
      const FastResult got = RunFast(sum, p);
      const double err = RelRms(got.re, got.im, want);
      EXPECT_LT(err, 1e-6) << c.rows << "x" << c.cols << " kernel " << int(k);
      EXPECT_LT(err, 5e-7) << "(the error budget of float phasors and 128-pixel float sums)";
    }
    // The reference engine agrees with both, within its float accumulation.
    std::vector<double> rre, rim;
    for (std::size_t i = 0; i < p.u.size(); ++i) {
      const std::complex<float> v = comps.VfromUV(p.u[i], p.v[i]);
      rre.push_back(v.real());
      rim.push_back(v.imag());
    }
    EXPECT_LT(RelRms(rre, rim, want), 2e-5);
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
  const auto want = DoubleSums(comps, p);
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
  EXPECT_LT(RelRms(one.re, one.im, want), 1e-6);
  if (MapKernelAvx2Supported()) {
    AMapSum generic = sum;
    generic.SetKernel(MapKernel::Generic);
    const FastResult g = RunFast(generic, p);
    EXPECT_LT(RelRms(g.re, g.im, want), 1e-6);
  }
}

TEST(MapSum, EdgeCases) {
  AMapSum sum;
  AMatrix<float> zero(4, 4);
  for (std::uint64_t i = 0; i < zero.Elements(); ++i) zero.data[i] = 0;
  EXPECT_EQ(sum.Build(zero, TMinMax{-1, 1, -1, 1}), 0);
  double u[3] = {0, 1e5, -3e7}, v[3] = {0, 2e5, 1e6}, re[3] = {9, 9, 9}, im[3] = {9, 9, 9};
  sum.Sum(u, v, 3, re, im);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(re[i], 0.0);
    EXPECT_EQ(im[i], 0.0);
  }
  // Zero spacing: the pixel sum, one UV point (a pass of one lane).
  std::mt19937 rng(8);
  const AMatrix<float> map = RandomMap(20, 30, 0.4, rng);
  double pixel_sum = 0;
  for (std::uint64_t i = 0; i < map.Elements(); ++i) pixel_sum += map.data[i];
  sum.Build(map, TMinMax{-0.1, 0.1, -0.1, 0.1});
  double r0 = 0, i0 = 1;
  sum.Sum(u, v, 1, &r0, &i0);
  EXPECT_NEAR(r0, pixel_sum, 1e-5);
  EXPECT_EQ(i0, 0.0);
  // n = 0 writes nothing.
  re[0] = 42;
  sum.Sum(u, v, 0, re, im);
  EXPECT_EQ(re[0], 42);
  // Large phases (space baselines over a wide field: |phase| ~ 1e5 rad) stay accurate.
  AMapComps comps;
  const TMinMax wide{-1.5, 1.5, -1.0, 2.0};
  comps.FromMap(map, wide);
  sum.Build(map, wide);
  const Points p = RandomPoints(16, 3e9, rng);
  const auto want = DoubleSums(comps, p);
  for (MapKernel k : Kernels()) {
    sum.SetKernel(k);
    const FastResult got = RunFast(sum, p);
    EXPECT_LT(RelRms(got.re, got.im, want), 1e-6) << int(k);
  }
}
