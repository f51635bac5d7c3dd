#pragma once
// Telescope positions in an Earth-centred frame: the Earth rotation of a ground station, the
// propagation of Keplerian elements with the secular drift caused by the Earth's oblateness and
// its Earth-blocking test, and the plain two-body propagation used by the UV-plane computation.

// A position or a (u, v, w) triple.
struct AMXYZ {
  double x = 0, y = 0, z = 0;
};

// Direction of the observed source as the propagation takes it.
struct ASourceSinCos {
  double sin_ra = 0, cos_ra = 1, sin_dec = 0, cos_dec = 1;
};
ASourceSinCos MakeSourceSinCos(double ra_rad, double dec_rad);

// Earth-fixed (X, Y, Z) turned by the sidereal angle theta (radians):
// x = X cos theta - Y sin theta, y = X sin theta + Y cos theta, z = Z.
AMXYZ RotateGround(double x_m, double y_m, double z_m, double theta_rad);

// Position of an orbital telescope from its elements at the Julian day t_jd, with the secular
// drift of the node, the perigee and the mean anomaly caused by J2. The elements are read from
// the eight telescope parameters with these indices (0-based here):
//   [0] semimajor axis [km] (scaled to metres), [1] eccentricity, [2] inclination [deg],
//   [3] node [deg], [4] argument of perigee [deg], [5] mean anomaly at the zero epoch [deg],
//   [6] zero epoch [JD].
// Kepler's equation is solved by fixed-point iteration until a step changes E by no more than
// 1e-7 (the elements must have e < 1). The cos(node) sin(w) term of x enters with a plus sign.
// The position (metres) is written to `out` only when the line of sight through it passes the
// Earth's centre at more than 6378000 m (the line, not the half-line); returns 1 then, else 0 and
// `out` keeps what it held.
int PropagateWithOblateness(const double params[8], double t_jd, const ASourceSinCos& source, AMXYZ& out);

// The position of PropagateWithOblateness (metres) without the Earth-blocking test: what a view
// of the whole orbit draws, blocked stretches included.
AMXYZ OblatenessPosition(const double params[8], double t_jd);

// The Earth-blocking test alone for a position r (metres): non-zero when the distance of the
// Earth's centre from the line through r along the source direction exceeds 6378000 m.
int SeesPastEarth(const AMXYZ& r, const ASourceSinCos& source);

// Two-body position in kilometres at the Julian day jd from the elements in catalogue order:
// [0] a [km], [1] e, [2] i [deg], [3] node [deg], [4] argument of perigee [deg], [5] zero epoch
// [JD], [6] mean anomaly at the zero epoch [deg]. Mean motion n = sqrt(2.97553635e15 / a^3)
// rad/day; M = n (jd - epoch) + M0 without reduction; E = M then exactly 50 steps of
// E = e sin E + M.
AMXYZ TwoBodyPositionKm(const double params[8], double jd);
