#include "errors/errors_model.h"

#include <cmath>
#include <numbers>

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kTwoPi = 2.0 * std::numbers::pi;

// int(q) - 1 skipped steps, kept in range for any q (NaN and negative: none).
std::int64_t SkippedSteps(double q) {
  if (!(q >= 2.0)) return 0;
  if (q >= 4.0e18) return std::int64_t{4000000000000000000};
  return std::int64_t(q) - 1;
}

}  // namespace

int AMErrorsModel::Init(const AMTlscErrors& tlscs, const AMErrorsSetup& setup, const AUVXFqTbl& fq, int n_if,
                        int n_channels, std::uint32_t rng_start, std::string* error) {
  auto fail = [error](const std::string& what) {
    if (error) *error = what;
    return 0;
  };
  if (!(setup.step_s > 0.0) || !std::isfinite(setup.step_s))
    return fail("the time step of the random phase must be > 0");
  if (!std::isfinite(setup.start_s) || std::isnan(setup.stop_s) || !std::isfinite(setup.segment_s))
    return fail("the time interval is not a number");
  if (n_if < 0 || n_channels < 0) return fail("negative IF or channel count");
  if (setup.use_phase_err && fq.GetFreqSels() < 1) return fail("the file has no frequency table (FQ)");
  if (setup.use_phase_err && fq.NIF() < n_if) return fail("the frequency table (FQ) has fewer IFs than the data");

  setup_ = setup;
  n_if_ = n_if;
  n_channels_ = n_channels;
  coef_.clear();
  state_.assign(std::size_t(tlscs.GetSize()), TlscState{});
  lookup_ = ATlscLookup();
  for (int k = 0; k < tlscs.GetSize(); ++k) {
    const AMTlscErrItem& t = tlscs[k];
    coef_.push_back({t.delay, t.fringe_rate, t.fringe_acc, t.delay_acc, t.phase0_deg * kPi / 180.0,
                     t.phase_err_deg * kPi / 180.0 * setup.step_s, t.ampl_err_db});
    lookup_.Add(t.id, k);
  }

  // The reference frequency f0 is channel 0 of IF 0; with more than one channel, channel 0 of the
  // record's own IF. With one channel every IF is thus referred to the first IF.
  const int sels = fq.GetFreqSels() > 0 ? fq.GetFreqSels() : 1;
  if (std::uint64_t(sels) * std::uint64_t(n_if) * std::uint64_t(n_channels) > (std::uint64_t{1} << 26))
    return fail("the frequency set-up is too large (frequency selections x IFs x channels)");
  df_.assign(std::size_t(sels) * std::size_t(n_if) * std::size_t(n_channels), 0.0);
  for (int s = 0; s < fq.GetFreqSels(); ++s)
    for (int i = 0; i < n_if; ++i) {
      const double f0 = n_channels > 1 ? fq.GetFreq(s, i, 0) : fq.GetFreq(s, 0, 0);
      for (int c = 0; c < n_channels; ++c)
        df_[(std::size_t(s) * std::size_t(n_if) + std::size_t(i)) * std::size_t(n_channels) + std::size_t(c)] =
            fq.GetFreq(s, i, c) - f0;
    }
  // IFs whose df row equals IF 0's (equal channel widths) turn by IF 0's phases: computed once.
  same_as_.assign(std::size_t(sels) * std::size_t(n_if), 0);
  for (int s = 0; s < sels; ++s)
    for (int i = 0; i < n_if; ++i) {
      bool equal = true;
      for (int c = 0; c < n_channels && equal; ++c) equal = FreqOffset(s, i, c) == FreqOffset(s, 0, c);
      same_as_[std::size_t(s) * std::size_t(n_if) + std::size_t(i)] = equal ? 0 : i;
    }
  turn_.assign(2 * std::size_t(n_if) * std::size_t(n_channels), 0.0);
  // A group whose frequency set-up id is not in the table uses the first selection.
  for (int id = -128; id < 128; ++id) {
    const int sel = fq.GetFreqSelNum(id);
    sel_of_id_[id + 128] = sel >= 0 ? sel : 0;
  }

  gen_ = AMGaussGen(rng_start);
  latest_ = -1.0;
  epoch_ = 0;
  missing_ = early_ = 0;
  first_early_t0_ = 0.0;
  return 1;
}

double AMErrorsModel::FreqOffset(int sel, int if_index, int channel) const {
  return df_[(std::size_t(sel) * std::size_t(n_if_) + std::size_t(if_index)) * std::size_t(n_channels_) +
             std::size_t(channel)];
}

