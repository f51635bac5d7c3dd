// The field's own imager reads our Measurement Set: a 1 Jy point source 20 mas east and 10 mas
// north of the phase centre, observed by the VLBA in 2030, modelled and exported by the command
// line, imaged by WSClean (Debian's wsclean; skipped without it), peaks where it was put (east to
// the left: RA grows to the left) with its flux. A sign error of UVW or of the visibility phase
// would put it west or south.
#include <fitsio.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <vector>

#include "ms_test_util.h"

namespace {

using MSWsclean = MSDir;

const char* kObservation = R"({
  "source": {"name": "3C345", "ra": "16:42:58.81", "dec": "+39:48:36.994"},
  "date": "2030-06-15",
  "frequency": {"reference_mhz": 8400.0, "channels": 4,
    "setups": [{"freq_id": 1, "ifs": [{"offset_mhz": 0.0, "channel_width_mhz": 4.0},
                                     {"offset_mhz": 16.0, "channel_width_mhz": 4.0}]}]},
  "time_step_s": 120.0,
  "intervals": [{"start": "08:00:00", "stop": "20:00:00", "freq_id": 1}],
  "polarizations": ["RR", "LL"],
  "telescopes": [{"catalog": "VLBA_BR"}, {"catalog": "VLBA_FD"}, {"catalog": "VLBA_HN"}, {"catalog": "VLBA_KP"},
                 {"catalog": "VLBA_LA"}, {"catalog": "VLBA_NL"}, {"catalog": "VLBA_OV"}, {"catalog": "VLBA_PT"}],
  "output": "point.uvx"
})";

// Delta function of 1 Jy at distance 22.36 mas, position angle 63.43 deg: (+20, +10) mas.
const char* kModel = "QVLMODEL 1\n1 1.0 0 1 0 63.434948822922 0.022360679775 0.5\nEND\n";

struct Image {
  std::vector<float> pixels;
  long nx = 0, ny = 0;
  double crpix1 = 0, crpix2 = 0, cdelt1 = 0, cdelt2 = 0;
};

Image ReadImage(const std::string& path) {
  Image im;
  fitsfile* f = nullptr;
  int st = 0, naxis = 0;
  long naxes[4] = {1, 1, 1, 1};
  fits_open_image(&f, path.c_str(), READONLY, &st);
  fits_get_img_dim(f, &naxis, &st);
  fits_get_img_size(f, 4, naxes, &st);
  for (auto [key, value] : {std::pair{"CRPIX1", &im.crpix1}, {"CRPIX2", &im.crpix2}, {"CDELT1", &im.cdelt1}, {"CDELT2", &im.cdelt2}})
    fits_read_key(f, TDOUBLE, key, value, nullptr, &st);
  im.nx = naxes[0], im.ny = naxes[1];
  im.pixels.resize(std::size_t(im.nx * im.ny));
  fits_read_img(f, TFLOAT, 1, im.nx * im.ny, nullptr, im.pixels.data(), nullptr, &st);
  fits_close_file(f, &st);
  EXPECT_EQ(st, 0) << path;
  return im;
}

}  // namespace

TEST_F(MSWsclean, PointSourceEastAndNorthImagesWhereItWasPut) {
  if (RunShell("command -v wsclean").status != 0) GTEST_SKIP() << "wsclean is not installed";
  const std::string exe = QVLMODEL_EXE;
  if (!std::filesystem::exists(exe)) GTEST_SKIP() << "no qvlmodel program in this build";
  std::ofstream(Path("point.json")) << kObservation;
  std::ofstream(Path("point.mdl")) << kModel;
  const std::string cd = "cd '" + dir_.string() + "' && ";
  for (const std::string& cmd : {exe + " configure point.json -o empty.uvx", exe + " model empty.uvx -m point.mdl -o point.uvx",
                                exe + " export point.uvx -o point.ms"}) {
    const CommandOutput r = RunShell(cd + cmd);
    ASSERT_EQ(r.status, 0) << cmd << "\n" << r.out;
  }
  const CommandOutput w = RunShell(cd + "wsclean -name point -size 256 256 -scale 0.5masec -pol I -weight natural "
                                        "-niter 2000 -mgain 0.8 -auto-threshold 3 -no-update-model-required point.ms");
  ASSERT_EQ(w.status, 0) << w.out;

  const Image image = ReadImage(Path("point-image.fits")), model = ReadImage(Path("point-model.fits"));
  ASSERT_GT(image.nx, 0);
  const auto peak = std::max_element(image.pixels.begin(), image.pixels.end());
  const long at = long(peak - image.pixels.begin());
  const double mas_per_deg = 3.6e6;
  const double east = (double(at % image.nx) + 1 - image.crpix1) * image.cdelt1 * mas_per_deg;
  const double north = (double(at / image.nx) + 1 - image.crpix2) * image.cdelt2 * mas_per_deg;
  EXPECT_LT(image.cdelt1, 0.0);  // RA grows to the left: east is left
  EXPECT_NEAR(east, 20.0, 0.25);
  EXPECT_NEAR(north, 10.0, 0.25);
  EXPECT_NEAR(*peak, 1.0, 0.02);
  double clean_flux = 0;
  for (float p : model.pixels) clean_flux += p;
  EXPECT_NEAR(clean_flux, 1.0, 0.02);

  // The command line reads the set back.
  const CommandOutput back = RunShell(cd + exe + " import point.ms -o back.uvx --json");
  ASSERT_EQ(back.status, 0) << back.out;
  EXPECT_NE(back.out.find("\"telescopes\": 8"), std::string::npos) << back.out;
}
