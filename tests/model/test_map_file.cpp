// Map files (.exm/.amap) and FITS images: exact byte layout, round trips, damaged and hostile
// files, writing that leaves a complete file or none, and the folder listing of a map series.

#include <fitsio.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>

#include "model/map_file.h"
#include "model/map_model.h"
#include "uvx/uvx_test_util.h"

namespace {

AMatrix<float> SampleMap(std::uint32_t rows, std::uint32_t cols) {
  AMatrix<float> m(rows, cols);
  for (std::uint32_t r = 0; r < rows; ++r)
    for (std::uint32_t c = 0; c < cols; ++c) m(r, c) = (r == c ? 0.0f : float(r) * 0.5f - float(c) * 0.125f);
  return m;
}

template <class T>
T At(const std::string& bytes, std::size_t offset) {
  T v;
  std::memcpy(&v, bytes.data() + offset, sizeof v);
  return v;
}

template <class T>
void PutAt(std::string& bytes, std::size_t offset, T v) {
  std::memcpy(bytes.data() + offset, &v, sizeof v);
}

bool SameMatrix(const AMatrix<float>& a, const AMatrix<float>& b) {
  return a.rows == b.rows && a.cols == b.cols && std::memcmp(a.data, b.data, std::size_t(a.Elements()) * 4) == 0;
}

bool NoTemporaries(const std::string& folder) {
  for (const auto& e : std::filesystem::directory_iterator(folder))
    if (e.path().string().find(".part~") != std::string::npos) return false;
  return true;
}

}  // namespace

TEST(MapFile, ExmLayoutIsExactAndRoundTrips) {
  TempDir dir;
  const std::string path = dir.File("m.exm");
  const AMatrix<float> map = SampleMap(3, 4);
  const TMinMax range{-1.5, 2.25, 0.125, -3.0};
  std::string error;
  ASSERT_TRUE(SaveMapAny(path, map, range, "JY/PIXEL", &error)) << error;
  const std::string bytes = ReadAll(path);
  ASSERT_EQ(bytes.size(), 128u + 4u * 12u);
  EXPECT_EQ(bytes.substr(0, 8), std::string("QVLMAP\0\x1a", 8));
  EXPECT_EQ(At<std::uint32_t>(bytes, 8), 1u);
  EXPECT_EQ(At<std::uint32_t>(bytes, 12), 128u);
  EXPECT_EQ(At<std::uint32_t>(bytes, 16), 3u);
  EXPECT_EQ(At<std::uint32_t>(bytes, 20), 4u);
  EXPECT_EQ(At<double>(bytes, 24), -1.5);
  EXPECT_EQ(At<double>(bytes, 32), 2.25);
  EXPECT_EQ(At<double>(bytes, 40), 0.125);
  EXPECT_EQ(At<double>(bytes, 48), -3.0);
  EXPECT_EQ(At<float>(bytes, 56), -0.375f);  // row 0, column 3
  EXPECT_EQ(At<float>(bytes, 60), 1.0f);     // row 2, column 0
  EXPECT_EQ(bytes.substr(64, 9), std::string("JY/PIXEL\0", 9));
  EXPECT_EQ(bytes.substr(96, 32), std::string(32, '\0'));
  EXPECT_EQ(At<float>(bytes, 128 + 4 * (1 * 4 + 2)), 0.25f);  // (1, 2) = 0.5 - 0.25
  EXPECT_TRUE(NoTemporaries(dir.File("")));

  AMatrix<float> back;
  TMinMax r2;
  std::string unit;
  ASSERT_TRUE(LoadMapAny(path, back, r2, unit, &error)) << error;
  EXPECT_TRUE(SameMatrix(back, map));
  EXPECT_EQ(r2.xmin, range.xmin);
  EXPECT_EQ(r2.xmax, range.xmax);
  EXPECT_EQ(r2.ymin, range.ymin);
  EXPECT_EQ(r2.ymax, range.ymax);
  EXPECT_EQ(unit, "JY/PIXEL");

  // .amap has the same layout; the class interface reads it too.
  const std::string amap = dir.File("m.AMAP");
  ASSERT_TRUE(SaveMapAny(amap, map, range, "JY/BEAM", &error)) << error;
  AMapFile f;
  ASSERT_TRUE(f.Open(amap, AMapFile::modeRead)) << f.Error();
  EXPECT_EQ(f.Header().Unit(), "JY/BEAM");
  const std::unique_ptr<AMatrix<float>> owned = f.GetMatrix();
  ASSERT_TRUE(owned);
  EXPECT_TRUE(SameMatrix(*owned, map));
  EXPECT_EQ(f.GetMinMax().xmax, 2.25);
  EXPECT_TRUE(f.Close());
}

