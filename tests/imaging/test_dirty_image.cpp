// Dirty images of UVX files: a point source off the centre lands at its position with 1 Jy/beam,
// the whole image equals a direct Fourier sum in double precision, weights and polarizations are
// taken as documented, the FITS file says what it holds, and the command line refuses bad input.

#include <fitsio.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <filesystem>
#include <numbers>

#include "imaging/dirty_image.h"
#include "model/map_fits.h"
#include "model/map_model.h"
#include "uvx/uvx_test_util.h"

namespace {

constexpr double kMas = std::numbers::pi / 180 / 3600 / 1000;
constexpr int kGroups = 300;

// The sample file (2 IFs x 3 channels at 22.2 GHz, RR and LL) with UV tracks of five baselines
// and the visibilities of a 1 Jy point at east offset l, north offset m (radians):
// V = exp(+2 pi i (u l + v m)), weight 1 (or `weight`).
void WritePointSource(const std::string& path, double l, double m, float weight = 1) {
  WriteSampleFile(path, kGroups);
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeUpdate));
  AUVXFqTbl fq;
  ASSERT_TRUE(fq.Init(f, -1));
  for (int g = 0; g < kGroups; ++g) {
    AUVXGroup grp;
    AUVXVisibility vis(f);
    ASSERT_TRUE(f.SeekUVGroup(g) && grp.load(f) && vis.load(f));
    const int b = g % 5;
    const double h = 2 * std::numbers::pi * g / kGroups + b, r = 0.005 + 0.005 * b;  // light seconds
    grp.u = float(r * std::sin(h));
    grp.v = float(0.7 * r * std::cos(h));
    for (int k = 0; k < 2; ++k)
      for (int j = 0; j < 3; ++j) {
        const double fr = fq.GetFreq(0, k, j);
        const std::complex<double> v = std::polar(1.0, 2 * std::numbers::pi * fr * (grp.u * l + grp.v * m));
        for (int p = 0; p < 2; ++p) vis.Entry(k, j, p) = AUVXVisEntry{float(v.real()), float(v.imag()), weight};
      }
    ASSERT_TRUE(f.SeekUVGroup(g) && grp.store(f) && vis.store(f));
  }
  ASSERT_TRUE(f.Close());
}

// The dirty image by a direct Fourier sum over the file's points, natural weights, in double.
AMatrix<double> DirectImage(const std::string& path, std::uint32_t n, double cell_mas) {
  AUVXFile f;
  EXPECT_TRUE(f.Open(path, AUVXFile::modeRead));
  AUVXFqTbl fq;
  EXPECT_TRUE(fq.Init(f, -1));
  AMatrix<double> img(n, n);
  for (std::uint64_t i = 0; i < img.Elements(); ++i) img.data[i] = 0;
  double wsum = 0;
  for (std::int64_t g = 0; g < f.Groups(); ++g) {
    AUVXGroup grp;
    AUVXVisibility vis(f);
    EXPECT_TRUE(f.SeekUVGroup(g) && grp.load(f) && vis.load(f));
    for (int k = 0; k < 2; ++k)
      for (int j = 0; j < 3; ++j) {
        const double fr = fq.GetFreq(0, k, j), u = grp.u * fr, v = grp.v * fr;
        const AUVXVisEntry &a = vis.Entry(k, j, 0), &b = vis.Entry(k, j, 1);
        const std::complex<double> val(0.5 * (a.re + b.re), 0.5 * (a.im + b.im));
        const double w = 4.0 * a.weight * b.weight / (a.weight + b.weight);
        wsum += w;
        for (std::uint32_t r = 0; r < n; ++r)
          for (std::uint32_t c = 0; c < n; ++c) {
            const double x = (double(n / 2) - c) * cell_mas * kMas, y = (double(r) - n / 2) * cell_mas * kMas;
            img(r, c) += w * (val * std::polar(1.0, -2 * std::numbers::pi * (u * x + v * y))).real();
          }
      }
  }
  for (std::uint64_t i = 0; i < img.Elements(); ++i) img.data[i] /= wsum;
  return img;
}

