#pragma once
// The record of the temporary UV-point file (".$uv"), 32 bytes, little-endian:
//    0 float32 u, 4 float32 v, 8 float32 w   seconds of light travel time
//   12 4 bytes, written as zero
//   16 float64 time                         seconds from 0h of the observation date
//   24 int16   frequency ID                 of the interval being sampled
//   26 uint8   first telescope number       1-based index in the observation's list
//   27 uint8   second telescope number      always greater than the first
//   28 4 bytes, written as zero
// The file starts with the 466-byte AUVXHeader image (number of points in its first field).

#include <cstdint>
#include <cstring>

struct AMUVPoint {
  float u = 0, v = 0, w = 0;
  double time = 0;
  std::int16_t freq_id = 0;
  std::uint8_t tel1 = 0, tel2 = 0;
};

inline constexpr int kUVPointBytes = 32;

inline void PackUVPoint(const AMUVPoint& p, unsigned char out[kUVPointBytes]) {
  static_assert(sizeof(float) == 4 && sizeof(double) == 8);
  std::memset(out, 0, kUVPointBytes);
  std::memcpy(out + 0, &p.u, 4);
  std::memcpy(out + 4, &p.v, 4);
  std::memcpy(out + 8, &p.w, 4);
  std::memcpy(out + 16, &p.time, 8);
  std::memcpy(out + 24, &p.freq_id, 2);
  out[26] = p.tel1;
  out[27] = p.tel2;
}

inline AMUVPoint UnpackUVPoint(const unsigned char in[kUVPointBytes]) {
  AMUVPoint p;
  std::memcpy(&p.u, in + 0, 4);
  std::memcpy(&p.v, in + 4, 4);
  std::memcpy(&p.w, in + 8, 4);
  std::memcpy(&p.time, in + 16, 8);
  std::memcpy(&p.freq_id, in + 24, 2);
  p.tel1 = in[26];
  p.tel2 = in[27];
  return p;
}
