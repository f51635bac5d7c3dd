// Map files (.exm/.amap) and FITS images: exact byte layout, round trips, damaged and hostile
// files, writing that leaves a complete file or none, and the folder listing of a map series.

#include <fitsio.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>

#include <sstream>

#include "model/map_file.h"
#include "model/map_model.h"
#include "model/map_simap.h"
#include "model/model_test_util.h"
#include "rlimit_child.h"

namespace {

AMatrix<float> SampleMap(std::uint32_t rows, std::uint32_t cols) {
  AMatrix<float> m(rows, cols);
  for (std::uint32_t r = 0; r < rows; ++r)
    for (std::uint32_t c = 0; c < cols; ++c) m(r, c) = (r == c ? 0.0f : float(r) * 0.5f - float(c) * 0.125f);
  return m;
}

template <class T>
void PutAt(std::string& bytes, std::size_t offset, T v) {
  std::memcpy(bytes.data() + offset, &v, sizeof v);
}

void ExpectRange(const TMinMax& got, const TMinMax& want, double tol) {
  EXPECT_NEAR(got.xmin, want.xmin, tol);
  EXPECT_NEAR(got.xmax, want.xmax, tol);
  EXPECT_NEAR(got.ymin, want.ymin, tol);
  EXPECT_NEAR(got.ymax, want.ymax, tol);
}

struct Loaded {
  int ok = 0;
  AMatrix<float> map;
  TMinMax range;
  std::string unit, error;
};

Loaded Load(const std::string& path) {
  Loaded l;
  l.ok = LoadMapAny(path, l.map, l.range, l.unit, &l.error);
  return l;
}

// Written as `bytes`, the file is refused with a reason holding `reason`.
void ExpectRefused(const std::string& path, const std::string& bytes, const std::string& reason) {
  WriteAllBytes(path, bytes);
  const Loaded l = Load(path);
  EXPECT_FALSE(l.ok) << path;
  EXPECT_NE(l.error.find(reason), std::string::npos) << path << ": " << l.error;
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
  // Version 1, header size 128, 3 rows, 4 columns; the range as four doubles.
  for (auto [at, want] : {std::pair{8, 1u}, {12, 128u}, {16, 3u}, {20, 4u}}) EXPECT_EQ(At<std::uint32_t>(bytes, at), want);
  for (auto [at, want] : {std::pair{24, -1.5}, {32, 2.25}, {40, 0.125}, {48, -3.0}}) EXPECT_EQ(At<double>(bytes, at), want);
  EXPECT_EQ(At<float>(bytes, 56), -0.375f);  // row 0, column 3
  EXPECT_EQ(At<float>(bytes, 60), 1.0f);     // row 2, column 0
  EXPECT_EQ(bytes.substr(64, 9), std::string("JY/PIXEL\0", 9));
  EXPECT_EQ(bytes.substr(96, 32), std::string(32, '\0'));
  EXPECT_EQ(At<float>(bytes, 128 + 4 * (1 * 4 + 2)), 0.25f);  // (1, 2) = 0.5 - 0.25
  EXPECT_TRUE(NoTemporaries(dir.File("")));

  const Loaded back = Load(path);
  ASSERT_TRUE(back.ok) << back.error;
  EXPECT_TRUE(SameMatrix(back.map, map));
  ExpectRange(back.range, range, 0);
  EXPECT_EQ(back.unit, "JY/PIXEL");

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
    ExpectRefused(dir.File(std::string("bad_") + d.name + ".exm"), damaged, d.reason);
  }
  EXPECT_FALSE(Load(dir.File("missing.exm")).ok);
  ExpectRefused(good + ".txt", bytes, "unknown map file type");
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
  double key[4] = {};
  const char* names[4] = {"CDELT1", "CRPIX1", "CDELT2", "CRPIX2"};
  for (int i = 0; i < 4; ++i) fits_read_key(f, TDOUBLE, names[i], &key[i], nullptr, &status);
  char bunit[FLEN_VALUE] = {};
  fits_read_key_str(f, "BUNIT", bunit, nullptr, &status);
  float pixel = 0;
  long first[2] = {3, 2};  // column 2, row 1 (1-based)
  fits_read_pix(f, TFLOAT, first, 1, nullptr, &pixel, nullptr, &status);
  fits_close_file(f, &status);
  ASSERT_EQ(status, 0);
  EXPECT_NEAR(key[0], -0.0005 / 3600.0, 1e-20);  // CDELT1
  EXPECT_NEAR(key[1], 3.0, 1e-9);                // CRPIX1: column 2 (1-based 3) is the centre
  EXPECT_NEAR(key[2], 0.0005 / 3600.0, 1e-20);   // CDELT2
  EXPECT_NEAR(key[3], 2.0, 1e-9);                // CRPIX2
  EXPECT_STREQ(bunit, "JY/PIXEL");
  EXPECT_EQ(pixel, map(1, 2));

