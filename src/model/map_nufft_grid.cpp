#include "model/map_nufft_grid.h"

#include <fftw3.h>
#include <tbb/blocked_range.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <numbers>
#include <tuple>

namespace {

constexpr double kPi = std::numbers::pi;
// Accuracies of this and coarser run on a float grid.
constexpr double kSingleFrom = 1e-5;
// Columns transformed together in the column pass.
constexpr std::uint32_t kColumnBlock = 8;

// Gauss-Legendre nodes and weights on [0, 1].
void GaussLegendre01(int q, std::vector<double>& x, std::vector<double>& w) {
  x.assign(std::size_t(q), 0);
  w.assign(std::size_t(q), 0);
  for (int i = 0; i < q; ++i) {
    double z = std::cos(kPi * (i + 0.75) / (q + 0.5));
    double dp = 1;
    for (int it = 0; it < 100; ++it) {
      double p0 = 1, p1 = z;
      for (int k = 2; k <= q; ++k) {
        const double p2 = ((2 * k - 1) * z * p1 - (k - 1) * p0) / k;
        p0 = p1;
        p1 = p2;
      }
      dp = q * (z * p1 - p0) / (z * z - 1);
      const double dz = p1 / dp;
      z -= dz;
      if (std::fabs(dz) < 1e-16) break;
    }
    x[std::size_t(i)] = 0.5 * (1 + z);
    w[std::size_t(i)] = 1.0 / ((1 - z * z) * dp * dp);  // 2 / ((1 - z^2) P'^2), halved for [0, 1]
  }
}

std::size_t RoundUp(std::size_t v, std::size_t m) { return (v + m - 1) / m * m; }

// FFTW plans of 1-D in-place transforms, `howmany` contiguous vectors of length n, planned once per
// process (FFTW_ESTIMATE: the same plan in every run, so the same bytes) on 64-byte aligned storage.
// The planner is not thread-safe and runs under a lock; executing a plan is.
class PlanCache {
 public:
  static PlanCache& Get() {
    static PlanCache cache;
    return cache;
  }
  // At the end of the process: the plans and FFTW's own tables are given back.
  ~PlanCache() {
    for (auto& p : double_) fftw_destroy_plan(p.second);
    for (auto& p : single_) fftwf_destroy_plan(p.second);
    fftw_cleanup();
    fftwf_cleanup();
  }
  fftw_plan Double(int n, int howmany, int sign) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto& p = double_[{n, howmany, sign}];
    if (!p) {
      auto* buf = static_cast<fftw_complex*>(fftw_malloc(sizeof(fftw_complex) * std::size_t(n) * howmany));
      p = fftw_plan_many_dft(1, &n, howmany, buf, nullptr, 1, n, buf, nullptr, 1, n, sign, FFTW_ESTIMATE);
      fftw_free(buf);
    }
    return p;
  }
  fftwf_plan Single(int n, int howmany, int sign) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto& p = single_[{n, howmany, sign}];
    if (!p) {
      auto* buf = static_cast<fftwf_complex*>(fftwf_malloc(sizeof(fftwf_complex) * std::size_t(n) * howmany));
      p = fftwf_plan_many_dft(1, &n, howmany, buf, nullptr, 1, n, buf, nullptr, 1, n, sign, FFTW_ESTIMATE);
      fftwf_free(buf);
    }
    return p;
  }

 private:
  using Key = std::tuple<int, int, int>;
  std::mutex mutex_;
  std::map<Key, fftw_plan> double_;
  std::map<Key, fftwf_plan> single_;
};

// 64-byte aligned, zeroed scratch of one thread.
struct Scratch {
  std::vector<unsigned char> raw;
  unsigned char* Get(std::size_t bytes) {
    if (raw.size() < bytes + 64) raw.assign(bytes + 64, 0);
    const auto at = reinterpret_cast<std::uintptr_t>(raw.data());
    return raw.data() + (RoundUp(at, 64) - at);
  }
};

