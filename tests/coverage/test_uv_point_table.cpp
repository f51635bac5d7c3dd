#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "coverage/uv_plane.h"
#include "coverage/uv_point_table.h"
#include "coverage/uv_review.h"
#include "coverage_fixture.h"

namespace {

// Writes a UV-point file: the header image (count and u, v, w extremes) and the records.
void WriteUVFile(const std::string& path, const std::vector<AMUVPoint>& points, std::int32_t declared = -1) {
  AUVXHeader h;
  h.groups = declared >= 0 ? declared : std::int32_t(points.size());
  AUVXMinMax& m = h.extremes;
  for (const AMUVPoint& p : points) {
    m.u_min = std::min(m.u_min, double{p.u});
    m.u_max = std::max(m.u_max, double{p.u});
    m.v_min = std::min(m.v_min, double{p.v});
    m.v_max = std::max(m.v_max, double{p.v});
    m.w_min = std::min(m.w_min, double{p.w});
    m.w_max = std::max(m.w_max, double{p.w});
  }
  unsigned char image[AUVXHeader::kImageBytes];
  h.ToImage(image);
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(image), sizeof image);
  for (const AMUVPoint& p : points) {
    unsigned char rec[kUVPointBytes];
    PackUVPoint(p, rec);
    out.write(reinterpret_cast<const char*>(rec), sizeof rec);
  }
}

// The plain reference: every record of the file in order.
std::vector<AMUVPoint> ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<AMUVPoint> out;
  for (std::size_t at = AUVXHeader::kImageBytes; at + kUVPointBytes <= bytes.size(); at += kUVPointBytes)
    out.push_back(UnpackUVPoint(reinterpret_cast<const unsigned char*>(bytes.data()) + at));
  return out;
}

AMObservation TwoNamed(const std::string& folder) {
  AMObservation obs(folder + "/");
  obs.telescopes.Add(Ground("VLBA_BR", 0, 0, 0));
  obs.telescopes[0].id_name = "BR";
  obs.telescopes.Add(Ground("Effelsberg", 0, 0, 0));
  obs.telescopes[1].id_name = "";  // no ID name: the name is shown
  return obs;
}

using UVPointTable = CoverageDir;

TEST_F(UVPointTable, CellTextsByHand) {
  // u, v in seconds of light travel; 1e-3 s is 299.792458 km (float 1e-3 is 1.0000000475e-3).
  std::vector<AMUVPoint> pts(3);
  pts[0] = {-0.0425f, 0.0f, 1e-6f, 7.0, 1, 2, 3};       // telescope 3 is not in the list
  pts[1] = {1e-3f, -2e-3f, 0.0f, 3723.4, 1, 1, 2};
  pts[2] = {0.0f, 0.05f, -0.01f, 86461.0, 2, 1, 2};     // second day
  WriteUVFile(Path("a.$uv"), pts);
  AMUVPointTable table;
  ASSERT_TRUE(table.Open(Path("a.$uv"), TwoNamed(dir_.string())));
  ASSERT_EQ(table.Rows(), 3);
  const std::vector<std::vector<std::string>> expected = {
      // 0.0425 s (float 0.042500000447) = 12741.1796 km = 0.99884 ED; 1e-6 s = 0.2998 km
      {"00:00:07.0", "Effelsberg-3", "0.9988", "-12741.180", "0.000", "0.300"},
      // sqrt(1 + 4) e-3 s = 670.3563 km = 0.05255 Earth diameters of 12756 km
      {"01:02:03.4", "BR-Effelsberg", "0.0526", "299.792", "-599.585", "0.000"},
      // 0.05 s = 14989.623 km = 1.17510 ED
      {"1d 00:01:01.0", "BR-Effelsberg", "1.1751", "0.000", "14989.623", "-2997.925"},
  };
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < AMUVPointTable::kColumnCount; ++c)
      EXPECT_EQ(table.Text(r, c), expected[std::size_t(r)][std::size_t(c)]) << r << "," << c;
  const std::vector<std::string> titles = {"Time", "Baseline", "Projection [ED]", "U [km]", "V [km]", "W [km]"};
  for (int c = 0; c < AMUVPointTable::kColumnCount; ++c) EXPECT_EQ(AMUVPointTable::ColumnTitle(c), titles[std::size_t(c)]);
  // Rows and columns out of range give nothing.
  AMUVPoint p;
  EXPECT_FALSE(table.Row(3, p));
  EXPECT_FALSE(table.Row(-1, p));
  EXPECT_EQ(table.Text(3, 0), "");
  EXPECT_EQ(table.Text(0, 6), "");
  // No text of the file is wider than the column's widest text.
  for (int c = 0; c < AMUVPointTable::kColumnCount; ++c)
    for (int r = 0; r < 3; ++r) EXPECT_LE(table.Text(r, c).size(), table.WidestText(c).size()) << r << "," << c;
}

