#pragma once
// The adjoint of the NUFFT map engine (type 1: values at arbitrary u, v -> a uniform image), on
// the same kernel, axes and grid (map_nufft_grid.h). It is what a dirty imager needs:
//
//   image(r, c) = sum_j value_j exp(-i (x_c u_j + y_r v_j))
//
// with the pixel positions x_c = first_x + c step_x, y_r = first_y + r step_y in phase per
// wavelength (2 pi times radians), u and v in wavelengths. Points are added in batches (Add), so
// that a file of any size streams through; Finish() transforms the grid and returns the image.
//
// Spreading is parallel over strips of grid rows: each strip adds the points that touch it, in
// their order, into its own rows, so the result does not depend on the number of threads.

#include <complex>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "model/map_nufft_grid.h"
#include "model/map_sum.h"

class AMapNufftAdjoint {
 public:
  AMapNufftAdjoint() = default;
  AMapNufftAdjoint(const AMapNufftAdjoint&) = delete;
  AMapNufftAdjoint& operator=(const AMapNufftAdjoint&) = delete;

  // An empty image of rows x cols pixels; 0 when the grid cannot be allocated.
  int Init(std::uint32_t rows, std::uint32_t cols, double first_x, double step_x, double first_y, double step_y,
           double accuracy);
  // Adds n points (u, v in wavelengths; value re + i im). Points that are not finite are skipped.
  void Add(const double* u, const double* v, const double* re, const double* im, std::size_t n);
  // The image (row-major, rows x cols, complex); the grid is released.
  std::vector<std::complex<double>> Finish();

  void SetKernel(MapKernel kernel);
  const ANufftKernel& Setup() const { return kernel_; }
  std::uint32_t FineRows() const { return grid_.rows(); }
  std::uint32_t FineCols() const { return grid_.cols(); }

 private:
  ANufftKernel kernel_;
  ANufftAxis ax_, ay_;
  ANufftGrid grid_;
  MapKernel active_ = MapKernelAvx2Supported() ? MapKernel::Avx2 : MapKernel::Generic;
};
