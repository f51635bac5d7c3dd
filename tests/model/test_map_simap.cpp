// The spectral-index map: its text file and its settings form.

#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "model/map_simap.h"
#include "model/model_test_util.h"

namespace {

AMSIMap Sample() {
  AMSIMap m;
  m.Initialize(3, 2);
  m(0, 0) = 0.0f, m(0, 1) = -0.7f;
  m(1, 0) = 2.5f, m(1, 1) = 1e-8f;
  m(2, 0) = -123456.789f, m(2, 1) = 0.1f;
  return m;
}

}  // namespace

TEST(SpectralIndexMap, TextFileRoundTripsAndDocumentedForm) {
  const AMSIMap m = Sample();
  std::ostringstream out;
  m.Save(out);
  const std::string text = out.str();
  EXPECT_NE(text.find("\nSIMAP 3 2\n0, -0.7\n2.5, 1e-08\n-123456.79, 0.1\n"), std::string::npos) << text;
  AMSIMap back;
  std::istringstream in(text);
  std::string error;
  ASSERT_TRUE(back.Load(in, &error)) << error;
  EXPECT_TRUE(SameMatrix(back, m));
  // Written by hand: comments, blanks or commas between values, a '+' sign.
  std::istringstream hand("# indices of two components\n\n  SIMAP 2 3  # shape\n1 2 3\n+4,5 , -6e-1 # row 1\n");
  ASSERT_TRUE(back.Load(hand, &error)) << error;
  ASSERT_EQ(back.rows, 2u);
  ASSERT_EQ(back.cols, 3u);
  EXPECT_EQ(back(1, 0), 4.0f);
  EXPECT_EQ(back(1, 2), -0.6f);
  // Through a file, written complete.
  TempDir dir;
  ASSERT_TRUE(m.SaveFile(dir.File("si.txt"), &error)) << error;
  AMSIMap from_file;
  ASSERT_TRUE(from_file.LoadFile(dir.File("si.txt"), &error)) << error;
  EXPECT_TRUE(SameMatrix(from_file, m));
  EXPECT_FALSE(m.SaveFile(dir.File("no/dir/si.txt"), &error));
  EXPECT_FALSE(from_file.LoadFile(dir.File("missing.txt"), &error));
}

TEST(SpectralIndexMap, DamagedTextIsRefusedAndTheMapKept) {
  const struct {
    const char* text;
    const char* reason;
  } cases[] = {
      {"", "no \"SIMAP"},
      {"ROWS 2 2\n", "line 1: expected"},
      {"SIMAP 2\n", "line 1: expected"},
      {"SIMAP -1 2\n", "bad or too large"},
      {"SIMAP 70000 1\n", "bad or too large"},
      {"SIMAP 5000 5000\n", "bad or too large"},
      {"SIMAP 2 2\n1 2\n", "only 1 of 2 rows"},
      {"SIMAP 1 2\n1 2\n3 4\n", "line 3: more rows"},
      {"SIMAP 1 2\n1\n", "line 2: 1 values where 2"},
      {"SIMAP 1 3\n1,,2\n", "'' is not"},
      {"SIMAP 1 2\n1 x\n", "'x' is not"},
      {"SIMAP 1 2\n1 inf\n", "'inf' is not"},
      {"SIMAP 1 2\n1 1e39\n", "'1e39' is not"},
  };
  for (const auto& c : cases) {
    AMSIMap m = Sample();
    std::istringstream in(c.text);
    std::string error;
    EXPECT_FALSE(m.Load(in, &error)) << c.text;
    EXPECT_NE(error.find(c.reason), std::string::npos) << c.text << " -> " << error;
    EXPECT_TRUE(SameMatrix(m, Sample())) << c.text;
  }
}

TEST(SpectralIndexMap, SettingsForm) {
  const AMSIMap m = Sample();
  const auto kv = m.ToSettings();
  // valToStr of each float as a double, joined with ", ", nothing after the last.
  using Settings = std::vector<std::pair<std::string, std::string>>;
  const Settings settings = {{"ROW-COL", "3\t2"},
                             {"ROW0", "0, -0.699999988079071"},
                             {"ROW1", "2.5, 9.99999993922529e-09"},
                             {"ROW2", "-123456.7890625, 0.10000000149011612"}};
  EXPECT_EQ(Settings(kv.begin(), kv.end()), settings);

  std::map<std::string, std::string> store(kv.begin(), kv.end());
  auto get = [&store](const std::string& key) -> std::optional<std::string> {
    const auto it = store.find(key);
    if (it == store.end()) return std::nullopt;
    return it->second;
  };
  AMSIMap back;
  back.FromSettings(get);
  EXPECT_TRUE(SameMatrix(back, m));

  // Short rows leave zeros; a missing row is all zeros; extra values and junk are ignored.
  store = {{"ROW-COL", "3\t3"}, {"ROW0", "1.5"}, {"ROW2", "2, x, 4, 5"}};
  back.FromSettings(get);
  ASSERT_EQ(back.rows, 3u);
  ASSERT_EQ(back.cols, 3u);
  const float want[9] = {1.5f, 0, 0, 0, 0, 0, 2, 0, 4};
  for (int i = 0; i < 9; ++i) EXPECT_EQ(back.data[i], want[i]) << i;
  // A missing, malformed or absurd shape gives an empty map.
  for (const char* shape : {"", "3", "-1\t2", "100000\t2", "5000\t5000"}) {
    store = {{"ROW-COL", shape}, {"ROW0", "1, 2"}};
    back.FromSettings(get);
    EXPECT_EQ(back.Elements(), 0u) << shape;
  }
  store.clear();
  back.FromSettings(get);
  EXPECT_EQ(back.Elements(), 0u);
}
