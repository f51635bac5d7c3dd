#include "coverage/frame_of_date.h"

#include <cmath>
#include <numbers>

AMXYZ InertialUVW(const ASampleFrame& f, const AMXYZ& r) {
  const double x = f.npb[0][0] * r.x + f.npb[0][1] * r.y + f.npb[0][2] * r.z;
  const double y = f.npb[1][0] * r.x + f.npb[1][1] * r.y + f.npb[1][2] * r.z;
  const double z = f.npb[2][0] * r.x + f.npb[2][1] * r.y + f.npb[2][2] * r.z;
  return ProjectOfDate(f, x, y, z);
}

int GroundUVW(const ASampleFrame& f, const AMXYZ& itrf, const AMXYZ& vel, double zmin_deg, double zmax_deg,
              AMXYZ& uvw) {
  constexpr double kPerYear = 0.0027378507871321013;
  const double d = f.jd_utc - 2451545.0;
  const double x0 = itrf.x + d * vel.x * kPerYear;
  const double y0 = itrf.y + d * vel.y * kPerYear;
  const double z0 = itrf.z + d * vel.z * kPerYear;
  const double x = x0 * f.cos_gast - y0 * f.sin_gast;
  const double y = x0 * f.sin_gast + y0 * f.cos_gast;
  const double z = z0;
  uvw = ProjectOfDate(f, x, y, z);

  const double* s = f.src;
  const double cx = y * s[2] - z * s[1], cy = z * s[0] - x * s[2], cz = x * s[1] - y * s[0];
  const double zenith_deg = std::atan2(std::sqrt(cx * cx + cy * cy + cz * cz), x * s[0] + y * s[1] + z * s[2]) *
                            (180.0 / std::numbers::pi);
  return zenith_deg >= zmin_deg && zenith_deg <= zmax_deg ? 1 : 0;
}

bool EarthBlocks(const ASampleFrame& f, const AMXYZ& r) {
  constexpr double kEarthRadiusM = 6378000.0;
  const double x = f.npb[0][0] * r.x + f.npb[0][1] * r.y + f.npb[0][2] * r.z;
  const double y = f.npb[1][0] * r.x + f.npb[1][1] * r.y + f.npb[1][2] * r.z;
  const double z = f.npb[2][0] * r.x + f.npb[2][1] * r.y + f.npb[2][2] * r.z;
  const double along = x * f.src[0] + y * f.src[1] + z * f.src[2];
  const double r2 = x * x + y * y + z * z;
  if (r2 < kEarthRadiusM * kEarthRadiusM) return true;
  return along < 0 && r2 - along * along < kEarthRadiusM * kEarthRadiusM;
}

double GroundAzimuthDeg(const ASampleFrame& f, const AMXYZ& itrf) {
  const double x = itrf.x * f.cos_gast - itrf.y * f.sin_gast;
  const double y = itrf.x * f.sin_gast + itrf.y * f.cos_gast;
  const double z = itrf.z;
  const double r = std::sqrt(x * x + y * y + z * z), h = std::hypot(x, y);
  if (!(r > 0) || !(h > 0)) return 0.0;  // at the geocentre or a pole: no azimuth
  const double up[3] = {x / r, y / r, z / r};
  const double east[3] = {-y / h, x / h, 0.0};
  const double north[3] = {up[1] * east[2] - up[2] * east[1], up[2] * east[0] - up[0] * east[2],
                           up[0] * east[1] - up[1] * east[0]};
  const double* s = f.src;
  const double az = std::atan2(s[0] * east[0] + s[1] * east[1] + s[2] * east[2],
                               s[0] * north[0] + s[1] * north[1] + s[2] * north[2]) *
                    (180.0 / std::numbers::pi);
  return az < 0 ? az + 360.0 : az;
}

bool AzimuthWithin(double az, double az_min, double az_max) {
  return az_min <= az_max ? (az >= az_min && az <= az_max) : (az >= az_min || az <= az_max);
}

