#include <gtest/gtest.h>

#include <erfa.h>

#include <cmath>
#include <fstream>

#include "core/astro_time.h"
#include "coverage/uv_plane.h"
#include "coverage/uv_point.h"
#include "coverage/uvx_creation.h"
#include "coverage_fixture.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_lists.h"

namespace {

using UVXCreation = CoverageDir;

struct Col {
  const char* name;
  const char* unit;
  const char* format;
};

void ExpectColumns(const AUVXTable& t, const std::vector<Col>& cols) {
  ASSERT_EQ(t.n_cols, int(cols.size())) << t.Name();
  for (int i = 0; i < t.n_cols; ++i) {
    EXPECT_STREQ(t.columns[i].name, cols[std::size_t(i)].name) << t.Name() << " column " << i;
    EXPECT_STREQ(t.columns[i].unit, cols[std::size_t(i)].unit) << t.columns[i].name;
    EXPECT_STREQ(t.columns[i].format, cols[std::size_t(i)].format) << t.columns[i].name;
  }
}

void ExpectKeywords(const AUVXTable& t, const std::vector<const char*>& names) {
  ASSERT_EQ(t.keywords.GetSize(), int(names.size())) << t.Name();
  for (int i = 0; i < t.keywords.GetSize(); ++i) EXPECT_EQ(t.keywords[i].Name(), names[std::size_t(i)]);
}

TEST_F(UVXCreation, GroupsTablesColumnsAndKeywordsReadBack) {
  AMObservation obs = SmallObservation(dir_.string());
  obs.freq.AddIfs(3);  // 4 IFs of 16 channels of 1 MHz
  obs.polarizations.Add(-2);
  AMTlscItem orb;
  orb.name = "SPACE-TELESCOPE";
  orb.kind = kTlscOrbital;
  const double elements[8] = {20000.0, 0.3, 51.0, 10.0, 20.0, 2460384.5, 0.0, 0.0};
  std::copy(elements, elements + 8, orb.params);
  obs.telescopes.Add(orb);
  obs.intervals.Add({3600.0, 3700.0, 1, 0});
  AMUVPlane plane;
  ASSERT_TRUE(plane.Calculate(obs, nullptr, nullptr, nullptr));
  ASSERT_EQ(plane.Points(), 6 * 10);

  // The records of the UV-point file, for comparison.
  std::ifstream in(plane.UVPath(), std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());

  ProgressRecorder progress;
  ASSERT_TRUE(CreateZeroUVX(plane.UVPath(), obs, obs.output_path, &progress, nullptr, nullptr));
  EXPECT_EQ(progress.texts.at(0), "Create file: " + obs.output_path);

  AUVXFile f;
  ASSERT_TRUE(f.Open(obs.output_path, AUVXFile::modeRead)) << f.Error();
  AUVXHeader h(f);
  EXPECT_EQ(h.groups, 60);
  EXPECT_EQ(h.n_if, 4);
  EXPECT_EQ(h.n_channels, 16);
  EXPECT_EQ(h.nStokes(), 2);
  EXPECT_EQ(h.time, 3600.0);  // start time added back
  EXPECT_EQ(h.jd0, JulianDay(15, 3, 2024));
  AUVXGroup g;
  AUVXVisibility vis(f);
  ASSERT_EQ(vis.Count(), 4 * 16 * 2);
  for (int i = 0; i < 60; ++i) {
    const AMUVPoint p = UnpackUVPoint(reinterpret_cast<const unsigned char*>(bytes.data()) + 466 + 32 * i);
    ASSERT_TRUE(f.SeekUVGroup(i));
    ASSERT_TRUE(g.load(f));
    EXPECT_EQ(g.lead, 0);
    EXPECT_EQ(g.tel1, p.tel1);
    EXPECT_EQ(g.tel2, p.tel2);
    EXPECT_EQ(g.u, p.u);
    EXPECT_EQ(g.v, p.v);
    EXPECT_EQ(g.w, p.w);
    EXPECT_EQ(g.time, p.time - 3600.0);
    ASSERT_TRUE(f.SeekUVVis(i));
    ASSERT_TRUE(vis.load(f));
    for (int k = 0; k < vis.Count(); ++k) {
      EXPECT_EQ(vis.entries[k].re, 0.0f);
      EXPECT_EQ(vis.entries[k].im, 0.0f);
      EXPECT_EQ(vis.entries[k].weight, 0.0f);
    }
  }

  // Tables in order.
  ASSERT_EQ(f.TableCount(), 5);
  EXPECT_EQ(f.TableAt(0)->Name(), "FQ");
  EXPECT_EQ(f.TableAt(1)->Name(), "SU");
  EXPECT_EQ(f.TableAt(2)->Name(), "AN");
  const AUVXTable& su = *f.TableAt(1);
  const AUVXTable& an = *f.TableAt(2);

  EXPECT_EQ(su.type, AUVXTable::toHash("SU", 0) | 0x100000);
  ExpectColumns(su, {{"ID. NO.", "", "1J"},       {"SOURCE", "", "16A"},        {"QUAL", "", "1J"},
                     {"CALCODE", "", "4A"},       {"IFLUX", "JY", "4E"},        {"QFLUX", "JY", "4E"},
                     {"UFLUX", "JY", "4E"},       {"VFLUX", "JY", "4E"},        {"FREQOFF", "HZ", "4D"},
                     {"BANDWIDTH", "HZ", "1D"},   {"RAEPO", "DEGREES", "1D"},   {"DECEPO", "DEGREES", "1D"},
                     {"EPOCH", "YEARS", "1D"},    {"RAAPP", "DEGREES", "1D"},   {"DECAPP", "DEGREES", "1D"},
                     {"LSRVEL", "M/SEC", "4D"},   {"RESTFREQ", "HZ", "4D"},     {"PMRA", "DEG/DAY", "1D"},
                     {"PMDEC", "DEG/DAY", "1D"}});
  EXPECT_EQ(su.row_length, 92 + 40 * 4);
  ASSERT_EQ(su.n_rows, 1);
  EXPECT_EQ(su.GetChars(0, su.FindColumn("SOURCE")), "3C273");
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(su.Row(0)) + 4, 16), "3C273           ");
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(su.Row(0)) + su.ColumnOffset(3), 4), "    ");
  EXPECT_EQ(su.GetInt(0, 0), 1);
  EXPECT_EQ(su.GetDouble(0, su.FindColumn("BANDWIDTH")), 4 * 16 * 1e6);
  EXPECT_NEAR(su.GetDouble(0, su.FindColumn("RAEPO")), 187.2779154, 1e-7);
  EXPECT_NEAR(su.GetDouble(0, su.FindColumn("DECEPO")), 2.0523883, 1e-7);
  EXPECT_EQ(su.GetDouble(0, su.FindColumn("EPOCH")), 2000.0);
  // Apparent place in 2024: precession moves RA by about +0.32 deg and Dec by -0.14 deg at this RA.
  EXPECT_NEAR(su.GetDouble(0, su.FindColumn("RAAPP")) - 187.2779154, 0.31, 0.03);
  EXPECT_NEAR(su.GetDouble(0, su.FindColumn("DECAPP")) - 2.0523883, -0.14, 0.02);
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(su.GetDouble(0, su.FindColumn("RESTFREQ"), k), obs.freq.ref_freq_hz);
    EXPECT_EQ(su.GetFloat(0, su.FindColumn("IFLUX"), k), 0.0f);
  }
  ExpectKeywords(su, {"NO_IF", "VELTYPE", "VELDEF", "FREQID"});
  EXPECT_EQ(su.FindKeyword("NO_IF")->AsInt(), 4);
  EXPECT_EQ(su.FindKeyword("VELTYPE")->Value(), "TOPOCENT");
  EXPECT_EQ(su.FindKeyword("VELDEF")->Value(), "        ");
  EXPECT_EQ(su.FindKeyword("FREQID")->AsInt(), 1);

  EXPECT_EQ(an.type, AUVXTable::toHash("AN", 0) | 0x100000);
  ExpectColumns(an, {{"ANNAME", "", "8A"},        {"STABXYZ", "METERS", "3D"}, {"ORBPARM", "", "0D"},
                     {"NOSTA", "", "1J"},         {"MNTSTA", "", "1J"},        {"STAXOF", "METERS", "1E"},
                     {"POLTYA", "", "1A"},        {"POLAA", "DEGREES", "1E"},  {"POLCALA", "", "2E"},
                     {"POLTYB", "", "1A"},        {"POLAB", "DEGREES", "1E"},  {"POLCALB", "", "2E"}});
  EXPECT_EQ(an.row_length, 70);
  const int offsets[] = {0, 8, 32, 32, 36, 40, 44, 45, 49, 57, 58, 62};
  for (int c = 0; c < 12; ++c) EXPECT_EQ(an.ColumnOffset(c), offsets[c]) << c;
  ASSERT_EQ(an.n_rows, 5);
  // Ground stations: right-handed ITRF (the catalogue's Y negated back).
  EXPECT_EQ(an.GetChars(0, 0), "MK");
  EXPECT_EQ(an.GetDouble(0, 1, 0), -5464074.944);
  EXPECT_EQ(an.GetDouble(0, 1, 1), -2495249.079);
  EXPECT_EQ(an.GetDouble(0, 1, 2), 2148296.797);
  EXPECT_EQ(an.GetChars(4, 0), "SPACE-TE");
  for (int k = 0; k < 3; ++k) EXPECT_EQ(an.GetDouble(4, 1, k), 0.0);
  for (int r = 0; r < 5; ++r) {
    EXPECT_EQ(an.GetInt(r, an.FindColumn("NOSTA")), r + 1);
    EXPECT_EQ(an.GetInt(r, an.FindColumn("MNTSTA")), r == 4 ? 2 : 0);
    EXPECT_EQ(an.GetChars(r, an.FindColumn("POLTYA")), "R");
    EXPECT_EQ(an.GetChars(r, an.FindColumn("POLTYB")), "L");
  }
  ExpectKeywords(an, {"ARRAYX", "ARRAYY", "ARRAYZ", "GSTIA0", "DEGPDY", "FREQ", "RDATE", "POLARX", "POLARY",
                      "UT1UTC", "DATUTC", "TIMSYS", "ARRNAM", "NUMORB", "NOPCAL", "FREQID", "IATUTC"});
  // GMST at 0h UT on 2024-03-15 (IAU 1982, from ERFA): 11h 32m 21.7s.
  EXPECT_NEAR(an.FindKeyword("GSTIA0")->AsReal(), eraGmst82(JulianDay(15, 3, 2024), 0.0) * 180 / M_PI, 1e-4);
  EXPECT_EQ(an.FindKeyword("DEGPDY")->AsReal(), 360.98564497371694);
  EXPECT_EQ(an.FindKeyword("DEGPDY")->Value(), " 3.60985644973716944E+02");  // "%24.17E"
  EXPECT_EQ(an.FindKeyword("RDATE")->Value(), "2024-03-15");
  EXPECT_EQ(an.FindKeyword("FREQ")->AsReal(), obs.freq.ref_freq_hz);
  EXPECT_EQ(an.FindKeyword("IATUTC")->AsReal(), 37.0);
  EXPECT_EQ(an.FindKeyword("TIMSYS")->Value(), "UTC     ");
  EXPECT_EQ(an.FindKeyword("ARRNAM")->Value(), "VLBI    ");
  EXPECT_EQ(an.FindKeyword("ARRAYX")->AsReal(), 0.0);

  // Baselines and positions: 10 baselines of 6 groups, 6 time positions of 10 groups.
  AUVXBaseLines bl;
  ASSERT_TRUE(bl.Load(*f.TableAt(3)));
  ASSERT_EQ(bl.GetSize(), 10);
  EXPECT_EQ(bl[0].Number(), 256 * 1 + 2);
  for (const auto& b : bl) EXPECT_EQ(b.groups, 6);
  AUVXPosition pos;
  ASSERT_TRUE(pos.Load(*f.TableAt(4)));
  ASSERT_EQ(pos.Items().GetSize(), 6);
  EXPECT_EQ(pos.StartTime(), 3600.0);
  EXPECT_EQ(pos.Items()[1].first, 10);
  EXPECT_EQ(pos.Items()[1].time, 20.0);
}

