// Task 2 with component models: the per-group computation against a direct evaluation, the
// spectral factors worked by hand, add versus replace, update in place, stop and failure paths.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "model/model_run.h"
#include "model/model_test_util.h"
#include "model/reference_vis.h"

namespace {

// Frequencies of the sample file: reference 22.2 GHz, IF offsets 0 and 16 MHz, 8 MHz channels.
double SampleFreq(int if_index, int channel) { return 22.2e9 + 16e6 * if_index + 8e6 * channel; }

// A Gaussian resolved on the sample's UV points (0.4 arcsec), so channels differ, and a point.
AComponents TwoComponents() {
  AComponents m;
  m.Add(Comp(kCompGaussian, 2.0, 0.4, 0.5, 30));
  m.Add(Comp(kCompDelta, 0.5, 0.001, 1, 0, 60, 0.3));
  return m;
}

// One run of the task from `in` to `out`; `setup` adjusts the work item first.
int RunComponents(const std::string& in, const std::string& out, const AComponents& model,
                  const std::function<void(AMUVXWorkItem&)>& setup = {}, int stop = 0,
                  std::string* error = nullptr) {
  AMUVXWorkItem item;
  item.in_path = in;
  item.out_path = out;
  if (setup) setup(item);
  AMModelSource source;
  source.components = &model;
  MessageRecorder messages;
  StopFlag flag{stop};
  AMP2Work work(item, source, nullptr, &flag, messages);
  const int ok = work.Run();
  if (error) *error = work.Error();
  return ok;
}

}  // namespace

TEST(ModelOntoUV, ComponentValuesMatchADirectEvaluationInFastAndPerChannelModes) {
  TempDir dir;
  const std::string in = dir.File("in.uvx");
  WriteSampleFile(in, 9);
  const AComponents model = TwoComponents();
  for (int fast : {1, 0}) {
    const std::string out = dir.File(fast ? "fast.uvx" : "slow.uvx");
    ASSERT_TRUE(RunComponents(in, out, model, [&](AMUVXWorkItem& item) { item.fast = fast; }));
    const FileData got = ReadFile(out);
    ASSERT_EQ(got.vis.size(), 9u);
    bool channels_differ = false;
    for (int g = 0; g < 9; ++g) {
      const AUVXVisibility& vis = got.vis[g];
      for (int k = 0; k < 2; ++k)
        for (int j = 0; j < 3; ++j) {
          const double f = SampleFreq(k, fast ? 0 : j);
          std::complex<double> want = 0;
          for (int c = 0; c < model.GetSize(); ++c)
            want += ReferenceVis(model[c], double(got.groups[g].u) * f, double(got.groups[g].v) * f);
          for (int p = 0; p < 2; ++p) {
            const AUVXVisEntry& e = vis.Entry(k, j, p);
            EXPECT_NEAR(e.re, want.real(), 1e-5) << "group " << g << " IF " << k << " ch " << j;
            EXPECT_NEAR(e.im, want.imag(), 1e-5);
            EXPECT_EQ(e.weight, SampleEntry(g, vis.Index(k, j, p)).weight);  // weights are the input's
          }
          if (j > 0 && vis.Entry(k, j, 0).re != vis.Entry(k, 0, 0).re) channels_differ = true;
        }
    }
    EXPECT_EQ(channels_differ, fast == 0);
  }
}

