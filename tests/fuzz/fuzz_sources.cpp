// The source catalogue Sources.dat, and choosing a source from it.
#include <sstream>

#include "fuzz_util.h"
#include "observation/source_catalog.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream in{std::string(fuzz::Bytes(data, size))};
  AMSourceCatalog catalog;
  ReadSources(in, catalog);
  if (catalog.GetSize() > 0) {
    AMObservation obs(std::string("/tmp/"));
    ChooseSource(obs, catalog[catalog.GetSize() - 1], true);
    (void)FindSource(catalog, obs.source_name);
  }
  return 0;
}
