// The four tasks chained from a settings file: the shipped example end to end, the telescope
// lists loaded once the previous task has written their input, and the stop at the first failure.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "app/task_runner.h"
#include "uvx/fast_read.h"
#include "uvx/uvx_test_util.h"

namespace {

const std::string kData = QVL_SOURCE_DATA;

// A folder holding the shipped example settings file with its observation and model.
void CopyExample(const TempDir& dir) {
  for (const char* f : {"QvlModel.ini", "ground_space_3c345.json", "core_jet.mdl"})
    std::filesystem::copy_file(kData + "/examples/" + f, dir.File(f));
}

struct VisStats {
  std::int64_t groups = 0;
  double mean_amp = 0;
  double max_weight = 0;
};

VisStats Stats(const std::string& path) {
  VisStats s;
  AUVXFile f;
  EXPECT_TRUE(f.Open(path, AUVXFile::modeRead)) << path << ": " << f.Error();
  AUVXFastRead reader(&f, nullptr);
  AUVXGroup g;
  AUVXVisibility v;
  int status = 0;
  double sum = 0;
  std::int64_t n = 0;
  while (reader.GetUVGVis(g, v, status)) {
    ++s.groups;
    for (int e = 0; e < v.Count(); ++e) {
      sum += std::hypot(double(v.entries[e].re), double(v.entries[e].im));
      s.max_weight = std::max(s.max_weight, double(v.entries[e].weight));
      ++n;
    }
  }
  s.mean_amp = n ? sum / double(n) : 0.0;
  return s;
}

}  // namespace

