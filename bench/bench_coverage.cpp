// Task 1 throughput: the UV-plane computation and the creation of the zero-visibility UVX file, as
// UV records per second, for 20 ground telescopes and one orbiting telescope over 24 h at 10 s
// (8640 samples x 210 baselines = 1.81 M records).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "core/runtime.h"
#include "coverage/uv_plane.h"
#include "coverage/uv_point_table.h"
#include "coverage/uvx_creation.h"
#include "observation/observation.h"

namespace {

struct Station {
  const char* id;
  double x, y, z;  // ITRF
};
constexpr Station kStations[20] = {
    {"SC", 2607861.476, -5488096.343, 1932748.638},  {"HN", 1446375.178, -4447940.082, 4322306.302},
    {"NL", -130871.917, -4762316.905, 4226850.876},  {"FD", -1324008.670, -5332181.650, 3231962.333},
    {"LA", -1449752.366, -4975298.112, 3709123.807}, {"PT", -1640953.556, -5014817.328, 3575410.707},
    {"KP", -1995678.596, -5037317.661, 3357328.236}, {"OV", -2409149.406, -4478573.152, 3838617.400},
    {"BR", -2112064.711, -3705356.001, 4726813.643}, {"MK", -5464074.944, -2495249.079, 2148296.797},
    {"EF", 4033921.036, 486929.425, 4900366.871},    {"ON", 3370939.158, 711460.770, 5349618.171},
    {"MC", 4461340.483, 919588.070, 4449530.221},    {"NT", 4934491.884, 1321168.566, 3806398.804},
    {"JB", 3822599.797, -154009.266, 5086391.928},   {"WB", 3828697.244, 443221.091, 5064841.676},
    {"GB", 882599.469, -4924858.561, 3943715.858},   {"AR", 2390399.129, -5564549.069, 1994652.923},
    {"AT", -4750907.026, 2792885.472, -3200459.478}, {"PA", -4554231.500, 2816759.100, -3454036.300},
};

std::string Folder() {
  const auto dir = std::filesystem::temp_directory_path() / ("qvl_bench_cov_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  return dir.string() + "/";
}

AMObservation Observation(const std::string& folder) {
  AMObservation obs(folder);
  obs.source_name = "0716+714";
  obs.ra_time_s = 7 * 3600 + 21 * 60 + 53.4485;
  obs.dec_arcsec = 71 * 3600 + 20 * 60 + 36.363;
  obs.day = 15, obs.month = 3, obs.year = 2024;
  obs.time_step_s = 10.0;
  obs.intervals.Add({10.0, 86400.0, 1, 0});
  for (const Station& s : kStations) {
    AMTlscItem t;
    t.name = t.id_name = s.id;
    t.params[tlsc::kX] = s.x;
    t.params[tlsc::kY] = -s.y;  // the catalogue keeps Y negated
    t.params[tlsc::kZ] = s.z;
    t.params[tlsc::kZMax] = 180.0;  // every station counts: the full 1.8 M records
    obs.telescopes.Add(t);
  }
  AMTlscItem sat;
  sat.name = "SPACE";
  sat.kind = kTlscOrbital;
  const double elements[8] = {46800.0, 0.58, 51.0, 120.0, 30.0, 2460384.5, 0.0, 0.0};
  std::copy(elements, elements + 8, sat.params);
  obs.telescopes.Add(sat);
  obs.output_path = folder + "bench.uvx";
  return obs;
}

void BM_UVPlane(benchmark::State& state) {
  const std::string folder = Folder();
  AMObservation obs = Observation(folder);
  std::int64_t points = 0;
  for (auto _ : state) {
    AMUVPlane plane;
    if (!plane.Calculate(obs, nullptr, nullptr, nullptr)) state.SkipWithError("UV plane failed");
    points += plane.Points();
  }
  state.SetItemsProcessed(points);
  state.SetBytesProcessed(points * 32);
  std::filesystem::remove_all(folder);
}
BENCHMARK(BM_UVPlane)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void BM_CreateZeroUVX(benchmark::State& state) {
  const std::string folder = Folder();
  AMObservation obs = Observation(folder);
  AMUVPlane plane;
  if (!plane.Calculate(obs, nullptr, nullptr, nullptr)) {
    state.SkipWithError("UV plane failed");
    return;
  }
  std::int64_t points = 0;
  for (auto _ : state) {
    if (!CreateZeroUVX(plane.UVPath(), obs, obs.output_path, nullptr, nullptr, nullptr))
      state.SkipWithError("creation failed");
    points += plane.Points();
  }
  state.SetItemsProcessed(points);
  state.counters["uvx_bytes"] = double(std::filesystem::file_size(obs.output_path));
  plane.RemoveUVFile();
  std::filesystem::remove_all(folder);
}
BENCHMARK(BM_CreateZeroUVX)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// The review table: a screenful of 40 rows with their six texts at a random place of the file,
// as a jump of the scroll bar asks for it; rows per second.
void BM_UVTableScreen(benchmark::State& state) {
  const std::string folder = Folder();
  AMObservation obs = Observation(folder);
  AMUVPlane plane;
  AMUVPointTable table;
  if (!plane.Calculate(obs, nullptr, nullptr, nullptr) || !table.Open(plane.UVPath(), obs)) {
    state.SkipWithError("UV plane failed");
    return;
  }
  std::uint64_t x = 88172645463325252ull;  // xorshift: screen positions spread over the file
  std::int64_t rows = 0;
  std::size_t chars = 0;
  for (auto _ : state) {
    x ^= x << 13, x ^= x >> 7, x ^= x << 17;
    const std::int64_t first = std::int64_t(x % std::uint64_t(table.Rows() - 40));
    for (std::int64_t r = first; r < first + 40; ++r)
      for (int c = 0; c < AMUVPointTable::kColumnCount; ++c) chars += table.Text(r, c).size();
    rows += 40;
  }
  benchmark::DoNotOptimize(chars);
  state.SetItemsProcessed(rows);
  table.Close();
  plane.RemoveUVFile();
  std::filesystem::remove_all(folder);
}
BENCHMARK(BM_UVTableScreen)->Unit(benchmark::kMicrosecond)->MinTime(1.0);

// The plot's pass over the file: every point grouped by baseline; records per second.
void BM_UVTableBaselines(benchmark::State& state) {
  const std::string folder = Folder();
  AMObservation obs = Observation(folder);
  AMUVPlane plane;
  AMUVPointTable table;
  if (!plane.Calculate(obs, nullptr, nullptr, nullptr) || !table.Open(plane.UVPath(), obs)) {
    state.SkipWithError("UV plane failed");
    return;
  }
  std::int64_t points = 0;
  for (auto _ : state) {
    std::vector<AMUVBaselinePoints> groups;
    if (!table.Baselines(groups)) state.SkipWithError("read failed");
    points += table.Rows();
  }
  state.SetItemsProcessed(points);
  table.Close();
  plane.RemoveUVFile();
  std::filesystem::remove_all(folder);
}
BENCHMARK(BM_UVTableBaselines)->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace

BENCHMARK_MAIN();
