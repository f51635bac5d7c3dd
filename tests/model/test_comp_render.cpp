// ToMap and VfromUV describe the same brightness: a direct Fourier sum over a finely rendered
// map reproduces the analytic visibility of every type.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

#include "model/components.h"

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kAsRad = kPi / 648000.0;

// Direct sum over the pixels, V = sum p exp(+2 pi i (u x + v y)), x and y in radians.
std::complex<double> MapVis(const AMatrix<float>& map, const TMinMax& r, double u, double v) {
  const double dx = (r.xmax - r.xmin) / (map.cols - 1.0), dy = (r.ymax - r.ymin) / (map.rows - 1.0);
  double re = 0, im = 0;
  for (std::uint32_t row = 0; row < map.rows; ++row)
    for (std::uint32_t col = 0; col < map.cols; ++col) {
      const double p = map(row, col);
      if (p == 0) continue;
      const double phase = 2 * kPi * kAsRad * (u * (r.xmin + col * dx) + v * (r.ymin + row * dy));
      re += p * std::cos(phase);
      im += p * std::sin(phase);
    }
  return {re, im};
}

double MapSum(const AMatrix<float>& map) {
  double s = 0;
  for (std::uint64_t i = 0; i < map.Elements(); ++i) s += map.data[i];
  return s;
}

TEST(ComponentRendering, FourierSumOfTheMapReproducesTheVisibility) {
  // Each type 8 mas across, axis ratio 0.6, major axis at 35 deg, 5 mas from the centre at
  // PA 120, on a 384 x 384 map of 24 mas (about 128 pixels across the component).
  const double tolerance = 2e-3;  // Jy for a 2 Jy component: 0.1 % of the flux
  for (int type = 1; type <= kCompTypeCount; ++type) {
    AComponents model;
    ACompItem c;
    c.type = type;
    c.flux = 2.0;
    c.large_axis = (type == kCompGaussian ? 3e-3 : 8e-3);
    c.axis_ratio = 0.6;
    c.inclination = 35;
    c.position_angle = 120;
    c.distance = 5e-3;
    c.width = 0.3;
    model.Add(c);
    AMatrix<float> map(384, 384);
    TMinMax range{-0.012, 0.012, -0.012, 0.012};
    model.ToMap(map, range);
    EXPECT_NEAR(MapSum(map), 2.0, 1e-4) << CompTypeName(type);
    // Spatial frequencies up to beyond the first null of the largest profile (1/D = 2.6e7).
    const double k = 1.0 / (c.large_axis * kAsRad);
    const double uv[][2] = {{0.3 * k, 0.1 * k}, {-0.5 * k, 0.4 * k}, {0.9 * k, -0.2 * k},
                            {0.2 * k, 1.2 * k}, {1.5 * k, 0.7 * k}};
    for (const auto& p : uv) {
      const auto want = c.VfromUV(p[0], p[1]);
      const auto got = MapVis(map, range, p[0], p[1]);
      EXPECT_NEAR(got.real(), want.real(), tolerance) << CompTypeName(type) << " u=" << p[0] << " v=" << p[1];
      EXPECT_NEAR(got.imag(), want.imag(), tolerance) << CompTypeName(type) << " u=" << p[0] << " v=" << p[1];
    }
  }
}

TEST(ComponentRendering, MapRangeValuesAndSmallComponents) {
  AComponents model;
  ACompItem point;
  point.type = kCompDelta;
  point.flux = 3.0;
  point.distance = 0.002;
  point.position_angle = 90;  // 2 mas east
  model.Add(point);
  ACompItem tiny;  // a Gaussian far smaller than a pixel keeps its flux in one place
  tiny.type = kCompGaussian;
  tiny.flux = 1.0;
  tiny.large_axis = 1e-9;
  tiny.distance = 0.002;
  tiny.position_angle = 0;  // 2 mas north
  model.Add(tiny);
  AMatrix<float> map(41, 41);
  TMinMax range;  // empty: chosen to hold the model
  const AMapValueRange values = model.ToMap(map, range);
  EXPECT_LT(range.xmin, -0.002);
  EXPECT_GT(range.xmax, 0.002);
  EXPECT_DOUBLE_EQ(range.xmin, -range.xmax);
  EXPECT_DOUBLE_EQ(range.ymin, range.xmin);
  EXPECT_NEAR(MapSum(map), 4.0, 1e-5);
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
  point.distance = 1.0;
  far.Add(point);
  TMinMax fixed{-0.01, 0.01, -0.01, 0.01};
  const AMapValueRange none = far.ToMap(map, fixed);
  EXPECT_EQ(MapSum(map), 0.0);
  EXPECT_EQ(none.max, 0.0f);
  EXPECT_EQ(fixed.xmax, 0.01);
  // Negative flux renders negative pixels.
  far[0].distance = 0;
  far[0].flux = -2;
  EXPECT_LT(far.ToMap(map, fixed).min, 0.0f);
  EXPECT_NEAR(MapSum(map), -2.0, 1e-6);
}

}  // namespace
