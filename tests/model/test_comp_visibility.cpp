// Visibility formulas of the seven component types: hand-worked values and the fast path
// against the plain reference.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "model/comp_eval.h"
#include "model/components.h"
#include "reference_vis.h"

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kMas = 1e-3;                       // one milliarcsecond in arcsec
constexpr double kMasRad = kPi / 648000.0 * 1e-3;   // one milliarcsecond in radians

ACompItem Comp(int type, double flux, double axis_mas, double ratio = 1.0, double incl = 0, double pa = 0,
               double dist_mas = 0, double width = 0.5) {
  ACompItem c;
  c.type = type;
  c.flux = flux;
  c.large_axis = axis_mas * kMas;
  c.axis_ratio = ratio;
  c.inclination = incl;
  c.position_angle = pa;
  c.distance = dist_mas * kMas;
  c.width = width;
  return c;
}

TEST(ComponentVisibility, ZeroSpacingIsTheFluxForEveryType) {
  for (int type = 1; type <= kCompTypeCount; ++type) {
    const ACompItem c = Comp(type, 2.5, 3.0, 0.4, 30, 70, 5.0, 0.3);
    const auto v = c.VfromUV(0, 0);
    EXPECT_NEAR(v.real(), 2.5, 1e-12) << CompTypeName(type);
    EXPECT_NEAR(v.imag(), 0.0, 1e-12) << CompTypeName(type);
  }
  ACompItem unknown = Comp(kCompGaussian, 1, 1);
  unknown.type = 9;
  EXPECT_EQ(unknown.VfromUV(1e6, 1e6), std::complex<double>(0, 0));
}

TEST(ComponentVisibility, HandWorkedValuesOnTheMajorAxis) {
  // Major axis north (inclination 0): the profile runs along v.
  const double D = 2.0 * kMasRad;  // 2 mas in radians
  // Gaussian: half of the flux at k = 2 ln 2 / (pi FWHM); exp(-pi^2 / (4 ln 2)) = exp(-3.559707) = 0.0284472 at 1/FWHM.
  const ACompItem g = Comp(kCompGaussian, 4.0, 2.0);
  EXPECT_NEAR(g.VfromUV(0, 2 * std::log(2.0) / (kPi * D)).real(), 2.0, 1e-12);
  EXPECT_NEAR(g.VfromUV(0, 1.0 / D).real(), 4.0 * 0.0284472, 4e-7);
  // Disk: first null where pi D k = 3.8317 (first zero of J1), positive before, negative after.
  const ACompItem disk = Comp(kCompDisk, 1.0, 2.0);
  EXPECT_NEAR(disk.VfromUV(0, 3.831705970207512 / (kPi * D)).real(), 0.0, 1e-12);
  EXPECT_GT(disk.VfromUV(0, 3.7 / (kPi * D)).real(), 0.0);
  EXPECT_LT(disk.VfromUV(0, 3.9 / (kPi * D)).real(), 0.0);
  // 2 J1(1)/1 = 0.880101171.
  EXPECT_NEAR(disk.VfromUV(0, 1.0 / (kPi * D)).real(), 0.880101171, 1e-9);
  // Thin ring: J0 with its first zero at 2.404826; J0(1) = 0.765197687.
  const ACompItem ring = Comp(kCompThinRing, 1.0, 2.0);
  EXPECT_NEAR(ring.VfromUV(0, 2.404825557695773 / (kPi * D)).real(), 0.0, 1e-12);
  EXPECT_NEAR(ring.VfromUV(0, 1.0 / (kPi * D)).real(), 0.765197687, 1e-9);
  // Thin sphere: sin(x)/x, first null at k = 1/D; sin(1) = 0.841470985.
  const ACompItem shell = Comp(kCompThinSphere, 1.0, 2.0);
  EXPECT_NEAR(shell.VfromUV(0, 1.0 / D).real(), 0.0, 1e-12);
  EXPECT_NEAR(shell.VfromUV(0, 1.0 / (kPi * D)).real(), 0.841470985, 1e-9);
  // Rectangle 2 x 1 mas: nulls at 1/2 mas^-1 along the long side and 1/1 mas^-1 across.
  const ACompItem rect = Comp(kCompRectangle, 1.0, 2.0, 0.5);
  EXPECT_NEAR(rect.VfromUV(0, 1.0 / D).real(), 0.0, 1e-12);
  EXPECT_NEAR(rect.VfromUV(2.0 / D, 0).real(), 0.0, 1e-12);
  EXPECT_GT(rect.VfromUV(1.0 / D, 0).real(), 0.6);  // across: sinc(pi/2) = 2/pi
  EXPECT_NEAR(rect.VfromUV(1.0 / D, 0).real(), 2.0 / kPi, 1e-12);
  // Thick ring of width 1 is the disk, a very thin one the thin ring.
  EXPECT_NEAR(Comp(kCompThickRing, 1.0, 2.0, 1, 0, 0, 0, 1.0).VfromUV(0, 1.0 / (kPi * D)).real(), 0.880101171, 1e-9);
  EXPECT_NEAR(Comp(kCompThickRing, 1.0, 2.0, 1, 0, 0, 0, 1e-9).VfromUV(0, 1.0 / (kPi * D)).real(), 0.765197687, 1e-9);
  EXPECT_NEAR(Comp(kCompThickRing, 1.0, 2.0, 1, 0, 0, 0, 1e-4).VfromUV(0, 1.0 / (kPi * D)).real(), 0.765197687, 2e-4);
}

