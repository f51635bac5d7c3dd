#include "errors/errors_task.h"

#include <cmath>
#include <limits>

#include "core/messages.h"
#include "core/text.h"
#include "errors/copy_task.h"
#include "errors/errors_messages.h"
#include "uvx/fq_table.h"

namespace {

bool Finite(double v) { return std::isfinite(v); }

std::string CheckItem(const AMTlscErrItem& t) {
  const std::string who = " (telescope " + t.name + ", #" + std::to_string(t.id) + ")";
  const double values[] = {t.phase_err_deg, t.ampl_err_db, t.phase0_deg, t.fringe_rate,
                           t.delay,         t.fringe_acc,  t.delay_acc};
  for (double v : values)
    if (!Finite(v)) return "every error value must be a finite number" + who;
  if (t.phase_err_deg < 0) return "the phase error must be >= 0" + who;
  if (t.ampl_err_db < 0) return "the amplitude error must be >= 0" + who;
  return {};
}

}  // namespace

std::string AMErrorsParams::Validate() const {
  if (!use_phase_err && !use_ampl_err) return msg::kNoErrorsType;
  if (in_path.empty()) return "no input UVX file";
  for (int k = 0; k < tlscs.GetSize(); ++k) {
    std::string e = CheckItem(tlscs[k]);
    if (!e.empty()) return e;
  }
  if (has_interval) {
    if (!Finite(start_s) || !Finite(stop_s)) return "the time interval must be finite";
    if (start_s > stop_s) return msg::kStartAfterStop;
  }
  if (!Finite(segment_s) || segment_s < 0) return "the interval segment length must be >= 0";
  if (!Finite(step_s) || step_s < 0) return "the random phase's time step must be >= 0";
  return {};
}

std::string DefaultErrorsOutput(const std::string& in) { return InsertBeforeUvx(in, "_err"); }

int RunErrorsTask(const AMErrorsParams& params, ProgressSink* progress, StopFlag* stop, MessageSink& messages,
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
  const AUVXHeader& header = in.Header();

  AMErrorsSetup setup;
  setup.use_phase_err = params.use_phase_err != 0;
  setup.use_ampl_err = params.use_ampl_err != 0;
  setup.time_offset_s = header.time;
  setup.start_s = params.has_interval ? params.start_s : header.time;
  setup.stop_s = params.has_interval ? params.stop_s : std::numeric_limits<double>::infinity();
  setup.segment_s = params.segment_s;
  setup.step_s = params.step_s > 0 ? params.step_s : header.time_step_s;
  if (!(setup.step_s > 0) || !Finite(setup.step_s))
    return fail(params.in_path + ": the file has no time step; give the random phase's time step");

  AMErrorsModel model;
  const AUVXFqTbl fq(in);
  std::string why;
  if (!model.Init(params.tlscs, setup, fq, in.NIF(), in.NChannels(), rng_start, &why))
    return fail(params.in_path + ": " + why);

  const std::string out_path = params.out_path.empty() ? DefaultErrorsOutput(params.in_path) : params.out_path;
  if (!files.OpenOutput(out_path, error)) return 0;
  if (progress) progress->SetText(msg::kTaskErrors);
  AMP3CopyUVX work(&in, &files.Out(), progress, stop);
  work.worker = &model;
  if (!files.Run(work, stop, error)) return 0;

  if (model.MissingRecords() > 0)
    messages.Show(std::string(msg::kTelescopeNotFound) + " (" + std::to_string(model.MissingRecords()) +
                  " records left unchanged)");
  if (model.EarlyRecords() > 0)
    messages.Show(toStr(model.FirstEarlyT0(), "%.5E") + " (" + std::to_string(model.EarlyRecords()) +
                  " records before the start of their interval)");
  if (stats) {
    stats->groups = in.Groups();
    stats->unchanged_missing = model.MissingRecords();
    stats->out_path = out_path;
  }
  return 1;
}
