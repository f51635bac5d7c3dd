#pragma once
// The restoring-beam parameters of a dirty beam: an elliptical Gaussian fitted to its main lobe.
//
// The main lobe is the set of pixels connected (4-neighbours) to the peak whose values exceed
// 0.35 of the peak. Over them, ln(beam / peak) = -(A x^2 + B x y + C y^2) is fitted by least
// squares weighted by the beam value squared (a fit of the values, linearised); the quadratic
// form's axes give the full widths at half maximum, BMAJ >= BMIN, and BPA, the major axis's
// angle from north through east in (-90, 90] degrees.

#include <cstdint>
#include <string>

#include "core/containers.h"

struct ABeam {
  double bmaj_as = 0, bmin_as = 0;  // FWHM, arcsec
  double bpa_deg = 0;
  int pixels = 0;                   // pixels of the main lobe used
  bool ok = false;
  std::string why;                  // when not ok
};

// Pixel (r, c) of `beam` lies at east offset (c - c0) dx_as and north offset (r - r0) dy_as from
// the peak pixel (r0, c0); dx_as is negative for images whose right ascension grows to the left.
ABeam FitBeam(const AMatrix<float>& beam, std::uint32_t r0, std::uint32_t c0, double dx_as, double dy_as);
