// Visibility formulas of the seven component types: hand-worked values, the fast path against the
// plain reference, and rendered maps whose direct Fourier sum reproduces the analytic visibility.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "model/comp_eval.h"
#include "model/components.h"
#include "model/model_test_util.h"
#include "model/reference_vis.h"

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kAsRad = kPi / 648000.0;
constexpr double kMasRad = kAsRad * 1e-3;

TEST(ComponentVisibility, HandWorkedValues) {
  for (int type = 1; type <= kCompTypeCount; ++type)  // zero spacing: the flux, for every type
    EXPECT_NEAR(std::abs(Comp(type, 2.5, 3e-3, 0.4, 30, 70, 5e-3, 0.3).VfromUV(0, 0) - 2.5), 0, 1e-12) << type;
  EXPECT_EQ(Comp(9, 1).VfromUV(1e6, 1e6), std::complex<double>(0, 0));  // unknown type

  const double D = 2.0 * kMasRad, x1 = 1.0 / (kPi * D);  // 2 mas; pi D k = 1 at k = x1
  const ACompItem g = Comp(kCompGaussian, 4, 2e-3), disk = Comp(kCompDisk, 1, 2e-3),
                  ring = Comp(kCompThinRing, 1, 2e-3), shell = Comp(kCompThinSphere, 1, 2e-3),
                  rect = Comp(kCompRectangle, 1, 2e-3, 0.5), east = Comp(kCompDelta, 1, 0, 1, 0, 90, 10e-3),
                  north = Comp(kCompDelta, 1, 0, 1, 0, 0, 10e-3), elong = Comp(kCompGaussian, 1, 4e-3, 0.25, 90);
  const double quarter = 1.0 / (4 * 10 * kMasRad), k = 0.2 / kMasRad;
  const struct {
    ACompItem c;
    double u, v;
    std::complex<double> want;
    double tol;
  } cases[] = {
      // Major axis north (inclination 0): the profile runs along v. Gaussian: half of the flux at
      // k = 2 ln 2 / (pi FWHM); exp(-pi^2 / (4 ln 2)) = 0.0284472 at 1/FWHM.
      {g, 0, 2 * std::log(2.0) / (kPi * D), 2.0, 1e-12},
      {g, 0, 1.0 / D, 4.0 * 0.0284472, 4e-7},
      // Disk 2 J1(x)/x: first null at 3.8317, 2 J1(1) = 0.880101171. Thin ring J0: first null at
      // 2.404826, J0(1) = 0.765197687. Thin sphere sin(x)/x: null at k = 1/D, sin(1) = 0.841470985.
      {disk, 0, 3.831705970207512 / (kPi * D), 0, 1e-12},
      {disk, 0, x1, 0.880101171, 1e-9},
      {ring, 0, 2.404825557695773 / (kPi * D), 0, 1e-12},
      {ring, 0, x1, 0.765197687, 1e-9},
      {shell, 0, 1.0 / D, 0, 1e-12},
      {shell, 0, x1, 0.841470985, 1e-9},
      // Rectangle 2 x 1 mas: nulls at 1/2 mas^-1 along the long side, 1/1 across; sinc(pi/2) = 2/pi.
      {rect, 0, 1.0 / D, 0, 1e-12},
      {rect, 2.0 / D, 0, 0, 1e-12},
      {rect, 1.0 / D, 0, 2.0 / kPi, 1e-12},
      // A thick ring of width 1 is the disk, a very thin one the thin ring.
      {Comp(kCompThickRing, 1, 2e-3, 1, 0, 0, 0, 1.0), 0, x1, 0.880101171, 1e-9},
      {Comp(kCompThickRing, 1, 2e-3, 1, 0, 0, 0, 1e-9), 0, x1, 0.765197687, 1e-9},
      {Comp(kCompThickRing, 1, 2e-3, 1, 0, 0, 0, 1e-4), 0, x1, 0.765197687, 2e-4},
      // 1 Jy point 10 mas east (PA 90): V = exp(+2 pi i u dx), a quarter turn at u = 1/(4 dx), no
      // phase along v; 10 mas north: the phase along v with the same sign.
      {east, quarter, 0, {0, 1}, 1e-12},
      {east, 0, 1e9, 1.0, 1e-12},
      {north, 0, quarter, {0, 1}, 1e-12},
      // Major axis east-west (inclination 90): the Gaussian falls faster along u.
      {elong, k, 0, std::exp(-kPi * kPi * std::pow(4 * kMasRad * k, 2) / (4 * std::log(2.0))), 1e-12},
      {elong, 0, k, std::exp(-kPi * kPi * std::pow(1 * kMasRad * k, 2) / (4 * std::log(2.0))), 1e-12},
  };
  for (const auto& t : cases) {
    const auto got = t.c.VfromUV(t.u, t.v);
    EXPECT_NEAR(got.real(), t.want.real(), t.tol) << CompTypeName(t.c.type) << " at " << t.u << ", " << t.v;
    EXPECT_NEAR(got.imag(), t.want.imag(), t.tol) << CompTypeName(t.c.type) << " at " << t.u << ", " << t.v;
  }
  EXPECT_GT(disk.VfromUV(0, 3.7 / (kPi * D)).real(), 0.0);  // positive before the first null,
  EXPECT_LT(disk.VfromUV(0, 3.9 / (kPi * D)).real(), 0.0);  // negative after it
  // Inclination 180 describes the same ellipse as 0.
  EXPECT_NEAR(Comp(kCompGaussian, 1, 4e-3, 0.25, 0).VfromUV(k, 0.3 * k).real(),
              Comp(kCompGaussian, 1, 4e-3, 0.25, 180).VfromUV(k, 0.3 * k).real(), 1e-12);
  // Near the origin the profiles switch to their series: no jump and no loss of precision.
  // 2 J1(x)/x = 1 - x^2/8 + x^4/192 - ..., sin(x)/x = 1 - x^2/6 + x^4/120 - ...
  for (double x : {1e-9, 5e-5, 9.99e-5, 1.0001e-4, 2e-4}) {
    const double x2 = x * x;
    EXPECT_NEAR(DiskProfile(x), 1 - x2 / 8 + x2 * x2 / 192, 3e-16) << x;
    EXPECT_NEAR(SphereProfile(x), 1 - x2 / 6 + x2 * x2 / 120, 3e-16) << x;
  }
}

