#pragma once
// Axis ranges of a map, in arcseconds: first axis (columns, east offset) minimum and maximum,
// second axis (rows, north offset) minimum and maximum. Pixel (r, c) of an R x C map lies at
// x = xmin + c (xmax - xmin) / (C - 1), y = ymin + r (ymax - ymin) / (R - 1).

struct TMinMax {
  double xmin = 0;
  double xmax = 0;
  double ymin = 0;
  double ymax = 0;
};

// Smallest and largest pixel value of a rendered map.
struct AMapValueRange {
  float min = 0;
  float max = 0;
};