TEST_F(UVPointTable, RandomAccessMatchesSequentialRead) {
  // Many blocks, read in a random order: every row must equal the plain sequential read, whatever
  // the cache holds and evicts.
  std::mt19937 gen(12345);
  std::uniform_real_distribution<float> uvw(-0.5f, 0.5f);
  const int n = AMUVPointTable::kBlockRecords * (AMUVPointTable::kCachedBlocks + 5) + 17;
  std::vector<AMUVPoint> pts(static_cast<std::size_t>(n));
  for (int k = 0; k < n; ++k) {
    AMUVPoint& p = pts[std::size_t(k)];
    p = {uvw(gen), uvw(gen), uvw(gen), 10.0 * k, std::int16_t(1 + k % 3), std::uint8_t(1 + k % 4), std::uint8_t(5 + k % 7)};
  }
  WriteUVFile(Path("b.$uv"), pts);
  const std::vector<AMUVPoint> ref = ReadAll(Path("b.$uv"));
  ASSERT_EQ(ref.size(), pts.size());
  AMUVPointTable table;
  ASSERT_TRUE(table.Open(Path("b.$uv"), SmallObservation(dir_.string())));
  ASSERT_EQ(table.Rows(), n);
  std::vector<std::int64_t> order(static_cast<std::size_t>(n));
  for (int k = 0; k < n; ++k) order[std::size_t(k)] = k;
  std::shuffle(order.begin(), order.end(), gen);
  order.insert(order.end(), {n - 1, 0, n - 1, AMUVPointTable::kBlockRecords - 1, AMUVPointTable::kBlockRecords});
  for (const std::int64_t r : order) {
    AMUVPoint p;
    ASSERT_TRUE(table.Row(r, p)) << r;
    const AMUVPoint& q = ref[std::size_t(r)];
    ASSERT_TRUE(p.u == q.u && p.v == q.v && p.w == q.w && p.time == q.time && p.freq_id == q.freq_id &&
                p.tel1 == q.tel1 && p.tel2 == q.tel2)
        << r;
  }
  for (int c = 0; c < AMUVPointTable::kColumnCount; ++c)
    for (int r = 0; r < n; r += 97) EXPECT_LE(table.Text(r, c).size(), table.WidestText(c).size()) << r << "," << c;
}

TEST_F(UVPointTable, BaselinesOfARealUVPlane) {
  AMObservation obs = SmallObservation(dir_.string());
  obs.intervals.Add({3600.0, 7200.0, 1, 0});
  obs.telescopes[1].params[tlsc::kZMax] = 80.0;  // SC drops out for part of the time
  AMUVPlane plane;
  ASSERT_TRUE(plane.Calculate(obs, nullptr, nullptr, nullptr));
  AMUVPointTable table;
  ASSERT_TRUE(table.Open(plane.UVPath(), obs));
  EXPECT_EQ(table.Rows(), plane.Points());

  std::vector<AMUVBaselinePoints> groups;
  ASSERT_TRUE(table.Baselines(groups));
  AMUVReview review;  // counts per baseline from the review summary, read separately
  ASSERT_TRUE(ReviewUVFile(plane.UVPath(), review));
  ASSERT_EQ(groups.size(), review.baselines.size());
  for (std::size_t b = 0; b < groups.size(); ++b) {
    EXPECT_EQ(groups[b].tel1, review.baselines[b].tel1);
    EXPECT_EQ(groups[b].tel2, review.baselines[b].tel2);
    EXPECT_EQ(std::int64_t(groups[b].u_km.size()), review.baselines[b].points);
    EXPECT_EQ(groups[b].v_km.size(), groups[b].u_km.size());
    EXPECT_EQ(groups[b].label, std::string(obs.telescopes[groups[b].tel1 - 1].name) + "-" +
                                   obs.telescopes[groups[b].tel2 - 1].name);
  }
  // The points of each baseline in file order, in km.
  const std::vector<AMUVPoint> ref = ReadAll(plane.UVPath());
  for (const AMUVBaselinePoints& g : groups) {
    std::size_t k = 0;
    for (const AMUVPoint& p : ref) {
      if (p.tel1 != g.tel1 || p.tel2 != g.tel2) continue;
      ASSERT_LT(k, g.u_km.size());
      EXPECT_FLOAT_EQ(g.u_km[k], float(p.u * 299792.458));
      EXPECT_FLOAT_EQ(g.v_km[k], float(p.v * 299792.458));
      ++k;
    }
    EXPECT_EQ(k, g.u_km.size());
  }
}

TEST_F(UVPointTable, RefusesDamagedFilesAndSurvivesTruncation) {
  std::vector<AMUVPoint> pts(40, AMUVPoint{1e-3f, 1e-3f, 0.f, 1.0, 1, 1, 2});
  const AMObservation obs = TwoNamed(dir_.string());
  AMUVPointTable table;
  WriteUVFile(Path("more.$uv"), pts, 41);  // declares a record the file does not hold
  EXPECT_FALSE(table.Open(Path("more.$uv"), obs));
  EXPECT_FALSE(table.Open(Path("missing.$uv"), obs));
  std::ofstream(Path("short.$uv")) << "too short for a header";
  EXPECT_FALSE(table.Open(Path("short.$uv"), obs));
  EXPECT_FALSE(table.IsOpen());
  std::vector<AMUVBaselinePoints> groups;
  EXPECT_FALSE(table.Baselines(groups));

  // A file cut short after it was opened: rows past the end fail instead of showing garbage.
  WriteUVFile(Path("cut.$uv"), pts);
  ASSERT_TRUE(table.Open(Path("cut.$uv"), obs));
  std::filesystem::resize_file(Path("cut.$uv"), AUVXHeader::kImageBytes + 10 * kUVPointBytes);
  AMUVPoint p;
  EXPECT_FALSE(table.Row(39, p));
  EXPECT_EQ(table.Text(39, AMUVPointTable::kU), "");
  EXPECT_FALSE(table.Baselines(groups));
}

}  // namespace
