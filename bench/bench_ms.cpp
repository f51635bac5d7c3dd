// Measurement Set throughput: export (UVX -> MS, u, v, w turned to J2000) and import (MS -> UVX)
// in MB/s of the UVX file, beside `cp` of the UVX file. Layout of task 1's example: 2 IFs x 16
// channels x 2 Stokes (792-byte UVX records), 8 telescopes. Size: QVL_BENCH_MS_MB (default 256).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "ms/ms_export.h"
#include "ms/ms_import.h"
#include "uvx/fq_table.h"
#include "uvx/uvfits_tables.h"
#include "uvx/uvx_file.h"

namespace {

constexpr int kIF = 2, kChannels = 16, kStokes = 2, kTelescopes = 8, kBaselines = 28;

struct BenchFiles {
  std::filesystem::path dir;
  std::string uvx, ms, out_ms, out_uvx, copy;
  std::int64_t groups = 0;
  BenchFiles() {
    const char* mb_text = std::getenv("QVL_BENCH_MS_MB");
    const std::int64_t mb = mb_text ? std::atoll(mb_text) : 256;
    groups = std::max<std::int64_t>(kBaselines, (mb << 20) / (24 + 12 * kIF * kChannels * kStokes));
    std::string name = "qvl_bench_ms_";
    name += std::to_string(::getpid());
    dir = std::filesystem::temp_directory_path() / name;
    std::filesystem::create_directories(dir);
    uvx = (dir / "in.uvx").string();
    ms = (dir / "in.ms").string();
    out_ms = (dir / "out.ms").string();
    out_uvx = (dir / "out.uvx").string();
    copy = (dir / "copy").string();
    WriteInput();
    std::string error;
    if (!ExportMS(uvx, ms, nullptr, nullptr, nullptr, error)) std::abort();
  }
  ~BenchFiles() { std::filesystem::remove_all(dir); }

  void WriteInput() const {
    AUVXFile f;
    f.Open(uvx, AUVXFile::modeCreate);
    AUVXHeader h;
    h.groups = std::int32_t(groups);
    h.jd0 = 2460690.5;
    h.n_if = kIF, h.n_channels = kChannels, h.n_pol = kStokes;
    h.pol[0] = -1, h.pol[1] = -2;
    h.ref_freq_hz = 1.658e9;
    h.time_step_s = 10;
    h.SetObject("3C345");
    f.Write(h);
    AUVXVisibility v(kIF, kChannels, kStokes);
    AUVXGroup g;
    f.SeekUVGroup(0);
    for (std::int64_t i = 0; i < groups; ++i) {  // every baseline of 8 telescopes per time sample
      int a = 1, b = 2;
      for (std::int64_t k = i % kBaselines; k > 0; --k)
        if (++b > kTelescopes) b = ++a + 1;
      g.tel1 = std::uint8_t(a), g.tel2 = std::uint8_t(b), g.freq_id = 1;
      g.u = float(i % 1000) * 1e-5f, g.v = -float(i % 777) * 1e-5f, g.w = 1e-6f;
      g.time = double(i / kBaselines) * 10.0;
      for (int e = 0; e < v.Count(); ++e) v.entries[e] = {float(e), float(i % 7), 1.0f};
      g.store(f);
      v.store(f);
    }
    AMatrix<AUVXFqTblItem> m(1, kIF);
    m(0, 0) = {0, 5e5}, m(0, 1) = {8e6, 5e5};
    AArray<int> ids;
    ids.Add(1);
    f.AddTable(*std::unique_ptr<AUVXTable>(MakeFqTable(m, ids, kIF, kChannels)));
    AUVXTable su = uvfits::WithColumns(AUVXTable("SU", AUVXTable::toHash("SU", 0)), uvfits::SourceColumns(kIF));
    const int s = su.AddRow();
    su.SetChars(s, su.FindColumn("SOURCE"), "3C345");
    su.SetDouble(s, su.FindColumn("RAEPO"), 250.745);
    su.SetDouble(s, su.FindColumn("DECEPO"), 39.81);
    f.AddTable(su);
    AUVXTable an("AN", AUVXTable::toHash("AN", 0));
    const int c_name = an.AddColumn("ANNAME", "", "8A"), c_xyz = an.AddColumn("STABXYZ", "METERS", "3D");
    const int c_no = an.AddColumn("NOSTA", "", "1J");
    for (int i = 0; i < kTelescopes; ++i) {
      const int r = an.AddRow();
      std::string name = "T";  // appended: GCC 12 warns wrongly on "T" + ...
      name += std::to_string(i + 1);
      an.SetChars(r, c_name, name);
      an.SetDouble(r, c_xyz, 1e6 * i, 0);
      an.SetInt(r, c_no, i + 1);
    }
    f.AddTable(an);
    f.Close();
  }
};

BenchFiles& Files() {
  static BenchFiles files;
  return files;
}

std::int64_t Size(const std::string& path) { return std::int64_t(std::filesystem::file_size(path)); }

void BM_MSExport(benchmark::State& state) {
  BenchFiles& b = Files();
  std::string error;
  for (auto _ : state)
    if (!ExportMS(b.uvx, b.out_ms, nullptr, nullptr, nullptr, error)) state.SkipWithError(error.c_str());
  state.SetBytesProcessed(state.iterations() * Size(b.uvx));
  state.SetItemsProcessed(state.iterations() * b.groups);
}

void BM_MSImport(benchmark::State& state) {
  BenchFiles& b = Files();
  std::string error;
  for (auto _ : state)
    if (!ImportMS(b.ms, b.out_uvx, nullptr, nullptr, nullptr, error)) state.SkipWithError(error.c_str());
  state.SetBytesProcessed(state.iterations() * Size(b.uvx));
  state.SetItemsProcessed(state.iterations() * b.groups);
}

void BM_CpUVX(benchmark::State& state) {
  BenchFiles& b = Files();
  const std::string cmd = "cp '" + b.uvx + "' '" + b.copy + "'";
  for (auto _ : state)
    if (std::system(cmd.c_str()) != 0) state.SkipWithError("cp failed");
  state.SetBytesProcessed(state.iterations() * Size(b.uvx));
}

}  // namespace

BENCHMARK(BM_MSExport)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_MSImport)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_CpUVX)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

BENCHMARK_MAIN();
