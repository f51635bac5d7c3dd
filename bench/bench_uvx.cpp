// UVX throughput: writing, a sequential read, the identity copy through AWork2UVX against `cp` of
// the same file, and a pure per-visibility operation one group at a time against block-parallel.
// File size: QVL_BENCH_UVX_MB (default 256; 1024 for the 1 GB case).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "uvx/fast_read.h"
#include "uvx/uvx_file.h"
#include "uvx/work2uvx.h"

namespace {

constexpr int kIF = 4, kChannels = 16, kStokes = 2;

struct BenchFiles {
  std::filesystem::path dir;
  std::string input, output;
  std::int64_t groups = 0;
  std::int64_t bytes = 0;
  BenchFiles() {
    const char* mb_text = std::getenv("QVL_BENCH_UVX_MB");
    const std::int64_t mb = mb_text ? std::atoll(mb_text) : 256;
    const std::int64_t record = 24 + 12 * kIF * kChannels * kStokes;
    groups = std::max<std::int64_t>(1, (mb << 20) / record);
    dir = std::filesystem::temp_directory_path() / ("qvl_bench_uvx_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    input = (dir / "in.uvx").string();
    output = (dir / "out.uvx").string();
  }
  ~BenchFiles() { std::filesystem::remove_all(dir); }
};

BenchFiles& Files() {
  static BenchFiles files;
  return files;
}

void WriteFile(const std::string& path, std::int64_t groups) {
  AUVXFile f;
  f.Open(path, AUVXFile::modeCreate);
  AUVXHeader h;
  h.groups = std::int32_t(groups);
  h.n_if = kIF;
  h.n_channels = kChannels;
  h.n_pol = kStokes;
  h.pol[0] = -1;
  h.pol[1] = -2;
  h.ref_freq_hz = 5e9;
  f.Write(h);
  AUVXVisibility v(kIF, kChannels, kStokes);
  AUVXGroup g;
  f.SeekUVGroup(0);
  for (std::int64_t i = 0; i < groups; ++i) {
    g.tel1 = 1;
    g.tel2 = 2;
    g.u = float(i) * 1e-9f;
    g.time = double(i);
    for (int e = 0; e < v.Count(); ++e) v.entries[e] = {float(e), float(i % 7), 1.0f};
    g.store(f);
    v.store(f);
  }
  f.Close();
}

void EnsureInput() {
  BenchFiles& b = Files();
  if (b.bytes == 0) {
    WriteFile(b.input, b.groups);
    b.bytes = std::int64_t(std::filesystem::file_size(b.input));
  }
}

void BM_UvxWrite(benchmark::State& state) {
  BenchFiles& b = Files();
  for (auto _ : state) WriteFile(b.output, b.groups);
  const auto bytes = std::int64_t(std::filesystem::file_size(b.output));
  state.SetBytesProcessed(state.iterations() * bytes);
}

void BM_UvxRead(benchmark::State& state) {
  EnsureInput();
  BenchFiles& b = Files();
  double sum = 0;
  for (auto _ : state) {
    AUVXFile f;
    f.Open(b.input, AUVXFile::modeRead);
    AUVXFastRead r(&f, nullptr);
    AUVXGroup g;
    AUVXVisibility v;
    int status = 0;
    while (r.GetUVGVis(g, v, status)) sum += v.entries[0].im;
  }
  benchmark::DoNotOptimize(sum);
  state.SetBytesProcessed(state.iterations() * b.bytes);
}

void BM_CpCommand(benchmark::State& state) {
  EnsureInput();
  BenchFiles& b = Files();
  const std::string cmd = "cp '" + b.input + "' '" + b.output + "'";
  for (auto _ : state)
    if (std::system(cmd.c_str()) != 0) state.SkipWithError("cp failed");
  state.SetBytesProcessed(state.iterations() * b.bytes);
}

void BM_UvxIdentityCopy(benchmark::State& state) {
  EnsureInput();
  BenchFiles& b = Files();
  for (auto _ : state) {
    AUVXFile in, out;
    in.Open(b.input, AUVXFile::modeRead);
    out.Open(b.output, AUVXFile::modeCreate);
    AWork2UVX work(&in, &out, nullptr, nullptr);
    if (!RunOrRemoveOutput(work) || !out.Close()) state.SkipWithError("copy failed");
  }
  state.SetBytesProcessed(state.iterations() * b.bytes);
}

// A pure operation with arithmetic per entry: a sum of `terms` phase rotations by the group's u
// (like a model of a few point components), heavy enough for the computation to dominate the I/O.
class RotateWork : public AWork2UVX {
 public:
  RotateWork(AUVXFile* in, AUVXFile* out, bool pure, int terms)
      : AWork2UVX(in, out, nullptr, nullptr), pure_(pure), terms_(terms) {}

 protected:
  int ProcessVisibility(AUVXGroup& g, AUVXVisibility& v) override {
    for (int e = 0; e < v.Count(); ++e) {
      float sum_re = 0, sum_im = 0;
      for (int k = 1; k <= terms_; ++k) {
        const float phase = 1e3f * g.u * float(e + k);
        sum_re += std::cos(phase);
        sum_im += std::sin(phase);
      }
      v.entries[e].re += sum_re;
      v.entries[e].im += sum_im;
    }
    return 1;
  }
  bool IsPure() const override { return pure_; }

 private:
  bool pure_;
  int terms_;
};

void BM_UvxPureOp(benchmark::State& state) {
  EnsureInput();
  BenchFiles& b = Files();
  const bool parallel = state.range(0) != 0;
  for (auto _ : state) {
    AUVXFile in, out;
    in.Open(b.input, AUVXFile::modeRead);
    out.Open(b.output, AUVXFile::modeCreate);
    RotateWork work(&in, &out, parallel, int(state.range(1)));
    if (!RunOrRemoveOutput(work) || !out.Close()) state.SkipWithError("copy failed");
  }
  state.SetBytesProcessed(state.iterations() * b.bytes);
  state.SetItemsProcessed(state.iterations() * b.groups * kIF * kChannels * kStokes * state.range(1));
  state.SetLabel(parallel ? "block-parallel" : "one group at a time");
}

}  // namespace

BENCHMARK(BM_UvxWrite)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_UvxRead)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_CpCommand)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_UvxIdentityCopy)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_UvxPureOp)->Args({0, 1})->Args({1, 1})->Args({0, 8})->Args({1, 8})->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

BENCHMARK_MAIN();
