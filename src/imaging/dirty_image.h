#pragma once
// The dirty image and dirty beam of a UVX file, through the adjoint of the NUFFT map engine
// (map_nufft_adjoint.h):
//
//   image(x, y) = sum_j w_j Re[V_j exp(-2 pi i (u_j x + v_j y))] / sum_j w_j
//
// the sum over every point and its mirror (-u, -v, conj V), halved; the beam is the same with
// V = 1. A 1 Jy point source at the phase centre gives 1 at the centre: the image is in Jy/beam.
//
// Geometry: size x size pixels (size even) of `cell` radians; pixel (r, c) lies at east offset
// x = (size/2 - c) cell and north offset y = (r - size/2) cell, so the phase centre is pixel
// (size/2, size/2) and right ascension grows to the left, as in FITS images. Without a cell the
// cell is 1 / (4 |uv|max), a quarter of the finest fringe; without a size the image spans about
// twice the largest scale 1 / |uv|min: the power of 2 at or above 8 |uv|max / |uv|min, between
// 128 and 2048.
//
// u and v are on the J2000 axes of the file's phase centre when it has one (image_points.h).
//
// The beam image has the same cell and size: the main lobe of a ground array observed with space
// baselines spans hundreds of the cells that the longest baseline asks for (beam_fit.h).

#include <cstdint>
#include <string>

#include "core/containers.h"
#include "core/runtime.h"
#include "imaging/beam_fit.h"
#include "imaging/image_points.h"
#include "imaging/image_weights.h"
#include "model/map_range.h"

struct ADirtyImageParams {
  std::uint32_t size = 0;  // pixels per side (0: chosen from the baselines)
  double cell_mas = 0;     // milliarcseconds (0: chosen from the longest baseline)
  AImageWeighting weighting = AImageWeighting::Natural;
  double robust = 0;       // Briggs robustness
  AImageStokes stokes = AImageStokes::I;
  double accuracy = 1e-6;  // relative accuracy of the NUFFT

  // An empty text when the values are usable, else what is wrong.
  std::string Validate() const;
};

struct ADirtyImage {
  std::uint32_t size = 0;
  double cell_mas = 0;
  AMatrix<float> image;  // Jy/beam
  TMinMax range;         // its axis ranges, arcsec (first axis decreasing)
  AMatrix<float> beam;   // peak 1
  TMinMax beam_range;
  ABeam fit;
  double weight_sum = 0;  // sum of the imaging weights (point and mirror counted once)
  AImageSource source;
  // The brightest pixel: value (Jy/beam) and east and north offsets (mas).
  float peak = 0;
  double peak_x_mas = 0, peak_y_mas = 0;
};

// Size and cell (mas) from the longest and shortest baselines (wavelengths).
void ChooseImageGeometry(double uv_max, double uv_min, std::uint32_t& size, double& cell_mas);

// Images a UVX file. Non-zero on success; 0 with *error on failure or stop (*error "stopped").
int MakeDirtyImage(const std::string& uvx_path, const ADirtyImageParams& params, ADirtyImage& out, ProgressSink* progress,
                   StopFlag* stop, std::string* error);

// Writes the image (BUNIT JY/BEAM) or the beam as a FITS image: RA---SIN / DEC--SIN at the
// source's J2000 position, BMAJ, BMIN, BPA of the fitted beam. Complete or absent.
int WriteDirtyImageFits(const std::string& path, const ADirtyImage& image, bool beam, std::string* error);
