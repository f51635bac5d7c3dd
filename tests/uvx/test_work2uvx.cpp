// The copy framework: order of calls, identity copy, the stop flag, extremes, carried tables,
// block-parallel output identical to the one-at-a-time output, and removal of a failed output.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "uvx/work2uvx.h"
#include "uvx_test_util.h"

namespace {

// Records the order of the groups it sees and scales every visibility by a constant.
class ScaleWork : public AWork2UVX {
 public:
  using AWork2UVX::AWork2UVX;
  float factor = 1.0f;
  bool pure = false;
  int fail_at = -1;
  int stop_at = -1;
  StopFlag* stop_flag = nullptr;
  std::vector<double> seen_times;
  std::vector<int> seen_tel1;

 protected:
  int ProcessVisibility(AUVXGroup& g, AUVXVisibility& v) override {
    if (!pure) {
      if (int(seen_times.size()) == fail_at) return 0;
      if (int(seen_times.size()) == stop_at && stop_flag) *stop_flag = 1;
      seen_times.push_back(g.time);
      seen_tel1.push_back(g.tel1);
    }
    for (int e = 0; e < v.Count(); ++e) {
      v.entries[e].re *= factor;
      v.entries[e].im = v.entries[e].im * factor + 0.001f * g.u;
    }
    return 1;
  }
  bool IsPure() const override { return pure; }
};

struct CopyRun {
  int ok = 0;
  std::string out_bytes;
  AUVXMinMax extremes;
  std::int64_t done = 0;
};

CopyRun RunCopy(const std::string& in_path, const std::string& out_path, float factor, bool pure,
                int block_groups = 0, StopFlag* stop = nullptr, int stop_at = -1, int fail_at = -1) {
  CopyRun result;
  AUVXFile in, out;
  EXPECT_TRUE(in.Open(in_path, AUVXFile::modeRead)) << in.Error();
  EXPECT_TRUE(out.Open(out_path, AUVXFile::modeCreate)) << out.Error();
  ProgressRecorder progress;
  ScaleWork work(&in, &out, &progress, stop);
  work.factor = factor, work.pure = pure, work.stop_at = stop_at, work.fail_at = fail_at, work.stop_flag = stop;
  work.SetBlockGroups(block_groups);
  result = {RunOrRemoveOutput(work), {}, work.Extremes(), work.GroupsDone()};
  if (result.ok) {
    EXPECT_TRUE(out.Close()) << out.Error();
    result.out_bytes = ReadAll(out_path);
    EXPECT_EQ(progress.position, in.Groups());
    if (!pure) {
      // File order, one call per group.
      EXPECT_EQ(int(work.seen_times.size()), in.Groups());
      for (std::size_t i = 0; i < work.seen_times.size(); ++i) {
        const AUVXGroup want = SampleGroup(int(i));
        EXPECT_EQ(std::pair(work.seen_times[i], work.seen_tel1[i]), std::pair(want.time, int(want.tel1))) << i;
      }
    }
  }
  return result;
}

}  // namespace

