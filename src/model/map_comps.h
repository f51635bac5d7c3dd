#pragma once
// A map as point components, and the reference visibility sum over them.
//
// Every non-zero pixel (row r, column c) of an R x C map with axis ranges (xmin, xmax, ymin, ymax)
// in arcsec becomes one item, in row-major order:
//   flux = pixel value [Jy]
//   x    = c * ((xmax - xmin) / (C - 1)) * K + xmin * K   (computed in double, stored as float)
//   y    = r * ((ymax - ymin) / (R - 1)) * K + ymin * K
// with K = 2 pi * (pi / 648000): 2 pi times one arcsecond in radians. A single row or column makes
// its spacing a division by zero: those offsets are not finite, and nothing here guards against it.
//
// VfromUV is the reference engine: the sum V = sum flux * exp(+i (x u + y v)), u and v in
// wavelengths, each term formed in double and added to float accumulators; fewer than 50 items
// are summed in a plain loop, 50 or more by a TBB parallel_reduce over a blocked_range of item
// pointers with grain max(50, ceil(count / T)), T the scheduler's default thread count (asked once
// per process), and one process-wide affinity_partitioner reused by every call. The fast engine
// (map_sum.h) computes the same sum far faster; this one stays as the reference.

#include <complex>
#include <cstdint>

#include "core/containers.h"
#include "model/map_range.h"

// 2 pi times one arcsecond in radians.
inline constexpr double kMapOffsetK = 2.0 * 3.14159265358979323846 * 3.14159265358979323846 / 648000.0;

// Offset of column c (first axis) and row r (second axis), exactly as the items hold them.
inline float MapOffsetX(std::uint32_t c, std::uint32_t cols, const TMinMax& range) {
  return static_cast<float>(c * ((range.xmax - range.xmin) / (cols - 1.0)) * kMapOffsetK + range.xmin * kMapOffsetK);
}
inline float MapOffsetY(std::uint32_t r, std::uint32_t rows, const TMinMax& range) {
  return static_cast<float>(r * ((range.ymax - range.ymin) / (rows - 1.0)) * kMapOffsetK + range.ymin * kMapOffsetK);
}

struct AMapCompsItem {
  float flux;  // Jy
  float x;     // 2 pi * first-axis offset [rad]
  float y;     // 2 pi * second-axis offset [rad]
};
static_assert(sizeof(AMapCompsItem) == 12);

class AMapComps {
 public:
  // Below this many items the sum is a plain loop.
  static constexpr int kSerialCutoff = 50;

  // Replaces the items by the non-zero pixels of `map`; returns their count.
  int FromMap(const AMatrix<float>& map, const TMinMax& range);

  // Reference visibility at (u, v) in wavelengths.
  std::complex<float> VfromUV(double u, double v) const;

  int GetSize() const { return items_.GetSize(); }
  const AMapCompsItem* Items() const { return items_.data; }
  const AMapCompsItem& operator[](int i) const { return items_[i]; }

 private:
  AArray<AMapCompsItem> items_;
};

// The plain loop over items [first, last), starting from `start`: term in double, float sums.
std::complex<float> SumMapItems(const AMapCompsItem* first, const AMapCompsItem* last, double u, double v,
                                std::complex<float> start = {});

// T of the grain formula: the scheduler's default thread count, asked on the first call.
int MapSumThreads();
