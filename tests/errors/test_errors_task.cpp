// Task 3 on files: the one-pass result against a plain record-by-record reference written from the
// description (amplitude and phase of every entry, slow discards), repeatable runs, zero errors as
// an identity, refusals, the stop flag and the output name.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <numbers>

#include "errors/error_tables.h"
#include "errors/errors_messages.h"
#include "errors/errors_task.h"
#include "errors/noise_task.h"
#include "errors_test_util.h"

namespace {

constexpr double kPi = std::numbers::pi;

// A run of the description, record by record.
struct ReferenceRun {
  const AMTlscErrors& list;
  bool phase = true, ampl = true;
  double start = 0, stop = 0, segment = 0, step = 10, offset = 0;
  std::uint32_t rng_start = 1;

  int missing = 0;
  int early = 0;  // records with dt < 0
  double first_early_t0 = 0;

  void Apply(const AUVXFqTbl& fq, TestFileData& data) {
    struct State {
      double rp = 0, tau = -1, gain = 1;
      bool updated = false;
    };
    std::vector<State> st(std::size_t(list.GetSize()));
    AMGaussGen gen(rng_start);
    double latest = -1.0;
    for (std::size_t g = 0; g < data.groups.size(); ++g) {
      const AUVXGroup& grp = data.groups[g];
      int a = -1, b = -1;
      for (int k = 0; k < list.GetSize(); ++k) {
        if (list[k].id == grp.tel1) a = k;
        if (list[k].id == grp.tel2) b = k;
      }
      if (a < 0 || b < 0) {
        ++missing;
        continue;
      }
      const double t = offset + grp.time;
      if (t > latest) {
        latest = t;
        for (State& s : st) s.updated = false;
      }
      for (int k : {a, b}) {
        State& s = st[std::size_t(k)];
        if (s.updated) continue;
        if (s.tau >= 0) {
          const int n = int((t - s.tau) / step + 0.0001) - 1;
          for (int i = 0; i < n; ++i) gen.Next(1.0);
        }
        s.tau = t;
        if (phase) s.rp += gen.Next(list[k].phase_err_deg * kPi / 180.0 * step);
        if (ampl) s.gain = std::pow(10.0, gen.Next(list[k].ampl_err_db) / 20.0);
        s.updated = true;
      }
      const double t0 = segment > 0 ? int((t - start) / segment) * segment + start : start;
      const double dt = t - t0;
      if (dt < 0 && early++ == 0) first_early_t0 = t0;
      const bool inside = t0 >= 0 && t <= stop;
      AUVXVisibility& v = data.vis[g];
      const int sel = std::max(fq.GetFreqSelNum(grp.freq_id), 0);
      for (int i = 0; i < std::max(v.n_if, 1) && i < v.n_if; ++i)
        for (int c = 0; c < v.n_channels; ++c) {
          double f0 = fq.GetFreq(sel, 0, 0);
          if (v.n_channels > 1) f0 = fq.GetFreq(sel, i, 0);
          const double df = fq.GetFreq(sel, i, c) - f0;
          double phi[2] = {0, 0};
          for (int j = 0; j < 2; ++j) {
            const AMTlscErrItem& e = list[j == 0 ? a : b];
            if (inside && phase)
              phi[j] = 2 * kPi * (df * e.delay + dt * e.fringe_rate + dt * dt * e.fringe_acc + df * df * e.delay_acc) +
                       e.phase0_deg * kPi / 180.0 + st[std::size_t(j == 0 ? a : b)].rp;
          }
          const double gain = inside && ampl ? st[std::size_t(a)].gain * st[std::size_t(b)].gain : 1.0;
          for (int s = 0; s < v.n_stokes; ++s) {
            AUVXVisEntry& en = v.Entry(i, c, s);
            const AUVXComplex z(en);
            const double amp = z.ampl() * gain, p = z.phase();
            en.re = float(amp * std::cos(p + phi[0] - phi[1]));
            en.im = float(amp * std::sin(p + phi[0] - phi[1]));
          }
        }
    }
  }
};

AMTlscErrItem Item(int id, double pe, double ae, double p0, double fr, double dl, double fa, double da) {
  AMTlscErrItem t;
  t.name = "T" + std::to_string(id);
  t.id = id;
  t.phase_err_deg = pe;
  t.ampl_err_db = ae;
  t.phase0_deg = p0;
  t.fringe_rate = fr;
  t.delay = dl;
  t.fringe_acc = fa;
  t.delay_acc = da;
  return t;
}

// Four telescopes on 10 s steps with gaps: steps 3 and 10 to 13 missing, telescope 3 absent from
// every fifth step. The list below has no telescope 4.
TestFileShape GappyFile() {
  TestFileShape shape;
  shape.n_telescopes = 4;
  for (int k = 0; k < 40; ++k) {
    if (k == 3 || (k >= 10 && k <= 13)) continue;
    for (int a = 1; a <= 4; ++a)
      for (int b = a + 1; b <= 4; ++b) {
        if (k % 5 == 1 && (a == 3 || b == 3)) continue;
        shape.records.push_back({a, b, 10.0 * k, 1});
      }
  }
  return shape;
}

AMTlscErrors GappyList() {
  AMTlscErrors list;
  list.Add(Item(1, 2.0, 0.3, 10.0, 0.002, 2e-8, 1e-6, 1e-16));
  list.Add(Item(2, 5.0, 0.7, -40.0, -0.001, -5e-8, 0.0, 0.0));
  list.Add(Item(3, 1.0, 0.0, 0.0, 0.0005, 1e-7, -2e-6, 3e-16));
  return list;
}

std::string Bytes(const std::string& path) { return ReadAll(path); }

}  // namespace

