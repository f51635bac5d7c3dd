// Task 2 with component models: the per-group computation against a direct evaluation, the
// spectral factors worked by hand, add versus replace, update in place, stop and failure paths.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "model/model_run.h"
#include "model/reference_vis.h"
#include "uvx/uvx_test_util.h"

namespace {

// Frequencies of the sample file: reference 22.2 GHz, IF offsets 0 and 16 MHz, 8 MHz channels.
double SampleFreq(int if_index, int channel) { return 22.2e9 + 16e6 * if_index + 8e6 * channel; }

AComponents TwoComponents() {
  AComponents m;
  ACompItem g;
  g.type = kCompGaussian;
  g.flux = 2.0;
  g.large_axis = 0.4;  // arcsec: resolved on the sample's UV points, so channels differ
  g.axis_ratio = 0.5;
  g.inclination = 30;
  m.Add(g);
  ACompItem d;
  d.type = kCompDelta;
  d.flux = 0.5;
  d.distance = 0.3;
  d.position_angle = 60;
  m.Add(d);
  return m;
}

struct TaskRun {
  AMUVXWorkItem item;
  AMModelSource source;
  MessageRecorder messages;
  StopFlag stop{0};
};

int RunComponents(TaskRun& r, const AComponents& model) {
  r.source.kind = kModelComponents;
  r.source.components = &model;
  AMP2Work work(r.item, r.source, nullptr, &r.stop, r.messages);
  return work.Run();
}

std::vector<std::pair<AUVXGroup, AUVXVisibility>> ReadGroups(const std::string& path) {
  AUVXFile f;
  EXPECT_TRUE(f.Open(path, AUVXFile::modeRead)) << f.Error();
  std::vector<std::pair<AUVXGroup, AUVXVisibility>> out;
  for (std::int64_t i = 0; i < f.Groups(); ++i) {
    AUVXGroup g;
    AUVXVisibility v(f);
    f.SeekUVGroup(i);
    g.load(f);
    f.SeekUVVis(i);
    v.load(f);
    out.emplace_back(g, v);
  }
  return out;
}

}  // namespace

TEST(ModelOntoUV, ComponentValuesMatchADirectEvaluationInFastAndPerChannelModes) {
  TempDir dir;
  const std::string in = dir.File("in.uvx");
  WriteSampleFile(in, 9);
  const AComponents model = TwoComponents();
  for (int fast : {1, 0}) {
    TaskRun r;
    r.item.in_path = in;
    r.item.out_path = dir.File(fast ? "fast.uvx" : "slow.uvx");
    r.item.fast = fast;
    ASSERT_TRUE(RunComponents(r, model));
    const auto groups = ReadGroups(r.item.out_path);
    ASSERT_EQ(groups.size(), 9u);
    bool channels_differ = false;
    for (std::size_t g = 0; g < groups.size(); ++g) {
      const AUVXGroup& grp = groups[g].first;
      const AUVXVisibility& vis = groups[g].second;
      for (int k = 0; k < 2; ++k)
        for (int j = 0; j < 3; ++j) {
          const double f = SampleFreq(k, fast ? 0 : j);
          std::complex<double> want = 0;
          for (int c = 0; c < model.GetSize(); ++c)
            want += ReferenceVis(model[c], double(grp.u) * f, double(grp.v) * f);
          for (int p = 0; p < 2; ++p) {
            const AUVXVisEntry& e = vis.Entry(k, j, p);
            EXPECT_NEAR(e.re, want.real(), 1e-5) << "group " << g << " IF " << k << " ch " << j;
            EXPECT_NEAR(e.im, want.imag(), 1e-5);
            // Weights are the input's.
            EXPECT_EQ(e.weight, SampleEntry(int(g), vis.Index(k, j, p)).weight);
          }
          if (j > 0 && vis.Entry(k, j, 0).re != vis.Entry(k, 0, 0).re) channels_differ = true;
        }
    }
    EXPECT_EQ(channels_differ, fast == 0);
  }
}

