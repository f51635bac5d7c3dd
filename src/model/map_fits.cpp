#include "model/map_fits.h"

#include <fitsio.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <system_error>

#include "core/astro_time.h"
#include "core/file.h"
#include "core/text.h"
#include "model/map_file.h"
#include "uvx/fits_header_check.h"

namespace {

constexpr double kDegToArcsec = 3600.0;

std::string FitsText(int status) {
  char text[FLEN_ERRMSG] = {};
  fits_get_errstatus(status, text);
  return text;
}

int Fail(std::string* error, const std::string& why) {
  if (error) *error = why;
  return 0;
}

// Closes the file on every path out.
struct FitsHandle {
  fitsfile* f = nullptr;
  ~FitsHandle() {
    if (f) {
      int s = 0;
      fits_close_file(f, &s);
    }
  }
};

// A double keyword, or `fallback` when it is absent; false on any other error.
bool ReadDouble(fitsfile* f, const char* key, double fallback, double& value) {
  int status = 0;
  double v = 0;
  fits_read_key(f, TDOUBLE, key, &v, nullptr, &status);
  if (status == KEY_NO_EXIST) {
    value = fallback;
    return true;
  }
  if (status != 0 || !std::isfinite(v)) return false;
  value = v;
  return true;
}

std::string ReadText(fitsfile* f, const char* key) {
  int status = 0;
  char value[FLEN_VALUE] = {};
  fits_read_key_str(f, key, value, nullptr, &status);
  if (status != 0) return {};
  std::string s(value);
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}

// Pixel spacing of axis n (1 or 2) in degrees: CDELTn, or CDn_n when CDELTn is absent.
bool AxisStep(fitsfile* f, int n, double& step, std::string& why) {
  const std::string i = std::to_string(n);
  double cdelt = 0, cd = 0, cross = 0;
  if (!ReadDouble(f, ("CDELT" + i).c_str(), 0, cdelt) || !ReadDouble(f, ("CD" + i + "_" + i).c_str(), 0, cd) ||
      !ReadDouble(f, (n == 1 ? "CD1_2" : "CD2_1"), 0, cross)) {
    why = "unreadable axis keywords";
    return false;
  }
  if (cdelt == 0 && cross != 0) {
    why = "rotated CD matrix (CD1_2/CD2_1) is not supported";
    return false;
  }
  step = cdelt != 0 ? cdelt : cd;
  if (step == 0) {
    why = "no pixel spacing (CDELT" + i + ") for axis " + i;
    return false;
  }
  const std::string unit = ReadText(f, ("CUNIT" + i).c_str());
  if (!unit.empty() && unit != "deg" && unit != "DEG" && unit != "degree" && unit != "DEGREE") {
    why = "axis " + i + " unit '" + EscapeText(unit, 40) + "' is not degrees";
    return false;
  }
  return true;
}

// Moves to the first image HDU holding pixels.
bool FindImage(fitsfile* f, int& naxis, LONGLONG naxes[4], int& status) {
  int hdus = 0;
  if (fits_get_num_hdus(f, &hdus, &status)) return false;
  for (int h = 1; h <= hdus; ++h) {
    int type = 0;
    if (fits_movabs_hdu(f, h, &type, &status)) return false;
    if (type != IMAGE_HDU) continue;
    int bitpix = 0;
    LONGLONG dims[9] = {};
    if (fits_get_img_paramll(f, 9, &bitpix, &naxis, dims, &status)) return false;
    if (naxis < 1) continue;
    if (naxis > 4) naxis = 5;  // refused by the caller
    for (int k = 0; k < 4; ++k) naxes[k] = k < naxis ? dims[k] : 1;
    return true;
  }
  return false;
}

// The keywords of AFitsImageInfo that are set.
void WriteImageInfo(fitsfile* f, const AFitsImageInfo& info, int* status) {
  if (info.celestial) {
    double equinox = 2000.0;
    char fk5[] = "FK5";
    fits_write_key(f, TDOUBLE, "EQUINOX", &equinox, "J2000 axes", status);
    fits_write_key(f, TSTRING, "RADESYS", fk5, nullptr, status);
  }
  if (info.beam) {
    double bmaj = info.bmaj_deg, bmin = info.bmin_deg, bpa = info.bpa_deg;
    fits_write_key(f, TDOUBLE, "BMAJ", &bmaj, "beam major axis FWHM, degrees", status);
    fits_write_key(f, TDOUBLE, "BMIN", &bmin, "beam minor axis FWHM, degrees", status);
    fits_write_key(f, TDOUBLE, "BPA", &bpa, "beam position angle, degrees east of north", status);
  }
  if (!info.object.empty()) {
    std::string object = info.object;
    fits_write_key(f, TSTRING, "OBJECT", object.data(), nullptr, status);
  }
  if (info.jd0 > 0)
    if (const auto date = CalendarFromJulianDay(info.jd0 + 0.5, "%Y-%m-%d")) {
      std::string text = *date;
      fits_write_key(f, TSTRING, "DATE-OBS", text.data(), "observation date", status);
    }
  if (info.freq_hz > 0) {
    double freq = info.freq_hz;
    fits_write_key(f, TDOUBLE, "RESTFRQ", &freq, "reference frequency, Hz", status);
  }
  char origin[] = "QVLModel";
  fits_write_key(f, TSTRING, "ORIGIN", origin, nullptr, status);
}

}  // namespace