TEST(ErrorsTask, OnePassEqualsPlainReferenceRecordByRecord) {
  // Two IFs of equal channel widths (the second IF's phases are IF 0's), then three IFs of
  // different widths (every IF computed).
  for (int layout = 0; layout < 2; ++layout) {
    SCOPED_TRACE(layout == 0 ? "equal channel widths" : "different channel widths");
    TempDir dir;
    const std::string in = dir.File("gappy.uvx"), out = dir.File("gappy_e.uvx");
    TestFileShape shape = GappyFile();
    if (layout == 1) {
      shape.n_if = 3;
      shape.if_offsets_hz = {0.0, 8e6, 20e6};
      shape.channel_widths_hz = {1e6, 2e6, 0.5e6};
    }
    WriteTestFile(in, shape);
    AMErrorsParams p;
    p.in_path = in;
    p.out_path = out;
    p.tlscs = GappyList();
    p.has_interval = true;
    p.start_s = 3600.0 + 15.0;  // seconds from 0h; the file starts at 3600
    p.stop_s = 3600.0 + 330.0;
    p.segment_s = 100.0;
    p.rng_start = 20240611u;
    MessageRecorder messages;
    ProgressRecorder progress;
    std::string error;
    std::uint32_t used = 0;
    AMCopyStats stats;
    ASSERT_TRUE(RunErrorsTask(p, &progress, nullptr, messages, &error, &used, &stats)) << error;
    EXPECT_EQ(used, 20240611u);
    EXPECT_EQ(stats.out_path, out);
    EXPECT_EQ(progress.position, std::int64_t(shape.records.size()));
    ASSERT_FALSE(progress.texts.empty());
    EXPECT_EQ(progress.texts.front(), msg::kTaskErrors);

    TestFileData expect = ReadTestFile(in);
    ReferenceRun ref{p.tlscs};
    ref.start = p.start_s;
    ref.stop = p.stop_s;
    ref.segment = p.segment_s;
    ref.offset = 3600.0;
    ref.rng_start = 20240611u;
    ref.Apply(TestFqTable(shape), expect);
    const TestFileData got = ReadTestFile(out);
    ASSERT_EQ(got.groups.size(), expect.groups.size());
    int changed = 0;
    const TestFileData orig = ReadTestFile(in);
    for (std::size_t g = 0; g < got.groups.size(); ++g) {
      EXPECT_EQ(std::memcmp(&got.groups[g], &expect.groups[g], sizeof(AUVXGroup)), 0) << g;
      for (int e = 0; e < got.vis[g].Count(); ++e) {
        const AUVXVisEntry& a = got.vis[g].entries[e];
        const AUVXVisEntry& b = expect.vis[g].entries[e];
        const double tol = 1e-6 * std::max(1.0, AUVXComplex(b).ampl());
        ASSERT_NEAR(a.re, b.re, tol) << "record " << g << " entry " << e;
        ASSERT_NEAR(a.im, b.im, tol) << "record " << g << " entry " << e;
        ASSERT_EQ(a.weight, b.weight);
      }
      const std::size_t bytes = std::size_t(got.vis[g].Bytes());
      if (std::memcmp(got.vis[g].entries.data, orig.vis[g].entries.data, bytes) != 0) ++changed;
    }
    // Telescope 4 is not listed: its records stay, and the message comes once with their count.
    EXPECT_EQ(stats.unchanged_missing, ref.missing);
    EXPECT_GT(ref.missing, 0);
    // Records before the interval start (t = 3600, 3610) are turned with dt < 0; t0 is shown once.
    EXPECT_GT(ref.early, 0);
    ASSERT_EQ(messages.shown.size(), 2u);
    EXPECT_EQ(messages.shown[0],
              "index telescope not found (" + std::to_string(ref.missing) + " records left unchanged)");
    EXPECT_EQ(messages.shown[1],
              "3.61500E+03 (" + std::to_string(ref.early) + " records before the start of their interval)");
    EXPECT_EQ(ref.first_early_t0, 3615.0);
    // Records outside [start, stop] and those of telescope 4 are the only unchanged ones.
    EXPECT_GT(changed, 0);
    EXPECT_LT(changed, int(got.groups.size()) - ref.missing);
    // Tables carried over.
    AUVXFile fo;
    ASSERT_TRUE(fo.Open(out, AUVXFile::modeRead)) << fo.Error();
    ASSERT_NE(fo.GetTable("AN"), nullptr);
    ASSERT_NE(fo.GetTable("FQ"), nullptr);
    EXPECT_FALSE(std::filesystem::exists(AMCopyTaskFiles::TempPath(out)));
  }
}