TEST(ModelOntoUV, SpectralFactorsFollowThePiecewisePowerLaw) {
  // One set-up, three IFs at 1, 2 and 4 GHz (first channels), two components.
  AUVXTable* fq_table;
  {
    AMatrix<AUVXFqTblItem> m(1, 3);
    m(0, 0) = {0.0, 1e6};
    m(0, 1) = {1e9, 1e6};
    m(0, 2) = {3e9, 1e6};
    AArray<int> ids;
    ids.Add(1);
    fq_table = MakeFqTable(m, ids, 3, 4);
  }
  AUVXFqTbl fq;
  ASSERT_TRUE(fq.FromTable(*fq_table, 1e9, 4));
  delete fq_table;
  AMatrix<float> alpha(3, 2);
  alpha(0, 0) = 7.0f;  // row 0's index is never used
  alpha(1, 0) = -1.0f;
  alpha(2, 0) = 0.5f;
  alpha(0, 1) = 0.0f;
  alpha(1, 1) = 2.0f;
  alpha(2, 1) = -2.0f;
  AMatrix<float> factors;
  BuildSpectralFactors(alpha, fq, 3, factors);
  ASSERT_EQ(factors.rows, 3u);
  ASSERT_EQ(factors.cols, 2u);
  // Column 0: 1; (2/1)^-1 = 0.5; 0.5 * (4/2)^0.5 = 0.7071.
  EXPECT_FLOAT_EQ(factors(0, 0), 1.0f);
  EXPECT_FLOAT_EQ(factors(1, 0), 0.5f);
  EXPECT_FLOAT_EQ(factors(2, 0), float(0.5 * std::sqrt(2.0)));
  // Column 1: 1; 2^2 = 4; 4 * 2^-2 = 1.
  EXPECT_FLOAT_EQ(factors(0, 1), 1.0f);
  EXPECT_FLOAT_EQ(factors(1, 1), 4.0f);
  EXPECT_FLOAT_EQ(factors(2, 1), 1.0f);
  EXPECT_DOUBLE_EQ(LowestFrequency(fq), 1e9);
}

TEST(ModelOntoUV, SpectralScalingWeightsEachComponentPerIF) {
  TempDir dir;
  const std::string in = dir.File("in.uvx");
  WriteSampleFile(in, 4);
  AComponents model;
  ACompItem d;
  d.type = kCompDelta;
  d.flux = 1.0;
  model.Add(d);  // a centred delta: V = flux exactly, easy to read back

  // IF 1 lies 16 MHz above IF 0: factor (f1/f0)^alpha with alpha = -0.7.
  TaskRun r;
  r.item.in_path = in;
  r.item.out_path = dir.File("mfs.uvx");
  r.item.use_mfs = 1;
  r.item.si_map.Resize(2, 1);
  r.item.si_map(0, 0) = 3.0f;
  r.item.si_map(1, 0) = -0.7f;
  ASSERT_TRUE(RunComponents(r, model));
  const float want1 = float(std::pow(SampleFreq(1, 0) / SampleFreq(0, 0), double(-0.7f)));
  for (const auto& [g, v] : ReadGroups(r.item.out_path)) {
    EXPECT_FLOAT_EQ(v.Entry(0, 2, 1).re, 1.0f);   // row 0 keeps the flux
    EXPECT_FLOAT_EQ(v.Entry(1, 2, 1).re, want1);  // channels share the IF's factor
  }

  // A one-row map applies no scaling at all.
  TaskRun one;
  one.item.in_path = in;
  one.item.out_path = dir.File("one_row.uvx");
  one.item.use_mfs = 1;
  one.item.si_map.Resize(1, 1);
  one.item.si_map(0, 0) = 5.0f;
  ASSERT_TRUE(RunComponents(one, model));
  for (const auto& [g, v] : ReadGroups(one.item.out_path)) EXPECT_FLOAT_EQ(v.Entry(1, 0, 0).re, 1.0f);

  // A map too small for the file is refused before anything is written.
  TaskRun small;
  small.item.in_path = in;
  small.item.out_path = dir.File("small.uvx");
  small.item.use_mfs = 1;
  small.item.si_map.Resize(2, 0);
  EXPECT_FALSE(RunComponents(small, model));
  EXPECT_FALSE(std::filesystem::exists(small.item.out_path));
}

TEST(ModelOntoUV, AddDoublesAModelReplaceIsIdempotentAndEmptyModelsZeroTheData) {
  TempDir dir;
  const std::string in = dir.File("in.uvx");
  WriteSampleFile(in, 5);
  const AComponents model = TwoComponents();
  TaskRun first;
  first.item.in_path = in;
  first.item.out_path = dir.File("m1.uvx");
  ASSERT_TRUE(RunComponents(first, model));
  TaskRun again;  // replace on a file that already holds the model: the same file
  again.item.in_path = first.item.out_path;
  again.item.out_path = dir.File("m2.uvx");
  ASSERT_TRUE(RunComponents(again, model));
  TaskRun add;
  add.item.in_path = first.item.out_path;
  add.item.out_path = dir.File("m3.uvx");
  add.item.add_type = 0;
  ASSERT_TRUE(RunComponents(add, model));
  const auto g1 = ReadGroups(first.item.out_path), g2 = ReadGroups(again.item.out_path),
             g3 = ReadGroups(add.item.out_path);
  for (std::size_t g = 0; g < g1.size(); ++g)
    for (int e = 0; e < g1[g].second.Count(); ++e) {
      const AUVXVisEntry &a = g1[g].second.entries[e], &b = g2[g].second.entries[e], &c = g3[g].second.entries[e];
      EXPECT_EQ(a.re, b.re);
      EXPECT_EQ(a.im, b.im);
      EXPECT_FLOAT_EQ(c.re, 2.0f * a.re);
      EXPECT_FLOAT_EQ(c.im, 2.0f * a.im);
      EXPECT_EQ(c.weight, a.weight);
    }

  TaskRun empty;
  empty.item.in_path = in;
  empty.item.out_path = dir.File("zero.uvx");
  const AComponents none;
  ASSERT_TRUE(RunComponents(empty, none));
  const auto z = ReadGroups(empty.item.out_path);
  for (std::size_t g = 0; g < z.size(); ++g)
    for (int e = 0; e < z[g].second.Count(); ++e) {
      EXPECT_EQ(z[g].second.entries[e].re, 0.0f);
      EXPECT_EQ(z[g].second.entries[e].im, 0.0f);
      EXPECT_EQ(z[g].second.entries[e].weight, SampleEntry(int(g), e).weight);
    }
  // The output carries the input's tables and header.
  AUVXFile out;
  ASSERT_TRUE(out.Open(empty.item.out_path, AUVXFile::modeRead));
  for (const char* t : {"FQ", "SU", "AN", "BL", "PS"}) EXPECT_NE(out.GetTable(t), nullptr) << t;
  EXPECT_EQ(out.Header().Object(), "3C84");
}

