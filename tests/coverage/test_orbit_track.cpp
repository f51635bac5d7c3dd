#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <numbers>

#include "core/astro_time.h"
#include "coverage/orbit_track.h"
#include "coverage/uv_plane.h"
#include "coverage_fixture.h"

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kEarthRadiusKm = 6378.0;

// An orbital telescope from elements in catalogue order: a [km], e, i, node, argp [deg], epoch
// [JD], M0 [deg].
AMTlscItem Orbital(const char* name, double a_km, double e, double inc_deg, double epoch_jd, double m0_deg = 0) {
  AMTlscItem t;
  t.name = name;
  t.id_name = name;
  t.kind = kTlscOrbital;
  const double p[8] = {a_km, e, inc_deg, 0.0, 0.0, epoch_jd, m0_deg, 0.0};
  for (int k = 0; k < 8; ++k) t.params[k] = p[k];
  return t;
}

AMObservation Day(const std::string& folder, double ra_time_s, double dec_arcsec) {
  AMObservation obs(folder + "/");
  obs.day = 15;
  obs.month = 1;
  obs.year = 2025;
  obs.ra_time_s = ra_time_s;
  obs.dec_arcsec = dec_arcsec;
  obs.time_step_s = 10.0;
  obs.intervals.Add({0.0, 86400.0, 1, 0});
  return obs;
}

using OrbitTrack = CoverageDir;

// Circular orbits of radius a seen along a direction in the orbit plane are blocked while the
// position is within 6378 km of the line of sight: a share 2 asin(6378 / a) / pi of the time.
TEST_F(OrbitTrack, CircularOrbitsBlockedShareMatchesGeometry) {
  struct Case {
    const char* what;
    double inc_deg, dec_arcsec, blocked_share;
  };
  const double in_plane = 2.0 * std::asin(kEarthRadiusKm / 10000.0) / kPi;  // 0.440
  const Case cases[] = {
      {"equatorial orbit, source on the equator", 0.0, 0.0, in_plane},
      {"equatorial orbit, source at the pole", 0.0, 324000.0, 0.0},
      {"polar orbit, source at the pole", 90.0, 324000.0, in_plane},
  };
  for (const Case& c : cases) {
    AMObservation obs = Day(dir_.string(), 0.0, c.dec_arcsec);
    const double jd0 = JulianDay(15, 1, 2025);
    obs.telescopes.Add(Ground("G", 6378000.0, 0.0, 0.0));  // ground telescopes get no track
    obs.telescopes.Add(Orbital("C10", 10000.0, 0.0, c.inc_deg, jd0));
    const std::vector<AMOrbitTrack> tracks = SampleOrbits(obs, "");
    ASSERT_EQ(tracks.size(), 1u) << c.what;
    const AMOrbitTrack& t = tracks[0];
    EXPECT_EQ(t.telescope, 1);
    EXPECT_EQ(t.name, "C10");
    EXPECT_TRUE(t.error.empty());
    ASSERT_EQ(t.samples.size(), 8640u) << c.what;  // 10 s to 86400 s: the first sample comes one step late
    EXPECT_EQ(t.visible + t.blocked, 8640);
    EXPECT_EQ(t.no_position, 0);
    // About 8.7 revolutions: the unfinished one moves the share by well under one per cent.
    EXPECT_NEAR(t.BlockedFraction(), c.blocked_share, 0.01) << c.what;
    EXPECT_DOUBLE_EQ(t.VisibleFraction() + t.BlockedFraction(), 1.0);
    for (const AMOrbitSample& s : t.samples) {
      // Nearly circular: with the drifting node and perigee, the propagation's plus sign of
      // cos(node) sin(w) stretches the orbit by up to 0.14 of its radius after a day.
      const double radius_km = std::sqrt(s.r_m.x * s.r_m.x + s.r_m.y * s.r_m.y + s.r_m.z * s.r_m.z) / 1000.0;
      ASSERT_NEAR(radius_km, 10000.0, 1500.0) << c.what;
      // On the plane of the sky the Earth is a disc of 6378 km: blocked exactly inside it.
      const double off_axis_km = std::hypot(s.east_km, s.north_km);
      if (std::fabs(off_axis_km - kEarthRadiusKm) > 1e-6) {
        ASSERT_EQ(s.blocked, off_axis_km < kEarthRadiusKm) << c.what;
      }
    }
  }
}

