// The choices beyond the classic UV plane: the Earth hiding the source from an orbiting telescope
// (the half-line test) and the ground stations' azimuth limits, against independent geometry.
#include <gtest/gtest.h>

#include <erfa.h>

#include <cmath>
#include <numbers>

#include "core/astro_time.h"
#include "coverage/frame_of_date.h"
#include "coverage/obs_preflight.h"
#include "coverage/uv_plane.h"
#include "coverage_fixture.h"

namespace {

constexpr double kR = 6378000.0;

// A GCRS position whose frame-of-date coordinates are `along` metres towards the source plus
// `aside` metres perpendicular to it.
AMXYZ PositionOfDate(const ASampleFrame& f, double along, double aside) {
  const double* s = f.src;
  double perp[3] = {-s[1], s[0], 0.0};
  const double n = std::hypot(perp[0], perp[1]);
  double d[3];
  for (int k = 0; k < 3; ++k) d[k] = along * s[k] + aside * perp[k] / n;
  AMXYZ g;  // npb^T . d
  g.x = f.npb[0][0] * d[0] + f.npb[1][0] * d[1] + f.npb[2][0] * d[2];
  g.y = f.npb[0][1] * d[0] + f.npb[1][1] * d[1] + f.npb[2][1] * d[2];
  g.z = f.npb[0][2] * d[0] + f.npb[1][2] * d[1] + f.npb[2][2] * d[2];
  return g;
}

AMTlscItem LowOrbit() {
  AMTlscItem t;
  t.name = "LEO";
  t.id_name = "LE";
  t.kind = kTlscOrbital;
  const double elements[8] = {7000.0, 0.01, 51.6, 40.0, 10.0, 2460384.5, 0.0, 0.0};
  std::copy(elements, elements + 8, t.params);
  return t;
}

}  // namespace

TEST(EarthBlocking, HalfLineTestAgainstPlacedTelescopes) {
  ASampleFrame f;
  MakeSampleFrame(JulianDay(15, 3, 2024), 3600.0, 3.2, 0.4, f);
  const struct {
    double along, aside;
    bool blocked;
  } cases[] = {
      {-2 * kR, 0, true},               // behind the Earth
      {2 * kR, 0, false},               // in front: the line meets the Earth, the half-line does not
      {-2 * kR, kR + 10e3, false},      // the line of sight passes 10 km above the surface
      {-2 * kR, kR - 10e3, true},       // ... or 10 km below it
      {0.0, kR + 500e3, false},         // beside the Earth, looking past its limb
      {-0.5 * kR, 0.5 * kR, true},      // inside the Earth
  };
  for (const auto& c : cases)
    EXPECT_EQ(EarthBlocks(f, PositionOfDate(f, c.along, c.aside)), c.blocked) << c.along << " " << c.aside;
}

TEST(AzimuthLimits, AzimuthAgreesWithErfaHourAngleToAzimuth) {
  const AMXYZ stations[] = {{-1324009.3, 5332181.955, 3231962.395},  // Fort Davis (ITRF, right-handed)
                            {4033921.036, 486929.425, 4900366.871},  // Effelsberg
                            {-4554231.5, 2816759.1, -3454036.3}};    // Parkes
  for (const AMXYZ& st : stations)
    for (double t : {0.0, 20000.0, 50000.0}) {
      ASampleFrame f;
      MakeSampleFrame(JulianDay(1, 7, 2026), t, 4.5, 0.7, f);
      const double ra = std::atan2(f.src[1], f.src[0]), dec = std::asin(f.src[2]);
      const double lat = std::atan2(st.z, std::hypot(st.x, st.y)), lon = std::atan2(st.y, st.x);
      double az = 0, el = 0;
      eraHd2ae(f.gast_rad + lon - ra, dec, lat, &az, &el);
      EXPECT_NEAR(GroundAzimuthDeg(f, st), az * 180.0 / std::numbers::pi, 1e-9) << t;
    }
  const struct {
    double az, lo, hi;
    bool in;
  } within[] = {{90, 0, 180, true}, {270, 0, 180, false}, {10, 300, 60, true}, {200, 300, 60, false},
                {0, 0, 360, true},  {360, 0, 360, true}};
  for (const auto& w : within) EXPECT_EQ(AzimuthWithin(w.az, w.lo, w.hi), w.in) << w.az << " " << w.lo << " " << w.hi;
}

