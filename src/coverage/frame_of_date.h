#pragma once
// The projection of telescope positions onto the (u, v, w) axes of the observed source, in the
// frame of one time sample (core/sky_frame.h: true equator and equinox of date, UT1 = UTC).
//  - Earth-fixed station vectors (ITRF axes, right-handed) are turned into the frame of date by the
//    Greenwich apparent sidereal time: x' = X cos g - Y sin g, y' = X sin g + Y cos g, z' = Z.
//  - Inertial positions of orbiting telescopes are taken as GCRS (J2000 axes) and turned into the
//    frame of date by the bias-precession-nutation matrix.

#include "core/sky_frame.h"
#include "coverage/orbits.h"

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

// Whether the Earth (a sphere of 6378 km) hides the source from a telescope at the inertial
// (GCRS) position `r_gcrs_m`: the half-line from the telescope towards the apparent source
// direction passes within the Earth's radius of its centre, or the telescope is inside it.
bool EarthBlocks(const ASampleFrame& f, const AMXYZ& r_gcrs_m);

// Azimuth of the source seen from a ground station (the Earth-fixed vector as GroundUVW takes it),
// degrees from north through east in [0, 360), on the geocentric horizon (the plane normal to the
// station vector, as the zenith angle of GroundUVW).
double GroundAzimuthDeg(const ASampleFrame& f, const AMXYZ& itrf_m);

// Whether an azimuth lies within [az_min, az_max] (degrees; az_min > az_max wraps through north).
bool AzimuthWithin(double az_deg, double az_min_deg, double az_max_deg);

