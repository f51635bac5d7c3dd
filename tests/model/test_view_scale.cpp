// The model view's arithmetic: unit prefixes, field of view, square-pixel sizes, the pixel under
// a position, mirroring, and the saved map read back (FITS with east on the left); the rows of the
// spectral-index map for a UVX file and its reshaping.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "model/map_fits.h"
#include "model/map_model.h"
#include "model/simap_rows.h"
#include "model/view_scale.h"
#include "model_test_util.h"

namespace {

// A map whose pixel (r, c) holds 10 r + c, so every pixel can be recognised.
AMatrix<float> Numbered(std::uint32_t rows, std::uint32_t cols) {
  AMatrix<float> m(rows, cols);
  for (std::uint32_t r = 0; r < rows; ++r)
    for (std::uint32_t c = 0; c < cols; ++c) m(r, c) = float(10 * r + c);
  return m;
}

}  // namespace

TEST(ViewScale, PrefixesFollowTheMagnitude) {
  const struct {
    double magnitude;
    const char* text;
    double scale;
  } cases[] = {{2.0, "", 1},           {1.0, "", 1},           {0.999, "m", 1e3}, {0.02, "m", 1e3},
               {1e-3, "m", 1e3},       {9.99e-4, "\xC2\xB5", 1e6}, {2e-6, "\xC2\xB5", 1e6}, {5e-7, "n", 1e9},
               {0.0, "", 1},           {-3.0, "", 1},          {std::numeric_limits<double>::infinity(), "", 1}};
  for (const auto& c : cases) {
    const AUnitPrefix p = ChoosePrefix(c.magnitude);
    EXPECT_STREQ(p.text, c.text) << c.magnitude;
    EXPECT_EQ(p.scale, c.scale) << c.magnitude;
  }
}

TEST(ViewScale, FieldOfViewAndSquarePixels) {
  const TMinMax r = FieldOfViewRange(0.02, 0.01);
  EXPECT_EQ(r.xmin, -0.01);
  EXPECT_EQ(r.xmax, 0.01);
  EXPECT_EQ(r.ymin, -0.005);
  EXPECT_EQ(r.ymax, 0.005);
  const struct {
    double ra, dec;
    std::uint32_t rows, cols;
  } cases[] = {{1, 1, 200, 200}, {0.02, 0.01, 100, 200}, {0.01, 0.04, 200, 50}, {1, 1e-6, 2, 200}, {0, 1, 200, 200}};
  for (const auto& c : cases) {
    std::uint32_t rows = 0, cols = 0;
    ViewMapSize(c.ra, c.dec, 200, rows, cols);
    EXPECT_EQ(rows, c.rows) << c.ra << " x " << c.dec;
    EXPECT_EQ(cols, c.cols) << c.ra << " x " << c.dec;
  }
}

TEST(ViewScale, PixelUnderAPosition) {
  const AMatrix<float> m = Numbered(3, 5);  // x -2..2 (1 per column), y -1..1 (1 per row)
  const TMinMax range{-2, 2, -1, 1};
  const struct {
    double x, y;
    bool inside;
    std::uint32_t row, col;
  } cases[] = {{-2, -1, true, 0, 0}, {2, 1, true, 2, 4}, {0.4, -0.6, true, 0, 2}, {2.49, 0, true, 1, 4},
               {2.51, 0, false, 0, 0}, {0, -1.6, false, 0, 0}};
  for (const auto& c : cases) {
    std::uint32_t row = 99, col = 99;
    EXPECT_EQ(MapPixelAt(m, range, c.x, c.y, row, col), c.inside) << c.x << ", " << c.y;
    if (c.inside) {
      EXPECT_EQ(row, c.row);
      EXPECT_EQ(col, c.col);
    }
  }
}

