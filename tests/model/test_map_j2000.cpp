// A FITS image model is on the axes of the J2000 phase centre: a point placed east and north in the
// image lands there in the J2000 (u, v, w) of the exported UVFITS file, for an observation 30 years
// after J2000 of a source at Dec +71 degrees, where the frame of date is turned by 8e-3 rad.
#include <fitsio.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

#include "coverage/coverage_fixture.h"
#include "coverage/uv_plane.h"
#include "coverage/uvx_creation.h"
#include "model/map_fits.h"
#include "model/model_run.h"
#include "uvx/fq_table.h"
#include "uvx/uvfits_export.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_records.h"

namespace {

constexpr double kMasToRad = std::numbers::pi / 180.0 / 3600.0 / 1000.0;

// A 65 x 65 image of 10 mas pixels, RA increasing to the left (CDELT1 < 0), centre at pixel 33,
// 1 Jy at `east_px`, `north_px` pixels from it.
void WritePointImage(const std::string& path, int east_px, int north_px, double equinox) {
  std::remove(path.c_str());
  fitsfile* f = nullptr;
  int st = 0;
  ASSERT_EQ(fits_create_diskfile(&f, path.c_str(), &st), 0);
  long naxes[2] = {65, 65};
  fits_create_img(f, FLOAT_IMG, 2, naxes, &st);
  const double cdelt = 10.0 / 3.6e6;  // degrees
  const struct {
    const char* key;
    double value;
  } keys[] = {{"CRPIX1", 33}, {"CDELT1", -cdelt}, {"CRVAL1", 110.4727}, {"CRPIX2", 33},
              {"CDELT2", cdelt}, {"CRVAL2", 71.3434}, {"EQUINOX", equinox}};
  for (const auto& k : keys) fits_write_key_dbl(f, k.key, k.value, -15, nullptr, &st);
  fits_write_key_str(f, "CTYPE1", "RA---SIN", nullptr, &st);
  fits_write_key_str(f, "CTYPE2", "DEC--SIN", nullptr, &st);
  fits_write_key_str(f, "BUNIT", "JY/PIXEL", nullptr, &st);
  std::vector<float> pixels(65 * 65, 0.0f);
  pixels[std::size_t((32 + north_px) * 65 + (32 - east_px))] = 1.0f;  // column index falls to the east
  fits_write_img_flt(f, 1, 1, long(pixels.size()), pixels.data(), &st);
  fits_close_file(f, &st);
  ASSERT_EQ(st, 0);
}

// Largest phase difference between the visibilities of the exported file and a point at (l, m)
// on the J2000 axes of its UU, VV: V = exp(+2 pi i f (UU l + VV m)).
double WorstPhaseError(const std::string& fits, const std::string& uvx, double l, double m) {
  AUVXFile in;
  EXPECT_TRUE(in.Open(uvx, AUVXFile::modeRead));
  AUVXFqTbl fq(in);
  fitsfile* f = nullptr;
  int st = 0;
  EXPECT_EQ(fits_open_diskfile(&f, fits.c_str(), READONLY, &st), 0);
  const long words = 3L * in.NIF() * in.NChannels() * in.NStokes();
  std::vector<float> data(static_cast<std::size_t>(words));
  double worst = 0;
  for (long g = 1; g <= long(in.Groups()); ++g) {
    double p[3];
    fits_read_grppar_dbl(f, g, 1, 3, p, &st);
    int any = 0;
    fits_read_img_flt(f, g, 1, words, 0.0f, data.data(), &any, &st);
    for (int k = 0; k < in.NIF(); ++k)
      for (int j = 0; j < in.NChannels(); ++j) {
        const double phase = 2 * std::numbers::pi * fq.GetFreq(0, k, j) * (p[0] * l + p[1] * m);
        const std::size_t e = std::size_t(3 * (k * in.NChannels() + j) * in.NStokes());
        const std::complex<double> v(data[e], data[e + 1]);
        worst = std::max(worst, std::abs(std::arg(v * std::polar(1.0, -phase))));
      }
  }
  fits_close_file(f, &st);
  EXPECT_EQ(st, 0);
  return worst;
}

}  // namespace

using MapOnJ2000 = CoverageDir;

TEST_F(MapOnJ2000, AFitsPointImagesWhereTheImagePutsItAfterTheJ2000Export) {
  AMObservation obs = SmallObservation(dir_.string());
  obs.year = 2030;
  obs.ra_time_s = 7 * 3600 + 21 * 60 + 53.4484;  // 0716+714
  obs.dec_arcsec = 71 * 3600 + 20 * 60 + 36.363;
  obs.intervals.Add({0.0, 86000.0, 1, 0});
  obs.time_step_s = 4000.0;
  AMUVPlane plane;
  ASSERT_TRUE(plane.Calculate(obs, nullptr, nullptr, nullptr));
  ASSERT_TRUE(CreateZeroUVX(plane.UVPath(), obs, obs.output_path, nullptr, nullptr, nullptr));

  const double l = 200 * kMasToRad, m = 100 * kMasToRad;
  struct Case {
    double equinox;
    bool j2000;
  } cases[] = {{2000.0, true}, {1950.0, false}};
  for (const Case& c : cases) {
    const std::string image = Path("point.fits"), modelled = Path("model.uvx"), fits = Path("model.uvfits");
    WritePointImage(image, 20, 10, c.equinox);
    EXPECT_EQ(FitsMapOnJ2000Axes(image), c.j2000);
    AMUVXWorkItem item;
    item.in_path = obs.output_path;
    item.out_path = modelled;
    item.fast = 0;
    AMModelSource source;
    source.kind = kModelMap;
    source.map_path = image;
    MessageRecorder messages;
    AMP2Work work(item, source, nullptr, nullptr, messages);
    ASSERT_TRUE(work.Run()) << work.Error();
    std::string error;
    ASSERT_TRUE(ExportUVFITS(modelled, fits, nullptr, nullptr, nullptr, error)) << error;
    const double worst = WorstPhaseError(fits, modelled, l, m);
    // On J2000 axes the phases agree to float rounding; taken on the frame of date (what a map of
    // another equinox gets), the point sits 1.6 mas away and baselines of 10 000 km at 22 GHz see
    // it by radians.
    if (c.j2000) EXPECT_LT(worst, 2e-3) << c.equinox;
    else EXPECT_GT(worst, 0.1) << c.equinox;
  }
}
