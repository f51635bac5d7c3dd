// The non-uniform FFT engine of the map sum against a plain double-precision loop over the pixel
// grid (GridSum) and against the point-component loop of the other engines: every accuracy from
// 1e-3 to 1e-9, dense and sparse maps, odd sizes, a decreasing first axis, UV points up to the
// Nyquist limit and beyond it; the kernel and its Fourier transform; 1 thread against 2.

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "model/map_comps.h"
#include "model/map_nufft.h"
#include "model/map_nufft_adjoint.h"
#include "model/model_test_util.h"

namespace {

struct Points {
  std::vector<double> u, v;
};

// R x C map, a fraction `fill` of the pixels set to values in [-0.5, 1.5).
AMatrix<float> RandomMap(std::uint32_t rows, std::uint32_t cols, double fill, std::mt19937& rng) {
  AMatrix<float> m(rows, cols);
  std::uniform_real_distribution<double> pick(0, 1);
  std::uniform_real_distribution<float> val(-0.5f, 1.5f);
  for (std::uint64_t i = 0; i < m.Elements(); ++i) m.data[i] = pick(rng) < fill ? val(rng) : 0.0f;
  return m;
}

// UV points: the first `inside` up to the map's Nyquist limit along each axis (half a turn of
// phase per pixel), the rest up to `beyond` times it.
Points NyquistPoints(const AMatrix<float>& m, const TMinMax& range, int inside, int outside, double beyond,
                     std::mt19937& rng) {
  const double nu = 3.14159265358979323846 / (std::fabs(range.xmax - range.xmin) / (m.cols - 1) * kMapOffsetK);
  const double nv = 3.14159265358979323846 / (std::fabs(range.ymax - range.ymin) / (m.rows - 1) * kMapOffsetK);
  std::uniform_real_distribution<double> d(-1, 1);
  Points p;
  for (int i = 0; i < inside + outside; ++i) {
    const double s = i < inside ? 1.0 : beyond;
    p.u.push_back(d(rng) * nu * s);
    p.v.push_back(d(rng) * nv * s);
  }
  return p;
}

struct Result {
  std::vector<double> re, im;
};

Result SumAll(const AMapNufft& engine, const Points& p) {
  Result r;
  r.re.assign(p.u.size(), -1);
  r.im.assign(p.u.size(), -1);
  engine.Sum(p.u.data(), p.v.data(), p.u.size(), r.re.data(), r.im.data());
  return r;
}

// Relative RMS error against `want`.
template <typename Want>
double RelRms(const Result& got, const Points& p, Want want) {
  double err = 0, norm = 0;
  for (std::size_t i = 0; i < p.u.size(); ++i) {
    const std::complex<double> w = want(p.u[i], p.v[i]);
    err += std::norm(std::complex<double>(got.re[i], got.im[i]) - w);
    norm += std::norm(w);
  }
  return std::sqrt(err / norm);
}

std::vector<MapKernel> Kernels() {
  std::vector<MapKernel> k{MapKernel::Generic};
  if (MapKernelAvx2Supported()) k.push_back(MapKernel::Avx2);
  return k;
}

}  // namespace

TEST(NufftKernel, TapPolynomialsFourierTransformAndGridSizes) {
  for (double accuracy : {1e-3, 1e-6, 1e-9}) {
    const ANufftKernel k = ANufftKernel::ForAccuracy(accuracy);
    EXPECT_EQ(k.single, accuracy >= 1e-5);
    EXPECT_DOUBLE_EQ(k.beta, 2.30 * k.width);
    EXPECT_EQ(k.Phi(0), 1.0);
    EXPECT_EQ(k.Phi(1.0000001), 0.0);
    // Tap i of a point at g is phi(2 (g - (m0 + i)) / w), m0 = ceil(g - w/2).
    std::mt19937 rng(4);
    std::uniform_real_distribution<double> pos(0, 100);
    double taps[ANufftKernel::kMaxWidth];
    for (int n = 0; n < 200; ++n) {
      const double g = pos(rng);
      const std::int64_t m0 = k.Taps(g, taps);
      ASSERT_EQ(m0, std::int64_t(std::ceil(g - k.width / 2.0)));
      for (int i = 0; i < k.width; ++i)
        ASSERT_NEAR(taps[i], k.Phi(2 * (g - double(m0 + i)) / k.width), accuracy * 1e-2) << g << " tap " << i;
    }
    // The Fourier transform against a midpoint sum over the kernel's support, w grid cells.
    for (double omega : {0.0, 0.5, 1.2, 3.14159}) {
      const int steps = 200000;
      double sum = 0;
      for (int s = 0; s < steps; ++s) {
        const double t = -k.width / 2.0 + (s + 0.5) * k.width / steps;
        sum += k.Phi(2 * t / k.width) * std::cos(omega * t);
      }
      EXPECT_NEAR(k.Fourier(omega), sum * k.width / steps, 1e-9 * k.Fourier(0)) << omega;
    }
  }
  EXPECT_EQ(ANufftKernel::ForAccuracy(1e-6).width, 8);
  EXPECT_EQ(ANufftKernel::ForAccuracy(0).accuracy, 1e-15);  // clamped
  // Fine sizes: even, only factors 2, 3 and 5.
  EXPECT_EQ(NufftFineSize(74), 80u);
  EXPECT_EQ(NufftFineSize(106), 108u);
  EXPECT_EQ(NufftFineSize(1000), 1000u);
  EXPECT_EQ(NufftFineSize(1026), 1080u);
  EXPECT_EQ(NufftFineSize(1), 2u);
}

