// Map files .exm and .amap (one binary layout): read through LoadMapAny, the function task 2,
// `qvlmodel model --map` and the map series call.
#include "fuzz_util.h"
#include "model/map_model.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Both extensions in turn, decided by the input so that a run is repeatable.
  const char* name = size > 0 && (data[0] & 1) ? "input.amap" : "input.exm";
  const std::string path = fuzz::ScratchFolder().Write(name, fuzz::Bytes(data, size));
  AMatrix<float> map;
  TMinMax range;
  std::string unit, error;
  LoadMapAny(path, map, range, unit, &error);
  return 0;
}
