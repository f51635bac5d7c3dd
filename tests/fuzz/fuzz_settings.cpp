// The settings file QvlModel.ini: parsed, read into the settings of the four tasks and the
// spectral-index map, written back and read again, as the desktop program and `qvlmodel run` do.
#include <sstream>

#include "app/settings_store.h"
#include "fuzz_util.h"
#include "model/map_simap.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream in{std::string(fuzz::Bytes(data, size))};
  AIniFile ini;
  ini.Parse(in);
  AMSettings settings;
  const auto opens = [](const std::string&) { return true; };
  LoadSettings(ini, settings, opens);
  AMSIMap simap;
  LoadSIMapSettings(ini, simap);
  SaveSettings(ini, settings);
  std::istringstream again(ini.Text());
  AIniFile back;
  back.Parse(again);
  AMSettings reread;
  LoadSettings(back, reread, opens);
  return 0;
}