using UVPlaneOptions = CoverageDir;

TEST_F(UVPlaneOptions, OptionsLeaveOutExactlyTheSamplesTheyCount) {
  AMObservation obs = SmallObservation(dir_.string());
  obs.telescopes.SetSize(2);
  obs.telescopes[0].params[tlsc::kAzMin] = 0;  // MK: the eastern half of the sky only
  obs.telescopes[0].params[tlsc::kAzMax] = 180;
  obs.telescopes.Add(LowOrbit());
  obs.intervals.Add({0.0, 86000.0, 1, 0});  // a day: every azimuth
  obs.time_step_s = 200.0;
  AMUVPlane classic, blocked, azimuth;
  ASSERT_TRUE(classic.Calculate(obs, nullptr, nullptr, nullptr));
  ASSERT_TRUE(blocked.Calculate(obs, nullptr, nullptr, nullptr, {true, false}));
  ASSERT_TRUE(azimuth.Calculate(obs, nullptr, nullptr, nullptr, {false, true}));
  const std::int64_t samples = classic.Samples();
  const std::int64_t hidden = classic.BlockedSamples()[2], outside = classic.BlockedSamples()[0];
  // A low orbit spends a good part of each 100-minute revolution behind the Earth.
  EXPECT_GT(hidden, samples / 5);
  EXPECT_LT(hidden, samples);
  EXPECT_EQ(classic.SeenSamples()[2], samples);  // counted, not applied
  EXPECT_EQ(blocked.SeenSamples()[2], samples - hidden);
  EXPECT_EQ(blocked.BlockedSamples()[2], hidden);
  EXPECT_EQ(azimuth.SeenSamples()[0], classic.SeenSamples()[0] - outside);
  EXPECT_GT(outside, 0);
  EXPECT_LT(outside, classic.SeenSamples()[0]);
  // Each sample a telescope loses removes its baselines to every telescope seeing the source then;
  // here the two others always see it when it does not.
  EXPECT_EQ(classic.Points() - blocked.Points(), 2 * hidden);

  const std::vector<std::string> counts = EarthBlockedCounts(obs, classic);
  ASSERT_EQ(counts.size(), 1u);
  EXPECT_EQ(counts[0], "LEO: " + std::to_string(hidden) + " of " + std::to_string(samples) + " samples");
}

TEST_F(UVPlaneOptions, PreflightTellsWhenNoTwoTelescopesSeeTheSource) {
  AMObservation obs = SmallObservation(dir_.string());
  obs.telescopes.SetSize(0);
  // Mauna Kea and Effelsberg, both limited to 30 degrees from the zenith: never together.
  obs.telescopes.Add(Ground("MK", -5464074.944, -2495249.079, 2148296.797, 30.0));
  obs.telescopes.Add(Ground("EF", 4033921.036, 486929.425, 4900366.871, 30.0));
  obs.intervals.Add({0.0, 86000.0, 1, 0});
  const AMPreflight none = PreflightObservation(obs, {}, true);
  EXPECT_TRUE(none.visibility_tested);
  EXPECT_FALSE(none.any_pair_sees);
  EXPECT_NE(none.why_no_pair.find("no two telescopes saw the source at the same time"), std::string::npos);
  EXPECT_NE(none.why_no_pair.find(" MK "), std::string::npos) << none.why_no_pair;
  EXPECT_TRUE(Files().empty());  // the coarse run leaves no temporary file
  obs.telescopes[1].params[tlsc::kZMax] = 180.0;
  EXPECT_TRUE(PreflightObservation(obs, {}, true).any_pair_sees);
}
