// Independent checks with astropy.io.fits (Debian's python3-astropy): astropy reads our export
// and its numbers are compared with the UVX source; astropy writes a file the way AIPS lays it
// out and our import must find what it holds. Skipped only when no Python with astropy exists.
// The command line's export and import run on a task-1 file of the shipped example.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>
#include <nlohmann/json.hpp>

#include "uvfits_test_util.h"
#include "uvx/fq_table.h"
#include "uvx/uvfits_export.h"
#include "uvx/uvfits_import.h"

namespace {

using nlohmann::json;

json RunScript(const std::string& python, const std::string& args) {
  const CommandOutput r = RunShell(python + " -W ignore '" + std::string(QVL_UVFITS_SCRIPT) + "' " + args);
  EXPECT_EQ(r.status, 0) << r.out.substr(0, 2000);
  try {
    return json::parse(r.out);
  } catch (const json::exception& e) {
    ADD_FAILURE() << "not JSON: " << e.what() << "\n" << r.out.substr(0, 2000);
    return json::object();
  }
}

// Everything astropy reads from `fits` against the UVX file it was exported from.
void CheckExportWithAstropy(const std::string& python, const std::string& uvx, const std::string& fits) {
  const json j = RunScript(python, "read '" + fits + "' 400");
  ASSERT_TRUE(j.contains("groups"));
  AUVXFile f;
  ASSERT_TRUE(f.Open(uvx, AUVXFile::modeRead));
  const AUVXHeader& h = f.Header();
  const AUVXTable& fq = *f.GetTable("FQ");
  const bool freqsel = fq.n_rows > 1;
  std::vector<std::string> names = {"UU", "VV", "WW", "DATE", "DATE", "BASELINE", "INTTIM"};
  if (freqsel) names.push_back("FREQSEL");
  EXPECT_EQ(j["parnames"].get<std::vector<std::string>>(), names);

  const json& p = j["primary"];
  EXPECT_EQ(p["BITPIX"], -32);
  EXPECT_EQ(p["GCOUNT"], f.Groups());
  const long long lengths[6] = {3, f.NStokes(), f.NChannels(), f.NIF(), 1, 1};
  const char* types[6] = {"COMPLEX", "STOKES", "FREQ", "IF", "RA", "DEC"};
  for (int a = 0; a < 6; ++a) {
    EXPECT_EQ(p["NAXIS" + std::to_string(a + 2)], lengths[a]);
    EXPECT_EQ(p["CTYPE" + std::to_string(a + 2)], types[a]);
  }
  EXPECT_EQ(p["CRVAL3"].get<double>(), h.pol[0]);
  if (h.n_pol > 1) {
    EXPECT_EQ(p["CDELT3"].get<double>(), h.pol[1] - h.pol[0]);
  }
  EXPECT_EQ(p["CRVAL4"].get<double>(), h.ref_freq_hz);
  EXPECT_EQ(p["CDELT4"].get<double>(), fq.GetNumber(0, fq.FindColumn("CH WIDTH"), 0));
  EXPECT_EQ(p["PZERO4"].get<double>(), h.jd0);
  EXPECT_EQ(p["OBJECT"], h.Object());

  const json& g = j["groups"];
  const std::vector<int> picked = j["data_groups"].get<std::vector<int>>();
  std::size_t next_pick = 0;
  AUVXGroup grp;
  AUVXVisibility vis(f);
  int bad = 0;
  for (std::int64_t i = 0; i < f.Groups() && bad < 5; ++i) {
    ASSERT_TRUE(f.SeekUVGroup(i) && grp.load(f) && vis.load(f));
    const std::size_t k = std::size_t(i);
    const double t = h.time + grp.time;
    bool ok = g["UU"][k].get<double>() == grp.u && g["VV"][k].get<double>() == grp.v &&
              g["WW"][k].get<double>() == grp.w && g["BASELINE"][k].get<double>() == 256 * grp.tel1 + grp.tel2 &&
              std::fabs(g["DATE_DAYS_FROM_PZERO"][k].get<double>() * 86400.0 - t) < 1e-6 &&
              std::fabs((g["DATE"][k].get<double>() - h.jd0) * 86400.0 - t) < 1e-4 &&  // float64 sum at JD
              g["INTTIM"][k].get<double>() == float(h.time_step_s) &&
              (!freqsel || g["FREQSEL"][k].get<double>() == grp.freq_id);
    if (next_pick < picked.size() && picked[next_pick] == i) {
      const std::vector<double> d = j["data"][next_pick++].get<std::vector<double>>();
      ok = ok && d.size() == std::size_t(3 * vis.Count());
      for (int e = 0; ok && e < vis.Count(); ++e)
        ok = d[std::size_t(3 * e)] == vis.entries[e].re && d[std::size_t(3 * e + 1)] == vis.entries[e].im &&
             d[std::size_t(3 * e + 2)] == vis.entries[e].weight;
    }
    if (!ok) ++bad;
    EXPECT_TRUE(ok) << "group " << i;
  }
  EXPECT_EQ(next_pick, picked.size());

  const json& an = j["tables"]["AIPS AN"];
  AUVXAntenns ants(*f.GetTable("AN"));
  ASSERT_EQ(an["rows"], ants.GetSize());
  EXPECT_EQ(an["keywords"]["XYZHAND"], "RIGHT");
  EXPECT_EQ(an["keywords"]["TIMSYS"], "UTC");
  EXPECT_EQ(an["keywords"]["ARRAYX"].get<double>(), 0.0);
  for (int r = 0; r < ants.GetSize(); ++r) {
    EXPECT_EQ(an["columns"]["ANNAME"][std::size_t(r)], ants[r].Name());
    EXPECT_EQ(an["columns"]["NOSTA"][std::size_t(r)], ants[r].number);
    EXPECT_EQ(an["columns"]["MNTSTA"][std::size_t(r)], ants[r].mount);
    const std::vector<double> xyz = an["columns"]["STABXYZ"][std::size_t(r)].get<std::vector<double>>();
    EXPECT_EQ(xyz, (std::vector<double>{ants[r].x, ants[r].y, ants[r].z}));
  }
  const json& jfq = j["tables"]["AIPS FQ"];
  ASSERT_EQ(jfq["rows"], fq.n_rows);
  for (int r = 0; r < fq.n_rows; ++r) {
    EXPECT_EQ(jfq["columns"]["FRQSEL"][std::size_t(r)], fq.GetInt(r, fq.FindColumn("FRQSEL")));
    for (int i = 0; i < f.NIF(); ++i) {
      const json& cell = jfq["columns"]["IF FREQ"][std::size_t(r)];
      EXPECT_EQ((cell.is_array() ? cell[std::size_t(i)] : cell).get<double>(), fq.GetDouble(r, fq.FindColumn("IF FREQ"), i));
    }
  }
  if (const AUVXTable* su = f.GetTable("SU")) {
    const json& jsu = j["tables"]["AIPS SU"];
    EXPECT_EQ(jsu["columns"]["SOURCE"][0], su->GetChars(0, su->FindColumn("SOURCE")));
    EXPECT_EQ(jsu["columns"]["RAEPO"][0].get<double>(), su->GetNumber(0, su->FindColumn("RAEPO")));
    EXPECT_EQ(jsu["keywords"]["NO_IF"], f.NIF());
  }
}

}  // namespace

