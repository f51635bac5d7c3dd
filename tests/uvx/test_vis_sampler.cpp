// The strided visibility sampler against a plain full read of small files.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <set>

#include "uvx/fast_read.h"
#include "uvx/vis_sampler.h"
#include "uvx_test_util.h"

namespace {

// The plain reference: every group read with AUVXFastRead, the point worked out by hand from the
// sample file's frequency set-up (22.2 GHz, IF offsets 0 and 16 MHz, 8 MHz channels).
std::vector<AUVXVisPoint> FullRead(const std::string& path, const AUVXVisChoice& c) {
  AUVXFile f;
  EXPECT_TRUE(f.Open(path, AUVXFile::modeRead));
  AUVXFastRead reader(&f, nullptr);
  AUVXGroup g;
  AUVXVisibility v;
  int status = 0;
  std::vector<AUVXVisPoint> out;
  const double freq = 22.2e9 + 16e6 * c.if_index + 8e6 * c.channel;
  while (reader.GetUVGVis(g, v, status)) {
    const AUVXVisEntry& e = v.Entry(c.if_index, c.channel, c.stokes);
    AUVXVisPoint p;
    p.group = status;
    p.time_s = 3600.0 + g.time;
    p.u_mlambda = float(double{g.u} * freq / 1e6);
    p.v_mlambda = float(double{g.v} * freq / 1e6);
    p.amp = float(std::sqrt(double{e.re} * e.re + double{e.im} * e.im));
    p.phase_rad = float(std::atan2(double{e.im}, double{e.re}));
    p.weight = e.weight;
    p.tel1 = g.tel1;
    p.tel2 = g.tel2;
    out.push_back(p);
  }
  return out;
}

void ExpectSamePoint(const AUVXVisPoint& a, const AUVXVisPoint& ref) {
  EXPECT_EQ(a.group, ref.group);
  EXPECT_DOUBLE_EQ(a.time_s, ref.time_s);
  EXPECT_FLOAT_EQ(a.u_mlambda, ref.u_mlambda);
  EXPECT_FLOAT_EQ(a.v_mlambda, ref.v_mlambda);
  EXPECT_FLOAT_EQ(a.amp, ref.amp);
  EXPECT_FLOAT_EQ(a.phase_rad, ref.phase_rad);
  EXPECT_EQ(a.weight, ref.weight);
  EXPECT_EQ(a.tel1, ref.tel1);
  EXPECT_EQ(a.tel2, ref.tel2);
}

}  // namespace

TEST(VisSampler, StrideAndBlocksCoverTheFileWithAtMostMaxReads) {
  const struct {
    std::int64_t groups, max_points, stride;
  } cases[] = {{0, 10, 1},     {1, 10, 1},           {10, 10, 1},          {11, 10, 2},
               {10, 3, 4},     {200000, 200000, 1},  {200001, 200000, 2},  {6'300'000, 200000, 32}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.groups);
    const std::int64_t k = SampleStride(c.groups, c.max_points);
    EXPECT_EQ(k, c.stride);
    const std::int64_t blocks = (c.groups + k - 1) / k;
    EXPECT_LE(blocks, c.max_points);
    for (std::int64_t b = 0; b < std::min<std::int64_t>(blocks, 1000); ++b) {
      const std::int64_t g = SampledGroup(0, c.groups, b, k);
      EXPECT_GE(g, b * k);
      EXPECT_LT(g, std::min((b + 1) * k, c.groups));
    }
  }
}

