#pragma once
// What a model view needs to show a brightness map: the field of view as axis ranges, a map size
// with square pixels, the unit prefix of the axes and of the colour scale, the pixel under a sky
// position, the orientation of the axes (mirroring), and saving the shown map.
//
// Axis ranges follow map_range.h: x is the east offset (first axis, columns), y the north offset
// (second axis, rows), both in arcseconds.

#include <string>

#include "core/containers.h"
#include "model/map_range.h"

// A unit prefix: its text ("", "m", "µ" in UTF-8, "n") and the factor that turns a value in the
// base unit into the prefixed unit (1, 1e3, 1e6, 1e9).
struct AUnitPrefix {
  const char* text = "";
  double scale = 1.0;
};

// The prefix that shows `magnitude` (an axis length in arcseconds or a brightness in Jy) with at
// least one whole unit: "" from 1 on, "m" from 1e-3, "µ" from 1e-6, "n" below (and "" for 0, a
// negative or a value that is not finite).
AUnitPrefix ChoosePrefix(double magnitude);

// The field of view centred on the phase centre: [-ra/2, ra/2] x [-dec/2, dec/2] arcsec.
TMinMax FieldOfViewRange(double fov_ra_arcsec, double fov_dec_arcsec);

// A map of square pixels over the field of view: the longer axis gets `long_side` pixels, the other
// its share of them (at least 2). Sizes that are not positive and finite give long_side x long_side.
void ViewMapSize(double fov_ra_arcsec, double fov_dec_arcsec, int long_side, std::uint32_t& rows,
                 std::uint32_t& cols);

// The pixel nearest to the sky position (x, y) in arcsec; false when it lies outside the map
// (by more than half a pixel) or the map is smaller than 2 x 2.
bool MapPixelAt(const AMatrix<float>& map, const TMinMax& range, double x, double y, std::uint32_t& row,
                std::uint32_t& col);

// Mirrors the columns (rows) and swaps xmin and xmax (ymin and ymax): the same sky, the other
// direction of the axis.
void MirrorColumns(AMatrix<float>& map, TMinMax& range);
void MirrorRows(AMatrix<float>& map, TMinMax& range);
// Mirrors what is needed for xmin <= xmax and ymin <= ymax (a FITS map with CDELT1 < 0 is read
// with xmin > xmax).
void NormalizeMapAxes(AMatrix<float>& map, TMinMax& range);

// Writes a map shown by the view, by extension: ".exm" / ".amap" as it stands (columns from west
// to east); FITS (".fits", ".fit", ".fts") in the astronomers' orientation, east on the left:
// columns mirrored so that CDELT1 < 0. Unit "JY/PIXEL". Complete or absent; non-zero on success.
int SaveViewMap(const std::string& path, const AMatrix<float>& map, const TMinMax& range, std::string* error);