TEST(MapFile, DamagedFilesAreRefusedWithAReason) {
  TempDir dir;
  const std::string good = dir.File("good.exm");
  std::string error;
  ASSERT_TRUE(SaveMapAny(good, SampleMap(5, 6), TMinMax{-1, 1, -1, 1}, "JY/PIXEL", &error));
  const std::string bytes = ReadAll(good);
  struct Damage {
    const char* name;
    std::function<void(std::string&)> apply;
    const char* reason;
  };
  const Damage cases[] = {
      {"magic", [](std::string& b) { b[3] = 'X'; }, "wrong magic"},
      {"version", [](std::string& b) { PutAt<std::uint32_t>(b, 8, 2); }, "version 2"},
      {"header size", [](std::string& b) { PutAt<std::uint32_t>(b, 12, 64); }, "header size"},
      {"zero rows", [](std::string& b) { PutAt<std::uint32_t>(b, 16, 0); }, "absurd map size"},
      {"huge", [](std::string& b) { PutAt<std::uint32_t>(b, 16, 65536); PutAt<std::uint32_t>(b, 20, 65536); },
       "absurd map size"},
      {"length", [](std::string& b) { PutAt<std::uint32_t>(b, 20, 7); }, "differs"},
      {"truncated", [](std::string& b) { b.resize(b.size() - 3); }, "differs"},
      {"short", [](std::string& b) { b.resize(100); }, "too short"},
      {"range", [](std::string& b) { PutAt<double>(b, 32, std::numeric_limits<double>::quiet_NaN()); },
       "not finite"},
      {"unit", [](std::string& b) { std::memset(b.data() + 64, 'A', 32); }, "not terminated"},
      {"unit text", [](std::string& b) { b[65] = '\n'; }, "control"},
      {"pixel", [](std::string& b) { PutAt<float>(b, 128 + 4 * 7, std::numeric_limits<float>::infinity()); },
       "pixel (1, 1)"},
  };
  for (const Damage& d : cases) {
    std::string damaged = bytes;
    d.apply(damaged);
    const std::string path = dir.File(std::string("bad_") + d.name + ".exm");
    WriteAllBytes(path, damaged);
    AMatrix<float> map;
    TMinMax range;
    std::string unit;
    error.clear();
    EXPECT_FALSE(LoadMapAny(path, map, range, unit, &error)) << d.name;
    EXPECT_NE(error.find(d.reason), std::string::npos) << d.name << ": " << error;
  }
  AMatrix<float> map;
  TMinMax range;
  std::string unit;
  EXPECT_FALSE(LoadMapAny(dir.File("missing.exm"), map, range, unit, &error));
  EXPECT_FALSE(LoadMapAny(good + ".txt", map, range, unit, &error));
  EXPECT_NE(error.find("unknown map file type"), std::string::npos);
}

TEST(MapFile, WritesAreCompleteOrAbsent) {
  TempDir dir;
  std::string error;
  // A folder that does not exist: nothing written, a reason given.
  EXPECT_FALSE(SaveMapAny(dir.File("no/such/m.exm"), SampleMap(2, 2), TMinMax{}, "", &error));
  EXPECT_FALSE(error.empty());
  EXPECT_FALSE(SaveMapAny(dir.File("no/such/m.fits"), SampleMap(2, 2), TMinMax{-1, 1, -1, 1}, "", &error));
  // A map with a non-finite pixel is not written, and an existing file stays as it was.
  const std::string path = dir.File("keep.exm");
  ASSERT_TRUE(SaveMapAny(path, SampleMap(2, 3), TMinMax{-1, 1, -1, 1}, "JY/PIXEL", &error));
  const std::string before = ReadAll(path);
  AMatrix<float> bad = SampleMap(2, 3);
  bad(1, 1) = std::numeric_limits<float>::quiet_NaN();
  EXPECT_FALSE(SaveMapAny(path, bad, TMinMax{-1, 1, -1, 1}, "JY/PIXEL", &error));
  EXPECT_EQ(ReadAll(path), before);
  // A writer closed without pixels, or destroyed without Close, leaves nothing.
  {
    AMapFile f;
    ASSERT_TRUE(f.Open(dir.File("empty.exm"), AMapFile::modeWrite));
    EXPECT_FALSE(f.Close());
    AMapFile g;
    ASSERT_TRUE(g.Open(dir.File("dropped.exm"), AMapFile::modeWrite));
    ASSERT_TRUE(g.PutMatrix(SampleMap(2, 2)));
  }
  EXPECT_FALSE(std::filesystem::exists(dir.File("empty.exm")));
  EXPECT_FALSE(std::filesystem::exists(dir.File("dropped.exm")));
  EXPECT_TRUE(NoTemporaries(dir.File("")));
}

