// The JSON form of an observation: lossless round trips and refusal of bad input.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "core/file.h"
#include "obs_test_util.h"
#include "observation/obs_json.h"
#include "observation/polarization.h"

using nlohmann::json;

namespace {

std::string Stored(const AMObservation& obs) {
  AMemoryFile mem;
  obs.Store(mem);
  return mem.Bytes();
}

AMTlscCatalog SmallCatalog() {
  AMTlscCatalog cat;
  AMTlscInfoItem sc;
  sc.name = "VLBA_SC";
  sc.id_name = "SC";
  const double p[8] = {2607861.476, 5488096.343, 1932748.638, 25, 0, 360, 0, 80};
  std::copy(p, p + 8, sc.params);
  cat.Add(sc);
  return cat;
}

std::string Refusal(const json& j, const AMTlscCatalog* cat = nullptr) {
  AMObservation obs(std::string("/"));
  std::string error;
  EXPECT_FALSE(ObservationFromJson(j, obs, error, cat));
  return error;
}

}  // namespace

TEST(ObsJsonRoundTrip, ObsToJsonToObsIsByteExact) {
  AMObservation obs = SampleObservation();
  obs.ra_time_s = 45000.123456789;     // needs decimals
  obs.dec_arcsec = 1.0 / 3.0;           // not representable in sexagesimal text
  obs.intervals[0].start = 1e-7 / 3.0;  // idem
  obs.freq.table(0, 1).if_offset_hz = 514257891.52444935;  // Hz that MHz cannot carry exactly
  obs.polarizations.Add(42);            // no name: kept as a number
  obs.telescopes[0].kind = 5;           // unusual kind code survives
  const json j = ObservationToJson(obs);
  EXPECT_TRUE(j["source"]["ra"].is_string());
  EXPECT_TRUE(j["source"]["dec"].is_number());
  EXPECT_TRUE(j["intervals"][0]["start"].is_number());
  EXPECT_EQ(j["intervals"][1]["stop"], "03:00:00.5");
  EXPECT_EQ(j["date"], "2024-03-15");
  EXPECT_EQ(j["polarizations"][0], "RR");
  EXPECT_EQ(j["polarizations"][2], 42);
  EXPECT_EQ(j["frequency"]["reference_mhz"], 4990.0);
  EXPECT_TRUE(j["frequency"]["setups"][0]["ifs"][1].contains("offset_hz"));

  AMObservation back(std::string("/"));
  std::string error;
  ASSERT_TRUE(ObservationFromJson(json::parse(j.dump()), back, error)) << error << "\n" << j.dump(1);
  EXPECT_EQ(Stored(back), Stored(obs));
}

TEST(ObsJsonRoundTrip, JsonToObsToJsonIsTheSame) {
  const json j = json::parse(R"({
    "source": {"name": "3C345", "ra": "16:42:58.81", "dec": "+39:48:36.994"},
    "date": "2025-06-01",
    "frequency": {"reference_mhz": 1658.0, "channels": 16,
      "setups": [{"freq_id": 1, "ifs": [{"offset_mhz": 0.0, "channel_width_mhz": 0.5},
                                         {"offset_mhz": 8.0, "channel_width_mhz": 0.5}]}]},
    "time_step_s": 60.0,
    "intervals": [{"start": "01:00:00", "stop": "05:30:00", "freq_id": 1}],
    "polarizations": ["RR", "LL"],
    "telescopes": [
      {"catalog": "vlba_sc"},
      {"name": "Effelsberg", "id": "EB", "kind": "ground", "x_m": 4033947.2616, "y_m": -486990.7866,
       "z_m": 4900430.9915, "diameter_m": 100.0, "az_min_deg": 0.0, "az_max_deg": 360.0,
       "zenith_min_deg": 0.0, "zenith_max_deg": 80.0},
      {"name": "SpaceHEO", "id": "HE", "kind": "orbital", "semimajor_axis_km": 180000.0,
       "eccentricity": 0.95, "inclination_deg": 51.5, "ascending_node_deg": 120.0,
       "perigee_argument_deg": 280.0, "epoch_jd": 2460000.5, "mean_anomaly_deg": 0.0,
       "use_orbit_file": true, "orbit_file": "heo.org"}],
    "output": "3C345_mdl.uvx"
  })");
  const AMTlscCatalog cat = SmallCatalog();
  AMObservation obs(std::string("/"));
  std::string error;
  ASSERT_TRUE(ObservationFromJson(j, obs, error, &cat)) << error;
  EXPECT_EQ(obs.telescopes.count, 3);
  EXPECT_EQ(obs.telescopes[0].params[1], 5488096.343);
  EXPECT_EQ(obs.telescopes[2].kind, kTlscOrbital);
  EXPECT_EQ(obs.freq.table(0, 1).if_offset_hz, 8.0e6);
  EXPECT_EQ(obs.intervals[0].stop, 5.5 * 3600);
  EXPECT_EQ(obs.day, 1);
  EXPECT_EQ(obs.month, 6);

  AMemoryFile mem;
  ASSERT_TRUE(obs.Store(mem));
  AMemoryFile in(mem.Bytes());
  AMObservation loaded(std::string("/"));
  ASSERT_TRUE(LoadObservation(in, loaded));
  json again = ObservationToJson(loaded, &cat);
  json expected = j;
  expected["telescopes"][0] = {{"catalog", "VLBA_SC"}, {"id", "SC"}};
  EXPECT_EQ(again, expected) << again.dump(2);
}

