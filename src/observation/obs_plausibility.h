#pragma once
// Checks of an observation beyond the Create checks: values that the program would accept but
// that almost always mean a mistake (a unit mistaken, a frequency left at 0, a code repeated).
// The command line runs them before obs check, configure and run; the desktop page can show them.
// Errors stop the run; warnings are shown and the run goes on.

#include <string>
#include <vector>

#include "observation/observation.h"

struct AMObsProblem {
  bool error = true;   // false: a warning
  std::string where;   // "frequency set-up", "polarization", "telescope EF", "source"
  std::string text;    // one line
};

// Ground stations must lie 6 300-6 400 km from the geocentre (coordinates in metres).
inline constexpr double kMinStationRadiusM = 6300e3, kMaxStationRadiusM = 6400e3;
// A semimajor axis beyond this many km is taken for metres given as kilometres.
inline constexpr double kMaxSemimajorKm = 2.0e6;

std::vector<AMObsProblem> CheckPlausibility(const AMObservation& obs);

// The problem of one telescope catalogue record (ground distance, orbit size), or none: the same
// test `catalog add` and the JSON reader apply. Empty text when plausible.
std::string TelescopePlausibility(const AMTlscItem& t);

bool HasErrors(const std::vector<AMObsProblem>& problems);