TEST(UVFitsAstropy, ReadsOurExportAsTheSourceHoldsIt) {
  const std::string python = PythonWithAstropy();
  if (python.empty()) GTEST_SKIP() << "no python3 with astropy (Debian package python3-astropy)";
  TempDir dir;
  const std::string uvx = dir.File("s.uvx"), fits = dir.File("s.uvfits");
  WriteSampleFile(uvx, 11);
  std::string error;
  ASSERT_TRUE(ExportAsStored(uvx, fits, error)) << error;
  CheckExportWithAstropy(python, uvx, fits);
}

TEST(UVFitsAstropy, ImportsAnAipsLayoutWrittenByAstropy) {
  const std::string python = PythonWithAstropy();
  if (python.empty()) GTEST_SKIP() << "no python3 with astropy (Debian package python3-astropy)";
  TempDir dir;
  const std::string fits = dir.File("aips.uvfits"), uvx = dir.File("aips.uvx");
  const json truth = RunScript(python, "aips '" + fits + "'");
  ASSERT_TRUE(truth.contains("groups"));
  std::string error;
  ASSERT_TRUE(ImportUVFITS(fits, uvx, nullptr, nullptr, nullptr, error, nullptr, UVFitsFrame::Date)) << error;
  AUVXFile f;
  ASSERT_TRUE(f.Open(uvx, AUVXFile::modeRead));
  const AUVXHeader& h = f.Header();
  ASSERT_EQ(f.Groups(), std::int64_t(truth["groups"].size()));
  EXPECT_EQ((std::vector<int>{h.n_pol, h.pol[0], h.pol[1]}),
            (std::vector<int>{2, truth["stokes"][0].get<int>(), truth["stokes"][1].get<int>()}));
  EXPECT_EQ(h.time_step_s, truth["time_step_s"].get<double>());
  EXPECT_EQ(h.Object(), "J1642+39");
  EXPECT_EQ(h.FluxUnit(), "UNCALIB");
  AUVXGroup g;
  AUVXVisibility v(f);
  for (std::size_t i = 0; i < truth["groups"].size(); ++i) {
    const json& t = truth["groups"][i];
    ASSERT_TRUE(f.SeekUVGroup(std::int64_t(i)) && g.load(f) && v.load(f));
    EXPECT_EQ((std::vector<double>{double(g.tel1), double(g.tel2), g.u, g.v, g.w}),
              (std::vector<double>{t["tel1"].get<double>(), t["tel2"].get<double>(), float(t["u"].get<double>()),
                                   float(t["v"].get<double>()), float(t["w"].get<double>())})) << i;
    const double abs_s = (h.jd0 - truth["jd0"].get<double>()) * 86400.0 + h.time + g.time;
    EXPECT_NEAR(abs_s, t["time_s"].get<double>(), 1e-6) << i;
    const std::vector<double> want = t["vis"].get<std::vector<double>>();
    ASSERT_EQ(want.size(), std::size_t(3 * v.Count()));
    for (int e = 0; e < v.Count(); ++e)
      EXPECT_EQ((std::vector<double>{v.entries[e].re, v.entries[e].im, v.entries[e].weight}),
                (std::vector<double>(&want[std::size_t(3 * e)], &want[std::size_t(3 * e + 3)]))) << i << " " << e;
  }
  AUVXFqTbl fq(f);
  for (int i = 0; i < 2; ++i)
    for (int c = 0; c < 4; ++c)
      EXPECT_NEAR(fq.GetFreq(0, i, c), truth["freq_hz"][std::size_t(i)][std::size_t(c)].get<double>(), 1e-3) << i << c;
  AUVXAntenns ants(*f.GetTable("AN"));
  ASSERT_EQ(ants.GetSize(), 3);
  for (int r = 0; r < 3; ++r) {
    const json& t = truth["telescopes"][std::size_t(r)];
    EXPECT_EQ(ants[r].number, t["number"].get<int>());
    EXPECT_EQ(ants[r].Name(), t["name"].get<std::string>());
    const double xyz[3] = {ants[r].x, ants[r].y, ants[r].z};
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(xyz[k], t["xyz"][std::size_t(k)].get<double>(), 1e-6) << r << k;
  }
  AUVXSources su(*f.GetTable("SU"));
  ASSERT_EQ(su.GetSize(), 1);
  EXPECT_EQ(su[0].Name(), truth["source"]["name"].get<std::string>());
  EXPECT_EQ(su[0].ra_epo_deg, truth["source"]["ra"].get<double>());
}