TEST(ModelOntoUV, SpectralFactorsFollowThePiecewisePowerLaw) {
  // One set-up, three IFs at 1, 2 and 4 GHz (first channels), two components.
  AMatrix<AUVXFqTblItem> m(1, 3);
  m(0, 0) = {0.0, 1e6};
  m(0, 1) = {1e9, 1e6};
  m(0, 2) = {3e9, 1e6};
  AArray<int> ids;
  ids.Add(1);
  AUVXTable* fq_table = MakeFqTable(m, ids, 3, 4);
  AUVXFqTbl fq;
  ASSERT_TRUE(fq.FromTable(*fq_table, 1e9, 4));
  delete fq_table;
  // Row 0's index is never used. Column 0: 1; (2/1)^-1 = 0.5; 0.5 (4/2)^0.5 = 0.7071. Column 1:
  // 1; 2^2 = 4; 4 * 2^-2 = 1.
  const float alphas[3][2] = {{7.0f, 0.0f}, {-1.0f, 2.0f}, {0.5f, -2.0f}};
  const float want[3][2] = {{1.0f, 1.0f}, {0.5f, 4.0f}, {float(0.5 * std::sqrt(2.0)), 1.0f}};
  AMatrix<float> alpha(3, 2), factors;
  std::memcpy(alpha.data, alphas, sizeof alphas);
  BuildSpectralFactors(alpha, fq, 3, factors);
  ASSERT_EQ(factors.rows, 3u);
  ASSERT_EQ(factors.cols, 2u);
  for (std::uint32_t r = 0; r < 3; ++r)
    for (std::uint32_t c = 0; c < 2; ++c) EXPECT_FLOAT_EQ(factors(r, c), want[r][c]) << r << ", " << c;
  EXPECT_DOUBLE_EQ(LowestFrequency(fq), 1e9);
}

TEST(ModelOntoUV, SpectralScalingWeightsEachComponentPerIF) {
  TempDir dir;
  const std::string in = dir.File("in.uvx");
  WriteSampleFile(in, 4);
  AComponents model;
  model.Add(Comp(kCompDelta, 1.0));  // a centred delta: V = flux exactly, easy to read back
  auto with_map = [](std::uint32_t rows, std::uint32_t cols, std::vector<float> values) {
    return [=](AMUVXWorkItem& item) {
      item.use_mfs = 1;
      item.si_map.Resize(rows, cols);
      for (std::size_t i = 0; i < values.size(); ++i) item.si_map.data[i] = values[i];
    };
  };
  // IF 1 lies 16 MHz above IF 0: factor (f1/f0)^alpha with alpha = -0.7; row 0 keeps the flux and
  // the channels share the IF's factor.
  ASSERT_TRUE(RunComponents(in, dir.File("mfs.uvx"), model, with_map(2, 1, {3.0f, -0.7f})));
  const float want1 = float(std::pow(SampleFreq(1, 0) / SampleFreq(0, 0), double(-0.7f)));
  for (const AUVXVisibility& v : ReadFile(dir.File("mfs.uvx")).vis) {
    EXPECT_FLOAT_EQ(v.Entry(0, 2, 1).re, 1.0f);
    EXPECT_FLOAT_EQ(v.Entry(1, 2, 1).re, want1);
  }
  // A one-row map applies no scaling at all.
  ASSERT_TRUE(RunComponents(in, dir.File("one_row.uvx"), model, with_map(1, 1, {5.0f})));
  for (const AUVXVisibility& v : ReadFile(dir.File("one_row.uvx")).vis) EXPECT_FLOAT_EQ(v.Entry(1, 0, 0).re, 1.0f);
  // A map too small for the file is refused before anything is written.
  EXPECT_FALSE(RunComponents(in, dir.File("small.uvx"), model, with_map(2, 0, {})));
  EXPECT_FALSE(std::filesystem::exists(dir.File("small.uvx")));
}

