// The thermal-noise model on single records (sigma by the formula and the worked example, amplitude
// exactly sigma on a zero model, one phase per IF and Stokes shared by the channels, the classic
// generator's sequence, zero IFs, the Gaussian option's statistics) and task 4 on files (the one-pass
// result against a plain reference, which also covers the addition to non-zero values and the
// records of missing telescopes: unchanged, counted and drawing nothing; repeatable runs of both
// models, refusals and the stop flag).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <numbers>

#include "errors/error_tables.h"
#include "errors/errors_messages.h"
#include "errors/noise_model.h"
#include "errors/noise_task.h"
#include "errors_test_util.h"

namespace {

AMTlscSfd TwoTelescopes(std::initializer_list<double> s1, std::initializer_list<double> s2) {
  AMTlscSfd sfd;
  sfd.items.Add(Sfd(1, s1));
  sfd.items.Add(Sfd(2, s2));
  sfd.n_if = int(s1.size());
  sfd.bandwidth_hz = 16e6;
  sfd.duration_s = 60.0;
  return sfd;
}

AUVXVisibility Zero(int n_if, int n_ch, int n_st) {
  AUVXVisibility v(n_if, n_ch, n_st);
  for (int e = 0; e < v.Count(); ++e) v.entries[e] = {0.0f, 0.0f, 3.0f};
  return v;
}

// Three telescopes with two SEFDs each.
AMNoiseParams Params(const std::string& in, const std::string& out) {
  AMNoiseParams p;
  p.in_path = in;
  p.out_path = out;
  p.sfd.items.Add(Sfd(1, {300.0, 350.0}));
  p.sfd.items.Add(Sfd(2, {1200.0, 1100.0}));
  p.sfd.items.Add(Sfd(3, {20000.0, 25000.0}));
  p.sfd.n_if = 2;
  p.sfd.duration_s = 30.0;
  p.sfd.bandwidth_hz = 4e6;
  p.rng_start = 4711u;
  return p;
}

// 4 telescopes in the file, 3 in the list.
TestFileShape FourTelescopes(int times) {
  TestFileShape shape;
  shape.n_telescopes = 4;
  shape.records = AllBaselines(4, times, 10.0);
  return shape;
}

}  // namespace

TEST(NoiseSigma, WorkedExampleAndFormula) {
  // S = 1000 Jy for both, B = 16 MHz, T = 60 s: 1000 / sqrt(9.6e8) = 1000 / 30983.87 = 0.03227486 Jy.
  AMNoiseModel model;
  ASSERT_TRUE(model.Init(TwoTelescopes({1000.0, 400.0}, {1000.0, 900.0}), 2, {}, 1u, nullptr));
  EXPECT_NEAR(model.Sigma(0, 1, 0), 0.03227486, 1e-8);
  // Different SEFDs: sqrt(400 * 900) = 600 Jy over the same sqrt(B T).
  EXPECT_NEAR(model.Sigma(0, 1, 1), 600.0 / std::sqrt(16e6 * 60.0), 1e-12);
  // The Gaussian model: sqrt(S1 S2 / (2 B T)) / eta = 0.03227486 / 1.41421356 / 0.88 = 0.02593383.
  ASSERT_TRUE(model.Init(TwoTelescopes({1000.0}, {1000.0}), 1, {true}, 1u, nullptr));
  EXPECT_NEAR(model.GaussSigma(0, 1, 0), 0.02593383, 1e-8);
}

TEST(NoiseWeights, ThermalWeightsAreOneOverSigmaSquaredPerIfAndKeptOtherwise) {
  // B = 16 MHz, T = 60 s: 2 B T = 1.92e9. IF1 1000 x 1000 Jy: sigma^2 = 1e6 / 1.92e9, weight 1920;
  // IF2 400 x 900 Jy: weight 1.92e9 / 3.6e5 = 5333.33; the Gaussian model divides sigma by eta.
  const struct {
    AMNoiseOptions options;
    float want[2];
  } cases[] = {{{false, 0.88, true}, {1920.0f, float(1.92e9 / 3.6e5)}},
               {{true, 0.5, true}, {480.0f, float(0.25 * 1.92e9 / 3.6e5)}},
               {{false, 0.88, false}, {3.0f, 3.0f}}};
  for (const auto& c : cases) {
    AMNoiseModel model;
    ASSERT_TRUE(model.Init(TwoTelescopes({1000.0, 400.0}, {1000.0, 900.0}), 2, c.options, 1u, nullptr));
    AUVXVisibility v = Zero(2, 3, 2);
    model.Apply(Group(1, 2), v);
    for (int f = 0; f < 2; ++f)
      for (int ch = 0; ch < 3; ++ch)
        for (int s = 0; s < 2; ++s) EXPECT_FLOAT_EQ(v.Entry(f, ch, s).weight, c.want[f]) << f << ch << s;
  }
}