// The elements reach the propagation in its own order (mean anomaly before epoch): at the zero
// epoch it agrees with the UV plane's two-body propagation, which reads the catalogue order.
TEST_F(OrbitTrack, ElementsAgreeWithTwoBodyAtTheirEpoch) {
  AMObservation obs = Day(dir_.string(), 16 * 3600.0, 40 * 3600.0);
  const double jd0 = JulianDay(15, 1, 2025);
  obs.telescopes.Add(Orbital("HEO", 170000.0, 0.94, 51.6, jd0 + 0.5, 180.0));
  obs.telescopes[0].params[tlsc::kNodeDeg] = 60.0;
  obs.telescopes[0].params[tlsc::kPerigeeArgDeg] = 280.0;
  const std::vector<AMOrbitTrack> tracks = SampleOrbits(obs, "");
  ASSERT_EQ(tracks.size(), 1u);
  const AMOrbitSample* noon = nullptr;
  for (const AMOrbitSample& s : tracks[0].samples)
    if (s.t_s == 43200.0) noon = &s;
  ASSERT_NE(noon, nullptr);
  const AMXYZ km = TwoBodyPositionKm(obs.telescopes[0].params, jd0 + 0.5);
  EXPECT_NEAR(noon->r_m.x, km.x * 1000.0, 1.0);
  EXPECT_NEAR(noon->r_m.y, km.y * 1000.0, 1.0);
  EXPECT_NEAR(noon->r_m.z, km.z * 1000.0, 1.0);
}

TEST_F(OrbitTrack, OrbitFileInterpolatedAndMissingFileReported) {
  // Source along +x: the distance from the line of sight is hypot(y, z).
  {
    std::ofstream f(Path("track.org"));
    f << "CCSDS_OEM_VERS = 2.0\nMETA_STOP\nepoch x y z\n"
      << "2025-01-15T13:00:00.000 0.0 7000.0 0.0\n"
      << "2025-01-15T13:05:00.000 0.0 5000.0 3000.0\n"
      << "2025-01-15T13:10:00.000 0.0 5000.0 3000.0\n";
  }
  AMObservation obs = Day(dir_.string(), 0.0, 0.0);
  obs.time_step_s = 60.0;
  obs.intervals[0] = {12 * 3600.0 + 58 * 60, 13 * 3600.0 + 12 * 60, 1, 0};  // 12:58 .. 13:12
  AMTlscItem from_file = Orbital("FILE", 7000.0, 0.0, 0.0, 2460000.5);
  from_file.use_orbit_file = 1;
  from_file.orbit_file = "track.org";  // relative to the folder handed in
  AMTlscItem missing = from_file;
  missing.name = "LOST";
  missing.orbit_file = Path("nowhere.org");
  obs.telescopes.Add(from_file);
  obs.telescopes.Add(missing);
  obs.telescopes.Add(Orbital("ELEM", 20000.0, 0.0, 0.0, 2460000.5));
  const std::vector<AMOrbitTrack> tracks = SampleOrbits(obs, dir_.string() + "/");
  ASSERT_EQ(tracks.size(), 3u);

  const AMOrbitTrack& t = tracks[0];
  EXPECT_TRUE(t.from_file);
  ASSERT_EQ(t.samples.size(), 15u);
  // 12:58, 12:59 before the table and 13:11, 13:12 after it have no position; 13:00 (7000 km
  // off the line) and 13:01 (f = 0.2: y 6600, z 600, 6627 km) are seen; from 13:02 (y 6200,
  // z 1200: 6315 km) to 13:10 the Earth is in the way.
  for (std::size_t k = 0; k < 15; ++k) {
    const AMOrbitSample& s = t.samples[k];
    EXPECT_EQ(s.t_s, 12 * 3600.0 + 58 * 60 + 60.0 * double(k));
    EXPECT_EQ(s.has_position, k >= 2 && k <= 12) << k;
    EXPECT_EQ(s.blocked, k >= 4 && k <= 12) << k;
  }
  EXPECT_DOUBLE_EQ(t.samples[3].r_m.y, 6600e3);
  EXPECT_DOUBLE_EQ(t.samples[3].r_m.z, 600e3);
  EXPECT_DOUBLE_EQ(t.samples[3].east_km, 6600.0);
  EXPECT_DOUBLE_EQ(t.samples[3].north_km, 600.0);
  EXPECT_EQ(t.visible, 2);
  EXPECT_EQ(t.blocked, 9);
  EXPECT_EQ(t.no_position, 4);
  EXPECT_DOUBLE_EQ(t.VisibleFraction(), 2.0 / 15.0);
  const std::vector<AMTimeSpan> spans = BlockedSpans(t);
  ASSERT_EQ(spans.size(), 1u);
  EXPECT_EQ(spans[0].start_s, 13 * 3600.0 + 2 * 60);
  EXPECT_EQ(spans[0].stop_s, 13 * 3600.0 + 10 * 60);

  EXPECT_EQ(tracks[1].name, "LOST");
  EXPECT_EQ(tracks[1].error, "Can`t open orbit fule: " + Path("nowhere.org"));
  EXPECT_TRUE(tracks[1].samples.empty());
  EXPECT_EQ(tracks[1].VisibleFraction(), 0.0);
  EXPECT_EQ(tracks[2].samples.size(), 15u);  // the others are still computed
  EXPECT_TRUE(tracks[2].error.empty());
}

