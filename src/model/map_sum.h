#pragma once
// The fast engine of the map visibility sum, and the choice between the engines.
//
// The pixels of a map lie on a regular grid: the offsets of the point components (map_comps.h) are
// x_c for column c and y_r for row r, so exp(i (x_c u + y_r v)) = exp(i x_c u) exp(i y_r v). Per UV
// point, one phasor per used column and one per used row replace a sine and cosine per pixel; the
// pixel loop is then two float multiply-adds per pixel and UV point, done for 16 UV points at once
// (map_kernel.h). Large maps are cut into tiles of rows. Sum() runs the (tile, 16 UV points)
// pieces in parallel and adds the tiles in a fixed order, so the result does not depend on the
// number of threads.
//
// Accuracy: the same float offsets and fluxes as the reference items; phasors to float accuracy,
// partial sums of at most 128 pixels (two chains of 64) in float, everything beyond in double.
// The relative RMS error against a double-precision sum is about 2e-7.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/containers.h"
#include "model/map_kernel.h"
#include "model/map_range.h"

// Which engine a map model run uses: the reference reduction of AMapComps::VfromUV, one UV point
// at a time; this separable engine (Fast, also named Separable); the non-uniform FFT (map_nufft.h);
// or Auto, the cost model's choice between the last two (map_engine.h, the default of a run).
enum class MapEngine { Reference, Fast, Separable = Fast, Nufft, Auto };

// Which build of the kernel the fast engine runs. Auto: AVX2 + FMA when the processor has them,
// else generic; Avx2 when the processor lacks them also runs the generic one.
enum class MapKernel { Auto, Generic, Avx2 };

class AMapSum {
 public:
  // Rows are gathered into one tile until it holds this many pixels.
  static constexpr std::uint32_t kTilePixels = 32768;

  // Prepares the non-zero pixels of `map` over the axis ranges (arcsec); returns their count.
  std::int64_t Build(const AMatrix<float>& map, const TMinMax& range);

  // Visibility at n UV points (u[i], v[i] in wavelengths): re[i], im[i] in Jy.
  void Sum(const double* u, const double* v, std::size_t n, double* re, double* im) const;

  void SetKernel(MapKernel kernel);
  MapKernel Kernel() const { return active_; }  // Generic or Avx2
  std::int64_t Pixels() const { return pixels_; }
  std::size_t Tiles() const { return tiles_.size(); }

 private:
  struct Tile {
    std::vector<float> col_x;
    std::vector<float> row_y;
    std::vector<std::uint32_t> row_start;
    std::vector<AMapPixel> pixels;
    AMapTileView View() const;
  };
  void SumTile(const Tile& tile, const double* u, const double* v, std::size_t n, std::size_t pass, double* re,
               double* im, AMatrix<float>& scratch) const;

  std::vector<Tile> tiles_;
  std::uint32_t max_cols_ = 0;
  std::int64_t pixels_ = 0;
  MapKernel active_ = MapKernelAvx2Supported() ? MapKernel::Avx2 : MapKernel::Generic;
};
