#include "core/sky_frame.h"

#include <erfa.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>

namespace {
// TT - UTC of the current leap-second era, used when ERFA has no leap-second value for the date.
constexpr double kFallbackTtMinusUtc = 69.184;

void SetApparentDirection(const double src[3], ASampleFrame& f) {
  const double rho = std::hypot(src[0], src[1]);
  const double ra = std::atan2(src[1], src[0]);
  const double dec = std::atan2(src[2], rho);
  f.sin_ra = std::sin(ra);
  f.cos_ra = std::cos(ra);
  f.sin_dec = std::sin(dec);
  f.cos_dec = std::cos(dec);
}
}  // namespace

void MakeSampleFrame(double jd0_utc, double t_s, double ra_rad, double dec_rad, ASampleFrame& f) {
  const double frac = t_s * kSecondsToDays;
  f.jd_utc = jd0_utc + frac;

  // TAI - UTC of the instant's own date (t may run past midnight). The seconds of the sample are
  // SI seconds from 0h UTC, so TT is simply UTC + (TAI - UTC) + 32.184 s.
  int iy = 0, im = 0, id = 0;
  double fd = 0, dat = 0;
  if (eraJd2cal(jd0_utc, frac, &iy, &im, &id, &fd) != 0 || eraDat(iy, im, id, fd, &dat) < 0) {
    dat = kFallbackTtMinusUtc - 32.184;
  }
  f.tt1 = jd0_utc;
  f.tt2 = frac + (dat + 32.184) / 86400.0;

  eraPnm06a(f.tt1, f.tt2, f.npb);
  f.gast_rad = eraGst06(jd0_utc, frac, f.tt1, f.tt2, f.npb);  // UT1 taken as UTC
  f.cos_gast = std::cos(f.gast_rad);
  f.sin_gast = std::sin(f.gast_rad);

  // Annual aberration in the GCRS, then into the frame of date.
  double pvh[2][3], pvb[2][3];
  eraEpv00(f.tt1, f.tt2, pvh, pvb);
  double v[3];
  for (int k = 0; k < 3; ++k) v[k] = pvb[1][k] * kAuPerDayToC;
  const double bm1 = std::sqrt(1.0 - (v[0] * v[0] + v[1] * v[1] + v[2] * v[2]));
  double catalogue[3];
  eraS2c(ra_rad, dec_rad, catalogue);
  double apparent[3];
  eraAb(catalogue, v, eraPm(pvh[0]), bm1, apparent);
  eraRxp(f.npb, apparent, f.src);

  SetApparentDirection(f.src, f);
}

ASampleFrameSeries::ASampleFrameSeries(double jd0_utc, double ra_rad, double dec_rad, double knot_s)
    : jd0_(jd0_utc), ra_(ra_rad), dec_(dec_rad), knot_s_(knot_s > 0 ? knot_s : 600.0) {}

const ASampleFrameSeries::Knot& ASampleFrameSeries::KnotAt(std::int64_t index) {
  for (const Knot& k : knots_)
    if (k.index == index) return k;
  // An empty slot first, else the knot further from the one asked for.
  auto distance = [index](const Knot& k) {
    return k.index == INT64_MIN ? INT64_MAX : (k.index > index ? k.index - index : index - k.index);
  };
  Knot& k = distance(knots_[0]) >= distance(knots_[1]) ? knots_[0] : knots_[1];
  ASampleFrame exact;
  MakeSampleFrame(jd0_, double(index) * knot_s_, ra_, dec_, exact);
  k.index = index;
  k.tt_minus_utc_days = exact.tt2 - (exact.jd_utc - jd0_);
  std::memcpy(k.npb, exact.npb, sizeof k.npb);
  std::memcpy(k.src, exact.src, sizeof k.src);
  double x = 0, y = 0;
  eraBpn2xy(exact.npb, &x, &y);
  const double s = eraS06(exact.tt1, exact.tt2, x, y);
  k.eo = eraEors(exact.npb, s);
  return k;
}

void ASampleFrameSeries::Frame(double t_s, ASampleFrame& f) {
  const double q = t_s / knot_s_;
  const std::int64_t i = static_cast<std::int64_t>(std::floor(q));
  const double w = q - double(i);
  const Knot a = KnotAt(i);  // a copy: fetching the second knot may reuse the first one's slot
  const Knot& b = KnotAt(i + 1);
  const double frac = t_s * kSecondsToDays;
  f.jd_utc = jd0_ + frac;
  f.tt1 = jd0_;
  f.tt2 = frac + a.tt_minus_utc_days;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) f.npb[r][c] = a.npb[r][c] + w * (b.npb[r][c] - a.npb[r][c]);
  const double eo = a.eo + w * (b.eo - a.eo);
  f.gast_rad = eraAnp(eraEra00(jd0_, frac) - eo);  // UT1 taken as UTC
  f.cos_gast = std::cos(f.gast_rad);
  f.sin_gast = std::sin(f.gast_rad);
  double src[3];
  for (int k = 0; k < 3; ++k) src[k] = a.src[k] + w * (b.src[k] - a.src[k]);
  double length = 0;
  eraPn(src, &length, f.src);  // back to a unit vector
  SetApparentDirection(f.src, f);
}
