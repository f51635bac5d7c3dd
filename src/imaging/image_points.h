#pragma once
// The visibilities of a UVX file as imaging points: for every group, IF and channel one point at
// (u f, v f) wavelengths (u, v in seconds, f the channel's frequency) with the value and weight
// of the chosen polarization product. When the file has its J2000 phase centre (SU table), u and
// v are first turned from the file's frame of date onto the axes of that centre (uvx_frame.h), so
// that the image lies on J2000 axes; otherwise they stay on the file's own axes.
//
// Stokes I is (RR + LL) / 2, or (XX + YY) / 2, with the weight 4 w1 w2 / (w1 + w2) of a mean; a
// file with only one parallel hand (RR or XX alone) gives that hand as I. RR, LL, XX, YY take
// the product itself. An entry whose weight is 0 or less is flagged and left out, except in a
// file where no weight is positive and some are 0 (the files of tasks 1 and 2, which carry no
// weights yet): there every weight counts as 1.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/runtime.h"
#include "uvx/fq_table.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_frame.h"

enum class AImageStokes { I, RR, LL, XX, YY };

const char* ImageStokesName(AImageStokes stokes);
// "I", "RR", "LL", "XX", "YY" (any case); 0 for anything else.
int ParseImageStokes(const std::string& text, AImageStokes& stokes);

// What the file says about the observation, and what the first pass over it found.
struct AImageSource {
  std::string path;
  std::string object;
  double ra_deg = 0, dec_deg = 0;  // the SU table's RAEPO, DECEPO
  bool has_position = false;
  bool j2000_axes = false;         // u, v turned onto the J2000 axes of that position
  double jd0 = 0;                  // 0h of the observation date
  double ref_freq_hz = 0;
  std::int64_t groups = 0;
  std::int64_t points = 0;         // usable points
  bool unit_weights = false;       // no positive weight in the file: every weight counted as 1
  double uv_max = 0;               // longest |(u, v)| of a usable point, wavelengths
  double uv_min = 0;               // shortest non-zero one
};

// A batch of usable points.
struct AImageChunk {
  std::vector<double> u, v, re, im, weight;
  std::size_t size() const { return u.size(); }
  void clear();
};

class AImagePoints {
 public:
  // Opens the file, finds the polarization products of `stokes` and makes the first pass (counts
  // and extent). Non-zero on success; *error says why otherwise.
  int Open(const std::string& path, AImageStokes stokes, ProgressSink* progress, StopFlag* stop, std::string* error);
  // Hands every usable point to `use`, in file order, in chunks; 0 when stopped or unreadable.
  int Scan(const std::function<void(const AImageChunk&)>& use, ProgressSink* progress, StopFlag* stop,
           std::string* error);
  const AImageSource& Source() const { return source_; }

 private:
  int Pass(const std::function<void(const AImageChunk&)>& use, ProgressSink* progress, StopFlag* stop,
           std::string* error);

  AUVXFile file_;
  AImageSource source_;
  std::vector<double> freq_;  // [set-up][IF][channel]
  std::vector<int> sel_;      // set-up identifiers
  int nif_ = 0, nch_ = 0, npol_ = 0;
  int pol_a_ = -1, pol_b_ = -1;  // the products averaged (pol_b_ -1: one product)
  std::unique_ptr<AUVWFrameRotation> to_j2000_;
  bool counting_ = false;
  bool any_positive_ = false, any_zero_ = false;
};
