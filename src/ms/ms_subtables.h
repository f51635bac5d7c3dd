#pragma once
// The subtables of a Measurement Set written by the export (casacore side, C++17).

#include <casacore/ms/MeasurementSets/MeasurementSet.h>

#include <string>

#include "ms/ms_plain.h"

namespace ms {

// Fills ANTENNA, FEED, SPECTRAL_WINDOW, POLARIZATION, DATA_DESCRIPTION, FIELD, SOURCE (created
// here: it is optional in the MS definition), OBSERVATION, STATE and PROCESSOR of a new set whose
// default subtables exist. Throws casacore's exceptions.
void FillSubtables(casacore::MeasurementSet& ms, const Description& d);

}  // namespace ms
