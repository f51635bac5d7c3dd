#pragma once
// Telescope errors (task 3): the per-telescope error list, the phase and amplitude model applied to
// one visibility record, and AMP3CopyUVX, the copy whose per-visibility step is that model.
//
// Phase of telescope k for a record at time t (seconds from 0h of the observation date), IF i,
// channel c, inside the interval:
//   phi_k = 2 pi (df delay_k + dt fringeRate_k + dt^2 fringeAcc_k + df^2 delayAcc_k)
//           + phase0_k pi / 180 + randomPhase_k
// with t0 = int((t - start) / L) L + start, dt = t - t0, df = f(c, i) - f0; every entry of the
// record is turned by phi_a - phi_b and scaled by gain_a gain_b. Units, the draw order of the
// generator and the choices made here are in docs/errors.md.

#include <cstdint>
#include <string>
#include <vector>

#include "core/containers.h"
#include "errors/gauss_gen.h"
#include "errors/tlsc_lookup.h"
#include "uvx/fq_table.h"
#include "uvx/uvx_records.h"
#include "uvx/work2uvx.h"

struct AMTlscErrItem {
  std::string name;
  int id = 0;                  // telescope number of the UV groups (NOSTA)
  double phase_err_deg = 0;    // standard deviation parameter of one random phase step
  double ampl_err_db = 0;      // standard deviation parameter of the amplitude error, dB
  double phase0_deg = 0;       // constant phase
  double fringe_rate = 0;      // turns per second (Hz)
  double delay = 0;            // seconds
  double fringe_acc = 0;       // turns per second^2
  double delay_acc = 0;        // turns per Hz^2
};
using AMTlscErrors = AObjArray<AMTlscErrItem>;

// What a run decides once, before the first record.
struct AMErrorsSetup {
  bool use_phase_err = true;   // the phase model (all phase terms)
  bool use_ampl_err = true;    // the amplitude gains
  double start_s = 0;          // interval start, seconds from 0h of the observation date
  double stop_s = 0;           // interval end, same frame
  double segment_s = 0;        // L; 0 or less: one segment (t0 = start)
  double step_s = 0;           // Delta, the random phase's time step (> 0)
  double time_offset_s = 0;    // the file's start time: t = time_offset_s + group time
};

class AMErrorsModel {
 public:
  // Builds the lookup, coefficient and frequency tables for a file of n_if x n_channels and
  // starts the generator at rng_start. 0 (with *error) when the setup cannot run.
  int Init(const AMTlscErrors& tlscs, const AMErrorsSetup& setup, const AUVXFqTbl& fq, int n_if,
           int n_channels, std::uint32_t rng_start, std::string* error);

  // Applies the model to one record in place (the group is not changed). A record whose
  // telescopes are not both in the list is counted and left unchanged.
  void Apply(const AUVXGroup& group, AUVXVisibility& vis);

  // phi_k in radians for entry k (an index of the list given to Init) with its current random phase.
  double Phase(int k, double df_hz, double dt_s) const;
  // The frequency difference df used for IF i, channel c of frequency selection index `sel`.
  double FreqOffset(int sel, int if_index, int channel) const;

  std::int64_t MissingRecords() const { return missing_; }
  std::int64_t EarlyRecords() const { return early_; }  // records with dt < 0
  double FirstEarlyT0() const { return first_early_t0_; }
  const AMGaussGen& Generator() const { return gen_; }
  int Entry(std::uint8_t id) const { return lookup_.Find(id); }
  double RandomPhase(int k) const { return state_[std::size_t(k)].rand_phase; }
  double Gain(int k) const { return state_[std::size_t(k)].gain; }
  double LastUpdate(int k) const { return state_[std::size_t(k)].last_update; }

 private:
  struct Coeffs {
    double delay, fringe_rate, fringe_acc, delay_acc, phase0_rad, sigma_phase, sigma_ampl_db;
  };
  struct TlscState {
    double rand_phase = 0.0;
    double last_update = -1.0;       // never
    double gain = 1.0;
    std::int64_t updated_epoch = -1;  // == epoch_: updated at the latest time
  };
  void Update(int k, double t);

  AMErrorsSetup setup_;
  std::vector<Coeffs> coef_;
  std::vector<TlscState> state_;
  ATlscLookup lookup_;
  int sel_of_id_[256] = {};           // frequency selection index of a group's freq_id (+128)
  std::vector<double> df_;            // [sel][if][channel]
  std::vector<int> same_as_;          // [sel][if]: 0 when the df row is IF 0's (phases reused), else if
  std::vector<double> turn_;          // per record: cos, sin of IF i, channel c at 2 (i n_ch + c)
  int n_if_ = 0, n_channels_ = 0;
  AMGaussGen gen_;
  double latest_ = -1.0;
  std::int64_t epoch_ = 0;
  std::int64_t missing_ = 0, early_ = 0;
  double first_early_t0_ = 0.0;
};

// The copy of task 3: every record goes through its worker's model, in file order.
class AMP3CopyUVX : public AWork2UVX {
 public:
  AMP3CopyUVX(AUVXFile* in, AUVXFile* out, ProgressSink* progress, StopFlag* stop);
  ~AMP3CopyUVX() override;
  AMErrorsModel* worker = nullptr;  // set by the task before Run

 protected:
  int ProcessVisibility(AUVXGroup& group, AUVXVisibility& vis) override;
};