TEST(ComponentVisibility, FastPathMatchesThePlainReference) {
  std::vector<ACompItem> comps;
  AComponents model;
  for (int type = 1; type <= kCompTypeCount; ++type)
    for (const ACompItem& c : {Comp(type, 1.5, 3e-3, 0.6, 35, 120, 4e-3, 0.35), Comp(type, -0.7, 0.5e-3, 1.0, -20, 0, 0, 0.8),
                               Comp(type, 3.0, 12e-3, 0.1, 200, 300, 50e-3, 0.05)}) {
      comps.push_back(c);
      model.Add(c);
    }
  std::vector<double> us, vs;
  for (int i = -6; i <= 6; ++i)
    for (int j = -6; j <= 6; ++j) {
      us.push_back(i * 1.3e7 + 11.0);
      vs.push_back(j * 0.9e7 - 7.0);
    }
  const auto prepared = model.Prepare();
  std::vector<double> re(us.size()), im(us.size());
  ModelVis(prepared.data(), prepared.size(), us.data(), vs.data(), us.size(), re.data(), im.data());
  for (std::size_t p = 0; p < us.size(); ++p) {
    std::complex<double> sum = 0;
    for (const ACompItem& c : comps) {
      const auto ref = ReferenceVis(c, us[p], vs[p]), got = c.VfromUV(us[p], vs[p]);
      ASSERT_NEAR(got.real(), ref.real(), 1e-10 * std::abs(c.flux)) << CompTypeName(c.type) << " at " << p;
      ASSERT_NEAR(got.imag(), ref.imag(), 1e-10 * std::abs(c.flux)) << CompTypeName(c.type) << " at " << p;
      sum += ref;
    }
    EXPECT_NEAR(re[p], sum.real(), 1e-9);
    EXPECT_NEAR(im[p], sum.imag(), 1e-9);
    const auto whole = model.VfromUV(us[p], vs[p]);
    EXPECT_NEAR(whole.real(), re[p], 1e-12);
    EXPECT_NEAR(whole.imag(), im[p], 1e-12);
  }
  // An empty model is zero everywhere.
  EXPECT_EQ(AComponents().VfromUV(1e7, 2e7), std::complex<double>(0, 0));
  ModelVis(nullptr, 0, us.data(), vs.data(), us.size(), re.data(), im.data());
  EXPECT_EQ(re[5], 0.0);
  EXPECT_EQ(im[5], 0.0);
}

// Direct sum over the pixels, V = sum p exp(+2 pi i (u x + v y)), x and y in radians.
std::complex<double> MapVis(const AMatrix<float>& map, const TMinMax& r, double u, double v) {
  const double dx = (r.xmax - r.xmin) / (map.cols - 1.0), dy = (r.ymax - r.ymin) / (map.rows - 1.0);
  std::complex<double> sum = 0;
  for (std::uint32_t row = 0; row < map.rows; ++row)
    for (std::uint32_t col = 0; col < map.cols; ++col)
      if (map(row, col) != 0)
        sum += double(map(row, col)) * std::polar(1.0, 2 * kPi * kAsRad * (u * (r.xmin + col * dx) + v * (r.ymin + row * dy)));
  return sum;
}

