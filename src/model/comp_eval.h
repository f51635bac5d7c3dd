#pragma once
// Fast evaluation of component visibilities.
//
// A component is first turned into an APreparedComp: every constant that does not depend on
// (u, v) (the phase gradient of its offset, the rotated and scaled axes, the inner radius of a
// thick ring) is computed once. Evaluating it at a UV point then costs a few multiply-adds, one
// sincos and at most one exp or Bessel function. The batch functions take the switch on the type
// out of the loop over UV points and keep the complex arithmetic written out in doubles.

#include <complex>
#include <cstddef>

#include "model/comp_item.h"

struct APreparedComp {
  std::int32_t type = kCompDelta;
  double flux = 0;          // Jy; a caller may scale it (spectral factors)
  double phase_u = 0;       // 2 pi * east offset [rad]: phase = phase_u * u + phase_v * v
  double phase_v = 0;       // 2 pi * north offset [rad]
  bool has_offset = false;  // false: the phase is 0 everywhere
  // Profile argument: s1 = m11 u + m12 v (along the major axis), s2 = m21 u + m22 v (minor).
  double m11 = 0, m12 = 0, m21 = 0, m22 = 0;
  double inner = 0;       // thick ring: inner/outer radius (1 - width), clamped to [0, 1]
  double inner_sq = 0;    // inner^2
  double ring_norm = 1;   // 1 / (1 - inner^2)
  bool thin_limit = false;  // thick ring so thin that it is evaluated as a thin ring
};

APreparedComp PrepareComp(const ACompItem& item);

// Visibility of one prepared component at (u, v) in wavelengths.
std::complex<double> EvalComp(const APreparedComp& c, double u, double v);

// Adds the visibility of one component at n UV points to re[i], im[i].
void AddCompVis(const APreparedComp& c, const double* u, const double* v, std::size_t n,
                double* re, double* im);

// Model visibility at n UV points: re/im are overwritten with the sum over the components, in
// component order, accumulated in double precision.
void ModelVis(const APreparedComp* comps, std::size_t ncomps, const double* u, const double* v,
              std::size_t n, double* re, double* im);

// Real visibility profiles of a centred, unit-flux component as functions of the profile
// argument x (exposed for the tests and the documentation).
double DiskProfile(double x);       // 2 J1(x) / x
double SphereProfile(double x);     // sin(x) / x
double AnnulusProfile(double x, double inner, double inner_sq, double ring_norm);
