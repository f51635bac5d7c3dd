#pragma once
// UVX -> Measurement Set v2 (casacore), for WSClean, CASA and DP3; what is written is described
// in docs/ms.md.

#include <map>
#include <string>

#include "core/runtime.h"
#include "uvx/uvfits_export.h"

struct MSExportOptions {
  UVFitsWeights weights = UVFitsWeights::Auto;  // as the UVFITS export chooses them
  UVFitsFrame frame = UVFitsFrame::J2000;       // Date: the UVX axes as stored
  // DISH_DIAMETER (metres) by telescope name (ANNAME), for AN tables without a DIAMETER column
  // (task 1 does not write one; the command line fills this from the telescope catalogue).
  std::map<std::string, double> dish_diameters;
};

// Writes the Measurement Set directory `ms_path` from the UVX file `uvx_path`, block by block
// (memory does not grow with the file): one main-table row per group and IF, u, v, w in metres
// on the axes of the J2000 phase centre. The directory appears only when complete (written as
// "<ms_path>.part", then renamed; an older `ms_path` is replaced only then). Returns non-zero on
// success; otherwise `error` says what was wrong, in one line, and nothing new remains (also
// when `stop` was raised: error "stopped"). The summary's `bytes` is the size of the directory.
int ExportMS(const std::string& uvx_path, const std::string& ms_path, ProgressSink* progress, StopFlag* stop,
             MessageSink* messages, std::string& error, UVFitsSummary* summary = nullptr,
             const MSExportOptions& options = {});

// AIPS polarization code (1..4 I Q U V, -1..-8 RR LL RL LR XX YY XY YX) to casacore's Stokes
// type (1..4, 5 RR, 6 RL, 7 LR, 8 LL, 9 XX, 10 XY, 11 YX, 12 YY), and back; 0 when none.
int CorrTypeFromAips(int aips_code);
int AipsFromCorrType(int corr_type);