TEST(ComponentVisibility, OffsetGivesThePhaseAndAxesTheirDirections) {
  // 1 Jy point 10 mas east (PA 90): V = exp(+2 pi i u dx); a quarter turn at u = 1/(4 dx).
  const ACompItem east = Comp(kCompDelta, 1.0, 0, 1, 0, 90, 10);
  const auto q = east.VfromUV(1.0 / (4 * 10 * kMasRad), 0);
  EXPECT_NEAR(q.real(), 0.0, 1e-12);
  EXPECT_NEAR(q.imag(), 1.0, 1e-12);
  EXPECT_NEAR(std::abs(east.VfromUV(0, 1e9)), 1.0, 1e-12);  // no phase along v
  EXPECT_NEAR(east.VfromUV(0, 1e9).imag(), 0.0, 1e-9);
  // 10 mas north (PA 0): phase along v, with the same positive sign.
  const ACompItem north = Comp(kCompDelta, 1.0, 0, 1, 0, 0, 10);
  EXPECT_NEAR(north.VfromUV(0, 1.0 / (4 * 10 * kMasRad)).imag(), 1.0, 1e-12);
  // Elongated Gaussian with its major axis east-west (inclination 90): falls faster along u.
  const ACompItem g = Comp(kCompGaussian, 1.0, 4.0, 0.25, 90);
  const double k = 0.2 / kMasRad;
  const double along = g.VfromUV(k, 0).real(), across = g.VfromUV(0, k).real();
  EXPECT_NEAR(along, std::exp(-kPi * kPi * std::pow(4 * kMasRad * k, 2) / (4 * std::log(2.0))), 1e-12);
  EXPECT_NEAR(across, std::exp(-kPi * kPi * std::pow(1 * kMasRad * k, 2) / (4 * std::log(2.0))), 1e-12);
  // Inclination 180 describes the same ellipse as 0.
  const ACompItem g0 = Comp(kCompGaussian, 1.0, 4.0, 0.25, 0), g180 = Comp(kCompGaussian, 1.0, 4.0, 0.25, 180);
  EXPECT_NEAR(g0.VfromUV(k, 0.3 * k).real(), g180.VfromUV(k, 0.3 * k).real(), 1e-12);
}

TEST(ComponentVisibility, FastPathMatchesThePlainReference) {
  std::vector<ACompItem> comps;
  for (int type = 1; type <= kCompTypeCount; ++type) {
    comps.push_back(Comp(type, 1.5, 3.0, 0.6, 35, 120, 4.0, 0.35));
    comps.push_back(Comp(type, -0.7, 0.5, 1.0, -20, 0, 0.0, 0.8));
    comps.push_back(Comp(type, 3.0, 12.0, 0.1, 200, 300, 50.0, 0.05));
  }
  std::vector<double> us, vs;
  for (int i = -6; i <= 6; ++i)
    for (int j = -6; j <= 6; ++j) {
      us.push_back(i * 1.3e7 + 11.0);
      vs.push_back(j * 0.9e7 - 7.0);
    }
  AComponents model;
  for (const ACompItem& c : comps) model.Add(c);
  const auto prepared = model.Prepare();
  std::vector<double> re(us.size()), im(us.size());
  ModelVis(prepared.data(), prepared.size(), us.data(), vs.data(), us.size(), re.data(), im.data());
  for (std::size_t p = 0; p < us.size(); ++p) {
    std::complex<double> sum = 0;
    for (const ACompItem& c : comps) {
      const auto ref = ReferenceVis(c, us[p], vs[p]);
      const auto got = c.VfromUV(us[p], vs[p]);
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
  AComponents empty;
  EXPECT_EQ(empty.VfromUV(1e7, 2e7), std::complex<double>(0, 0));
  ModelVis(nullptr, 0, us.data(), vs.data(), us.size(), re.data(), im.data());
  EXPECT_EQ(re[5], 0.0);
  EXPECT_EQ(im[5], 0.0);
}

TEST(ComponentVisibility, SmallArgumentsAreSmooth) {
  // Near the origin the profiles switch to their series; no jump and no loss of precision.
  for (double x : {1e-9, 5e-5, 9.99e-5, 1.0001e-4, 2e-4}) {
    // Series: 2 J1(x)/x = 1 - x^2/8 + x^4/192 - ..., sin(x)/x = 1 - x^2/6 + x^4/120 - ...
    const double x2 = x * x;
    EXPECT_NEAR(DiskProfile(x), 1 - x2 / 8 + x2 * x2 / 192, 3e-16) << x;
    EXPECT_NEAR(SphereProfile(x), 1 - x2 / 6 + x2 * x2 / 120, 3e-16) << x;
  }
}

}  // namespace
