// (u, v, w) of real stations compared with a computation built separately from ERFA's
// terrestrial-to-celestial matrix (CIO based), its CIP coordinates and a plain relativistic
// aberration formula.
#include <gtest/gtest.h>

#include <erfa.h>

#include <cmath>
#include <cstdio>
#include <numbers>

#include "core/astro_time.h"
#include "coverage/frame_of_date.h"

namespace {

constexpr double kPi = std::numbers::pi;

struct Station {
  const char* id;
  double x, y, z;  // ITRF, metres
};
// VLBA and EVN positions (NRAO VLBA tables and EVN station files).
constexpr Station kStations[] = {
    {"MK", -5464074.944, -2495249.079, 2148296.797}, {"SC", 2607861.476, -5488096.343, 1932748.638},
    {"EF", 4033921.036, 486929.425, 4900366.871},    {"PA", -4554231.500, 2816759.100, -3454036.300},
    {"ON", 3370939.158, 711460.770, 5349618.171},
};

struct Reference {
  double u, v, w, zenith_deg;
};

// The independent reference: r_GCRS = C2T^T r_ITRF with zero polar motion and UT1 = UTC; the pole
// of date is the CIP (X, Y) in the GCRS; east = pole x s, north = s x east.
Reference ReferenceUVW(const Station& st, int day, int month, int year, double t_s, double ra, double dec) {
  double dat = 0;
  EXPECT_GE(eraDat(year, month, day, t_s / 86400.0, &dat), 0);
  const double utc1 = JulianDay(day, month, year), utc2 = t_s * 1.157407407e-05;  // the sample instant
  const double tt1 = utc1, tt2 = utc2 + (dat + 32.184) / 86400.0;
  double c2t[3][3];
  eraC2t06a(tt1, tt2, utc1, utc2, 0.0, 0.0, c2t);
  const double itrf[3] = {st.x, st.y, st.z};
  double r[3];
  eraTrxp(c2t, const_cast<double*>(itrf), r);

  double pvh[2][3], pvb[2][3];
  eraEpv00(tt1, tt2, pvh, pvb);
  double beta[3];
  for (int k = 0; k < 3; ++k) beta[k] = pvb[1][k] * 0.005787037037;
  const double p[3] = {std::cos(dec) * std::cos(ra), std::cos(dec) * std::sin(ra), std::sin(dec)};
  // Aberration of light for an observer moving with beta: s = (p/gamma + beta (1 + (p.beta)/(1 +
  // 1/gamma))) / (1 + p.beta).
  const double b2 = beta[0] * beta[0] + beta[1] * beta[1] + beta[2] * beta[2];
  const double inv_gamma = std::sqrt(1 - b2);
  const double pb = p[0] * beta[0] + p[1] * beta[1] + p[2] * beta[2];
  double s[3];
  for (int k = 0; k < 3; ++k) s[k] = (p[k] * inv_gamma + beta[k] * (1 + pb / (1 + inv_gamma))) / (1 + pb);
  double ns = std::sqrt(s[0] * s[0] + s[1] * s[1] + s[2] * s[2]);
  for (double& c : s) c /= ns;

  double cx = 0, cy = 0;
  eraXy06(tt1, tt2, &cx, &cy);
  const double pole[3] = {cx, cy, std::sqrt(1 - cx * cx - cy * cy)};
  double east[3] = {pole[1] * s[2] - pole[2] * s[1], pole[2] * s[0] - pole[0] * s[2], pole[0] * s[1] - pole[1] * s[0]};
  const double ne = std::sqrt(east[0] * east[0] + east[1] * east[1] + east[2] * east[2]);
  for (double& c : east) c /= ne;
  const double north[3] = {s[1] * east[2] - s[2] * east[1], s[2] * east[0] - s[0] * east[2],
                           s[0] * east[1] - s[1] * east[0]};
  const double c_inv = 1.0 / 299792458.0;
  Reference ref;
  ref.u = (r[0] * east[0] + r[1] * east[1] + r[2] * east[2]) * c_inv;
  ref.v = (r[0] * north[0] + r[1] * north[1] + r[2] * north[2]) * c_inv;
  const double rs = r[0] * s[0] + r[1] * s[1] + r[2] * s[2];
  ref.w = rs * c_inv;
  const double rn = std::sqrt(r[0] * r[0] + r[1] * r[1] + r[2] * r[2]);
  ref.zenith_deg = std::acos(rs / rn) * 180 / kPi;
  return ref;
}

struct Case {
  int day, month, year;
  double t_s;
  double ra, dec;  // J2000, radians
};

const Case kCases[] = {
    // 3C 273: 12h29m06.6997s +02d03m08.598s
    {15, 3, 2024, 0.0, (12 * 3600 + 29 * 60 + 6.6997) * 15 * 4.84813681109536e-06,
     (2 * 3600 + 3 * 60 + 8.598) * 4.84813681109536e-06},
    {15, 3, 2024, 22 * 3600 + 17 * 60 + 31.5, (12 * 3600 + 29 * 60 + 6.6997) * 15 * 4.84813681109536e-06,
     (2 * 3600 + 3 * 60 + 8.598) * 4.84813681109536e-06},
    // 0716+714: 07h21m53.4485s +71d20m36.363s, a day across a leap second and the next year
    {31, 12, 2016, 43210.0, (7 * 3600 + 21 * 60 + 53.4485) * 15 * 4.84813681109536e-06,
     (71 * 3600 + 20 * 60 + 36.363) * 4.84813681109536e-06},
    {1, 7, 2005, 3600.0 * 5, (7 * 3600 + 21 * 60 + 53.4485) * 15 * 4.84813681109536e-06,
     (71 * 3600 + 20 * 60 + 36.363) * 4.84813681109536e-06},
    // A southern source (Sgr A*: 17h45m40.0409s -29d00m28.118s) in 2031.
    {20, 9, 2031, 70000.0, (17 * 3600 + 45 * 60 + 40.0409) * 15 * 4.84813681109536e-06,
     -(29 * 3600 + 0 * 60 + 28.118) * 4.84813681109536e-06},
};

TEST(GroundUVWAgainstErfa, RealStationsAndSourcesWithinAMillimetre) {
  for (const Case& c : kCases) {
    ASampleFrame f;
    MakeSampleFrame(JulianDay(c.day, c.month, c.year), c.t_s, c.ra, c.dec, f);
    for (const Station& st : kStations) {
      AMXYZ uvw;
      GroundUVW(f, {st.x, st.y, st.z}, {}, 0.0, 180.0, uvw);
      const Reference ref = ReferenceUVW(st, c.day, c.month, c.year, c.t_s, c.ra, c.dec);
      // 1e-11 s is 3 mm of light travel.
      EXPECT_NEAR(uvw.x, ref.u, 1e-11) << st.id << " " << c.year << " t=" << c.t_s;
      EXPECT_NEAR(uvw.y, ref.v, 1e-11) << st.id << " " << c.year;
      EXPECT_NEAR(uvw.z, ref.w, 1e-11) << st.id << " " << c.year;
      // Zenith limits: inclusive, checked just beside the reference zenith angle.
      AMXYZ ignored;
      EXPECT_TRUE(GroundUVW(f, {st.x, st.y, st.z}, {}, 0.0, ref.zenith_deg + 1e-6, ignored)) << st.id;
      EXPECT_FALSE(GroundUVW(f, {st.x, st.y, st.z}, {}, 0.0, ref.zenith_deg - 1e-6, ignored)) << st.id;
      EXPECT_TRUE(GroundUVW(f, {st.x, st.y, st.z}, {}, ref.zenith_deg - 1e-6, 180.0, ignored)) << st.id;
      EXPECT_FALSE(GroundUVW(f, {st.x, st.y, st.z}, {}, ref.zenith_deg + 1e-6, 180.0, ignored)) << st.id;
    }
  }
}

// Orbiting telescopes: GCRS position projected on the aberrated direction with the CIP as pole.
TEST(InertialUVWAgainstErfa, GcrsPositionsOfOrbitingTelescopes) {
  const Case& c = kCases[0];
  ASampleFrame f;
  MakeSampleFrame(JulianDay(c.day, c.month, c.year), c.t_s, c.ra, c.dec, f);
  // Turning a GCRS vector with the inverse Earth rotation gives the Earth-fixed vector whose
  // reference (u, v, w) is that of the GCRS vector itself.
  double dat = 0;
  eraDat(c.year, c.month, c.day, 0.0, &dat);
  const double utc1 = JulianDay(c.day, c.month, c.year), utc2 = c.t_s * 1.157407407e-05;
  double c2t[3][3];
  eraC2t06a(utc1, utc2 + (dat + 32.184) / 86400.0, utc1, utc2, 0.0, 0.0, c2t);
  for (const AMXYZ& r : {AMXYZ{3.0e8, -1.0e8, 5.0e7}, AMXYZ{-7.0e6, 2.0e6, 1.0e6}, AMXYZ{0, 0, 4.2e7}}) {
    double g[3] = {r.x, r.y, r.z}, itrf[3];
    eraRxp(c2t, g, itrf);
    const Reference ref = ReferenceUVW({"orbit", itrf[0], itrf[1], itrf[2]}, c.day, c.month, c.year, c.t_s, c.ra, c.dec);
    const AMXYZ uvw = InertialUVW(f, r);
    const double scale = std::sqrt(r.x * r.x + r.y * r.y + r.z * r.z) / 6.4e6;
    EXPECT_NEAR(uvw.x, ref.u, 1e-11 * scale);
    EXPECT_NEAR(uvw.y, ref.v, 1e-11 * scale);
    EXPECT_NEAR(uvw.z, ref.w, 1e-11 * scale);
  }
}

// The full apparent place of ERFA (light deflection by the Sun, the true speed of light in the
// aberration) differs from the 500 s per AU rule by about 0.2 % of the annual aberration: a few
// nanoseconds on a transcontinental baseline. This bounds the difference and shows it is real.
TEST(GroundUVWAgainstErfa, DifferenceFromFullApparentPlaceIsBounded) {
  double max_diff = 0;
  for (const Case& c : kCases) {
    ASampleFrame f;
    MakeSampleFrame(JulianDay(c.day, c.month, c.year), c.t_s, c.ra, c.dec, f);
    double dat = 0;
    eraDat(c.year, c.month, c.day, 0.0, &dat);
    const double utc1 = JulianDay(c.day, c.month, c.year), utc2 = c.t_s * 1.157407407e-05;
    const double tt2 = utc2 + (dat + 32.184) / 86400.0;
    double ri = 0, di = 0, eo = 0;
    eraAtci13(c.ra, c.dec, 0, 0, 0, 0, utc1, tt2, &ri, &di, &eo);
    const double era = eraEra00(utc1, utc2);
    for (const Station& st : kStations) {
      // CIRS station vector: the Earth-fixed vector turned by the Earth rotation angle.
      const double x = st.x * std::cos(era) - st.y * std::sin(era), y = st.x * std::sin(era) + st.y * std::cos(era);
      const double along = std::sin(ri) * y + std::cos(ri) * x;
      const double u = (std::cos(ri) * y - std::sin(ri) * x) / 299792458.0;
      const double v = (std::cos(di) * st.z - std::sin(di) * along) / 299792458.0;
      AMXYZ uvw;
      GroundUVW(f, {st.x, st.y, st.z}, {}, 0.0, 180.0, uvw);
      max_diff = std::max({max_diff, std::fabs(uvw.x - u), std::fabs(uvw.y - v)});
      EXPECT_NEAR(uvw.x, u, 1.5e-8) << st.id;
      EXPECT_NEAR(uvw.y, v, 1.5e-8) << st.id;
    }
  }
  EXPECT_GT(max_diff, 1e-11);  // the two rules do differ measurably
  std::printf("largest difference from the full apparent place: %.3g s\n", max_diff);
}

TEST(SampleFrame, TimeScalesAndStationMotion) {
  ASampleFrame f;
  // 2017-01-01 00:00:10 UTC: TAI - UTC = 37 s, TT - UTC = 69.184 s.
  MakeSampleFrame(JulianDay(1, 1, 2017), 10.0, 0.0, 0.0, f);
  EXPECT_NEAR(((f.tt1 - JulianDay(1, 1, 2017)) + f.tt2) * 86400.0, 10.0 + 69.184, 1e-5);
  // A day earlier TAI - UTC was 36 s.
  MakeSampleFrame(JulianDay(31, 12, 2016), 10.0, 0.0, 0.0, f);
  EXPECT_NEAR(((f.tt1 - JulianDay(31, 12, 2016)) + f.tt2) * 86400.0, 10.0 + 68.184, 1e-5);
  // The station velocity term: v m/yr moves the station by v (JD - J2000) / 365.25 days.
  MakeSampleFrame(JulianDay(1, 1, 2010), 0.0, 0.3, 0.2, f);
  const double shift = 0.05 * (f.jd_utc - 2451545.0) / 365.25;  // about 0.5 m in ten years
  AMXYZ moved, fixed;
  GroundUVW(f, {4e6, 1e6, 4e6}, {0.05, 0, -0.05}, 0, 180, moved);
  GroundUVW(f, {4e6 + shift, 1e6, 4e6 - shift}, {}, 0, 180, fixed);
  EXPECT_NEAR(moved.x, fixed.x, 1e-16);
  EXPECT_NEAR(moved.y, fixed.y, 1e-16);
  EXPECT_NEAR(moved.z, fixed.z, 1e-16);
  AMXYZ still;
  GroundUVW(f, {4e6, 1e6, 4e6}, {}, 0, 180, still);
  EXPECT_GT(std::fabs(moved.z - still.z), 1e-10);
}

}  // namespace

