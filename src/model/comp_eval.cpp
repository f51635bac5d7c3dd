#include "model/comp_eval.h"

#include <cmath>

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegToRad = kPi / 180.0;
// exp(-(pi^2 / (4 ln 2)) (FWHM k)^2) = exp(-(c FWHM k)^2) with c = pi / (2 sqrt(ln 2)).
const double kGaussScale = kPi / (2.0 * std::sqrt(std::log(2.0)));
// Below this argument the profiles are evaluated by their Taylor series (relative error < 1e-17).
constexpr double kSmallArg = 1e-4;
// A thick ring thinner than this (relative width) is evaluated as a thin ring.
constexpr double kThinWidth = 1e-6;

inline double Sinc(double x) { return std::fabs(x) < kSmallArg ? 1.0 - x * x / 6.0 : std::sin(x) / x; }

inline void Phasor(const APreparedComp& c, double u, double v, double& cs, double& sn) {
  if (!c.has_offset) {
    cs = 1.0;
    sn = 0.0;
    return;
  }
  ::sincos(c.phase_u * u + c.phase_v * v, &sn, &cs);
}

// Real amplitude of the centred component (flux included) at (u, v).
template <int Type>
inline double Amplitude(const APreparedComp& c, double u, double v) {
  if constexpr (Type == kCompDelta) {
    return c.flux;
  } else {
    const double s1 = c.m11 * u + c.m12 * v;
    const double s2 = c.m21 * u + c.m22 * v;
    if constexpr (Type == kCompGaussian) {
      return c.flux * std::exp(-(s1 * s1 + s2 * s2));
    } else if constexpr (Type == kCompRectangle) {
      return c.flux * Sinc(s1) * Sinc(s2);
    } else {
      const double x = std::sqrt(s1 * s1 + s2 * s2);
      if constexpr (Type == kCompDisk) return c.flux * DiskProfile(x);
      if constexpr (Type == kCompThinRing) return c.flux * ::j0(x);
      if constexpr (Type == kCompThinSphere) return c.flux * SphereProfile(x);
      if constexpr (Type == kCompThickRing)
        return c.flux * (c.thin_limit ? ::j0(x) : AnnulusProfile(x, c.inner, c.inner_sq, c.ring_norm));
    }
  }
  return 0.0;
}

template <int Type>
void AddTyped(const APreparedComp& c, const double* u, const double* v, std::size_t n, double* re,
              double* im) {
  if (c.has_offset) {
    for (std::size_t i = 0; i < n; ++i) {
      const double a = Amplitude<Type>(c, u[i], v[i]);
      double sn, cs;
      ::sincos(c.phase_u * u[i] + c.phase_v * v[i], &sn, &cs);
      re[i] += a * cs;
      im[i] += a * sn;
    }
  } else {
    for (std::size_t i = 0; i < n; ++i) re[i] += Amplitude<Type>(c, u[i], v[i]);
  }
}

template <int Type>
std::complex<double> EvalTyped(const APreparedComp& c, double u, double v) {
  const double a = Amplitude<Type>(c, u, v);
  double cs, sn;
  Phasor(c, u, v, cs, sn);
  return {a * cs, a * sn};
}

}  // namespace

double DiskProfile(double x) {
  if (std::fabs(x) < kSmallArg) return 1.0 - x * x / 8.0;
  return 2.0 * ::j1(x) / x;
}

double SphereProfile(double x) { return Sinc(x); }

double AnnulusProfile(double x, double inner, double inner_sq, double ring_norm) {
  return (DiskProfile(x) - inner_sq * DiskProfile(inner * x)) * ring_norm;
}

APreparedComp PrepareComp(const ACompItem& item) {
  APreparedComp c;
  c.type = item.type;
  c.flux = item.flux;
  const double pa = item.position_angle * kDegToRad;
  const double dist_rad = item.distance * kArcsecToRad;
  c.phase_u = 2.0 * kPi * dist_rad * std::sin(pa);
  c.phase_v = 2.0 * kPi * dist_rad * std::cos(pa);
  c.has_offset = c.phase_u != 0.0 || c.phase_v != 0.0;

  // Projection of (u, v) on the major axis: u sin(t) + v cos(t); on the minor axis:
  // u cos(t) - v sin(t), t the major-axis direction from north through east.
  const double t = item.inclination * kDegToRad;
  const double st = std::sin(t), ct = std::cos(t);
  const double scale = item.type == kCompGaussian ? kGaussScale : kPi;
  const double major = scale * item.large_axis * kArcsecToRad;
  const double minor = major * item.axis_ratio;
  c.m11 = major * st;
  c.m12 = major * ct;
  c.m21 = minor * ct;
  c.m22 = -minor * st;

  if (item.type == kCompThickRing) {
    const double w = item.width;
    if (!(w > kThinWidth)) {
      c.thin_limit = true;
      c.inner = 1.0;
    } else {
      c.inner = w < 1.0 ? 1.0 - w : 0.0;
      c.inner_sq = c.inner * c.inner;
      c.ring_norm = 1.0 / (1.0 - c.inner_sq);
    }
  }
  return c;
}

std::complex<double> EvalComp(const APreparedComp& c, double u, double v) {
  switch (c.type) {
    case kCompDelta: return EvalTyped<kCompDelta>(c, u, v);
    case kCompGaussian: return EvalTyped<kCompGaussian>(c, u, v);
    case kCompDisk: return EvalTyped<kCompDisk>(c, u, v);
    case kCompThinRing: return EvalTyped<kCompThinRing>(c, u, v);
    case kCompThinSphere: return EvalTyped<kCompThinSphere>(c, u, v);
    case kCompRectangle: return EvalTyped<kCompRectangle>(c, u, v);
    case kCompThickRing: return EvalTyped<kCompThickRing>(c, u, v);
    default: return {0.0, 0.0};  // an unknown type contributes nothing
  }
}

void AddCompVis(const APreparedComp& c, const double* u, const double* v, std::size_t n,
                double* re, double* im) {
  switch (c.type) {
    case kCompDelta: AddTyped<kCompDelta>(c, u, v, n, re, im); break;
    case kCompGaussian: AddTyped<kCompGaussian>(c, u, v, n, re, im); break;
    case kCompDisk: AddTyped<kCompDisk>(c, u, v, n, re, im); break;
    case kCompThinRing: AddTyped<kCompThinRing>(c, u, v, n, re, im); break;
    case kCompThinSphere: AddTyped<kCompThinSphere>(c, u, v, n, re, im); break;
    case kCompRectangle: AddTyped<kCompRectangle>(c, u, v, n, re, im); break;
    case kCompThickRing: AddTyped<kCompThickRing>(c, u, v, n, re, im); break;
    default: break;
  }
}

void ModelVis(const APreparedComp* comps, std::size_t ncomps, const double* u, const double* v,
              std::size_t n, double* re, double* im) {
  for (std::size_t i = 0; i < n; ++i) re[i] = im[i] = 0.0;
  for (std::size_t k = 0; k < ncomps; ++k) AddCompVis(comps[k], u, v, n, re, im);
}
