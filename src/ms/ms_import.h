#pragma once
// Measurement Set -> UVX: the UV coverage (and data) of a real observation; docs/ms.md.

#include <string>

#include "core/runtime.h"
#include "uvx/uvfits_export.h"

// Reads the main table of `ms_path` block by block into the UVX file `uvx_path` (tables FQ, SU,
// AN, BL, PS): one group per time and baseline holding every spectral window of the set as an
// IF. u, v, w are turned from metres on the axes of the J2000 phase centre into the UVX frame
// (`frame` Date: only the unit and sign change). What a UVX file cannot hold is refused with a
// one-line reason: several fields, spectral windows of different shapes or polarization set-ups,
// more than 255 antennas, a baseline twice at one time and window. The output appears only
// when complete ("<uvx_path>.part", renamed). `column` names the data column read. Returns
// non-zero on success; otherwise `error` says what was wrong and no output remains (also when
// `stop` was raised: error "stopped").
int ImportMS(const std::string& ms_path, const std::string& uvx_path, ProgressSink* progress, StopFlag* stop,
             MessageSink* messages, std::string& error, UVFitsSummary* summary = nullptr,
             UVFitsFrame frame = UVFitsFrame::J2000, const std::string& column = "DATA");