int Wrap(std::int64_t col, std::int64_t n) {
  const std::int64_t m = col % n;
  return int(m < 0 ? m + n : m);
}

}  // namespace

ANufftKernel ANufftKernel::ForAccuracy(double accuracy) {
  ANufftKernel k;
  k.accuracy = std::clamp(std::isfinite(accuracy) ? accuracy : 1e-6, 1e-15, 1e-1);
  k.width = std::clamp(int(std::ceil(std::log10(1.0 / k.accuracy))) + 2, 2, kMaxWidth);
  k.beta = 2.30 * k.width;
  k.single = k.accuracy >= kSingleFrom;
  k.degree = std::min(k.width + 2, 24);
  // Chebyshev interpolation of every tap on t in [-1, 1], then the Chebyshev series in powers of t.
  const int d = k.degree;
  k.coef.assign(std::size_t(d + 1) * kTapStride, 0.0);
  k.coef_f.assign(k.coef.size(), 0.0f);
  std::vector<long double> cheb(std::size_t(d + 1)), power(std::size_t(d + 1));
  std::vector<long double> t_prev(std::size_t(d + 1)), t_cur(std::size_t(d + 1)), t_next(std::size_t(d + 1));
  for (int tap = 0; tap < k.width; ++tap) {
    auto value = [&](long double t) {
      const double s = double((t + 1) / 2);
      return (long double)k.Phi(1.0 - 2.0 * (s + tap) / k.width);
    };
    for (int j = 0; j <= d; ++j) {
      long double sum = 0;
      for (int n = 0; n <= d; ++n) {
        const long double theta = std::numbers::pi_v<long double> * (n + 0.5L) / (d + 1);
        sum += value(std::cos(theta)) * std::cos(j * theta);
      }
      cheb[std::size_t(j)] = sum * 2 / (d + 1) / (j == 0 ? 2 : 1);
    }
    std::fill(power.begin(), power.end(), 0.0L);
    std::fill(t_prev.begin(), t_prev.end(), 0.0L);
    std::fill(t_cur.begin(), t_cur.end(), 0.0L);
    t_prev[0] = 1;  // T0
    t_cur[1] = 1;   // T1
    for (int j = 0; j <= d; ++j) {
      const std::vector<long double>& tj = j == 0 ? t_prev : t_cur;
      for (int p = 0; p <= d; ++p) power[std::size_t(p)] += cheb[std::size_t(j)] * tj[std::size_t(p)];
      if (j >= 1) {  // T(j+1) = 2 t T(j) - T(j-1)
        for (int p = 0; p <= d; ++p)
          t_next[std::size_t(p)] = (p > 0 ? 2 * t_cur[std::size_t(p - 1)] : 0.0L) - t_prev[std::size_t(p)];
        t_prev = t_cur;
        t_cur = t_next;
      }
    }
    for (int p = 0; p <= d; ++p) {
      const std::size_t at = std::size_t(d - p) * kTapStride + std::size_t(tap);
      k.coef[at] = double(power[std::size_t(p)]);
      k.coef_f[at] = float(power[std::size_t(p)]);
    }
  }
  return k;
}

double ANufftKernel::Phi(double z) const {
  if (!(std::fabs(z) <= 1)) return 0;
  return std::exp(beta * (std::sqrt(1 - z * z) - 1));
}

double ANufftKernel::Fourier(double omega) const {
  static thread_local int nodes_for = 0;
  static thread_local std::vector<double> x, w;
  const int q = 2 * width + 40;
  if (nodes_for != q) {
    GaussLegendre01(q, x, w);
    nodes_for = q;
  }
  double sum = 0;
  for (int i = 0; i < q; ++i)
    sum += w[std::size_t(i)] * Phi(x[std::size_t(i)]) * std::cos(omega * width * x[std::size_t(i)] / 2);
  return width * sum;  // (w / 2) * 2 * integral over [0, 1]
}

