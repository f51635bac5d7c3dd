// Source model files (.mdl): read as `qvlmodel model -m` and the desktop's Open read them, then
// checked, evaluated at a few UV points and rendered into a small map as `model --render` does.
#include <sstream>

#include "fuzz_util.h"
#include "model/comp_table.h"
#include "model/components.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream in{std::string(fuzz::Bytes(data, size))};
  AComponents model;
  std::string error;
  if (!LoadComponents(in, model, &error)) return 0;
  std::ostringstream out;
  model.Store(out);
  std::istringstream again(out.str());
  AComponents back;
  if (!LoadComponents(again, back, &error) || back.GetSize() != model.GetSize()) __builtin_trap();
  if (!CheckComponents(model).ok || model.GetSize() > 64) return 0;
  for (double uv : {0.0, 1e6, -3.3e8, 7e9}) (void)model.VfromUV(uv, 0.5 * uv);
  AMatrix<float> map(16, 16);
  TMinMax range;  // empty: the field is chosen to hold every component
  model.ToMap(map, range);
  return 0;
}
