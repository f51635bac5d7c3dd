#include "model/view_scale.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "model/map_model.h"

AUnitPrefix ChoosePrefix(double magnitude) {
  if (!(magnitude > 0) || !std::isfinite(magnitude) || magnitude >= 1.0) return {"", 1.0};
  if (magnitude >= 1e-3) return {"m", 1e3};
  if (magnitude >= 1e-6) return {"\xC2\xB5", 1e6};
  return {"n", 1e9};
}

TMinMax FieldOfViewRange(double fov_ra_arcsec, double fov_dec_arcsec) {
  return {-fov_ra_arcsec / 2, fov_ra_arcsec / 2, -fov_dec_arcsec / 2, fov_dec_arcsec / 2};
}

void ViewMapSize(double fov_ra, double fov_dec, int long_side, std::uint32_t& rows, std::uint32_t& cols) {
  const std::uint32_t n = std::uint32_t(std::max(long_side, 2));
  rows = cols = n;
  if (!(fov_ra > 0) || !(fov_dec > 0) || !std::isfinite(fov_ra) || !std::isfinite(fov_dec)) return;
  auto share = [n](double part) { return std::max<std::uint32_t>(2, std::uint32_t(std::lround(n * part))); };
  if (fov_ra >= fov_dec)
    rows = share(fov_dec / fov_ra);
  else
    cols = share(fov_ra / fov_dec);
}

bool MapPixelAt(const AMatrix<float>& map, const TMinMax& range, double x, double y, std::uint32_t& row,
                std::uint32_t& col) {
  if (map.rows < 2 || map.cols < 2) return false;
  const double fc = (x - range.xmin) / (range.xmax - range.xmin) * double(map.cols - 1);
  const double fr = (y - range.ymin) / (range.ymax - range.ymin) * double(map.rows - 1);
  if (!std::isfinite(fc) || !std::isfinite(fr)) return false;
  const double c = std::round(fc), r = std::round(fr);
  if (c < 0 || r < 0 || c > double(map.cols - 1) || r > double(map.rows - 1)) return false;
  row = std::uint32_t(r);
  col = std::uint32_t(c);
  return true;
}

void MirrorColumns(AMatrix<float>& map, TMinMax& range) {
  for (std::uint32_t r = 0; r < map.rows; ++r) std::reverse(map.Row(r), map.Row(r) + map.cols);
  std::swap(range.xmin, range.xmax);
}

void MirrorRows(AMatrix<float>& map, TMinMax& range) {
  for (std::uint32_t r = 0; r < map.rows / 2; ++r)
    std::swap_ranges(map.Row(r), map.Row(r) + map.cols, map.Row(map.rows - 1 - r));
  std::swap(range.ymin, range.ymax);
}

void NormalizeMapAxes(AMatrix<float>& map, TMinMax& range) {
  if (range.xmin > range.xmax) MirrorColumns(map, range);
  if (range.ymin > range.ymax) MirrorRows(map, range);
}

int SaveViewMap(const std::string& path, const AMatrix<float>& map, const TMinMax& range, std::string* error) {
  std::string ext = path.substr(std::min(path.size(), path.rfind('.') == std::string::npos ? path.size() : path.rfind('.')));
  for (char& ch : ext) ch = char(std::tolower(static_cast<unsigned char>(ch)));
  if (ext == ".fits" || ext == ".fit" || ext == ".fts") {
    AMatrix<float> sky = map;
    TMinMax sky_range = range;
    NormalizeMapAxes(sky, sky_range);
    MirrorColumns(sky, sky_range);  // east (the larger offset) first: CDELT1 < 0
    return SaveMapAny(path, sky, sky_range, "JY/PIXEL", error);
  }
  return SaveMapAny(path, map, range, "JY/PIXEL", error);
}
