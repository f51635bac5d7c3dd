#pragma once
// Task 2, "Source modeling": the model's visibilities put onto the UV points of a UVX file.
//
// The work item (AMUVXWorkItem) names the input and output files and how the model is combined;
// the model is a component list (AComponents) or one map or a series of maps. AMP2Work carries
// one run out headless: the desktop page and the command line hand it a progress sink, a stop
// flag and a message sink.
//
// Per group (component model): s = index of the group's frequency set-up; for every IF k the
// model is evaluated at (u f, v f) wavelengths, f = the frequency of the IF's first channel in fast
// mode, else every channel's own frequency; with spectral scaling each component's visibility is
// weighted by factor[s * nIF + k][component]. Every polarization gets the same value (the model is
// unpolarized); add type 0 adds it to the data, any other value replaces the data; weights are
// never touched.

#include <atomic>
#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "core/containers.h"
#include "core/runtime.h"
#include "model/comp_eval.h"
#include "model/components.h"
#include "model/map_engine.h"
#include "model/map_simap.h"
#include "uvx/fq_table.h"
#include "uvx/uvx_records.h"
#include "uvx/work2uvx.h"

enum AMModelKind : int {
  kModelComponents = 0,
  kModelMap = 1,        // one map file
  kModelMapSeries = 2,  // the .exm maps of a folder, one per time step
};

// Run parameters of the model-onto-UV work item (persisted in the "%s-UVXITEM" section).
struct AMUVXWorkItem {
  std::string in_path;        // "UVX IN"
  std::string out_path;       // "UVX OUT"; may equal in_path (update in place)
  int add_type = 1;           // "UVX ADDTYPE": 0 adds the model to the data, else replaces it
  std::string source;         // "UVX SRC"
  int fast = 1;               // "UVX BFAST": once per IF at its first channel, else per channel
  AMSIMap si_map;             // spectral indices: row per (set-up, IF), column per component
  int use_mfs = 0;            // "UVX USEMFS"
};

// Where the model comes from.
struct AMModelSource {
  int kind = kModelComponents;
  const AComponents* components = nullptr;  // kind 0
  std::string map_path;                     // kind 1
  std::string map_folder;                   // kind 2
  double map_time_step_s = 600.0;           // kind 2
  MapEngine engine = MapEngine::Auto;       // kinds 1 and 2: the sum over the map's pixels
  double accuracy = kMapDefaultAccuracy;    // kinds 1 and 2: relative RMS accuracy of the NUFFT
};

// True when two paths name the same file: equal as text, or resolving to the same file. Such a
// run updates the file in place.
bool SameFile(const std::string& a, const std::string& b);

// The temporary name an output is written under, and its rename to the output's name once complete.
std::string PartPath(const std::string& out_path);
int CommitPart(const std::string& part, const std::string& out_path);

// Default output of task 2: "<in without .uvx>_mdl.uvx".
std::string DefaultModelOutput(const std::string& in_path);

// The spectral factor matrix: for component c, row 0 is 1 and row r multiplies row r-1 by
// (f_r / f_(r-1))^alpha[r][c], f_r the first-channel frequency of the r-th (set-up, IF) pair with
// the IF running fastest. Rows past the file's pairs repeat the last factor. `factors` is
// reallocated only when its shape differs from the map's.
void BuildSpectralFactors(const AMatrix<float>& alpha, const AUVXFqTbl& fq, int n_if,
                          AMatrix<float>& factors);

// Lowest channel frequency over every set-up, IF and channel (0 for an empty table).
double LowestFrequency(const AUVXFqTbl& fq);

class AMP2Work {
 public:
  AMP2Work(const AMUVXWorkItem& item, const AMModelSource& model, ProgressSink* progress,
           StopFlag* stop, MessageSink& messages);

  // Carries the run out. Non-zero on success; 0 on failure or stop (Error() then says why; it is
  // empty after a stop). A failed or stopped run leaves no output file, except an update in place,
  // which keeps the groups already written.
  int Run();
  const std::string& Error() const { return error_; }
  // Groups whose model was written; after a stopped update in place, the groups it changed.
  std::int64_t GroupsDone() const { return groups_done_; }
  // Map models: which engine summed the map(s) and why.
  const AMapEngineReport& EngineReport() const { return engine_report_; }

  // Prepares the per-group computation for a file's frequency table (exposed for the tests).
  int Prepare(const AUVXFqTbl& fq, int n_if, int n_channels);
  // The model of one group written into its visibility; 0 when the group's set-up is unknown.
  // Safe to call from several threads once prepared.
  int ComputeModel(const AUVXGroup& group, AUVXVisibility& vis) const;
  const AMatrix<float>& SpectralFactors() const { return factors_; }

 private:
  int RunComponents();
  int RunInPlace(AUVXFile& file);
  int RunMaps();
  int Fail(const std::string& what);

  const AMUVXWorkItem& item_;
  AMModelSource model_;
  ProgressSink* progress_;
  StopFlag* stop_;
  MessageSink& messages_;
  std::string error_;
  std::int64_t groups_done_ = 0;
  AMapEngineReport engine_report_;

  AUVXFqTbl fq_;
  int n_if_ = 0;
  int n_channels_ = 0;
  double lowest_freq_hz_ = 0;
  AMatrix<float> factors_;
  bool spectral_ = false;
  // Prepared components per spectral row (one list when spectral scaling is off).
  std::vector<std::vector<APreparedComp>> row_comps_;
  // The set-up id of a group the FQ table does not hold, when one was met.
  static constexpr int kNoUnknownSetup = INT_MIN;
  mutable std::atomic<int> unknown_setup_{kNoUnknownSetup};
};

// The per-visibility hook of the copy framework: forwards each record to the worker's model
// computation. The computation is a pure function of (group, visibility), so the framework may
// run it over blocks of groups on several threads.
class AMCopyUVX : public AWork2UVX {
 public:
  AMCopyUVX(AUVXFile* in, AUVXFile* out, ProgressSink* progress, StopFlag* stop)
      : AWork2UVX(in, out, progress, stop) {}
  AMP2Work* work = nullptr;

 protected:
  int ProcessVisibility(AUVXGroup& group, AUVXVisibility& vis) override {
    return work->ComputeModel(group, vis);
  }
  bool IsPure() const override { return true; }
};
