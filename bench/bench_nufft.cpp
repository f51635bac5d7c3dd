// The map visibility sum by engine, in UV points per second, on maps from sparse to dense:
//   NufftBuild   AMapNufft::Build: corrected pixels onto the fine grid and its FFT (once per map);
//   NufftSum     AMapNufft::Sum: interpolation of the grid at the UV points;
//   Separable    AMapSum::Sum, the separable direct sum, for comparison.
// UV points follow VLBI tracks: 45 baselines of up to 9 000 km, 12 h, 16 channels at 22 GHz per
// sample (groups in time order, channels together), as task 2 hands them over. Each sum also
// reports its relative RMS error against a double-precision sum over the pixel grid (rel_rms).
//
// Maps: the core-jet example model rendered on 512 x 512 (sparse), a disk of 5 025 pixels in
// 512 x 512, 256 x 256 and 1024 x 1024 with every pixel set (dense), and 4096 x 4096 (dense; build
// only, with the grid's size). Cross* measure the crossover of the two engines on small disks.

#include <benchmark/benchmark.h>
#include <tbb/global_control.h>

#include <cmath>
#include <complex>
#include <fstream>
#include <map>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "model/components.h"
#include "model/map_comps.h"
#include "model/map_nufft.h"
#include "model/map_sum.h"