TEST(TaskChain, TheShippedExampleRunsThroughAllFourTasks) {
  TempDir dir;
  CopyExample(dir);
  AIniFile ini;
  ASSERT_TRUE(ini.Load(dir.File("QvlModel.ini")));
  MessageRecorder messages;
  StopFlag stop{0};
  std::vector<int> reported;
  const auto outcomes = RunTasks(ini, dir.File("QvlModel.ini"), {1, 2, 3, 4}, kData + "/", nullptr, &stop, messages,
                                 [&](const ATaskOutcome& o) { reported.push_back(o.task); });
  ASSERT_EQ(outcomes.size(), 4u);
  for (const ATaskOutcome& o : outcomes) EXPECT_TRUE(o.ok) << "task " << o.task << ": " << o.error;
  EXPECT_EQ(reported, (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(outcomes[0].output, dir.File("3C345_mdl.uvx"));
  EXPECT_EQ(outcomes[3].output, dir.File("3C345_snt.uvx"));
  // Tasks 3 and 4 found their telescope lists: their inputs existed when they started.
  EXPECT_NE(outcomes[2].summary.find("9 telescopes"), std::string::npos) << outcomes[2].summary;
  EXPECT_NE(outcomes[3].summary.find("9 SEFD entries"), std::string::npos) << outcomes[3].summary;
  EXPECT_TRUE(messages.shown.empty()) << messages.shown.front();

  const VisStats empty = Stats(dir.File("3C345_mdl.uvx"));
  const VisStats model = Stats(dir.File("3C345_model.uvx"));
  const VisStats noisy = Stats(dir.File("3C345_snt.uvx"));
  EXPECT_GT(empty.groups, 1000);
  EXPECT_EQ(model.groups, empty.groups);
  EXPECT_EQ(noisy.groups, empty.groups);
  EXPECT_EQ(empty.mean_amp, 0.0);
  // The model's total flux is 2.8 Jy, partly resolved on these baselines.
  EXPECT_GT(model.mean_amp, 0.5);
  EXPECT_LT(model.mean_amp, 2.8);
  EXPECT_NE(noisy.mean_amp, model.mean_amp);
  EXPECT_NEAR(noisy.mean_amp, model.mean_amp, 0.2 * model.mean_amp);

  // The same settings run again give the same bytes: every random start value is fixed.
  const std::string first = ReadAll(dir.File("3C345_snt.uvx"));
  const auto again = RunTasks(ini, dir.File("QvlModel.ini"), {3, 4}, kData + "/", nullptr, &stop, messages);
  ASSERT_EQ(again.size(), 2u);
  EXPECT_TRUE(again[1].ok);
  EXPECT_EQ(ReadAll(dir.File("3C345_snt.uvx")), first);
}

TEST(TaskChain, StopsAtTheFirstFailureOrStop) {
  TempDir dir;
  CopyExample(dir);
  AIniFile ini;
  ASSERT_TRUE(ini.Load(dir.File("QvlModel.ini")));
  MessageRecorder messages;

  // Task 3's input does not exist yet and the chain does not make it: task 3 fails and 4 never runs.
  StopFlag go{0};
  const auto failed = RunTasks(ini, dir.File("QvlModel.ini"), {3, 4}, kData + "/", nullptr, &go, messages);
  ASSERT_EQ(failed.size(), 1u);
  EXPECT_FALSE(failed[0].ok);
  EXPECT_NE(failed[0].error.find("3C345_model.uvx"), std::string::npos) << failed[0].error;
  EXPECT_FALSE(std::filesystem::exists(dir.File("3C345_err.uvx")));

  // A stop before the first sample: task 1 ends stopped and leaves nothing behind.
  StopFlag stop{1};
  const auto stopped = RunTasks(ini, dir.File("QvlModel.ini"), {1, 2}, kData + "/", nullptr, &stop, messages);
  ASSERT_EQ(stopped.size(), 1u);
  EXPECT_TRUE(stopped[0].stopped);
  EXPECT_FALSE(std::filesystem::exists(dir.File("3C345_mdl.uvx")));
  for (const auto& e : std::filesystem::directory_iterator(dir.File("")))
    EXPECT_NE(e.path().extension(), ".$uv") << e.path();

  // A task number outside 1..4 is refused.
  const auto bad = RunTasks(ini, dir.File("QvlModel.ini"), {5}, kData + "/", nullptr, &go, messages);
  ASSERT_EQ(bad.size(), 1u);
  EXPECT_FALSE(bad[0].ok);
}

// The desktop page hands its own component list to task 2: it is used instead of "MODEL FILE"
// (byte for byte what the same list read from a file gives) and checked the same way.
TEST(TaskChain, TaskTwoTakesAGivenComponentList) {
  TempDir dir;
  CopyExample(dir);
  AIniFile ini;
  ASSERT_TRUE(ini.Load(dir.File("QvlModel.ini")));
  MessageRecorder messages;
  StopFlag stop{0};
  const auto first = RunTasks(ini, dir.File("QvlModel.ini"), {1}, kData + "/", nullptr, &stop, messages);
  ASSERT_TRUE(first.size() == 1 && first[0].ok);

  AComponents given;
  ACompItem knot;
  knot.type = kCompGaussian;
  knot.flux = 0.7;
  knot.large_axis = 0.002;
  knot.distance = 0.004;
  knot.position_angle = 30;
  given.Add(knot);
  {
    std::ofstream out(dir.File("given.mdl"));
    given.Store(out);
  }
  AMSettings st;
  st.work_item.in_path = first[0].output;
  st.model_page.model_file = dir.File("core_jet.mdl");  // not used when a list is given
  st.work_item.out_path = dir.File("given.uvx");
  const ATaskOutcome a = RunTask2(st, nullptr, &stop, messages, &given);
  ASSERT_TRUE(a.ok) << a.error;
  st.model_page.model_file = dir.File("given.mdl");
  st.work_item.out_path = dir.File("from_file.uvx");
  const ATaskOutcome b = RunTask2(st, nullptr, &stop, messages);
  ASSERT_TRUE(b.ok) << b.error;
  EXPECT_EQ(ReadAll(dir.File("given.uvx")), ReadAll(dir.File("from_file.uvx")));
  EXPECT_NE(a.summary.find("(1 components)"), std::string::npos) << a.summary;

  given[0].large_axis = 0;  // refused like a file's component
  st.work_item.out_path = dir.File("refused.uvx");
  const ATaskOutcome c = RunTask2(st, nullptr, &stop, messages, &given);
  EXPECT_FALSE(c.ok);
  EXPECT_EQ(c.error, "the model: component 1: Large axis mus be >= 0.");
  EXPECT_FALSE(std::filesystem::exists(dir.File("refused.uvx")));
}
