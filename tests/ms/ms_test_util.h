#pragma once
// Task-1 files for the Measurement Set tests: the small observation of four real stations
// (coverage/coverage_fixture.h) with two IFs, two polarizations and sample visibilities.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "coverage/coverage_fixture.h"
#include "coverage/uv_plane.h"
#include "coverage/uvx_creation.h"
#include "ms/ms_export.h"
#include "ms_casacore_check.h"
#include "uvx/uvfits_test_util.h"

using MSDir = CoverageDir;

// 3C 273 (or `source`) observed for `hours` from 0h on 15 March of `year`, 2 IFs x 16 channels,
// RR and LL, every station always seeing it.
inline AMObservation MSObservation(const std::string& folder, int year = 2024, double hours = 6.0) {
  AMObservation obs = SmallObservation(folder);
  obs.year = year;
  obs.time_step_s = 300.0;
  obs.intervals.Add({600.0, 600.0 + hours * 3600.0, 1, 0});
  obs.freq.AddIfs(1);
  obs.polarizations.SetSize(0);
  obs.polarizations.Add(-1);
  obs.polarizations.Add(-2);
  return obs;
}

// Writes the task-1 file of `obs` (obs.output_path); with `sample` its visibilities become the
// distinct non-zero SampleEntry values (positive weights).
inline void WriteTask1File(const AMObservation& obs, bool sample = true) {
  AMUVPlane plane;
  ASSERT_TRUE(plane.Calculate(obs, nullptr, nullptr, nullptr));
  ASSERT_TRUE(CreateZeroUVX(plane.UVPath(), obs, obs.output_path, nullptr, nullptr, nullptr));
  if (sample) FillSampleVisibilities(obs.output_path);
}

inline MSExportOptions Stored() {
  MSExportOptions o;
  o.weights = UVFitsWeights::AsStored;
  return o;
}
inline MSExportOptions DateFrame(MSExportOptions o = {}) {
  o.frame = UVFitsFrame::Date;
  return o;
}

// Largest |a - b| / |b| over the rows (3 values a row).
inline double WorstRelative(const std::vector<double>& a, const std::vector<double>& b) {
  double worst = 0;
  for (std::size_t r = 0; r + 2 < b.size() && r + 2 < a.size(); r += 3) {
    const double length = std::sqrt(b[r] * b[r] + b[r + 1] * b[r + 1] + b[r + 2] * b[r + 2]);
    for (int k = 0; k < 3; ++k) worst = std::max(worst, std::fabs(a[r + std::size_t(k)] - b[r + std::size_t(k)]) / length);
  }
  return worst;
}
