// The beam fit against elliptical Gaussians drawn by hand (any position angle, either direction
// of the first axis), the imaging weights against hand sums, and the fit's refusals.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "imaging/beam_fit.h"
#include "imaging/image_weights.h"

namespace {

// A beam of FWHM bmaj x bmin (arcsec) with its major axis at `pa` degrees east of north, on a
// size x size image with the peak at (size/2, size/2); column steps of dx, row steps of dy arcsec.
AMatrix<float> Gaussian(std::uint32_t size, double bmaj, double bmin, double pa, double dx, double dy) {
  AMatrix<float> m(size, size);
  const double t = pa * std::numbers::pi / 180, k = 4 * std::numbers::ln2;
  for (std::uint32_t r = 0; r < size; ++r)
    for (std::uint32_t c = 0; c < size; ++c) {
      const double x = (double(c) - size / 2) * dx, y = (double(r) - size / 2) * dy;  // east, north
      const double along = x * std::sin(t) + y * std::cos(t), across = x * std::cos(t) - y * std::sin(t);
      m(r, c) = float(std::exp(-k * (along * along / (bmaj * bmaj) + across * across / (bmin * bmin))));
    }
  return m;
}

}  // namespace

TEST(BeamFit, RecoversEllipticalGaussians) {
  const struct {
    double bmaj, bmin, pa, dx;
  } cases[] = {{8, 4, 0, -1}, {8, 4, 30, -1}, {6, 5.5, -60, -0.5}, {10, 3, 90, 1}, {5, 5, 0, -1}, {9, 2.5, 89, -1}};
  for (const auto& c : cases) {
    const ABeam b = FitBeam(Gaussian(64, c.bmaj, c.bmin, c.pa, c.dx, std::fabs(c.dx)), 32, 32, c.dx, std::fabs(c.dx));
    ASSERT_TRUE(b.ok) << b.why;
    EXPECT_NEAR(b.bmaj_as, c.bmaj, 1e-3 * c.bmaj) << c.pa;
    EXPECT_NEAR(b.bmin_as, c.bmin, 1e-3 * c.bmin) << c.pa;
    if (c.bmaj != c.bmin) {
      EXPECT_NEAR(b.bpa_deg, c.pa, 0.05) << c.pa;
    }
    EXPECT_GT(b.pixels, 5);
  }
  // A lobe of one pixel, and no peak at the centre.
  AMatrix<float> spike(16, 16);
  for (std::uint64_t i = 0; i < spike.Elements(); ++i) spike.data[i] = 0.1f;
  spike(8, 8) = 1;
  ABeam b = FitBeam(spike, 8, 8, -1, 1);
  EXPECT_FALSE(b.ok);
  EXPECT_NE(b.why.find("too few"), std::string::npos) << b.why;
  spike(8, 8) = -1;
  EXPECT_FALSE(FitBeam(spike, 8, 8, -1, 1).ok);
}

TEST(UVDensity, NaturalUniformAndBriggsWeightsByHand) {
  // 8 x 8 cells of 1 / (8 x 1e-3) = 125 wavelengths. Three points in the cell at (1, 1), one in
  // the cell (3, -2); each also counts in its mirror's cell.
  const double du = 125;
  const struct {
    double u, v, w;
  } pts[] = {{du, du, 1}, {1.2 * du, 0.9 * du, 2}, {0.8 * du, 1.4 * du, 0.5}, {3 * du, -2 * du, 4}};
  for (AImageWeighting kind : {AImageWeighting::Natural, AImageWeighting::Uniform, AImageWeighting::Briggs}) {
    AUVDensity d;
    d.Init(8, 1e-3, kind, 0.5);
    for (const auto& p : pts) d.Add(p.u, p.v, p.w);
    d.Finish();
    // Cells: (1,1) and (-1,-1) hold 3.5 each, (3,-2) and (-3,2) hold 4 each.
    const double sum = 2 * 7.5, sum2 = 2 * (3.5 * 3.5 + 4 * 4);
    const double f2 = std::pow(5 * std::pow(10.0, -0.5), 2) / (sum2 / sum);
    for (const auto& p : pts) {
      const double cell = p.w == 4 ? 4 : 3.5;
      const double want = kind == AImageWeighting::Natural   ? p.w
                          : kind == AImageWeighting::Uniform ? p.w / cell
                                                             : p.w / (1 + cell * f2);
      EXPECT_NEAR(d.Weight(p.u, p.v, p.w), want, 1e-12) << ImageWeightingName(kind);
      EXPECT_NEAR(d.Weight(-p.u, -p.v, p.w), want, 1e-12) << "mirror";
    }
    // A point beyond the grid folds onto it: 8 cells further is the same cell.
    if (kind == AImageWeighting::Uniform) {
      EXPECT_NEAR(d.Weight(9 * du, du, 1), 1 / 3.5, 1e-12);
    }
  }
}
