#pragma once
// The records of a UVX file as the program handles them in memory: running extremes, one UV group
// (one baseline at one time), its visibility record, a complex value and a Stokes code.
//
// On disk a group is 24 bytes and a visibility record 12 bytes per entry (see docs/uvx-format.md);
// load/store read and write them at the file's current position.

#include <cmath>
#include <cstdint>
#include <string>

#include "core/containers.h"

class AUVXFile;

// Running extremes of what was written. The first six doubles (u, v, w in seconds) are also the
// extremes block of the 466-byte header image.
struct AUVXMinMax {
  double u_min, u_max, v_min, v_max, w_min, w_max;
  double time_min, time_max;      // group times, seconds from the file start time
  double amp_min, amp_max;        // |V| over all visibility entries
  double weight_min, weight_max;  // weights over all visibility entries

  AUVXMinMax() { init(); }
  // Resets every minimum to +HUGE and every maximum to -HUGE: the first value folded sets both.
  void init();
  // Merges another running extreme into this one (used by block-parallel folds).
  void merge(const AUVXMinMax& other);
  bool has_uvw() const { return u_min <= u_max; }
  bool has_vis() const { return amp_min <= amp_max; }
};

// One UV sample of one baseline.
struct AUVXGroup {
  static constexpr int kBytes = 24;  // on-disk size

  std::uint8_t lead = 0;     // leading byte, written as 0
  std::uint8_t tel1 = 0;     // first telescope number (1-based in the AN table)
  std::uint8_t tel2 = 0;     // second telescope number
  std::int8_t freq_id = 0;   // frequency set-up identifier
  float u = 0, v = 0, w = 0; // seconds of light travel time
  double time = 0;           // seconds from the file start time

  int load(AUVXFile& file);   // reads the group at the file's position; non-zero on success
  int store(AUVXFile& file);  // writes it at the file's position; non-zero on success
  void check(AUVXMinMax& mm) const;

  // Raw 24-byte little-endian image.
  void ToBytes(unsigned char out[kBytes]) const;
  void FromBytes(const unsigned char in[kBytes]);
};

// One visibility entry: real part, imaginary part, weight (Jy, Jy, dimensionless).
struct AUVXVisEntry {
  float re = 0, im = 0, weight = 0;
};
static_assert(sizeof(AUVXVisEntry) == 12);

// The visibility record that follows a group: n_if x n_channels x n_stokes entries, entry index
// ((n_channels * if + channel) * n_stokes + stokes).
class AUVXVisibility {
 public:
  AUVXVisibility() = default;
  AUVXVisibility(int n_if, int n_channels, int n_stokes);
  explicit AUVXVisibility(AUVXFile& file);  // the counts of an open file
  AUVXVisibility(const AUVXVisibility&) = default;
  AUVXVisibility& operator=(const AUVXVisibility&) = default;

  // Sets the counts; entries are zeroed. Refuses (returns 0) negative or absurd counts.
  int Resize(int n_if, int n_channels, int n_stokes);

  int Index(int if_index, int channel, int stokes) const {
    return (n_channels * if_index + channel) * n_stokes + stokes;
  }
  AUVXVisEntry& Entry(int if_index, int channel, int stokes) { return entries[Index(if_index, channel, stokes)]; }
  const AUVXVisEntry& Entry(int if_index, int channel, int stokes) const {
    return entries[Index(if_index, channel, stokes)];
  }
  int Count() const { return n_if * n_channels * n_stokes; }
  std::int64_t Bytes() const { return std::int64_t{Count()} * 12; }
  void Zero();

  int load(AUVXFile& file);
  int store(AUVXFile& file);
  void check(AUVXMinMax& mm) const;

  int n_if = 0, n_channels = 0, n_stokes = 0;
  AArray<AUVXVisEntry> entries;
};

// Amplitude and weight extremes folded over raw visibility records (12-byte entries, as stored)
// by the converters that build records without AUVXVisibility. The amplitude is compared squared
// and taken with std::hypot (as AUVXComplex::ampl) only for the two entries that end extreme.
struct AUVXVisExtremes {
  double sq_min = 1.7976931348623157e308, sq_max = -1;
  float lo[2] = {}, hi[2] = {};
  double w_min = 1.7976931348623157e308, w_max = -1.7976931348623157e308;
  void Fold(const unsigned char* vis, std::int64_t entries);
  void Into(AUVXMinMax& mm) const;  // sets the amplitude and weight extremes when any was folded
};

struct AUVXComplex {
  float re = 0, im = 0;
  AUVXComplex() = default;
  AUVXComplex(float r, float i) : re(r), im(i) {}
  explicit AUVXComplex(const AUVXVisEntry& e) : re(e.re), im(e.im) {}
  double ampl() const { return std::hypot(double{re}, double{im}); }
  double phase() const { return std::atan2(double{im}, double{re}); }  // radians
};

// A polarization (Stokes) code of the AIPS convention: 1..4 = I Q U V, -1..-4 = RR LL RL LR,
// -5..-8 = XX YY XY YX.
struct AStokesItem {
  short code = 1;
  AStokesItem() = default;
  explicit AStokesItem(short c) : code(c) {}
  // "I", "RR", ...; "?" followed by the number for a code outside the convention.
  std::string asShortString() const;
};
