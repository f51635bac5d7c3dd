#include "errors/noise_model.h"

#include <algorithm>
#include <cmath>
#include <numbers>

int AMNoiseModel::Init(const AMTlscSfd& sfd, int n_if, const AMNoiseOptions& options, std::uint32_t rng_start,
                       std::string* error) {
  auto fail = [error](const std::string& what) {
    if (error) *error = what;
    return 0;
  };
  if (!(sfd.duration_s > 0.0) || !std::isfinite(sfd.duration_s)) return fail("the scan duration must be > 0");
  if (!(sfd.bandwidth_hz > 0.0) || !std::isfinite(sfd.bandwidth_hz)) return fail("the bandwidth must be > 0");
  if (options.gaussian && !(options.efficiency > 0.0 && options.efficiency <= 1.0))
    return fail("the correlator efficiency must be > 0 and <= 1");
  if (n_if < 0) return fail("negative IF count");
  const int need = std::max(n_if, 1);
  for (int k = 0; k < sfd.items.GetSize(); ++k) {
    const AMSfdItem& t = sfd.items[k];
    if (t.sefd.GetSize() < need)
      return fail("telescope " + t.name + " (#" + std::to_string(t.id) + ") has " + std::to_string(t.sefd.GetSize()) +
                  " SEFD value(s); the file has " + std::to_string(need) + " IF(s)");
    for (int f = 0; f < need; ++f)
      if (!(t.sefd[f] >= 0.0) || !std::isfinite(t.sefd[f]))
        return fail("telescope " + t.name + " (#" + std::to_string(t.id) + "): SEFD IF" + std::to_string(f + 1) +
                    " must be a finite number >= 0");
  }
  sfd_ = sfd;
  options_ = options;
  n_if_ = n_if;
  lookup_ = ATlscLookup();
  for (int k = 0; k < sfd_.items.GetSize(); ++k) lookup_.Add(sfd_.items[k].id, k);
  k_ = 1.0 / std::sqrt(sfd.bandwidth_hz * sfd.duration_s);
  two_bt_ = 2.0 * sfd.bandwidth_hz * sfd.duration_s;
  rand_ = ClassicRand(rng_start);
  engine_ = std::mt19937_64(std::mt19937_64::result_type{rng_start});
  missing_ = 0;
  return 1;
}

double AMNoiseModel::Sigma(int a, int b, int f) const {
  return std::sqrt(sfd_.items[a].sefd[f] * sfd_.items[b].sefd[f]) * k_;
}

double AMNoiseModel::GaussSigma(int a, int b, int f) const {
  return std::sqrt(sfd_.items[a].sefd[f] * sfd_.items[b].sefd[f] / two_bt_) / options_.efficiency;
}

void AMNoiseModel::Apply(const AUVXGroup& group, AUVXVisibility& vis) {
  const int a = lookup_.Find(group.tel1);
  const int b = lookup_.Find(group.tel2);
  if (a < 0 || b < 0) {
    ++missing_;
    return;
  }
  if (options_.gaussian)
    AddGaussian(a, b, vis);
  else
    AddClassic(a, b, vis);
  if (options_.thermal_weights) SetThermalWeights(a, b, vis);
}

void AMNoiseModel::SetThermalWeights(int a, int b, AUVXVisibility& vis) const {
  const double eta = options_.gaussian ? options_.efficiency : 1.0;
  for (int f = 0; f < vis.n_if; ++f) {
    const double sigma = std::sqrt(sfd_.items[a].sefd[f] * sfd_.items[b].sefd[f] / two_bt_) / eta;
    if (!(sigma > 0)) continue;
    const float weight = static_cast<float>(1.0 / (sigma * sigma));
    for (int c = 0; c < vis.n_channels; ++c)
      for (int s = 0; s < vis.n_stokes; ++s) vis.entries[vis.Index(f, c, s)].weight = weight;
  }
}

void AMNoiseModel::AddClassic(int a, int b, AUVXVisibility& vis) {
  // A file without IFs still runs IF 0 (its phases are drawn); its records hold no entries to add to.
  const int n_if = std::max(n_if_, 1);
  const int n_ch = vis.n_channels, n_st = vis.n_stokes;
  for (int f = 0; f < n_if; ++f) {
    const double sigma = Sigma(a, b, f);
    for (int s = 0; s < n_st; ++s) {
      const double phi = rand_.Next() * kPhaseStep;
      if (f >= vis.n_if) continue;
      const double add_re = sigma * std::cos(phi);
      const double add_im = sigma * std::sin(phi);
      for (int c = 0; c < n_ch; ++c) {
        AUVXVisEntry& e = vis.entries[vis.Index(f, c, s)];
        e.re = static_cast<float>(double{e.re} + add_re);
        e.im = static_cast<float>(double{e.im} + add_im);
      }
    }
  }
}

void AMNoiseModel::AddGaussian(int a, int b, AUVXVisibility& vis) {
  constexpr double kUnit = 1.0 / 9007199254740992.0;  // 2^-53
  constexpr double kTwoPi = 2.0 * std::numbers::pi;
  const int n_ch = vis.n_channels, n_st = vis.n_stokes;
  for (int f = 0; f < vis.n_if; ++f) {
    const double sigma = GaussSigma(a, b, f);
    for (int c = 0; c < n_ch; ++c) {
      AUVXVisEntry* e = &vis.entries[vis.Index(f, c, 0)];
      for (int s = 0; s < n_st; ++s) {
        // Box-Muller: u1 in (0, 1], u2 in [0, 1), one pair per entry.
        const double u1 = double((engine_() >> 11) + 1) * kUnit;
        const double u2 = double(engine_() >> 11) * kUnit;
        const double r = sigma * std::sqrt(-2.0 * std::log(u1));
        e[s].re = static_cast<float>(double{e[s].re} + r * std::cos(kTwoPi * u2));
        e[s].im = static_cast<float>(double{e[s].im} + r * std::sin(kTwoPi * u2));
      }
    }
  }
}

AMP4CopyUVX::AMP4CopyUVX(AUVXFile* in, AUVXFile* out, ProgressSink* progress, StopFlag* stop)
    : AWork2UVX(in, out, progress, stop) {}

AMP4CopyUVX::~AMP4CopyUVX() = default;

int AMP4CopyUVX::ProcessVisibility(AUVXGroup& group, AUVXVisibility& vis) {
  if (!worker) return 0;
  worker->Apply(group, vis);
  return 1;
}
