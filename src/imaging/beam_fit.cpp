#include "imaging/beam_fit.h"

#include <cmath>
#include <numbers>
#include <vector>

namespace {

constexpr double kLobeLevel = 0.35;

// Solves the symmetric 3 x 3 system m x = b by Cramer's rule; false when singular.
bool Solve3(const double m[3][3], const double b[3], double x[3]) {
  auto det = [](const double a[3][3]) {
    return a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) - a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
           a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
  };
  const double d = det(m);
  if (!(std::fabs(d) > 0)) return false;
  for (int k = 0; k < 3; ++k) {
    double t[3][3];
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) t[i][j] = j == k ? b[i] : m[i][j];
    x[k] = det(t) / d;
  }
  return true;
}

}  // namespace

ABeam FitBeam(const AMatrix<float>& beam, std::uint32_t r0, std::uint32_t c0, double dx_as, double dy_as) {
  ABeam out;
  if (r0 >= beam.rows || c0 >= beam.cols || !(beam(r0, c0) > 0)) {
    out.why = "the beam has no positive peak at the phase centre";
    return out;
  }
  const double peak = beam(r0, c0);
  // The main lobe: flood fill from the peak.
  std::vector<char> seen(std::size_t(beam.Elements()), 0);
  std::vector<std::uint32_t> stack{r0 * beam.cols + c0};
  seen[stack[0]] = 1;
  double m[3][3] = {}, b[3] = {};
  while (!stack.empty()) {
    const std::uint32_t at = stack.back();
    stack.pop_back();
    const std::uint32_t r = at / beam.cols, c = at % beam.cols;
    const double p = beam(r, c) / peak;
    const double x = (double(c) - c0) * dx_as, y = (double(r) - r0) * dy_as;
    const double f[3] = {x * x, x * y, y * y}, w = p * p, t = -std::log(p);
    for (int i = 0; i < 3; ++i) {
      b[i] += w * f[i] * t;
      for (int j = 0; j < 3; ++j) m[i][j] += w * f[i] * f[j];
    }
    ++out.pixels;
    const std::int64_t next[4][2] = {{r - 1ll, c}, {r + 1ll, c}, {r, c - 1ll}, {r, c + 1ll}};
    for (const auto& n : next) {
      if (n[0] < 0 || n[1] < 0 || n[0] >= beam.rows || n[1] >= beam.cols) continue;
      const std::uint32_t k = std::uint32_t(n[0]) * beam.cols + std::uint32_t(n[1]);
      if (!seen[k] && beam.data[k] > kLobeLevel * peak) {
        seen[k] = 1;
        stack.push_back(k);
      }
    }
  }
  double q[3];
  if (out.pixels < 5 || !Solve3(m, b, q)) {
    out.why = "the main lobe of the beam spans " + std::to_string(out.pixels) +
              " pixels, too few to fit: choose a smaller cell";
    return out;
  }
  // Axes of A x^2 + B x y + C y^2: the smaller eigenvalue belongs to the major axis.
  const double a = q[0], bxy = q[1], c = q[2];
  const double mean = 0.5 * (a + c), diff = std::hypot(0.5 * (a - c), 0.5 * bxy);
  const double lmin = mean - diff, lmax = mean + diff;
  if (!(lmin > 0)) {
    out.why = "the main lobe of the beam is not bounded in every direction";
    return out;
  }
  const double ln2 = std::numbers::ln2;
  out.bmaj_as = 2 * std::sqrt(ln2 / lmin);
  out.bmin_as = 2 * std::sqrt(ln2 / lmax);
  // Eigenvector of lmin: (B/2, lmin - A), or an axis when the form is diagonal.
  double ex = 0.5 * bxy, ey = lmin - a;
  if (std::hypot(ex, ey) < 1e-12 * (std::fabs(a) + std::fabs(c))) ex = a <= c ? 1 : 0, ey = a <= c ? 0 : 1;
  double pa = std::atan2(ex, ey) * 180 / std::numbers::pi;
  while (pa > 90) pa -= 180;
  while (pa <= -90) pa += 180;
  out.bpa_deg = pa;
  out.ok = true;
  return out;
}
