// Values the program would accept but that almost always mean a mistake, and the JSON form's
// catalogue source, ITRF coordinates and computation choices.
#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>

#include "obs_test_util.h"
#include "observation/obs_json.h"
#include "observation/obs_plausibility.h"
#include "observation/source_catalog.h"

namespace {

struct Case {
  const char* what;
  std::function<void(AMObservation&)> change;
  bool error;           // expected severity of the single problem
  const char* where;    // its place
  const char* words;    // words of its text
};

}  // namespace

TEST(ObsPlausibility, EachMistakeIsNamedWithItsPlaceAndSeverity) {
  EXPECT_TRUE(CheckPlausibility(SampleObservation()).empty());
  const Case cases[] = {
      {"reference 0", [](AMObservation& o) { o.freq.ref_freq_hz = 0; }, true, "frequency set-up", "reference frequency"},
      {"no channels", [](AMObservation& o) { o.freq.n_channels = 0; }, true, "frequency set-up", "0 channels"},
      {"zero width", [](AMObservation& o) { o.freq.table(1, 0).ch_width_hz = 0; }, true, "frequency set-up",
       "Freq. ID 2, IF1"},
      {"code twice", [](AMObservation& o) { o.polarizations.Add(-1); }, true, "polarization", "RR is given twice"},
      {"station in km",
       [](AMObservation& o) {
         for (int k = 0; k < 3; ++k) o.telescopes[0].params[k] /= 1000.0;
       },
       true, "telescope SC", "6.4 km from the geocentre"},
      {"station at 6500 km",
       [](AMObservation& o) {
         for (int k = 0; k < 3; ++k) o.telescopes[0].params[k] *= 6500.0 / 6372.0;
       },
       true, "telescope SC", "not within 6300-6400 km"},
      {"orbit in metres",
       [](AMObservation& o) {
         o.telescopes[1].use_orbit_file = 0;
         o.telescopes[1].params[0] *= 1000.0;
       },
       true, "telescope HE", "implausible"},
      {"perigee 6440 km",
       [](AMObservation& o) {
         o.telescopes[1].use_orbit_file = 0;
         o.telescopes[1].params[0] = 7000.0;
         o.telescopes[1].params[1] = 0.08;
       },
       true, "telescope HE", "below 6478 km"},
      {"dec beyond the pole", [](AMObservation& o) { o.dec_arcsec = 95 * 3600.0; }, false, "source", "beyond +-90"},
  };
  for (const Case& c : cases) {
    AMObservation obs = SampleObservation();
    c.change(obs);
    const std::vector<AMObsProblem> p = CheckPlausibility(obs);
    ASSERT_EQ(p.size(), 1u) << c.what;
    EXPECT_EQ(p[0].error, c.error) << c.what;
    EXPECT_EQ(HasErrors(p), c.error) << c.what;
    EXPECT_EQ(p[0].where, c.where) << c.what;
    EXPECT_NE(p[0].text.find(c.words), std::string::npos) << c.what << ": " << p[0].text;
  }
  // e = 0.07 at 7000 km passes (perigee 6510 km); an orbit file makes the elements irrelevant.
  AMObservation obs = SampleObservation();
  obs.telescopes[1].use_orbit_file = 0;
  obs.telescopes[1].params[0] = 7000.0, obs.telescopes[1].params[1] = 0.07;
  EXPECT_TRUE(CheckPlausibility(obs).empty());
  obs.telescopes[1].params[0] = 7.0e9, obs.telescopes[1].use_orbit_file = 1;
  EXPECT_TRUE(CheckPlausibility(obs).empty());
}

TEST(ObsJsonExtras, CatalogueSourceItrfStationsAndComputationChoices) {
  AMSourceCatalog sources;
  std::istringstream text("3C273 J1229+0203 12:29:06.6997 +02:03:08.598\n");
  ReadSources(text, sources);
  const auto read = [&](const char* source_json, AMObservation& obs, std::string& error) {
    const nlohmann::json j = nlohmann::json::parse(std::string(R"({"source": )") + source_json +
                                                   R"(, "earth_blocking": true, "telescopes": [{"name": "EF",
        "id": "EF", "itrf_m": [4033921.036, 486929.425, 4900366.871], "diameter_m": 100, "az_min_deg": 0,
        "az_max_deg": 360, "zenith_min_deg": 0, "zenith_max_deg": 85}]})");
    return ObservationFromJson(j, obs, error, nullptr, &sources);
  };
  AMObservation obs;
  std::string error;
  ASSERT_TRUE(read(R"({"catalog": "j1229+0203"})", obs, error)) << error;
  EXPECT_EQ(obs.source_name, "3C273");
  EXPECT_DOUBLE_EQ(obs.ra_time_s, 12 * 3600 + 29 * 60 + 6.6997);
  EXPECT_DOUBLE_EQ(obs.dec_arcsec, 2 * 3600 + 3 * 60 + 8.598);
  EXPECT_EQ(obs.output_path, "3C273_mdl.uvx");
  // ITRF Y becomes the catalogue's negated Y.
  EXPECT_EQ((std::vector<double>{obs.telescopes[0].params[0], obs.telescopes[0].params[1], obs.telescopes[0].params[2]}),
            (std::vector<double>{4033921.036, -486929.425, 4900366.871}));
  EXPECT_TRUE(obs.earth_blocking);
  EXPECT_FALSE(obs.azimuth_limits);
  EXPECT_EQ(ObservationToJson(obs)["earth_blocking"], true);
  ASSERT_TRUE(read(R"({"catalog": "3C273", "name_choice": "other"})", obs, error)) << error;
  EXPECT_EQ(obs.source_name, "J1229+0203");

  const struct {
    const char* source;
    const char* words;
  } refused[] = {{R"({"catalog": "3C999"})", "source.catalog: source '3C999' is not in Sources.dat"},
                 {R"({"catalog": "3C273", "name_choice": "alias"})", "source.name_choice"},
                 {R"({"catalog": "3C273", "ra": "12:00:00"})", "source.ra"}};
  for (const auto& r : refused) {
    EXPECT_FALSE(read(r.source, obs, error)) << r.source;
    EXPECT_NE(error.find(r.words), std::string::npos) << error;
  }
  const nlohmann::json both = nlohmann::json::parse(R"({"telescopes": [{"name": "EF", "id": "EF",
      "itrf_m": [1, 2, 3], "x_m": 1, "diameter_m": 100, "az_min_deg": 0, "az_max_deg": 360,
      "zenith_min_deg": 0, "zenith_max_deg": 85}]})");
  EXPECT_FALSE(ObservationFromJson(both, obs, error));
  EXPECT_NE(error.find("either itrf_m or x_m"), std::string::npos) << error;
}
