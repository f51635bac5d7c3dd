#include "observation/obs_plausibility.h"

#include <cmath>
#include <set>

#include "core/text.h"
#include "observation/polarization.h"

namespace {

std::string Km(double m) { return StringPrintf("%.1f km", m / 1000.0); }

void CheckFrequencies(const AMFreqSetup& f, std::vector<AMObsProblem>& out) {
  const char* where = "frequency set-up";
  if (!(f.ref_freq_hz > 0))
    out.push_back({true, where, StringPrintf("the reference frequency is %g MHz: it must be above 0", f.ref_freq_hz / 1e6)});
  if (f.n_channels < 1)
    out.push_back({true, where, StringPrintf("%d channels per IF: at least 1 is needed", f.n_channels)});
  for (int r = 0; r < f.Rows(); ++r)
    for (int c = 0; c < f.Cols(); ++c)
      if (f.table(r, c).ch_width_hz == 0.0 || !std::isfinite(f.table(r, c).ch_width_hz))
        out.push_back({true, where, StringPrintf("Freq. ID %d, IF%d: the channel width is %g Hz", r + 1, c + 1,
                                           f.table(r, c).ch_width_hz)});
}

void CheckPolarizations(const AArray<std::int16_t>& pols, std::vector<AMObsProblem>& out) {
  std::set<int> seen;
  for (std::int16_t p : pols)
    if (!seen.insert(p).second) {
      const auto name = PolarizationName(p);
      out.push_back({true, "polarization", "the code " + (name ? *name : std::to_string(p)) + " is given twice"});
    }
}

}  // namespace

std::string TelescopePlausibility(const AMTlscItem& t) {
  const double* p = t.params;
  if (t.IsGround()) {
    const double r = std::sqrt(p[tlsc::kX] * p[tlsc::kX] + p[tlsc::kY] * p[tlsc::kY] + p[tlsc::kZ] * p[tlsc::kZ]);
    if (!(r >= kMinStationRadiusM && r <= kMaxStationRadiusM))
      return "the station lies " + Km(r) + " from the geocentre, not within 6300-6400 km: X, Y, Z are metres";
    return {};
  }
  if (t.use_orbit_file) return {};
  const double a = p[tlsc::kSemimajorKm], e = p[tlsc::kEccentricity];
  if (a > kMaxSemimajorKm)
    return StringPrintf("semimajor axis %g km is implausible (beyond %g km): the axis is given in kilometres", a,
                  kMaxSemimajorKm);
  if (a > 0 && a * (1 - e) < 6478.0)
    return StringPrintf("the perigee (a (1 - e) = %.1f km) is below 6478 km: the orbit enters the atmosphere", a * (1 - e));
  return {};
}

std::vector<AMObsProblem> CheckPlausibility(const AMObservation& obs) {
  std::vector<AMObsProblem> out;
  CheckFrequencies(obs.freq, out);
  CheckPolarizations(obs.polarizations, out);
  for (const AMTlscItem& t : obs.telescopes) {
    const std::string why = TelescopePlausibility(t);
    if (!why.empty()) out.push_back({true, "telescope " + (t.id_name.empty() ? t.name : t.id_name), why});
  }
  if (std::fabs(obs.dec_arcsec) > 324000.0)
    out.push_back({false, "source",
                   StringPrintf("declination %s is beyond +-90 deg; it is used as given (the direction wraps over the pole)",
                          angleToStr(obs.dec_arcsec).c_str())});
  return out;
}

bool HasErrors(const std::vector<AMObsProblem>& problems) {
  for (const AMObsProblem& p : problems)
    if (p.error) return true;
  return false;
}
