// Map models on a UVX file: the per-group fill against a hand loop, add versus replace, weights,
// fast versus per-channel, both engines, the stop flag, refusals, and the map series' time rule.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "model/map_model.h"
#include "model/model_test_util.h"

namespace {

constexpr int kGroups = 7;  // the sample file: 2 IFs x 3 channels x 2 Stokes, set-up id 1
constexpr double kRefHz = 22.2e9, kIfOffsetHz[2] = {0.0, 16e6}, kChanHz = 8e6;

// The test map: 5 rows x 4 columns, 8 mas x 8 mas, a few pixels of either sign.
struct TestMap {
  AMatrix<float> map = ZeroMap(5, 4);
  TMinMax range{-0.004, 0.004, -0.003, 0.005};
  TestMap() {
    map(0, 0) = 1.0f;
    map(2, 1) = 0.5f;
    map(4, 3) = -0.25f;
    map(3, 2) = 2.0f;
  }
};

// The map's visibility at (u, v) [s] and frequency f, written out independently: the pixel at
// (r, c) lies at xmin + c dx, ymin + r dy arcsec; V = sum p exp(+2 pi i (u f x + v f y)).
// With `float_offsets`, 2 pi x and 2 pi y are rounded to float as the point components hold them:
// at the long baselines of a big file (phases of thousands of radians) that rounding shows.
std::complex<double> HandVis(const TestMap& t, double u_s, double v_s, double f, bool float_offsets = false) {
  const double as = std::numbers::pi / 648000.0, two_pi = 2 * std::numbers::pi;
  const double dx = (t.range.xmax - t.range.xmin) / 3, dy = (t.range.ymax - t.range.ymin) / 4;
  std::complex<double> sum;
  for (std::uint32_t r = 0; r < 5; ++r)
    for (std::uint32_t c = 0; c < 4; ++c)
      if (t.map(r, c) != 0) {
        double x = two_pi * (t.range.xmin + c * dx) * as, y = two_pi * (t.range.ymin + r * dy) * as;
        if (float_offsets) x = float(x), y = float(y);
        sum += double(t.map(r, c)) * std::polar(1.0, u_s * f * x + v_s * f * y);
      }
  return sum;
}

double Freq(int k, int j) { return kRefHz + kIfOffsetHz[k] + j * kChanHz; }

// Every entry of the file against `original` changed by the map: replaced, or added to.
void ExpectFilled(const FileData& got, const FileData& original, const TestMap& t, bool add, bool fast) {
  const double tol = 2e-6 * 3.75;  // float offsets and sums, against the flux sum of 3.75 Jy
  for (int g = 0; g < kGroups; ++g)
    for (int k = 0; k < 2; ++k)
      for (int j = 0; j < 3; ++j) {
        const std::complex<double> v =
            HandVis(t, got.groups[g].u, got.groups[g].v, Freq(k, fast ? 0 : j));
        for (int p = 0; p < 2; ++p) {
          const AUVXVisEntry& e = got.vis[g].Entry(k, j, p);
          const AUVXVisEntry& o = original.vis[g].Entry(k, j, p);
          EXPECT_NEAR(e.re, (add ? o.re : 0.0) + v.real(), tol) << g << " " << k << " " << j;
          EXPECT_NEAR(e.im, (add ? o.im : 0.0) + v.imag(), tol) << g << " " << k << " " << j;
          EXPECT_EQ(e.weight, o.weight);
          // Every polarization receives the same value (exactly, when replacing).
          const AUVXVisEntry &e0 = got.vis[g].Entry(k, j, 0), &o0 = original.vis[g].Entry(k, j, 0);
          EXPECT_NEAR(e.re - (add ? o.re : 0.0f), e0.re - (add ? o0.re : 0.0f), add ? 2e-6 : 0.0);
          EXPECT_NEAR(e.im - (add ? o.im : 0.0f), e0.im - (add ? o0.im : 0.0f), add ? 2e-6 : 0.0);
        }
      }
}

int Apply(const std::string& path, const TestMap& t, bool add, bool fast, std::string* error,
          const AMapSumOptions& options = MapEngine::Fast, StopFlag* stop = nullptr, ProgressSink* progress = nullptr) {
  AUVXFile f;
  if (!f.Open(path, AUVXFile::modeUpdate)) return 0;
  const int ok = ApplyMapModel(f, t.map, t.range, add, fast, progress, stop, error, options);
  return f.Close() && ok;
}

// Sets a stop flag once the progress passes a position.
class StopAt : public ProgressSink {
 public:
  StopAt(StopFlag& stop, std::int64_t at) : stop_(stop), at_(at) {}
  void SetPos(std::int64_t pos) override {
    if (pos >= at_) stop_ = 1;
  }

