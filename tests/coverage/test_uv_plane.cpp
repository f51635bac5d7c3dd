#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "core/astro_time.h"
#include "core/file.h"
#include "coverage/frame_of_date.h"
#include "coverage/uv_plane.h"
#include "coverage/uv_point.h"
#include "coverage_fixture.h"

namespace {

std::vector<AMUVPoint> ReadPoints(const std::string& path, AUVXHeader& header, std::string* raw = nullptr) {
  std::ifstream in(path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (raw) *raw = bytes;
  EXPECT_GE(bytes.size(), std::size_t{466});
  header.FromImage(reinterpret_cast<const unsigned char*>(bytes.data()));
  EXPECT_EQ(bytes.size(), 466 + std::size_t(header.groups) * 32);
  std::vector<AMUVPoint> points;
  for (std::size_t at = 466; at + 32 <= bytes.size(); at += 32)
    points.push_back(UnpackUVPoint(reinterpret_cast<const unsigned char*>(bytes.data()) + at));
  return points;
}

using UVPlaneRules = CoverageDir;

TEST_F(UVPlaneRules, SamplesPairsAndFileLayout) {
  AMObservation obs = SmallObservation(dir_.string());
  obs.freq.AddFreqId();
  obs.intervals.Add({1000.0, 1100.0, 1, 0});  // 1000, 1020, ..., 1100
  obs.intervals.Add({1110.0, 1150.0, 2, 0});  // 1110 comes 10 s after 1100: dropped; 1130, 1150 taken
  obs.intervals.Add({1300.0, 1200.0, 1, 0});  // stop before start: nothing
  AMUVPlane plane;
  ProgressRecorder progress;
  MessageRecorder messages;
  ASSERT_TRUE(plane.Calculate(obs, &progress, nullptr, &messages));
  EXPECT_TRUE(messages.shown.empty());
  EXPECT_EQ(plane.GetStatus(), AMUVPlane::kDone);
  ASSERT_EQ(progress.texts.size(), 2u);
  EXPECT_EQ(progress.texts[0], "Begin progess");
  EXPECT_EQ(progress.texts[1], "Calculate UV-Plane...");
  EXPECT_EQ(progress.range_high, 200);  // stop of the last interval - start of the first
  EXPECT_EQ(progress.position, 150);    // last sample - start of the first interval

  // The temporary file sits beside the output.
  EXPECT_EQ(std::filesystem::path(plane.UVPath()).parent_path(), dir_);
  EXPECT_EQ(std::filesystem::path(plane.UVPath()).extension(), ".$uv");

  AUVXHeader h;
  std::string raw;
  const auto points = ReadPoints(plane.UVPath(), h, &raw);
  const std::vector<double> times = {1000, 1020, 1040, 1060, 1080, 1100, 1130, 1150};
  ASSERT_EQ(points.size(), times.size() * 6);
  EXPECT_EQ(plane.Points(), int(points.size()));
  EXPECT_EQ(plane.Samples(), 8);
  const int pairs[6][2] = {{1, 2}, {1, 3}, {1, 4}, {2, 3}, {2, 4}, {3, 4}};
  for (std::size_t s = 0; s < times.size(); ++s) {
    for (int k = 0; k < 6; ++k) {
      const AMUVPoint& p = points[s * 6 + k];
      EXPECT_EQ(p.time, times[s]);
      EXPECT_EQ(p.tel1, pairs[k][0]);
      EXPECT_EQ(p.tel2, pairs[k][1]);
      EXPECT_EQ(p.freq_id, times[s] > 1100 ? 2 : 1);
    }
  }
  // Bytes 12..15 and 28..31 of every record are zero.
  for (std::size_t at = 466; at < raw.size(); at += 32) {
    EXPECT_EQ(std::count(raw.begin() + long(at) + 12, raw.begin() + long(at) + 16, '\0'), 4);
    EXPECT_EQ(std::count(raw.begin() + long(at) + 28, raw.begin() + long(at) + 32, '\0'), 4);
  }
  // Header image: count, epoch, date, texts, polarizations, frequency set-up, step, extremes.
  EXPECT_EQ(h.groups, 48);
  EXPECT_EQ(h.epoch, 2000.0);
  EXPECT_EQ(h.jd0, JulianDay(15, 3, 2024));
  EXPECT_EQ(h.one, 1);
  EXPECT_EQ(h.FluxUnit(), "Jy");
  EXPECT_EQ(h.Observer(), "QVL User");
  EXPECT_EQ(h.Origin(), "QVLMODEL");
  EXPECT_EQ(h.n_pol, 1);
  EXPECT_EQ(h.pol[0], -1);
  EXPECT_EQ(h.n_if, obs.freq.n_if);
  EXPECT_EQ(h.n_channels, obs.freq.n_channels);
  EXPECT_EQ(h.ref_freq_hz, obs.freq.ref_freq_hz);
  EXPECT_EQ(h.time_step_s, 20.0);
  float umin = 1e9f, umax = -1e9f, wmin = 1e9f, wmax = -1e9f;
  for (const auto& p : points) {
    umin = std::min(umin, p.u), umax = std::max(umax, p.u);
    wmin = std::min(wmin, p.w), wmax = std::max(wmax, p.w);
  }
  EXPECT_EQ(h.extremes.u_min, umin);
  EXPECT_EQ(h.extremes.u_max, umax);
  EXPECT_EQ(h.extremes.w_min, wmin);
  EXPECT_EQ(h.extremes.w_max, wmax);

  // Each record is the difference of the two stations' (u, v, w), the stations taken as
  // (X, -Y, Z) of their catalogue records.
  ASampleFrame f;
  MakeSampleFrame(JulianDay(15, 3, 2024), 1130.0, obs.ra_time_s * kRaTimeToRad, obs.dec_arcsec * kDecArcsecToRad, f);
  AMXYZ a, b;
  GroundUVW(f, {-5464074.944, -2495249.079, 2148296.797}, {}, 0, 180, a);  // MK
  GroundUVW(f, {4033921.036, 486929.425, 4900366.871}, {}, 0, 180, b);     // EF
  const AMUVPoint& mk_ef = points[6 * 6 + 1];
  EXPECT_EQ(mk_ef.u, float(a.x - b.x));
  EXPECT_EQ(mk_ef.v, float(a.y - b.y));
  EXPECT_EQ(mk_ef.w, float(a.z - b.z));
  // Orders of magnitude: a 10,000 km baseline is about 0.03 s of light travel.
  EXPECT_GT(std::fabs(mk_ef.w) + std::hypot(mk_ef.u, mk_ef.v), 0.005);

  // The file is removed with the object unless kept.
  const std::string path = plane.UVPath();
  plane.RemoveUVFile();
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(UVPlaneRules, TelescopesOutsideTheirZenithLimitsAreLeftOut) {
  AMObservation obs = SmallObservation(dir_.string());
  // At 00:30 UTC on 15 March 2024 3C 273 (RA 12h29m) is near the Greenwich meridian: 48 deg from
  // the zenith at Effelsberg, 152 deg at Mauna Kea.
  obs.telescopes[2].params[tlsc::kZMax] = 85.0;  // EF
  obs.telescopes[0].params[tlsc::kZMax] = 85.0;  // MK
  // Azimuth limits are not applied: a window that excludes everything changes nothing.
  obs.telescopes[0].params[tlsc::kAzMin] = 10.0;
  obs.telescopes[0].params[tlsc::kAzMax] = 11.0;
  obs.intervals.Add({1800.0, 1800.0, 1, 0});
  AMUVPlane plane;
  ASSERT_TRUE(plane.Calculate(obs, nullptr, nullptr, nullptr));
  AUVXHeader h;
  const auto points = ReadPoints(plane.UVPath(), h);
  ASSERT_EQ(points.size(), 3u);  // SC-EF, SC-PA, EF-PA (PA keeps Zmax 180)
  EXPECT_EQ(points[0].tel1, 2);
  EXPECT_EQ(points[0].tel2, 3);
  EXPECT_EQ(points[1].tel2, 4);
  EXPECT_EQ(points[2].tel1, 3);
  EXPECT_EQ(plane.SeenSamples()[0], 0);
  EXPECT_EQ(plane.SeenSamples()[2], 1);
  obs.telescopes[2].params[tlsc::kZMax] = 48.0;  // now EF is just outside
  ASSERT_TRUE(plane.Calculate(obs, nullptr, nullptr, nullptr));
  EXPECT_EQ(plane.Points(), 1);

  // The first sample must come at least one step after -1 s: an interval starting at 0h with a
  // 20 s step begins sampling at 20 s; with a 1 s step at 0 s.
  obs.intervals.SetSize(1);
  obs.intervals[0] = {0.0, 40.0, 1, 0};
  ASSERT_TRUE(plane.Calculate(obs, nullptr, nullptr, nullptr));
  EXPECT_EQ(plane.Samples(), 2);
  EXPECT_EQ(plane.Header().time, 20.0);
  obs.time_step_s = 1.0;
  obs.intervals[0].stop = 2.0;
  ASSERT_TRUE(plane.Calculate(obs, nullptr, nullptr, nullptr));
  EXPECT_EQ(plane.Samples(), 3);
  EXPECT_EQ(plane.Header().time, 0.0);
}

TEST_F(UVPlaneRules, NoPointGivesMessage304AndNoFile) {
  AMObservation obs = SmallObservation(dir_.string());
  for (int i = 0; i < 4; ++i) obs.telescopes[i].params[tlsc::kZMax] = 1e-9;  // nobody sees it
  obs.intervals.Add({0.0, 60.0, 1, 0});
  AMUVPlane plane;
  MessageRecorder messages;
  EXPECT_FALSE(plane.Calculate(obs, nullptr, nullptr, &messages));
  EXPECT_EQ(plane.GetStatus(), AMUVPlane::kNoPoints);
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0], "Small points. Resulting UV-points < 1.(0)");
  EXPECT_TRUE(Files().empty());
}

// Sets the stop flag at the n-th progress position.
class StopAt final : public ProgressSink {
 public:
  StopAt(StopFlag& flag, int n) : flag_(flag), n_(n) {}
  void SetPos(std::int64_t) override {
    if (++calls_ == n_) flag_ = 1;
  }

