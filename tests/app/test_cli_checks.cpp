// What the command line catches before any work: the plausibility of an observation, whether two
// telescopes see the source, catalogue entries in the wrong unit, and its exit codes.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "app/cli_test_util.h"
#include "uvx/uvx_test_util.h"

namespace {

// An observation in JSON of two ground stations given in ITRF, zenith limits as given.
std::string TwoStations(double zmax_a, double zmax_b, double scale = 1.0) {
  const auto station = [scale](const char* name, double x, double y, double z, double zmax) {
    return std::string(R"({"name": ")") + name + R"(", "id": ")" + name + R"(", "itrf_m": [)" +
           std::to_string(x * scale) + ", " + std::to_string(y * scale) + ", " + std::to_string(z * scale) +
           R"(], "diameter_m": 25, "az_min_deg": 0, "az_max_deg": 360, "zenith_min_deg": 0, "zenith_max_deg": )" +
           std::to_string(zmax) + "}";
  };
  return R"({"source": {"name": "3C273", "ra": "12:29:06.6997", "dec": "+02:03:08.598"}, "date": "2024-03-15",
    "time_step_s": 600, "intervals": [{"start": "00:00:00", "stop": "23:50:00"}], "telescopes": [)" +
         station("MK", -5464074.944, -2495249.079, 2148296.797, zmax_a) + ", " +
         station("EF", 4033921.036, 486929.425, 4900366.871, zmax_b) + R"(], "output": "out.uvx"})";
}

void Write(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

}  // namespace

TEST(CliChecks, ObservationsThatCannotWorkAreCaughtBeforeTheRun) {
  if (!std::filesystem::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string ok = dir.File("ok.json"), never = dir.File("never.json"), km = dir.File("km.json");
  Write(ok, TwoStations(180, 180));
  Write(never, TwoStations(30, 30));  // Mauna Kea and Effelsberg never see it both near the zenith
  Write(km, TwoStations(180, 180, 1e-3));

  Result r = Qvl("obs check " + Q(ok) + " --json");
  EXPECT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(LastJson(r.out)["ready"], true);

  r = Qvl("obs check " + Q(never) + " --json");
  EXPECT_EQ(r.status, 1) << r.out;
  const nlohmann::json j = LastJson(r.out);
  EXPECT_EQ(j["ready"], false);
  EXPECT_EQ(j["any_pair_sees_source"], false);
  EXPECT_NE(j["why"].get<std::string>().find("no two telescopes saw the source"), std::string::npos);

  r = Qvl("configure " + Q(km) + " -o " + Q(dir.File("km.uvx")));
  EXPECT_EQ(r.status, 1) << r.out;
  EXPECT_NE(r.out.find("telescope MK: the station lies 6.4 km from the geocentre"), std::string::npos) << r.out;
  EXPECT_FALSE(std::filesystem::exists(dir.File("km.uvx")));

  r = Qvl("configure " + Q(never) + " -o " + Q(dir.File("never.uvx")));
  EXPECT_EQ(r.status, 1) << r.out;
  EXPECT_NE(r.out.find("Small points. Resulting UV-points < 1."), std::string::npos) << r.out;  // message 304
  EXPECT_NE(r.out.find("samples seeing it: MK "), std::string::npos) << r.out;                // and why
  EXPECT_FALSE(std::filesystem::exists(dir.File("never.uvx")));
}

TEST(CliChecks, CataloguesAndExitCodes) {
  if (!std::filesystem::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  Result r = Qvl("catalog sources 3c27 --json");
  ASSERT_EQ(r.status, 0) << r.out;
  const nlohmann::json s = LastJson(r.out)["sources"];
  ASSERT_EQ(s.size(), 2u);  // 3C273 and 3C279
  EXPECT_EQ(s[0]["other_name"], "J1229+0203");

  r = Qvl("catalog add --base " + Q(dir.Path()) + " --name X --id XX --params 2607.8 5488.0 1932.7 25 0 360 0 90");
  EXPECT_EQ(r.status, 1) << r.out;
  EXPECT_NE(r.out.find("not within 6300-6400 km"), std::string::npos) << r.out;
  EXPECT_FALSE(std::filesystem::exists(dir.File("Telescopes.dat")));

  EXPECT_EQ(Qvl("configure --no-such-option x.json").status, 2);
  EXPECT_EQ(Qvl("configure").status, 2);
  EXPECT_EQ(Qvl("--help").status, 0);
}
