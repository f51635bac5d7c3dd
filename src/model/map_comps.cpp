#include "model/map_comps.h"

#include <tbb/blocked_range.h>
#include <tbb/info.h>
#include <tbb/parallel_reduce.h>
#include <tbb/partitioner.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <atomic>

namespace {

// The one affinity partitioner of the process. An affinity partitioner records which thread ran
// which sub-range; two reductions must not update it at the same time, so a call that finds it
// busy (another thread summing concurrently) uses a partitioner of its own instead.
tbb::affinity_partitioner& SharedPartitioner() {
  static tbb::affinity_partitioner partitioner;
  return partitioner;
}
std::atomic<bool> partitioner_busy{false};

struct PartitionerClaim {
  bool owned = !partitioner_busy.exchange(true, std::memory_order_acquire);
  ~PartitionerClaim() {
    if (owned) partitioner_busy.store(false, std::memory_order_release);
  }
};

}  // namespace

int MapSumThreads() {
  static const int threads = std::max(1, tbb::info::default_concurrency());
  return threads;
}

int AMapComps::FromMap(const AMatrix<float>& map, const TMinMax& range) {
  items_.RemoveAll();
  std::uint64_t n = 0;
  for (std::uint64_t i = 0; i < map.Elements(); ++i) n += map.data[i] != 0;
  if (n == 0 || n > std::uint64_t(std::numeric_limits<int>::max())) return 0;  // none, or beyond an item array
  items_.SetSize(static_cast<int>(n));
  int k = 0;
  for (std::uint32_t r = 0; r < map.rows; ++r) {
    const float y = MapOffsetY(r, map.rows, range);
    const float* row = map.Row(r);
    for (std::uint32_t c = 0; c < map.cols; ++c)
      if (row[c] != 0) items_[k++] = AMapCompsItem{row[c], MapOffsetX(c, map.cols, range), y};
  }
  return k;
}

std::complex<float> SumMapItems(const AMapCompsItem* first, const AMapCompsItem* last, double u, double v,
                                std::complex<float> start) {
  float re = start.real(), im = start.imag();
  for (const AMapCompsItem* it = first; it != last; ++it) {
    const double phase = double(it->x) * u + double(it->y) * v;
    re += it->flux * std::cos(phase);
    im += it->flux * std::sin(phase);
  }
  return {re, im};
}

std::complex<float> AMapComps::VfromUV(double u, double v) const {
  const int count = items_.GetSize();
  const AMapCompsItem* first = items_.data;
  if (count < kSerialCutoff) return SumMapItems(first, first + std::max(count, 0), u, v);
  const int threads = MapSumThreads();
  const std::size_t grain = std::max<std::size_t>(kSerialCutoff, (std::size_t(count) + threads - 1) / threads);
  using Range = tbb::blocked_range<const AMapCompsItem*>;
  const Range all(first, first + count, grain);
  auto body = [u, v](const Range& r, std::complex<float> sum) { return SumMapItems(r.begin(), r.end(), u, v, sum); };
  auto join = [](std::complex<float> a, std::complex<float> b) { return a + b; };
  const std::complex<float> zero(0.0f, 0.0f);
  const PartitionerClaim claim;
  if (claim.owned) return tbb::parallel_reduce(all, zero, body, join, SharedPartitioner());
  tbb::affinity_partitioner own;
  return tbb::parallel_reduce(all, zero, body, join, own);
}