TEST(UVFitsAstropy, CommandLineRoundTripOfATask1File) {
  if (!std::filesystem::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
  TempDir dir;
  const std::string exe = QVLMODEL_EXE, a = dir.File("a.uvx"), fits = dir.File("a.uvfits"), b = dir.File("b.uvx");
  CommandOutput r = RunShell(exe + " configure '" + std::string(QVL_EXAMPLES) + "/ground_space_3c345.json' -o '" + a + "'");
  ASSERT_EQ(r.status, 0) << r.out;
  FillSampleVisibilities(a);
  r = RunShell(exe + " export '" + a + "' -o '" + fits + "' --json");
  ASSERT_EQ(r.status, 0) << r.out;
  const std::string summary = r.out.substr(r.out.find('{'));
  const json js = json::parse(summary.substr(0, summary.rfind('}') + 1));
  EXPECT_EQ(js["telescopes"], 9);
  EXPECT_EQ(js["n_if"], 2);
  EXPECT_EQ(js["frame"], "j2000");
  r = RunShell(exe + " import '" + fits + "' -o '" + b + "'");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("Written:"), std::string::npos);
  // J2000 and back: u, v, w within float rounding (a few 1e-8 of the baseline).
  ExpectSameGroups(a, b, 1e-9, 2e-7);
  AUVXFile fa, fb;
  ASSERT_TRUE(fa.Open(a, AUVXFile::modeRead) && fb.Open(b, AUVXFile::modeRead));
  EXPECT_EQ(fa.Header().jd0, fb.Header().jd0);  // a task-1 file counts from 0h: nothing moves
  EXPECT_EQ(fa.Header().time, fb.Header().time);
  AUVXAntenns ta(*fa.GetTable("AN")), tb(*fb.GetTable("AN"));
  ASSERT_EQ(tb.GetSize(), 9);
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(tb[i].Name(), ta[i].Name());
    EXPECT_EQ((std::vector<double>{double(tb[i].mount), tb[i].x, tb[i].y}),
              (std::vector<double>{double(ta[i].mount), ta[i].x, ta[i].y})) << i;
  }
  EXPECT_EQ(tb[8].mount, 2);  // the orbiting telescope: MNTSTA 2, no fixed position
  EXPECT_EQ(tb[8].x, 0.0);
  for (const char* t : {"BL", "PS", "SU"}) EXPECT_EQ(fa.GetTable(t)->data, fb.GetTable(t)->data) << t;

  // The file of task 1 itself has weight 0 everywhere, which the UVFITS readers take as flagged:
  // by default its weights are written as 1, and "--weights stored" keeps them.
  const std::string zero = dir.File("zero.uvx"), zf = dir.File("zero.uvfits"), back = dir.File("back.uvx");
  ASSERT_EQ(RunShell(exe + " configure '" + std::string(QVL_EXAMPLES) + "/ground_space_3c345.json' -o '" + zero + "'").status, 0);
  for (const char* mode : {"", " --weights stored"}) {
    r = RunShell(exe + " export '" + zero + "' -o '" + zf + "' --json" + mode);
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find(*mode ? "\"unit_weights\": false" : "\"unit_weights\": true"), std::string::npos) << r.out;
    std::filesystem::remove(back);
    ASSERT_EQ(RunShell(exe + " import '" + zf + "' -o '" + back + "'").status, 0);
    AUVXFile fz;
    ASSERT_TRUE(fz.Open(back, AUVXFile::modeRead));
    AUVXVisibility v(fz);
    for (std::int64_t g : {std::int64_t{0}, fz.Groups() - 1}) {
      ASSERT_TRUE(fz.SeekUVVis(g) && v.load(fz));
      for (int e = 0; e < v.Count(); ++e) EXPECT_TRUE(SameEntry(&v.entries[e], {0.0f, 0.0f, *mode ? 0.0f : 1.0f}));
    }
  }

  // Errors: one line naming the file, non-zero status, no output.
  r = RunShell(exe + " import '" + a + "' -o '" + dir.File("c.uvx") + "'");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.out.find("qvlmodel import: " + a + ": not a FITS file"), std::string::npos) << r.out;
  EXPECT_TRUE(NoFileLeft(dir.File("c.uvx")));
  r = RunShell(exe + " export '" + fits + "' -o '" + dir.File("c.uvfits") + "'");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.out.find("qvlmodel export: " + fits + ":"), std::string::npos) << r.out;
  EXPECT_TRUE(NoFileLeft(dir.File("c.uvfits")));

  const std::string python = PythonWithAstropy();
  if (python.empty()) GTEST_SKIP() << "no python3 with astropy (Debian package python3-astropy)";
  ASSERT_EQ(RunShell(exe + " export '" + a + "' -o '" + fits + "' --frame date").status, 0);
  CheckExportWithAstropy(python, a, fits);
}
