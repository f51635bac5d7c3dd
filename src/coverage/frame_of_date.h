#pragma once
// Geometry of one time sample in the true equator and equinox of date, and the projection of a
// telescope position onto the (u, v, w) axes of the observed source.
//
// Conventions (ERFA, IAU 2006/2000A):
//  - The sample times are UTC. TT = UTC + (TAI - UTC from ERFA's leap-second table) + 32.184 s.
//    UT1 is taken equal to UTC and polar motion is neglected (both below a metre at the surface).
//  - Earth-fixed station vectors (ITRF axes, right-handed) are turned into the frame of date by the
//    Greenwich apparent sidereal time: x' = X cos g - Y sin g, y' = X sin g + Y cos g, z' = Z.
//  - Inertial positions of orbiting telescopes are taken as GCRS (J2000 axes) and turned into the
//    frame of date by the bias-precession-nutation matrix.
//  - The source's catalogue direction (J2000) gets the annual aberration with the barycentric
//    velocity of the Earth in AU/day times 0.005787037037 as v/c (one astronomical unit of light
//    travel taken as 500 s) and is then turned into the frame of date.
// Everything that is the same for all telescopes is computed once per sample in ASampleFrame.

#include <climits>
#include <cstdint>

#include "coverage/orbits.h"

inline constexpr double kInvLightSpeed = 3.3356409519815204e-09;  // s/m
inline constexpr double kAuPerDayToC = 0.005787037037;
inline constexpr double kRaTimeToRad = 7.27220521664304e-05;      // seconds of time -> radians
inline constexpr double kDecArcsecToRad = 4.84813681109536e-06;  // the rounded constant of the UV plane
inline constexpr double kSecondsToDays = 1.157407407e-05;

struct ASampleFrame {
  double jd_utc = 0;       // JD0 + t * 1.157407407e-05
  double tt1 = 0, tt2 = 0; // TT as a two-part Julian date
  double gast_rad = 0;     // Greenwich apparent sidereal time
  double cos_gast = 1, sin_gast = 0;
  double npb[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};  // GCRS -> true equator and equinox of date
  double src[3] = {1, 0, 0};                             // apparent unit vector of the source, of date
  double sin_ra = 0, cos_ra = 1, sin_dec = 0, cos_dec = 1;  // of the apparent direction
};

// Geometry at the instant jd0_utc + t_s * 1.157407407e-05 for the source at the J2000 direction
// (ra_rad, dec_rad). jd0_utc is the observation date at 0h UTC, t_s seconds from it.
void MakeSampleFrame(double jd0_utc, double t_s, double ra_rad, double dec_rad, ASampleFrame& frame);

// Frames for the many samples of one run. The parts that change slowly (the precession-nutation
// matrix, the equation of the origins, the apparent direction of the source) are computed exactly
// at knots every `knot_s` seconds and interpolated linearly between them; the Earth rotation angle
// is exact at every sample, so the sidereal time is ERA - EO as in MakeSampleFrame. Over 600 s the
// interpolation error of the matrix is below 1e-12 rad (0.01 mm at 10 000 km); the tests compare
// the series with MakeSampleFrame over a day. Knots are kept for the last two knot times, so
// times asked in increasing order compute each knot once.
class ASampleFrameSeries {
 public:
  ASampleFrameSeries(double jd0_utc, double ra_rad, double dec_rad, double knot_s = 600.0);
  void Frame(double t_s, ASampleFrame& frame);

 private:
  struct Knot {
    std::int64_t index = INT64_MIN;
    double tt_minus_utc_days = 0;
    double npb[3][3];
    double eo = 0;      // equation of the origins, radians
    double src[3];      // apparent unit vector of the source, of date
  };
  const Knot& KnotAt(std::int64_t index);

  double jd0_, ra_, dec_, knot_s_;
  Knot knots_[2];
};

// (u, v, w) in seconds of light travel of a position (x', y', z') already in the frame of date:
// u = (cos a y' - sin a x')/c, v = (cos d z' - sin d (sin a y' + cos a x'))/c,
// w = (cos d (sin a y' + cos a x') + sin d z')/c, with a, d the apparent direction.
inline AMXYZ ProjectOfDate(const ASampleFrame& f, double x, double y, double z) {
  const double along_ra = f.sin_ra * y + f.cos_ra * x;
  return {(f.cos_ra * y - f.sin_ra * x) * kInvLightSpeed,
          (f.cos_dec * z - f.sin_dec * along_ra) * kInvLightSpeed,
          (f.cos_dec * along_ra + f.sin_dec * z) * kInvLightSpeed};
}

// (u, v, w) of an inertial (GCRS) position in metres.
AMXYZ InertialUVW(const ASampleFrame& f, const AMXYZ& r_gcrs_m);

// A ground station: `itrf_m` is the Earth-fixed vector (X, -Y, Z of the catalogue, whose Y is kept
// negated), `vel_m_per_yr` a linear station motion from J2000.0 (zero in the UV-plane computation).
// Writes the station's (u, v, w) and returns 1 when the geocentric zenith angle of the source,
// atan2(|r x s|, r . s), lies within [zmin_deg, zmax_deg] (both ends included), else 0 (the uvw
// are written in either case).
int GroundUVW(const ASampleFrame& f, const AMXYZ& itrf_m, const AMXYZ& vel_m_per_yr, double zmin_deg,
              double zmax_deg, AMXYZ& uvw);
