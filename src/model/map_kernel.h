#pragma once
// The inner kernel of the fast map sum (map_sum.h), in two builds: a generic one (any x86-64) and
// one compiled for AVX2 + FMA in its own source file, chosen at run time.
//
// A tile is a block of map rows. Its pixels are grouped by row; each pixel names its column by an
// index into the tile's used columns. For kMapLanes UV points at once the kernel
//   1. computes the column phasors exp(i x_k u_p) of every used column (float, in `scratch`:
//      column k holds 16 cosines then 16 sines, 32 floats),
//   2. for every used row j sums flux * column phasor over the row's pixels in float (at most
//      kMapRowChunk pixels per partial sum, two interleaved partial sums),
//   3. multiplies each partial sum by the row phasor exp(i y_j v_p) and adds it to the double
//      totals.
// exp(i (x u + y v)) = exp(i x u) exp(i y v) exactly, so this is the sum of the point components
// with the same float offsets x and y, reordered. Phases are formed and reduced by multiples of
// pi/2 in double; sine and cosine come from Taylor polynomials on [-pi/4, pi/4], in float in the
// AVX2 kernel (to float accuracy), in double in the generic one.

#include <cstdint>

inline constexpr int kMapLanes = 16;         // UV points per pass
inline constexpr int kMapRowChunk = 128;     // pixels per float partial sum

struct AMapPixel {
  std::uint32_t col;  // index into the tile's used columns
  float flux;         // Jy
};

struct AMapTileView {
  const float* col_x = nullptr;            // x of every used column (float, as the items)
  std::uint32_t n_cols = 0;
  const float* row_y = nullptr;            // y of every used row
  std::uint32_t n_rows = 0;
  const std::uint32_t* row_start = nullptr;  // n_rows + 1 offsets into pixels
  const AMapPixel* pixels = nullptr;
};

// Sum of the tile at u[0..15], v[0..15] (wavelengths): re, im (16 doubles each) are overwritten.
// `scratch` holds 32 * n_cols floats, 32-byte aligned.
using MapTileKernel = void (*)(const AMapTileView& tile, const double* u, const double* v, double* re,
                               double* im, float* scratch);

void MapTileKernelGeneric(const AMapTileView& tile, const double* u, const double* v, double* re, double* im,
                          float* scratch);
void MapTileKernelAvx2(const AMapTileView& tile, const double* u, const double* v, double* re, double* im,
                       float* scratch);

// True when the processor (and the operating system) run AVX2 and FMA instructions.
bool MapKernelAvx2Supported();