TEST(MapNufft, MatchesTheGridSumAtEveryAccuracyUpToAndBeyondNyquist) {
  std::mt19937 rng(2025);
  struct Case {
    std::uint32_t rows, cols;
    double fill;
    TMinMax range;
  };
  const Case cases[] = {
      {48, 40, 1.0, {-0.004, 0.004, -0.003, 0.005}},    // dense, even sizes
      {37, 53, 1.0, {0.003, -0.004, -0.002, 0.0035}},   // odd sizes, decreasing first axis, off-centre
      {64, 64, 0.02, {-0.01, 0.012, -0.009, 0.011}},    // sparse
      {2, 2, 1.0, {-0.001, 0.001, -0.001, 0.001}},      // the smallest map
  };
  for (const Case& c : cases) {
    const AMatrix<float> map = RandomMap(c.rows, c.cols, c.fill, rng);
    const Points p = NyquistPoints(map, c.range, 150, 50, 3.7, rng);
    for (double accuracy : {1e-3, 1e-4, 1e-5, 1e-6, 1e-7, 1e-8, 1e-9}) {
      AMapNufft engine;
      ASSERT_GT(engine.Build(map, c.range, accuracy), 0);
      EXPECT_GE(engine.FineCols(), 2 * c.cols);
      EXPECT_GE(engine.FineRows(), 2 * c.rows);
      for (MapKernel k : Kernels()) {
        engine.SetKernel(k);
        const double err = RelRms(SumAll(engine, p), p, [&](double u, double v) { return GridSum(map, c.range, u, v); });
        EXPECT_LE(err, accuracy) << c.rows << "x" << c.cols << " accuracy " << accuracy << " kernel " << int(k);
      }
    }
  }
}

TEST(MapNufft, AgreesWithThePointComponentSumWhereFloatOffsetsAllow) {
  // The other engines hold the offsets in float: at phases of a few radians their rounding
  // (6e-8 of an offset) is far below 1e-6, and the engines agree to the requested accuracy.
  std::mt19937 rng(8);
  const TMinMax range{-0.002, 0.002, -0.0015, 0.0025};
  const AMatrix<float> map = RandomMap(32, 32, 0.6, rng);
  const Points p = NyquistPoints(map, range, 100, 0, 1, rng);
  Points slow;
  for (std::size_t i = 0; i < p.u.size(); ++i) {
    slow.u.push_back(p.u[i] / 8);
    slow.v.push_back(p.v[i] / 8);
  }
  AMapComps comps;
  comps.FromMap(map, range);
  AMapNufft engine;
  engine.Build(map, range, 1e-6);
  EXPECT_LE(RelRms(SumAll(engine, slow), slow, [&](double u, double v) { return PointSum(comps, u, v); }), 1e-6);
}

TEST(MapNufft, ThreadCountEdgesAndSpecialPoints) {
  std::mt19937 rng(99);
  // 300 x 260, half the pixels set: grid passes of many rows and column blocks.
  const AMatrix<float> map = RandomMap(300, 260, 0.5, rng);
  const TMinMax range{0.02, -0.02, -0.02, 0.025};
  const Points p = NyquistPoints(map, range, 3000, 100, 2.5, rng);
  for (double accuracy : {1e-4, 1e-7}) {  // float and double grids
    Result one, two;
    {
      tbb::global_control limit(tbb::global_control::max_allowed_parallelism, 1);
      AMapNufft e;
      e.Build(map, range, accuracy);
      one = SumAll(e, p);
    }
    {
      tbb::global_control limit(tbb::global_control::max_allowed_parallelism, 2);
      AMapNufft e;
      e.Build(map, range, accuracy);
      two = SumAll(e, p);
    }
    EXPECT_EQ(0, std::memcmp(one.re.data(), two.re.data(), one.re.size() * sizeof(double))) << accuracy;
    EXPECT_EQ(0, std::memcmp(one.im.data(), two.im.data(), one.im.size() * sizeof(double))) << accuracy;
  }

  // An all-zero map needs no grid and gives zeros; n = 0 writes nothing.
  AMapNufft e;
  EXPECT_EQ(e.Build(ZeroMap(8, 8), range, 1e-6), 0);
  EXPECT_EQ(e.GridBytes(), 0u);
  double u[2] = {1e6, 0}, v[2] = {-2e6, 0}, re[2] = {9, 9}, im[2] = {9, 9};
  e.Sum(u, v, 2, re, im);
  EXPECT_EQ(re[0], 0.0);
  EXPECT_EQ(im[1], 0.0);
  // Zero spacing is the pixel sum; a point that is not a number gives not a number.
  e.Build(map, range, 1e-9);
  double u3[3] = {0, std::numeric_limits<double>::quiet_NaN(), 1e7}, v3[3] = {0, 1e7, std::numeric_limits<double>::infinity()};
  double re3[3], im3[3];
  e.Sum(u3, v3, 3, re3, im3);
  EXPECT_NEAR(re3[0], PixelSum(map), 1e-9 * PixelSum(map));
  EXPECT_NEAR(im3[0], 0.0, 1e-9 * PixelSum(map));
  EXPECT_TRUE(std::isnan(re3[1]) && std::isnan(im3[1]));
  EXPECT_TRUE(std::isnan(re3[2]) && std::isnan(im3[2]));
  // One pixel off the centre is one phasor: V = p exp(i (x u + y v)) exactly to the accuracy.
  AMatrix<float> one = ZeroMap(16, 16);
  one(3, 11) = 2.5f;
  e.Build(one, range, 1e-9);
  const Points q = NyquistPoints(one, range, 40, 10, 5, rng);
  EXPECT_LE(RelRms(SumAll(e, q), q, [&](double uu, double vv) { return GridSum(one, range, uu, vv); }), 1e-9);
}

