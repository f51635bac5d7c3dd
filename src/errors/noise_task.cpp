#include "errors/noise_task.h"

#include <cmath>

#include "errors/copy_task.h"
#include "errors/errors_messages.h"

std::string AMNoiseParams::Validate() const {
  if (in_path.empty()) return "no input UVX file";
  if (!(sfd.duration_s > 0) || !std::isfinite(sfd.duration_s)) return "the scan duration must be > 0";
  if (!(sfd.bandwidth_hz > 0) || !std::isfinite(sfd.bandwidth_hz)) return "the bandwidth must be > 0";
  if (gaussian && !(efficiency > 0 && efficiency <= 1)) return "the correlator efficiency must be > 0 and <= 1";
  return {};
}

std::string DefaultNoiseOutput(const std::string& in) { return InsertBeforeUvx(in, "_snt"); }

int RunNoiseTask(const AMNoiseParams& params, ProgressSink* progress, StopFlag* stop, MessageSink& messages,
                 std::string* error, std::uint32_t* rng_start_used, AMCopyStats* stats) {
  auto fail = [error](const std::string& what) {
    if (error) *error = what;
    return 0;
  };
  if (std::string bad = params.Validate(); !bad.empty()) return fail(bad);
  const std::uint32_t rng_start = params.rng_start ? *params.rng_start : TickCount();
  if (rng_start_used) *rng_start_used = rng_start;

  AMCopyTaskFiles files;
  if (!files.OpenInput(params.in_path, error)) return 0;
  AUVXFile& in = files.In();

  AMNoiseModel model;
  AMNoiseOptions options;
  options.gaussian = params.gaussian;
  options.efficiency = params.efficiency;
  options.thermal_weights = params.thermal_weights;
  std::string why;
  if (!model.Init(params.sfd, in.NIF(), options, rng_start, &why)) return fail(params.in_path + ": " + why);

  const std::string out_path = params.out_path.empty() ? DefaultNoiseOutput(params.in_path) : params.out_path;
  if (!files.OpenOutput(out_path, error)) return 0;
  if (progress) progress->SetText(msg::kTaskSensitivity);
  AMP4CopyUVX work(&in, &files.Out(), progress, stop);
  work.worker = &model;
  if (!files.Run(work, stop, error)) return 0;

  if (model.MissingRecords() > 0)
    messages.Show(std::string(msg::kTelescopeNotFound) + " (" + std::to_string(model.MissingRecords()) +
                  " records left unchanged)");
  if (stats) {
    stats->groups = in.Groups();
    stats->unchanged_missing = model.MissingRecords();
    stats->out_path = out_path;
  }
  return 1;
}
