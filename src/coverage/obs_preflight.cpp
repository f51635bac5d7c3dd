#include "coverage/obs_preflight.h"

#include <algorithm>
#include <cmath>

#include "core/text.h"

AMPreflight PreflightObservation(const AMObservation& obs, const AMUVPlaneOptions& options, bool test_visibility,
                                 int max_samples) {
  AMPreflight p;
  p.problems = CheckPlausibility(obs);
  if (!test_visibility || HasErrors(p.problems) || obs.intervals.GetSize() == 0) return p;
  double span = 0;
  for (const AMTimeItem& t : obs.intervals) span += std::max(0.0, t.stop - t.start);
  AMObservation coarse = obs;
  coarse.time_step_s = std::max(obs.time_step_s, span / std::max(1, max_samples));
  AMUVPlane plane;
  p.visibility_tested = true;
  if (plane.Calculate(coarse, nullptr, nullptr, nullptr, options)) return p;
  if (plane.GetStatus() == AMUVPlane::kNoPoints) {
    p.any_pair_sees = false;
    p.why_no_pair = WhyNoUVPoints(coarse, plane, options);
  } else {
    p.visibility_tested = false;  // an orbit file or the temporary file failed: task 1 will say so
  }
  return p;
}

std::string WhyNoUVPoints(const AMObservation& obs, const AMUVPlane& plane, const AMUVPlaneOptions& options) {
  std::string out = "no two telescopes saw the source at the same time (above their limits together); samples seeing it:";
  for (int i = 0; i < obs.telescopes.GetSize() && i < plane.SeenSamples().GetSize(); ++i) {
    const AMTlscItem& t = obs.telescopes[i];
    out += StringPrintf(" %s %lld of %lld", t.name.c_str(), static_cast<long long>(plane.SeenSamples()[i]),
                        static_cast<long long>(plane.Samples()));
    const long long blocked = plane.BlockedSamples()[i];
    if (blocked > 0 && t.IsGround() && options.azimuth_limits)
      out += StringPrintf(" (%lld outside its azimuth limits)", blocked);
    if (blocked > 0 && !t.IsGround() && options.earth_blocking) out += StringPrintf(" (%lld blocked by the Earth)", blocked);
    out += i + 1 < obs.telescopes.GetSize() ? "," : "";
  }
  return out;
}

std::vector<std::string> EarthBlockedCounts(const AMObservation& obs, const AMUVPlane& plane) {
  std::vector<std::string> out;
  for (int i = 0; i < obs.telescopes.GetSize() && i < plane.BlockedSamples().GetSize(); ++i)
    if (!obs.telescopes[i].IsGround() && plane.BlockedSamples()[i] > 0)
      out.push_back(StringPrintf("%s: %lld of %lld samples", obs.telescopes[i].name.c_str(),
                                 static_cast<long long>(plane.BlockedSamples()[i]),
                                 static_cast<long long>(plane.Samples())));
  return out;
}
