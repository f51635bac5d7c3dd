#pragma once
// AUVXHeader: the data description of a UVX file, and its fixed 466-byte binary image (also the
// header record of the temporary UV-point file). Image offsets, little-endian:
//
//    0 int32   groups            number of UV groups
//    4 float64 epoch             2000.0
//   12 float64 jd0               Julian day of the observation date at 0h
//   20 int16   one               always 1
//   22 char[8] flux_unit         "Jy", NUL-padded
//   30 char[16] observer         "QVL User"
//   46 char[16] origin           "QVLMODEL"
//   62 6 x float64               u min, u max, v min, v max, w min, w max (seconds)
//  110 int16   n_pol             number of polarization codes (0..8)
//  112 int16[8] pol              the codes, unused slots 0
//  128 int32   n_if
//  132 int32   n_channels
//  136 float64 ref_freq_hz
//  144 float64 time_step_s
//  152 float64 time              start time, seconds from 0h of the observation date
//  160 float64 time min, 168 time max   group times (seconds from the start time)
//  176 float64 amp min, 184 amp max, 192 weight min, 200 weight max
//  208 char[16] object           source name, NUL-padded
//  224 .. 465                    reserved, zero

#include <cstdint>
#include <string>

#include "uvx/uvx_records.h"

class AUVXFile;

class AUVXHeader {
 public:
  static constexpr int kImageBytes = 466;
  static constexpr int kMaxPol = 8;

  AUVXHeader();
  explicit AUVXHeader(AUVXFile& file);  // the header of an open file (defaults if it has none)

  void ToImage(unsigned char image[kImageBytes]) const;
  // Takes the fields from an image; returns 0 (and leaves the header unchanged) when the counts in
  // it are out of range (negative counts, more than kMaxPol polarizations).
  int FromImage(const unsigned char image[kImageBytes]);

  int nStokes() const { return n_pol; }
  std::string FluxUnit() const;
  std::string Observer() const;
  std::string Origin() const;
  std::string Object() const;
  void SetObject(const std::string& name);

  std::int32_t groups = 0;
  double epoch = 2000.0;
  double jd0 = 0;
  std::int16_t one = 1;
  char flux_unit[8] = {};
  char observer[16] = {};
  char origin[16] = {};
  AUVXMinMax extremes;  // uvw always; time/amp/weight folded by the writers
  std::int16_t n_pol = 0;
  std::int16_t pol[kMaxPol] = {};
  std::int32_t n_if = 0;
  std::int32_t n_channels = 0;
  double ref_freq_hz = 0;
  double time_step_s = 0;
  double time = 0;
  char object[16] = {};
};
