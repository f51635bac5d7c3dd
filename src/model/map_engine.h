#pragma once
// The choice between the engines of the map visibility sum, and one map prepared for the chosen
// engine.
//
// Engines (docs/maps.md): Reference (AMapComps::VfromUV, one UV point at a time), Separable
// (AMapSum; MapEngine::Fast is the same engine under its older name) and Nufft (AMapNufft). Auto
// asks a cost model, measured on a 2-core x86-64 machine (docs/maps.md, "Choosing the engine"):
//
//   separable: points x (pixels x 60 ps + phasors x 1 ns) / threads,
//              phasors = used rows + used columns x tiles of 32 768 pixels;
//   nufft:     fine-grid cells x 20 ns (12 ns in float) + points x (10 ns + w^2 x 0.6 ns) / threads.
//
// Accuracy counts too. The separable engine holds the pixel offsets and phasors in float: its
// relative RMS error against the exact sum is at most about 2e-7 + 3e-9 x the largest phase (radians) of
// a pixel at the longest baseline; where that exceeds the requested accuracy only the NUFFT
// qualifies. The NUFFT is also left out when its grid would need more than 2 GiB.

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/containers.h"
#include "model/map_comps.h"
#include "model/map_nufft.h"
#include "model/map_range.h"
#include "model/map_sum.h"

// Default relative RMS accuracy of the NUFFT engine.
inline constexpr double kMapDefaultAccuracy = 1e-6;

// What a map run did: the engine of the last map (of a series: how many maps took each engine)
// and why.
struct AMapEngineReport {
  MapEngine engine = MapEngine::Auto;
  std::string reason;
  double accuracy = kMapDefaultAccuracy;
  std::int64_t pixels = 0;   // non-zero pixels of the last map
  std::int64_t points = 0;   // UV points summed (all maps)
  double separable_s = 0;    // the cost model's estimates for the last map, seconds
  double nufft_s = 0;
  double separable_error = 0;  // estimated relative error of the separable engine
  int nufft_width = 0;       // kernel width, fine grid and precision of the last NUFFT map
  std::uint32_t nufft_rows = 0, nufft_cols = 0;
  bool nufft_single = false;
  int maps_reference = 0, maps_separable = 0, maps_nufft = 0;
};

// How map models are summed. Constructible from a MapEngine alone, so existing calls stay valid.
struct AMapSumOptions {
  MapEngine engine = MapEngine::Auto;
  double accuracy = kMapDefaultAccuracy;  // relative RMS, NUFFT engine (and the choice)
  AMapEngineReport* report = nullptr;     // filled when given
  // Spectral scaling (more than one row): per (set-up, IF) row and set pixel (row by row, column
  // by column) a spectral index; each row's points are summed over the map scaled by its factors.
  const AMatrix<float>* spectral_index = nullptr;
  // Counts the groups stored into the file (what a stopped run in place has changed), when given.
  std::int64_t* groups_stored = nullptr;
  AMapSumOptions() = default;
  AMapSumOptions(MapEngine e) : engine(e) {}  // NOLINT: implicit on purpose
};

// What the cost model needs to know about a map and its UV points.
struct AMapWorkload {
  std::uint32_t rows = 0, cols = 0;
  std::int64_t pixels = 0;     // non-zero
  std::int64_t used_rows = 0;  // rows and columns holding a non-zero pixel
  std::int64_t used_cols = 0;
  std::int64_t points = 0;     // UV points to sum at
  double max_phase = 0;        // largest |x| |u| + |y| |v| over non-zero pixels and points, radians
  double accuracy = kMapDefaultAccuracy;
  int threads = 1;
};

struct AMapCostEstimate {
  double separable_s = 0;
  double nufft_s = 0;
  double separable_error = 0;
  std::size_t nufft_bytes = 0;
  MapEngine choice = MapEngine::Fast;
  std::string reason;
};

// The workload of `map` summed at `points` UV points with |u|, |v| up to uv_max wavelengths
// (0 or less: unknown, taken as the map's Nyquist limit).
AMapWorkload DescribeMapWork(const AMatrix<float>& map, const TMinMax& range, std::int64_t points, double uv_max,
                             double accuracy);
// The cost model's estimates and choice (Separable or Nufft) with the reason in words.
AMapCostEstimate EstimateMapEngines(const AMapWorkload& work);

const char* MapEngineName(MapEngine engine);  // "reference", "separable", "nufft", "auto"

// One map prepared for its engine.
class AMapEvaluator {
 public:
  // Prepares `map` for `points` UV points with |u|, |v| <= uv_max wavelengths with the engine of
  // `options` (Auto: the cost model's choice). 0 with *error when the NUFFT grid cannot be had.
  int Prepare(const AMatrix<float>& map, const TMinMax& range, std::int64_t points, double uv_max,
              const AMapSumOptions& options, std::string* error);
  void Eval(const double* u, const double* v, std::size_t n, double* re, double* im) const;

  MapEngine Engine() const { return engine_; }  // Reference, Fast (separable) or Nufft
  const AMapCostEstimate& Estimate() const { return estimate_; }
  const AMapNufft& Nufft() const { return nufft_; }
  // Adds this map's engine, estimates and reason to a run's report.
  void Report(AMapEngineReport& report, double accuracy) const;

 private:
  MapEngine engine_ = MapEngine::Fast;
  AMapCostEstimate estimate_;
  std::int64_t pixels_ = 0;
  AMapComps comps_;
  AMapSum sum_;
  AMapNufft nufft_;
};