// The interpolated frames of a run against the exact ones over more than a day, in steps that are
// not a divisor of the knot spacing, and once backwards (the knots are computed again).
// On an ordinary day the difference is micrometres on the ground and below a millimetre at
// 300 000 km. On a day that ends with a leap second the exact frames jump by the one second of
// TT (1e-11 rad of precession) at midnight, which the knots spread over ten minutes: below 1 cm.
TEST(SampleFrameSeries, MatchesTheExactFrames) {
  struct Day {
    int d, m, y;
    double ground_s, orbit_s, gast_rad;
  } days[] = {{14, 3, 2026, 1e-14, 2e-12, 3e-12}, {31, 12, 2016, 1e-12, 3e-11, 2e-11}};
  for (const Day& day : days) {
    SCOPED_TRACE(day.y);
    const double jd0 = JulianDay(day.d, day.m, day.y);
    const double ra = 3.7, dec = -0.45;
    ASampleFrameSeries series(jd0, ra, dec);
    const AMXYZ station{4075539.5, -931735.3, 4801629.4};  // Effelsberg, (X, -Y, Z) of the catalogue
    const AMXYZ orbit{150e6, -260e6, 90e6};                  // 300 000 km out, metres
    double worst_ground = 0, worst_orbit = 0, worst_gast = 0;
    std::vector<double> times;
    for (double t = 0; t <= 93000; t += 37.0) times.push_back(t);
    times.push_back(12000.5);
    for (double t : times) {
      ASampleFrame exact, fast;
      MakeSampleFrame(jd0, t, ra, dec, exact);
      series.Frame(t, fast);
      AMXYZ a, b;
      GroundUVW(exact, station, {}, 0, 180, a);
      GroundUVW(fast, station, {}, 0, 180, b);
      worst_ground = std::max({worst_ground, std::fabs(a.x - b.x), std::fabs(a.y - b.y), std::fabs(a.z - b.z)});
      a = InertialUVW(exact, orbit);
      b = InertialUVW(fast, orbit);
      worst_orbit = std::max({worst_orbit, std::fabs(a.x - b.x), std::fabs(a.y - b.y), std::fabs(a.z - b.z)});
      worst_gast =
          std::max(worst_gast, std::fabs(std::remainder(exact.gast_rad - fast.gast_rad, 2 * std::numbers::pi)));
      EXPECT_EQ(exact.jd_utc, fast.jd_utc);
    }
    EXPECT_LT(worst_ground, day.ground_s);  // seconds of light travel: 1e-14 s is 3 micrometres
    EXPECT_LT(worst_orbit, day.orbit_s);
    EXPECT_LT(worst_gast, day.gast_rad);
    EXPECT_GT(worst_orbit, 0.0);  // the series really interpolates
  }
}