TEST(ErrorsTask, SameStartValueSameBytesAndTheUsedValueRepeatsARun) {
  TempDir dir;
  const std::string in = dir.File("g.uvx");
  WriteTestFile(in, GappyFile());
  SilentMessages quiet;
  auto run = [&](std::optional<std::uint32_t> start, const std::string& out, std::uint32_t* used) {
    AMErrorsParams p;
    p.in_path = in;
    p.out_path = out;
    p.tlscs = GappyList();
    p.rng_start = start;
    std::string error;
    EXPECT_TRUE(RunErrorsTask(p, nullptr, nullptr, quiet, &error, used)) << error;
    return Bytes(out);
  };
  std::uint32_t u1 = 0, u2 = 0, u3 = 0;
  const std::string a = run(7u, dir.File("a.uvx"), &u1);
  const std::string b = run(7u, dir.File("b.uvx"), &u2);
  EXPECT_EQ(a, b);
  EXPECT_NE(a, run(8u, dir.File("c.uvx"), &u3));
  // A run started from the tick count reports its start value; giving it back repeats the run.
  std::uint32_t tick_used = 0, again_used = 0;
  const std::string t1 = run(std::nullopt, dir.File("t1.uvx"), &tick_used);
  const std::string t2 = run(tick_used, dir.File("t2.uvx"), &again_used);
  EXPECT_EQ(t1, t2);
  EXPECT_EQ(again_used, tick_used);
}

TEST(ErrorsTask, ZeroErrorsFromTheTemplateLeaveTheFileUnchanged) {
  TempDir dir;
  const std::string in = dir.File("z.uvx"), out = dir.File("z_out.uvx");
  WriteTestFile(in, GappyFile());
  AUVXFile f;
  ASSERT_TRUE(f.Open(in, AUVXFile::modeRead));
  AMErrorsParams p;
  std::string error;
  ASSERT_TRUE(MakeErrorsTemplate(f, p.tlscs, &error)) << error;
  ASSERT_EQ(p.tlscs.GetSize(), 4);
  p.in_path = in;
  p.out_path = out;
  p.rng_start = 3u;
  MessageRecorder messages;
  ASSERT_TRUE(RunErrorsTask(p, nullptr, nullptr, messages, &error, nullptr)) << error;
  EXPECT_TRUE(messages.shown.empty());
  EXPECT_EQ(Bytes(out), Bytes(in));
}

