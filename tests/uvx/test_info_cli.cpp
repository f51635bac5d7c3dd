// `qvlmodel info` on a small file: text, JSON, a group listing, and a damaged file.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "uvx_test_util.h"

TEST(InfoCommand, SummaryJsonAndDamagedFile) {
  if (!std::filesystem::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string path = dir.File("s.uvx");
  WriteSampleFile(path, 7);
  const std::string exe = QVLMODEL_EXE;
  CommandOutput text = RunShell(exe + " info '" + path + "'");
  ASSERT_EQ(text.status, 0) << text.out;
  EXPECT_NE(text.out.find("Stokes:           2 (RR LL)"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("MEDICINA"), std::string::npos);
  EXPECT_NE(text.out.find("Baselines:        3"), std::string::npos);
  EXPECT_NE(text.out.find("2000-01-01 01:00:00"), std::string::npos) << text.out;

  CommandOutput js = RunShell(exe + " info --json --groups 4:2 '" + path + "'");
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

  // A column name with a byte that is not UTF-8 and an escape character: the JSON carries a
  // replacement character, the text the escaped bytes; neither reaches the terminal raw.
  std::string bytes = ReadAll(path);
  std::string odd = bytes;
  const std::size_t at = odd.find("ANNAME");
  ASSERT_NE(at, std::string::npos);
  odd[at] = '\xff';
  odd[at + 1] = '\x1b';
  WriteAllBytes(path, odd);
  js = RunShell(exe + " info --json '" + path + "'");
  ASSERT_EQ(js.status, 0) << js.out;
  EXPECT_NE(js.out.find("\"\xef\xbf\xbd\\u001bNAME\""), std::string::npos) << js.out;
  text = RunShell(exe + " info '" + path + "'");
  ASSERT_EQ(text.status, 0) << text.out;
  EXPECT_NE(text.out.find("column \\xFF\\x1BNAME"), std::string::npos) << text.out;
  EXPECT_EQ(text.out.find('\x1b'), std::string::npos);

  // A damaged file: one line naming the file, non-zero status; a bad option fails too.
  WriteAllBytes(path, bytes.substr(0, bytes.size() - 10));
  CommandOutput r = RunShell(exe + " info '" + path + "'");
  EXPECT_NE(r.status, 0);
  EXPECT_EQ(r.out.find(path), r.out.find("qvlmodel info: ") + 15) << r.out;
  EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << r.out;
  EXPECT_NE(RunShell(exe + " info --groups x '" + path + "'").status, 0);
}