TEST(NoiseClassic, AmplitudeExactlySigmaOnePhasePerIfAndStokes) {
  // 2 IFs x 4 channels x 2 Stokes of zeros. Per IF f and Stokes s one phase rand() * 2 pi / 32768,
  // drawn IF by IF, Stokes inside; the same value in every channel.
  AMNoiseModel model;
  ASSERT_TRUE(model.Init(TwoTelescopes({1000.0, 250.0}, {1000.0, 4000.0}), 2, {}, 777u, nullptr));
  AUVXVisibility v = Zero(2, 4, 2);
  model.Apply(Group(1, 2), v);
  ClassicRand ref(777u);
  const double k = 1.0 / std::sqrt(16e6 * 60.0);
  const double sigma[2] = {std::sqrt(1000.0 * 1000.0) * k, std::sqrt(250.0 * 4000.0) * k};  // both 1000 k
  for (int f = 0; f < 2; ++f)
    for (int s = 0; s < 2; ++s) {
      const double phi = ref.Next() * 2.0 * std::numbers::pi / 32768.0;
      for (int c = 0; c < 4; ++c) {
        const AUVXVisEntry& e = v.Entry(f, c, s);
        EXPECT_NEAR(std::hypot(double(e.re), double(e.im)), sigma[f], 1e-8) << f << c << s;
        EXPECT_EQ(e.re, float(sigma[f] * std::cos(phi))) << f << c << s;
        EXPECT_EQ(e.im, float(sigma[f] * std::sin(phi))) << f << c << s;
        EXPECT_EQ(e.weight, 3.0f);
        // Shared by the channels, bit for bit.
        EXPECT_EQ(std::memcmp(&e, &v.Entry(f, 0, s), sizeof e), 0);
      }
    }
  EXPECT_EQ(model.Rand().State(), ref.State());
}

TEST(NoiseClassic, ZeroIfsDrawOneIfAndTheLastEntryOfAnIdWins) {
  // A file without IFs runs IF 0: one draw per Stokes parameter and record, SEFD IF1 used. Its
  // records hold no entries, so there is nothing to add the noise to.
  AMNoiseModel model;
  ASSERT_TRUE(model.Init(TwoTelescopes({1000.0}, {1000.0}), 0, {}, 5u, nullptr));
  AUVXVisibility v = Zero(0, 4, 3);
  ASSERT_EQ(v.Count(), 0);
  model.Apply(Group(1, 2), v);
  model.Apply(Group(2, 1), v);
  ClassicRand ref(5u);
  for (int i = 0; i < 6; ++i) ref.Next();
  EXPECT_EQ(model.Rand().State(), ref.State());
  // The last of several entries with one identifier wins.
  AMTlscSfd dup = TwoTelescopes({1000.0}, {1000.0});
  dup.items.Add(Sfd(2, {4000.0}));
  AMNoiseModel m2;
  ASSERT_TRUE(m2.Init(dup, 1, {}, 5u, nullptr));
  EXPECT_EQ(m2.Entry(2), 2);
  AUVXVisibility d = Zero(1, 1, 1);
  m2.Apply(Group(1, 2), d);
  EXPECT_NEAR(std::hypot(d.entries[0].re, d.entries[0].im), 2000.0 / std::sqrt(9.6e8), 1e-8);
}

