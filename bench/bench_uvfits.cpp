// UVFITS throughput: export (UVX -> UVFITS) and import (UVFITS -> UVX) in MB/s of the UVFITS file,
// beside `cp` of the same files. Layout of task 1's example: 2 IFs x 16 channels x 2 Stokes
// (792-byte UVX records). File size: QVL_BENCH_UVFITS_MB (default 256).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "uvx/fq_table.h"
#include "uvx/uvfits_export.h"
#include "uvx/uvfits_import.h"
#include "uvx/uvfits_tables.h"
#include "uvx/uvx_file.h"

namespace {

constexpr int kIF = 2, kChannels = 16, kStokes = 2;

struct BenchFiles {
  std::filesystem::path dir;
  std::string uvx, fits, out_uvx, out_fits, copy;
  std::int64_t groups = 0;
  BenchFiles() {
    const char* mb_text = std::getenv("QVL_BENCH_UVFITS_MB");
    const std::int64_t mb = mb_text ? std::atoll(mb_text) : 256;
    groups = std::max<std::int64_t>(1, (mb << 20) / (24 + 12 * kIF * kChannels * kStokes));
    std::string name = "qvl_bench_uvfits_";
    name += std::to_string(::getpid());
    dir = std::filesystem::temp_directory_path() / name;
    std::filesystem::create_directories(dir);
    uvx = (dir / "in.uvx").string();
    fits = (dir / "in.uvfits").string();
    out_uvx = (dir / "out.uvx").string();
    out_fits = (dir / "out.uvfits").string();
    copy = (dir / "copy").string();
    WriteInput();
    std::string error;
    if (!ExportUVFITS(uvx, fits, nullptr, nullptr, nullptr, error)) std::abort();
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
    f.Write(h);
    AUVXVisibility v(kIF, kChannels, kStokes);
    AUVXGroup g;
    f.SeekUVGroup(0);
    for (std::int64_t i = 0; i < groups; ++i) {
      g.tel1 = std::uint8_t(1 + i % 7), g.tel2 = std::uint8_t(2 + i % 7), g.freq_id = 1;
      g.u = float(i) * 1e-9f, g.v = -float(i) * 1e-9f, g.w = 1e-6f;
      g.time = double(i / 28) * 10.0;
      for (int e = 0; e < v.Count(); ++e) v.entries[e] = {float(e), float(i % 7), 1.0f};
      g.store(f);
      v.store(f);
    }
    AMatrix<AUVXFqTblItem> m(1, kIF);
    m(0, 0) = {0, 5e5}, m(0, 1) = {8e6, 5e5};
    AArray<int> ids;
    ids.Add(1);
    std::unique_ptr<AUVXTable> fq(MakeFqTable(m, ids, kIF, kChannels));
    f.AddTable(*fq);
    // A phase centre: the default export turns u, v, w to its J2000 axes.
    AUVXTable su = uvfits::WithColumns(AUVXTable("SU", AUVXTable::toHash("SU", 0)), uvfits::SourceColumns(kIF));
    const int s = su.AddRow();
    su.SetDouble(s, su.FindColumn("RAEPO"), 250.745);
    su.SetDouble(s, su.FindColumn("DECEPO"), 39.81);
    f.AddTable(su);
    AUVXTable an("AN", AUVXTable::toHash("AN", 0));
    const int c_name = an.AddColumn("ANNAME", "", "8A"), c_xyz = an.AddColumn("STABXYZ", "METERS", "3D");
    const int c_no = an.AddColumn("NOSTA", "", "1J");
    for (int i = 0; i < 8; ++i) {
      const int r = an.AddRow();
      char name[8];
      std::snprintf(name, sizeof name, "T%d", i + 1);
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

void BM_UvfitsExport(benchmark::State& state) {
  BenchFiles& b = Files();
  std::string error;
  for (auto _ : state)
    if (!ExportUVFITS(b.uvx, b.out_fits, nullptr, nullptr, nullptr, error)) state.SkipWithError(error.c_str());
  state.SetBytesProcessed(state.iterations() * Size(b.fits));
  state.SetItemsProcessed(state.iterations() * b.groups);
}

void BM_UvfitsImport(benchmark::State& state) {
  BenchFiles& b = Files();
  std::string error;
  for (auto _ : state)
    if (!ImportUVFITS(b.fits, b.out_uvx, nullptr, nullptr, nullptr, error)) state.SkipWithError(error.c_str());
  state.SetBytesProcessed(state.iterations() * Size(b.fits));
  state.SetItemsProcessed(state.iterations() * b.groups);
}

// `cp` of the file an export reads (the UVX) and of the file an import reads (the UVFITS).
void BM_CpCommand(benchmark::State& state) {
  BenchFiles& b = Files();
  const std::string& from = state.range(0) == 0 ? b.uvx : b.fits;
  const std::string cmd = "cp '" + from + "' '" + b.copy + "'";
  for (auto _ : state)
    if (std::system(cmd.c_str()) != 0) state.SkipWithError("cp failed");
  state.SetBytesProcessed(state.iterations() * Size(from));
  state.SetLabel(state.range(0) == 0 ? "the UVX file" : "the UVFITS file");
}

}  // namespace

BENCHMARK(BM_UvfitsExport)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_UvfitsImport)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_CpCommand)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

BENCHMARK_MAIN();
