#pragma once
// The inner loops of the non-uniform FFT (map_nufft_grid.h): interpolation of the fine grid at
// points (type 2) and spreading of point values onto it (type 1), in two builds like the
// separable map sum (map_kernel.h): a generic one and one compiled for AVX2 + FMA in its own source
// file, chosen at run time with MapKernelAvx2Supported().
//
// Per point the w tap values along each axis come from the kernel's tap polynomials (Horner's rule
// over all taps at once); the point's value is sum_i ky[i] sum_j kx[j] cell(m0y + i, m0x + j).
// Columns never wrap inside a row (the grid's margins hold the wrapped cells); rows wrap by index.
// On a float grid the taps and the sums are float, on a double grid double.

#include <cstddef>
#include <cstdint>

struct ANufftTapTable {
  int width = 0;
  int degree = 0;
  const double* coef = nullptr;  // (degree + 1) rows of 16 taps, highest power first
  const float* coef_f = nullptr;
};

struct ANufftGridRef {
  void* data = nullptr;  // cell (row 0, column -pad): interleaved real, imaginary
  std::size_t stride = 0;  // complex cells per row
  int pad = 0;
  std::uint32_t rows = 0, cols = 0;
  bool single = false;
};

// Values at n points with fine-grid coordinates gx in [0, cols), gy in [0, rows), each multiplied by
// exp(i phase[i]) when `phase` is given: re[i], im[i].
using NufftInterpFn = void (*)(const ANufftGridRef& grid, const ANufftTapTable& taps, const double* gx,
                               const double* gy, const double* phase, std::size_t n, double* re, double* im);
// Adds the points order[0 .. n) (values re, im at gx, gy) to the grid, only into the rows
// row_lo <= row < row_hi, in the given order.
using NufftSpreadFn = void (*)(const ANufftGridRef& grid, const ANufftTapTable& taps, const double* gx,
                               const double* gy, const double* re, const double* im, const std::uint32_t* order,
                               std::size_t n, std::uint32_t row_lo, std::uint32_t row_hi);

void NufftInterpGeneric(const ANufftGridRef& grid, const ANufftTapTable& taps, const double* gx, const double* gy,
                        const double* phase, std::size_t n, double* re, double* im);
void NufftInterpAvx2(const ANufftGridRef& grid, const ANufftTapTable& taps, const double* gx, const double* gy,
                     const double* phase, std::size_t n, double* re, double* im);
void NufftSpreadGeneric(const ANufftGridRef& grid, const ANufftTapTable& taps, const double* gx, const double* gy,
                        const double* re, const double* im, const std::uint32_t* order, std::size_t n,
                        std::uint32_t row_lo, std::uint32_t row_hi);
void NufftSpreadAvx2(const ANufftGridRef& grid, const ANufftTapTable& taps, const double* gx, const double* gy,
                     const double* re, const double* im, const std::uint32_t* order, std::size_t n,
                     std::uint32_t row_lo, std::uint32_t row_hi);