TEST(ModelOntoUV, SameInputAndOutputUpdatesInPlace) {
  TempDir dir;
  const std::string path = dir.File("data.uvx");
  WriteSampleFile(path, 6);
  TaskRun copy;
  copy.item.in_path = path;
  copy.item.out_path = dir.File("copy.uvx");
  const AComponents model = TwoComponents();
  ASSERT_TRUE(RunComponents(copy, model));

  TaskRun in_place;
  in_place.item.in_path = path;
  // Another spelling of the same file must not be mistaken for a new output.
  in_place.item.out_path = (std::filesystem::path(path).parent_path() / "." / "data.uvx").string();
  ASSERT_TRUE(RunComponents(in_place, model));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.File("")), {}), 2);
  const auto a = ReadGroups(path), b = ReadGroups(copy.item.out_path);
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t g = 0; g < a.size(); ++g)
    for (int e = 0; e < a[g].second.Count(); ++e) {
      EXPECT_EQ(a[g].second.entries[e].re, b[g].second.entries[e].re);
      EXPECT_EQ(a[g].second.entries[e].weight, b[g].second.entries[e].weight);
    }
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeRead));
  EXPECT_GT(f.Header().extremes.amp_max, 0.0);
}

TEST(ModelOntoUV, StopsAndFailuresLeaveNoOutput) {
  TempDir dir;
  const std::string in = dir.File("in.uvx");
  WriteSampleFile(in, 5);
  const AComponents model = TwoComponents();

  TaskRun stopped;
  stopped.item.in_path = in;
  stopped.item.out_path = dir.File("stopped.uvx");
  stopped.stop = 1;
  EXPECT_FALSE(RunComponents(stopped, model));
  EXPECT_FALSE(std::filesystem::exists(stopped.item.out_path));

  TaskRun missing;
  missing.item.in_path = dir.File("absent.uvx");
  missing.item.out_path = dir.File("out.uvx");
  {
    missing.source.components = &model;
    AMP2Work work(missing.item, missing.source, nullptr, &missing.stop, missing.messages);
    EXPECT_FALSE(work.Run());
    EXPECT_NE(work.Error().find("absent.uvx"), std::string::npos);
  }
  EXPECT_FALSE(std::filesystem::exists(missing.item.out_path));

  // A group whose frequency set-up the FQ table does not hold fails the run.
  const std::string odd = dir.File("odd.uvx");
  WriteSampleFile(odd, 3);
  {
    AUVXFile f;
    ASSERT_TRUE(f.Open(odd, AUVXFile::modeUpdate));
    AUVXGroup g;
    f.SeekUVGroup(1);
    g.load(f);
    g.freq_id = 5;
    f.SeekUVGroup(1);
    g.store(f);
    ASSERT_TRUE(f.Close());
  }
  TaskRun bad;
  bad.item.in_path = odd;
  bad.item.out_path = dir.File("bad.uvx");
  bad.source.components = &model;
  AMP2Work work(bad.item, bad.source, nullptr, &bad.stop, bad.messages);
  EXPECT_FALSE(work.Run());
  EXPECT_NE(work.Error().find("set-up 5"), std::string::npos) << work.Error();
  EXPECT_FALSE(std::filesystem::exists(bad.item.out_path));
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
}

TEST(ModelOntoUV, DefaultOutputName) {
  EXPECT_EQ(DefaultModelOutput("/data/3C345.uvx"), "/data/3C345_mdl.uvx");
  EXPECT_EQ(DefaultModelOutput("run.UVX"), "run_mdl.uvx");
  EXPECT_EQ(DefaultModelOutput("noext"), "noext_mdl.uvx");
}
