// The shipped catalogues and example: complete, ordered, valid, and consistent with ITRF.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "core/file.h"
#include "core/text.h"
#include "observation/obs_json.h"
#include "observation/source_catalog.h"
#include "observation/telescope_catalog.h"

namespace {

std::string DataPath(const std::string& name) {
  const char* dir = std::getenv("QVL_TEST_DATA");
  return std::string(dir ? dir : "data") + "/" + name;
}

}  // namespace

TEST(ShippedTelescopes, SortedValidAndWithWestwardY) {
  AMTlscCatalog cat;
  ASSERT_TRUE(LoadTelescopeFile(DataPath("Telescopes.dat"), cat));
  ASSERT_GE(cat.count, 20);
  int orbital = 0;
  for (int i = 0; i < cat.count; ++i) {
    if (i > 0) {
      EXPECT_EQ(CompareTlscInfo(cat[i - 1], cat[i]), 1) << cat[i].name;
    }
    AMTlscInfoItem copy = cat[i];
    EXPECT_TRUE(ValidateTelescope(copy).ok) << cat[i].name;
    EXPECT_EQ(copy.name, cat[i].name);  // already free of blanks
    if (!cat[i].IsGround()) {
      ++orbital;
      continue;
    }
    const double r = std::hypot(cat[i].params[0], cat[i].params[1], cat[i].params[2]);
    EXPECT_NEAR(r, 6.37e6, 0.03e6) << cat[i].name;  // on the Earth's surface
  }
  EXPECT_GE(orbital, 2);
  // Effelsberg lies east of Greenwich: ITRF Y > 0, so the catalogue keeps it negative.
  const int ef = FindTelescope(cat, "Effelsberg", "EF");
  ASSERT_GE(ef, 0);
  EXPECT_EQ(cat[ef].params[1], -486929.425);
  // A highly elliptical orbit reaches beyond 300 000 km.
  bool far = false;
  for (const AMTlscInfoItem& t : cat)
    if (!t.IsGround()) far = far || t.params[0] * (1 + t.params[1]) > 300000.0;
  EXPECT_TRUE(far);
  // Rewriting gives the data lines unchanged (the file is as the program writes it).
  std::ifstream in(DataPath("Telescopes.dat"));
  std::string line, data_lines;
  while (std::getline(in, line))
    if (!line.empty() && line[0] != ';') data_lines += line + "\n";
  std::ostringstream out;
  WriteTelescopes(out, cat);
  EXPECT_EQ(out.str(), data_lines);
}

TEST(ShippedSources, EveryLineParses) {
  std::ifstream in(DataPath("Sources.dat"));
  ASSERT_TRUE(in);
  std::string line;
  int lines = 0;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == ';') continue;
    ++lines;
    std::istringstream words(line);
    std::string name, other, ra, dec;
    words >> name >> other >> ra >> dec;
    double v = 0;
    EXPECT_TRUE(strToTime(ra, v) && IsValidRightAscension(v)) << line;
    EXPECT_TRUE(strToAngle(dec, v) && std::fabs(v) <= 90 * 3600.0) << line;
  }
  AMSourceCatalog cat;
  ASSERT_TRUE(LoadSourceFile(DataPath("Sources.dat"), cat, nullptr));
  EXPECT_EQ(cat.count, lines);
  EXPECT_GE(cat.count, 24);
  const int i = FindSource(cat, "3C273");
  ASSERT_GE(i, 0);
  EXPECT_NEAR(cat[i].ra_time_s, 12 * 3600 + 29 * 60 + 6.6997, 1e-9);
}

TEST(ShippedExample, JsonAndObsDescribeTheSameObservation) {
  AMTlscCatalog tel;
  ASSERT_TRUE(LoadTelescopeFile(DataPath("Telescopes.dat"), tel));
  std::ifstream in(DataPath("examples/ground_space_3c345.json"));
  ASSERT_TRUE(in);
  const nlohmann::json j = nlohmann::json::parse(in);
  AMObservation from_json(std::string("/"));
  std::string error;
  ASSERT_TRUE(ObservationFromJson(j, from_json, error, &tel)) << error;
  AMObservation from_obs(std::string("/"));
  ASSERT_TRUE(LoadObservationFile(DataPath("examples/ground_space_3c345.obs"), from_obs));
  AMemoryFile a, b;
  from_json.Store(a);
  from_obs.Store(b);
  EXPECT_EQ(a.Bytes(), b.Bytes());
  EXPECT_TRUE(CheckForCreate(from_obs).ok);
  EXPECT_EQ(from_obs.freq.n_if, 2);
  EXPECT_EQ(from_obs.freq.n_channels, 16);
  EXPECT_EQ(from_obs.polarizations.count, 2);
  int orbital = 0;
  for (const AMTlscItem& t : from_obs.telescopes) orbital += t.IsOrbital();
  EXPECT_EQ(orbital, 1);
}
