// The binary observation file (.obs): LoadObservation, as `qvlmodel configure`, `obs show` and
// task 1 of the desktop program read it, then what they do with a loaded observation.
#include <nlohmann/json.hpp>

#include "core/file.h"
#include "fuzz_util.h"
#include "observation/obs_json.h"
#include "observation/obs_limits.h"
#include "observation/observation.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  AMemoryFile in{std::string(fuzz::Bytes(data, size))};
  AMObservation obs(std::string("/tmp/"));
  if (!LoadObservation(in, obs)) return 0;
  (void)ObservationToJson(obs).dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
  AMObservation checked = obs;
  if (CheckForCreate(checked).ok) (void)CheckTask1Limits(checked);
  AMemoryFile out;
  obs.Store(out);
  out.Seek(0);
  AMObservation back(std::string("/tmp/"));
  if (!LoadObservation(out, back)) __builtin_trap();  // what was read must read back
  return 0;
}
