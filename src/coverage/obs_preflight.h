#pragma once
// What the program checks of an observation before task 1 runs, beyond the Create checks: the
// plausibility of its values (observation/obs_plausibility.h) and, on request, whether any two
// telescopes can see the source together during the intervals, found by a coarse UV-plane run so
// that the user learns it before waiting for the real one.

#include <string>
#include <vector>

#include "coverage/uv_plane.h"
#include "observation/obs_plausibility.h"

struct AMPreflight {
  std::vector<AMObsProblem> problems;
  bool visibility_tested = false;
  bool any_pair_sees = true;  // false: message 304 would follow
  std::string why_no_pair;    // then: who saw the source in how many samples
};

// `obs` as task 1 would run it (intervals checked, orbit files resolved). The visibility test
// samples the intervals at no more than `max_samples` instants (the observation's step or
// coarser) with a temporary UV-point file in the output's folder, removed at once.
AMPreflight PreflightObservation(const AMObservation& obs, const AMUVPlaneOptions& options, bool test_visibility,
                                 int max_samples = 400);

// One line saying why a UV plane has no point: how many samples each telescope saw the source in
// (of how many), and what the Earth or the azimuth limits took away.
std::string WhyNoUVPoints(const AMObservation& obs, const AMUVPlane& plane, const AMUVPlaneOptions& options);

// Per orbiting telescope whose view the Earth blocks in some samples: "NAME: N of M samples";
// empty when none. For the note that names the --earth-blocking option.
std::vector<std::string> EarthBlockedCounts(const AMObservation& obs, const AMUVPlane& plane);