TEST(NoiseGaussian, MeanAndStandardDeviationOverManyDraws) {
  // 2000 records x 2 IFs x 8 channels x 2 Stokes = 64000 independent values per part.
  AMNoiseModel model;
  ASSERT_TRUE(model.Init(TwoTelescopes({1000.0, 3000.0}, {1000.0, 3000.0}), 2, {true, 0.7}, 31u, nullptr));
  const double sigma[2] = {std::sqrt(1e6 / (2 * 16e6 * 60.0)) / 0.7, std::sqrt(9e6 / (2 * 16e6 * 60.0)) / 0.7};
  double sum[2][2] = {}, sum2[2][2] = {}, cross[2] = {};
  const int n = 2000 * 16;
  for (int r = 0; r < 2000; ++r) {
    AUVXVisibility v = Zero(2, 8, 2);
    model.Apply(Group(1, 2), v);
    for (int f = 0; f < 2; ++f)
      for (int c = 0; c < 8; ++c)
        for (int s = 0; s < 2; ++s) {
          const AUVXVisEntry& e = v.Entry(f, c, s);
          const double re = e.re / sigma[f], im = e.im / sigma[f];
          sum[f][0] += re;
          sum[f][1] += im;
          sum2[f][0] += re * re;
          sum2[f][1] += im * im;
          cross[f] += re * im;
          EXPECT_EQ(e.weight, 3.0f);
        }
  }
  for (int f = 0; f < 2; ++f)
    for (int p = 0; p < 2; ++p) {
      const double mean = sum[f][p] / n;
      const double sd = std::sqrt(sum2[f][p] / n - mean * mean);
      EXPECT_NEAR(mean, 0.0, 4.0 / std::sqrt(double(n))) << f << p;      // 4 standard errors
      EXPECT_NEAR(sd, 1.0, 4.0 / std::sqrt(2.0 * n)) << f << p;          // 4 standard errors of sd
      EXPECT_NEAR(cross[f] / n, 0.0, 4.0 / std::sqrt(double(n))) << f;  // re and im uncorrelated
    }
}

TEST(NoiseTask, OnePassEqualsPlainReference) {
  TempDir dir;
  const std::string in = dir.File("n.uvx"), out = dir.File("n_out.uvx");
  WriteTestFile(in, FourTelescopes(50));
  const AMNoiseParams p = Params(in, out);
  MessageRecorder messages;
  ProgressRecorder progress;
  std::string error;
  std::uint32_t used = 0;
  AMCopyStats stats;
  ASSERT_TRUE(RunNoiseTask(p, &progress, nullptr, messages, &error, &used, &stats)) << error;
  EXPECT_EQ(used, 4711u);
  EXPECT_EQ(progress.texts.front(), msg::kTaskSensitivity);

  // The description, record by record.
  TestFileData expect = ReadTestFile(in);
  ClassicRand rnd(4711u);
  int missing = 0;
  for (std::size_t g = 0; g < expect.groups.size(); ++g) {
    const AUVXGroup& grp = expect.groups[g];
    if (grp.tel1 > 3 || grp.tel2 > 3) {
      ++missing;
      continue;
    }
    const AMSfdItem& s1 = p.sfd.items[grp.tel1 - 1];
    const AMSfdItem& s2 = p.sfd.items[grp.tel2 - 1];
    AUVXVisibility& v = expect.vis[g];
    for (int f = 0; f < std::max(v.n_if, 1); ++f) {
      const double sigma = std::sqrt(s1.sefd[f] * s2.sefd[f]) / std::sqrt(p.sfd.bandwidth_hz * p.sfd.duration_s);
      for (int s = 0; s < v.n_stokes; ++s) {
        const double phi = rnd.Next() * 0.00019174759848570515;
        for (int c = 0; c < v.n_channels; ++c) {
          v.Entry(f, c, s).re += float(sigma * std::cos(phi));
          v.Entry(f, c, s).im += float(sigma * std::sin(phi));
        }
      }
    }
  }
  const TestFileData got = ReadTestFile(out);
  ASSERT_EQ(got.vis.size(), expect.vis.size());
  for (std::size_t g = 0; g < got.vis.size(); ++g)
    for (int e = 0; e < got.vis[g].Count(); ++e) {
      ASSERT_NEAR(got.vis[g].entries[e].re, expect.vis[g].entries[e].re, 1e-6) << g << " " << e;
      ASSERT_NEAR(got.vis[g].entries[e].im, expect.vis[g].entries[e].im, 1e-6) << g << " " << e;
      ASSERT_EQ(got.vis[g].entries[e].weight, expect.vis[g].entries[e].weight);
    }
  EXPECT_EQ(stats.unchanged_missing, missing);
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0], "index telescope not found (" + std::to_string(missing) + " records left unchanged)");
}

