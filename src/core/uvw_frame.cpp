#include "core/uvw_frame.h"

#include <cmath>
#include <cstring>

void UVWAxes(double ra_rad, double dec_rad, double r[3][3]) {
  const double sa = std::sin(ra_rad), ca = std::cos(ra_rad), sd = std::sin(dec_rad), cd = std::cos(dec_rad);
  const double axes[3][3] = {{-sa, ca, 0.0}, {-sd * ca, -sd * sa, cd}, {cd * ca, cd * sa, sd}};
  std::memcpy(r, axes, sizeof axes);
}

AUVWFrameRotation::AUVWFrameRotation(double jd0_utc, double ra_rad, double dec_rad, double knot_s)
    : jd0_(jd0_utc), ra_(ra_rad), dec_(dec_rad), knot_s_(knot_s > 0 ? knot_s : 600.0) {
  UVWAxes(ra_rad, dec_rad, r_j2000_);
}

const AUVWFrameRotation::Knot& AUVWFrameRotation::KnotAt(std::int64_t index) {
  for (const Knot& k : knots_)
    if (k.index == index) return k;
  // An empty slot first, else the knot further from the one asked for.
  auto distance = [index](const Knot& k) {
    return k.index == INT64_MIN ? INT64_MAX : (k.index > index ? k.index - index : index - k.index);
  };
  Knot& k = distance(knots_[0]) >= distance(knots_[1]) ? knots_[0] : knots_[1];
  ASampleFrame f;
  MakeSampleFrame(jd0_, double(index) * knot_s_, ra_, dec_, f);
  const double app_ra = std::atan2(f.src[1], f.src[0]);
  const double app_dec = std::atan2(f.src[2], std::hypot(f.src[0], f.src[1]));
  double r_app[3][3];
  UVWAxes(app_ra, app_dec, r_app);
  // q = NPB^T . R_app^T: column j of q is the j-th apparent axis carried back to GCRS.
  double q[3][3];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) q[i][j] = f.npb[0][i] * r_app[j][0] + f.npb[1][i] * r_app[j][1] + f.npb[2][i] * r_app[j][2];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) k.m[i][j] = r_j2000_[i][0] * q[0][j] + r_j2000_[i][1] * q[1][j] + r_j2000_[i][2] * q[2][j];
  k.index = index;
  return k;
}

void AUVWFrameRotation::Matrix(double t_s, double m[3][3]) {
  if (!have_last_ || t_s != last_t_) {
    // Knot indices stay within what an int64 holds, whatever time a damaged file gives.
    const double raw = t_s / knot_s_;
    const double q = raw > 1e15 ? 1e15 : raw < -1e15 ? -1e15 : raw == raw ? raw : 0.0;
    const std::int64_t i = static_cast<std::int64_t>(std::floor(q));
    const double w = q - double(i);
    double a[3][3];  // copied: fetching the second knot may reuse the first one's slot
    std::memcpy(a, KnotAt(i).m, sizeof a);
    const Knot& b = KnotAt(i + 1);
    for (int r = 0; r < 3; ++r)
      for (int c = 0; c < 3; ++c) last_m_[r][c] = a[r][c] + w * (b.m[r][c] - a[r][c]);
    last_t_ = t_s;
    have_last_ = true;
  }
  std::memcpy(m, last_m_, sizeof last_m_);
}

void AUVWFrameRotation::ToJ2000(double t_s, const double in[3], double out[3]) {
  double m[3][3];
  Matrix(t_s, m);
  for (int r = 0; r < 3; ++r) out[r] = m[r][0] * in[0] + m[r][1] * in[1] + m[r][2] * in[2];
}

void AUVWFrameRotation::ToDate(double t_s, const double in[3], double out[3]) {
  double m[3][3];
  Matrix(t_s, m);
  for (int r = 0; r < 3; ++r) out[r] = m[0][r] * in[0] + m[1][r] * in[1] + m[2][r] * in[2];
}
