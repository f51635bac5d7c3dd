// The JSON form of an observation: parsed as `qvlmodel configure OBS.json` parses it, then read
// with a telescope catalogue for the entries given by name.
#include <nlohmann/json.hpp>
#include <sstream>

#include "fuzz_util.h"
#include "observation/obs_json.h"
#include "observation/obs_limits.h"

namespace {

const AMTlscCatalog& Catalog() {
  static const AMTlscCatalog catalog = [] {
    AMTlscCatalog c;
    std::istringstream in(
        "1 EF Effelsberg\t4033947.2616\t-486990.7866\t4900430.9915\t100\t0\t360\t0\t85\t0\n"
        "2 SH SpaceHEO\t180000\t0.95\t51.5\t120\t280\t2460000.5\t0\t0\t1\n");
    ReadTelescopes(in, c);
    return c;
  }();
  return catalog;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream in{std::string(fuzz::Bytes(data, size))};
  nlohmann::json j;
  try {
    in >> j;
  } catch (const nlohmann::json::exception&) {
    return 0;  // "not valid JSON"
  }
  AMObservation obs(std::string("/tmp/"));
  std::string error;
  if (!ObservationFromJson(j, obs, error, &Catalog())) return 0;
  (void)ObservationToJson(obs, &Catalog()).dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
  if (CheckForCreate(obs).ok) (void)CheckTask1Limits(obs);
  return 0;
}