TEST(MapNufftAdjoint, MatchesTheDirectSumInBatchesAndThreadCounts) {
  // image(r, c) = sum_j value_j exp(-i (x_c u_j + y_r v_j)), against the plain double loop.
  std::mt19937 rng(31);
  struct Case {
    std::uint32_t rows, cols;
    double first_x, step_x, first_y, step_y;  // 2 pi radians per wavelength
  };
  const double s = 1e-9;
  const Case cases[] = {{32, 32, 16 * s, -s, -16 * s, s}, {21, 34, 3 * s, 0.7 * s, -5 * s, 1.3 * s}};
  for (const Case& c : cases) {
    // Points up to twice the Nyquist limit of the finer axis, with complex values.
    std::uniform_real_distribution<double> d(-1, 1);
    const double reach = 2 * 3.14159265358979 / std::min(std::fabs(c.step_x), std::fabs(c.step_y));
    const std::size_t n = 700;
    std::vector<double> u(n), v(n), re(n), im(n);
    for (std::size_t i = 0; i < n; ++i) u[i] = d(rng) * reach, v[i] = d(rng) * reach, re[i] = d(rng), im[i] = d(rng);
    std::vector<std::complex<double>> want(std::size_t(c.rows) * c.cols);
    for (std::uint32_t r = 0; r < c.rows; ++r)
      for (std::uint32_t k = 0; k < c.cols; ++k) {
        std::complex<double> sum;
        for (std::size_t i = 0; i < n; ++i)
          sum += std::complex<double>(re[i], im[i]) *
                 std::polar(1.0, -((c.first_x + k * c.step_x) * u[i] + (c.first_y + r * c.step_y) * v[i]));
        want[std::size_t(r) * c.cols + k] = sum;
      }
    for (double accuracy : {1e-3, 1e-6, 1e-9}) {
      std::vector<std::complex<double>> by_threads[2];
      for (int threads : {1, 2}) {
        tbb::global_control limit(tbb::global_control::max_allowed_parallelism, std::size_t(threads));
        AMapNufftAdjoint a;
        ASSERT_TRUE(a.Init(c.rows, c.cols, c.first_x, c.step_x, c.first_y, c.step_y, accuracy));
        a.Add(u.data(), v.data(), re.data(), im.data(), 300);  // two batches
        a.Add(u.data() + 300, v.data() + 300, re.data() + 300, im.data() + 300, n - 300);
        by_threads[threads - 1] = a.Finish();
      }
      double err = 0, norm = 0;
      for (std::size_t i = 0; i < want.size(); ++i) {
        err += std::norm(by_threads[0][i] - want[i]);
        norm += std::norm(want[i]);
      }
      EXPECT_LE(std::sqrt(err / norm), accuracy) << c.rows << "x" << c.cols << " accuracy " << accuracy;
      EXPECT_EQ(0, std::memcmp(by_threads[0].data(), by_threads[1].data(), want.size() * sizeof(want[0])));
    }
  }
  // A point that is not a number is left out.
  AMapNufftAdjoint a;
  ASSERT_TRUE(a.Init(8, 8, 4 * s, -s, -4 * s, s, 1e-6));
  const double u[2] = {1e7, std::numeric_limits<double>::quiet_NaN()}, v[2] = {0, 0}, re[2] = {1, 1}, im[2] = {0, 0};
  a.Add(u, v, re, im, 2);
  const std::vector<std::complex<double>> img = a.Finish();
  EXPECT_NEAR(img[4 * 8 + 4].real(), 1.0, 1e-6);  // the centre pixel: x = 0
}
