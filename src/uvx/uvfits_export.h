#pragma once
// UVX -> UVFITS (AIPS random groups with "AIPS AN", "AIPS FQ", "AIPS SU"); what is written is
// described in docs/uvfits.md.

#include <cstdint>
#include <string>

#include "core/runtime.h"

// What an export or an import moved, for the command line's summary.
struct UVFitsSummary {
  std::int64_t groups = 0;
  int telescopes = 0;
  int n_if = 0, n_channels = 0, n_stokes = 0;
  int freq_setups = 0;
  std::int64_t bytes = 0;  // size of the file written
  bool unit_weights = false;  // export: the weights were written as 1
  bool j2000 = false;         // u, v, w on J2000 axes (export: turned; import: turned back)
};

// Weights of an export. Every task of a simulation keeps the weights of the empty file of task 1,
// which are 0, and the tools that read UVFITS flag data of weight 0 or less. Auto therefore writes
// 1 for every weight when the file's header says that all its weights are 0, and the weights as
// stored otherwise.
enum class UVFitsWeights { Auto, AsStored, Unit };

// Axes of the exported UU, VV, WW. J2000: turned from the UVX frame (the apparent direction in the
// true equator and equinox of date at each group's time) to the axes of the J2000 phase centre
// that the header declares, as every UVFITS reader takes them. Date: the UVX values as stored.
enum class UVFitsFrame { J2000, Date };

// Writes `fits_path` from the UVX file `uvx_path`, streaming block by block; the output appears
// only when complete (written beside it as "<fits_path>.part", then renamed). Returns non-zero on
// success; otherwise `error` says what was wrong, in one line, and no output remains (also when
// `stop` was raised: error "stopped").
int ExportUVFITS(const std::string& uvx_path, const std::string& fits_path, ProgressSink* progress, StopFlag* stop,
                 MessageSink* messages, std::string& error, UVFitsSummary* summary = nullptr,
                 UVFitsWeights weights = UVFitsWeights::Auto, UVFitsFrame frame = UVFitsFrame::J2000);
