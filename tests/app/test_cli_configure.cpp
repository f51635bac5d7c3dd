// `qvlmodel configure --points N` shows the rows of the UV-point table as the review dialog does.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "app/task_runner.h"
#include "coverage/uv_point_table.h"
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

TEST(ConfigureCommand, PointRowsAsTheReviewTableShowsThem) {
  if (!std::filesystem::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string data = QVL_SOURCE_DATA;
  const std::string obs_path = data + "/examples/ground_space_3c345.json";
  int status = -1;
  const std::string out = RunQvlmodel("configure " + Q(obs_path) + " -o " + Q(dir.File("ex.uvx")) + " --base " +
                                          Q(data) + " --json --keep-uv --points 3",
                                      status);
  ASSERT_EQ(status, 0) << out;
  const nlohmann::json j = nlohmann::json::parse(out);

  // The rows are those of the core table on the kept UV-point file: the first sample, the
  // baselines of BR in order.
  AMObservation obs(data + "/");
  std::string error;
  ASSERT_TRUE(LoadObservationAny(obs_path, data + "/", obs, error)) << error;
  const std::string uv = j["uv_file"];
  AMUVPointTable table;
  ASSERT_TRUE(table.Open(uv, obs));
  ASSERT_EQ(j["points"].size(), 3u);
  const char* baselines[] = {"BR-FD", "BR-HN", "BR-KP"};
  for (int r = 0; r < 3; ++r) {
    ASSERT_EQ(j["points"][r].size(), 6u);
    EXPECT_EQ(j["points"][r][0], "13:00:00.0");
    EXPECT_EQ(j["points"][r][1], baselines[r]);
    for (int c = 0; c < 6; ++c) EXPECT_EQ(j["points"][r][c], table.Text(r, c)) << r << "," << c;
  }
  table.Close();
  std::filesystem::remove(uv);
}