TEST(NoiseTask, RepeatableRunsOfBothModels) {
  TempDir dir;
  const std::string in = dir.File("r.uvx");
  WriteTestFile(in, FourTelescopes(20));
  SilentMessages quiet;
  auto run = [&](bool gaussian, std::uint32_t start, const std::string& name) {
    AMNoiseParams p = Params(in, dir.File(name));
    p.gaussian = gaussian;
    p.rng_start = start;
    std::string error;
    EXPECT_TRUE(RunNoiseTask(p, nullptr, nullptr, quiet, &error, nullptr)) << error;
    return ReadAll(dir.File(name));
  };
  const std::string a = run(false, 9u, "a.uvx"), g1 = run(true, 9u, "g1.uvx");
  EXPECT_EQ(a, run(false, 9u, "b.uvx"));
  EXPECT_NE(a, run(false, 10u, "c.uvx"));
  EXPECT_EQ(g1, run(true, 9u, "g2.uvx"));
  EXPECT_NE(g1, a);
  EXPECT_NE(g1, run(true, 11u, "g3.uvx"));
}

TEST(NoiseTask, RefusalsOfModelAndTaskLeaveNoOutput) {
  TempDir dir;
  const std::string in = dir.File("two.uvx"), out = dir.File("two_out.uvx");
  WriteTestFile(in, FourTelescopes(5));
  struct Refusal {
    std::function<void(AMNoiseParams&)> change;
    std::string part;   // of the model's and the task's error
    std::string whole;  // the task's whole error, when given
  };
  const Refusal refusals[] = {
      {[](AMNoiseParams& p) { p.sfd.items[0].sefd.RemoveAt(1); }, "T1 (#1) has 1 SEFD value(s); the file has 2 IF(s)", ""},
      {[](AMNoiseParams& p) { p.sfd.items[2].sefd.RemoveAt(1); }, "T3 (#3) has 1 SEFD value(s); the file has 2 IF(s)", ""},
      {[](AMNoiseParams& p) { p.sfd.items[0].sefd[0] = -1.0; }, "SEFD IF1", ""},
      {[](AMNoiseParams& p) { p.sfd.bandwidth_hz = 0.0; }, "bandwidth", ""},
      {[](AMNoiseParams& p) { p.sfd.duration_s = -5.0; }, "duration", ""},
      {[](AMNoiseParams& p) { p.sfd.duration_s = 0.0; }, "duration", "the scan duration must be > 0"},
      {[](AMNoiseParams& p) { p.gaussian = true; p.efficiency = 0.0; }, "efficiency", ""},
      {[](AMNoiseParams& p) { p.gaussian = true; p.efficiency = 1.5; }, "efficiency", ""},
  };
  SilentMessages quiet;
  std::string error;
  for (const Refusal& r : refusals) {
    AMNoiseParams p = Params(in, out);
    r.change(p);
    SCOPED_TRACE(r.part);
    AMNoiseModel model;
    EXPECT_FALSE(model.Init(p.sfd, 2, {p.gaussian, p.efficiency}, 1u, &error));
    EXPECT_NE(error.find(r.part), std::string::npos) << error;
    EXPECT_FALSE(RunNoiseTask(p, nullptr, nullptr, quiet, &error, nullptr));
    EXPECT_NE(error.find(r.part), std::string::npos) << error;
    if (!r.whole.empty()) { EXPECT_EQ(error, r.whole); }
    EXPECT_FALSE(std::filesystem::exists(out));
  }

  StopFlag stop{1};
  EXPECT_FALSE(RunNoiseTask(Params(in, out), nullptr, &stop, quiet, &error, nullptr));
  EXPECT_EQ(error, "stopped; nothing written");
  EXPECT_FALSE(std::filesystem::exists(out));
  EXPECT_FALSE(std::filesystem::exists(AMCopyTaskFiles::TempPath(out)));

  // A file without IFs: the SEFD template has one column, the run succeeds and has nothing to change.
  TestFileShape flat = FourTelescopes(5);
  flat.n_if = 0;
  const std::string zero = dir.File("zero.uvx");
  WriteTestFile(zero, flat);
  AUVXFile f;
  ASSERT_TRUE(f.Open(zero, AUVXFile::modeRead)) << f.Error();
  AMNoiseParams p = Params(zero, dir.File("zero_out.uvx"));
  int n_if = 0;
  ASSERT_TRUE(MakeSefdTemplate(f, p.sfd.items, &n_if, &error)) << error;
  EXPECT_EQ(n_if, 1);
  for (AMSfdItem& t : p.sfd.items) t.sefd[0] = 500.0;
  ASSERT_TRUE(RunNoiseTask(p, nullptr, nullptr, quiet, &error, nullptr)) << error;
  EXPECT_EQ(ReadAll(dir.File("zero_out.uvx")), ReadAll(zero));
}
