#pragma once
// Maps as source models: reading and writing maps of every supported kind, listing a folder of
// maps, and filling the visibilities of a UVX file from one map or from a time series of maps.
//
// The fill of one group (identical to the component run): s = the index of the group's frequency
// set-up; for every IF k, with fast on, one UV point at the frequency f of the IF's first channel,
// else one per channel j at its own frequency; u and v [s] times f [Hz] give wavelengths. The map's
// visibility V (the sum over its point components, map_comps.h) then goes into every polarization
// of the channel(s): add: real += V.real, imag += V.imag (formed in double, stored as float);
// replace: real = V.real, imag = V.imag. The weight is never touched.

#include <string>
#include <vector>

#include "core/containers.h"
#include "core/runtime.h"
#include "model/map_engine.h"
#include "model/map_range.h"
#include "uvx/uvx_file.h"

// Reads a map: .exm / .amap (our binary layout, AMapFile/AMapHeader) or .fits/.fit/.fts (FITS image,
// 2-D or 4-D with degenerate axes, CDELT/CRPIX/CRVAL in degrees; Jy/pixel or Jy/beam stated in the
// unit) by extension. Non-zero on success; *error says why otherwise.
int LoadMapAny(const std::string& path, AMatrix<float>& map, TMinMax& range, std::string& unit,
               std::string* error);
// Whether a map path names a FITS file (.fits, .fit, .fts, any letter case).
bool IsFitsMapPath(const std::string& path);
// Writes a map by extension (.exm, .amap, .fits); complete or absent. FITS maps are written with
// RA increasing to the left (CDELT1 < 0, SaveSkyFitsMap) and CRVAL 0.
int SaveMapAny(const std::string& path, const AMatrix<float>& map, const TMinMax& range,
               const std::string& unit, std::string* error);
// The ".exm" files of a folder in name order; 0 when the folder cannot be listed.
int ListMapFolder(const std::string& folder, std::vector<std::string>& paths);

// Model kind 1: fills every visibility of an open UVX file (opened with AUVXFile::modeUpdate) from
// one map, reading groups through AUVXFastRead::GetUVGVis (stop flag tested before each group), and
// writes the header's extremes at the end. Non-zero on success; 0 on failure or stop.
// A map needs at least 2 rows and 2 columns (its pixel spacing is undefined otherwise).
// `options` name the engine of the sum (default: the cost model's choice) and the accuracy, and
// receive the engine report (map_engine.h).
// With `map_on_j2000` the map's offsets are on the axes of the J2000 phase centre (a FITS image's
// usual WCS): each group's (u, v) are turned from the file's frame of date to those axes
// (core/uvw_frame.h) before the sum, which is the same as turning the pixel offsets into the frame
// of date. The file then needs its phase centre (SU table).
int ApplyMapModel(AUVXFile& file, const AMatrix<float>& map, const TMinMax& range, bool add,
                  bool fast, ProgressSink* progress, StopFlag* stop, std::string* error,
                  const AMapSumOptions& options = {}, bool map_on_j2000 = false);

// Model kind 2: a series of maps; map k (in the given order) serves the group times from
// start + k * step. Group times are seconds from the file's start time, so start is group time 0:
// a group at time t takes map k = floor(t / step); groups before the start (t < 0) take the first
// map, groups at or after start + N * step (N maps) the last. Each map is read when first needed
// (again only if the groups are not in time order). time_step_s must be positive and finite.
int ApplyMapSeries(AUVXFile& file, const std::vector<std::string>& map_paths, double time_step_s,
                   bool add, bool fast, ProgressSink* progress, StopFlag* stop, std::string* error,
                   const AMapSumOptions& options = {});

// The map of a series that serves group time t (the rule above); `maps` >= 1.
int MapSeriesIndex(double time_s, double time_step_s, int maps);