std::int64_t ANufftKernel::Taps(double g, double* values) const {
  const double start = std::ceil(g - width / 2.0);
  const double t = 2 * (start - (g - width / 2.0)) - 1;
  for (int i = 0; i < width; ++i) {
    double acc = coef[std::size_t(i)];
    for (int r = 1; r <= degree; ++r) acc = acc * t + coef[std::size_t(r) * kTapStride + std::size_t(i)];
    values[i] = acc;
  }
  return std::int64_t(start);
}

std::uint32_t NufftFineSize(std::uint64_t at_least) {
  std::uint64_t n = std::max<std::uint64_t>(2, at_least + (at_least & 1));
  for (;; n += 2) {
    std::uint64_t m = n;
    for (std::uint64_t f : {2, 3, 5})
      while (m % f == 0) m /= f;
    if (m == 1) return std::uint32_t(n);
  }
}

void ANufftAxis::Init(std::uint32_t n, double first, double pixel_step, const ANufftKernel& kernel) {
  modes = n;
  centre = n / 2;
  step = pixel_step;
  origin = first + double(centre) * pixel_step;
  fine = NufftFineSize(std::max<std::uint64_t>(2ull * n, 2ull * std::uint64_t(kernel.width)));
  correction.resize(n);
  for (std::uint32_t c = 0; c < n; ++c)
    correction[c] = 1.0 / kernel.Fourier(2 * kPi * (double(c) - double(centre)) / fine);
}

double ANufftAxis::Coordinate(double u) const {
  double t = step * u * (0.5 / kPi);
  t -= std::floor(t);
  double g = t * fine;
  if (g >= fine) g -= fine;
  return g >= 0 ? g : 0.0;  // not a number: the caller marks the point
}

std::vector<std::uint32_t> NufftModeRows(const ANufftAxis& axis) {
  std::vector<std::uint32_t> rows(axis.modes);
  for (std::uint32_t r = 0; r < axis.modes; ++r)
    rows[r] = std::uint32_t(Wrap(std::int64_t(r) - std::int64_t(axis.centre), axis.fine));
  return rows;
}

ANufftGrid::~ANufftGrid() { Release(); }

void ANufftGrid::Release() {
  std::free(raw_);
  raw_ = base_ = nullptr;
  bytes_ = 0;
}

int ANufftGrid::Allocate(std::uint32_t rows, std::uint32_t cols, bool single, int width) {
  Release();
  single_ = single;
  rows_ = rows;
  cols_ = cols;
  // Margins cover the taps beyond either end and the widest vector read past the last tap.
  pad_ = int(RoundUp(std::size_t((width + 1) / 2 + 4), 8));
  stride_ = RoundUp(std::size_t(cols) + 2 * std::size_t(pad_), 8);
  const std::size_t cell = single ? 8 : 16;
  bytes_ = std::size_t(rows) * stride_ * cell;
  // calloc: fresh pages come zeroed from the system without a pass over them.
  raw_ = static_cast<unsigned char*>(std::calloc(bytes_ + 64, 1));
  if (!raw_) {
    bytes_ = 0;
    return 0;
  }
  const auto at = reinterpret_cast<std::uintptr_t>(raw_);
  base_ = raw_ + (RoundUp(at, 64) - at);
  return 1;
}

void ANufftGrid::WrapMargins() {
  const std::size_t cell = single_ ? 8 : 16;
  tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, rows_, 64), [&](const tbb::blocked_range<std::uint32_t>& r) {
    for (std::uint32_t row = r.begin(); row != r.end(); ++row) {
      unsigned char* p = base_ + std::size_t(row) * stride_ * cell;
      for (int j = 0; j < pad_; ++j) {
        std::memcpy(p + std::size_t(j) * cell, p + std::size_t(pad_ + Wrap(j - pad_, cols_)) * cell, cell);
        const std::int64_t col = std::int64_t(cols_) + j;
        std::memcpy(p + std::size_t(pad_ + col) * cell, p + std::size_t(pad_ + Wrap(col, cols_)) * cell, cell);
      }
    }
  });
}