TEST_F(OrbitTrack, SampleTimesFollowTheUVPlane) {
  // Unsorted intervals, a junction closer than one step, an empty interval: the times are those
  // the UV plane samples after Create sorted the intervals.
  AMObservation obs = SmallObservation(dir_.string());
  obs.intervals.Add({1300.0, 1200.0, 1, 0});
  obs.intervals.Add({1110.0, 1150.0, 1, 0});
  obs.intervals.Add({1000.0, 1100.0, 1, 0});
  const std::vector<double> times = OrbitSampleTimes(obs);
  EXPECT_EQ(times, (std::vector<double>{1000, 1020, 1040, 1060, 1080, 1100, 1130, 1150}));
  obs.intervals.RemoveAt(0);  // Create refuses a stop before the start
  ASSERT_TRUE(CheckForCreate(obs).ok);
  AMUVPlane plane;
  ASSERT_TRUE(plane.Calculate(obs, nullptr, nullptr, nullptr));
  EXPECT_EQ(plane.Samples(), std::int64_t(times.size()));

  // A cap on the count widens the step by a whole factor: 86401 times at 1 s, at most 1000 -> 87 s,
  // and the first time is then 87 s (0 comes less than one step after the initial -1).
  obs.intervals.SetSize(1);
  obs.intervals[0] = {0.0, 86400.0, 1, 0};
  obs.time_step_s = 1.0;
  const std::vector<double> capped = OrbitSampleTimes(obs, 1000);
  ASSERT_EQ(capped.size(), 86400u / 87);
  EXPECT_EQ(capped[0], 87.0);
  EXPECT_EQ(capped[1] - capped[0], 87.0);
  obs.intervals[0].stop = std::numeric_limits<double>::infinity();  // a damaged file: no endless loop
  EXPECT_TRUE(OrbitSampleTimes(obs, 1000).empty());
  for (const double bad : {0.0, -5.0, std::nan("")}) {
    obs.time_step_s = bad;
    EXPECT_TRUE(OrbitSampleTimes(obs).empty()) << bad;
  }
}

}  // namespace
