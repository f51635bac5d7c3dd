#pragma once
// FITS images as maps, through cfitsio (layout choices in docs/maps.md).
//
// Reading takes the first image HDU with data: 2-D, or 3-/4-D whose extra axes have length 1.
// NAXIS1 runs along the columns (first axis, east), NAXIS2 along the rows (second axis, north).
// The axes are described by CRPIX, CDELT (or a diagonal CD matrix) in degrees; the reference pixel
// is the phase centre, so column c (0-based) lies at x = (c + 1 - CRPIX1) * CDELT1 * 3600 arcsec
// (a negative CDELT1, the usual RA axis, gives xmin > xmax). CRVAL is the sky position of that
// centre and is not needed. Undefined (NaN or BLANK) pixels read as 0. BUNIT is the unit text.

#include <cstdint>
#include <string>

#include "core/containers.h"
#include "model/map_range.h"

// Non-zero on success; *error says why otherwise.
int LoadFitsMap(const std::string& path, AMatrix<float>& map, TMinMax& range, std::string& unit,
                std::string* error);

// Whether a tile-compressed image of `pixels` pixels may be read from a file of `file_bytes`:
// up to 2^24 pixels (4096 x 4096, 64 MiB as floats) always, more only while the pixels take at
// most 1024 times the file's size, so that a small damaged file cannot ask for gigabytes.
inline bool CompressedImageFits(std::uint64_t pixels, std::uint64_t file_bytes) {
  constexpr std::uint64_t kAlways = std::uint64_t{1} << 24;
  return pixels <= kAlways || pixels * 4 <= file_bytes * 1024;
}

// Whether the image's WCS is on J2000 axes: EQUINOX (else EPOCH) 2000 or absent, and RADESYS (if
// given) ICRS or FK5 (not FK4). False for a file that is not FITS or cannot be read.
bool FitsMapOnJ2000Axes(const std::string& path);

// Writes a 2-D float image (BITPIX -32) with RA---SIN / DEC--SIN axes, CRVAL 0, CDELT from the
// pixel spacing and CRPIX placing the phase centre, BUNIT = unit. Written beside the target and
// renamed: complete or absent.
int SaveFitsMap(const std::string& path, const AMatrix<float>& map, const TMinMax& range,
                const std::string& unit, std::string* error);

// What an image may say beyond its pixels: the J2000 sky position of its phase centre (CRVAL,
// EQUINOX 2000, RADESYS FK5), the restoring beam (BMAJ, BMIN, BPA in degrees), the source name
// (OBJECT), the observation date (DATE-OBS, from the Julian day of its 0h) and frequency (RESTFRQ).
struct AFitsImageInfo {
  bool celestial = false;
  double ra_deg = 0, dec_deg = 0;
  bool beam = false;
  double bmaj_deg = 0, bmin_deg = 0, bpa_deg = 0;
  std::string object;
  double jd0 = 0;      // 0: no date
  double freq_hz = 0;  // 0: no frequency
};
int SaveFitsMap(const std::string& path, const AMatrix<float>& map, const TMinMax& range,
                const std::string& unit, const AFitsImageInfo& info, std::string* error);
