// The visibility viewer's first look at a file: AUVXVisSampler::Open plus a Sample of at most
// 200 000 groups, on a file of QVL_BENCH_VIS_MB megabytes (default 1024; 5120 for the 5 GB case),
// 4 IFs x 16 channels x 2 Stokes (1 560-byte records). "warm": the file is in the page cache, as
// right after a run wrote it; "cold": the file's pages are dropped from the cache before each
// iteration (posix_fadvise), so every sampled group comes from the disk. Also the full scan a
// UV-distance zoom makes (Refine with a UV window), as bytes per second.
// QVL_BENCH_VIS_FILE=PATH keeps the file at PATH between runs (written when missing or of another
// size, never removed): repeated cold measurements then skip writing 5 GB each time.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "uvx/uvx_file.h"
#include "uvx/vis_sampler.h"

namespace {

constexpr int kIF = 4, kChannels = 16, kStokes = 2, kBaselines = 45;

struct BenchFile {
  std::filesystem::path dir;
  std::string path;
  std::int64_t groups = 0, bytes = 0;
  bool keep = false;
  BenchFile() {
    const char* mb_text = std::getenv("QVL_BENCH_VIS_MB");
    const std::int64_t mb = mb_text ? std::atoll(mb_text) : 1024;
    const std::int64_t record = 24 + 12 * kIF * kChannels * kStokes;
    groups = std::max<std::int64_t>(1, (mb << 20) / record);
    if (const char* kept = std::getenv("QVL_BENCH_VIS_FILE")) {
      keep = true;
      path = kept;
    } else {
      dir = std::filesystem::temp_directory_path() / ("qvl_bench_vis_" + std::to_string(::getpid()));
      std::filesystem::create_directories(dir);
      path = (dir / "big.uvx").string();
    }
    if (!keep || !Holds(groups)) Write(record);
    bytes = std::int64_t(std::filesystem::file_size(path));
  }
  ~BenchFile() {
    if (!keep) std::filesystem::remove_all(dir);
  }

  bool Holds(std::int64_t n) const {
    AUVXFile f;
    return f.Open(path, AUVXFile::modeRead) && f.Groups() == n && f.NIF() == kIF && f.NChannels() == kChannels;
  }
  void Write(std::int64_t record) {
    AUVXFile f;
    f.Open(path, AUVXFile::modeCreate);
    AUVXHeader h;
    h.groups = std::int32_t(groups);
    h.n_if = kIF, h.n_channels = kChannels, h.n_pol = kStokes, h.pol[0] = -1, h.pol[1] = -2;
    h.ref_freq_hz = 5e9;
    f.Write(h);
    const std::int64_t per_chunk = 4096;
    std::vector<unsigned char> chunk(std::size_t(per_chunk * record));
    for (std::int64_t g0 = 0; g0 < groups; g0 += per_chunk) {
      const std::int64_t n = std::min(per_chunk, groups - g0);
      for (std::int64_t i = 0; i < n; ++i) {
        const std::int64_t g = g0 + i;
        AUVXGroup grp;
        grp.tel1 = std::uint8_t(1 + g % kBaselines % 9);
        grp.tel2 = std::uint8_t(10);
        grp.u = 1e-3f * float(g % 1000);
        grp.v = 2e-3f * float(g % 777);
        grp.time = double(g / kBaselines);
        unsigned char* rec = chunk.data() + i * record;
        grp.ToBytes(rec);
        for (int e = 0; e < kIF * kChannels * kStokes; ++e) {
          const AUVXVisEntry v{float(e), float(g % 7), 1.0f};
          std::memcpy(rec + 24 + 12 * e, &v, 12);
        }
      }
      f.WriteRecords(g0, n, chunk.data());
    }
    f.Close();
  }
  void DropCache() const {
    const int fd = ::open(path.c_str(), O_RDONLY);
    ::fdatasync(fd);
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    ::close(fd);
  }
};

BenchFile& File() {
  static BenchFile file;
  return file;
}

void OpenAndSample(benchmark::State& state, bool cold) {
  BenchFile& f = File();
  std::int64_t points = 0;
  if (!cold) {  // the pages the sample reads into the cache (a kept file may come from the disk)
    AUVXVisSampler s;
    AUVXVisSample sample;
    if (s.Open(f.path)) s.Sample({1, 3, 1}, AUVXVisSampler::kDefaultMaxPoints, sample);
  }
  for (auto _ : state) {
    if (cold) {
      state.PauseTiming();
      f.DropCache();
      state.ResumeTiming();
    }
    AUVXVisSampler s;
    AUVXVisSample sample;
    if (!s.Open(f.path) || !s.Sample({1, 3, 1}, AUVXVisSampler::kDefaultMaxPoints, sample))
      state.SkipWithError(s.Error().c_str());
    points = std::int64_t(sample.points.size());
    benchmark::DoNotOptimize(sample.points.data());
  }
  state.SetItemsProcessed(state.iterations() * points);
  state.counters["file_MB"] = double(f.bytes) / (1 << 20);
  state.counters["points"] = double(points);
}

void BM_OpenAndSampleWarm(benchmark::State& state) { OpenAndSample(state, false); }
void BM_OpenAndSampleCold(benchmark::State& state) { OpenAndSample(state, true); }

// What the viewer does on a cold disk: Open and a first look of at most 25 000 groups spread over
// the file (counter first_look_s: when the first picture can be drawn), then the rest of the same
// sample (the time per iteration: when the complete sample is there).
void BM_FirstLookThenRestCold(benchmark::State& state) {
  BenchFile& f = File();
  double first_look_s = 0;
  std::int64_t first_points = 0, points = 0;
  for (auto _ : state) {
    state.PauseTiming();
    f.DropCache();
    state.ResumeTiming();
    const auto t0 = std::chrono::steady_clock::now();
    AUVXVisSampler s;
    AUVXVisSample sample;
    if (!s.Open(f.path) || !s.SampleFirstLook({1, 3, 1}, AUVXVisSampler::kDefaultMaxPoints,
                                              AUVXVisSampler::kDefaultFirstPoints, sample))
      state.SkipWithError(s.Error().c_str());
    first_look_s += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    first_points = std::int64_t(sample.points.size());
    if (!s.SampleRest(sample, 8192, nullptr)) state.SkipWithError(s.Error().c_str());
    points = std::int64_t(sample.points.size());
    benchmark::DoNotOptimize(sample.points.data());
  }
  state.counters["first_look_s"] = first_look_s / double(state.iterations());
  state.counters["first_points"] = double(first_points);
  state.counters["points"] = double(points);
}

void BM_RefineUVScan(benchmark::State& state) {
  BenchFile& f = File();
  AUVXVisSampler s;
  s.Open(f.path);
  AUVXVisWindow w;
  w.uv_min_mlambda = 1000, w.uv_max_mlambda = 2000;
  for (auto _ : state) {
    AUVXVisSample sample;
    if (!s.Refine({0, 0, 0}, w, AUVXVisSampler::kDefaultMaxPoints, sample)) state.SkipWithError(s.Error().c_str());
    benchmark::DoNotOptimize(sample.points.data());
  }
  state.SetBytesProcessed(state.iterations() * f.bytes);
}

}  // namespace

BENCHMARK(BM_OpenAndSampleWarm)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OpenAndSampleCold)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_FirstLookThenRestCold)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_RefineUVScan)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_MAIN();
