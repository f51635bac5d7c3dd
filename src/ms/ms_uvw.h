#pragma once
// u, v, w and time between a UVX group and a Measurement Set row: the one place where the frame,
// the sign and the units change.
//
// UVX: seconds of light travel, r(ant1) - r(ant2), on the axes of the apparent direction of date
// (docs/uvx-format.md, docs/coverage.md). MS: metres, UVW = position(ANTENNA2) - position(ANTENNA1),
// on the axes of the J2000 phase centre (the FIELD table's PHASE_DIR). ANTENNA1/ANTENNA2 are the
// group's first and second telescope, so the vector changes sign; the visibilities are
// conjugated, which keeps the measurement (the phase convention turns with the vector).
// Both signs are established by the tests: UVW against casacore's own J2000 geometry for the
// antennas and times, the visibilities by imaging an off-centre source with WSClean.

#include <complex>

#include "core/uvw_frame.h"

namespace ms {

inline constexpr double kSpeedOfLight = 299792458.0;  // m/s
inline constexpr double kSecondsPerDay = 86400.0;
inline constexpr double kMjdZeroJd = 2400000.5;       // TIME counts seconds from this Julian day (UTC)
// MS UVW (metres) = kUVXToMetres * UVX u, v, w (seconds), on the same axes.
inline constexpr double kUVXToMetres = -kSpeedOfLight;

// MS DATA = conj(UVX visibility), and back.
inline std::complex<float> ToMSVisibility(float re, float im) { return {re, -im}; }
inline void FromMSVisibility(std::complex<float> v, float& re, float& im) { re = v.real(), im = -v.imag(); }

// `rotation` null: the axes are kept (the frame of date is written as stored).
class UVWConverter {
 public:
  explicit UVWConverter(AUVWFrameRotation* rotation) : rotation_(rotation) {}
  // t_s: seconds from the UVX file's JD0 (header start time + group time).
  void ToMS(double t_s, const double uvw_uvx[3], double uvw_ms[3]) {
    double j2000[3] = {uvw_uvx[0], uvw_uvx[1], uvw_uvx[2]};
    if (rotation_) rotation_->ToJ2000(t_s, uvw_uvx, j2000);
    for (int k = 0; k < 3; ++k) uvw_ms[k] = kUVXToMetres * j2000[k];
  }
  void ToUVX(double t_s, const double uvw_ms[3], double uvw_uvx[3]) {
    const double j2000[3] = {uvw_ms[0] / kUVXToMetres, uvw_ms[1] / kUVXToMetres, uvw_ms[2] / kUVXToMetres};
    if (rotation_) rotation_->ToDate(t_s, j2000, uvw_uvx);
    else for (int k = 0; k < 3; ++k) uvw_uvx[k] = j2000[k];
  }

 private:
  AUVWFrameRotation* rotation_;
};

}  // namespace ms