TEST(ObsJsonRefusal, UnknownKeysWrongTypesAndBadValuesNameTheKey) {
  json good = ObservationToJson(SampleObservation());
  auto with = [&](const json::json_pointer& p, const json& v) {
    json j = good;
    j[p] = v;
    return Refusal(j);
  };
  EXPECT_EQ(with(json::json_pointer("/colour"), "red"), "colour: unknown key");
  EXPECT_EQ(with(json::json_pointer("/source/epoch"), 2000), "source.epoch: unknown key");
  EXPECT_EQ(with(json::json_pointer("/source/name"), 5), "source.name: expected a string");
  EXPECT_EQ(with(json::json_pointer("/source/ra"), "25h"), "source.ra: invalid time '25h'");
  EXPECT_EQ(with(json::json_pointer("/date"), "2024-02-30"),
            "date: invalid date '2024-02-30' (expected YYYY-MM-DD)");
  EXPECT_EQ(with(json::json_pointer("/time_step_s"), "60"), "time_step_s: expected a number");
  EXPECT_EQ(with(json::json_pointer("/intervals/1/freq_id"), 1.5), "intervals[1].freq_id: expected an integer");
  EXPECT_EQ(with(json::json_pointer("/intervals/0/length"), 1), "intervals[0].length: unknown key");
  EXPECT_EQ(with(json::json_pointer("/polarizations/1"), "LX"),
            "polarizations[1]: unknown polarization 'LX' (I Q U V RR LL RL LR XX YY XY YX)");
  EXPECT_EQ(with(json::json_pointer("/polarizations/1"), 40000), "polarizations[1]: out of range -32768..32767");
  EXPECT_EQ(with(json::json_pointer("/telescopes/0/x_m"), "1"), "telescopes[0].x_m: expected a number");
  EXPECT_EQ(with(json::json_pointer("/telescopes/1/x_m"), 1.0), "telescopes[1].x_m: unknown key");
  EXPECT_EQ(with(json::json_pointer("/telescopes/0/kind"), "floating"),
            "telescopes[0].kind: expected \"ground\" or \"orbital\"");
  EXPECT_EQ(with(json::json_pointer("/frequency/setups/0/ifs/1/offset_hz"), 1.0),
            "frequency.setups[0].ifs[1].offset_hz: give either offset_mhz or offset_hz");
  EXPECT_EQ(with(json::json_pointer("/frequency/channels"), 1e10), "frequency.channels: expected an integer");
  EXPECT_EQ(with(json::json_pointer("/output"), json::array()), "output: expected a string");
  EXPECT_EQ(Refusal(json::array()), "observation: expected an object");

  json missing = good;
  missing["telescopes"][0].erase("z_m");
  EXPECT_EQ(Refusal(missing), "telescopes[0].z_m: missing");
  json uneven = good;
  uneven["frequency"]["setups"][1]["ifs"].erase(0);
  EXPECT_EQ(Refusal(uneven), "frequency.setups[1].ifs: every setup needs the same number of IFs");
  json byref = good;
  byref["telescopes"][0] = {{"catalog", "Nowhere"}};
  const AMTlscCatalog cat = SmallCatalog();
  EXPECT_EQ(Refusal(byref, &cat), "telescopes[0].catalog: telescope 'Nowhere' is not in the catalogue");
  EXPECT_EQ(Refusal(byref), "telescopes[0].catalog: no telescope catalogue to look 'Nowhere' up in");

  // The target stays as it was after a refusal.
  AMObservation target = SampleObservation();
  std::string error;
  json bad = good;
  bad["source"]["name"] = "Changed";
  bad["time_step_s"] = "x";
  EXPECT_FALSE(ObservationFromJson(bad, target, error));
  EXPECT_EQ(target.source_name, "3C273");
}

TEST(ObsJsonText, ExactSexagesimalAndPolarizationNames) {
  EXPECT_EQ(ExactTimeText(3600.0), "01:00:00");
  EXPECT_EQ(ExactTimeText(45000.5), "12:30:00.5");
  EXPECT_EQ(ExactTimeText(-1.0), "");
  EXPECT_EQ(ExactAngleText(-1800.0), "-00:30:00");
  EXPECT_EQ(ExactAngleText(7388.598), "+02:03:08.598");
  for (int code : {1, 2, 3, 4, -1, -2, -3, -4, -5, -6, -7, -8}) {
    const auto name = PolarizationName(static_cast<std::int16_t>(code));
    ASSERT_TRUE(name);
    EXPECT_EQ(PolarizationCode(*name), code);
  }
  EXPECT_EQ(*PolarizationName(-1), "RR");
  EXPECT_EQ(*PolarizationName(-8), "YX");
  EXPECT_EQ(*PolarizationName(4), "V");
  EXPECT_EQ(PolarizationCode("ll"), -2);
  EXPECT_FALSE(PolarizationName(0));
  EXPECT_FALSE(PolarizationName(-9));
  EXPECT_FALSE(PolarizationCode("RX"));
}
