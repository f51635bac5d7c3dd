// `qvlmodel info` on a small file: text, JSON, a group listing, and a damaged file.
#include <gtest/gtest.h>

#include <cstdio>
#include <nlohmann/json.hpp>

#include "uvx_test_util.h"

namespace {

struct CommandResult {
  int status = -1;
  std::string out;
};

CommandResult RunCommand(const std::string& cmd) {
  CommandResult r;
  FILE* p = ::popen((cmd + " 2>&1").c_str(), "r");
  if (!p) return r;
  char buf[4096];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) r.out.append(buf, n);
  const int st = ::pclose(p);
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  return r;
}

bool HaveExe() { return std::filesystem::exists(QVLMODEL_EXE); }

}  // namespace

TEST(InfoCommand, SummaryAndJson) {
  if (!HaveExe()) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string path = dir.File("s.uvx");
  WriteSampleFile(path, 7);
  const std::string exe = QVLMODEL_EXE;
  CommandResult text = RunCommand(exe + " info '" + path + "'");
  ASSERT_EQ(text.status, 0) << text.out;
  EXPECT_NE(text.out.find("Stokes:           2 (RR LL)"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("MEDICINA"), std::string::npos);
  EXPECT_NE(text.out.find("Baselines:        3"), std::string::npos);
  EXPECT_NE(text.out.find("2000-01-01 01:00:00"), std::string::npos) << text.out;

  CommandResult js = RunCommand(exe + " info --json --groups 4:2 '" + path + "'");
  ASSERT_EQ(js.status, 0) << js.out;
  const auto j = nlohmann::json::parse(js.out);
  EXPECT_EQ(j["header"]["groups"], 7);
  EXPECT_EQ(j["header"]["stokes"][1]["name"], "LL");
  EXPECT_EQ(j["baselines"], 3);
  EXPECT_EQ(j["telescopes"].size(), 4u);
  EXPECT_EQ(j["tables"].size(), 5u);
  EXPECT_DOUBLE_EQ(j["frequencies"][0]["ifs"][1]["start_hz"].get<double>(), 22.2e9 + 16e6);
  ASSERT_EQ(j["groups"].size(), 2u);
  const auto& g = j["groups"][0];
  EXPECT_EQ(g["index"], 4);
  EXPECT_EQ(g["tel1_name"], "ONSALA60");
  EXPECT_DOUBLE_EQ(g["uvw_wavelengths"][0].get<double>(), double(SampleGroup(4).u) * 22.2e9);
  EXPECT_EQ(g["entries"].size(), 12u);
  EXPECT_DOUBLE_EQ(g["entries"][5][0].get<double>(), SampleEntry(4, 5).re);
  // Amplitudes: the largest |V| is that of the last group's last entry.
  const AUVXVisEntry last = SampleEntry(6, 11);
  EXPECT_NEAR(j["amplitude"]["max"].get<double>(), std::hypot(double(last.re), double(last.im)), 1e-9);
  EXPECT_EQ(j["weight"]["min"], 1.0);
  EXPECT_EQ(j["time_range_s"]["last"], 20.0);
}

TEST(InfoCommand, DamagedFileGivesOneLineError) {
  if (!HaveExe()) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string path = dir.File("s.uvx");
  WriteSampleFile(path, 3);
  std::string bytes = ReadAll(path);
  WriteAllBytes(path, bytes.substr(0, bytes.size() - 10));
  CommandResult r = RunCommand(std::string(QVLMODEL_EXE) + " info '" + path + "'");
  EXPECT_NE(r.status, 0);
  EXPECT_EQ(r.out.find(path), r.out.find("qvlmodel info: ") + 15) << r.out;
  EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << r.out;
  CommandResult bad = RunCommand(std::string(QVLMODEL_EXE) + " info --groups x '" + path + "'");
  EXPECT_NE(bad.status, 0);
}
