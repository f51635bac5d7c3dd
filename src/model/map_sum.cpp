#include "model/map_sum.h"

#include <tbb/blocked_range.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>

#include <algorithm>

#include "model/map_comps.h"

namespace {

// Each parallel piece should hold at least this many terms (pixels x UV points).
constexpr std::int64_t kPieceTerms = 1 << 17;

}  // namespace

AMapTileView AMapSum::Tile::View() const {
  AMapTileView t;
  t.col_x = col_x.data();
  t.n_cols = std::uint32_t(col_x.size());
  t.row_y = row_y.data();
  t.n_rows = std::uint32_t(row_y.size());
  t.row_start = row_start.data();
  t.pixels = pixels.data();
  return t;
}

void AMapSum::SetKernel(MapKernel kernel) {
  const bool avx2 = MapKernelAvx2Supported();
  active_ = kernel == MapKernel::Generic || !avx2 ? MapKernel::Generic : MapKernel::Avx2;
}

std::int64_t AMapSum::Build(const AMatrix<float>& map, const TMinMax& range) {
  tiles_.clear();
  max_cols_ = 0;
  pixels_ = 0;
  std::vector<std::uint32_t> row_count(map.rows, 0);
  for (std::uint32_t r = 0; r < map.rows; ++r) {
    const float* row = map.Row(r);
    for (std::uint32_t c = 0; c < map.cols; ++c) row_count[r] += row[c] != 0;
    pixels_ += row_count[r];
  }
  std::vector<std::int32_t> col_index(map.cols, -1);
  std::uint32_t first = 0;
  while (first < map.rows) {
    // Rows [first, last) make one tile.
    std::uint32_t last = first;
    std::uint64_t count = 0;
    while (last < map.rows && (count == 0 || count + row_count[last] <= kTilePixels)) count += row_count[last++];
    if (count > 0) {
      Tile t;
      for (std::uint32_t r = first; r < last; ++r) {
        const float* row = map.Row(r);
        for (std::uint32_t c = 0; c < map.cols; ++c)
          if (row[c] != 0) col_index[c] = 0;
      }
      for (std::uint32_t c = 0; c < map.cols; ++c)
        if (col_index[c] >= 0) {  // marked above; numbered in column order
          col_index[c] = std::int32_t(t.col_x.size());
          t.col_x.push_back(MapOffsetX(c, map.cols, range));
        }
      t.pixels.reserve(count);
      t.row_start.push_back(0);
      for (std::uint32_t r = first; r < last; ++r) {
        if (row_count[r] == 0) continue;
        const float* row = map.Row(r);
        for (std::uint32_t c = 0; c < map.cols; ++c)
          if (row[c] != 0) t.pixels.push_back(AMapPixel{std::uint32_t(col_index[c]), row[c]});
        t.row_y.push_back(MapOffsetY(r, map.rows, range));
        t.row_start.push_back(std::uint32_t(t.pixels.size()));
      }
      std::fill(col_index.begin(), col_index.end(), -1);
      max_cols_ = std::max(max_cols_, std::uint32_t(t.col_x.size()));
      tiles_.push_back(std::move(t));
    }
    first = last;
  }
  return pixels_;
}

void AMapSum::SumTile(const Tile& tile, const double* u, const double* v, std::size_t n, std::size_t pass,
                      double* re, double* im, AMatrix<float>& scratch) const {
  const std::size_t need = std::size_t(2) * kMapLanes * std::max<std::uint32_t>(max_cols_, 1);
  if (scratch.Elements() < need) scratch.Resize(1, std::uint32_t(need));
  const std::size_t base = pass * kMapLanes;
  const std::size_t valid = std::min<std::size_t>(kMapLanes, n - base);
  double lu[kMapLanes] = {}, lv[kMapLanes] = {}, lre[kMapLanes], lim[kMapLanes];
  for (std::size_t p = 0; p < valid; ++p) {
    lu[p] = u[base + p];
    lv[p] = v[base + p];
  }
  const MapTileKernel kernel = active_ == MapKernel::Avx2 ? MapTileKernelAvx2 : MapTileKernelGeneric;
  kernel(tile.View(), lu, lv, lre, lim, scratch.data);
  for (std::size_t p = 0; p < valid; ++p) {
    re[base + p] = lre[p];
    im[base + p] = lim[p];
  }
}

void AMapSum::Sum(const double* u, const double* v, std::size_t n, double* re, double* im) const {
  if (n == 0) return;
  if (tiles_.empty()) {
    std::fill(re, re + n, 0.0);
    std::fill(im, im + n, 0.0);
    return;
  }
  const std::size_t passes = (n + kMapLanes - 1) / kMapLanes;
  const std::size_t tiles = tiles_.size();
  const std::int64_t piece_terms = std::int64_t(kMapLanes) * std::max<std::int64_t>(1, pixels_ / std::int64_t(tiles));
  const std::size_t grain = std::size_t(std::max<std::int64_t>(1, kPieceTerms / piece_terms));
  tbb::enumerable_thread_specific<AMatrix<float>> scratch;
  if (tiles == 1) {
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, passes, grain), [&](const tbb::blocked_range<std::size_t>& r) {
      AMatrix<float>& s = scratch.local();
      for (std::size_t pass = r.begin(); pass != r.end(); ++pass) SumTile(tiles_[0], u, v, n, pass, re, im, s);
    });
    return;
  }
  // Pieces (tile, pass), tile-major so that consecutive pieces reuse a tile's pixels; each tile
  // sums into its own slice, added in tile order afterwards.
  const std::size_t slice = passes * kMapLanes;
  std::vector<double> part_re(tiles * slice), part_im(tiles * slice);
  tbb::parallel_for(tbb::blocked_range<std::size_t>(0, tiles * passes, grain),
                    [&](const tbb::blocked_range<std::size_t>& r) {
                      AMatrix<float>& s = scratch.local();
                      for (std::size_t piece = r.begin(); piece != r.end(); ++piece) {
                        const std::size_t t = piece / passes, pass = piece % passes;
                        SumTile(tiles_[t], u, v, n, pass, part_re.data() + t * slice, part_im.data() + t * slice, s);
                      }
                    });
  for (std::size_t i = 0; i < n; ++i) {
    double sr = 0, si = 0;
    for (std::size_t t = 0; t < tiles; ++t) {
      sr += part_re[t * slice + i];
      si += part_im[t * slice + i];
    }
    re[i] = sr;
    im[i] = si;
  }
}
