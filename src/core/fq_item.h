#pragma once
// One cell of a frequency set-up: an IF of one frequency identifier.

struct AUVXFqTblItem {
  double if_offset_hz = 0;  // IF frequency offset from the reference frequency
  double ch_width_hz = 0;   // channel width (frequency step between channels)
};
