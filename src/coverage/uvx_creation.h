#pragma once
// The "Create file:" step of task 1: turns a UV-point file into a new UVX file whose visibilities
// are all zero, with the tables FQ, SU, AN, the baselines ("BL") and the positions ("PS").
//
// Values this step chooses (see docs/coverage.md):
//  - AN STABXYZ: right-handed ITRF (X, -Y, Z of the catalogue, whose Y is kept negated) for a
//    ground telescope; 0, 0, 0 for an orbiting one (MNTSTA 2, no orbit stored: NUMORB 0).
//    ARRAYX/Y/Z = 0, so station position = STABXYZ.
//  - POLARX/Y = 0 and UT1UTC = 0 (the geometry neglects polar motion and takes UT1 = UTC),
//    DATUTC = 0 (times are UTC), IATUTC = TAI - UTC at 0h of the reference date (ERFA), NOPCAL 2
//    (the POLCALA/POLCALB columns hold two values).
//  - FREQID (SU and AN) and the SU bandwidth: the frequency ID of the first interval; bandwidth =
//    the sum over its IFs of channels x channel width.
//  - SU RAAPP/DECAPP: the apparent place (aberration, true equator and equinox of date) at 0h UTC of
//    the reference date; source ID 1.

#include <string>

#include "core/runtime.h"
#include "observation/observation.h"
#include "uvx/uvx_table.h"

inline constexpr const char* kCreateFile = "Create file:";

// The SU table for `obs` (new; the caller deletes it).
AUVXTable* MakeSourceTable(const AMObservation& obs, int freq_id, double bandwidth_hz);
// The AN table for `obs` (new; the caller deletes it).
AUVXTable* MakeAntennaTable(const AMObservation& obs, int freq_id);

// Frequency ID used by the SU and AN tables, and the total bandwidth of its row.
int TablesFreqId(const AMObservation& obs);
double TotalBandwidthHz(const AMObservation& obs, int freq_id);

// Writes `output_path` from the UV-point file `uv_path` (written by AMUVPlane for `obs`). Non-zero
// on success. A failure or a stop leaves no output file.
int CreateZeroUVX(const std::string& uv_path, const AMObservation& obs, const std::string& output_path,
                  ProgressSink* progress, StopFlag* stop, MessageSink* messages);
