// Task 4 on files: the one-pass result against a plain reference of the description, repeatable
// runs of both models, the message for missing telescopes, refusals and the stop flag.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>

#include "errors/error_tables.h"
#include "errors/errors_messages.h"
#include "errors/noise_task.h"
#include "errors_test_util.h"

namespace {

AMSfdItem Sfd(int id, std::initializer_list<double> values) {
  AMSfdItem t;
  t.name = "T" + std::to_string(id);
  t.id = id;
  for (double v : values) t.sefd.Add(v);
  return t;
}

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
TestFileShape FourTelescopes(int times = 50) {
  TestFileShape shape;
  shape.n_telescopes = 4;
  shape.records = AllBaselines(4, times, 10.0);
  return shape;
}

}  // namespace

TEST(NoiseTask, OnePassEqualsPlainReference) {
  TempDir dir;
  const std::string in = dir.File("n.uvx"), out = dir.File("n_out.uvx");
  const TestFileShape shape = FourTelescopes();
  WriteTestFile(in, shape);
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
  EXPECT_EQ(run(false, 9u, "a.uvx"), run(false, 9u, "b.uvx"));
  EXPECT_NE(run(false, 9u, "a.uvx"), run(false, 10u, "c.uvx"));
  EXPECT_EQ(run(true, 9u, "g1.uvx"), run(true, 9u, "g2.uvx"));
  EXPECT_NE(run(true, 9u, "g1.uvx"), run(false, 9u, "a.uvx"));
  EXPECT_NE(run(true, 9u, "g1.uvx"), run(true, 11u, "g3.uvx"));
}

TEST(NoiseTask, ZeroIfFileAndRefusals) {
  TempDir dir;
  // A file without IFs: the SEFD template has one column, the run succeeds and has nothing to change.
  TestFileShape flat = FourTelescopes(5);
  flat.n_if = 0;
  const std::string zero = dir.File("zero.uvx");
  WriteTestFile(zero, flat);
  AUVXFile f;
  ASSERT_TRUE(f.Open(zero, AUVXFile::modeRead)) << f.Error();
  AMNoiseParams p = Params(zero, dir.File("zero_out.uvx"));
  int n_if = 0;
  std::string error;
  ASSERT_TRUE(MakeSefdTemplate(f, p.sfd.items, &n_if, &error)) << error;
  EXPECT_EQ(n_if, 1);
  for (AMSfdItem& t : p.sfd.items) t.sefd[0] = 500.0;
  SilentMessages quiet;
  ASSERT_TRUE(RunNoiseTask(p, nullptr, nullptr, quiet, &error, nullptr)) << error;
  EXPECT_EQ(ReadAll(dir.File("zero_out.uvx")), ReadAll(zero));

  const std::string in = dir.File("two.uvx"), out = dir.File("two_out.uvx");
  WriteTestFile(in, FourTelescopes(5));
  AMNoiseParams short_list = Params(in, out);
  short_list.sfd.items[2].sefd.RemoveAt(1);
  EXPECT_FALSE(RunNoiseTask(short_list, nullptr, nullptr, quiet, &error, nullptr));
  EXPECT_NE(error.find("T3 (#3) has 1 SEFD value(s); the file has 2 IF(s)"), std::string::npos) << error;
  AMNoiseParams no_time = Params(in, out);
  no_time.sfd.duration_s = 0;
  EXPECT_FALSE(RunNoiseTask(no_time, nullptr, nullptr, quiet, &error, nullptr));
  EXPECT_EQ(error, "the scan duration must be > 0");
  AMNoiseParams eta = Params(in, out);
  eta.gaussian = true;
  eta.efficiency = 1.5;
  EXPECT_FALSE(RunNoiseTask(eta, nullptr, nullptr, quiet, &error, nullptr));
  EXPECT_NE(error.find("efficiency"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(out));

  StopFlag stop{1};
  EXPECT_FALSE(RunNoiseTask(Params(in, out), nullptr, &stop, quiet, &error, nullptr));
  EXPECT_EQ(error, "stopped; nothing written");
  EXPECT_FALSE(std::filesystem::exists(out));
  EXPECT_FALSE(std::filesystem::exists(AMCopyTaskFiles::TempPath(out)));
}
