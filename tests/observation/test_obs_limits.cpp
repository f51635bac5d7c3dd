// What task 1 refuses before it computes anything: values that are not finite, dates it cannot
// write, telescopes the catalogue would refuse and samplings that would not end; and the readers
// of the observation (.obs, JSON) and of Telescopes.dat refusing values that are not finite.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "core/file.h"
#include "obs_test_util.h"
#include "observation/obs_json.h"
#include "observation/obs_limits.h"
#include "observation/telescope_catalog.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Task1Limits, EachRefusalWithItsReason) {
  const struct {
    const char* what;
    std::function<void(AMObservation&)> change;
    const char* reason;  // a piece of the reason; empty: accepted
  } cases[] = {
      {"sample observation", [](AMObservation&) {}, ""},
      {"interval of 1e12 s", [](AMObservation& o) { o.intervals[1].stop = 1e12; }, "time interval 2: time 1e+12 s lies more than 31622400 s"},
      {"start where t += step stays put", [](AMObservation& o) { o.intervals[0] = {1e17, 1e17, 1, 0}; },
       "time interval 1: time 1e+17 s"},
      {"negative time far out", [](AMObservation& o) { o.intervals[0].start = -4e7; }, "lies more than 31622400 s"},
      {"a year of 1 s steps is fine", [](AMObservation& o) { o.time_step_s = 1; o.intervals[1].stop = 3e7; }, ""},
      {"too many samples", [](AMObservation& o) { o.time_step_s = 0.01; o.intervals[1].stop = 3e7; },
       "give 2999640002 time samples at a step of 0.01 s; at most 100000000 are taken"},
      {"tiny step", [](AMObservation& o) { o.time_step_s = 1e-300; }, "time step 1e-300 s is below"},
      {"step not finite", [](AMObservation& o) { o.time_step_s = kInf; }, "time step is not a finite number"},
      {"interval not finite", [](AMObservation& o) { o.intervals[0].stop = kNaN; }, "time interval 1 is not a finite"},
      {"frequency not finite", [](AMObservation& o) { o.freq.table(1, 1).ch_width_hz = kInf; },
       "frequency set-up row 2 IF 2 is not a finite number"},
      {"ground X not finite", [](AMObservation& o) { o.telescopes[0].params[tlsc::kX] = kInf; },
       "telescope 1 parameter 1 is not a finite number"},
      {"date before 1900", [](AMObservation& o) { o.day = 31, o.month = 12, o.year = 1899; },
       "the observation date 1899-12-31 is before 1900"},
      {"1 January 1900", [](AMObservation& o) { o.day = 1, o.month = 1, o.year = 1900; }, ""},
      {"30 February", [](AMObservation& o) { o.day = 30, o.month = 2, o.year = 2023; }, "2023-02-30 is not a calendar date"},
      {"month 13", [](AMObservation& o) { o.month = 13; }, "2024-13-15 is not a calendar date"},
      {"year of a damaged file", [](AMObservation& o) { o.year = 2147483647; }, "is not a calendar date"},
      {"eccentricity 1 with elements in use", [](AMObservation& o) { o.telescopes[1].use_orbit_file = 0, o.telescopes[1].params[1] = 1.0; },
       "telescope 2 (SpaceHEO HE): Pericentric distance of orbit is too low!"},
      {"negative eccentricity", [](AMObservation& o) { o.telescopes[1].use_orbit_file = 0, o.telescopes[1].params[1] = -0.1; },
       "telescope 2 (SpaceHEO HE): Invalid eccentrity."},
      {"elements unused with an orbit file", [](AMObservation& o) { o.telescopes[1].params[0] = 0, o.telescopes[1].params[1] = 2; }, ""},
      {"empty name even with an orbit file", [](AMObservation& o) { o.telescopes[1].name = " "; },
       "telescope 2 (  HE): Telescope name must be not empty."},
      {"ground Z limits", [](AMObservation& o) { o.telescopes[0].params[tlsc::kZMin] = 90; },
       "telescope 1 (VLBA_SC SC): Zmin must be less than Zmax"},
      {"name quoted escaped", [](AMObservation& o) { o.telescopes[0].name = "\x1b[2J"; o.telescopes[0].params[tlsc::kAzMin] = 400; },
       "telescope 1 (\\x1B[2J SC): AZmin must be less than AZmax"},
  };
  for (const auto& c : cases) {
    AMObservation obs = SampleObservation();
    c.change(obs);
    const std::string why = CheckTask1Limits(obs);
    if (*c.reason == 0) EXPECT_EQ(why, "") << c.what;
    else EXPECT_NE(why.find(c.reason), std::string::npos) << c.what << ": " << why;
  }
  AMObservation obs = SampleObservation();
  EXPECT_EQ(CountTimeSamples(obs), 61.0 + 61.0);  // 0..3600 and 7200..10800.5 at 60 s
}

