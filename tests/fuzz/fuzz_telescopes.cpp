// The telescope catalogue Telescopes.dat: read, validated entry by entry as the edit dialog does,
// inserted in order and written back.
#include <sstream>

#include "fuzz_util.h"
#include "observation/telescope_catalog.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream in{std::string(fuzz::Bytes(data, size))};
  AMTlscCatalog catalog;
  std::string refused;
  ReadTelescopes(in, catalog, &refused);
  AMTlscCatalog sorted;
  for (int i = 0; i < catalog.GetSize() && i < 512; ++i) {
    AMTlscInfoItem entry = catalog[i];
    ValidateTelescope(entry);
    InsertTelescope(sorted, entry, nullptr);
  }
  std::ostringstream out;
  WriteTelescopes(out, sorted);
  std::istringstream again(out.str());
  AMTlscCatalog back;
  ReadTelescopes(again, back);
  return 0;
}
