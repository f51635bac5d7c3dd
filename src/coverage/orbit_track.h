#pragma once
// Orbits of the orbital telescopes of an observation over its time intervals, for the
// observation page: where each one is at every sample time and whether the Earth blocks its line
// of sight to the source, so that the user sees before computing a UV plane when a space
// telescope can observe.
//
// Positions come from the telescope's orbit file (linear interpolation at whole seconds, like the
// UV plane) or from its elements with the secular drift of the Earth's oblateness
// (OblatenessPosition). The blocking test is SeesPastEarth with the catalogue direction of the
// source: the Earth blocks the source when the line of sight passes the Earth's centre at
// 6378 km or less. The UV plane itself does not apply this test.

#include <cstdint>
#include <string>
#include <vector>

#include "coverage/orbits.h"
#include "observation/observation.h"

struct AMOrbitSample {
  double t_s = 0;              // seconds from 0h of the observation date
  AMXYZ r_m;                   // Earth-centred inertial position [m]; zero without a position
  double east_km = 0;          // the position projected on the plane of the sky, towards
  double north_km = 0;         //   increasing right ascension and towards the north pole [km]
  bool has_position = true;    // false: the orbit file does not cover this time
  bool blocked = false;        // the Earth blocks the source (only with a position)
};

struct AMOrbitTrack {
  int telescope = 0;  // 0-based index in the observation's telescope list
  std::string name;
  bool from_file = false;
  std::string error;  // the orbit file could not be opened: "Can`t open orbit fule: " + path
  std::vector<AMOrbitSample> samples;
  std::int64_t visible = 0, blocked = 0, no_position = 0;

  // Shares of the samples in which the telescope sees the source and in which the Earth blocks
  // it; 0 without samples.
  double VisibleFraction() const;
  double BlockedFraction() const;
};

// A stretch of consecutive samples with the Earth in the way, from the first to the last blocked
// sample time.
struct AMTimeSpan {
  double start_s = 0, stop_s = 0;
};
std::vector<AMTimeSpan> BlockedSpans(const AMOrbitTrack& track);

// The sample times of the UV plane: each interval in list order from its start while t <= stop,
// t += step, a time taken only when it comes at least one step after the previous one (the first
// previous time is -1). Intervals are taken sorted, as Create sorts them; one with a start or stop
// that is not a finite number gives nothing. When the intervals would give more than
// `max_samples` (> 0) times, the step is widened by a whole factor, which leaves at most
// max_samples times plus one per interval.
std::vector<double> OrbitSampleTimes(const AMObservation& obs, std::int64_t max_samples = 0);

// The eight elements of an orbital telescope (catalogue order: epoch at [5], mean anomaly at [6])
// in the order OblatenessPosition reads them (mean anomaly at [5], epoch at [6]).
void OblatenessElements(const AMTlscItem& telescope, double out[8]);

// One track per orbital telescope of `obs`, in list order. A relative orbit-file path is taken
// relative to `folder` (ending with '/'; ignored when empty). A file that cannot be opened leaves
// its track empty with `error` set; the other tracks are still computed.
std::vector<AMOrbitTrack> SampleOrbits(const AMObservation& obs, const std::string& folder,
                                       std::int64_t max_samples = 20000);
