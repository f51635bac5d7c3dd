#pragma once
// The subtables of a Measurement Set written by the export (casacore side, C++17).

#include <casacore/ms/MeasurementSets/MeasurementSet.h>

#include <string>

#include "ms/ms_plain.h"

namespace ms {

// Creates the subtables the MS definition requires, and SOURCE, empty, without locking and in
// memory-based storage written when they close (they are small).
void CreateSubtables(casacore::MeasurementSet& ms);

// Fills ANTENNA, FEED, SPECTRAL_WINDOW, POLARIZATION, DATA_DESCRIPTION, FIELD, SOURCE (optional
// in the MS definition), OBSERVATION, STATE and PROCESSOR of a new set whose
// default subtables exist. Throws casacore's exceptions.
void FillSubtables(casacore::MeasurementSet& ms, const Description& d);

}  // namespace ms
