#pragma once
// The pieces of the non-uniform FFT shared by the map engine (type 2: uniform image -> values at
// arbitrary u, v) and the dirty imager (type 1, its adjoint): the exponential-of-semicircle kernel,
// the axes of the image with their grid correction, and the upsampled grid with its FFT passes.
//
// The method (Barnett, Magland & af Klinteberg 2019): an image of N pixels along an axis holds
// modes k = -N/2 .. N/2 - 1 (pixel c = k + N/2). A point at phase a per pixel (a = pixel step x u,
// radians) has the value sum_k F(k) exp(i k a); the sum is 2 pi periodic in a, so a is folded
// into [0, 2 pi). On a fine grid of n >= 2N cells (spacing h = 2 pi / n):
//   b_m = sum_k F(k) / psi_hat(k h) exp(+i k m h)       (an FFT of the corrected, zero-padded modes)
//   value(a) = sum over the w cells m nearest a / h of b_m psi(a / h - m)
// with psi(t) = phi(2 t / w), phi(z) = exp(beta (sqrt(1 - z^2) - 1)) on |z| <= 1, and psi_hat its
// Fourier transform, computed by Gauss-Legendre quadrature. The error falls exponentially with the
// width: w = ceil(log10(1 / accuracy)) + 2 cells and beta = 2.30 w give a relative RMS error about
// ten times below the requested accuracy at upsampling sigma = 2 (measured in the tests and
// docs/maps.md; one cell less lands on the accuracy itself).
//
// In two dimensions the kernel and the correction are products of the 1-D ones.

#include <complex>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// The kernel for one accuracy, with its tap values as polynomials.
//
// For a point at fine-grid coordinate g the taps are the w cells m0 .. m0 + w - 1, m0 =
// ceil(g - w/2); with s = m0 - (g - w/2) in [0, 1) tap i has the value phi(1 - 2 (s + i) / w).
// Each tap's value is a polynomial in t = 2 s - 1 of `degree` (Chebyshev interpolation of phi,
// converted to powers of t), evaluated by Horner's rule for all taps at once.
struct ANufftKernel {
  static constexpr int kMaxWidth = 16;
  static constexpr int kTapStride = 16;  // coefficient rows are padded to 16 taps (zeros)

  double accuracy = 0;
  int width = 0;
  double beta = 0;
  int degree = 0;
  bool single = false;  // float grid and float tap arithmetic
  // (degree + 1) rows of kTapStride: row d holds the coefficient of t^(degree - d) of every tap.
  std::vector<double> coef;
  std::vector<float> coef_f;

  // The kernel for a relative RMS accuracy (clamped to 1e-15 .. 1e-1). Accuracies of 1e-5 and
  // coarser run in float, finer ones in double.
  static ANufftKernel ForAccuracy(double accuracy);

  // phi(z); 0 outside [-1, 1].
  double Phi(double z) const;
  // Fourier transform of psi (the kernel over w grid cells) at omega radians per grid cell:
  // integral psi(t) exp(-i omega t) dt = (w / 2) integral_{-1}^{1} phi(z) cos(omega w z / 2) dz.
  double Fourier(double omega) const;
  // Tap values of a point at fine-grid coordinate g through the polynomials; returns m0.
  std::int64_t Taps(double g, double* values) const;
};

// Smallest n >= at_least of the form 2^a 3^b 5^c, even.
std::uint32_t NufftFineSize(std::uint64_t at_least);

// One axis of a uniform image: `modes` pixels at positions origin + (c - centre) * step (phase per
// wavelength: the phase of pixel c at u wavelengths is position * u), centre = modes / 2.
struct ANufftAxis {
  std::uint32_t modes = 0;
  std::uint32_t centre = 0;
  std::uint32_t fine = 0;
  double origin = 0;  // position of pixel `centre`
  double step = 0;
  std::vector<double> correction;  // per pixel: 1 / psi_hat(2 pi (c - centre) / fine)

  // Pixels c at first + c * step; the fine grid at least 2 * modes and 2 * width cells.
  void Init(std::uint32_t n, double first, double pixel_step, const ANufftKernel& kernel);
  // Fine-grid coordinate in [0, fine) of the point at u wavelengths (step * u folded by 2 pi).
  double Coordinate(double u) const;
};

// The fine grid: `rows` x `cols` complex cells of float or double, each row with `pad` extra cells
// on either side so that the taps of a point never wrap inside a row. Rows wrap by index.
class ANufftGrid {
 public:
  ANufftGrid() = default;
  ANufftGrid(const ANufftGrid&) = delete;
  ANufftGrid& operator=(const ANufftGrid&) = delete;
  ~ANufftGrid();

  // Zeroed storage; 0 when it cannot be allocated.
  int Allocate(std::uint32_t rows, std::uint32_t cols, bool single, int width);
  void Release();
  std::size_t Bytes() const { return bytes_; }

  bool single() const { return single_; }
  std::uint32_t rows() const { return rows_; }
  std::uint32_t cols() const { return cols_; }
  std::size_t stride() const { return stride_; }  // complex cells per row, margins included
  int pad() const { return pad_; }
  // Cell (row, col) with col in [-pad, cols + pad): interleaved real, imaginary.
  double* CellD(std::uint32_t row, std::int64_t col) {
    return reinterpret_cast<double*>(base_) + 2 * (std::size_t(row) * stride_ + std::size_t(col + pad_));
  }
  float* CellF(std::uint32_t row, std::int64_t col) {
    return reinterpret_cast<float*>(base_) + 2 * (std::size_t(row) * stride_ + std::size_t(col + pad_));
  }
  const void* Data() const { return base_; }

  // Copies the wrapped cells into the margins of every row (before interpolation).
  void WrapMargins();
  // Adds the margins into the cells they wrap to and clears them (after spreading).
  void FoldMargins();
  // In-place 1-D FFTs along the listed rows (sign +1: exp(+i), -1: exp(-i)), or along every
  // column. Each transform is independent, so the result does not depend on the thread count.
  void FftRows(const std::vector<std::uint32_t>& rows, int sign);
  void FftColumns(int sign);

 private:
  unsigned char* raw_ = nullptr;
  unsigned char* base_ = nullptr;
  std::size_t bytes_ = 0;
  bool single_ = false;
  std::uint32_t rows_ = 0, cols_ = 0;
  std::size_t stride_ = 0;
  int pad_ = 0;
};

// The fine-grid rows that hold the pixel rows of an axis (mode k at row k mod fine), in pixel order.
std::vector<std::uint32_t> NufftModeRows(const ANufftAxis& axis);
