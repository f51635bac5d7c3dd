#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "coverage/orbits.h"

namespace {

constexpr double kPi = std::numbers::pi;

double Norm(const AMXYZ& r) { return std::sqrt(r.x * r.x + r.y * r.y + r.z * r.z); }

TEST(GroundRotation, TurnsBySiderealAngle) {
  const AMXYZ r = RotateGround(6000000.0, 0.0, 100.0, kPi / 2);
  EXPECT_NEAR(r.x, 0.0, 1e-9);
  EXPECT_NEAR(r.y, 6000000.0, 1e-9);
  EXPECT_EQ(r.z, 100.0);
  const AMXYZ q = RotateGround(1.0, 2.0, 3.0, kPi / 6);
  EXPECT_NEAR(q.x, std::cos(kPi / 6) - 2 * 0.5, 1e-15);
  EXPECT_NEAR(q.y, 0.5 + 2 * std::cos(kPi / 6), 1e-15);
}

// Elements in catalogue order: a [km], e, i, node, argp [deg], epoch [JD], M0 [deg].
TEST(TwoBodyPropagation, CircularOrbitKeepsRadiusAndPeriod) {
  const double a = 42164.17;
  const double p[8] = {a, 0.0, 0.0, 0.0, 0.0, 2460000.5, 0.0, 0.0};
  // GM = 398600.4418 km^3/s^2 gives the period 2 pi sqrt(a^3/GM) = 86164.1 s (a sidereal day).
  const double period_days = 2 * kPi * std::sqrt(a * a * a / 398600.4418) / 86400.0;
  EXPECT_NEAR(period_days * 86400.0, 86164.1, 1.0);
  for (double frac : {0.0, 0.125, 0.25, 0.5, 0.9}) {
    const AMXYZ r = TwoBodyPositionKm(p, 2460000.5 + frac * period_days);
    EXPECT_NEAR(Norm(r), a, 1e-6) << frac;
    EXPECT_NEAR(r.x, a * std::cos(2 * kPi * frac), 0.05) << frac;
    EXPECT_NEAR(r.y, a * std::sin(2 * kPi * frac), 0.05) << frac;
    EXPECT_EQ(r.z, 0.0);
  }
  // Polar orbit with the node at 90 deg: the orbit plane is the y-z plane, starting on +y.
  const double polar[8] = {7000.0, 0.0, 90.0, 90.0, 0.0, 2460000.5, 0.0, 0.0};
  const double n = std::sqrt(2.97553635e15 / (7000.0 * 7000.0 * 7000.0));  // rad/day
  AMXYZ r = TwoBodyPositionKm(polar, 2460000.5);
  EXPECT_NEAR(r.x, 0.0, 1e-9);
  EXPECT_NEAR(r.y, 7000.0, 1e-9);
  // (A Julian day near 2.46e6 resolves 5e-10 day: about 0.3 m along this orbit.)
  r = TwoBodyPositionKm(polar, 2460000.5 + (kPi / 2) / n);
  EXPECT_NEAR(r.y, 0.0, 1e-3);
  EXPECT_NEAR(r.z, 7000.0, 1e-3);
  // The mean anomaly is not reduced: many revolutions later the orbit is still closed.
  r = TwoBodyPositionKm(polar, 2460000.5 + 1000 * 2 * kPi / n);
  EXPECT_NEAR(r.y, 7000.0, 1e-3);
}

TEST(TwoBodyPropagation, EccentricOrbitMatchesHandSolution) {
  const double a = 20000.0, e = 0.7;
  const double p[8] = {a, e, 0.0, 0.0, 0.0, 2451545.0, 0.0, 0.0};
  const double n = std::sqrt(2.97553635e15 / (a * a * a));
  // Perigee at the epoch, apogee half a period later.
  EXPECT_NEAR(Norm(TwoBodyPositionKm(p, 2451545.0)), a * (1 - e), 1e-9);
  const AMXYZ apo = TwoBodyPositionKm(p, 2451545.0 + kPi / n);
  EXPECT_NEAR(apo.x, -a * (1 + e), 1e-4);
  EXPECT_NEAR(apo.y, 0.0, 1e-4);
  // E = 90 deg: M = pi/2 - e, r = a, cos(nu) = -e, sin(nu) = sqrt(1 - e^2).
  const AMXYZ q = TwoBodyPositionKm(p, 2451545.0 + (kPi / 2 - e) / n);
  EXPECT_NEAR(Norm(q), a, 1e-3);
  EXPECT_NEAR(q.x, -e * a, 1e-3);
  EXPECT_NEAR(q.y, std::sqrt(1 - e * e) * a, 1e-3);
  // The same point with M0 carrying the mean anomaly and the epoch at the sample time, and with a
  // perigee argument of 90 deg and inclination 90 deg rotating it onto (x, z) = (0, ...).
  const double m0_deg = (kPi / 2 - e) * 180 / kPi;
  const double p2[8] = {a, e, 90.0, 0.0, 90.0, 2451545.0, m0_deg, 0.0};
  const AMXYZ r = TwoBodyPositionKm(p2, 2451545.0);
  // lambda = 90 deg + nu: x = r cos(lambda), z = r sin(lambda) (node 0, i = 90 deg).
  EXPECT_NEAR(r.x, -std::sqrt(1 - e * e) * a, 1e-3);
  EXPECT_NEAR(r.y, 0.0, 1e-9);
  EXPECT_NEAR(r.z, -e * a, 1e-3);
}

// Elements as the oblateness propagation reads them: [5] M0 [deg], [6] epoch [JD].
TEST(OblatenessPropagation, CircularEquatorialOrbitAndThePlusSign) {
  const ASourceSinCos toward_z = MakeSourceSinCos(0.0, kPi / 2);
  const double a_km = 10000.0;
  // e = 0, i = 0, node 0, perigee 90 deg, M0 = 0 at the sample time: E = M = 0, so p = a, q' = 0.
  const double p[8] = {a_km, 0.0, 0.0, 0.0, 90.0, 0.0, 2451545.0, 0.0};
  AMXYZ out;
  ASSERT_TRUE(PropagateWithOblateness(p, 2451545.0, toward_z, out));
  EXPECT_NEAR(out.x, 0.0, 1e-6);
  EXPECT_NEAR(out.y, a_km * 1000.0, 1e-6);
  EXPECT_NEAR(out.z, 0.0, 1e-6);
  // M0 = 90 deg: p = 0, q' = a. The cos(node) sin(w) term of x enters with a plus sign, which
  // puts the telescope at +x (a textbook rotation would give -x).
  const double p90[8] = {a_km, 0.0, 0.0, 0.0, 90.0, 90.0, 2451545.0, 0.0};
  ASSERT_TRUE(PropagateWithOblateness(p90, 2451545.0, toward_z, out));
  EXPECT_NEAR(out.x, a_km * 1000.0, 1e-6);
  EXPECT_NEAR(out.y, 0.0, 1e-6);
}

TEST(OblatenessPropagation, SecularDriftOfNodeAndPerigee) {
  // Circular orbit, a = 7000 km, i = 60 deg, one day after the epoch. By hand: n = 1.0780e-3
  // rad/s, (R/a)^2 = 0.83019; the node regresses by 1.5 J2 n (R/a)^2 cos(i) = 7.27e-7 rad/s,
  // i.e. -3.60 deg in a day.
  const double a = 7000e3, inc = 60 * kPi / 180, dt = 86400.0;
  const double n = std::sqrt(3.986012e14) / (std::sqrt(a) * a);
  EXPECT_NEAR(n, 1.0780e-3, 1e-7);
  const double k = 4.0678884e13 / (a * a);
  const double s2 = std::sin(inc) * std::sin(inc);
  const double node = -0.0016245 * n * std::cos(inc) * k * dt;
  EXPECT_NEAR(node * 180 / kPi, -3.60, 0.01);
  const double w = (0.003249 - 0.00406125 * s2) * n * k * dt;
  const double m = std::fmod((1 + (0.0016245 - 0.00243675 * s2) * k) * n * dt, 2 * kPi);
  // Textbook position on the drifted orbit (argument of latitude u = w + M for e = 0).
  const double u = w + m;
  const double x = std::cos(node) * std::cos(u) - std::sin(node) * std::sin(u) * std::cos(inc);
  const double y = std::sin(node) * std::cos(u) + std::cos(node) * std::sin(u) * std::cos(inc);
  const double z = std::sin(u) * std::sin(inc);
  const double p[8] = {7000.0, 0.0, 60.0, 0.0, 0.0, 0.0, 2451545.0, 0.0};
  // Looking along the orbit normal the Earth never blocks the view.
  const ASourceSinCos normal = MakeSourceSinCos(std::atan2(-std::cos(node), std::sin(node)), kPi / 2 - inc);
  AMXYZ out;
  ASSERT_TRUE(PropagateWithOblateness(p, 2451546.0, normal, out));
  EXPECT_NEAR(out.y, a * y, 1e-3);
  EXPECT_NEAR(out.z, a * z, 1e-3);
  // x carries the plus sign of cos(node) sin(w): it exceeds the textbook value by
  // 2 a cos(node) sin(w) sin(M).
  EXPECT_NEAR(out.x, a * x + 2 * a * std::cos(node) * std::sin(w) * std::sin(m), 1e-3);
  EXPECT_GT(std::fabs(std::sin(w) * std::sin(m)), 1e-3);  // the case really tells the signs apart
}

TEST(OblatenessPropagation, KeplerIterationOnAnEccentricOrbit) {
  const ASourceSinCos toward_z = MakeSourceSinCos(0.0, kPi / 2);
  // e = 0.5, zero drift check at the epoch: M = M0 = E - e sin E with E = 2 rad.
  const double e = 0.5, big_e = 2.0;
  const double m0_deg = (big_e - e * std::sin(big_e)) * 180 / kPi;
  const double p[8] = {20000.0, e, 0.0, 0.0, 0.0, m0_deg, 2451545.0, 0.0};
  AMXYZ out;
  ASSERT_TRUE(PropagateWithOblateness(p, 2451545.0, toward_z, out));
  EXPECT_NEAR(out.x, 20000e3 * (std::cos(big_e) - e), 2.0);
  EXPECT_NEAR(out.y, 20000e3 * std::sin(big_e) * std::sqrt(1 - e * e), 2.0);
}

TEST(EarthBlocking, LineOfSightPastTheEarth) {
  AMXYZ r{7000e3, 0, 0};
  // Looking along x: the line passes through the Earth's centre, on either side.
  EXPECT_FALSE(SeesPastEarth(r, MakeSourceSinCos(0, 0)));
  EXPECT_FALSE(SeesPastEarth(r, MakeSourceSinCos(kPi, 0)));
  // Looking along y or z: the line passes 7000 km from the centre.
  EXPECT_TRUE(SeesPastEarth(r, MakeSourceSinCos(kPi / 2, 0)));
  EXPECT_TRUE(SeesPastEarth(r, MakeSourceSinCos(0, kPi / 2)));
  // Grazing: distance 7000 km * sin(angle) against 6378 km.
  const double limit = std::asin(6378000.0 / 7000e3);
  EXPECT_FALSE(SeesPastEarth(r, MakeSourceSinCos(limit - 1e-6, 0)));
  EXPECT_TRUE(SeesPastEarth(r, MakeSourceSinCos(limit + 1e-6, 0)));

  // A blocked propagation leaves the output as it was.
  const double p[8] = {7000.0, 0.0, 0.0, 0.0, 0.0, 0.0, 2451545.0, 0.0};
  AMXYZ out{1, 2, 3};
  EXPECT_FALSE(PropagateWithOblateness(p, 2451545.0, MakeSourceSinCos(0, 0), out));
  EXPECT_EQ(out.x, 1);
  EXPECT_EQ(out.z, 3);
  EXPECT_TRUE(PropagateWithOblateness(p, 2451545.0, MakeSourceSinCos(kPi / 2, 0), out));
  EXPECT_NEAR(out.x, 7000e3, 1e-6);
}

}  // namespace
