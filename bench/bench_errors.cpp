// Tasks 3 and 4 (telescope errors, thermal noise) beside `cp` and the identity copy of the same
// file, in MB/s of the input file. Each task is one pass: the change is made while copying.
// File: 10 telescopes, every baseline each 10 s, 2 IFs x 16 channels x 2 Stokes (792-byte records);
// size QVL_BENCH_ERRORS_MB (default 128).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "errors/errors_task.h"
#include "errors/noise_task.h"
#include "uvx/fq_table.h"
#include "uvx/uvx_file.h"
#include "uvx/work2uvx.h"

namespace {

constexpr int kIF = 2, kChannels = 16, kStokes = 2, kTelescopes = 10;

struct BenchFiles {
  std::filesystem::path dir;
  std::string input, output;
  std::int64_t groups = 0, bytes = 0;
  BenchFiles() {
    const char* mb_text = std::getenv("QVL_BENCH_ERRORS_MB");
    const std::int64_t mb = mb_text ? std::atoll(mb_text) : 128;
    groups = std::max<std::int64_t>(1, (mb << 20) / (24 + 12 * kIF * kChannels * kStokes));
    dir = std::filesystem::temp_directory_path() / ("qvl_bench_errors_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    input = (dir / "in.uvx").string();
    output = (dir / "out.uvx").string();
    Write();
    bytes = std::int64_t(std::filesystem::file_size(input));
  }
  ~BenchFiles() { std::filesystem::remove_all(dir); }

  void Write() {
    AUVXFile f;
    f.Open(input, AUVXFile::modeCreate);
    AUVXHeader h;
    h.n_if = kIF;
    h.n_channels = kChannels;
    h.n_pol = kStokes;
    h.pol[0] = -1;
    h.pol[1] = -2;
    h.ref_freq_hz = 1.658e9;
    h.time_step_s = 10.0;
    h.time = 46800.0;
    f.Write(h);
    AUVXVisibility v(kIF, kChannels, kStokes);
    AUVXGroup g;
    g.freq_id = 1;
    f.SeekUVGroup(0);
    std::int64_t i = 0;
    for (int step = 0; i < groups; ++step)
      for (int a = 1; a <= kTelescopes && i < groups; ++a)
        for (int b = a + 1; b <= kTelescopes && i < groups; ++b, ++i) {
          g.tel1 = std::uint8_t(a);
          g.tel2 = std::uint8_t(b);
          g.u = float(i) * 1e-9f;
          g.time = 10.0 * step;
          for (int e = 0; e < v.Count(); ++e) v.entries[e] = {1.0f + 0.01f * float(e), 0.5f, 1.0f};
          g.store(f);
          v.store(f);
        }
    h.groups = std::int32_t(groups);
    f.Write(h);
    AMatrix<AUVXFqTblItem> m(1, kIF);
    m(0, 0) = {0.0, 0.5e6};
    m(0, 1) = {8e6, 0.5e6};
    AArray<int> ids;
    ids.Add(1);
    AUVXTable* fq = MakeFqTable(m, ids, kIF, kChannels);
    f.AddTable(*fq);
    delete fq;
    f.Close();
  }
};

BenchFiles& Files() {
  static BenchFiles files;
  return files;
}

void BM_CpCommand(benchmark::State& state) {
  BenchFiles& b = Files();
  const std::string cmd = "cp '" + b.input + "' '" + b.output + "'";
  for (auto _ : state)
    if (std::system(cmd.c_str()) != 0) state.SkipWithError("cp failed");
  state.SetBytesProcessed(state.iterations() * b.bytes);
}

void BM_IdentityCopy(benchmark::State& state) {
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

void BM_ErrorsTask(benchmark::State& state) {
  BenchFiles& b = Files();
  AMErrorsParams p;
  p.in_path = b.input;
  p.out_path = b.output;
  p.use_ampl_err = 1;
  for (int k = 1; k <= kTelescopes; ++k) {
    AMTlscErrItem t;
    t.name = "T";
    t.name += std::to_string(k);
    t.id = k;
    t.phase_err_deg = 0.05;
    t.ampl_err_db = 0.3;
    t.phase0_deg = 10.0 * k;
    t.fringe_rate = 1e-4 * k;
    t.delay = 1e-9 * k;
    t.fringe_acc = 1e-9;
    t.delay_acc = 1e-16;
    p.tlscs.Add(t);
  }
  p.rng_start = 1u;
  SilentMessages quiet;
  std::string error;
  for (auto _ : state)
    if (!RunErrorsTask(p, nullptr, nullptr, quiet, &error, nullptr)) state.SkipWithError(error.c_str());
  state.SetBytesProcessed(state.iterations() * b.bytes);
  state.SetItemsProcessed(state.iterations() * b.groups);
}

void BM_NoiseTask(benchmark::State& state) {
  BenchFiles& b = Files();
  AMNoiseParams p;
  p.in_path = b.input;
  p.out_path = b.output;
  p.gaussian = state.range(0) != 0;
  for (int k = 1; k <= kTelescopes; ++k) {
    AMSfdItem t;
    t.name = "T";
    t.name += std::to_string(k);
    t.id = k;
    t.sefd.Add(300.0 + k);
    t.sefd.Add(310.0 + k);
    p.sfd.items.Add(t);
  }
  p.sfd.n_if = kIF;
  p.sfd.duration_s = 60.0;
  p.sfd.bandwidth_hz = 8e6;
  p.rng_start = 1u;
  SilentMessages quiet;
  std::string error;
  for (auto _ : state)
    if (!RunNoiseTask(p, nullptr, nullptr, quiet, &error, nullptr)) state.SkipWithError(error.c_str());
  state.SetBytesProcessed(state.iterations() * b.bytes);
  state.SetItemsProcessed(state.iterations() * b.groups);
  state.SetLabel(p.gaussian ? "Gaussian model" : "classic model");
}

}  // namespace

BENCHMARK(BM_CpCommand)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_IdentityCopy)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_ErrorsTask)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_NoiseTask)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

BENCHMARK_MAIN();
