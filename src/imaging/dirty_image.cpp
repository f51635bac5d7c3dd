#include "imaging/dirty_image.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "model/map_fits.h"
#include "model/map_nufft_adjoint.h"

namespace {

constexpr double kMasToRad = std::numbers::pi / 180.0 / 3600.0 / 1000.0;
constexpr std::uint32_t kMaxSize = 16384;

int Fail(std::string* error, const std::string& why) {
  if (error) *error = why;
  return 0;
}

// Axis ranges (arcsec) of a size x size image of `cell_mas`: columns from east to west.
TMinMax ImageRange(std::uint32_t size, double cell_mas) {
  const double c = cell_mas / 1000.0, h = size / 2;
  return TMinMax{h * c, (h - (size - 1.0)) * c, -h * c, (size - 1.0 - h) * c};
}

// The real parts divided by the weight sum, as float pixels.
void ToPixels(const std::vector<std::complex<double>>& sum, double weight_sum, AMatrix<float>& pixels) {
  for (std::uint64_t i = 0; i < pixels.Elements(); ++i)
    pixels.data[i] = weight_sum > 0 ? float(sum[std::size_t(i)].real() / weight_sum) : 0.0f;
}

}  // namespace

std::string ADirtyImageParams::Validate() const {
  if (size != 0 && (size < 8 || size > kMaxSize || size % 2 != 0))
    return "the image size must be an even number of pixels from 8 to " + std::to_string(kMaxSize);
  if (!(cell_mas >= 0) || !std::isfinite(cell_mas)) return "the cell size must be a positive number of mas";
  if (weighting == AImageWeighting::Briggs && !(robust >= -5 && robust <= 5))
    return "the Briggs robustness must lie between -5 and 5";
  if (!(accuracy >= 1e-12 && accuracy <= 0.1)) return "the accuracy must lie between 1e-12 and 0.1";
  return {};
}

void ChooseImageGeometry(double uv_max, double uv_min, std::uint32_t& size, double& cell_mas) {
  if (!(cell_mas > 0)) cell_mas = uv_max > 0 ? 1.0 / (4 * uv_max) / kMasToRad : 1.0;
  if (size == 0) {
    const double want = uv_min > 0 && uv_max > 0 ? 8 * uv_max / uv_min : 512;
    size = 128;
    while (size < 2048 && size < want) size *= 2;
  }
}

int MakeDirtyImage(const std::string& uvx_path, const ADirtyImageParams& params, ADirtyImage& out, ProgressSink* progress,
                   StopFlag* stop, std::string* error) {
  const std::string bad = params.Validate();
  if (!bad.empty()) return Fail(error, bad);
  AImagePoints points;
  if (progress) progress->SetText("Reading UV points...");
  if (!points.Open(uvx_path, params.stokes, progress, stop, error)) return 0;
  out = ADirtyImage();
  out.source = points.Source();
  if (out.source.points == 0) return Fail(error, uvx_path + ": no visibility with a positive weight to image");
  out.size = params.size;
  out.cell_mas = params.cell_mas;
  ChooseImageGeometry(out.source.uv_max, out.source.uv_min, out.size, out.cell_mas);
  const std::uint32_t n = out.size, nb = n;
  const double cell = out.cell_mas * kMasToRad, two_pi = 2 * std::numbers::pi;

  AUVDensity density;
  density.Init(n, cell, params.weighting, params.robust);
  if (density.NeedsDensity()) {
    if (progress) progress->SetText("Weighting...");
    if (!points.Scan(
            [&](const AImageChunk& c) {
              for (std::size_t i = 0; i < c.size(); ++i) density.Add(c.u[i], c.v[i], c.weight[i]);
            },
            progress, stop, error))
      return 0;
    density.Finish();
  }

  AMapNufftAdjoint image, beam;
  if (!image.Init(n, n, two_pi * cell * (n / 2), -two_pi * cell, -two_pi * cell * (n / 2), two_pi * cell,
                  params.accuracy) ||
      !beam.Init(nb, nb, two_pi * cell * (nb / 2), -two_pi * cell, -two_pi * cell * (nb / 2), two_pi * cell,
                 params.accuracy))
    return Fail(error, "cannot allocate the imaging grid of " + std::to_string(n) + " x " + std::to_string(n) + " pixels");
  if (progress) progress->SetText("Gridding...");
  std::vector<double> wr, wi, ones, zeros;
  double weight_sum = 0;
  if (!points.Scan(
          [&](const AImageChunk& c) {
            wr.resize(c.size());
            wi.resize(c.size());
            ones.resize(c.size());
            zeros.assign(c.size(), 0.0);
            for (std::size_t i = 0; i < c.size(); ++i) {
              const double w = density.Weight(c.u[i], c.v[i], c.weight[i]);
              weight_sum += w;
              wr[i] = w * c.re[i];
              wi[i] = w * c.im[i];
              ones[i] = w;
            }
            image.Add(c.u.data(), c.v.data(), wr.data(), wi.data(), c.size());
            beam.Add(c.u.data(), c.v.data(), ones.data(), zeros.data(), c.size());
          },
          progress, stop, error))
    return 0;
  if (progress) progress->SetText("Transforming...");
  out.weight_sum = weight_sum;
  out.image.Resize(n, n);
  out.beam.Resize(nb, nb);
  ToPixels(image.Finish(), weight_sum, out.image);
  ToPixels(beam.Finish(), weight_sum, out.beam);
  out.range = ImageRange(n, out.cell_mas);
  out.beam_range = ImageRange(nb, out.cell_mas);
  out.fit = FitBeam(out.beam, nb / 2, nb / 2, -out.cell_mas / 1000.0, out.cell_mas / 1000.0);
  std::uint64_t best = 0;
  for (std::uint64_t i = 1; i < out.image.Elements(); ++i)
    if (out.image.data[i] > out.image.data[best]) best = i;
  out.peak = out.image.data[best];
  out.peak_x_mas = (double(n / 2) - double(best % n)) * out.cell_mas;
  out.peak_y_mas = (double(best / n) - double(n / 2)) * out.cell_mas;
  return 1;
}

int WriteDirtyImageFits(const std::string& path, const ADirtyImage& image, bool beam, std::string* error) {
  AFitsImageInfo info;
  info.celestial = image.source.has_position;
  info.ra_deg = image.source.ra_deg;
  info.dec_deg = image.source.dec_deg;
  info.object = image.source.object;
  info.jd0 = image.source.jd0;
  info.freq_hz = image.source.ref_freq_hz;
  if (image.fit.ok) {
    info.beam = true;
    info.bmaj_deg = image.fit.bmaj_as / 3600.0;
    info.bmin_deg = image.fit.bmin_as / 3600.0;
    info.bpa_deg = image.fit.bpa_deg;
  }
  return SaveFitsMap(path, beam ? image.beam : image.image, beam ? image.beam_range : image.range,
                     beam ? "" : "JY/BEAM", info, error);
}