 private:
  StopFlag& stop_;
  std::int64_t at_;
};

}  // namespace

TEST(MapModel, FillsEveryEntryInBothModesAndWithBothEngines) {
  TempDir dir;
  const std::string fast_path = dir.File("a.uvx"), path = dir.File("b.uvx"), ref = dir.File("c.uvx");
  for (const std::string& p : {fast_path, path, ref}) WriteSampleFile(p, kGroups);
  const FileData original = ReadFile(path);
  TestMap t;
  std::string error;
  // Replace, fast: every entry, and the header's extremes recomputed.
  ASSERT_TRUE(Apply(fast_path, t, false, true, &error)) << error;
  FileData got = ReadFile(fast_path);
  ExpectFilled(got, original, t, false, true);
  double amp_max = 0, amp_min = 1e300;
  for (int g = 0; g < kGroups; ++g) {
    EXPECT_EQ(got.groups[g].u, original.groups[g].u);
    EXPECT_EQ(got.groups[g].time, original.groups[g].time);
    for (int k = 0; k < 2; ++k) EXPECT_EQ(got.vis[g].Entry(k, 2, 1).re, got.vis[g].Entry(k, 0, 0).re);
    for (int e = 0; e < got.vis[g].Count(); ++e) {
      const double a = std::hypot(double(got.vis[g].entries[e].re), double(got.vis[g].entries[e].im));
      amp_max = std::max(amp_max, a);
      amp_min = std::min(amp_min, a);
    }
  }
  EXPECT_NEAR(got.header.extremes.amp_max, amp_max, 1e-12);
  EXPECT_NEAR(got.header.extremes.amp_min, amp_min, 1e-12);
  EXPECT_EQ(got.header.extremes.weight_min, 1.0);
  EXPECT_EQ(got.header.extremes.weight_max, 1.25);
  EXPECT_EQ(got.header.extremes.u_min, original.header.extremes.u_min);

  // Add, per channel.
  ASSERT_TRUE(Apply(path, t, true, false, &error)) << error;
  got = ReadFile(path);
  ExpectFilled(got, original, t, true, false);
  // A source with extent: the channels of one IF differ when evaluated per channel.
  EXPECT_NE(got.vis[6].Entry(1, 0, 0).im, got.vis[6].Entry(1, 2, 0).im);
  // The reference engine writes the same values to float rounding.
  ASSERT_TRUE(Apply(ref, t, true, false, &error, MapEngine::Reference)) << error;
  const FileData by_ref = ReadFile(ref);
  for (int g = 0; g < kGroups; ++g)
    for (int e = 0; e < got.vis[g].Count(); ++e) {
      EXPECT_NEAR(by_ref.vis[g].entries[e].re, got.vis[g].entries[e].re, 4e-6);
      EXPECT_NEAR(by_ref.vis[g].entries[e].im, got.vis[g].entries[e].im, 4e-6);
    }
  // Adding again doubles the model on top of the data; replacing twice gives the same file.
  ASSERT_TRUE(Apply(path, t, true, false, &error)) << error;
  const FileData twice = ReadFile(path);
  for (int g = 0; g < kGroups; ++g)
    for (int e = 0; e < got.vis[g].Count(); ++e) {
      const double model = double(got.vis[g].entries[e].re) - original.vis[g].entries[e].re;
      EXPECT_NEAR(twice.vis[g].entries[e].re, original.vis[g].entries[e].re + 2 * model, 1e-5);
    }
  ASSERT_TRUE(Apply(path, t, false, true, &error));
  const std::string once = ReadAll(path);
  ASSERT_TRUE(Apply(path, t, false, true, &error));
  EXPECT_EQ(ReadAll(path), once);
}