TEST_F(UVXCreation, StopAndFailureLeaveNoOutput) {
  AMObservation obs = SmallObservation(dir_.string());
  obs.intervals.Add({3600.0, 4000.0, 1, 0});
  AMUVPlane plane;
  ASSERT_TRUE(plane.Calculate(obs, nullptr, nullptr, nullptr));
  StopFlag stop{1};
  EXPECT_FALSE(CreateZeroUVX(plane.UVPath(), obs, obs.output_path, nullptr, &stop, nullptr));
  EXPECT_FALSE(std::filesystem::exists(obs.output_path));
  // A damaged UV-point file (fewer records than its header declares) is refused.
  const std::string cut = Path("cut.$uv");
  std::filesystem::copy_file(plane.UVPath(), cut);
  std::filesystem::resize_file(cut, std::filesystem::file_size(cut) - 32);
  EXPECT_FALSE(CreateZeroUVX(cut, obs, obs.output_path, nullptr, nullptr, nullptr));
  EXPECT_FALSE(std::filesystem::exists(obs.output_path));
  EXPECT_FALSE(CreateZeroUVX(Path("missing.$uv"), obs, obs.output_path, nullptr, nullptr, nullptr));
  // An output in a folder that does not exist.
  EXPECT_FALSE(CreateZeroUVX(plane.UVPath(), obs, Path("no/such/out.uvx"), nullptr, nullptr, nullptr));
  EXPECT_TRUE(CreateZeroUVX(plane.UVPath(), obs, obs.output_path, nullptr, nullptr, nullptr));
  EXPECT_TRUE(std::filesystem::exists(obs.output_path));
}

}  // namespace