bool FitsMapOnJ2000Axes(const std::string& path) {
  if (!FitsHeaderProblem(path).empty()) return false;
  FitsHandle h;
  int status = 0;
  if (fits_open_diskfile(&h.f, path.c_str(), READONLY, &status)) return false;
  int naxis = 0;
  LONGLONG naxes[4] = {1, 1, 1, 1};
  if (!FindImage(h.f, naxis, naxes, status)) return false;
  double equinox = 2000.0;
  for (const char* key : {"EQUINOX", "EPOCH"}) {
    int st = 0;
    double value = 0;
    if (fits_read_key(h.f, TDOUBLE, key, &value, nullptr, &st) == 0) {
      equinox = value;
      break;
    }
  }
  char radesys[FLEN_VALUE] = {};
  int st = 0;
  fits_read_key(h.f, TSTRING, "RADESYS", radesys, nullptr, &st);
  fits_clear_errmsg();
  return std::fabs(equinox - 2000.0) < 0.01 && std::string(radesys).rfind("FK4", 0) != 0;
}

int LoadFitsMap(const std::string& path, AMatrix<float>& map, TMinMax& range, std::string& unit,
                std::string* error) {
  if (const std::string why = FitsHeaderProblem(path); !why.empty())
    return Fail(error, path + ": " + why);
  FitsHandle h;
  int status = 0;
  if (fits_open_diskfile(&h.f, path.c_str(), READONLY, &status))
    return Fail(error, "cannot open FITS file " + path + ": " + FitsText(status));
  int naxis = 0;
  LONGLONG naxes[4] = {1, 1, 1, 1};
  if (!FindImage(h.f, naxis, naxes, status))
    return Fail(error, path + ": no image found" + (status ? ": " + FitsText(status) : std::string()));
  if (naxis < 2 || naxis > 4 || naxes[2] != 1 || naxes[3] != 1)
    return Fail(error, path + ": the image is not 2-D (or 4-D with axes 3 and 4 of length 1)");
  const LONGLONG cols = naxes[0], rows = naxes[1];
  if (cols < 1 || rows < 1 || cols > LONGLONG{AMapHeader::kMaxAxis} || rows > LONGLONG{AMapHeader::kMaxAxis} ||
      std::uint64_t(cols) * std::uint64_t(rows) > AMapHeader::kMaxPixels)
    return Fail(error, path + ": absurd image size " + std::to_string(cols) + " x " + std::to_string(rows));
  // An uncompressed image must hold its pixels before they are allocated. A tile-compressed one
  // cannot be checked that way: its pixels are limited instead (see CompressedImageFits).
  int cstatus = 0;
  if (fits_is_compressed_image(h.f, &cstatus)) {
    std::error_code ec;
    const auto length = std::filesystem::file_size(path, ec);
    if (ec || !CompressedImageFits(std::uint64_t(cols) * std::uint64_t(rows), length))
      return Fail(error, path + ": compressed image of " + std::to_string(cols) + " x " + std::to_string(rows) +
                             " pixels is beyond the limit for its file size");
  } else {
    LONGLONG head = 0, data = 0, end = 0;
    int bitpix = 0;
    if (fits_get_hduaddrll(h.f, &head, &data, &end, &status) || fits_get_img_type(h.f, &bitpix, &status))
      return Fail(error, path + ": " + FitsText(status));
    std::error_code ec;
    const auto length = std::filesystem::file_size(path, ec);
    const LONGLONG need = data + cols * rows * (std::abs(bitpix) / 8);
    if (ec || LONGLONG(length) < need) return Fail(error, path + ": file truncated (image data missing)");
  }
  double step1 = 0, step2 = 0, ref1 = 0, ref2 = 0;
  std::string why;
  if (!AxisStep(h.f, 1, step1, why) || !AxisStep(h.f, 2, step2, why)) return Fail(error, path + ": " + why);
  if (!ReadDouble(h.f, "CRPIX1", 1, ref1) || !ReadDouble(h.f, "CRPIX2", 1, ref2))
    return Fail(error, path + ": unreadable CRPIX");

  AMatrix<float> m(static_cast<std::uint32_t>(rows), static_cast<std::uint32_t>(cols));
  LONGLONG first[4] = {1, 1, 1, 1};
  // Undefined pixels (NaN, or BLANK of an integer image) come back as NaN, then become 0.
  float blank = std::numeric_limits<float>::quiet_NaN();
  int anynul = 0;
  if (fits_read_pixll(h.f, TFLOAT, first, cols * rows, &blank, m.data, &anynul, &status))
    return Fail(error, path + ": cannot read the pixels: " + FitsText(status));
  for (std::uint64_t i = 0; i < m.Elements(); ++i)
    if (!std::isfinite(m.data[i])) m.data[i] = 0;  // undefined, or beyond float range
  range.xmin = (1.0 - ref1) * step1 * kDegToArcsec;
  range.xmax = (double(cols) - ref1) * step1 * kDegToArcsec;
  range.ymin = (1.0 - ref2) * step2 * kDegToArcsec;
  range.ymax = (double(rows) - ref2) * step2 * kDegToArcsec;
  unit = ReadText(h.f, "BUNIT");
  map = m;
  return 1;
}

