// Orbit files of orbital telescopes, read as the UV-plane computation reads them, and the table
// looked up forward in time.
#include <sstream>

#include "core/astro_time.h"
#include "coverage/orbit_table.h"
#include "fuzz_util.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream in{std::string(fuzz::Bytes(data, size))};
  AMOrbTXYZArray table;
  std::string error;
  ReadOrbitFile(in, JulianDay(15, 3, 2024), table, &error);
  double xyz[3];
  for (std::int64_t t = -86400; t <= 2 * 86400; t += 3600) table.Interpolate(t, xyz);
  return 0;
}
