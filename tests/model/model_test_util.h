#pragma once
// Helpers shared by the model tests: components, zeroed maps, a plain double-precision sum over
// point components and the groups of a UVX file read back whole.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "model/comp_item.h"
#include "model/map_comps.h"
#include "uvx/uvx_test_util.h"

// A component; axis and distance in arcsec, angles in degrees.
inline ACompItem Comp(int type, double flux, double axis = 0.001, double ratio = 1, double incl = 0,
                      double pa = 0, double dist = 0, double width = 0.5) {
  ACompItem c;
  c.type = type;
  c.flux = flux;
  c.large_axis = axis;
  c.axis_ratio = ratio;
  c.inclination = incl;
  c.position_angle = pa;
  c.distance = dist;
  c.width = width;
  return c;
}

inline AMatrix<float> ZeroMap(std::uint32_t rows, std::uint32_t cols) {
  AMatrix<float> m(rows, cols);
  for (std::uint64_t i = 0; i < m.Elements(); ++i) m.data[i] = 0;
  return m;
}

inline double PixelSum(const AMatrix<float>& m) {
  double s = 0;
  for (std::uint64_t i = 0; i < m.Elements(); ++i) s += m.data[i];
  return s;
}

inline bool SameMatrix(const AMatrix<float>& a, const AMatrix<float>& b) {
  return a.rows == b.rows && a.cols == b.cols &&
         std::memcmp(a.data, b.data, std::size_t(a.Elements()) * sizeof(float)) == 0;
}

// Sum over the point components in double precision, written independently of both engines.
inline std::complex<double> PointSum(const AMapComps& comps, double u, double v) {
  double re = 0, im = 0;
  for (int i = 0; i < comps.GetSize(); ++i) {
    const double ph = double(comps[i].x) * u + double(comps[i].y) * v;
    re += double(comps[i].flux) * std::cos(ph);
    im += double(comps[i].flux) * std::sin(ph);
  }
  return {re, im};
}

struct FileData {
  std::vector<AUVXGroup> groups;
  std::vector<AUVXVisibility> vis;
  AUVXHeader header;
};

inline FileData ReadFile(const std::string& path) {
  FileData d;
  AUVXFile f;
  EXPECT_TRUE(f.Open(path, AUVXFile::modeRead)) << f.Error();
  d.header = f.Header();
  for (std::int64_t i = 0; i < f.Groups(); ++i) {
    AUVXGroup g;
    AUVXVisibility v(f);
    EXPECT_TRUE(f.SeekUVGroup(i) && g.load(f) && v.load(f));
    d.groups.push_back(g);
    d.vis.push_back(v);
  }
  return d;
}

// Lets `edit` change every group of the file at `path` in place.
inline void EditGroups(const std::string& path, const std::function<void(int, AUVXGroup&)>& edit) {
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeUpdate)) << f.Error();
  for (std::int64_t i = 0; i < f.Groups(); ++i) {
    AUVXGroup g;
    ASSERT_TRUE(f.SeekUVGroup(i) && g.load(f));
    edit(int(i), g);
    ASSERT_TRUE(f.SeekUVGroup(i) && g.store(f));
  }
  ASSERT_TRUE(f.Close());
}

// The map's sum over its pixel grid with the offsets in double (no float rounding of the
// positions), written as a plain loop: pixel (r, c) at xmin + c dx, ymin + r dy arcsec.
inline std::complex<double> GridSum(const AMatrix<float>& map, const TMinMax& range, double u, double v) {
  const double k = 2.0 * 3.14159265358979323846 * 3.14159265358979323846 / 648000.0;
  const double dx = (range.xmax - range.xmin) / (map.cols - 1.0), dy = (range.ymax - range.ymin) / (map.rows - 1.0);
  double re = 0, im = 0;
  for (std::uint32_t r = 0; r < map.rows; ++r)
    for (std::uint32_t c = 0; c < map.cols; ++c) {
      const double f = map(r, c);
      if (f == 0) continue;
      const double ph = (range.xmin + c * dx) * k * u + (range.ymin + r * dy) * k * v;
      re += f * std::cos(ph);
      im += f * std::sin(ph);
    }
  return {re, im};
}