TEST(ReadersRefuseNonFiniteValues, ObsJsonAndTelescopeFile) {
  // .obs: a damaged telescope parameter.
  AMObservation obs = SampleObservation();
  obs.telescopes[1].params[tlsc::kEccentricity] = kNaN;
  AMemoryFile mem;
  ASSERT_TRUE(obs.Store(mem));
  mem.Seek(0);
  AMObservation target = SampleObservation();
  EXPECT_FALSE(LoadObservation(mem, target));
  EXPECT_EQ(target.telescopes[1].params[tlsc::kEccentricity], 0.95);  // untouched

  // JSON: the parser refuses numbers beyond double range; a document built in memory can still
  // hold an infinity.
  EXPECT_THROW(
      {
        const auto parsed = nlohmann::json::parse(R"({"time_step_s": 1e999})");
        EXPECT_TRUE(parsed.is_null()) << "parsed instead of refused";
      },
      nlohmann::json::exception);
  std::string error;
  auto j = nlohmann::json::parse(R"({"telescopes": [{"name": "X", "id": "X", "kind": "orbital",
      "semimajor_axis_km": 1, "eccentricity": 0.1, "inclination_deg": 0, "ascending_node_deg": 0,
      "perigee_argument_deg": 0, "epoch_jd": 2460000.5, "mean_anomaly_deg": 0}]})");
  j["telescopes"][0]["semimajor_axis_km"] = kInf;
  EXPECT_FALSE(ObservationFromJson(j, target, error));
  EXPECT_EQ(error, "telescopes[0].semimajor_axis_km: not a finite number");
  j = nlohmann::json::parse(R"({"intervals": [{"start": "1\u001b[31m", "stop": 10}]})");
  EXPECT_FALSE(ObservationFromJson(j, target, error));
  EXPECT_EQ(error, "intervals[0].start: invalid time '1\\x1B[31m'");

  // Telescopes.dat: lines with "nan", "inf" or an overflowing number are left out and reported.
  std::istringstream in(
      "1 EF Effelsberg\t4033947\tnan\t4900430\t100\t0\t360\t0\t85\t0\n"
      "2 MC Medicina\t4461370\t-919597\t4449559\t32\t0\t360\t0\t85\t0\n"
      "3 HE SpaceHEO\t1e999\t0.9\t50\t0\t0\t2460000.5\t0\t0\t1\n"
      "4 NT Noto\t4934563\t-1236829\t3838646\t32\t0\t360\t0\tinf\t0\n");
  AMTlscCatalog cat;
  std::string refused;
  ASSERT_TRUE(ReadTelescopes(in, cat, &refused));
  ASSERT_EQ(cat.GetSize(), 1);
  EXPECT_EQ(cat[0].name, "Medicina");
  EXPECT_EQ(refused, "line 1: parameter 2 is not a finite number (3 lines left out)");
}

}  // namespace