int SaveFitsMap(const std::string& path, const AMatrix<float>& map, const TMinMax& range,
                const std::string& unit, std::string* error) {
  return SaveFitsMap(path, map, range, unit, AFitsImageInfo(), error);
}

int SaveFitsMap(const std::string& path, const AMatrix<float>& map, const TMinMax& range,
                const std::string& unit, const AFitsImageInfo& info, std::string* error) {
  if (map.rows < 1 || map.cols < 1) return Fail(error, "cannot write an empty map");
  const std::string temp = path + ".part~" + std::to_string(::getpid());
  AFileRemover remover(temp);
  RemoveFile(temp);
  // Spacing in degrees; a single row or column gets the axis length (or 1 arcsec) as its spacing.
  auto spacing = [](double lo, double hi, std::uint32_t n) {
    const double span = hi - lo;
    const double d = n > 1 ? span / double(n - 1) : span;
    return (d != 0 ? d : 1.0) / kDegToArcsec;
  };
  double cdelt1 = spacing(range.xmin, range.xmax, map.cols);
  double cdelt2 = spacing(range.ymin, range.ymax, map.rows);
  double crpix1 = 1.0 - range.xmin / (cdelt1 * kDegToArcsec);
  double crpix2 = 1.0 - range.ymin / (cdelt2 * kDegToArcsec);
  double crval1 = info.celestial ? info.ra_deg : 0.0, crval2 = info.celestial ? info.dec_deg : 0.0;
  {
    FitsHandle h;
    int status = 0;
    LONGLONG naxes[2] = {map.cols, map.rows};
    LONGLONG first[2] = {1, 1};
    char ra[] = "RA---SIN", dec[] = "DEC--SIN", deg[] = "deg";
    std::string bunit = unit;
    fits_create_diskfile(&h.f, temp.c_str(), &status);
    fits_create_imgll(h.f, FLOAT_IMG, 2, naxes, &status);
    fits_write_key(h.f, TSTRING, "BUNIT", bunit.data(), "pixel unit", &status);
    fits_write_key(h.f, TSTRING, "CTYPE1", ra, "first axis: east offset", &status);
    fits_write_key(h.f, TDOUBLE, "CRVAL1", &crval1, "phase centre", &status);
    fits_write_key(h.f, TDOUBLE, "CDELT1", &cdelt1, "degrees", &status);
    fits_write_key(h.f, TDOUBLE, "CRPIX1", &crpix1, "pixel of the phase centre", &status);
    fits_write_key(h.f, TSTRING, "CUNIT1", deg, nullptr, &status);
    fits_write_key(h.f, TSTRING, "CTYPE2", dec, "second axis: north offset", &status);
    fits_write_key(h.f, TDOUBLE, "CRVAL2", &crval2, "phase centre", &status);
    fits_write_key(h.f, TDOUBLE, "CDELT2", &cdelt2, "degrees", &status);
    fits_write_key(h.f, TDOUBLE, "CRPIX2", &crpix2, "pixel of the phase centre", &status);
    fits_write_key(h.f, TSTRING, "CUNIT2", deg, nullptr, &status);
    WriteImageInfo(h.f, info, &status);
    fits_write_pixll(h.f, TFLOAT, first, LONGLONG(map.Elements()), const_cast<float*>(map.data), &status);
    int close_status = status;
    fits_close_file(h.f, &close_status);
    h.f = nullptr;
    if (status || close_status)
      return Fail(error, "cannot write FITS file " + path + ": " + FitsText(status ? status : close_status));
  }
  std::error_code ec;
  std::filesystem::rename(temp, path, ec);
  if (ec) return Fail(error, "cannot rename " + temp + " to " + path + ": " + ec.message());
  remover.Keep();
  return 1;
}