namespace {

enum MapShape { kCoreJet512, kDisk5k, kDense256, kDense1024, kDense4096, kDiskOfRadius = 100 };

struct Fixture {
  AMatrix<float> map;
  TMinMax range;
  std::int64_t pixels = 0;
};

const Fixture& GetMap(int shape) {
  static std::map<int, std::unique_ptr<Fixture>> cache;
  auto& slot = cache[shape];
  if (slot) return *slot;
  slot = std::make_unique<Fixture>();
  Fixture& f = *slot;
  const std::uint32_t n = shape == kDense256 ? 256 : shape == kDense1024 ? 1024 : shape == kDense4096 ? 4096 : 512;
  f.map.Resize(n, n);
  for (std::uint64_t i = 0; i < f.map.Elements(); ++i) f.map.data[i] = 0;
  const double half = 0.0001 * (n - 1) / 2.0;  // 0.1 mas pixels, arcsec
  f.range = TMinMax{half, -half, -half, half};
  std::mt19937 rng(12345);
  std::uniform_real_distribution<float> flux(0.01f, 1.0f);
  if (shape == kCoreJet512) {
    AComponents model;
    std::ifstream in(std::string(QVL_SOURCE_DATA) + "/examples/core_jet.mdl");
    std::string error;
    if (!LoadComponents(in, model, &error)) std::abort();
    model.ToMap(f.map, f.range);
  } else {
    for (std::uint32_t r = 0; r < n; ++r)
      for (std::uint32_t c = 0; c < n; ++c) {
        const int dr = int(r) - int(n / 2), dc = int(c) - int(n / 2);
        const int radius = shape >= kDiskOfRadius ? shape - kDiskOfRadius : 40;
        if (shape == kDense256 || shape == kDense1024 || shape == kDense4096 || dr * dr + dc * dc <= radius * radius)
          f.map(r, c) = flux(rng);
      }
  }
  for (std::uint64_t i = 0; i < f.map.Elements(); ++i) f.pixels += f.map.data[i] != 0;
  return f;
}

struct Track {
  std::vector<double> u, v;
};

// `samples` time samples of 45 baselines x 16 channels, in file order.
const Track& GetTrack(int samples) {
  static std::map<int, std::unique_ptr<Track>> cache;
  auto& slot = cache[samples];
  if (slot) return *slot;
  slot = std::make_unique<Track>();
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> len(2e5, 9e6), ang(0, 2 * std::numbers::pi), lat(-1.2, 1.2);
  struct Baseline {
    double bx, by, bz;
  };
  std::vector<Baseline> b(45);
  for (Baseline& x : b) {
    const double l = len(rng), a = ang(rng), e = lat(rng);
    x = {l * std::cos(e) * std::cos(a), l * std::cos(e) * std::sin(a), l * std::sin(e)};
  }
  const double dec = 0.7, c = 299792458.0;
  for (int t = 0; t < samples; ++t) {
    const double h = -std::numbers::pi / 2 + std::numbers::pi * t / samples;  // 12 h of hour angle
    for (const Baseline& x : b) {
      const double u_s = (x.bx * std::sin(h) + x.by * std::cos(h)) / c;
      const double v_s = (-x.bx * std::sin(dec) * std::cos(h) + x.by * std::sin(dec) * std::sin(h) + x.bz * std::cos(dec)) / c;
      for (int ch = 0; ch < 16; ++ch) {
        const double f = 22.2e9 + 8e6 * ch;
        slot->u.push_back(u_s * f);
        slot->v.push_back(v_s * f);
      }
    }
  }
  return *slot;
}

// Relative RMS error over 64 of the points against a double-precision sum over the pixel grid.
double RelRms(const Fixture& f, const Track& t, const std::vector<double>& re, const std::vector<double>& im) {
  const double k = kMapOffsetK;
  const double dx = (f.range.xmax - f.range.xmin) / (f.map.cols - 1.0), dy = (f.range.ymax - f.range.ymin) / (f.map.rows - 1.0);
  double err = 0, norm = 0;
  for (std::size_t i = 0; i < re.size(); i += re.size() / 64) {
    double a = 0, b = 0;
    for (std::uint32_t r = 0; r < f.map.rows; ++r)
      for (std::uint32_t c = 0; c < f.map.cols; ++c)
        if (f.map(r, c) != 0) {
          const double ph = (f.range.xmin + c * dx) * k * t.u[i] + (f.range.ymin + r * dy) * k * t.v[i];
          a += f.map(r, c) * std::cos(ph);
          b += f.map(r, c) * std::sin(ph);
        }
    err += std::norm(std::complex<double>(re[i] - a, im[i] - b));
    norm += a * a + b * b;
  }
  return std::sqrt(err / norm);
}

double Accuracy(std::int64_t exponent) { return std::pow(10.0, -double(exponent)); }

void BM_NufftBuild(benchmark::State& state) {
  const Fixture& f = GetMap(int(state.range(0)));
  tbb::global_control limit(tbb::global_control::max_allowed_parallelism, std::size_t(state.range(2)));
  AMapNufft engine;
  for (auto _ : state) engine.Build(f.map, f.range, Accuracy(state.range(1)));
  state.counters["pixels"] = double(f.pixels);
  state.counters["grid_MB"] = double(engine.GridBytes()) / 1e6;
  state.counters["width"] = engine.Setup().width;
}

void BM_NufftSum(benchmark::State& state) {
  const Fixture& f = GetMap(int(state.range(0)));
  tbb::global_control limit(tbb::global_control::max_allowed_parallelism, std::size_t(state.range(2)));
  const Track& t = GetTrack(360);  // 259 200 points
  AMapNufft engine;
  engine.Build(f.map, f.range, Accuracy(state.range(1)));
  std::vector<double> re(t.u.size()), im(t.u.size());
  for (auto _ : state) {
    engine.Sum(t.u.data(), t.v.data(), t.u.size(), re.data(), im.data());
    benchmark::DoNotOptimize(re.data());
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t(t.u.size()));
  state.counters["pixels"] = double(f.pixels);
  state.counters["rel_rms"] = RelRms(f, t, re, im);
  state.SetLabel(engine.Kernel() == MapKernel::Avx2 ? "avx2" : "generic");
}

void BM_Separable(benchmark::State& state) {
  const Fixture& f = GetMap(int(state.range(0)));
  tbb::global_control limit(tbb::global_control::max_allowed_parallelism, std::size_t(state.range(1)));
  const Track& t = GetTrack(f.pixels > 100000 ? 8 : 64);
  AMapSum sum;
  sum.Build(f.map, f.range);
  std::vector<double> re(t.u.size()), im(t.u.size());
  for (auto _ : state) {
    sum.Sum(t.u.data(), t.v.data(), t.u.size(), re.data(), im.data());
    benchmark::DoNotOptimize(re.data());
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t(t.u.size()));
  state.counters["pixels"] = double(f.pixels);
  state.counters["terms_per_s"] =
      benchmark::Counter(double(state.iterations()) * double(t.u.size()) * double(f.pixels), benchmark::Counter::kIsRate);
  state.counters["rel_rms"] = RelRms(f, t, re, im);
}

// The crossover: build and sum of the NUFFT against the separable sum, 2 threads, on disks of
// 512 x 512 maps of 5 to 40 pixels radius (81 to 5 025 pixels), 259 200 UV points.
void BM_CrossNufft(benchmark::State& state) {
  const Fixture& f = GetMap(kDiskOfRadius + int(state.range(0)));
  tbb::global_control limit(tbb::global_control::max_allowed_parallelism, 2);
  const Track& t = GetTrack(360);
  std::vector<double> re(t.u.size()), im(t.u.size());
  for (auto _ : state) {
    AMapNufft engine;
    engine.Build(f.map, f.range, 1e-6);
    engine.Sum(t.u.data(), t.v.data(), t.u.size(), re.data(), im.data());
  }
  state.counters["pixels"] = double(f.pixels);
}

void BM_CrossSeparable(benchmark::State& state) {
  const Fixture& f = GetMap(kDiskOfRadius + int(state.range(0)));
  tbb::global_control limit(tbb::global_control::max_allowed_parallelism, 2);
  const Track& t = GetTrack(360);
  std::vector<double> re(t.u.size()), im(t.u.size());
  for (auto _ : state) {
    AMapSum sum;
    sum.Build(f.map, f.range);
    sum.Sum(t.u.data(), t.v.data(), t.u.size(), re.data(), im.data());
  }
  state.counters["pixels"] = double(f.pixels);
}

void CrossArgs(benchmark::internal::Benchmark* b) {
  for (int radius : {5, 11, 16, 22, 30, 40}) b->Arg(radius);
  b->ArgNames({"radius"})->UseRealTime()->Unit(benchmark::kMillisecond);
}

void NufftArgs(benchmark::internal::Benchmark* b) {
  for (int shape : {kCoreJet512, kDisk5k, kDense256, kDense1024})
    for (int threads : {1, 2}) b->Args({shape, 6, threads});
  for (int accuracy : {3, 9}) b->Args({kDense1024, accuracy, 2});
  b->ArgNames({"map", "accuracy_exp", "threads"})->UseRealTime()->Unit(benchmark::kMillisecond);
}

void SeparableArgs(benchmark::internal::Benchmark* b) {
  for (int shape : {kCoreJet512, kDisk5k, kDense256, kDense1024})
    for (int threads : {1, 2}) b->Args({shape, threads});
  b->ArgNames({"map", "threads"})->UseRealTime()->Unit(benchmark::kMillisecond);
}

}  // namespace

BENCHMARK(BM_NufftBuild)->Apply(NufftArgs);
BENCHMARK(BM_NufftBuild)->Args({kDense4096, 6, 2})->ArgNames({"map", "accuracy_exp", "threads"})->UseRealTime()
    ->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_NufftSum)->Apply(NufftArgs);
BENCHMARK(BM_Separable)->Apply(SeparableArgs);
BENCHMARK(BM_CrossNufft)->Apply(CrossArgs);
BENCHMARK(BM_CrossSeparable)->Apply(CrossArgs);

BENCHMARK_MAIN();
