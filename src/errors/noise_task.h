#pragma once
// Task 4, "Sensitivity modeling": one pass over a UVX file that copies it and adds thermal noise to
// every record (AMP4CopyUVX). The program has always described this as a copy followed by a second
// pass over the output; the copy is an identity and the second pass visits every record once in
// file order, so adding the noise while each record is copied writes the same bytes.

#include <cstdint>
#include <optional>
#include <string>

#include "core/runtime.h"
#include "errors/copy_task.h"
#include "errors/noise_model.h"

struct AMNoiseParams {
  std::string in_path;
  std::string out_path;     // empty: DefaultNoiseOutput(in_path)
  AMTlscSfd sfd;            // telescopes, scan duration, bandwidth
  bool gaussian = false;    // the Gaussian model instead of the classic one
  double efficiency = 0.88; // its correlator efficiency
  bool thermal_weights = false;  // weights 1/sigma^2 (AMNoiseOptions); false keeps them
  std::optional<std::uint32_t> rng_start;  // the generators' initial state; none: TickCount()

  std::string Validate() const;
};

// The input name with "_snt" put before ".uvx".
std::string DefaultNoiseOutput(const std::string& in);

// Runs task 4. Non-zero on success; 0 with *error on failure or stop (no output left behind).
// "index telescope not found" goes to `messages` once, with the number of records left unchanged.
int RunNoiseTask(const AMNoiseParams& params, ProgressSink* progress, StopFlag* stop, MessageSink& messages,
                 std::string* error, std::uint32_t* rng_start_used, AMCopyStats* stats = nullptr);
