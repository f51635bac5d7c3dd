// Map to point components (offsets formula, K) and the reference reduction (serial cut-off,
// parallel reduction, zero spacing), against hand values and a plain double-precision sum.

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <cmath>
#include <complex>
#include <random>

#include "model/map_comps.h"

namespace {

// Sum over the items in double precision.
std::complex<double> DoubleSum(const AMapComps& comps, double u, double v) {
  double re = 0, im = 0;
  for (int i = 0; i < comps.GetSize(); ++i) {
    const double ph = double(comps[i].x) * u + double(comps[i].y) * v;
    re += double(comps[i].flux) * std::cos(ph);
    im += double(comps[i].flux) * std::sin(ph);
  }
  return {re, im};
}

double AbsFluxSum(const AMapComps& comps) {
  double s = 0;
  for (int i = 0; i < comps.GetSize(); ++i) s += std::fabs(comps[i].flux);
  return s;
}

// A map with `count` non-zero pixels spread over 16 x 16, values in [-1, 2).
AMatrix<float> SparseMap(int count, std::mt19937& rng) {
  AMatrix<float> m(16, 16);
  for (std::uint64_t i = 0; i < m.Elements(); ++i) m.data[i] = 0;
  std::uniform_real_distribution<float> val(-1.0f, 2.0f);
  for (int k = 0; k < count; ++k) {
    float f = val(rng);
    if (f == 0) f = 0.5f;
    m.data[(k * 97) % 256] = f;  // 97 is odd: distinct pixels for k < 256
  }
  return m;
}

}  // namespace

TEST(MapComps, OffsetsFollowTheFormulaWithHandValues) {
  // 2 pi times one arcsecond in radians.
  EXPECT_DOUBLE_EQ(kMapOffsetK, 3.0461741978670858e-05);
  // 3 rows x 5 columns; columns 0.5 arcsec apart from 0.5, rows 2 arcsec apart from -1.
  AMatrix<float> m(3, 5);
  for (std::uint64_t i = 0; i < m.Elements(); ++i) m.data[i] = 0;
  m(0, 0) = 1.5f;
  m(2, 3) = -0.25f;
  m(1, 4) = 7.0f;
  const TMinMax range{0.5, 2.5, -1.0, 3.0};
  AMapComps comps;
  ASSERT_EQ(comps.FromMap(m, range), 3);
  // Row-major order: (0,0), (1,4), (2,3).
  EXPECT_EQ(comps[0].flux, 1.5f);
  EXPECT_FLOAT_EQ(comps[0].x, 0.5f * 3.0461741978670858e-05f);
  EXPECT_FLOAT_EQ(comps[0].y, -1.0f * 3.0461741978670858e-05f);
  EXPECT_EQ(comps[1].flux, 7.0f);
  EXPECT_FLOAT_EQ(comps[1].x, 2.5f * 3.0461741978670858e-05f);  // 4 * 0.5 + 0.5 arcsec
  EXPECT_FLOAT_EQ(comps[1].y, 1.0f * 3.0461741978670858e-05f);  // 1 * 2 - 1 arcsec
  EXPECT_EQ(comps[2].flux, -0.25f);
  EXPECT_FLOAT_EQ(comps[2].x, 2.0f * 3.0461741978670858e-05f);  // 3 * 0.5 + 0.5
  EXPECT_FLOAT_EQ(comps[2].y, 3.0f * 3.0461741978670858e-05f);  // 2 * 2 - 1

  // A second conversion replaces the items.
  AMatrix<float> one(2, 2);
  one(0, 0) = 0, one(0, 1) = 0, one(1, 0) = 0, one(1, 1) = 2.0f;
  ASSERT_EQ(comps.FromMap(one, TMinMax{-1, 1, -1, 1}), 1);
  EXPECT_EQ(comps[0].flux, 2.0f);
  EXPECT_FLOAT_EQ(comps[0].x, 3.0461741978670858e-05f);

  // A single column divides by zero: the offsets along that axis are not finite.
  AMatrix<float> column(3, 1);
  column(0, 0) = 1, column(1, 0) = 2, column(2, 0) = 3;
  ASSERT_EQ(comps.FromMap(column, TMinMax{-1, 1, -1, 1}), 3);
  EXPECT_FALSE(std::isfinite(comps[1].x));
  EXPECT_TRUE(std::isfinite(comps[1].y));
}

TEST(MapComps, AllZeroMapGivesNoItemsAndZeroVisibility) {
  AMatrix<float> m(8, 8);
  for (std::uint64_t i = 0; i < m.Elements(); ++i) m.data[i] = 0;
  AMapComps comps;
  std::mt19937 rng(3);
  comps.FromMap(SparseMap(60, rng), TMinMax{-1, 1, -1, 1});
  ASSERT_EQ(comps.GetSize(), 60);
  EXPECT_EQ(comps.FromMap(m, TMinMax{-1, 1, -1, 1}), 0);
  EXPECT_EQ(comps.GetSize(), 0);
  const std::complex<float> v = comps.VfromUV(1e6, -2e6);
  EXPECT_EQ(v.real(), 0.0f);
  EXPECT_EQ(v.imag(), 0.0f);
}

TEST(MapComps, ZeroSpacingIsThePixelSum) {
  std::mt19937 rng(11);
  for (int count : {7, 200}) {  // serial and parallel
    const AMatrix<float> m = SparseMap(count, rng);
    double pixel_sum = 0;
    for (std::uint64_t i = 0; i < m.Elements(); ++i) pixel_sum += m.data[i];
    AMapComps comps;
    comps.FromMap(m, TMinMax{-0.01, 0.01, -0.02, 0.02});
    const std::complex<float> v = comps.VfromUV(0.0, 0.0);
    EXPECT_NEAR(v.real(), pixel_sum, 1e-5 * AbsFluxSum(comps)) << count;
    EXPECT_EQ(v.imag(), 0.0f) << count;
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
      const AMatrix<float> m = SparseMap(count, local);
      AMapComps comps;
      ASSERT_EQ(comps.FromMap(m, range), count);
      const double scale = AbsFluxSum(comps);
      for (const auto& p : uv) {
        const std::complex<float> got = comps.VfromUV(p[0], p[1]);
        const std::complex<double> want = DoubleSum(comps, p[0], p[1]);
        // Each float addition rounds by at most 2^-24 of the running sum, bounded by the flux sum.
        const double tol = count * std::ldexp(1.0, -24) * scale;
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
  const auto rest = SumMapItems(comps.Items() + 12, comps.Items() + 30, 2e8, 1e8, first);
  EXPECT_EQ(whole, rest);
  EXPECT_GE(MapSumThreads(), 1);
}