TEST(ComponentRendering, FourierSumOfTheMapReproducesTheVisibility) {
  // Each type 8 mas across (the Gaussian's FWHM 3 mas), axis ratio 0.6, major axis at 35 deg, 5 mas
  // from the centre at PA 120, on a 384 x 384 map of 24 mas (about 128 pixels across).
  for (int type = 1; type <= kCompTypeCount; ++type) {
    const ACompItem c = Comp(type, 2.0, type == kCompGaussian ? 3e-3 : 8e-3, 0.6, 35, 120, 5e-3, 0.3);
    AComponents model;
    model.Add(c);
    AMatrix<float> map(384, 384);
    TMinMax range{-0.012, 0.012, -0.012, 0.012};
    model.ToMap(map, range);
    EXPECT_NEAR(PixelSum(map), 2.0, 1e-4) << CompTypeName(type);
    // Spatial frequencies up to beyond the first null of the largest profile (1/D = 2.6e7).
    const double k = 1.0 / (c.large_axis * kAsRad);
    const double uv[][2] = {{0.3 * k, 0.1 * k}, {-0.5 * k, 0.4 * k}, {0.9 * k, -0.2 * k}, {0.2 * k, 1.2 * k}, {1.5 * k, 0.7 * k}};
    for (const auto& p : uv) {
      const auto want = c.VfromUV(p[0], p[1]), got = MapVis(map, range, p[0], p[1]);
      // 0.1 % of the flux.
      EXPECT_NEAR(got.real(), want.real(), 2e-3) << CompTypeName(type) << " u=" << p[0] << " v=" << p[1];
      EXPECT_NEAR(got.imag(), want.imag(), 2e-3) << CompTypeName(type) << " u=" << p[0] << " v=" << p[1];
    }
  }
}

TEST(ComponentRendering, MapRangeValuesAndSmallComponents) {
  // 3 Jy point 2 mas east; a Gaussian far smaller than a pixel, 2 mas north, keeps its 1 Jy in one place.
  AComponents model;
  model.Add(Comp(kCompDelta, 3.0, 0.001, 1, 0, 90, 0.002));
  model.Add(Comp(kCompGaussian, 1.0, 1e-9, 1, 0, 0, 0.002));
  AMatrix<float> map(41, 41);
  TMinMax range;  // empty: chosen to hold the model
  const AMapValueRange values = model.ToMap(map, range);
  EXPECT_LT(range.xmin, -0.002);
  EXPECT_GT(range.xmax, 0.002);
  EXPECT_DOUBLE_EQ(range.xmin, -range.xmax);
  EXPECT_DOUBLE_EQ(range.ymin, range.xmin);
  EXPECT_NEAR(PixelSum(map), 4.0, 1e-5);
  EXPECT_FLOAT_EQ(values.min, 0.0f);
  EXPECT_GT(values.max, 0.5f);
  // Centroids: 3 Jy at +2 mas east, 1 Jy at +2 mas north.
  double sx = 0, sy = 0;
  const double dx = (range.xmax - range.xmin) / 40.0;
  for (std::uint32_t r = 0; r < 41; ++r)
    for (std::uint32_t c = 0; c < 41; ++c) {
      sx += map(r, c) * (range.xmin + c * dx);
      sy += map(r, c) * (range.ymin + r * dx);
    }
  EXPECT_NEAR(sx, 3.0 * 0.002, 1e-8);
  EXPECT_NEAR(sy, 1.0 * 0.002, 1e-8);

  // A component outside the field leaves the map empty; a given range is kept.
  AComponents far;
  far.Add(Comp(kCompDelta, 3.0, 0.001, 1, 0, 90, 1.0));
  TMinMax fixed{-0.01, 0.01, -0.01, 0.01};
  const AMapValueRange none = far.ToMap(map, fixed);
  EXPECT_EQ(PixelSum(map), 0.0);
  EXPECT_EQ(none.max, 0.0f);
  EXPECT_EQ(fixed.xmax, 0.01);
  // Negative flux renders negative pixels.
  far[0].distance = 0;
  far[0].flux = -2;
  EXPECT_LT(far.ToMap(map, fixed).min, 0.0f);
  EXPECT_NEAR(PixelSum(map), -2.0, 1e-6);
}

}  // namespace