TEST(MapModel, EveryEngineAgreesWithTheHandSumAndReportsItself) {
  TempDir dir;
  const std::string path = dir.File("e.uvx");
  TestMap t;
  const struct {
    MapEngine engine;
    double accuracy;
    const char* name;
  } cases[] = {{MapEngine::Reference, 1e-6, "reference"}, {MapEngine::Separable, 1e-6, "separable"},
               {MapEngine::Nufft, 1e-3, "nufft"},         {MapEngine::Nufft, 1e-6, "nufft"},
               {MapEngine::Nufft, 1e-9, "nufft"},         {MapEngine::Auto, 1e-6, "separable"}};
  for (const auto& c : cases)
    for (bool fast : {true, false}) {
      WriteSampleFile(path, kGroups);
      AMapEngineReport report;
      AMapSumOptions options(c.engine);
      options.accuracy = c.accuracy;
      options.report = &report;
      std::string error;
      ASSERT_TRUE(Apply(path, t, false, fast, &error, options)) << error;
      const FileData got = ReadFile(path);
      double err = 0, norm = 0;
      for (int g = 0; g < kGroups; ++g)
        for (int k = 0; k < 2; ++k)
          for (int j = 0; j < 3; ++j) {
            const std::complex<double> want = HandVis(t, got.groups[g].u, got.groups[g].v, Freq(k, fast ? 0 : j));
            const AUVXVisEntry& e = got.vis[g].Entry(k, j, 1);
            err += std::norm(std::complex<double>(e.re, e.im) - want);
            norm += std::norm(want);
          }
      // Float visibilities and the float offsets of the other engines: about 1e-7 at best.
      EXPECT_LE(std::sqrt(err / norm), std::max(c.accuracy, 3e-7)) << c.name << " " << c.accuracy;
      EXPECT_STREQ(MapEngineName(report.engine), c.name);
      EXPECT_EQ(report.points, kGroups * 2 * (fast ? 1 : 3));
      EXPECT_EQ(report.pixels, 4);
      EXPECT_EQ(report.maps_reference + report.maps_separable + report.maps_nufft, 1);
      EXPECT_EQ(report.accuracy, c.accuracy);
      EXPECT_FALSE(report.reason.empty());
      if (report.engine == MapEngine::Nufft) {
        EXPECT_EQ(report.nufft_width, ANufftKernel::ForAccuracy(c.accuracy).width);
      }
    }
}

TEST(MapModel, SpectralIndexScalesTheSetPixelsOfEachIf) {
  // Rows: IF 0, IF 1 of the one set-up; columns: the 4 set pixels in row-major order.
  AMatrix<float> alpha(2, 4);
  const float row1[4] = {1.0f, -2.0f, 0.5f, 3.0f};
  for (std::uint32_t c = 0; c < 4; ++c) alpha(0, c) = 9.0f, alpha(1, c) = row1[c];  // row 0 never counts
  TestMap t, if1;
  const std::uint32_t at[4][2] = {{0, 0}, {2, 1}, {3, 2}, {4, 3}};
  for (int c = 0; c < 4; ++c)
    if1.map(at[c][0], at[c][1]) *= float(std::pow(Freq(1, 0) / Freq(0, 0), double(row1[c])));
  TempDir dir;
  const std::string path = dir.File("si.uvx");
  for (MapEngine engine : {MapEngine::Separable, MapEngine::Nufft})
    for (bool fast : {true, false}) {
      WriteSampleFile(path, kGroups);
      AMapSumOptions options(engine);
      options.spectral_index = &alpha;
      std::string error;
      ASSERT_TRUE(Apply(path, t, false, fast, &error, options)) << error;
      const FileData got = ReadFile(path);
      for (int g = 0; g < kGroups; ++g)
        for (int k = 0; k < 2; ++k)
          for (int j = 0; j < 3; ++j) {
            const std::complex<double> want =
                HandVis(k == 0 ? t : if1, got.groups[g].u, got.groups[g].v, Freq(k, fast ? 0 : j));
            EXPECT_NEAR(got.vis[g].Entry(k, j, 0).re, want.real(), 1e-5) << g << " " << k << " " << j;
            EXPECT_NEAR(got.vis[g].Entry(k, j, 1).im, want.imag(), 1e-5) << g << " " << k << " " << j;
          }
    }
  // Too few columns for the set pixels: refused before any write; a single row: no scaling.
  WriteSampleFile(path, kGroups);
  const std::string before = ReadAll(path);
  for (const auto& shape : {std::pair<std::uint32_t, std::uint32_t>{2, 3}, {1, 4}}) {
    AMatrix<float> small(shape.first, shape.second);
    for (std::uint64_t i = 0; i < small.Elements(); ++i) small.data[i] = 1;
    AMapSumOptions options;
    options.spectral_index = &small;
    std::string error;
    if (shape.first == 1) {  // one row: no scaling at all
      ASSERT_TRUE(Apply(path, t, false, true, &error, options)) << error;
      ExpectFilled(ReadFile(path), ReadFile(path), t, false, true);
      continue;
    }
    EXPECT_FALSE(Apply(path, t, false, true, &error, options));
    EXPECT_NE(error.find("3 columns; this map has 4 set pixels"), std::string::npos) << error;
    EXPECT_EQ(ReadAll(path), before);
  }
}

