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

TEST(CliChecks, CataloguesAreTheUsers) {
  if (!std::filesystem::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string missing = dir.File("no-such-folder");
  for (const std::string& cmd : {"catalog list --base " + Q(missing), "configure x.json --base " + Q(missing),
                                 "obs check x.json --base " + Q(missing), "run --base " + Q(missing)}) {
    const Result r = Qvl(cmd);
    EXPECT_EQ(r.status, 2) << cmd << "\n" << r.out;
    EXPECT_NE(r.out.find("does not exist"), std::string::npos) << cmd << "\n" << r.out;
  }

  const std::string head = "; my stations\n; second comment line\n";
  Write(dir.File("Telescopes.dat"), head + "1 EF Effelsberg\t4033921.036\t-486929.425\t4900366.871\t100\t0\t360\t0\t80\t0\n");
  const Result r = Qvl("catalog add --base " + Q(dir.Path()) +
                       " --name Eff_2 --id ef --params 4033921.036 -486929.425 4900366.871 100 0 360 0 80");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("ID EF: Effelsberg, Eff_2 share one identifier"), std::string::npos) << r.out;
  const std::string text = ReadAll(dir.File("Telescopes.dat"));
  EXPECT_EQ(text.rfind(head + "1 EF Effelsberg\t", 0), 0u) << text;
  EXPECT_NE(text.find("\n2 ef Eff_2\t"), std::string::npos) << text;
}

// Tables that do not fit the file, settings the program cannot use, files of the wrong kind, and
// the line after a fixed message: each said before the run, each refused with --strict.
TEST(CliChecks, TablesSettingsAndFilesThatDoNotMatch) {
  if (!std::filesystem::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string obs = dir.File("ok.json"), uvx = dir.File("ok.uvx");
  Write(obs, TwoStations(180, 180));
  ASSERT_EQ(Qvl("configure " + Q(obs) + " -o " + Q(uvx)).status, 0);
  // The AN table holds MK (1) and EF (2); the table names ID 2 after MK and has no row for 1.
  Write(dir.File("e.tsv"), "Name\tID\tPh. err [Deg]\tAmpl. err [dB]\tPhase 0 [deg]\tFringe rate\tDelay\tFringe "
                           "Acc.\tDelay Acc.\nMK\t2\t0\t0\t0\t0\t0\t0\t0\n");
  Write(dir.File("s.tsv"), "Name\tID\tSEFD IF1\nMK\t1\t300\nEF\t2\t20\n");
  const std::string settings = dir.File("QvlModel.ini");
  Write(settings,
        "[QVLMODEL-PROCESS4]\nIN UVX-FILE=ok.uvx\nDT=60\nDF=512 MHz\nNTLSCS=2\nNIFS=1\nTLSC NAME0=MK\nTLSC ID0=1\n"
        "TLSC SEFD0_0=300\nTLSC NAME1=EF\nTLSC ID1=2\nTLSC SEFD1_0=20\n[QVLMODEL-PROCES3]\n");
  const struct {
    std::string args;
    int status;
    std::vector<std::string> said;
    std::string absent;  // an output that must not exist afterwards
  } cases[] = {
      {"errors " + Q(uvx) + " --table " + Q(dir.File("e.tsv")) + " --random-start 1 -o " + Q(dir.File("e.uvx")), 0,
       {"warning: " + dir.File("e.tsv") + ": row 1 (ID 2) \"MK\": the file's AN table names ID 2 \"EF\"",
        "1 of 1 baselines have a telescope without a row (ID 1)"},
       ""},
      {"errors " + Q(uvx) + " --table " + Q(dir.File("e.tsv")) + " --strict -o " + Q(dir.File("strict.uvx")), 1,
       {"does not fit the telescopes of", "(--strict)"}, dir.File("strict.uvx")},
      {"noise " + Q(uvx) + " --sefd " + Q(dir.File("s.tsv")) + " --duration 60 --bandwidth 8e6 --strict -o " +
           Q(dir.File("n.uvx")),
       0, {}, ""},
      {"run --tasks 4 --settings " + Q(settings), 0,
       {"warning: " + settings + ": line 4: [QVLMODEL-PROCESS4] DF: \"512 MHz\" is not a number (read as 512)",
        "line 13: unknown section [QVLMODEL-PROCES3]"},
       ""},
      {"run --tasks 4 --strict --settings " + Q(settings), 1, {"not run (--strict)"}, ""},
      {"info " + Q(obs), 2, {"this is a JSON document, not a UVX file"}, ""},
      {"configure " + Q(dir.File("fid.json")) + " -o " + Q(dir.File("fid.uvx")), 1,
       {"Time interval contains invalid Freq. ID. \n", "fid.json: interval 1 in time order, Freq. ID\n"},
       dir.File("fid.uvx")},
      {"configure " + Q(obs) + " -o " + Q(dir.File("no/such/x.uvx")), 1,
       {"cannot create " + dir.File("no/such/x.uvx") + " (not even its temporary UV-point file"}, ""},
      {"model " + Q(uvx) + " -m " + Q(dir.File("map.fits")) + " -o " + Q(dir.File("m.uvx")), 2,
       {"this is a FITS file, not a source model (.mdl); a map is given with --map"}, dir.File("m.uvx")},
      {"model " + Q(uvx) + " -m " + Q(dir.File("bad.mdl")) + " -o " + Q(dir.File("m.uvx")), 1,
       {"Axis ratio invalid range.\n", "bad.mdl line 5, component 2\n"}, dir.File("m.uvx")},
  };
  ASSERT_EQ(Qvl("model --render " + Q(QVL_SOURCE_DATA "/examples/core_jet.mdl") + " -o " + Q(dir.File("map.fits")))
                .status,
            0);
  std::string fid = TwoStations(180, 180);
  fid.replace(fid.find(R"("stop": "23:50:00")"), 18, R"("stop": "23:50:00", "freq_id": 5)");
  Write(dir.File("fid.json"), fid);
  Write(dir.File("bad.mdl"), "QVLMODEL 1\n1 1 0 1 0 0 0 0.5\n\n# the second component\n2 1 0.001 1.5 0 0 0 0.5\nEND\n");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args);
    const Result r = Qvl(c.args);
    EXPECT_EQ(r.status, c.status) << r.out;
    for (const std::string& s : c.said) EXPECT_NE(r.out.find(s), std::string::npos) << s << "\n" << r.out;
    if (c.said.empty()) {
      EXPECT_EQ(r.out.find("warning"), std::string::npos) << r.out;
    }
    if (!c.absent.empty()) {
      EXPECT_FALSE(std::filesystem::exists(c.absent));
    }
  }
}

