#include "model/comp_render.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegToRad = kPi / 180.0;
// Largest number of sample points along one axis of a component frame.
constexpr int kMaxAxisSamples = 2048;
// A Gaussian is sampled out to this many standard deviations.
constexpr double kGaussSigmas = 6.0;

struct Point {
  double s;  // along the major axis, arcsec
  double t;  // along the minor axis, arcsec
  double w;  // weight (any scale; normalised to the flux)
};

struct Grid {
  double xmin, ymin, dx, dy;
  int rows, cols;
};

int SampleCount(double extent_arcsec, double spacing_arcsec, int minimum) {
  if (!(spacing_arcsec > 0) || !std::isfinite(extent_arcsec)) return minimum;
  const double n = std::ceil(std::fabs(extent_arcsec) / spacing_arcsec);
  return static_cast<int>(std::clamp(n, static_cast<double>(minimum), static_cast<double>(kMaxAxisSamples)));
}

// Midpoints of n equal cells over [-1, 1].
inline double Mid(int i, int n) { return (2.0 * i + 1.0) / n - 1.0; }

// The sample points of a centred, unrotated component (s, t in arcsec), at most `spacing` apart.
std::vector<Point> Samples(const ACompItem& item, double spacing) {
  std::vector<Point> pts;
  const double a = std::fabs(item.large_axis) / 2.0;  // semi-major, or FWHM / 2 for a Gaussian
  const double b = a * std::fabs(item.axis_ratio);
  switch (item.type) {
    case kCompDelta:
      pts.push_back({0, 0, 1});
      break;
    case kCompGaussian: {
      const double sa = item.large_axis / (2.0 * std::sqrt(2.0 * std::log(2.0)));
      const double sb = sa * std::fabs(item.axis_ratio);
      const int na = SampleCount(2 * kGaussSigmas * sa, spacing, 9);
      const int nb = SampleCount(2 * kGaussSigmas * sb, spacing, 9);
      for (int i = 0; i < na; ++i)
        for (int j = 0; j < nb; ++j) {
          const double x = kGaussSigmas * Mid(i, na), y = kGaussSigmas * Mid(j, nb);
          pts.push_back({x * sa, y * sb, std::exp(-0.5 * (x * x + y * y))});
        }
      break;
    }
    case kCompDisk:
    case kCompRectangle:
    case kCompThickRing: {
      double inner_sq = 0;
      if (item.type == kCompThickRing) {
        const double w = std::clamp(item.width, 0.0, 1.0);
        inner_sq = (1.0 - w) * (1.0 - w);
      }
      const int na = SampleCount(2 * a, spacing, 16);
      const int nb = SampleCount(2 * b, spacing, 16);
      for (int i = 0; i < na; ++i)
        for (int j = 0; j < nb; ++j) {
          const double x = Mid(i, na), y = Mid(j, nb);
          const double r2 = x * x + y * y;
          if (item.type != kCompRectangle && (r2 > 1.0 || r2 < inner_sq)) continue;
          pts.push_back({x * a, y * b, 1.0});
        }
      // An annulus thinner than the sampling: its points fall on the ring itself.
      if (pts.empty() && item.type == kCompThickRing) {
        ACompItem ring = item;
        ring.type = kCompThinRing;
        return Samples(ring, spacing);
      }
      break;
    }
    case kCompThinRing: {
      const int n = std::max(64, SampleCount(2 * kPi * a, spacing / 2, 64));
      for (int i = 0; i < n; ++i) {
        const double phi = kPi * Mid(i, n);
        pts.push_back({a * std::cos(phi), b * std::sin(phi), 1.0});
      }
      break;
    }
    case kCompThinSphere: {
      // A uniform shell: the height z along the line of sight is uniformly distributed, so
      // equal steps in z and in azimuth give points of equal weight; the projected radius is
      // sqrt(1 - z^2).
      const int nz = std::max(32, SampleCount(4 * a, spacing, 32));
      const int nphi = std::max(64, SampleCount(2 * kPi * a, spacing / 2, 64));
      for (int k = 0; k < nz; ++k) {
        const double z = (k + 0.5) / nz;
        const double rho = std::sqrt(1.0 - z * z);
        for (int i = 0; i < nphi; ++i) {
          const double phi = kPi * Mid(i, nphi);
          pts.push_back({a * rho * std::cos(phi), b * rho * std::sin(phi), 1.0});
        }
      }
      break;
    }
    default:
      break;
  }
  return pts;
}

inline void Deposit(AMatrix<float>& map, const Grid& g, double x, double y, double w) {
  const double fc = (x - g.xmin) / g.dx, fr = (y - g.ymin) / g.dy;
  if (!(fc > -1.0 && fc < g.cols && fr > -1.0 && fr < g.rows)) return;
  const double c0 = std::floor(fc), r0 = std::floor(fr);
  const double wc = fc - c0, wr = fr - r0;
  const int c = static_cast<int>(c0), r = static_cast<int>(r0);
  const double parts[4] = {(1 - wr) * (1 - wc), (1 - wr) * wc, wr * (1 - wc), wr * wc};
  const int rr[4] = {r, r, r + 1, r + 1}, cc[4] = {c, c + 1, c, c + 1};
  for (int k = 0; k < 4; ++k)
    if (rr[k] >= 0 && rr[k] < g.rows && cc[k] >= 0 && cc[k] < g.cols)
      map(static_cast<std::uint32_t>(rr[k]), static_cast<std::uint32_t>(cc[k])) += static_cast<float>(w * parts[k]);
}

}  // namespace

void RenderComp(const ACompItem& item, AMatrix<float>& map, const TMinMax& range) {
  if (map.rows < 2 || map.cols < 2) return;
  Grid g{range.xmin, range.ymin, (range.xmax - range.xmin) / (map.cols - 1.0),
         (range.ymax - range.ymin) / (map.rows - 1.0), static_cast<int>(map.rows), static_cast<int>(map.cols)};
  if (!(g.dx > 0 && g.dy > 0)) return;
  const double spacing = 0.5 * std::min(g.dx, g.dy);
  const std::vector<Point> pts = Samples(item, spacing);
  double total = 0;
  for (const Point& p : pts) total += p.w;
  if (!(total > 0)) return;
  const double scale = item.flux / total;
  const double t = item.inclination * kDegToRad;
  const double st = std::sin(t), ct = std::cos(t);
  const double x0 = item.OffsetEastArcsec(), y0 = item.OffsetNorthArcsec();
  // Major axis along (sin t, cos t) (east, north); minor axis along (cos t, -sin t).
  for (const Point& p : pts)
    Deposit(map, g, x0 + p.s * st + p.t * ct, y0 + p.s * ct - p.t * st, p.w * scale);
}