std::string FitsKey(const std::string& path, const char* key) {
  fitsfile* f = nullptr;
  int status = 0;
  char value[FLEN_VALUE] = {};
  fits_open_diskfile(&f, path.c_str(), READONLY, &status);
  fits_read_keyword(f, key, value, nullptr, &status);
  fits_close_file(f, &status);
  return status ? std::string() : std::string(value);
}

}  // namespace

TEST(DirtyImage, PointSourceOffCentreImagesAtItsPositionAndEqualsTheDirectSum) {
  TempDir dir;
  const std::string path = dir.File("point.uvx");
  const double cell = 0.1;  // mas; the longest baseline asks for 0.16 at the Nyquist limit
  WritePointSource(path, 3 * cell * kMas, 5 * cell * kMas);  // 3 cells east, 5 north
  ADirtyImageParams params;
  params.size = 64;
  params.cell_mas = cell;
  ADirtyImage img;
  std::string error;
  ASSERT_TRUE(MakeDirtyImage(path, params, img, nullptr, nullptr, &error)) << error;
  EXPECT_EQ(img.source.points, kGroups * 6);
  EXPECT_FALSE(img.source.unit_weights);
  // East is to the left: column 32 - 3, row 32 + 5.
  EXPECT_NEAR(img.image(37, 29), 1.0, 1e-5);
  EXPECT_NEAR(img.peak, 1.0, 1e-5);
  EXPECT_NEAR(img.peak_x_mas, 3 * cell, 1e-12);
  EXPECT_NEAR(img.peak_y_mas, 5 * cell, 1e-12);
  EXPECT_NEAR(img.beam(32, 32), 1.0, 1e-6);
  const AMatrix<double> want = DirectImage(path, 64, cell);
  double worst = 0;
  for (std::uint64_t i = 0; i < want.Elements(); ++i) worst = std::max(worst, std::fabs(img.image.data[i] - want.data[i]));
  EXPECT_LT(worst, 1e-5);
  // The beam was fitted; its axes are those of the longest tracks (u 1.4 times v).
  ASSERT_TRUE(img.fit.ok) << img.fit.why;
  EXPECT_GT(img.fit.bmin_as, 0);
  EXPECT_GT(img.fit.bmaj_as, img.fit.bmin_as);
  // Other weightings move sidelobes, never the source: still 1 Jy/beam at its pixel.
  for (AImageWeighting w : {AImageWeighting::Uniform, AImageWeighting::Briggs}) {
    params.weighting = w;
    ASSERT_TRUE(MakeDirtyImage(path, params, img, nullptr, nullptr, &error)) << error;
    EXPECT_NEAR(img.image(37, 29), 1.0, 1e-5) << ImageWeightingName(w);
  }
}

