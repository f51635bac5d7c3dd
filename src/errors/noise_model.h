#pragma once
// Sensitivity (task 4): the per-telescope SEFD list, the thermal noise added to one visibility
// record, and AMP4CopyUVX, the copy whose per-visibility step adds that noise.
//
// Classic model (the program's own, the default): for IF f, sigma = sqrt(SEFD_a[f] SEFD_b[f]) k
// with k = 1 / sqrt(B T); per IF and Stokes parameter one phase phi = rand() * 2 pi / 32768 from the
// classic runtime generator; sigma cos(phi), sigma sin(phi) added to every channel of that IF and
// Stokes parameter. The amplitude is exactly sigma, and IFs run to max(nIF, 1).
//
// Gaussian model (option): independent normal real and imaginary parts with standard deviation
// sigma = sqrt(SEFD_a[f] SEFD_b[f] / (2 B T)) / eta for every entry (eta: correlator efficiency),
// from Box-Muller on std::mt19937_64 (docs/errors.md).

#include <cstdint>
#include <random>
#include <string>

#include "core/containers.h"
#include "core/runtime.h"
#include "errors/tlsc_lookup.h"
#include "uvx/uvx_records.h"
#include "uvx/work2uvx.h"

struct AMSfdItem {
  std::string name;
  int id = 0;            // telescope number of the UV groups (NOSTA)
  AArray<double> sefd;   // Jy, one per IF
};

struct AMTlscSfd {
  AObjArray<AMSfdItem> items;
  int n_if = 0;              // SEFD values per telescope
  double duration_s = 0;     // scan duration T
  double bandwidth_hz = 0;   // bandwidth B
};

struct AMNoiseOptions {
  bool gaussian = false;     // the Gaussian model instead of the classic one
  double efficiency = 0.88;  // eta of the Gaussian model
  // Set each visibility's weight to 1/sigma^2 [1/Jy^2], sigma = sqrt(SEFD1 SEFD2 / (2 B T)) / eta
  // the thermal noise of its real or imaginary part (eta = 1 for the classic model), the weight
  // imagers expect; a baseline of zero sigma keeps its weight. Off: the weights are kept.
  bool thermal_weights = false;
};

class AMNoiseModel {
 public:
  // rand() * kPhaseStep is uniform in [0, 2 pi).
  static constexpr double kPhaseStep = 0.00019174759848570515;

  // Checks the list against a file of n_if IFs (every entry needs max(n_if, 1) finite SEFDs >= 0;
  // T, B > 0; 0 < eta <= 1) and starts the generators at rng_start. 0 with *error otherwise.
  int Init(const AMTlscSfd& sfd, int n_if, const AMNoiseOptions& options, std::uint32_t rng_start,
           std::string* error);

  // Adds the noise to one record; a record whose telescopes are not both listed is counted and left
  // unchanged (and draws nothing).
  void Apply(const AUVXGroup& group, AUVXVisibility& vis);

  // Classic sigma of IF f for list entries a and b; the Gaussian model's sigma.
  double Sigma(int a, int b, int f) const;
  double GaussSigma(int a, int b, int f) const;

  std::int64_t MissingRecords() const { return missing_; }
  const ClassicRand& Rand() const { return rand_; }
  int Entry(std::uint8_t id) const { return lookup_.Find(id); }

 private:
  void AddClassic(int a, int b, AUVXVisibility& vis);
  void AddGaussian(int a, int b, AUVXVisibility& vis);
  void SetThermalWeights(int a, int b, AUVXVisibility& vis) const;

  AMTlscSfd sfd_;
  AMNoiseOptions options_;
  ATlscLookup lookup_;
  int n_if_ = 0;
  double k_ = 0;           // 1 / sqrt(B T)
  double two_bt_ = 0;      // 2 B T
  ClassicRand rand_;
  std::mt19937_64 engine_;
  std::int64_t missing_ = 0;
};

// The copy of task 4: every record goes through its worker's noise, in file order.
class AMP4CopyUVX : public AWork2UVX {
 public:
  AMP4CopyUVX(AUVXFile* in, AUVXFile* out, ProgressSink* progress, StopFlag* stop);
  ~AMP4CopyUVX() override;
  AMNoiseModel* worker = nullptr;  // set by the task before Run

 protected:
  int ProcessVisibility(AUVXGroup& group, AUVXVisibility& vis) override;
};
