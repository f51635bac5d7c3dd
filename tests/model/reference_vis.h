#pragma once
// Plain, slow visibility of one component, written independently of the fast path: sky-frame
// geometry with unit vectors, std::polar for the phase and the standard library's Bessel
// functions. The fast path (comp_eval) is checked against it.

#include <cmath>
#include <complex>
#include <numbers>

#include "model/comp_item.h"

inline std::complex<double> ReferenceVis(const ACompItem& c, double u, double v) {
  const double pi = std::numbers::pi;
  const double as = pi / 180.0 / 3600.0;
  const double deg = pi / 180.0;
  // Offset of the centre in radians, east and north.
  const double dx = c.distance * as * std::sin(c.position_angle * deg);
  const double dy = c.distance * as * std::cos(c.position_angle * deg);
  // Unit vectors of the major and minor axes on the sky (east, north components).
  const double major_e = std::sin(c.inclination * deg), major_n = std::cos(c.inclination * deg);
  const double minor_e = major_n, minor_n = -major_e;
  const double k_major = u * major_e + v * major_n;  // spatial frequency along the major axis
  const double k_minor = u * minor_e + v * minor_n;
  const double A = c.large_axis * as, B = A * c.axis_ratio;
  const double r = std::hypot(A * k_major, B * k_minor);  // elliptical radius in the uv-plane
  double amp = 1.0;
  auto jinc = [](double x) { return x == 0 ? 1.0 : 2.0 * std::cyl_bessel_j(1.0, x) / x; };
  switch (c.type) {
    case kCompDelta: amp = 1.0; break;
    case kCompGaussian: amp = std::exp(-pi * pi * r * r / (4.0 * std::log(2.0))); break;
    case kCompDisk: amp = jinc(pi * r); break;
    case kCompThinRing: amp = std::cyl_bessel_j(0.0, pi * r); break;
    case kCompThinSphere: amp = r == 0 ? 1.0 : std::sin(pi * r) / (pi * r); break;
    case kCompRectangle: {
      auto sinc = [](double x) { return x == 0 ? 1.0 : std::sin(x) / x; };
      amp = sinc(pi * A * k_major) * sinc(pi * B * k_minor);
      break;
    }
    case kCompThickRing: {
      const double b = 1.0 - c.width;
      // Outer disk minus inner disk, each weighted by its area.
      amp = (jinc(pi * r) - b * b * jinc(b * pi * r)) / (1.0 - b * b);
      break;
    }
    default: amp = 0; break;
  }
  return c.flux * amp * std::polar(1.0, 2.0 * pi * (u * dx + v * dy));
}
