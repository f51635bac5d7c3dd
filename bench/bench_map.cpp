// The map visibility sum in terms per second (one term = one non-zero pixel x one UV point), at 1
// and 2 threads, for maps of 5 000 to 1 000 000 non-zero pixels:
//   Plain      the plain per-UV-point loop over the point components (SumMapItems, built with the
//              library's ordinary flags), the UV points shared among the threads;
//   Reference  AMapComps::VfromUV, the TBB reduction over the pixels, one UV point at a time;
//   Fast       AMapSum, the default engine (AVX2 kernel when the processor has it);
//   FastGeneric the same with the generic kernel.
// Each fast run also reports its relative RMS error against a double-precision sum (rel_rms).

#include <benchmark/benchmark.h>
#include <tbb/blocked_range.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>

#include <cmath>
#include <complex>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "model/map_comps.h"
#include "model/map_sum.h"

namespace {

enum MapShape { kDisk5k, kDisk50k, kFull1M, kScattered5k };

struct Fixture {
  AMatrix<float> map;
  TMinMax range;
  AMapComps comps;
  std::vector<double> u, v;
};

// A compact source: a filled disk on a 512 x 512 map at 0.1 mas per pixel (5 025 or 49 985
// pixels); a 1000 x 1000 map with every pixel set; or 5 000 pixels scattered over 512 x 512.
const Fixture& Get(int shape) {
  static std::map<int, std::unique_ptr<Fixture>> cache;
  auto& slot = cache[shape];
  if (slot) return *slot;
  slot = std::make_unique<Fixture>();
  Fixture& f = *slot;
  std::mt19937 rng(12345);
  std::uniform_real_distribution<float> flux(0.01f, 1.0f);
  const std::uint32_t n = shape == kFull1M ? 1000 : 512;
  f.map.Resize(n, n);
  const double half = 0.0001 * (n - 1) / 2.0;  // arcsec
  f.range = TMinMax{half, -half, -half, half};
  for (std::uint64_t i = 0; i < f.map.Elements(); ++i) f.map.data[i] = 0;
  const int radius = shape == kDisk5k ? 40 : 126;
  for (std::uint32_t r = 0; r < n; ++r)
    for (std::uint32_t c = 0; c < n; ++c) {
      const int dr = int(r) - int(n / 2), dc = int(c) - int(n / 2);
      if (shape == kFull1M || ((shape == kDisk5k || shape == kDisk50k) && dr * dr + dc * dc <= radius * radius))
        f.map(r, c) = flux(rng);
    }
  if (shape == kScattered5k) {
    std::uniform_int_distribution<std::uint32_t> pick(0, n - 1);
    for (int k = 0; k < 5000;) {
      float& p = f.map(pick(rng), pick(rng));
      if (p == 0) p = flux(rng), ++k;
    }
  }
  f.comps.FromMap(f.map, f.range);
  // UV points of baselines up to about 10 000 km at 22 GHz (7e8 wavelengths).
  std::uniform_real_distribution<double> uv(-7e8, 7e8);
  for (int i = 0; i < 4096; ++i) {
    f.u.push_back(uv(rng));
    f.v.push_back(uv(rng));
  }
  return f;
}

void SetLabel(benchmark::State& state, const Fixture& f) {
  state.counters["pixels"] = double(f.comps.GetSize());
  state.counters["threads"] = double(state.range(1));
}

void BM_Plain(benchmark::State& state) {
  const Fixture& f = Get(int(state.range(0)));
  tbb::global_control limit(tbb::global_control::max_allowed_parallelism, std::size_t(state.range(1)));
  const std::size_t points = f.comps.GetSize() > 100000 ? 32 : 512;
  std::vector<std::complex<float>> out(points);
  for (auto _ : state) {
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, points), [&](const tbb::blocked_range<std::size_t>& r) {
      for (std::size_t i = r.begin(); i != r.end(); ++i)
        out[i] = SumMapItems(f.comps.Items(), f.comps.Items() + f.comps.GetSize(), f.u[i], f.v[i]);
    });
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t(points) * f.comps.GetSize());
  SetLabel(state, f);
}

void BM_Reference(benchmark::State& state) {
  const Fixture& f = Get(int(state.range(0)));
  tbb::global_control limit(tbb::global_control::max_allowed_parallelism, std::size_t(state.range(1)));
  const std::size_t points = f.comps.GetSize() > 100000 ? 32 : 512;
  std::complex<float> sum;
  for (auto _ : state) {
    for (std::size_t i = 0; i < points; ++i) sum += f.comps.VfromUV(f.u[i], f.v[i]);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t(points) * f.comps.GetSize());
  SetLabel(state, f);
}

// Relative RMS error of the fast sum against a double-precision sum over the items (64 points).
double RelRms(const Fixture& f, const std::vector<double>& re, const std::vector<double>& im) {
  double err = 0, norm = 0;
  for (std::size_t i = 0; i < 64; ++i) {
    double a = 0, b = 0;
    for (int k = 0; k < f.comps.GetSize(); ++k) {
      const double ph = double(f.comps[k].x) * f.u[i] + double(f.comps[k].y) * f.v[i];
      a += double(f.comps[k].flux) * std::cos(ph);
      b += double(f.comps[k].flux) * std::sin(ph);
    }
    err += std::norm(std::complex<double>(re[i] - a, im[i] - b));
    norm += a * a + b * b;
  }
  return std::sqrt(err / norm);
}

void RunFast(benchmark::State& state, MapKernel kernel) {
  const Fixture& f = Get(int(state.range(0)));
  tbb::global_control limit(tbb::global_control::max_allowed_parallelism, std::size_t(state.range(1)));
  AMapSum sum;
  sum.Build(f.map, f.range);
  sum.SetKernel(kernel);
  const std::size_t points = f.u.size();
  std::vector<double> re(points), im(points);
  for (auto _ : state) {
    sum.Sum(f.u.data(), f.v.data(), points, re.data(), im.data());
    benchmark::DoNotOptimize(re.data());
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t(points) * f.comps.GetSize());
  SetLabel(state, f);
  state.counters["rel_rms"] = RelRms(f, re, im);
  state.SetLabel(sum.Kernel() == MapKernel::Avx2 ? "avx2" : "generic");
}

void BM_Fast(benchmark::State& state) { RunFast(state, MapKernel::Auto); }
void BM_FastGeneric(benchmark::State& state) { RunFast(state, MapKernel::Generic); }

void Args(benchmark::internal::Benchmark* b) {
  for (int shape : {kDisk5k, kScattered5k, kDisk50k, kFull1M})
    for (int threads : {1, 2}) b->Args({shape, threads});
  b->ArgNames({"map", "threads"})->UseRealTime()->Unit(benchmark::kMillisecond);
}

}  // namespace

BENCHMARK(BM_Plain)->Apply(Args);
BENCHMARK(BM_Reference)->Apply(Args);
BENCHMARK(BM_Fast)->Apply(Args);
BENCHMARK(BM_FastGeneric)->Apply(Args);

BENCHMARK_MAIN();