TEST(MapFits, RoundTripAndAxisConvention) {
  TempDir dir;
  const std::string path = dir.File("m.fits");
  const AMatrix<float> map = SampleMap(4, 5);
  // Decreasing first axis (RA increases to the east, leftwards), 0.5 mas pixels.
  const TMinMax range{0.001, -0.001, -0.0005, 0.001};
  std::string error;
  ASSERT_TRUE(SaveMapAny(path, map, range, "JY/PIXEL", &error)) << error;
  // The header as another FITS reader sees it.
  fitsfile* f = nullptr;
  int status = 0;
  ASSERT_EQ(fits_open_diskfile(&f, path.c_str(), READONLY, &status), 0);
  double cdelt1 = 0, crpix1 = 0, cdelt2 = 0, crpix2 = 0;
  char bunit[FLEN_VALUE] = {};
  fits_read_key(f, TDOUBLE, "CDELT1", &cdelt1, nullptr, &status);
  fits_read_key(f, TDOUBLE, "CRPIX1", &crpix1, nullptr, &status);
  fits_read_key(f, TDOUBLE, "CDELT2", &cdelt2, nullptr, &status);
  fits_read_key(f, TDOUBLE, "CRPIX2", &crpix2, nullptr, &status);
  fits_read_key_str(f, "BUNIT", bunit, nullptr, &status);
  float pixel = 0;
  long first[2] = {3, 2};  // column 2, row 1 (1-based)
  fits_read_pix(f, TFLOAT, first, 1, nullptr, &pixel, nullptr, &status);
  fits_close_file(f, &status);
  ASSERT_EQ(status, 0);
  EXPECT_NEAR(cdelt1, -0.0005 / 3600.0, 1e-20);
  EXPECT_NEAR(crpix1, 3.0, 1e-9);  // column 2 (1-based 3) is the centre
  EXPECT_NEAR(cdelt2, 0.0005 / 3600.0, 1e-20);
  EXPECT_NEAR(crpix2, 2.0, 1e-9);
  EXPECT_STREQ(bunit, "JY/PIXEL");
  EXPECT_EQ(pixel, map(1, 2));

  AMatrix<float> back;
  TMinMax r2;
  std::string unit;
  ASSERT_TRUE(LoadMapAny(path, back, r2, unit, &error)) << error;
  EXPECT_TRUE(SameMatrix(back, map));
  EXPECT_NEAR(r2.xmin, range.xmin, 1e-15);
  EXPECT_NEAR(r2.xmax, range.xmax, 1e-15);
  EXPECT_NEAR(r2.ymin, range.ymin, 1e-15);
  EXPECT_NEAR(r2.ymax, range.ymax, 1e-15);
  EXPECT_EQ(unit, "JY/PIXEL");
}