TEST(ModelOntoUV, AddDoublesAModelReplaceIsIdempotentAndEmptyModelsZeroTheData) {
  TempDir dir;
  const std::string in = dir.File("in.uvx"), m1 = dir.File("m1.uvx"), m2 = dir.File("m2.uvx"), m3 = dir.File("m3.uvx");
  WriteSampleFile(in, 5);
  const AComponents model = TwoComponents();
  ASSERT_TRUE(RunComponents(in, m1, model));
  ASSERT_TRUE(RunComponents(m1, m2, model));  // replace on a file that already holds the model: the same file
  ASSERT_TRUE(RunComponents(m1, m3, model, [](AMUVXWorkItem& item) { item.add_type = 0; }));
  const FileData g1 = ReadFile(m1), g2 = ReadFile(m2), g3 = ReadFile(m3);
  for (std::size_t g = 0; g < g1.vis.size(); ++g)
    for (int e = 0; e < g1.vis[g].Count(); ++e) {
      const AUVXVisEntry &a = g1.vis[g].entries[e], &b = g2.vis[g].entries[e], &c = g3.vis[g].entries[e];
      EXPECT_EQ(a.re, b.re);
      EXPECT_EQ(a.im, b.im);
      EXPECT_FLOAT_EQ(c.re, 2.0f * a.re);
      EXPECT_FLOAT_EQ(c.im, 2.0f * a.im);
      EXPECT_EQ(c.weight, a.weight);
    }

  const std::string zero = dir.File("zero.uvx");
  ASSERT_TRUE(RunComponents(in, zero, AComponents()));
  const FileData z = ReadFile(zero);
  for (std::size_t g = 0; g < z.vis.size(); ++g)
    for (int e = 0; e < z.vis[g].Count(); ++e) {
      EXPECT_EQ(z.vis[g].entries[e].re, 0.0f);
      EXPECT_EQ(z.vis[g].entries[e].im, 0.0f);
      EXPECT_EQ(z.vis[g].entries[e].weight, SampleEntry(int(g), e).weight);
    }
  // The output carries the input's tables and header.
  AUVXFile out;
  ASSERT_TRUE(out.Open(zero, AUVXFile::modeRead));
  for (const char* t : {"FQ", "SU", "AN", "BL", "PS"}) EXPECT_NE(out.GetTable(t), nullptr) << t;
  EXPECT_EQ(out.Header().Object(), "3C84");
}

TEST(ModelOntoUV, SameInputAndOutputUpdatesInPlace) {
  TempDir dir;
  const std::string path = dir.File("data.uvx");
  WriteSampleFile(path, 6);
  const AComponents model = TwoComponents();
  ASSERT_TRUE(RunComponents(path, dir.File("copy.uvx"), model));
  // Another spelling of the same file must not be mistaken for a new output.
  ASSERT_TRUE(RunComponents(path, (std::filesystem::path(path).parent_path() / "." / "data.uvx").string(), model));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.File("")), {}), 2);
  const FileData a = ReadFile(path), b = ReadFile(dir.File("copy.uvx"));
  ASSERT_EQ(a.vis.size(), b.vis.size());
  for (std::size_t g = 0; g < a.vis.size(); ++g)
    for (int e = 0; e < a.vis[g].Count(); ++e) {
      EXPECT_EQ(a.vis[g].entries[e].re, b.vis[g].entries[e].re);
      EXPECT_EQ(a.vis[g].entries[e].weight, b.vis[g].entries[e].weight);
    }
  EXPECT_GT(a.header.extremes.amp_max, 0.0);
}

TEST(ModelOntoUV, AStoppedRunInPlaceCountsTheGroupsItChanged) {
  // The progress position reaches 1024 after that many groups; the sink stops the run there.
  struct StopAt final : ProgressSink {
    StopFlag* flag = nullptr;
    void SetPos(std::int64_t pos) override {
      if (pos == 1024) flag->store(1);
    }
  };
  TempDir dir;
  const std::string path = dir.File("data.uvx");
  WriteSampleFile(path, 1500);
  const FileData before = ReadFile(path);
  const AComponents model = TwoComponents();
  AMUVXWorkItem item;
  item.in_path = item.out_path = path;
  AMModelSource source;
  source.components = &model;
  MessageRecorder messages;
  StopFlag flag{0};
  StopAt progress;
  progress.flag = &flag;
  AMP2Work work(item, source, &progress, &flag, messages);
  EXPECT_FALSE(work.Run());
  EXPECT_EQ(work.GroupsDone(), 1024);
  const FileData after = ReadFile(path);
  ASSERT_EQ(after.vis.size(), 1500u);
  for (std::size_t g : {std::size_t(0), std::size_t(1023), std::size_t(1024), std::size_t(1499)})
    EXPECT_EQ(after.vis[g].entries[0].re != before.vis[g].entries[0].re, g < 1024) << "group " << g;
}

