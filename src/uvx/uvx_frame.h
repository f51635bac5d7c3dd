#pragma once
// The frame of a UVX file's u, v, w against the J2000 axes that other tools read (core/uvw_frame.h).

#include <memory>

#include "core/uvw_frame.h"
#include "uvx/uvx_file.h"

// The J2000 phase centre of the file: RAEPO, DECEPO of the first row of its "SU" table (degrees
// there), in radians. Non-zero on success; 0 when the file has no SU table with those columns.
int UVXPhaseCentre(AUVXFile& in, double& ra_rad, double& dec_rad);
// The same from an SU table (its first row).
int SourceTablePhaseCentre(const AUVXTable& su, double& ra_rad, double& dec_rad);

// The rotation for the file's date (header JD0) and phase centre; null without a phase centre.
// Times given to it count from JD0: the header's start time plus the group's time.
std::unique_ptr<AUVWFrameRotation> UVXFrameRotation(AUVXFile& in);