TEST(MapFits, FourAxisImagesAndDamagedFiles) {
  TempDir dir;
  // A 4-D image (RA, DEC, FREQ, STOKES with one plane each), Jy/beam, 16-bit with BSCALE, as an
  // imaging program writes it; a blank (NaN) pixel reads as 0.
  auto write_cube = [&](const std::string& path, long planes, bool with_cdelt) {
    fitsfile* f = nullptr;
    int status = 0;
    long naxes[4] = {3, 2, planes, 1};
    fits_create_diskfile(&f, path.c_str(), &status);
    fits_create_img(f, FLOAT_IMG, 4, naxes, &status);
    char unit[] = "JY/BEAM";
    double crpix1 = 2, crpix2 = 1.5, cdelt1 = -1e-6, cdelt2 = 2e-6, crval = 45.0;
    fits_write_key(f, TSTRING, "BUNIT", unit, nullptr, &status);
    if (with_cdelt) fits_write_key(f, TDOUBLE, "CDELT1", &cdelt1, nullptr, &status);
    fits_write_key(f, TDOUBLE, "CRPIX1", &crpix1, nullptr, &status);
    fits_write_key(f, TDOUBLE, "CRVAL1", &crval, nullptr, &status);
    fits_write_key(f, TDOUBLE, "CD2_2", &cdelt2, nullptr, &status);  // the CD form of the spacing
    fits_write_key(f, TDOUBLE, "CRPIX2", &crpix2, nullptr, &status);
    float px[12] = {1, 2, 3, std::numeric_limits<float>::quiet_NaN(), 5, 6, 7, 8, 9, 10, 11, 12};
    long first[4] = {1, 1, 1, 1};
    fits_write_pix(f, TFLOAT, first, 6 * planes, px, &status);
    fits_close_file(f, &status);
    ASSERT_EQ(status, 0);
  };
  const std::string cube = dir.File("cube.fits");
  write_cube(cube, 1, true);
  AMatrix<float> map;
  TMinMax range;
  std::string unit, error;
  ASSERT_TRUE(LoadMapAny(cube, map, range, unit, &error)) << error;
  ASSERT_EQ(map.rows, 2u);
  ASSERT_EQ(map.cols, 3u);
  EXPECT_EQ(map(0, 0), 1.0f);
  EXPECT_EQ(map(1, 0), 0.0f);  // the blank
  EXPECT_EQ(map(1, 2), 6.0f);
  EXPECT_EQ(unit, "JY/BEAM");
  // x = (c + 1 - CRPIX1) CDELT1 3600: columns at +3.6, 0, -3.6 mas; rows at -3.6, +3.6 mas.
  EXPECT_NEAR(range.xmin, 0.0036, 1e-15);
  EXPECT_NEAR(range.xmax, -0.0036, 1e-15);
  EXPECT_NEAR(range.ymin, -0.0036, 1e-15);
  EXPECT_NEAR(range.ymax, 0.0036, 1e-15);

  const std::string planes = dir.File("planes.fits");
  write_cube(planes, 2, true);
  EXPECT_FALSE(LoadMapAny(planes, map, range, unit, &error));
  EXPECT_NE(error.find("not 2-D"), std::string::npos) << error;
  const std::string nostep = dir.File("nostep.fts");
  write_cube(nostep, 1, false);
  EXPECT_FALSE(LoadMapAny(nostep, map, range, unit, &error));
  EXPECT_NE(error.find("CDELT1"), std::string::npos) << error;
  // Truncated data, garbage, and a header announcing a huge image in a small file.
  std::string bytes = ReadAll(cube);
  const std::string cut = dir.File("cut.fits");
  WriteAllBytes(cut, bytes.substr(0, 2880 + 8));
  EXPECT_FALSE(LoadMapAny(cut, map, range, unit, &error));
  const std::string junk = dir.File("junk.fit");
  WriteAllBytes(junk, std::string(5000, 'x'));
  EXPECT_FALSE(LoadMapAny(junk, map, range, unit, &error));
  std::string huge = bytes;
  const std::size_t at = huge.find("NAXIS1  =");
  ASSERT_NE(at, std::string::npos);
  huge.replace(at, 30, "NAXIS1  =                 4000");
  const std::size_t at2 = huge.find("NAXIS2  =");
  huge.replace(at2, 30, "NAXIS2  =                 4000");
  const std::string big = dir.File("big.fits");
  WriteAllBytes(big, huge);
  EXPECT_FALSE(LoadMapAny(big, map, range, unit, &error));
  EXPECT_NE(error.find("truncated"), std::string::npos) << error;
}

TEST(MapFolder, ListsExmFilesInNameOrder) {
  TempDir dir;
  const std::string folder = dir.File("series");
  std::filesystem::create_directories(folder + "/sub.exm");  // a folder, not a map
  for (const char* name : {"m02.exm", "m10.exm", "m01.EXM", "notes.txt", "m03.fits"})
    WriteAllBytes(folder + "/" + name, "x");
  std::vector<std::string> paths{"stale"};
  ASSERT_TRUE(ListMapFolder(folder, paths));
  ASSERT_EQ(paths.size(), 3u);
  EXPECT_EQ(std::filesystem::path(paths[0]).filename(), "m01.EXM");
  EXPECT_EQ(std::filesystem::path(paths[1]).filename(), "m02.exm");
  EXPECT_EQ(std::filesystem::path(paths[2]).filename(), "m10.exm");
  EXPECT_TRUE(ListMapFolder(dir.File(""), paths));  // no maps: listed, empty
  EXPECT_TRUE(paths.empty());
  EXPECT_FALSE(ListMapFolder(dir.File("missing"), paths));
}