TEST(VisSampler, SampledPointsEqualAFullReadForEveryChoice) {
  TempDir dir;
  const std::string path = dir.File("s.uvx");
  WriteSampleFile(path, 100);
  AUVXVisSampler s;
  ASSERT_TRUE(s.Open(path)) << s.Error();
  EXPECT_EQ(s.Groups(), 100);
  EXPECT_EQ(s.TelescopeName(2), "ONSALA60");
  EXPECT_EQ(s.StokesName(1), "LL");
  for (const AUVXVisChoice c : {AUVXVisChoice{0, 0, 0}, AUVXVisChoice{1, 2, 1}, AUVXVisChoice{0, 1, 1}}) {
    const auto ref = FullRead(path, c);
    for (const std::int64_t max_points : {1000, 100, 30, 7, 1}) {
      SCOPED_TRACE(::testing::Message() << c.if_index << "/" << c.channel << "/" << c.stokes << " max " << max_points);
      AUVXVisSample sample;
      ProgressRecorder progress;
      ASSERT_TRUE(s.Sample(c, max_points, sample, nullptr, &progress)) << s.Error();
      const std::int64_t k = SampleStride(100, max_points);
      EXPECT_EQ(sample.stride, k);
      ASSERT_EQ(std::int64_t(sample.points.size()), (100 + k - 1) / k);
      EXPECT_EQ(sample.groups_read, std::int64_t(sample.points.size()));
      EXPECT_TRUE(sample.complete);
      EXPECT_EQ(progress.position, progress.range_high);
      for (std::size_t b = 0; b < sample.points.size(); ++b) {
        const AUVXVisPoint& p = sample.points[b];
        EXPECT_EQ(p.group, SampledGroup(0, 100, std::int64_t(b), k));
        ExpectSamePoint(p, ref[std::size_t(p.group)]);
      }
    }
  }
  AUVXVisSample sample;
  EXPECT_FALSE(s.Sample({2, 0, 0}, 10, sample));  // no third IF
  EXPECT_FALSE(s.Sample({0, 3, 0}, 10, sample));  // no fourth channel
}

TEST(VisSampler, FirstLookThenRestGivesTheOnePassSample) {
  TempDir dir;
  const std::string path = dir.File("s.uvx");
  WriteSampleFile(path, 300);
  AUVXVisSampler s;
  ASSERT_TRUE(s.Open(path));
  const AUVXVisChoice c{1, 2, 1};
  const auto ref = FullRead(path, c);
  const struct {
    std::int64_t max_points, first_points, batch, spread;
  } cases[] = {{1000, 40, 7, 8},  // 300 blocks of one group, every 8th first
               {100, 30, 1, 4},   // 100 blocks of three groups, every 4th first
               {64, 64, 5, 1},    // the first look is the whole sample: nothing left
               {1000, 1, 1000, 300}, {7, 2, 3, 4}};
  for (const auto& k : cases) {
    SCOPED_TRACE(::testing::Message() << "max " << k.max_points << " first " << k.first_points);
    AUVXVisSample one_pass, sample;
    ASSERT_TRUE(s.Sample(c, k.max_points, one_pass));
    ASSERT_TRUE(s.SampleFirstLook(c, k.max_points, k.first_points, sample)) << s.Error();
    EXPECT_EQ(sample.spread, k.spread);
    EXPECT_EQ(sample.complete, k.spread == 1);
    ASSERT_EQ(std::int64_t(sample.points.size()), (one_pass.blocks + k.spread - 1) / k.spread);
    for (std::size_t i = 0; i < sample.points.size(); ++i) {
      const AUVXVisPoint& p = sample.points[i];
      EXPECT_EQ(p.group, SampledGroup(0, 300, std::int64_t(i) * k.spread, one_pass.stride));
      ExpectSamePoint(p, ref[std::size_t(p.group)]);
    }
    // The rest arrives in batches of new points in file order, none of them in the first look.
    std::vector<AUVXVisPoint> handed;
    std::size_t calls = 0;
    const std::set<std::int64_t> first_look = [&] {
      std::set<std::int64_t> g;
      for (const auto& p : sample.points) g.insert(p.group);
      return g;
    }();
    ASSERT_TRUE(s.SampleRest(sample, k.batch, [&](const AUVXVisPoint* p, std::size_t n) {
      EXPECT_LE(n, std::size_t(k.batch));
      handed.insert(handed.end(), p, p + n);
      ++calls;
    }));
    EXPECT_EQ(calls, (handed.size() + std::size_t(k.batch) - 1) / std::size_t(k.batch));
    for (std::size_t i = 0; i < handed.size(); ++i) {
      EXPECT_EQ(first_look.count(handed[i].group), 0u);
      if (i > 0) {
        EXPECT_LT(handed[i - 1].group, handed[i].group);
      }
    }
    EXPECT_EQ(first_look.size() + handed.size(), one_pass.points.size());
    EXPECT_TRUE(sample.complete);
    EXPECT_EQ(sample.spread, 1);
    EXPECT_EQ(sample.groups_read, one_pass.groups_read);
    ASSERT_EQ(sample.points.size(), one_pass.points.size());
    for (std::size_t i = 0; i < sample.points.size(); ++i) ExpectSamePoint(sample.points[i], one_pass.points[i]);
  }
}