TEST(ModelOntoUV, StopsAndFailuresLeaveNoOutput) {
  TempDir dir;
  const std::string in = dir.File("in.uvx"), odd = dir.File("odd.uvx");
  WriteSampleFile(in, 5);
  const AComponents model = TwoComponents();
  std::string error;
  EXPECT_FALSE(RunComponents(in, dir.File("stopped.uvx"), model, {}, 1));
  EXPECT_FALSE(RunComponents(dir.File("absent.uvx"), dir.File("out.uvx"), model, {}, 0, &error));
  EXPECT_NE(error.find("absent.uvx"), std::string::npos);

  // A group whose frequency set-up the FQ table does not hold fails the run.
  WriteSampleFile(odd, 3);
  EditGroups(odd, [](int i, AUVXGroup& g) { g.freq_id = i == 1 ? 5 : g.freq_id; });
  EXPECT_FALSE(RunComponents(odd, dir.File("bad.uvx"), model, {}, 0, &error));
  EXPECT_NE(error.find("set-up 5"), std::string::npos) << error;
  for (const char* name : {"stopped.uvx", "out.uvx", "bad.uvx"}) EXPECT_FALSE(std::filesystem::exists(dir.File(name)));

  // An older output survives a failed run untouched, and no temporary file stays behind.
  WriteAllBytes(dir.File("bad.uvx"), "older result");
  EXPECT_FALSE(RunComponents(odd, dir.File("bad.uvx"), model, {}, 0, &error));
  EXPECT_EQ(ReadAll(dir.File("bad.uvx")), "older result");
  for (const auto& e : std::filesystem::directory_iterator(dir.File("")))
    EXPECT_NE(e.path().extension(), ".part") << e.path();
}

TEST(ModelOntoUV, BlockParallelCopyWritesTheSameBytesAsTheSequentialOne) {
  TempDir dir;
  const std::string in = dir.File("in.uvx");
  WriteSampleFile(in, 300);
  const AComponents model = TwoComponents();
  AMUVXWorkItem item;
  item.fast = 0;
  AMModelSource source;
  source.components = &model;
  SilentMessages quiet;
  AMP2Work work(item, source, nullptr, nullptr, quiet);
  AUVXFile probe;
  ASSERT_TRUE(probe.Open(in, AUVXFile::modeRead));
  AUVXFqTbl fq;
  ASSERT_TRUE(fq.Init(probe, -1));
  ASSERT_TRUE(work.Prepare(fq, probe.NIF(), probe.NChannels()));
  probe.Close();
  for (bool parallel : {false, true}) {
    AUVXFile src, dst;
    ASSERT_TRUE(src.Open(in, AUVXFile::modeRead));
    ASSERT_TRUE(dst.Open(dir.File(parallel ? "par.uvx" : "seq.uvx"), AUVXFile::modeCreate));
    AMCopyUVX copy(&src, &dst, nullptr, nullptr);
    copy.work = &work;
    copy.SetParallel(parallel);
    copy.SetBlockGroups(17);
    ASSERT_TRUE(RunOrRemoveOutput(copy));
    ASSERT_TRUE(dst.Close());
  }
  EXPECT_EQ(ReadAll(dir.File("seq.uvx")), ReadAll(dir.File("par.uvx")));
  // The default output name.
  EXPECT_EQ(DefaultModelOutput("/data/3C345.uvx"), "/data/3C345_mdl.uvx");
  EXPECT_EQ(DefaultModelOutput("run.UVX"), "run_mdl.uvx");
  EXPECT_EQ(DefaultModelOutput("noext"), "noext_mdl.uvx");
}
