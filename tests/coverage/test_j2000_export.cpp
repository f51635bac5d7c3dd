// The UVFITS export of a task-1 file puts UU, VV, WW on the axes of the J2000 phase centre: checked
// against J2000 (u, v, w) computed here from the station positions with ERFA's terrestrial-to-
// celestial matrix (rigid Earth: zero polar motion, UT1 = UTC), for an observation 30 years after
// J2000, where the frame of date has turned by 0.4 degrees.
#include <fitsio.h>
#include <gtest/gtest.h>

#include <erfa.h>

#include <algorithm>
#include <cmath>

#include "core/astro_time.h"
#include "core/sky_frame.h"
#include "coverage/uv_plane.h"
#include "coverage/uvx_creation.h"
#include "coverage_fixture.h"
#include "uvx/uvfits_export.h"
#include "uvx/uvfits_import.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_records.h"

namespace {

constexpr double kC = 299792458.0;

// J2000 (u, v, w) in seconds of r(a) - r(b), both Earth-fixed (right-handed ITRF, metres), at
// UTC jd0 + t_s, for the J2000 direction (ra, dec): east = pole x s, north = s x east.
void ReferenceJ2000(const double a[3], const double b[3], double jd0, double t_s, double ra, double dec, double out[3]) {
  const double frac = t_s / 86400.0;
  int iy = 0, im = 0, id = 0;
  double fd = 0, dat = 0;
  ASSERT_EQ(eraJd2cal(jd0, frac, &iy, &im, &id, &fd), 0);
  ASSERT_GE(eraDat(iy, im, id, fd, &dat), 0);
  double c2t[3][3];
  eraC2t06a(jd0, frac + (dat + 32.184) / 86400.0, jd0, frac, 0.0, 0.0, c2t);
  double d[3] = {a[0] - b[0], a[1] - b[1], a[2] - b[2]}, r[3];
  eraTrxp(c2t, d, r);
  const double s[3] = {std::cos(dec) * std::cos(ra), std::cos(dec) * std::sin(ra), std::sin(dec)};
  double east[3] = {-s[1], s[0], 0.0};
  const double n = std::hypot(east[0], east[1]);
  for (double& e : east) e /= n;
  const double north[3] = {s[1] * east[2] - s[2] * east[1], s[2] * east[0] - s[0] * east[2],
                           s[0] * east[1] - s[1] * east[0]};
  const double* axes[3] = {east, north, s};
  for (int k = 0; k < 3; ++k) out[k] = (axes[k][0] * r[0] + axes[k][1] * r[1] + axes[k][2] * r[2]) / kC;
}

struct Deviation {
  double worst = 0;  // largest |exported - reference| / |b|
  long groups = 0;
};

// Compares the UU, VV, WW of every group of `fits` with the reference for the observation's
// stations (telescope numbers are 1-based indices into obs.telescopes).
Deviation CompareWithReference(const std::string& fits, const std::string& uvx, const AMObservation& obs) {
  Deviation dev;
  AUVXFile in;
  EXPECT_TRUE(in.Open(uvx, AUVXFile::modeRead));
  fitsfile* f = nullptr;
  int st = 0;
  EXPECT_EQ(fits_open_diskfile(&f, fits.c_str(), READONLY, &st), 0);
  const double ra = obs.ra_time_s * kRaTimeToRad, dec = obs.dec_arcsec * kDecArcsecToRad;
  AUVXGroup g;
  for (std::int64_t i = 0; i < in.Groups(); ++i) {
    EXPECT_TRUE(in.SeekUVGroup(i) && g.load(in));
    double p[3];
    fits_read_grppar_dbl(f, long(i + 1), 1, 3, p, &st);
    double xyz[2][3];
    for (int k = 0; k < 2; ++k) {
      const AMTlscItem& t = obs.telescopes[(k == 0 ? g.tel1 : g.tel2) - 1];
      xyz[k][0] = t.params[tlsc::kX], xyz[k][1] = -t.params[tlsc::kY], xyz[k][2] = t.params[tlsc::kZ];
    }
    double ref[3];
    ReferenceJ2000(xyz[0], xyz[1], in.Header().jd0, in.Header().time + g.time, ra, dec, ref);
    const double length = std::sqrt(ref[0] * ref[0] + ref[1] * ref[1] + ref[2] * ref[2]);
    for (int k = 0; k < 3; ++k) dev.worst = std::max(dev.worst, std::fabs(p[k] - ref[k]) / length);
    ++dev.groups;
  }
  fits_close_file(f, &st);
  EXPECT_EQ(st, 0);
  return dev;
}

// Largest difference of u, v, w between two UVX files of the same groups, relative to |b|.
double WorstUVWDifference(const std::string& a_path, const std::string& b_path) {
  AUVXFile a, b;
  EXPECT_TRUE(a.Open(a_path, AUVXFile::modeRead) && b.Open(b_path, AUVXFile::modeRead));
  EXPECT_EQ(a.Groups(), b.Groups());
  AUVXGroup ga, gb;
  double worst = 0;
  for (std::int64_t i = 0; i < std::min(a.Groups(), b.Groups()); ++i) {
    EXPECT_TRUE(a.SeekUVGroup(i) && ga.load(a) && b.SeekUVGroup(i) && gb.load(b));
    const double length = std::sqrt(double(ga.u) * ga.u + double(ga.v) * ga.v + double(ga.w) * ga.w);
    worst = std::max({worst, std::fabs(ga.u - gb.u) / length, std::fabs(ga.v - gb.v) / length,
                      std::fabs(ga.w - gb.w) / length});
  }
  return worst;
}

}  // namespace