double AMErrorsModel::Phase(int k, double df, double dt) const {
  const Coeffs& c = coef_[std::size_t(k)];
  return kTwoPi * (df * c.delay + dt * c.fringe_rate + dt * dt * c.fringe_acc + df * df * c.delay_acc) +
         c.phase0_rad + state_[std::size_t(k)].rand_phase;
}

// Draw order of one update: the skipped steps (discarded), the phase step, the amplitude error.
void AMErrorsModel::Update(int k, double t) {
  TlscState& st = state_[std::size_t(k)];
  if (st.last_update >= 0.0) gen_.Discard(SkippedSteps((t - st.last_update) / setup_.step_s + 0.0001));
  st.last_update = t;
  const Coeffs& c = coef_[std::size_t(k)];
  if (setup_.use_phase_err) st.rand_phase += gen_.Next(c.sigma_phase);
  if (setup_.use_ampl_err) st.gain = std::pow(10.0, gen_.Next(c.sigma_ampl_db) / 20.0);
  st.updated_epoch = epoch_;
}

void AMErrorsModel::Apply(const AUVXGroup& group, AUVXVisibility& vis) {
  const int a = lookup_.Find(group.tel1);
  const int b = lookup_.Find(group.tel2);
  if (a < 0 || b < 0) {
    ++missing_;
    return;
  }
  const double t = setup_.time_offset_s + group.time;
  if (t > latest_) {
    latest_ = t;
    ++epoch_;  // clears every telescope's "updated at the latest time"
  }
  if (state_[std::size_t(a)].updated_epoch != epoch_) Update(a, t);
  if (state_[std::size_t(b)].updated_epoch != epoch_) Update(b, t);

  const double start = setup_.start_s;
  const double t0 = setup_.segment_s > 0.0 ? std::trunc((t - start) / setup_.segment_s) * setup_.segment_s + start
                                           : start;
  const double dt = t - t0;
  if (dt < 0.0 && early_++ == 0) first_early_t0_ = t0;
  // Outside the interval the phase is 0 and the gain 1: the record stays as it is.
  if (!(t0 >= 0.0 && t <= setup_.stop_s)) return;

  const double gain = setup_.use_ampl_err ? state_[std::size_t(a)].gain * state_[std::size_t(b)].gain : 1.0;
  const int n_if = vis.n_if < n_if_ ? vis.n_if : n_if_;
  const int n_ch = vis.n_channels < n_channels_ ? vis.n_channels : n_channels_;
  const int n_st = vis.n_stokes;
  const int sel = sel_of_id_[group.freq_id + 128];
  const int* same_as = &same_as_[std::size_t(sel) * std::size_t(n_if_)];
  for (int i = 0; i < n_if; ++i) {
    for (int c = 0; c < n_ch; ++c) {
      // Turning (re, im) by phi_a - phi_b is A cos(p + phi_a - phi_b), A sin(...) written out
      // without the amplitude and phase of the entry.
      double cs = gain, sn = 0.0;
      if (setup_.use_phase_err) {
        double* turn = &turn_[2 * (std::size_t(i) * std::size_t(n_channels_) + std::size_t(c))];
        if (same_as[i] == i) {
          const double df = FreqOffset(sel, i, c);
          const double d = Phase(a, df, dt) - Phase(b, df, dt);
          turn[0] = std::cos(d);
          turn[1] = std::sin(d);
        } else {
          const double* src = &turn_[2 * (std::size_t(same_as[i]) * std::size_t(n_channels_) + std::size_t(c))];
          turn[0] = src[0];
          turn[1] = src[1];
        }
        cs = gain * turn[0];
        sn = gain * turn[1];
      }
      AUVXVisEntry* e = &vis.entries[vis.Index(i, c, 0)];
      for (int s = 0; s < n_st; ++s) {
        const double re = e[s].re, im = e[s].im;
        e[s].re = static_cast<float>(re * cs - im * sn);
        e[s].im = static_cast<float>(re * sn + im * cs);
      }
    }
  }
}

AMP3CopyUVX::AMP3CopyUVX(AUVXFile* in, AUVXFile* out, ProgressSink* progress, StopFlag* stop)
    : AWork2UVX(in, out, progress, stop) {}

AMP3CopyUVX::~AMP3CopyUVX() = default;

int AMP3CopyUVX::ProcessVisibility(AUVXGroup& group, AUVXVisibility& vis) {
  if (!worker) return 0;
  worker->Apply(group, vis);
  return 1;
}
