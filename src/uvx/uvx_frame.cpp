#include "uvx/uvx_frame.h"

#include <numbers>

int SourceTablePhaseCentre(const AUVXTable& su, double& ra_rad, double& dec_rad) {
  const int c_ra = su.FindColumn("RAEPO"), c_dec = su.FindColumn("DECEPO");
  if (su.n_rows < 1 || c_ra < 0 || c_dec < 0) return 0;
  constexpr double kDegToRad = std::numbers::pi / 180.0;
  ra_rad = su.GetNumber(0, c_ra) * kDegToRad;
  dec_rad = su.GetNumber(0, c_dec) * kDegToRad;
  return 1;
}

int UVXPhaseCentre(AUVXFile& in, double& ra_rad, double& dec_rad) {
  const AUVXTable* su = in.GetTable("SU");
  return su ? SourceTablePhaseCentre(*su, ra_rad, dec_rad) : 0;
}

std::unique_ptr<AUVWFrameRotation> UVXFrameRotation(AUVXFile& in) {
  double ra = 0, dec = 0;
  if (!UVXPhaseCentre(in, ra, dec)) return nullptr;
  return std::make_unique<AUVWFrameRotation>(in.Header().jd0, ra, dec);
}
