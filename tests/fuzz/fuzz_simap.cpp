// The spectral-index map file (`qvlmodel model --mfs SIMAP`), read and written back.
#include <sstream>

#include "fuzz_util.h"
#include "model/map_simap.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream in{std::string(fuzz::Bytes(data, size))};
  AMSIMap map;
  std::string error;
  if (!map.Load(in, &error)) return 0;
  std::ostringstream out;
  map.Save(out);
  std::istringstream again(out.str());
  AMSIMap back;
  if (!back.Load(again, &error) || back.rows != map.rows || back.cols != map.cols) __builtin_trap();
  return 0;
}