  const Loaded back = Load(path);
  ASSERT_TRUE(back.ok) << back.error;
  EXPECT_TRUE(SameMatrix(back.map, map));
  ExpectRange(back.range, range, 1e-15);
  EXPECT_EQ(back.unit, "JY/PIXEL");
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
  const Loaded l = Load(cube);
  ASSERT_TRUE(l.ok) << l.error;
  ASSERT_EQ(l.map.rows, 2u);
  ASSERT_EQ(l.map.cols, 3u);
  EXPECT_EQ(l.map(0, 0), 1.0f);
  EXPECT_EQ(l.map(1, 0), 0.0f);  // the blank
  EXPECT_EQ(l.map(1, 2), 6.0f);
  EXPECT_EQ(l.unit, "JY/BEAM");
  // x = (c + 1 - CRPIX1) CDELT1 3600: columns at +3.6, 0, -3.6 mas; rows at -3.6, +3.6 mas.
  ExpectRange(l.range, TMinMax{0.0036, -0.0036, -0.0036, 0.0036}, 1e-15);

  const std::string bytes = ReadAll(cube), planes = dir.File("planes.fits"), nostep = dir.File("nostep.fts");
  write_cube(planes, 2, true);
  write_cube(nostep, 1, false);
  ExpectRefused(planes, ReadAll(planes), "not 2-D");
  ExpectRefused(nostep, ReadAll(nostep), "CDELT1");
  // Truncated data, garbage, and a header announcing a huge image in a small file.
  ExpectRefused(dir.File("cut.fits"), bytes.substr(0, 2880 + 8), "");
  ExpectRefused(dir.File("junk.fit"), std::string(5000, 'x'), "");
  std::string huge = bytes;
  for (const char* key : {"NAXIS1  =", "NAXIS2  ="}) {
    const std::size_t at = huge.find(key);
    ASSERT_NE(at, std::string::npos);
    huge.replace(at, 30, std::string(key) + "                 4000");
  }
  ExpectRefused(dir.File("big.fits"), huge, "truncated");
}