TEST(CopyFramework, IdentityChangedVisibilitiesExtremesAndTablesInOutput) {
  TempDir dir;
  const std::string in = dir.File("in.uvx");
  WriteSampleFile(in, 25);
  {  // the base class copies the file unchanged
    AUVXFile fin, fout;
    ASSERT_TRUE(fin.Open(in, AUVXFile::modeRead) && fout.Open(dir.File("id.uvx"), AUVXFile::modeCreate));
    AWork2UVX identity(&fin, &fout, nullptr, nullptr);
    ASSERT_TRUE(identity.Run());
    ASSERT_TRUE(fout.Close());
    EXPECT_EQ(ReadAll(dir.File("id.uvx")), ReadAll(in));
  }
  CopyRun r = RunCopy(in, dir.File("out.uvx"), 2.0f, false, 7);  // small blocks: block boundaries
  ASSERT_TRUE(r.ok);
  EXPECT_EQ(r.done, 25);
  AUVXFile out;
  ASSERT_TRUE(out.Open(dir.File("out.uvx"), AUVXFile::modeRead)) << out.Error();
  EXPECT_EQ(out.Groups(), 25);
  AUVXVisibility v(out);
  AUVXGroup g;
  double amp_max = 0;
  for (int i = 0; i < 25; ++i) {
    ASSERT_TRUE(out.SeekUVGroup(i) && g.load(out) && v.load(out));
    for (int e = 0; e < v.Count(); ++e) {
      const AUVXVisEntry s = SampleEntry(i, e);
      ASSERT_EQ(v.entries[e].re, s.re * 2.0f);
      ASSERT_EQ(v.entries[e].im, s.im * 2.0f + 0.001f * g.u);
      ASSERT_EQ(v.entries[e].weight, s.weight);
      amp_max = std::max(amp_max, AUVXComplex(v.entries[e]).ampl());
    }
  }
  const AUVXHeader h(out);
  EXPECT_NEAR(h.extremes.amp_max, amp_max, 1e-9 * amp_max);
  EXPECT_EQ(h.extremes.u_max, SampleGroup(24).u);
  EXPECT_EQ(h.extremes.weight_min, 1.0);
  EXPECT_EQ(h.extremes.weight_max, 1.25);
  EXPECT_EQ(h.ref_freq_hz, 22.2e9);
  AUVXFile fin;
  ASSERT_TRUE(fin.Open(in, AUVXFile::modeRead));
  ASSERT_EQ(out.TableCount(), fin.TableCount());
  for (const char* name : {"FQ", "SU", "AN", "BL", "PS"}) {
    const AUVXTable *a = fin.GetTable(name), *b = out.GetTable(name);
    ASSERT_NE(b, nullptr) << name;
    EXPECT_EQ(a->data, b->data) << name;
    EXPECT_EQ(a->type, b->type) << name;
    EXPECT_EQ(a->keywords.GetSize(), b->keywords.GetSize()) << name;
  }
}

TEST(CopyFramework, BlockParallelOutputEqualsSequential) {
  TempDir dir;
  const std::string in = dir.File("in.uvx");
  WriteSampleFile(in, 3000);
  CopyRun seq = RunCopy(in, dir.File("seq.uvx"), 3.0f, false, 256);
  CopyRun par = RunCopy(in, dir.File("par.uvx"), 3.0f, true, 256);
  CopyRun one_block = RunCopy(in, dir.File("one.uvx"), 3.0f, true);
  ASSERT_TRUE(seq.ok && par.ok && one_block.ok);
  EXPECT_EQ(seq.out_bytes.size(), ReadAll(in).size());
  EXPECT_EQ(seq.out_bytes, par.out_bytes);
  EXPECT_EQ(seq.out_bytes, one_block.out_bytes);
  EXPECT_EQ(seq.extremes.amp_max, par.extremes.amp_max);
  EXPECT_EQ(seq.extremes.amp_min, par.extremes.amp_min);
}

TEST(CopyFramework, StopFlagOrFailingOperationRemovesOutput) {
  TempDir dir;
  const std::string in = dir.File("in.uvx"), out = dir.File("out.uvx");
  WriteSampleFile(in, 30);
  StopFlag stop{0};
  CopyRun r = RunCopy(in, out, 1.0f, false, 0, &stop, 10);
  EXPECT_FALSE(r.ok);
  EXPECT_EQ(r.done, 11);  // the group that raised the flag completes; the next one is not started
  EXPECT_FALSE(std::filesystem::exists(out));
  StopFlag set{1};
  r = RunCopy(in, out, 1.0f, true, 0, &set);
  EXPECT_FALSE(r.ok);
  EXPECT_EQ(r.done, 0);
  EXPECT_FALSE(std::filesystem::exists(out));
  r = RunCopy(in, out, 1.0f, false, 0, nullptr, -1, 12);
  EXPECT_FALSE(r.ok);
  EXPECT_EQ(r.done, 12);
  EXPECT_FALSE(std::filesystem::exists(out));
  // An output not open for writing fails at once.
  AUVXFile fin, fout;
  ASSERT_TRUE(fin.Open(in, AUVXFile::modeRead));
  AWork2UVX w(&fin, &fout, nullptr, nullptr);
  EXPECT_FALSE(w.Run());
}