TEST(MapModel, LargeFileAcrossBatchesAndTheFileBuffer) {
  // 30 000 groups of 168 bytes: several batches of 65 536 UV points and more than the 4 MB buffer
  // of the file, per channel (6 UV points a group), through the NUFFT.
  TempDir dir;
  const std::string path = dir.File("big.uvx");
  constexpr int kMany = 30000;
  WriteSampleFile(path, kMany);
  TestMap t;
  std::string error;
  ProgressRecorder progress;
  ASSERT_TRUE(Apply(path, t, false, false, &error, MapEngine::Nufft, nullptr, &progress)) << error;
  EXPECT_EQ(progress.range_high, kMany);
  EXPECT_EQ(progress.position, kMany);
  const FileData got = ReadFile(path);
  ASSERT_EQ(got.vis.size(), std::size_t(kMany));
  for (int g = 0; g < kMany; g += 997)
    for (int k = 0; k < 2; ++k)
      for (int j = 0; j < 3; ++j) {
        // The NUFFT sums the exact pixel grid: no float rounding of the offsets to allow for.
        const std::complex<double> v = HandVis(t, got.groups[g].u, got.groups[g].v, Freq(k, j));
        EXPECT_NEAR(got.vis[g].Entry(k, j, 1).re, v.real(), 1e-5) << g;
        EXPECT_NEAR(got.vis[g].Entry(k, j, 1).im, v.imag(), 1e-5) << g;
        EXPECT_EQ(got.vis[g].Entry(k, j, 1).weight, SampleEntry(g, got.vis[g].Index(k, j, 1)).weight);
      }
}

TEST(MapModel, StopAndRefusals) {
  TempDir dir;
  const std::string path = dir.File("s.uvx");
  WriteSampleFile(path, kGroups);
  const std::string before = ReadAll(path);
  TestMap t;
  std::string error;
  StopFlag stop{1};
  EXPECT_FALSE(Apply(path, t, false, true, &error, MapEngine::Fast, &stop));
  EXPECT_EQ(error, "stopped");
  EXPECT_EQ(ReadAll(path), before);  // stopped before the first group
  StopFlag later{0};
  StopAt progress(later, 3);
  const FileData original = ReadFile(path);
  EXPECT_FALSE(Apply(path, t, false, true, &error, MapEngine::Fast, &later, &progress));
  EXPECT_EQ(later.load(), 1);
  EXPECT_EQ(error, "stopped");
  // A stopped run leaves the header's extremes as they were.
  const FileData after = ReadFile(path);
  EXPECT_EQ(after.header.extremes.amp_max, original.header.extremes.amp_max);
  EXPECT_EQ(after.header.extremes.amp_min, original.header.extremes.amp_min);

  // A file open only for reading, a map of one column, a group of an unknown set-up.
  {
    AUVXFile f;
    ASSERT_TRUE(f.Open(path, AUVXFile::modeRead));
    EXPECT_FALSE(ApplyMapModel(f, t.map, t.range, false, true, nullptr, nullptr, &error));
    EXPECT_NE(error.find("not open for update"), std::string::npos);
  }
  AMatrix<float> column(4, 1);
  for (std::uint32_t r = 0; r < 4; ++r) column(r, 0) = 1.0f;
  {
    AUVXFile f;
    ASSERT_TRUE(f.Open(path, AUVXFile::modeUpdate));
    EXPECT_FALSE(ApplyMapModel(f, column, t.range, false, true, nullptr, nullptr, &error));
    EXPECT_NE(error.find("at least 2 rows and 2 columns"), std::string::npos);
  }
  EditGroups(path, [](int i, AUVXGroup& g) { g.freq_id = i == 4 ? 5 : g.freq_id; });
  EXPECT_FALSE(Apply(path, t, false, true, &error));
  EXPECT_NE(error.find("frequency set-up id 5"), std::string::npos) << error;
}