// A rendered FITS map as sky images have it, placed on the source it is made for, with a field of
// view chosen when none is given; a run in place warns before it starts.
TEST(CliChecks, RendersForTheSkyAndRunsInPlaceSayWhatTheyDo) {
  if (!std::filesystem::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string obs = dir.File("ok.json"), uvx = dir.File("ok.uvx"), map = dir.File("r.fits");
  const std::string mdl = QVL_SOURCE_DATA "/examples/core_jet.mdl";
  Write(obs, TwoStations(180, 180));
  Result r = Qvl("model --render " + Q(mdl) + " --size 64 --for " + Q(obs) + " -o " + Q(map) + " --json");
  ASSERT_EQ(r.status, 0) << r.out;
  const nlohmann::json j = LastJson(r.out);
  EXPECT_EQ(j["fov_chosen"], true);
  EXPECT_NEAR(j["centre_deg"][0].get<double>(), (12 + 29 / 60.0 + 6.6997 / 3600.0) * 15.0, 1e-9);
  EXPECT_NEAR(j["centre_deg"][1].get<double>(), 2 + 3 / 60.0 + 8.598 / 3600.0, 1e-9);
  const double fov = j["fov_arcsec"][0].get<double>();
  EXPECT_GT(fov, 0.007);  // holds the outer knot 7 mas out
  EXPECT_LT(fov, 0.05);
  const std::string header = ReadAll(map).substr(0, 2880);
  EXPECT_NE(header.find("CDELT1  = -"), std::string::npos) << header;
  EXPECT_NE(header.find("OBJECT  = '3C273"), std::string::npos) << header;

  r = Qvl("model --render " + Q(mdl) + " --for " + Q(obs) + " -o " + Q(dir.File("r.exm")));
  EXPECT_EQ(r.status, 1) << r.out;

  ASSERT_EQ(Qvl("configure " + Q(obs) + " -o " + Q(uvx)).status, 0);
  r = Qvl("model " + Q(uvx) + " -m " + Q(mdl) + " -o " + Q(uvx));
  EXPECT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("warning: the output is the input"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("a stop (Ctrl-C) leaves it partly changed"), std::string::npos) << r.out;
}

namespace {

// The text of the first fenced block after `heading` in a document of the source tree.
std::string FencedBlockAfter(const std::string& doc, const std::string& heading) {
  const std::string text = ReadAll(std::string(QVL_SOURCE_DATA) + "/../" + doc);
  const std::size_t at = text.find(heading);
  if (at == std::string::npos) return {};
  const std::size_t open = text.find("```", at), body = text.find('\n', open) + 1;
  return text.substr(body, text.find("```", body) - body);
}

}  // namespace

// The README's quick start and the JSON example of docs/observation.md run as written.
TEST(CliChecks, TheDocumentedExamplesRunAsWritten) {
  if (!std::filesystem::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  std::string script = FencedBlockAfter("README.md", "## Quick start");
  ASSERT_NE(script.find("cp -r build/bin/examples qvl-demo"), std::string::npos) << script;
  // build/ of the commands is this build; the examples are those of the source tree.
  std::filesystem::create_directories(dir.File("build/bin"));
  std::filesystem::copy(QVL_SOURCE_DATA "/examples", dir.File("build/bin/examples"));
  std::filesystem::create_symlink(QVLMODEL_EXE, dir.File("build/bin/qvlmodel"));
  Write(dir.File("quick.sh"), "set -e\n" + script);
  Result r = Qvl("--version && cd " + Q(dir.Path()) + " && sh quick.sh");
  ASSERT_EQ(r.status, 0) << r.out;
  const std::string fits = ReadAll(dir.File("qvl-demo/3C345.uvfits"));
  EXPECT_EQ(fits.rfind("SIMPLE  =", 0), 0u);
  EXPECT_NE(fits.find("GROUPS  ="), std::string::npos);

  const std::string example = FencedBlockAfter("docs/observation.md", "## JSON form");
  EXPECT_EQ(example, ReadAll(QVL_SOURCE_DATA "/examples/3c345_heo_orbit_file.json"));
  r = Qvl("configure " + Q(dir.File("qvl-demo/3c345_heo_orbit_file.json")));
  EXPECT_EQ(r.status, 0) << r.out;
  EXPECT_TRUE(std::filesystem::exists(dir.File("qvl-demo/3C345_heo_mdl.uvx")));
}
