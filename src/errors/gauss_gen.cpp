#include "errors/gauss_gen.h"

#include <cmath>

namespace {

constexpr std::uint32_t kMul = 214013u;
constexpr std::uint32_t kAdd = 2531011u;

double Step(std::uint32_t& s) {
  s = s * kMul + kAdd;
  return double((s >> 16) & 32767u) * AMGaussGen::kScale - 0.5;
}

}  // namespace

double AMGaussGen::NewPair() {
  double x1, x2, w;
  do {
    x1 = Step(state_);
    x2 = Step(state_);
    w = x1 * x1 + x2 * x2;
  } while (!(w > 0.0 && w < 1.0));
  const double f = std::sqrt(-2.0 * std::log10(w) / w) * 1.041;
  spare_ = x2 * f;
  has_spare_ = true;
  return x1 * f;
}

double AMGaussGen::Next(double sigma) {
  if (has_spare_) {
    has_spare_ = false;
    return sigma * spare_;
  }
  return sigma * NewPair();
}

void AMGaussGen::Discard(std::int64_t n) {
  if (n <= 0) return;
  if (has_spare_) {
    has_spare_ = false;
    --n;
  }
  // Whole pairs (first value and spare both consumed): two steps each, nothing else kept.
  state_ = Advance(state_, 2 * std::uint64_t(n / 2));
  if (n % 2) NewPair();  // the last draw takes x1 of a new pair and leaves its spare
}

std::uint32_t AMGaussGen::Advance(std::uint32_t state, std::uint64_t k) {
  // Composition of affine maps s -> m s + a, by squaring.
  std::uint32_t acc_mul = 1, acc_add = 0;
  std::uint32_t cur_mul = kMul, cur_add = kAdd;
  while (k) {
    if (k & 1) {
      acc_mul *= cur_mul;
      acc_add = acc_add * cur_mul + cur_add;
    }
    cur_add = (cur_mul + 1) * cur_add;
    cur_mul *= cur_mul;
    k >>= 1;
  }
  return acc_mul * state + acc_add;
}
