#include "imaging/image_weights.h"

#include <cmath>

const char* ImageWeightingName(AImageWeighting weighting) {
  switch (weighting) {
    case AImageWeighting::Natural: return "natural";
    case AImageWeighting::Uniform: return "uniform";
    case AImageWeighting::Briggs: return "briggs";
  }
  return "natural";
}

void AUVDensity::Init(std::uint32_t size, double cell_rad, AImageWeighting weighting, double robust) {
  weighting_ = weighting;
  robust_ = robust;
  size_ = size;
  inv_du_ = size * cell_rad;  // 1 / (1 / (size cell)) wavelengths per cell
  grid_.assign(NeedsDensity() ? std::size_t(size) * size : 0, 0.0);
  f2_ = 0;
}

std::size_t AUVDensity::Cell(double u, double v) const {
  const auto wrap = [this](double x) {
    const double k = std::floor(x * inv_du_ + 0.5);
    const double m = k - std::floor(k / size_) * size_;
    return std::size_t(m >= 0 && m < size_ ? m : 0);
  };
  return wrap(v) * size_ + wrap(u);
}

void AUVDensity::Add(double u, double v, double weight) {
  if (!NeedsDensity()) return;
  grid_[Cell(u, v)] += weight;
  grid_[Cell(-u, -v)] += weight;
}

void AUVDensity::Finish() {
  if (weighting_ != AImageWeighting::Briggs) return;
  double sum = 0, sum2 = 0;
  for (double w : grid_) sum += w, sum2 += w * w;
  const double s = 5 * std::pow(10.0, -robust_);
  f2_ = sum2 > 0 ? s * s / (sum2 / sum) : 0;
}

double AUVDensity::Weight(double u, double v, double weight) const {
  switch (weighting_) {
    case AImageWeighting::Natural: return weight;
    case AImageWeighting::Uniform: {
      const double d = grid_[Cell(u, v)];
      return d > 0 ? weight / d : 0;
    }
    case AImageWeighting::Briggs: return weight / (1 + grid_[Cell(u, v)] * f2_);
  }
  return weight;
}
