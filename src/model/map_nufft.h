#pragma once
// The non-uniform FFT engine of the map visibility sum (type 2: uniform image -> visibilities at
// arbitrary u, v), for dense maps at FFT speed. Method and kernel: map_nufft_grid.h.
//
// Build() puts the map's pixels, divided by the kernel's Fourier transform, on a fine grid twice
// the map's size along each axis and transforms it (one FFT per map). Sum() then costs w x w grid
// cells per UV point, whatever the number of pixels: the kernel's tap values, a weighted sum of the
// cells, and the phase of the map's centre pixel. Points are independent: Sum() runs them in
// parallel and its result does not depend on the number of threads.
//
// The sum is that of the pixel grid: pixel (r, c) at x = xmin + c (xmax - xmin) / (C - 1),
// y = ymin + r (ymax - ymin) / (R - 1), in double; V = sum p exp(+i 2 pi (u x + v y)). It is
// periodic in u with period 1 / (pixel spacing) (and so in v), and points beyond the map's
// Nyquist limit 1 / (2 spacing) are folded back exactly: no point is refused. The relative RMS
// error against a double-precision direct sum is at most the requested accuracy (1e-3 .. 1e-9
// tested). The reference and separable engines hold the offsets in float (map_comps.h), which
// shifts a pixel by up to 6e-8 of its offset; at phases of thousands of radians that rounding is
// larger than this engine's error.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/containers.h"
#include "model/map_nufft_grid.h"
#include "model/map_range.h"
#include "model/map_sum.h"

class AMapNufft {
 public:
  AMapNufft() = default;
  AMapNufft(const AMapNufft&) = delete;
  AMapNufft& operator=(const AMapNufft&) = delete;

  // Prepares the grid of `map` over the axis ranges (arcsec) for a relative RMS accuracy; returns
  // the number of non-zero pixels, or -1 when the grid cannot be allocated. An all-zero map needs
  // no grid. The map needs at least 2 rows and 2 columns.
  std::int64_t Build(const AMatrix<float>& map, const TMinMax& range, double accuracy);

  // Visibility at n UV points (u[i], v[i] in wavelengths): re[i], im[i] in Jy. A point that is not
  // a finite number gives a value that is not either.
  void Sum(const double* u, const double* v, std::size_t n, double* re, double* im) const;

  void SetKernel(MapKernel kernel);
  MapKernel Kernel() const { return active_; }  // Generic or Avx2
  std::int64_t Pixels() const { return pixels_; }
  const ANufftKernel& Setup() const { return kernel_; }
  std::uint32_t FineRows() const { return grid_.rows(); }
  std::uint32_t FineCols() const { return grid_.cols(); }
  std::size_t GridBytes() const { return grid_.Bytes(); }

  // Bytes of the fine grid of a rows x cols map at this accuracy, without allocating it.
  static std::size_t PlannedBytes(std::uint32_t rows, std::uint32_t cols, double accuracy);

 private:
  ANufftKernel kernel_;
  ANufftAxis ax_, ay_;
  ANufftGrid grid_;
  std::int64_t pixels_ = 0;
  MapKernel active_ = MapKernelAvx2Supported() ? MapKernel::Avx2 : MapKernel::Generic;
};

// The indices 0 .. n-1 of points with fine-grid coordinates gx, gy, ordered by the 16 x 16-cell tile
// of a rows x cols grid they fall in (tiles row by row), in index order within a tile.
std::vector<std::uint32_t> NufftTileOrder(const double* gx, const double* gy, std::size_t n, std::uint32_t rows,
                                          std::uint32_t cols);
