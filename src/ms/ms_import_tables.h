#pragma once
// The FQ, SU and AN tables of a UVX file made from a Measurement Set's subtables.

#include <string>
#include <vector>

#include "ms/ms_plain.h"
#include "uvx/uvx_table.h"

namespace ms {

// One frequency set-up (FRQSEL 1) whose IFs are `windows` in order: IF FREQ = channel 0 of the
// window - `ref_freq_hz`, CH WIDTH, TOTAL BANDWIDTH, SIDEBAND from the window.
AUVXTable ImportFqTable(const std::vector<const SpectralWindow*>& windows, double ref_freq_hz, int n_chan);

// One source: the field's name and J2000 direction (degrees in RAEPO/DECEPO, RAAPP/DECAPP the same),
// EPOCH 2000, RESTFREQ the reference frequency.
AUVXTable ImportSourceTable(const Field& field, int n_if, double ref_freq_hz);

// The antennas in ANTENNA row order, numbered 1.. (NOSTA = row + 1): ANNAME (the first 8
// characters of NAME), STABXYZ (ITRF; 0 for a space-based antenna), MNTSTA from MOUNT, DIAMETER,
// feed types from the receptors, and the keywords task 1 writes (UTC times, array centre 0).
AUVXTable ImportAntennaTable(const ReadDescription& info, double jd0, double ref_freq_hz,
                             const std::vector<std::string>& receptors);

// MOUNT (and TYPE) to the AIPS MNTSTA code: 0 alt-az, 1 equatorial, 2 orbiting, 3 X-Y,
// 4 and 5 Nasmyth right and left.
int MountCode(const Antenna& a);

}  // namespace ms
