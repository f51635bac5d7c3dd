// Component evaluations per second (components x UV points x IFs) for each component type, as
// the modeling run uses them: per group, one point per IF at u, v times the IF frequency.

#include <benchmark/benchmark.h>

#include <tbb/global_control.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "model/comp_eval.h"
#include "model/components.h"
#include "model/model_run.h"
#include "uvx/fq_table.h"
#include "uvx/uvx_file.h"

namespace {

constexpr int kComponents = 8;
constexpr int kGroups = 2048;
constexpr int kIFs = 8;

AComponents MakeModel(int type) {
  AComponents model;
  for (int i = 0; i < kComponents; ++i) {
    ACompItem c;
    c.type = type;
    c.flux = 1.0 + 0.1 * i;
    c.large_axis = 0.5e-3 + 0.1e-3 * i;   // arcsec
    c.axis_ratio = 0.7;
    c.inclination = 12.0 * i;
    c.position_angle = 30.0 * i + 5.0;
    c.distance = 1e-3 * (i + 1);          // every component off the phase centre
    c.width = 0.4;
    model.Add(c);
  }
  return model;
}

struct Groups {
  std::vector<double> u_s, v_s, freq_hz;
};

Groups MakeGroups() {
  Groups g;
  for (int i = 0; i < kGroups; ++i) {  // baselines up to about 10 000 km (0.033 light-seconds)
    g.u_s.push_back(0.03 * ((i * 7919) % 2001 - 1000) / 1000.0);
    g.v_s.push_back(0.03 * ((i * 104729) % 2003 - 1001) / 1001.0);
  }
  for (int k = 0; k < kIFs; ++k) g.freq_hz.push_back(4.8e9 + 32e6 * k);
  return g;
}

void BM_ModelVis(benchmark::State& state) {
  const int type = static_cast<int>(state.range(0));
  const auto prepared = MakeModel(type).Prepare();
  const Groups g = MakeGroups();
  double u[kIFs], v[kIFs], re[kIFs], im[kIFs];
  double sink = 0;
  for (auto _ : state) {
    for (int i = 0; i < kGroups; ++i) {
      for (int k = 0; k < kIFs; ++k) {
        u[k] = g.u_s[i] * g.freq_hz[k];
        v[k] = g.v_s[i] * g.freq_hz[k];
      }
      ModelVis(prepared.data(), prepared.size(), u, v, kIFs, re, im);
      sink += re[0] + im[kIFs - 1];
    }
    benchmark::DoNotOptimize(sink);
  }
  state.SetItemsProcessed(state.iterations() * int64_t{kComponents} * kGroups * kIFs);
  state.SetLabel(CompTypeName(type));
}
BENCHMARK(BM_ModelVis)->DenseRange(1, 7);

// The pure per-call operation (constants worked out on every call), for comparison.
void BM_VfromUV(benchmark::State& state) {
  const int type = static_cast<int>(state.range(0));
  const AComponents model = MakeModel(type);
  const Groups g = MakeGroups();
  double sink = 0;
  for (auto _ : state) {
    for (int i = 0; i < kGroups; ++i)
      for (int k = 0; k < kIFs; ++k) {
        const auto z = model.VfromUV(g.u_s[i] * g.freq_hz[k], g.v_s[i] * g.freq_hz[k]);
        sink += z.real() + z.imag();
      }
    benchmark::DoNotOptimize(sink);
  }
  state.SetItemsProcessed(state.iterations() * int64_t{kComponents} * kGroups * kIFs);
  state.SetLabel(CompTypeName(type));
}
BENCHMARK(BM_VfromUV)->Arg(1)->Arg(2)->Arg(3);

// The whole task-2 run of a Gaussian model onto a UVX file (50 000 groups of 8 IFs x 16 channels
// x 2 Stokes, fast mode), with 1 and 2 threads: the copy framework runs the pure per-group
// computation over blocks of groups on every thread it is given.
void BM_ModelTaskRun(benchmark::State& state) {
  const int threads = static_cast<int>(state.range(0));
  const auto dir = std::filesystem::temp_directory_path() / ("qvl_bench_model_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  const std::string in = (dir / "in.uvx").string(), out = (dir / "out.uvx").string();
  constexpr int kRunGroups = 50000, kChannels = 16, kStokes = 2;
  {
    AUVXFile f;
    f.Open(in, AUVXFile::modeCreate);
    AUVXHeader h;
    h.groups = kRunGroups;
    h.n_if = kIFs;
    h.n_channels = kChannels;
    h.n_pol = kStokes;
    h.ref_freq_hz = 4.8e9;
    f.Write(h);
    const Groups g = MakeGroups();
    AUVXVisibility v(kIFs, kChannels, kStokes);
    AUVXGroup grp;
    grp.freq_id = 1;
    f.SeekUVGroup(0);
    for (int i = 0; i < kRunGroups; ++i) {
      grp.u = float(g.u_s[std::size_t(i % kGroups)]);
      grp.v = float(g.v_s[std::size_t(i % kGroups)]);
      grp.store(f);
      v.store(f);
    }
    AMatrix<AUVXFqTblItem> m(1, kIFs);
    for (int k = 0; k < kIFs; ++k) m(0, std::uint32_t(k)) = {32e6 * k, 2e6};
    AArray<int> ids;
    ids.Add(1);
    AUVXTable* fq = MakeFqTable(m, ids, kIFs, kChannels);
    f.AddTable(*fq);
    delete fq;
    f.Close();
  }
  const AComponents model = MakeModel(kCompGaussian);
  AMUVXWorkItem item;
  item.in_path = in;
  item.out_path = out;
  AMModelSource source;
  source.components = &model;
  SilentMessages quiet;
  tbb::global_control limit(tbb::global_control::max_allowed_parallelism, std::size_t(threads));
  for (auto _ : state) {
    AMP2Work work(item, source, nullptr, nullptr, quiet);
    if (!work.Run()) state.SkipWithError(work.Error().c_str());
  }
  state.SetItemsProcessed(state.iterations() * int64_t{kComponents} * kRunGroups * kIFs);
  state.SetLabel(std::to_string(threads) + " thread(s), evaluations/s");
  std::filesystem::remove_all(dir);
}
BENCHMARK(BM_ModelTaskRun)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
