#pragma once
// Imaging weights: natural (the visibility weights), uniform (each divided by the summed weight
// of its cell of the UV grid) and Briggs robust weighting with robustness R, as radio imagers
// define it:
//   w' = w / (1 + W_cell f^2),  f^2 = (5 x 10^-R)^2 / (sum over cells W_cell^2 / sum w),
// R = -2 close to uniform, R = 2 close to natural. The UV grid has the image's Fourier cells
// (1 / field of view wavelengths) and every point counts with its mirror (-u, -v); points beyond
// the grid fold onto it, as their image does.

#include <cstdint>
#include <string>
#include <vector>

enum class AImageWeighting { Natural, Uniform, Briggs };

const char* ImageWeightingName(AImageWeighting weighting);

class AUVDensity {
 public:
  // A grid of size x size cells of 1 / (size cell_rad) wavelengths.
  void Init(std::uint32_t size, double cell_rad, AImageWeighting weighting, double robust);
  // Adds a point and its mirror.
  void Add(double u, double v, double weight);
  // After the last Add: the Briggs factor.
  void Finish();
  // The imaging weight of a point.
  double Weight(double u, double v, double weight) const;
  bool NeedsDensity() const { return weighting_ != AImageWeighting::Natural; }

 private:
  std::size_t Cell(double u, double v) const;

  AImageWeighting weighting_ = AImageWeighting::Natural;
  double robust_ = 0;
  std::uint32_t size_ = 0;
  double inv_du_ = 0;
  std::vector<double> grid_;
  double f2_ = 0;
};
