#pragma once
// Rotation of (u, v, w) between the frame a UVX file keeps them in and the axes of the J2000
// phase centre that UVFITS and Measurement Set readers expect.
//
// A UVX file holds u, v, w on the axes of the source's apparent direction in the true equator and
// equinox of date (sky_frame.h): with R(s) the matrix whose rows are the east, north and source
// unit vectors of a direction s, uvw_date = R(s_app) . NPB . b_gcrs for a baseline b_gcrs. The
// same baseline on the axes of the J2000 (catalogue) direction is R(s_J2000) . b_gcrs, so
//     uvw_J2000 = M . uvw_date,  M = R(s_J2000) . NPB^T . R(s_app)^T,
// an exact rotation: precession-nutation since J2000 turns the axes by up to 0.4 % of a radian per
// 30 years, the annual aberration moves the pole of the axes by up to 1e-4 rad.
//
// M changes slowly; it is computed in full at knots every 600 s (sky_frame.h's MakeSampleFrame)
// and interpolated linearly between them, well below 1e-12 rad from the exact matrix. The last
// time asked is remembered, so groups of one time sample cost one matrix product each.

#include <cstdint>

#include "core/sky_frame.h"

class AUVWFrameRotation {
 public:
  // jd0_utc: 0h UTC of the observation date; (ra_rad, dec_rad): the J2000 phase centre.
  AUVWFrameRotation(double jd0_utc, double ra_rad, double dec_rad, double knot_s = 600.0);

  // t_s: seconds from jd0_utc (the UVX header's start time plus the group's time).
  void ToJ2000(double t_s, const double uvw_date[3], double uvw_j2000[3]);
  void ToDate(double t_s, const double uvw_j2000[3], double uvw_date[3]);
  // The matrix M at t_s (date -> J2000); its transpose turns J2000 into date.
  void Matrix(double t_s, double m[3][3]);

 private:
  struct Knot {
    std::int64_t index = INT64_MIN;
    double m[3][3];
  };
  const Knot& KnotAt(std::int64_t index);

  double jd0_, ra_, dec_, knot_s_;
  double r_j2000_[3][3];
  Knot knots_[2];
  double last_t_ = 0;
  bool have_last_ = false;
  double last_m_[3][3];
};

// Rows east, north, towards the source of the direction (ra, dec): u, v, w axes.
void UVWAxes(double ra_rad, double dec_rad, double r[3][3]);
