// The choice of the map-sum engine: what the cost model is told about a map (used rows and
// columns, largest phase) and what it picks for sparse and dense maps, few and many UV points,
// coarse and fine accuracies and grids beyond the memory limit.

#include <gtest/gtest.h>

#include <string>

#include "model/map_engine.h"
#include "model/model_test_util.h"

TEST(MapEngineChoice, WorkloadCountsUsedRowsColumnsAndTheLargestPhase) {
  AMatrix<float> m = ZeroMap(5, 8);
  m(0, 1) = 1, m(0, 6) = -2, m(3, 6) = 0.5f;
  const TMinMax range{-0.004, 0.003, -0.001, 0.002};  // arcsec
  const AMapWorkload w = DescribeMapWork(m, range, 1234, 1e9, 1e-6);
  EXPECT_EQ(w.pixels, 3);
  EXPECT_EQ(w.used_rows, 2);
  EXPECT_EQ(w.used_cols, 2);
  EXPECT_EQ(w.points, 1234);
  EXPECT_GE(w.threads, 1);
  // (largest |x| + largest |y| of a set pixel) in 2 pi radians per wavelength, times the longest
  // u or v: columns 1 and 6 lie at -0.003 and 0.002 arcsec, rows 0 and 3 at -0.001 and 0.00125.
  EXPECT_NEAR(w.max_phase, (0.003 + 0.00125) * kMapOffsetK * 1e9, 1e-6 * w.max_phase);
  // Unknown UV extent: up to the map's Nyquist limit, pi / the smaller pixel step.
  const double step = 0.003 / 4 * kMapOffsetK;  // the y step 0.003/4 is smaller than the x step 0.007/7
  EXPECT_NEAR(DescribeMapWork(m, range, 10, 0, 1e-6).max_phase, (0.003 + 0.00125) * kMapOffsetK * 3.14159265358979 / step,
              1e-5);
}

TEST(MapEngineChoice, CostModelPicksByPixelsPointsAccuracyAndMemory) {
  auto work = [](std::uint32_t n, std::int64_t pixels, std::int64_t points, double phase, double accuracy) {
    AMapWorkload w;
    w.rows = w.cols = n;
    w.pixels = pixels;
    w.used_rows = w.used_cols = std::min<std::int64_t>(pixels, n);
    w.points = points;
    w.max_phase = phase;
    w.accuracy = accuracy;
    w.threads = 2;
    return w;
  };
  const struct {
    const char* what;
    AMapWorkload w;
    MapEngine want;
    const char* because;
  } cases[] = {
      {"dense 1024^2, a 12 h track of 16 channels", work(1024, 1 << 20, 3110400, 10, 1e-6), MapEngine::Nufft, "cheaper"},
      {"the same at phases of 1e3 rad", work(1024, 1 << 20, 3110400, 1e3, 1e-6), MapEngine::Nufft, "only the NUFFT"},
      {"dense 256^2, same track", work(256, 65536, 3110400, 50, 1e-6), MapEngine::Nufft, "cheaper"},
      {"8 pixels of 512^2, same track", work(512, 8, 3110400, 50, 1e-6), MapEngine::Fast, "separable sum is cheaper"},
      {"dense 64^2, 20 UV points", work(64, 4096, 20, 50, 1e-6), MapEngine::Fast, "separable sum is cheaper"},
      {"8 pixels, but 1e-9", work(512, 8, 3110400, 50, 1e-9), MapEngine::Nufft, "only the NUFFT reaches"},
      {"8 pixels, phases of 1e4 rad", work(512, 8, 1000, 1e4, 1e-6), MapEngine::Nufft, "only the NUFFT reaches"},
      {"dense 1024^2 at 1e-3 with long phases", work(1024, 1 << 20, 1000, 1e4, 1e-3), MapEngine::Nufft, "cheaper"},
      {"40 000^2: a grid beyond 2 GiB", work(40000, 1 << 20, 3110400, 50, 1e-6), MapEngine::Fast, "MiB"},
      {"no pixel", work(512, 0, 3110400, 50, 1e-9), MapEngine::Fast, "no non-zero pixel"},
  };
  for (const auto& c : cases) {
    const AMapCostEstimate e = EstimateMapEngines(c.w);
    EXPECT_EQ(e.choice, c.want) << c.what << ": " << e.reason;
    EXPECT_NE(e.reason.find(c.because), std::string::npos) << c.what << ": " << e.reason;
    EXPECT_GT(e.separable_error, 0) << c.what;
  }
  // A finer accuracy widens the kernel and costs more; more points cost more in both engines.
  const AMapWorkload base = work(512, 50000, 1000000, 100, 1e-6);
  AMapWorkload fine = base, more = base;
  fine.accuracy = 1e-9;
  more.points *= 2;
  EXPECT_GT(EstimateMapEngines(fine).nufft_s, EstimateMapEngines(base).nufft_s);
  EXPECT_GT(EstimateMapEngines(more).nufft_s, EstimateMapEngines(base).nufft_s);
  EXPECT_NEAR(EstimateMapEngines(more).separable_s, 2 * EstimateMapEngines(base).separable_s,
              1e-9 * EstimateMapEngines(base).separable_s);
  EXPECT_STREQ(MapEngineName(MapEngine::Nufft), "nufft");
  EXPECT_STREQ(MapEngineName(MapEngine::Separable), "separable");
}