TEST(DirtyImage, WeightsPolarizationsGeometryAndFits) {
  TempDir dir;
  const std::string path = dir.File("w.uvx");
  // The weights of tasks 1 and 2: all 0, counted as 1.
  WritePointSource(path, 0, 0, 0.0f);
  ADirtyImageParams params;
  ADirtyImage img;
  std::string error;
  ASSERT_TRUE(MakeDirtyImage(path, params, img, nullptr, nullptr, &error)) << error;
  EXPECT_TRUE(img.source.unit_weights);
  EXPECT_EQ(img.source.points, kGroups * 6);
  // Geometry from the baselines: cell 1 / (4 |uv|max), size the power of 2 >= 8 |uv|max / |uv|min.
  const double uvmax = img.source.uv_max;
  EXPECT_NEAR(img.cell_mas, 1 / (4 * uvmax) / kMas, 1e-9);
  EXPECT_EQ(img.size, 128u);  // 8 x 5 = 40 at most
  EXPECT_NEAR(img.image(img.size / 2, img.size / 2), 1.0, 1e-5);
  EXPECT_NEAR(uvmax, 0.025 * (22.2e9 + 16e6 + 16e6), 0.025 * 22.3e9 * 1e-3);
  // Stokes LL alone, and a product the file does not hold.
  params.stokes = AImageStokes::LL;
  ASSERT_TRUE(MakeDirtyImage(path, params, img, nullptr, nullptr, &error)) << error;
  params.stokes = AImageStokes::XX;
  EXPECT_FALSE(MakeDirtyImage(path, params, img, nullptr, nullptr, &error));
  EXPECT_NE(error.find("no polarization product for Stokes XX"), std::string::npos) << error;
  // Flagged entries (negative weights) are left out: here half of them.
  WritePointSource(path, 0, 0, 1.0f);
  {
    AUVXFile f;
    ASSERT_TRUE(f.Open(path, AUVXFile::modeUpdate));
    for (int g = 0; g < kGroups; g += 2) {
      AUVXVisibility vis(f);
      ASSERT_TRUE(f.SeekUVVis(g) && vis.load(f));
      vis.Entry(0, 0, 1).weight = -1;
      ASSERT_TRUE(f.SeekUVVis(g) && vis.store(f));
    }
    ASSERT_TRUE(f.Close());
  }
  params.stokes = AImageStokes::I;
  params.size = 32;
  params.cell_mas = 0.1;
  ASSERT_TRUE(MakeDirtyImage(path, params, img, nullptr, nullptr, &error)) << error;
  EXPECT_EQ(img.source.points, kGroups * 6 - kGroups / 2);
  // The FITS image: pixels back through the map reader, the keywords an imager's reader wants.
  const std::string fits = dir.File("d.fits"), beam = dir.File("b.fits");
  ASSERT_TRUE(WriteDirtyImageFits(fits, img, false, &error)) << error;
  ASSERT_TRUE(WriteDirtyImageFits(beam, img, true, &error)) << error;
  AMatrix<float> back;
  TMinMax range;
  std::string unit;
  ASSERT_TRUE(LoadFitsMap(fits, back, range, unit, &error)) << error;
  EXPECT_EQ(unit, "JY/BEAM");
  EXPECT_EQ(0, std::memcmp(back.data, img.image.data, back.Elements() * sizeof(float)));
  EXPECT_NEAR(range.xmin, 16 * 0.1e-3, 1e-12);  // column 0 is 16 cells east
  EXPECT_NEAR(range.ymin, -16 * 0.1e-3, 1e-12);
  EXPECT_EQ(FitsKey(fits, "CTYPE1"), "'RA---SIN'");
  EXPECT_DOUBLE_EQ(std::stod(FitsKey(fits, "CRVAL1")), 49.95);  // RAEPO of the sample file
  EXPECT_DOUBLE_EQ(std::stod(FitsKey(fits, "CRPIX1")), 17.0);
  EXPECT_NEAR(std::stod(FitsKey(fits, "BMAJ")), img.fit.bmaj_as / 3600, 1e-12 * img.fit.bmaj_as);
  EXPECT_DOUBLE_EQ(std::stod(FitsKey(fits, "EQUINOX")), 2000.0);
  EXPECT_EQ(FitsKey(fits, "OBJECT"), "'3C84    '");
  ASSERT_TRUE(LoadFitsMap(beam, back, range, unit, &error));
  EXPECT_NEAR(back(16, 16), 1.0, 1e-6);
  // Refusals before any work: odd size, bad robustness, a missing file.
  params.size = 33;
  EXPECT_FALSE(MakeDirtyImage(path, params, img, nullptr, nullptr, &error));
  EXPECT_NE(error.find("even"), std::string::npos);
  params.size = 32;
  params.weighting = AImageWeighting::Briggs;
  params.robust = 9;
  EXPECT_FALSE(MakeDirtyImage(path, params, img, nullptr, nullptr, &error));
  params.robust = 0;
  EXPECT_FALSE(MakeDirtyImage(dir.File("absent.uvx"), params, img, nullptr, nullptr, &error));
  EXPECT_NE(error.find("absent.uvx"), std::string::npos);
  StopFlag stop{1};
  EXPECT_FALSE(MakeDirtyImage(path, params, img, nullptr, &stop, &error));
  EXPECT_EQ(error, "stopped");
}