TEST(ViewScale, MirroringKeepsEveryPixelAtItsSkyPosition) {
  AMatrix<float> m = Numbered(3, 4);
  TMinMax range{-3, 3, -2, 2};
  MirrorColumns(m, range);
  MirrorRows(m, range);
  EXPECT_EQ(range.xmin, 3);
  EXPECT_EQ(range.ymin, 2);
  EXPECT_EQ(m(0, 0), 23.0f);  // the pixel that was at (x 3, y 2)
  EXPECT_EQ(m(2, 3), 0.0f);
  EXPECT_EQ(m(1, 1), 12.0f);
  NormalizeMapAxes(m, range);
  EXPECT_TRUE(SameMatrix(m, Numbered(3, 4)));
  EXPECT_EQ(range.xmin, -3);
  EXPECT_EQ(range.ymax, 2);
}

TEST(ViewScale, SavedMapsReadBackOnTheSameSky) {
  TempDir dir;
  const AMatrix<float> m = Numbered(4, 6);
  const TMinMax range{-0.01, 0.015, -0.006, 0.003};
  std::string error;
  for (const char* name : {"view.exm", "view.fits"}) {
    const std::string path = dir.File(name);
    ASSERT_TRUE(SaveViewMap(path, m, range, &error)) << error;
    AMatrix<float> back;
    TMinMax back_range;
    std::string unit;
    ASSERT_TRUE(LoadMapAny(path, back, back_range, unit, &error)) << error;
    EXPECT_EQ(unit, "JY/PIXEL");
    if (std::string(name) == "view.fits") {
      // East on the left: the first column is the largest offset, CDELT1 < 0.
      EXPECT_GT(back_range.xmin, back_range.xmax);
      EXPECT_EQ(back(0, 0), m(0, 5));
    }
    NormalizeMapAxes(back, back_range);
    EXPECT_TRUE(SameMatrix(back, m)) << name;
    EXPECT_NEAR(back_range.xmin, range.xmin, 1e-12) << name;
    EXPECT_NEAR(back_range.xmax, range.xmax, 1e-12) << name;
    EXPECT_NEAR(back_range.ymin, range.ymin, 1e-12) << name;
    EXPECT_NEAR(back_range.ymax, range.ymax, 1e-12) << name;
  }
  EXPECT_FALSE(SaveViewMap(dir.File("view.png"), m, range, &error));
  EXPECT_FALSE(std::filesystem::exists(dir.File("view.png")));
}

TEST(SIMapRows, OneRowPerSetUpAndIfOfTheFile) {
  TempDir dir;
  WriteSampleFile(dir.File("s.uvx"));
  std::vector<ASIMapRow> rows;
  std::string error;
  ASSERT_TRUE(SIMapRowsOfFile(dir.File("s.uvx"), rows, &error)) << error;
  ASSERT_EQ(rows.size(), 2u);  // one set-up of 2 IFs
  EXPECT_EQ(rows[0].freq_id, 1);
  EXPECT_EQ(rows[0].if_index, 0);
  EXPECT_EQ(rows[0].freq_hz, 22.2e9);
  EXPECT_EQ(rows[1].if_index, 1);
  EXPECT_EQ(rows[1].freq_hz, 22.216e9);

  EXPECT_FALSE(SIMapRowsOfFile(dir.File("missing.uvx"), rows, &error));
  EXPECT_NE(error.find("missing.uvx"), std::string::npos);
  WriteAllBytes(dir.File("bad.uvx"), "not a uvx file at all");
  EXPECT_FALSE(SIMapRowsOfFile(dir.File("bad.uvx"), rows, &error));
}

TEST(SIMapRows, ReshapeKeepsTheOverlap) {
  AMSIMap map;
  map.Initialize(2, 3, 0.0f);
  for (std::uint32_t r = 0; r < 2; ++r)
    for (std::uint32_t c = 0; c < 3; ++c) map(r, c) = float(r) - 0.5f * float(c);
  ReshapeSIMap(map, 3, 2, 7.0f);
  ASSERT_EQ(map.rows, 3u);
  ASSERT_EQ(map.cols, 2u);
  const float want[3][2] = {{0.0f, -0.5f}, {1.0f, 0.5f}, {7.0f, 7.0f}};
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 2; ++c) EXPECT_EQ(map(r, c), want[r][c]) << r << ", " << c;
  ReshapeSIMap(map, 0, 0);
  EXPECT_EQ(map.Elements(), 0u);
}