using J2000Export = CoverageDir;

TEST_F(J2000Export, UVWAgreeWithAnIndependentJ2000GeometryAndTheDateFrameDoesNot) {
  AMObservation obs = SmallObservation(dir_.string());
  obs.year = 2030;
  obs.source_name = "0716+714";  // far north: precession turns its (u, v) axes by 8e-3 rad in 30 years
  obs.ra_time_s = 7 * 3600 + 21 * 60 + 53.4484;
  obs.dec_arcsec = 71 * 3600 + 20 * 60 + 36.363;
  obs.intervals.Add({0.0, 86000.0, 1, 0});  // a day: every hour angle, both knots' interpolation
  obs.time_step_s = 2000.0;
  AMUVPlane plane;
  ASSERT_TRUE(plane.Calculate(obs, nullptr, nullptr, nullptr));
  ASSERT_TRUE(CreateZeroUVX(plane.UVPath(), obs, obs.output_path, nullptr, nullptr, nullptr));

  std::string error;
  const std::string j2000 = Path("j2000.uvfits"), date = Path("date.uvfits");
  UVFitsSummary sum;
  ASSERT_TRUE(ExportUVFITS(obs.output_path, j2000, nullptr, nullptr, nullptr, error, &sum)) << error;
  EXPECT_TRUE(sum.j2000);
  ASSERT_TRUE(ExportUVFITS(obs.output_path, date, nullptr, nullptr, nullptr, error, nullptr, UVFitsWeights::Auto,
                           UVFitsFrame::Date)) << error;

  const Deviation good = CompareWithReference(j2000, obs.output_path, obs);
  EXPECT_GT(good.groups, 200);
  // Float32 rounding of the file is 6e-8 of |b|; what readers add (UT1 - UTC, polar motion) stays
  // below 1e-4.
  EXPECT_LT(good.worst, 1e-6);
  const Deviation stored = CompareWithReference(date, obs.output_path, obs);
  EXPECT_GT(stored.worst, 3e-3);

  // Import turns them back into the frame of date: the UVX file again, to float rounding; read as
  // stored they would stay on J2000 axes.
  const std::string back = Path("back.uvx"), raw = Path("raw.uvx"), again = Path("again.uvfits");
  ASSERT_TRUE(ImportUVFITS(j2000, back, nullptr, nullptr, nullptr, error, &sum)) << error;
  EXPECT_TRUE(sum.j2000);
  ASSERT_TRUE(ImportUVFITS(j2000, raw, nullptr, nullptr, nullptr, error, &sum, UVFitsFrame::Date)) << error;
  EXPECT_LT(WorstUVWDifference(obs.output_path, back), 2e-7);
  EXPECT_GT(WorstUVWDifference(obs.output_path, raw), 3e-3);
  // And import -> export gives the original UU, VV, WW back to float precision.
  ASSERT_TRUE(ExportUVFITS(back, again, nullptr, nullptr, nullptr, error)) << error;
  EXPECT_LT(CompareWithReference(again, back, obs).worst, 1e-6);
}