// Tile-compressed images: a small one reads back exactly; one whose pixels would take far more
// memory than its file could describe (8192 x 8192 of a single written row) is refused before
// the pixels are allocated.
TEST(MapFits, CompressedImages) {
  TempDir dir;
  auto write = [&](const std::string& path, long cols, long rows, long rows_written) {
    fitsfile* f = nullptr;
    int status = 0;
    long naxes[2] = {cols, rows};
    fits_create_diskfile(&f, path.c_str(), &status);
    fits_set_compression_type(f, RICE_1, &status);
    fits_create_img(f, LONG_IMG, 2, naxes, &status);
    double cdelt1 = -1e-6, cdelt2 = 1e-6, crpix = 1;
    fits_write_key(f, TDOUBLE, "CDELT1", &cdelt1, nullptr, &status);
    fits_write_key(f, TDOUBLE, "CDELT2", &cdelt2, nullptr, &status);
    fits_write_key(f, TDOUBLE, "CRPIX1", &crpix, nullptr, &status);
    fits_write_key(f, TDOUBLE, "CRPIX2", &crpix, nullptr, &status);
    std::vector<int> px(std::size_t(cols * rows_written));
    for (std::size_t i = 0; i < px.size(); ++i) px[i] = int(i % 97);
    long first[2] = {1, 1};
    fits_write_pix(f, TINT, first, long(px.size()), px.data(), &status);
    fits_close_file(f, &status);
    ASSERT_EQ(status, 0);
  };
  const std::string small = dir.File("small.fits"), huge = dir.File("huge.fits");
  write(small, 64, 32, 32);
  const Loaded l = Load(small);
  ASSERT_TRUE(l.ok) << l.error;
  ASSERT_EQ(l.map.cols, 64u);
  EXPECT_EQ(l.map(31, 63), float((31 * 64 + 63) % 97));
  write(huge, 8192, 8192, 1);
  ExpectRefused(huge, ReadAll(huge), "beyond the limit");
}

// Headers announcing maps of a gigabyte in files of a few kilobytes are refused before the pixels
// are allocated: with 64 MB of address space to spare, no reader runs out of memory.
TEST(MapFile, AbsurdSizesAreRefusedUnderAMemoryLimit) {
#ifdef QVL_TEST_ADDRESS_SANITIZER
  GTEST_SKIP() << "no address-space limit under the address sanitizer";
#else
  TempDir dir;
  const std::string exm = dir.File("m.exm"), fits = dir.File("m.fits");
  std::string error;
  ASSERT_TRUE(SaveMapAny(exm, SampleMap(4, 4), TMinMax{-1, 1, -1, 1}, "JY/PIXEL", &error)) << error;
  ASSERT_TRUE(SaveMapAny(fits, SampleMap(4, 4), TMinMax{-1, 1, -1, 1}, "JY/PIXEL", &error)) << error;
  std::string big_exm = ReadAll(exm), big_fits = ReadAll(fits);
  PutAt<std::uint32_t>(big_exm, 16, 65536);
  PutAt<std::uint32_t>(big_exm, 20, 4096);
  for (const char* key : {"NAXIS1  =", "NAXIS2  ="}) {
    const std::size_t at = big_fits.find(key);
    ASSERT_NE(at, std::string::npos);
    big_fits.replace(at, 30, std::string(key) + "                16384");
  }
  WriteAllBytes(exm, big_exm);
  WriteAllBytes(fits, big_fits);
  for (const std::string& path : {exm, fits})
    EXPECT_EQ(RunWithMemoryLimit(64 << 20, [&] { return Load(path).ok; }), 0) << path;
  // A spectral-index map announcing 2^24 values holds one row.
  EXPECT_EQ(RunWithMemoryLimit(32 << 20, [] {
              std::string text = "SIMAP 65536 256\n1";
              for (int k = 1; k < 256; ++k) text += ",1";
              std::istringstream in(text + "\n");
              AMSIMap m;
              std::string why;
              return m.Load(in, &why);
            }),
            0);
#endif
}

TEST(MapFolder, ListsExmFilesInNameOrder) {
  TempDir dir;
  const std::string folder = dir.File("series");
  std::filesystem::create_directories(folder + "/sub.exm");  // a folder, not a map
  for (const char* name : {"m02.exm", "m10.exm", "m01.EXM", "notes.txt", "m03.fits"})
    WriteAllBytes(folder + "/" + name, "x");
  std::vector<std::string> paths{"stale"};
  ASSERT_TRUE(ListMapFolder(folder, paths));
  EXPECT_EQ(paths, (std::vector<std::string>{folder + "/m01.EXM", folder + "/m02.exm", folder + "/m10.exm"}));
  EXPECT_TRUE(ListMapFolder(dir.File(""), paths));  // no maps: listed, empty
  EXPECT_TRUE(paths.empty());
  EXPECT_FALSE(ListMapFolder(dir.File("missing"), paths));
}
