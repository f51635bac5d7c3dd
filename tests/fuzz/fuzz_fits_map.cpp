// FITS images as map models: LoadMapAny on a .fits path (cfitsio underneath), and the test of
// the image's axes that decides the frame of the map offsets.
#include "fuzz_util.h"
#include "model/map_fits.h"
#include "model/map_model.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string path = fuzz::ScratchFolder().Write("input.fits", fuzz::Bytes(data, size));
  AMatrix<float> map;
  TMinMax range;
  std::string unit, error;
  if (LoadMapAny(path, map, range, unit, &error)) (void)FitsMapOnJ2000Axes(path);
  return 0;
}
