#pragma once
// Pieces shared by the UVFITS export and import (docs/uvfits.md): the cfitsio handle, its error
// text, big-endian words of the random-groups block, the group parameter names and the writer's
// temporary output name.
//
// cfitsio is used for headers and tables and for positioning; the group block itself moves as raw
// bytes in large blocks (ffmbyt/ffpbyt/ffgbyt), converted here: one call per few megabytes
// instead of two per group.

#include <fitsio.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

// Raw byte transfers at cfitsio's current position (exported by the library, declared in its
// internal header fitsio2.h, which is not meant for applications).
extern "C" {
int ffpbyt(fitsfile* fptr, LONGLONG nbytes, void* buffer, int* status);
int ffgbyt(fitsfile* fptr, LONGLONG nbytes, void* buffer, int* status);
}

namespace uvfits {

struct FitsCloser {
  void operator()(fitsfile* f) const {
    int status = 0;
    fits_close_file(f, &status);
  }
};
using FitsPtr = std::unique_ptr<fitsfile, FitsCloser>;

// Closes the file and returns cfitsio's status (0 when everything was flushed).
int CloseFits(FitsPtr& file);

// "cfitsio: <status text>: <first message on cfitsio's stack>"; clears the stack.
std::string FitsError(int status);

// fits_read_key, safe on a damaged header. cfitsio's conversion of a keyword to an integer
// overflows its message buffer, and the program aborts, when the value is unparsable text of 24
// characters or more; so for the integer types the value text is read first and anything longer
// than an integer can be written is refused with BAD_INTKEY. Same contract as fits_read_key.
int FitsReadKey(fitsfile* f, int type, const char* key, void* value, int* status);

// Extension names of the tables we exchange.
inline constexpr const char* kAntennaExt = "AIPS AN";
inline constexpr const char* kFrequencyExt = "AIPS FQ";
inline constexpr const char* kSourceExt = "AIPS SU";

// Seconds per day, for DATE (Julian days) <-> group time (seconds).
inline constexpr double kSecondsPerDay = 86400.0;

// The largest telescope number a UVX group holds (one byte).
inline constexpr int kMaxTelescope = 255;

// True when a PTYPE names the parameter `base`: exactly, or followed by '-' (AIPS writes
// "UU---SIN", "VV---NCP", ...). Case and trailing blanks are ignored.
bool ParamIs(std::string_view ptype, std::string_view base);

// Trailing (and leading) blanks removed, upper case.
std::string Normalized(std::string_view text);

// Where a writer puts its output until it is complete: "<path>.part".
std::string PartPath(const std::string& path);

// Big-endian 32-bit words: FITS order. The host is little-endian (see le_bytes.h).
inline std::uint32_t Swap32(std::uint32_t v) { return __builtin_bswap32(v); }

inline void PutBigFloat(unsigned char* p, float v) {
  const std::uint32_t w = Swap32(std::bit_cast<std::uint32_t>(v));
  std::memcpy(p, &w, 4);
}
inline float GetBigFloat(const unsigned char* p) {
  std::uint32_t w;
  std::memcpy(&w, p, 4);
  return std::bit_cast<float>(Swap32(w));
}

// Reverses the byte order of every 4-byte word of [src, src + words * 4) into dst (which may be
// src): little-endian floats of a UVX record <-> big-endian floats of a FITS group.
void SwapWords(const unsigned char* src, unsigned char* dst, std::size_t words);

}  // namespace uvfits
