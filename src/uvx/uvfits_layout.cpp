#include "uvx/uvfits_layout.h"

#include <cmath>
#include <cstring>

#include "uvx/uvfits_common.h"
#include "uvx/uvx_file.h"

namespace uvfits {

namespace {

constexpr int kMaxParams = 1000;
constexpr int kMaxAxes = 999;

std::string Indexed(const char* key, int n) { return std::string(key) + std::to_string(n); }

// The keyword's value, or `fallback` when it is missing; false (with status set) when it is
// present but not of that type.
bool ReadOptional(fitsfile* f, int type, const std::string& key, void* value, int* status) {
  FitsReadKey(f, type, key.c_str(), value, status);
  if (*status == KEY_NO_EXIST) {
    *status = 0;
    fits_clear_errmsg();
  }
  return *status == 0;
}

bool AxisIs(const std::string& ctype, const char* base) { return ParamIs(ctype, base); }

int Fail(std::string& error, const std::string& what) {
  error = what;
  return 0;
}

}  // namespace

int ReadUVFitsLayout(fitsfile* f, UVFitsLayout& l, std::string& error) {
  l = UVFitsLayout{};
  int status = 0;
  int groups = 0, naxis = 0;
  long long naxis1 = -1, pcount = -1, gcount = -1;
  if (!ReadOptional(f, TLOGICAL, "GROUPS", &groups, &status) || !groups)
    return Fail(error, "not a random-groups UVFITS file (the primary header has no GROUPS = T)");
  if (FitsReadKey(f, TINT, "BITPIX", &l.bitpix, &status) ||
      FitsReadKey(f, TINT, "NAXIS", &naxis, &status))
    return Fail(error, FitsError(status));
  if (l.bitpix != 8 && l.bitpix != 16 && l.bitpix != 32 && l.bitpix != 64 && l.bitpix != -32 && l.bitpix != -64)
    return Fail(error, "BITPIX " + std::to_string(l.bitpix) + " is not a FITS data type");
  if (naxis < 2 || naxis > kMaxAxes) return Fail(error, "NAXIS " + std::to_string(naxis) + ": a random-groups array needs 2 or more axes");
  ReadOptional(f, TLONGLONG, "NAXIS1", &naxis1, &status);
  ReadOptional(f, TLONGLONG, "PCOUNT", &pcount, &status);
  ReadOptional(f, TLONGLONG, "GCOUNT", &gcount, &status);
  ReadOptional(f, TDOUBLE, "BSCALE", &l.bscale, &status);
  ReadOptional(f, TDOUBLE, "BZERO", &l.bzero, &status);
  if (status) return Fail(error, FitsError(status));
  if (naxis1 != 0) return Fail(error, "NAXIS1 is " + std::to_string(naxis1) + ", not 0: not a random-groups array");
  if (pcount < 0 || pcount > kMaxParams) return Fail(error, "PCOUNT " + std::to_string(pcount) + " is out of range");
  if (gcount < 0 || gcount > 2147483647LL)
    return Fail(error, "GCOUNT " + std::to_string(gcount) + ": a UVX file holds 0 to 2147483647 groups");
  l.pcount = int(pcount);
  l.gcount = gcount;

  // Parameters, found by name whatever their order.
  for (int p = 1; p <= l.pcount; ++p) {
    char name[FLEN_VALUE] = {};
    GroupParam gp;
    if (fits_read_key(f, TSTRING, Indexed("PTYPE", p).c_str(), name, nullptr, &status))
      return Fail(error, "PTYPE" + std::to_string(p) + " is missing (PCOUNT " + std::to_string(pcount) + ")");
    ReadOptional(f, TDOUBLE, Indexed("PSCAL", p), &gp.scale, &status);
    ReadOptional(f, TDOUBLE, Indexed("PZERO", p), &gp.zero, &status);
    if (status) return Fail(error, FitsError(status));
    gp.name = Normalized(name);
    const int i = p - 1;
    if (ParamIs(gp.name, "UU") && l.p_u < 0) l.p_u = i;
    else if (ParamIs(gp.name, "VV") && l.p_v < 0) l.p_v = i;
    else if (ParamIs(gp.name, "WW") && l.p_w < 0) l.p_w = i;
    else if (gp.name == "DATE" && l.p_date.size() < 2) l.p_date.push_back(i);
    else if (gp.name == "BASELINE" && l.p_baseline < 0) l.p_baseline = i;
    else if (gp.name == "ANTENNA1" && l.p_ant1 < 0) l.p_ant1 = i;
    else if (gp.name == "ANTENNA2" && l.p_ant2 < 0) l.p_ant2 = i;
    else if (gp.name == "SUBARRAY" && l.p_subarray < 0) l.p_subarray = i;
    else if (gp.name == "FREQSEL" && l.p_freqsel < 0) l.p_freqsel = i;
    else if (gp.name == "SOURCE" && l.p_source < 0) l.p_source = i;
    else if (gp.name == "INTTIM" && l.p_inttim < 0) l.p_inttim = i;
    l.params.push_back(gp);
  }
  if (l.p_u < 0) return Fail(error, "no UU parameter (PTYPE 'UU' or 'UU---SIN')");
  if (l.p_v < 0) return Fail(error, "no VV parameter (PTYPE 'VV' or 'VV---SIN')");
  if (l.p_w < 0) return Fail(error, "no WW parameter (PTYPE 'WW' or 'WW---SIN')");
  if (l.p_date.empty()) return Fail(error, "no DATE parameter");
  if (l.p_baseline < 0 && (l.p_ant1 < 0 || l.p_ant2 < 0))
    return Fail(error, "no BASELINE parameter (nor ANTENNA1 and ANTENNA2)");

  // Axes 2..NAXIS: lengths, strides, world coordinates.
  bool seen_complex = false, seen_stokes = false, seen_freq = false, seen_if = false, seen_ra = false, seen_dec = false;
  std::int64_t stride = 1;
  for (int a = 2; a <= naxis; ++a) {
    long long len = -1;
    char ctype[FLEN_VALUE] = {};
    double crval = 0, cdelt = 1, crpix = 1;
    if (FitsReadKey(f, TLONGLONG, Indexed("NAXIS", a).c_str(), &len, &status))
      return Fail(error, "NAXIS" + std::to_string(a) + " is missing");
    ReadOptional(f, TSTRING, Indexed("CTYPE", a), ctype, &status);
    ReadOptional(f, TDOUBLE, Indexed("CRVAL", a), &crval, &status);
    ReadOptional(f, TDOUBLE, Indexed("CDELT", a), &cdelt, &status);
    ReadOptional(f, TDOUBLE, Indexed("CRPIX", a), &crpix, &status);
    if (status) return Fail(error, FitsError(status));
    const std::string type = Normalized(ctype);
    const std::string axis = "axis " + std::to_string(a) + " (" + (type.empty() ? "no CTYPE" : type) + ")";
    if (len < 1 || len > AUVXFile::kMaxAxis) return Fail(error, axis + " has length " + std::to_string(len));
    auto once = [&](bool& seen) {
      if (seen) return Fail(error, axis + " appears twice"), false;
      return seen = true;
    };
    if (type == "COMPLEX") {
      if (!once(seen_complex)) return 0;
      if (len != 2 && len != 3) return Fail(error, axis + " has length " + std::to_string(len) + " (2 or 3 expected)");
      l.n_complex = int(len), l.stride_complex = stride;
    } else if (type == "STOKES") {
      if (!once(seen_stokes)) return 0;
      if (len > AUVXHeader::kMaxPol) return Fail(error, axis + " has " + std::to_string(len) + " polarizations (at most 8)");
      l.n_stokes = int(len), l.stride_stokes = stride;
      for (int s = 0; s < l.n_stokes; ++s) {
        const double code = crval + (s + 1 - crpix) * cdelt;
        const long rounded = std::lround(code);
        if (std::fabs(code - double(rounded)) > 1e-6 || rounded == 0 || rounded < -8 || rounded > 4)
          return Fail(error, axis + ": value " + std::to_string(code) + " is not a polarization code (-8..-1, 1..4)");
        l.stokes[s] = std::int16_t(rounded);
      }
    } else if (type == "FREQ") {
      if (!once(seen_freq)) return 0;
      l.n_channels = int(len), l.stride_freq = stride;
      l.ref_freq_hz = crval, l.ch_width_hz = cdelt, l.freq_crpix = crpix;
    } else if (type == "IF") {
      if (!once(seen_if)) return 0;
      l.n_if = int(len), l.stride_if = stride;
    } else if (AxisIs(type, "RA") || AxisIs(type, "DEC")) {
      if (!once(AxisIs(type, "RA") ? seen_ra : seen_dec)) return 0;
      if (len != 1) return Fail(error, axis + " has length " + std::to_string(len) + " (1 expected)");
      (AxisIs(type, "RA") ? l.ra_deg : l.dec_deg) = crval;
    } else if (len != 1) {
      return Fail(error, axis + " of length " + std::to_string(len) + " cannot be represented");
    }
    stride *= len;
    if (stride > 3 * AUVXFile::kMaxEntries) return Fail(error, "a group holds more than " + std::to_string(AUVXFile::kMaxEntries) + " visibilities");
  }
  if (!seen_complex) return Fail(error, "no COMPLEX axis");
  if (!seen_stokes) return Fail(error, "no STOKES axis");
  if (!seen_freq) return Fail(error, "no FREQ axis");
  l.data_elements = stride;
  const std::int64_t entries = std::int64_t{l.n_if} * l.n_channels * l.n_stokes;
  l.direct = l.bitpix == -32 && l.bscale == 1 && l.bzero == 0 && l.n_complex == 3 && l.stride_complex == 1 &&
             (l.n_stokes == 1 || l.stride_stokes == 3) && (l.n_channels == 1 || l.stride_freq == 3 * l.n_stokes) &&
             (l.n_if == 1 || l.stride_if == 3 * l.n_stokes * std::int64_t{l.n_channels}) && l.data_elements == 3 * entries;
  return 1;
}

double RawElement(const unsigned char* g, std::int64_t index, int bitpix) {
  const int bytes = (bitpix < 0 ? -bitpix : bitpix) / 8;
  const unsigned char* p = g + index * bytes;
  std::uint64_t w = 0;
  for (int i = 0; i < bytes; ++i) w = (w << 8) | p[i];
  switch (bitpix) {
    case 8: return double(w);
    case 16: return double(std::int16_t(std::uint16_t(w)));
    case 32: return double(std::int32_t(std::uint32_t(w)));
    case 64: return double(std::int64_t(w));
    case -32: return double(std::bit_cast<float>(std::uint32_t(w)));
    default: return std::bit_cast<double>(w);
  }
}

void DecodeVisibilityGeneral(const UVFitsLayout& l, const unsigned char* g, unsigned char* out) {
  unsigned char* e = out;
  for (int i = 0; i < l.n_if; ++i)
    for (int c = 0; c < l.n_channels; ++c)
      for (int s = 0; s < l.n_stokes; ++s, e += 12) {
        const std::int64_t at = l.pcount + i * l.stride_if + c * l.stride_freq + s * l.stride_stokes;
        const float v[3] = {float(RawElement(g, at, l.bitpix) * l.bscale + l.bzero),
                            float(RawElement(g, at + l.stride_complex, l.bitpix) * l.bscale + l.bzero),
                            l.n_complex == 3 ? float(RawElement(g, at + 2 * l.stride_complex, l.bitpix) * l.bscale + l.bzero) : 1.0f};
        std::memcpy(e, v, 12);
      }
}

void DecodeVisibility(const UVFitsLayout& l, const unsigned char* g, unsigned char* out) {
  if (!l.direct) return DecodeVisibilityGeneral(l, g, out);
  SwapWords(g + std::size_t(l.pcount) * 4, out, std::size_t(l.data_elements));
}

}  // namespace uvfits