 private:
  StopFlag& flag_;
  int n_;
  int calls_ = 0;
};

TEST_F(UVPlaneRules, StopLeavesNoFile) {
  AMObservation obs = SmallObservation(dir_.string());
  obs.intervals.Add({0.0, 3600.0, 1, 0});
  StopFlag stop{1};
  AMUVPlane plane;
  EXPECT_FALSE(plane.Calculate(obs, nullptr, &stop, nullptr));
  EXPECT_EQ(plane.GetStatus(), AMUVPlane::kStopped);
  EXPECT_TRUE(Files().empty());
  stop = 0;
  StopAt stopper(stop, 5);
  EXPECT_FALSE(plane.Calculate(obs, &stopper, &stop, nullptr));
  EXPECT_EQ(plane.GetStatus(), AMUVPlane::kStopped);
  EXPECT_EQ(plane.Samples(), 5);
  EXPECT_TRUE(Files().empty());
}

TEST_F(UVPlaneRules, OrbitFilesAndElements) {
  AMObservation obs = SmallObservation(dir_.string());
  // An orbital telescope from an orbit file covering 00:00:00 to 00:01:00, another from elements.
  AMTlscItem orb;
  orb.name = "RA";
  orb.kind = kTlscOrbital;
  orb.use_orbit_file = 1;
  orb.orbit_file = Path("ra.org");
  obs.telescopes.Add(orb);
  AMTlscItem kep;
  kep.name = "KEP";
  kep.kind = kTlscOrbital;
  const double elements[8] = {20000.0, 0.3, 51.0, 10.0, 20.0, 2460384.5, 0.0, 0.0};
  std::copy(elements, elements + 8, kep.params);
  obs.telescopes.Add(kep);
  obs.intervals.Add({20.0, 120.0, 1, 0});

  MessageRecorder messages;
  AMUVPlane plane;
  EXPECT_FALSE(plane.Calculate(obs, nullptr, nullptr, &messages));
  EXPECT_EQ(plane.GetStatus(), AMUVPlane::kOrbitFailed);
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0], "Can`t open orbit fule: " + Path("ra.org"));
  EXPECT_TRUE(Files().empty());

  {
    std::ofstream org(Path("ra.org"));
    org << "META_START\nMETA_STOP\n\n"
        << "2024-03-15T00:00:00.000 100000.0 20000.0 30000.0\n"
        << "2024-03-15T00:01:00.000 100600.0 20000.0 30000.0";
  }
  ASSERT_TRUE(plane.Calculate(obs, nullptr, nullptr, &messages));
  AUVXHeader h;
  const auto points = ReadPoints(plane.UVPath(), h);
  // Samples 20..60 see all six telescopes (15 pairs); 80..120 are past the orbit table.
  ASSERT_EQ(points.size(), 3 * 15u + 3 * 10u);
  EXPECT_EQ(plane.SeenSamples()[4], 3);
  EXPECT_EQ(plane.SeenSamples()[5], 6);
  // At t = 20 s the orbit-file telescope is at (100200, 20000, 30000) km in the GCRS.
  ASampleFrame f;
  MakeSampleFrame(JulianDay(15, 3, 2024), 20.0, obs.ra_time_s * kRaTimeToRad, obs.dec_arcsec * kDecArcsecToRad, f);
  const AMXYZ sat = InertialUVW(f, {100200e3, 20000e3, 30000e3});
  const AMXYZ kep_uvw = InertialUVW(f, [&] {
    const AMXYZ km = TwoBodyPositionKm(elements, f.jd_utc);
    return AMXYZ{km.x * 1000, km.y * 1000, km.z * 1000};
  }());
  const AMUVPoint& p = points[14];  // first sample, last pair (5, 6)
  EXPECT_EQ(p.tel1, 5);
  EXPECT_EQ(p.tel2, 6);
  EXPECT_EQ(p.u, float(sat.x - kep_uvw.x));
  EXPECT_EQ(p.w, float(sat.z - kep_uvw.z));
  // A space baseline of ~100,000 km is about 0.3 s of light travel.
  EXPECT_GT(std::fabs(p.u) + std::fabs(p.v) + std::fabs(p.w), 0.1);
}

