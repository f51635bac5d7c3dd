#pragma once
// One analytic brightness component of a source model and its visibility.
//
// Fields (in this order): type code 1..7, flux [Jy], large axis [arcsec], axis ratio
// (minor/major, ]0, 1]), inclination [deg] (orientation of the major axis, from north through
// east), position angle [deg] (direction of the offset, from north through east), distance
// [arcsec] (offset from the phase centre), width (relative width of a Thick ring, ]0, 1[).
//
// Sky coordinates: x east (right-ascension offset), y north. The component centre lies at
// x = distance * sin(position angle), y = distance * cos(position angle). The visibility is
// V(u, v) = integral I(x, y) exp(+2 pi i (u x + v y)) dx dy, x and y in radians, u and v in
// wavelengths. The formulas of every type are written out in docs/models.md.

#include <complex>
#include <cstdint>

enum ACompType : std::int32_t {
  kCompDelta = 1,
  kCompGaussian = 2,
  kCompDisk = 3,
  kCompThinRing = 4,
  kCompThinSphere = 5,
  kCompRectangle = 6,
  kCompThickRing = 7,
};

inline constexpr int kCompTypeCount = 7;

// Display name of a type code ("Delta function" ... "Thick ring"); "" for an unknown code.
const char* CompTypeName(int type);

struct ACompItem {
  std::int32_t type = kCompGaussian;
  double flux = 1.0;             // Jy
  double large_axis = 0.001;     // arcsec (1 mas)
  double axis_ratio = 1.0;       // minor / major
  double inclination = 0.0;      // deg, major-axis direction from north through east
  double position_angle = 0.0;   // deg, offset direction from north through east
  double distance = 0.0;         // arcsec
  double width = 0.5;            // relative width of a Thick ring

  // Complex visibility in Jy at (u, v) in wavelengths; a pure function of the record.
  std::complex<double> VfromUV(double u, double v) const;

  // Offset of the centre from the phase centre, arcsec (x east, y north).
  double OffsetEastArcsec() const;
  double OffsetNorthArcsec() const;
};

inline bool operator==(const ACompItem& a, const ACompItem& b) {
  return a.type == b.type && a.flux == b.flux && a.large_axis == b.large_axis &&
         a.axis_ratio == b.axis_ratio && a.inclination == b.inclination &&
         a.position_angle == b.position_angle && a.distance == b.distance && a.width == b.width;
}

// One arcsecond in radians.
inline constexpr double kArcsecToRad = 3.14159265358979323846 / 648000.0;