TEST(VisSampler, AStoppedOrFailedRestKeepsTheFirstLookAndWhatArrived) {
  TempDir dir;
  const std::string path = dir.File("s.uvx");
  WriteSampleFile(path, 400);
  AUVXVisSampler s;
  ASSERT_TRUE(s.Open(path));
  AUVXVisSample one_pass, sample;
  ASSERT_TRUE(s.Sample({}, 1000, one_pass));
  ASSERT_TRUE(s.SampleFirstLook({}, 1000, 50, sample));  // every 8th group
  const std::size_t first_look = sample.points.size();
  // Stopped from inside the second batch: the points handed over so far are merged in.
  StopFlag stop{0};
  std::size_t handed = 0;
  EXPECT_FALSE(s.SampleRest(sample, 10, [&](const AUVXVisPoint*, std::size_t n) {
    handed += n;
    stop = 1;
  }, &stop));
  EXPECT_EQ(handed, 10u);
  EXPECT_FALSE(sample.complete);
  EXPECT_EQ(sample.spread, 8);
  ASSERT_EQ(sample.points.size(), first_look + handed);
  std::size_t j = 0;  // in group order, each one the one-pass sample's point of its group
  for (std::size_t i = 0; i < sample.points.size(); ++i) {
    while (j < one_pass.points.size() && one_pass.points[j].group < sample.points[i].group) ++j;
    ASSERT_LT(j, one_pass.points.size());
    ExpectSamePoint(sample.points[i], one_pass.points[j]);
  }

  // A file cut short after the first look: the rest ends at the cut with a message (group 201,
  // index 200, was read by the first look).
  ASSERT_TRUE(s.SampleFirstLook({}, 1000, 50, sample));
  std::filesystem::resize_file(path, 1024 + 200 * (24 + 12 * 12));
  EXPECT_FALSE(s.SampleRest(sample, 10, nullptr));
  EXPECT_FALSE(sample.complete);
  EXPECT_EQ(sample.points.size(), 200u + (first_look - 25));  // groups 0..199 and the first look's
  EXPECT_NE(s.Error().find("group 202"), std::string::npos) << s.Error();
}

TEST(VisSampler, AStrideOfTheBaselineCountStillSeesEveryBaseline) {
  // The sample file cycles through three baselines; a stride of 3 taking the same offset in every
  // block would show one of them only.
  TempDir dir;
  const std::string path = dir.File("s.uvx");
  WriteSampleFile(path, 300);
  AUVXVisSampler s;
  ASSERT_TRUE(s.Open(path));
  AUVXVisSample sample;
  ASSERT_TRUE(s.Sample({}, 100, sample));
  EXPECT_EQ(sample.stride, 3);
  std::set<int> baselines;
  for (const auto& p : sample.points) baselines.insert(256 * p.tel1 + p.tel2);
  EXPECT_EQ(baselines.size(), 3u);
  EXPECT_TRUE(s.TimeOrdered());
}