TEST(DirtyImage, AJ2000ModelMapComesBackAtItsPixel) {
  // A 2025 file with its J2000 phase centre: task 2 sums a one-pixel map on J2000 axes (turning
  // each group's u, v from the frame of date), the imager turns them the same way, and the pixel
  // comes back with 1 Jy/beam. Without the turn the source would move by a tenth of a pixel here.
  TempDir dir;
  const std::string path = dir.File("j.uvx");
  WritePointSource(path, 0, 0);
  {
    AUVXFile f;
    ASSERT_TRUE(f.Open(path, AUVXFile::modeUpdate));
    AUVXHeader h = f.Header();
    h.jd0 = 2460690.5;  // 2025-01-15
    ASSERT_TRUE(f.Write(h));
    AUVXTable su("SU", AUVXTable::toHash("SU", 0));
    const int c_ra = su.AddColumn("RAEPO", "DEGREES", "1D"), c_dec = su.AddColumn("DECEPO", "DEGREES", "1D");
    const int r = su.AddRow();
    su.SetDouble(r, c_ra, 250.745);
    su.SetDouble(r, c_dec, 39.81);
    f.AddTable(su);
    ASSERT_TRUE(f.Close());
  }
  const double cell = 0.1;  // mas
  AMatrix<float> map(64, 64);
  for (std::uint64_t i = 0; i < map.Elements(); ++i) map.data[i] = 0;
  map(32 + 20, 32 - 30) = 1;  // 30 cells east, 20 north
  const TMinMax range{32 * cell / 1000, -31 * cell / 1000, -32 * cell / 1000, 31 * cell / 1000};
  {
    AUVXFile f;
    ASSERT_TRUE(f.Open(path, AUVXFile::modeUpdate));
    std::string error;
    ASSERT_TRUE(ApplyMapModel(f, map, range, false, false, nullptr, nullptr, &error, MapEngine::Nufft, true)) << error;
    ASSERT_TRUE(f.Close());
  }
  ADirtyImageParams params;
  params.size = 64;
  params.cell_mas = cell;
  ADirtyImage img;
  std::string error;
  ASSERT_TRUE(MakeDirtyImage(path, params, img, nullptr, nullptr, &error)) << error;
  EXPECT_TRUE(img.source.j2000_axes);
  EXPECT_NEAR(img.image(52, 2), 1.0, 1e-5);
  EXPECT_NEAR(img.peak_x_mas, 30 * cell, 1e-12);
}

TEST(ImageCommand, WritesBothFilesOrNoneAndReports) {
  if (!std::filesystem::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string path = dir.File("p.uvx"), out = dir.File("d.fits"), psf = dir.File("b.fits");
  WritePointSource(path, -4 * 0.1 * kMas, 2 * 0.1 * kMas);
  const std::string base = std::string(QVLMODEL_EXE) + " image '" + path + "'";
  CommandOutput r = RunShell(base + " -o '" + out + "' --psf '" + psf + "' --size 64 --cell 0.1 --weight briggs -1 --json");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("\"x_mas\": -0.4"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("\"weighting\": \"briggs\""), std::string::npos) << r.out;
  EXPECT_TRUE(std::filesystem::exists(out) && std::filesystem::exists(psf));
  std::filesystem::remove(out);
  std::filesystem::remove(psf);
  for (const std::string& bad : {std::string(" --size 64"), " -o '" + out + "' --weight briggs", " -o '" + out + "' --weight robust",
                                " -o '" + out + "' --stokes Q", " -o '" + out + "' --size 31",
                                " -o '" + out + "' --stokes XX"}) {
    r = RunShell(base + bad);
    EXPECT_NE(r.status, 0) << bad;
    EXPECT_NE(r.out.find("qvlmodel image:"), std::string::npos) << bad << "\n" << r.out;
    EXPECT_FALSE(std::filesystem::exists(out)) << bad;
  }
}