TEST_F(UVPlaneRules, RefusesStepsAndSamplingsThatWouldNotEnd) {
  const struct {
    double step, start, stop;
    AMUVPlane::Status status;
  } cases[] = {
      {0, 0, 100, AMUVPlane::kBadTimeStep},
      {1, 0, 1e12, AMUVPlane::kTooManySamples},    // would fill the disk
      {1, 1e17, 1e17, AMUVPlane::kTooManySamples},  // t += step would not advance
      {1e-9, 10, 10, AMUVPlane::kTooManySamples},
  };
  for (const auto& c : cases) {
    AMObservation obs = SmallObservation(dir_.string());
    obs.intervals.Add({c.start, c.stop, 1, 0});
    obs.time_step_s = c.step;
    AMUVPlane plane;
    MessageRecorder messages;
    EXPECT_FALSE(plane.Calculate(obs, nullptr, nullptr, &messages));
    EXPECT_EQ(plane.GetStatus(), c.status) << c.start;
    EXPECT_EQ(messages.shown.size(), 1u);
    EXPECT_TRUE(Files().empty());
  }
  // An orbit file holding "nan" is refused with its name and record; no temporary file remains.
  AMObservation obs = SmallObservation(dir_.string());
  obs.intervals.Add({0.0, 100.0, 1, 0});
  AMTlscItem orb;
  orb.name = "RA";
  orb.kind = kTlscOrbital;
  orb.use_orbit_file = 1;
  orb.orbit_file = Path("ra.org");
  obs.telescopes.Add(orb);
  {
    std::ofstream org(Path("ra.org"));
    org << "META_STOP\n\n2024-03-15T00:00:00 100000 nan 30000\n";
  }
  AMUVPlane plane;
  MessageRecorder messages;
  EXPECT_FALSE(plane.Calculate(obs, nullptr, nullptr, &messages));
  EXPECT_EQ(plane.GetStatus(), AMUVPlane::kOrbitFailed);
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0], "Orbit file " + Path("ra.org") + ": record 1: position is not a finite number");
  EXPECT_EQ(Files(), std::vector<std::string>{"ra.org"});
}

}  // namespace