TEST(ErrorsTask, RefusalsLeaveNoOutput) {
  TempDir dir;
  const std::string in = dir.File("r.uvx"), out = dir.File("r_out.uvx");
  TestFileShape shape = GappyFile();
  WriteTestFile(in, shape);
  SilentMessages quiet;
  std::string error;
  AMErrorsParams p;
  p.in_path = in;
  p.out_path = out;
  p.tlscs = GappyList();
  p.rng_start = 1u;

  AMErrorsParams none = p;
  none.use_phase_err = none.use_ampl_err = 0;
  EXPECT_FALSE(RunErrorsTask(none, nullptr, nullptr, quiet, &error, nullptr));
  EXPECT_EQ(error, "Not selected Errors type. Please select Errors type.");

  AMErrorsParams backwards = p;
  backwards.has_interval = true;
  backwards.start_s = 5000.0;
  backwards.stop_s = 4000.0;
  EXPECT_FALSE(RunErrorsTask(backwards, nullptr, nullptr, quiet, &error, nullptr));
  EXPECT_EQ(error, "Start time must be less or equal stop time.");

  AMErrorsParams negative = p;
  negative.tlscs[1].phase_err_deg = -1.0;
  EXPECT_FALSE(RunErrorsTask(negative, nullptr, nullptr, quiet, &error, nullptr));
  EXPECT_NE(error.find("T2"), std::string::npos) << error;

  AMErrorsParams missing = p;
  missing.in_path = dir.File("nothere.uvx");
  EXPECT_FALSE(RunErrorsTask(missing, nullptr, nullptr, quiet, &error, nullptr));
  EXPECT_EQ(error.find(missing.in_path), 0u) << error;

  AMErrorsParams self = p;
  self.out_path = in;
  const std::string before = Bytes(in);
  EXPECT_FALSE(RunErrorsTask(self, nullptr, nullptr, quiet, &error, nullptr));
  EXPECT_NE(error.find("overwrite the input"), std::string::npos) << error;
  EXPECT_EQ(Bytes(in), before);

  // No time step in the file and none given.
  const std::string flat = dir.File("flat.uvx");
  shape.time_step_s = 0.0;
  WriteTestFile(flat, shape);
  AMErrorsParams nostep = p;
  nostep.in_path = flat;
  EXPECT_FALSE(RunErrorsTask(nostep, nullptr, nullptr, quiet, &error, nullptr));
  EXPECT_NE(error.find("time step"), std::string::npos) << error;
  nostep.step_s = 10.0;
  EXPECT_TRUE(RunErrorsTask(nostep, nullptr, nullptr, quiet, &error, nullptr)) << error;
  std::filesystem::remove(out);

  // A damaged input.
  const std::string broken = dir.File("broken.uvx");
  const std::string bytes = Bytes(in);
  WriteAllBytes(broken, bytes.substr(0, bytes.size() - 7));
  AMErrorsParams damaged = p;
  damaged.in_path = broken;
  EXPECT_FALSE(RunErrorsTask(damaged, nullptr, nullptr, quiet, &error, nullptr));
  EXPECT_EQ(error.find(broken), 0u) << error;

  EXPECT_FALSE(std::filesystem::exists(out));
  EXPECT_FALSE(std::filesystem::exists(AMCopyTaskFiles::TempPath(out)));
}

namespace {

// Sets the stop flag at the first progress step past 0.
class StopOnProgress final : public ProgressSink {
 public:
  explicit StopOnProgress(StopFlag& stop) : stop_(stop) {}
  void SetPos(std::int64_t pos) override {
    if (pos > 0) stop_ = 1;
  }

 private:
  StopFlag& stop_;
};

}  // namespace

TEST(ErrorsTask, StopLeavesNoOutputAndKeepsAnEarlierFile) {
  TempDir dir;
  const std::string in = dir.File("s.uvx"), out = dir.File("s_err.uvx");
  TestFileShape shape;
  shape.records = AllBaselines(3, 2000, 10.0);
  WriteTestFile(in, shape);
  WriteAllBytes(out, "an earlier result");
  SilentMessages quiet;
  AMErrorsParams p;
  p.in_path = in;  // default output name: s_err.uvx
  p.tlscs = GappyList();
  p.rng_start = 1u;
  std::string error;
  for (int when : {0, 1}) {
    StopFlag stop{when == 0 ? 1 : 0};
    StopOnProgress progress(stop);
    EXPECT_FALSE(RunErrorsTask(p, &progress, &stop, quiet, &error, nullptr));
    EXPECT_EQ(error, "stopped; nothing written");
    EXPECT_EQ(Bytes(out), "an earlier result");
    EXPECT_FALSE(std::filesystem::exists(AMCopyTaskFiles::TempPath(out)));
  }
  ASSERT_TRUE(RunErrorsTask(p, nullptr, nullptr, quiet, &error, nullptr)) << error;
  EXPECT_NE(Bytes(out), "an earlier result");
}

TEST(ErrorsTask, DefaultOutputNames) {
  EXPECT_EQ(DefaultErrorsOutput("/data/obs_mdl.uvx"), "/data/obs_mdl_err.uvx");
  EXPECT_EQ(DefaultErrorsOutput("OBS.UVX"), "OBS_err.UVX");
  EXPECT_EQ(DefaultErrorsOutput("dir.uvx/plain"), "dir.uvx/plain_err.uvx");
  EXPECT_EQ(DefaultNoiseOutput("/data/obs_mdl.uvx"), "/data/obs_mdl_snt.uvx");
  EXPECT_EQ(DefaultNoiseOutput("a.b"), "a.b_snt.uvx");
}
