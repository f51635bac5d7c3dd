// `qvlmodel configure` shows what the review dialog shows: the orbital telescopes' view of the
// source past the Earth and the rows of the UV-point table.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "app/task_runner.h"
#include "coverage/orbit_track.h"
#include "uvx/uvx_test_util.h"

namespace {

std::string RunQvlmodel(const std::string& args, int& status) {
  std::string out;
  FILE* p = ::popen((std::string(QVLMODEL_EXE) + " " + args + " 2>/dev/null").c_str(), "r");
  if (!p) return out;
  char buf[4096];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
  const int st = ::pclose(p);
  status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  return out;
}

std::string Q(const std::string& s) { return "'" + s + "'"; }

}  // namespace

TEST(ConfigureCommand, OrbitSummaryAndPointRows) {
  if (!std::filesystem::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string data = QVL_SOURCE_DATA;
  // The example with a low orbit added, which the Earth hides from the source part of the time.
  const std::string obs_path = dir.File("leo.json");
  {
    std::ifstream in(data + "/examples/ground_space_3c345.json");
    nlohmann::json ex = nlohmann::json::parse(in);
    ex["telescopes"].push_back({{"catalog", "SpaceLEO"}, {"id", "SL"}});
    std::ofstream(obs_path) << ex.dump(2);
  }
  int status = -1;
  const std::string out = RunQvlmodel("configure " + Q(obs_path) + " -o " + Q(dir.File("ex.uvx")) + " --base " + Q(data) +
                                  " --json --points 3",
                              status);
  ASSERT_EQ(status, 0) << out;
  const nlohmann::json j = nlohmann::json::parse(out);

  // The orbital telescope's counts are those of the core's orbit sampling.
  AMObservation obs(data + "/");
  std::string error;
  ASSERT_TRUE(LoadObservationAny(obs_path, data + "/", obs, error)) << error;
  const std::vector<AMOrbitTrack> tracks = SampleOrbits(obs, "");
  ASSERT_EQ(tracks.size(), 2u);
  ASSERT_EQ(j["orbits"].size(), 2u);
  const char* names[] = {"SpaceHEO", "SpaceLEO"};
  for (std::size_t k = 0; k < 2; ++k) {
    const nlohmann::json& o = j["orbits"][k];
    EXPECT_EQ(o["name"], names[k]);
    EXPECT_EQ(o["number"], 9 + k);
    EXPECT_EQ(o["from"], "elements");
    EXPECT_EQ(o["samples"], tracks[k].samples.size());
    EXPECT_EQ(o["samples"], j["samples"]);  // the UV plane's sample times
    EXPECT_EQ(o["visible"], tracks[k].visible);
    EXPECT_EQ(o["blocked"], tracks[k].blocked);
    EXPECT_EQ(o["blocked_spans"].size(), BlockedSpans(tracks[k]).size());
  }
  EXPECT_EQ(j["orbits"][0]["blocked"], 0);  // the high orbit sees 3C345 all the time
  EXPECT_GT(j["orbits"][1]["blocked"], 0);
  EXPECT_GT(j["orbits"][1]["visible"], 0);

  // The first rows as the review table shows them: the first sample, baselines of BR in order.
  ASSERT_EQ(j["points"].size(), 3u);
  const char* second[] = {"BR-FD", "BR-HN", "BR-KP"};
  for (int r = 0; r < 3; ++r) {
    ASSERT_EQ(j["points"][r].size(), 6u);
    EXPECT_EQ(j["points"][r][0], "13:00:00.0");
    EXPECT_EQ(j["points"][r][1], second[r]);
  }
}
