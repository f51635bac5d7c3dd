#pragma once
// Task 3, "Errors": one pass over a UVX file that copies it and applies the telescope errors to
// every record (AMP3CopyUVX). The program has always described this as a copy followed by a
// second pass over the output; the copy is an identity and the second pass visits every record
// once in file order, so changing each record while it is copied writes the same bytes.

#include <cstdint>
#include <optional>
#include <string>

#include "core/runtime.h"
#include "errors/copy_task.h"
#include "errors/errors_model.h"

struct AMErrorsParams {
  std::string in_path;
  std::string out_path;            // empty: DefaultErrorsOutput(in_path)
  int use_phase_err = 1;           // "USE PHASE ERR": the phase model
  int use_ampl_err = 1;            // "USE AMPL ERR": the amplitude gains
  AMTlscErrors tlscs;
  bool has_interval = false;       // false: the whole file, from its start time to its last group
  double start_s = 0, stop_s = 0;  // seconds from 0h of the observation date
  double segment_s = 0;            // L, the length after which dt starts again from 0 (0: never)
  double step_s = 0;               // Delta of the random phase; 0: the file's time step
  std::optional<std::uint32_t> rng_start;  // the generator's initial state; none: TickCount()

  // Empty when the parameters can run; else the message to show.
  std::string Validate() const;
};

// Output name used when none is given: "_err" before ".uvx".
std::string DefaultErrorsOutput(const std::string& in);

// Runs task 3. Non-zero on success; 0 with *error on failure or stop (no output left behind).
// Notices of a successful run ("index telescope not found" with its count, early records) go to
// `messages`, once each. *rng_start_used gets the generator's initial state.
int RunErrorsTask(const AMErrorsParams& params, ProgressSink* progress, StopFlag* stop, MessageSink& messages,
                  std::string* error, std::uint32_t* rng_start_used, AMCopyStats* stats = nullptr);