TEST(VisSampler, RefineReadsEveryGroupInsideTheWindow) {
  TempDir dir;
  const std::string path = dir.File("s.uvx");
  WriteSampleFile(path, 600);  // times 3600 + 10 * (g / 3) s
  AUVXVisSampler s;
  ASSERT_TRUE(s.Open(path));
  const AUVXVisChoice c{1, 1, 0};
  const auto ref = FullRead(path, c);
  AUVXVisSample first;
  ASSERT_TRUE(s.Sample(c, 50, first));

  AUVXVisWindow time;
  time.time_min_s = 3600 + 100, time.time_max_s = 3600 + 400;  // groups 30 .. 122
  AUVXVisWindow uv;
  uv.uv_min_mlambda = 1500, uv.uv_max_mlambda = 5000;
  AUVXVisWindow both = uv;
  both.time_min_s = time.time_min_s, both.time_max_s = time.time_max_s;
  both.tel1 = 3, both.tel2 = 2;  // either order names the baseline
  AUVXVisWindow baseline;
  baseline.tel1 = 1, baseline.tel2 = 2;
  for (const AUVXVisWindow* w : {&time, &uv, &both, &baseline}) {
    std::vector<AUVXVisPoint> inside;
    for (const auto& p : ref)
      if (w->Holds(p)) inside.push_back(p);
    ASSERT_FALSE(inside.empty());
    AUVXVisSample all;
    ASSERT_TRUE(s.Refine(c, *w, 100000, all)) << s.Error();
    ASSERT_EQ(all.points.size(), inside.size());
    for (std::size_t i = 0; i < inside.size(); ++i) ExpectSamePoint(all.points[i], inside[i]);
    if (w == &time) {
      EXPECT_EQ(all.first, 30);  // found by bisection, not by reading the file
      EXPECT_EQ(all.last, 123);
      EXPECT_EQ(all.groups_read, 93);
    }
    // With a small limit: at most that many, all inside, evenly spaced among the points inside.
    AUVXVisSample few;
    ASSERT_TRUE(s.Refine(c, *w, 9, few));
    EXPECT_LE(few.points.size(), 9u);
    EXPECT_GE(few.points.size(), std::min<std::size_t>(inside.size(), 4));
    for (const auto& p : few.points) EXPECT_TRUE(w->Holds(p));
    if (few.keep_every > 1)
      for (std::size_t i = 0; i < few.points.size(); ++i)
        ExpectSamePoint(few.points[i], inside[i * std::size_t(few.keep_every)]);
  }
}

TEST(VisSampler, SurvivesDamagedFilesAndStops) {
  TempDir dir;
  const std::string path = dir.File("s.uvx");
  WriteSampleFile(path, 50);
  AUVXVisSampler s;

  // Not a UVX file; cut inside the groups: refused at Open with a reason.
  WriteAllBytes(dir.File("junk.uvx"), std::string(2000, 'x'));
  EXPECT_FALSE(s.Open(dir.File("junk.uvx")));
  EXPECT_FALSE(s.Error().empty());
  std::string bytes = ReadAll(path);
  WriteAllBytes(dir.File("cut.uvx"), bytes.substr(0, 1024 + 10 * 300));
  EXPECT_FALSE(s.Open(dir.File("cut.uvx")));
  EXPECT_FALSE(s.Open(dir.File("missing.uvx")));

  // Records holding NaN are left out and counted.
  const std::int64_t record = 24 + 12 * 12;
  const float nan = std::nanf("");
  std::memcpy(&bytes[std::size_t(1024 + 5 * record + 4)], &nan, 4);  // u of group 5
  WriteAllBytes(dir.File("nan.uvx"), bytes);
  ASSERT_TRUE(s.Open(dir.File("nan.uvx")));
  AUVXVisSample sample;
  ASSERT_TRUE(s.Sample({}, 1000, sample));
  EXPECT_EQ(sample.points.size(), 49u);
  EXPECT_EQ(sample.skipped, 1);

  // A file cut short after it was opened: the pass ends with 0 and a message, keeping what it read.
  ASSERT_TRUE(s.Open(path));
  std::filesystem::resize_file(path, 1024 + 20 * record);
  EXPECT_FALSE(s.Sample({}, 1000, sample));
  EXPECT_FALSE(sample.complete);
  EXPECT_EQ(sample.points.size(), 20u);
  EXPECT_NE(s.Error().find("group 21"), std::string::npos) << s.Error();
  AUVXVisWindow uv;
  uv.uv_min_mlambda = 1;
  EXPECT_FALSE(s.Refine({}, uv, 1000, sample));

  // A raised stop flag ends either pass at once.
  WriteSampleFile(path, 50);
  ASSERT_TRUE(s.Open(path));
  StopFlag stop{1};
  EXPECT_FALSE(s.Sample({}, 1000, sample, &stop));
  EXPECT_TRUE(sample.points.empty());
  EXPECT_FALSE(s.Refine({}, uv, 1000, sample, &stop));
  EXPECT_FALSE(sample.complete);
}
