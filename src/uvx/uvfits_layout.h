#pragma once
// The primary HDU of a random-groups UVFITS file as the import understands it: the group
// parameters found by name, the data axes with their strides, and the decoding of one raw group.
//
// A raw group is PCOUNT parameters followed by the data array, every element |BITPIX|/8 bytes,
// big-endian. Element (complex c, stokes s, channel f, IF i) of the data array is at
//   c * stride_complex + s * stride_stokes + f * stride_freq + i * stride_if
// whatever the order of the axes in the file.

#include <fitsio.h>

#include <cstdint>
#include <string>
#include <vector>

#include "uvx/uvx_header.h"
#include "uvx/uvx_records.h"

namespace uvfits {

struct GroupParam {
  std::string name;  // PTYPE, blanks removed, upper case
  double scale = 1, zero = 0;
};

struct UVFitsLayout {
  int bitpix = -32;
  double bscale = 1, bzero = 0;
  int pcount = 0;
  std::int64_t gcount = 0;
  std::vector<GroupParam> params;

  // Parameter indices, -1 when absent.
  int p_u = -1, p_v = -1, p_w = -1;
  std::vector<int> p_date;  // one or two DATE parameters (summed), in file order
  int p_baseline = -1, p_ant1 = -1, p_ant2 = -1, p_subarray = -1;
  int p_freqsel = -1, p_source = -1, p_inttim = -1;

  // Data axes.
  int n_complex = 3, n_stokes = 0, n_channels = 0, n_if = 1;
  std::int64_t stride_complex = 1, stride_stokes = 0, stride_freq = 0, stride_if = 0;
  std::int16_t stokes[AUVXHeader::kMaxPol] = {};  // polarization codes along the STOKES axis
  double ref_freq_hz = 0, ch_width_hz = 0, freq_crpix = 1;
  double ra_deg = 0, dec_deg = 0;
  std::int64_t data_elements = 0;  // elements of one data array

  // One group's parameters and data: bytes and elements.
  std::int64_t GroupElements() const { return pcount + data_elements; }
  std::int64_t GroupBytes() const { return GroupElements() * (bitpix < 0 ? -bitpix : bitpix) / 8; }
  // True when a group can be copied entry by entry with a byte swap: BITPIX -32, no BSCALE or
  // BZERO, weights present and the axes in UVX order (COMPLEX, STOKES, FREQ, IF).
  bool direct = false;
};

// Reads and checks the primary header. Non-zero on success; otherwise `error` names what is
// wrong (not random groups, a missing parameter, inconsistent axes...).
int ReadUVFitsLayout(fitsfile* f, UVFitsLayout& layout, std::string& error);

// Element `index` of a raw group as a double (no scaling).
double RawElement(const unsigned char* group, std::int64_t index, int bitpix);

// The physical value of parameter p of a raw group (PSCAL and PZERO applied).
inline double ParamValue(const UVFitsLayout& l, const unsigned char* group, int p) {
  return RawElement(group, p, l.bitpix) * l.params[std::size_t(p)].scale + l.params[std::size_t(p)].zero;
}

// Fills `out` with the UVX visibility record (nIF x nChannels x nStokes entries of re, im,
// weight as little-endian float32) from the data array of a raw group: BSCALE/BZERO applied,
// weight 1 when the COMPLEX axis has two elements. The direct layout is a byte swap per word;
// every other layout goes element by element.
void DecodeVisibility(const UVFitsLayout& l, const unsigned char* group, unsigned char* out);
// The element-by-element decoding (used for every layout that is not direct, and by the tests
// as the reference of the direct path).
void DecodeVisibilityGeneral(const UVFitsLayout& l, const unsigned char* group, unsigned char* out);

}  // namespace uvfits