void ANufftGrid::FoldMargins() {
  tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, rows_, 64), [&](const tbb::blocked_range<std::uint32_t>& r) {
    for (std::uint32_t row = r.begin(); row != r.end(); ++row)
      for (int j = 0; j < pad_; ++j)
        for (std::int64_t col : {std::int64_t(j) - pad_, std::int64_t(cols_) + j}) {
          const std::int64_t to = Wrap(col, cols_);
          if (single_) {
            float* m = CellF(row, col);
            float* c = CellF(row, to);
            c[0] += m[0], c[1] += m[1], m[0] = m[1] = 0;
          } else {
            double* m = CellD(row, col);
            double* c = CellD(row, to);
            c[0] += m[0], c[1] += m[1], m[0] = m[1] = 0;
          }
        }
  });
}

void ANufftGrid::FftRows(const std::vector<std::uint32_t>& rows, int sign) {
  const int dir = sign > 0 ? FFTW_BACKWARD : FFTW_FORWARD;  // FFTW_BACKWARD is exp(+i)
  if (single_) {
    fftwf_plan plan = PlanCache::Get().Single(int(cols_), 1, dir);
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, rows.size(), 4), [&](const tbb::blocked_range<std::size_t>& r) {
      for (std::size_t i = r.begin(); i != r.end(); ++i) {
        auto* p = reinterpret_cast<fftwf_complex*>(CellF(rows[i], 0));
        fftwf_execute_dft(plan, p, p);
      }
    });
  } else {
    fftw_plan plan = PlanCache::Get().Double(int(cols_), 1, dir);
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, rows.size(), 4), [&](const tbb::blocked_range<std::size_t>& r) {
      for (std::size_t i = r.begin(); i != r.end(); ++i) {
        auto* p = reinterpret_cast<fftw_complex*>(CellD(rows[i], 0));
        fftw_execute_dft(plan, p, p);
      }
    });
  }
}

void ANufftGrid::FftColumns(int sign) {
  const int dir = sign > 0 ? FFTW_BACKWARD : FFTW_FORWARD;
  const std::size_t cell = single_ ? 8 : 16;
  const std::uint32_t blocks = (cols_ + kColumnBlock - 1) / kColumnBlock;
  fftw_plan plan_d = single_ ? nullptr : PlanCache::Get().Double(int(rows_), int(kColumnBlock), dir);
  fftwf_plan plan_f = single_ ? PlanCache::Get().Single(int(rows_), int(kColumnBlock), dir) : nullptr;
  tbb::enumerable_thread_specific<Scratch> scratch;
  tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, blocks), [&](const tbb::blocked_range<std::uint32_t>& r) {
    unsigned char* s = scratch.local().Get(std::size_t(rows_) * kColumnBlock * cell);
    for (std::uint32_t b = r.begin(); b != r.end(); ++b) {
      const std::uint32_t first = b * kColumnBlock;
      const std::uint32_t n = std::min(kColumnBlock, cols_ - first);
      // Gather the columns as contiguous vectors, transform, scatter back.
      for (std::uint32_t row = 0; row < rows_; ++row) {
        const unsigned char* src = base_ + (std::size_t(row) * stride_ + std::size_t(pad_) + first) * cell;
        for (std::uint32_t c = 0; c < n; ++c)
          std::memcpy(s + (std::size_t(c) * rows_ + row) * cell, src + std::size_t(c) * cell, cell);
      }
      if (single_) fftwf_execute_dft(plan_f, reinterpret_cast<fftwf_complex*>(s), reinterpret_cast<fftwf_complex*>(s));
      else fftw_execute_dft(plan_d, reinterpret_cast<fftw_complex*>(s), reinterpret_cast<fftw_complex*>(s));
      for (std::uint32_t row = 0; row < rows_; ++row) {
        unsigned char* dst = base_ + (std::size_t(row) * stride_ + std::size_t(pad_) + first) * cell;
        for (std::uint32_t c = 0; c < n; ++c)
          std::memcpy(dst + std::size_t(c) * cell, s + (std::size_t(c) * rows_ + row) * cell, cell);
      }
    }
  });
}
