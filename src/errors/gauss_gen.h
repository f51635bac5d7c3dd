#pragma once
// AMGaussGen: the Gaussian-like generator of the telescope-errors task, kept exactly as the
// program has always drawn its random phases (docs/errors.md):
//
//   1. a spare value is held: return sigma * spare and forget it;
//   2. else: s <- s * 214013 + 2531011, x1 = ((s >> 16) & 32767) * (1/32767) - 0.5, the same for
//      x2, w = x1^2 + x2^2, repeated until 0 < w < 1;
//   3. f = sqrt(-2 * log10(w) / w) * 1.041; keep x2 * f as the spare; return sigma * x1 * f.
//
// The base-10 logarithm, the range [-0.5, 0.5] and the factor 1.041 are part of the program's
// behaviour: the values are not unit normal variates and are not to be "corrected".
//
// Because |x| <= 0.5 and x is never exactly 0, w always lies in (0, 0.5]: every pair costs exactly
// two steps of the state. Discard(n) uses that to skip n draws in O(log n) steps.

#include <cstdint>

class AMGaussGen {
 public:
  // 1/32767, the scale of one 15-bit step.
  static constexpr double kScale = 3.051850947599719e-05;

  explicit AMGaussGen(std::uint32_t state = 1) : state_(state) {}

  // One draw with standard deviation parameter sigma.
  double Next(double sigma);
  // Draws and forgets n values (n <= 0: nothing); the state and spare afterwards are those that
  // n calls of Next would leave.
  void Discard(std::int64_t n);

  std::uint32_t State() const { return state_; }
  bool HasSpare() const { return has_spare_; }

  // The state after k steps of s <- s * 214013 + 2531011, in O(log k).
  static std::uint32_t Advance(std::uint32_t state, std::uint64_t k);

 private:
  double NewPair();  // steps 2 and 3 without sigma: returns x1 * f, keeps x2 * f

  std::uint32_t state_;
  bool has_spare_ = false;
  double spare_ = 0.0;
};