TEST(MapSeries, MapKServesTimesFromKSteps) {
  // Step 10 s, 3 maps; after the series the last map, before it (or NaN) the first; one map only.
  const struct {
    double t;
    int n, want;
  } times[] = {{0, 3, 0}, {9.999, 3, 0}, {10, 3, 1}, {29, 3, 2}, {1e12, 3, 2}, {-5, 3, 0}, {std::nan(""), 3, 0}, {25, 1, 0}};
  for (const auto& c : times) EXPECT_EQ(MapSeriesIndex(c.t, 10.0, c.n), c.want) << c.t << " " << c.n;

  TempDir dir;
  // Three 3 x 3 maps, each a point of 1, 2 or 3 Jy at the phase centre: V = the map's flux.
  std::vector<std::string> maps;
  for (int k = 0; k < 3; ++k) {
    AMatrix<float> m = ZeroMap(3, 3);
    m(1, 1) = float(k + 1);
    maps.push_back(dir.File("m" + std::to_string(k) + ".exm"));
    std::string error;
    ASSERT_TRUE(SaveMapAny(maps.back(), m, TMinMax{-0.001, 0.001, -0.001, 0.001}, "JY/PIXEL", &error));
  }
  auto flux_of = [](const FileData& d, int g) { return d.vis[g].Entry(1, 2, 1).re; };
  const std::string path = dir.File("series.uvx");
  std::string error;
  auto apply = [&](const std::vector<std::string>& series, double step) {
    AUVXFile f;
    ASSERT_TRUE(f.Open(path, AUVXFile::modeUpdate));
    ASSERT_TRUE(ApplyMapSeries(f, series, step, false, true, nullptr, nullptr, &error)) << error;
    ASSERT_TRUE(f.Close());
  };
  // Group times 0, 0, 0, 10, 10, 10, 20 s. Two maps of 10 s: 0 -> map 0, 10 -> map 1, 20 -> map 1.
  WriteSampleFile(path, kGroups);
  apply({maps[0], maps[1]}, 10.0);
  FileData d = ReadFile(path);
  const float two_maps[kGroups] = {1, 1, 1, 2, 2, 2, 2};
  for (int g = 0; g < kGroups; ++g) {
    EXPECT_EQ(flux_of(d, g), two_maps[g]) << g;
    EXPECT_EQ(d.vis[g].Entry(0, 0, 0).im, 0.0f);
  }
  // Three maps of 7 s, groups out of time order (times reversed): 0 -> 1 Jy, 10 -> 2, 20 -> 3.
  WriteSampleFile(path, kGroups);
  EditGroups(path, [](int g, AUVXGroup& grp) { grp.time = 10.0 * ((kGroups - 1 - g) / 3); });
  apply(maps, 7.0);
  d = ReadFile(path);
  for (int g = 0; g < kGroups; ++g) EXPECT_EQ(flux_of(d, g), float(1 + int(d.groups[g].time / 7.0))) << g;
  // Through the NUFFT the same fluxes to its accuracy, each map on its own grid.
  WriteSampleFile(path, kGroups);
  {
    AMapEngineReport report;
    AMapSumOptions options(MapEngine::Nufft);
    options.report = &report;
    AUVXFile f;
    ASSERT_TRUE(f.Open(path, AUVXFile::modeUpdate));
    ASSERT_TRUE(ApplyMapSeries(f, {maps[0], maps[1]}, 10.0, false, true, nullptr, nullptr, &error, options)) << error;
    ASSERT_TRUE(f.Close());
    EXPECT_EQ(report.maps_nufft, 2);
    d = ReadFile(path);
    for (int g = 0; g < kGroups; ++g) EXPECT_NEAR(flux_of(d, g), two_maps[g], 1e-6) << g;
  }
  // Failures: a missing map names its path, no maps, a bad step.
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeUpdate));
  EXPECT_FALSE(ApplyMapSeries(f, {maps[0], dir.File("gone.exm")}, 5.0, false, true, nullptr, nullptr, &error));
  EXPECT_NE(error.find("gone.exm"), std::string::npos) << error;
  EXPECT_FALSE(ApplyMapSeries(f, {}, 5.0, false, true, nullptr, nullptr, &error));
  EXPECT_FALSE(ApplyMapSeries(f, maps, 0.0, false, true, nullptr, nullptr, &error));
  EXPECT_FALSE(ApplyMapSeries(f, maps, std::nan(""), false, true, nullptr, nullptr, &error));
  f.Close();
}
