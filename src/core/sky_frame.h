#pragma once
// The sky as seen at one instant of an observation: the true equator and equinox of date, the
// Earth's rotation, and the apparent direction of the source (ERFA, IAU 2006/2000A).
//
//  - The sample times are UTC. TT = UTC + (TAI - UTC from ERFA's leap-second table) + 32.184 s.
//    UT1 is taken equal to UTC and polar motion is neglected (both below a metre at the surface).
//  - The source's catalogue direction (J2000) gets the annual aberration with the barycentric
//    velocity of the Earth in AU/day times 0.005787037037 as v/c (one astronomical unit of light
//    travel taken as 500 s) and is then turned into the frame of date by the
//    bias-precession-nutation matrix.
// Everything that is the same for all telescopes is computed once per sample in ASampleFrame.

#include <climits>
#include <cstdint>

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

