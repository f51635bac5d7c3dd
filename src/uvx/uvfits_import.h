#pragma once
// UVFITS -> UVX: random-groups files as AIPS, CASA and our export write them (docs/uvfits.md).

#include <string>

#include "core/runtime.h"
#include "uvx/uvfits_export.h"

// Reads `fits_path` group by group into the UVX file `uvx_path` with the tables FQ, SU, AN, BL
// and PS. What a UVX file cannot hold (more than 255 telescopes, several sources or subarrays) is
// refused, never dropped. The output appears only when complete ("<uvx_path>.part", renamed).
// Returns non-zero on success; otherwise `error` says what was wrong, in one line, and no output
// remains (also when `stop` was raised: error "stopped"). Notes such as a time-system
// conversion go to `messages`. With `frame` J2000 (the default) the UU, VV, WW of a file whose
// EPOCH is 2000 are turned from the axes of its J2000 phase centre (the SU table, else the RA and
// DEC axes) into the UVX frame, the inverse of the export; Date keeps them as stored.
int ImportUVFITS(const std::string& fits_path, const std::string& uvx_path, ProgressSink* progress, StopFlag* stop,
                 MessageSink* messages, std::string& error, UVFitsSummary* summary = nullptr,
                 UVFitsFrame frame = UVFitsFrame::J2000);

// The same with the element-by-element decoding of the visibilities forced and u, v, w as stored
// (the reference the tests compare the direct path with).
int ImportUVFITSGeneral(const std::string& fits_path, const std::string& uvx_path, std::string& error);
