// Task 3 on files: the one-pass result against a plain record-by-record reference written from the
// description (amplitude and phase of every entry, slow discards), repeatable runs, zero errors as
// an identity, refusals, the stop flag and the output name.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
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
        s.rp += gen.Next(list[k].phase_err_deg * kPi / 180.0 * step);
        s.gain = std::pow(10.0, gen.Next(list[k].ampl_err_db) / 20.0);
        s.updated = true;
      }
      const double t0 = segment > 0 ? int((t - start) / segment) * segment + start : start;
      const double dt = t - t0;
      if (dt < 0 && early++ == 0) first_early_t0 = t0;
      const bool inside = t0 >= 0 && t <= stop;
      AUVXVisibility& v = data.vis[g];
      const int sel = std::max(fq.GetFreqSelNum(grp.freq_id), 0);
      for (int i = 0; i < v.n_if; ++i)
        for (int c = 0; c < v.n_channels; ++c) {
          const double f0 = fq.GetFreq(sel, v.n_channels > 1 ? i : 0, 0);
          const double df = fq.GetFreq(sel, i, c) - f0;
          double phi[2] = {0, 0};
          for (int j = 0; j < 2 && inside; ++j) {
            const int k = j == 0 ? a : b;
            const AMTlscErrItem& e = list[k];
            phi[j] = 2 * kPi * (df * e.delay + dt * e.fringe_rate + dt * dt * e.fringe_acc + df * df * e.delay_acc) +
                     e.phase0_deg * kPi / 180.0 + st[std::size_t(k)].rp;
          }
          const double gain = inside ? st[std::size_t(a)].gain * st[std::size_t(b)].gain : 1.0;
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

// Four telescopes on 10 s steps with gaps: steps 3 and 10 to 13 missing, telescope 3 absent from
// every fifth step. The list below has no telescope 4.
TestFileShape GappyFile() {
  TestFileShape shape;
  shape.n_telescopes = 4;
  for (int k = 0; k < 40; ++k) {
    if (k == 3 || (k >= 10 && k <= 13)) continue;
    for (int a = 1; a <= 4; ++a)
      for (int b = a + 1; b <= 4; ++b)
        if (k % 5 != 1 || (a != 3 && b != 3)) shape.records.push_back({a, b, 10.0 * k, 1});
  }
  return shape;
}

AMErrorsParams Params(const std::string& in, const std::string& out, std::optional<std::uint32_t> rng_start = 1u) {
  AMErrorsParams p;
  p.in_path = in;
  p.out_path = out;
  p.tlscs = TlscList({Tlsc(1, 2.0, 0.3, 10.0, 0.002, 2e-8, 1e-6, 1e-16), Tlsc(2, 5.0, 0.7, -40.0, -0.001, -5e-8),
                      Tlsc(3, 1.0, 0.0, 0.0, 0.0005, 1e-7, -2e-6, 3e-16)});
  p.rng_start = rng_start;
  return p;
}

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
    AMErrorsParams p = Params(in, out, 20240611u);
    p.has_interval = true;
    p.start_s = 3600.0 + 15.0;  // seconds from 0h; the file starts at 3600
    p.stop_s = 3600.0 + 330.0;
    p.segment_s = 100.0;
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
    const TestFileData orig = expect;
    ReferenceRun ref{p.tlscs, p.start_s, p.stop_s, p.segment_s, 10.0, 3600.0, 20240611u};
    ref.Apply(TestFqTable(shape), expect);
    const TestFileData got = ReadTestFile(out);
    ASSERT_EQ(got.groups.size(), expect.groups.size());
    int changed = 0;
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
      if (!SameBytes(got.vis[g], orig.vis[g])) ++changed;
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

TEST(ErrorsTask, RepeatableRunsAndZeroErrorsLeaveTheFileUnchanged) {
  TempDir dir;
  const std::string in = dir.File("g.uvx");
  WriteTestFile(in, GappyFile());
  SilentMessages quiet;
  std::string error;
  auto run = [&](std::optional<std::uint32_t> start, const std::string& name, std::uint32_t* used = nullptr) {
    EXPECT_TRUE(RunErrorsTask(Params(in, dir.File(name), start), nullptr, nullptr, quiet, &error, used)) << error;
    return ReadAll(dir.File(name));
  };
  const std::string a = run(7u, "a.uvx");
  EXPECT_EQ(a, run(7u, "b.uvx"));
  EXPECT_NE(a, run(8u, "c.uvx"));
  // A run started from the tick count reports its start value; giving it back repeats the run.
  std::uint32_t tick_used = 0, again_used = 0;
  const std::string t1 = run(std::nullopt, "t1.uvx", &tick_used);
  EXPECT_EQ(run(tick_used, "t2.uvx", &again_used), t1);
  EXPECT_EQ(again_used, tick_used);

  // The template of the file has every error 0: the output is the input, byte for byte, and no message.
  AUVXFile f;
  ASSERT_TRUE(f.Open(in, AUVXFile::modeRead));
  AMErrorsParams p = Params(in, dir.File("z.uvx"), 3u);
  p.tlscs = AMTlscErrors();
  ASSERT_TRUE(MakeErrorsTemplate(f, p.tlscs, &error)) << error;
  ASSERT_EQ(p.tlscs.GetSize(), 4);
  MessageRecorder messages;
  ASSERT_TRUE(RunErrorsTask(p, nullptr, nullptr, messages, &error, nullptr)) << error;
  EXPECT_TRUE(messages.shown.empty());
  EXPECT_EQ(ReadAll(dir.File("z.uvx")), ReadAll(in));
}

TEST(ErrorsTask, RefusalsLeaveNoOutput) {
  TempDir dir;
  const std::string in = dir.File("r.uvx"), out = dir.File("r_out.uvx");
  TestFileShape shape = GappyFile();
  WriteTestFile(in, shape);
  shape.time_step_s = 0.0;
  const std::string flat = dir.File("flat.uvx"), broken = dir.File("broken.uvx");
  WriteTestFile(flat, shape);
  const std::string bytes = ReadAll(in);
  WriteAllBytes(broken, bytes.substr(0, bytes.size() - 7));
  struct Refusal {
    std::function<void(AMErrorsParams&)> change;
    char match;  // '=': the whole error, '~': a part of it, '^': its start
    std::string error;
  };
  const Refusal refusals[] = {
      {[](AMErrorsParams& p) { p.use_phase_err = p.use_ampl_err = 0; }, '=',
       "Not selected Errors type. Please select Errors type."},
      {[](AMErrorsParams& p) { p.has_interval = true; p.start_s = 5000.0; p.stop_s = 4000.0; }, '=',
       "Start time must be less or equal stop time."},
      {[](AMErrorsParams& p) { p.tlscs[1].phase_err_deg = -1.0; }, '~', "T2"},
      {[&](AMErrorsParams& p) { p.in_path = dir.File("nothere.uvx"); }, '^', dir.File("nothere.uvx")},
      {[&](AMErrorsParams& p) { p.out_path = in; }, '~', "overwrite the input"},
      {[&](AMErrorsParams& p) { p.in_path = flat; }, '~', "time step"},  // none in the file, none given
      {[&](AMErrorsParams& p) { p.in_path = broken; }, '^', broken},
  };
  SilentMessages quiet;
  for (const Refusal& r : refusals) {
    SCOPED_TRACE(r.error);
    AMErrorsParams p = Params(in, out);
    r.change(p);
    std::string error;
    EXPECT_FALSE(RunErrorsTask(p, nullptr, nullptr, quiet, &error, nullptr));
    if (r.match == '=') { EXPECT_EQ(error, r.error); }
    if (r.match == '~') { EXPECT_NE(error.find(r.error), std::string::npos) << error; }
    if (r.match == '^') { EXPECT_EQ(error.find(r.error), 0u) << error; }
    EXPECT_FALSE(std::filesystem::exists(out));
    EXPECT_FALSE(std::filesystem::exists(AMCopyTaskFiles::TempPath(out)));
  }
  EXPECT_EQ(ReadAll(in), bytes);
  // A file without a time step runs when one is given.
  AMErrorsParams given = Params(flat, out);
  given.step_s = 10.0;
  std::string error;
  EXPECT_TRUE(RunErrorsTask(given, nullptr, nullptr, quiet, &error, nullptr)) << error;
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
  const AMErrorsParams p = Params(in, "");  // default output name: s_err.uvx
  std::string error;
  for (int when : {0, 1}) {
    StopFlag stop{when == 0 ? 1 : 0};
    StopOnProgress progress(stop);
    EXPECT_FALSE(RunErrorsTask(p, &progress, &stop, quiet, &error, nullptr));
    EXPECT_EQ(error, "stopped; nothing written");
    EXPECT_EQ(ReadAll(out), "an earlier result");
    EXPECT_FALSE(std::filesystem::exists(AMCopyTaskFiles::TempPath(out)));
  }
  ASSERT_TRUE(RunErrorsTask(p, nullptr, nullptr, quiet, &error, nullptr)) << error;
  EXPECT_NE(ReadAll(out), "an earlier result");
}

TEST(ErrorsTask, DefaultOutputNames) {
  EXPECT_EQ(DefaultErrorsOutput("/data/obs_mdl.uvx"), "/data/obs_mdl_err.uvx");
  EXPECT_EQ(DefaultErrorsOutput("OBS.UVX"), "OBS_err.UVX");
  EXPECT_EQ(DefaultErrorsOutput("dir.uvx/plain"), "dir.uvx/plain_err.uvx");
  EXPECT_EQ(DefaultNoiseOutput("/data/obs_mdl.uvx"), "/data/obs_mdl_snt.uvx");
  EXPECT_EQ(DefaultNoiseOutput("a.b"), "a.b_snt.uvx");
}
