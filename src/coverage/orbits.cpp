#include "coverage/orbits.h"

#include <cmath>
#include <numbers>

namespace {
constexpr double kDegToRad = std::numbers::pi / 180.0;
constexpr double kGM = 3.986012e14;             // m^3/s^2
constexpr double kEarthRadius = 6378000.0;      // m
constexpr double kEarthRadius2 = 4.0678884e13;  // m^2
constexpr double kGMkm3PerDay2 = 2.97553635e15;
}  // namespace

ASourceSinCos MakeSourceSinCos(double ra_rad, double dec_rad) {
  return {std::sin(ra_rad), std::cos(ra_rad), std::sin(dec_rad), std::cos(dec_rad)};
}

AMXYZ RotateGround(double x_m, double y_m, double z_m, double theta_rad) {
  const double c = std::cos(theta_rad), s = std::sin(theta_rad);
  return {x_m * c - y_m * s, x_m * s + y_m * c, z_m};
}

int SeesPastEarth(const AMXYZ& r, const ASourceSinCos& src) {
  const double ux = src.cos_dec * src.cos_ra, uy = src.cos_dec * src.sin_ra, uz = src.sin_dec;
  const double r2 = r.x * r.x + r.y * r.y + r.z * r.z;
  const double along = r.x * ux + r.y * uy + r.z * uz;
  const double d2 = r2 - along * along;
  return std::sqrt(d2 > 0 ? d2 : 0.0) > kEarthRadius ? 1 : 0;
}

AMXYZ OblatenessPosition(const double params[8], double t_jd) {
  const double a = params[0] * 1000.0;
  const double e = params[1];
  const double inc = params[2] * kDegToRad;
  const double node0 = params[3] * kDegToRad;
  const double w0 = params[4] * kDegToRad;
  const double m0 = params[5] * kDegToRad;
  const double epoch = params[6];

  const double n = std::sqrt(kGM) / (std::sqrt(a) * a);
  const double dt = (t_jd - epoch) * 86400.0;
  const double k = kEarthRadius2 / (a * a);
  const double q = 1.0 / (1.0 - e * e);
  const double s = std::sqrt(1.0 - e * e);
  const double sin_i = std::sin(inc), cos_i = std::cos(inc);
  const double sin2_i = sin_i * sin_i;

  const double m = std::fmod((1.0 + q * (0.0016245 - 0.00243675 * sin2_i) * k / s) * n * dt + m0, 2.0 * std::numbers::pi);
  const double node = node0 - 0.0016245 * n * cos_i * k * q * q * dt;
  const double w = w0 + (0.003249 - 0.00406125 * sin2_i) * n * k * q * q * dt;

  double ecc_anomaly = m;
  for (;;) {
    const double next = m + e * std::sin(ecc_anomaly);
    const double change = std::fabs(next - ecc_anomaly);
    ecc_anomaly = next;
    if (!(change > 1e-7)) break;
  }
  const double p = a * (std::cos(ecc_anomaly) - e);
  const double qq = a * std::sin(ecc_anomaly) * s;

  const double cw = std::cos(w), sw = std::sin(w), cn = std::cos(node), sn = std::sin(node);
  AMXYZ r;
  r.x = (cw * cn - sn * sw * cos_i) * p + (cn * sw - sn * cw * cos_i) * qq;
  r.y = (cn * sw * cos_i + sn * cw) * p + (cw * cn * cos_i - sn * sw) * qq;
  r.z = sw * sin_i * p + cw * sin_i * qq;
  return r;
}

int PropagateWithOblateness(const double params[8], double t_jd, const ASourceSinCos& source, AMXYZ& out) {
  const AMXYZ r = OblatenessPosition(params, t_jd);
  if (!SeesPastEarth(r, source)) return 0;
  out = r;
  return 1;
}

AMXYZ TwoBodyPositionKm(const double params[8], double jd) {
  const double a = params[0];
  const double e = params[1];
  const double inc = params[2] * kDegToRad;
  const double node = params[3] * kDegToRad;
  const double argp = params[4] * kDegToRad;
  const double epoch = params[5];
  const double m0 = params[6] * kDegToRad;

  const double n = std::sqrt(kGMkm3PerDay2 / (a * a * a));
  const double m = n * (jd - epoch) + m0;
  double ecc_anomaly = m;
  for (int iter = 0; iter < 50; ++iter) ecc_anomaly = e * std::sin(ecc_anomaly) + m;
  const double nu = 2.0 * std::atan2(std::sqrt(1.0 + e) * std::sin(ecc_anomaly / 2.0),
                                     std::sqrt(1.0 - e) * std::cos(ecc_anomaly / 2.0));
  const double r = a * (1.0 - e * e) / (1.0 + e * std::cos(nu));
  const double lambda = argp + nu;
  const double cl = std::cos(lambda), sl = std::sin(lambda);
  const double cn = std::cos(node), sn = std::sin(node), ci = std::cos(inc), si = std::sin(inc);
  return {r * (cl * cn - ci * sl * sn), r * (ci * sl * cn + cl * sn), r * si * sl};
}
