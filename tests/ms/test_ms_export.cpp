// The Measurement Set export read back through casacore's own table classes: every column and
// subtable against the UVX file and the observation, UVW against casacore's J2000 geometry, and
// what the export refuses.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>

#include "core/sky_frame.h"
#include "ms/ms_export.h"
#include "ms_test_util.h"
#include "uvx/fq_table.h"

namespace {

using MSExport = MSDir;

// Some entries flagged: weight 0 on group 0, negative on group 1, all of group 2's first IF.
void FlagSomeEntries(const std::string& path) {
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeUpdate)) << f.Error();
  AUVXVisibility v(f);
  for (int g = 0; g < 3; ++g) {
    ASSERT_TRUE(f.SeekUVVis(g) && v.load(f));
    if (g == 0) v.entries[0].weight = 0.0f;
    if (g == 1) v.entries[5].weight = -2.0f;
    if (g == 2)
      for (int e = 0; e < v.n_channels * v.n_stokes; ++e) v.entries[e].weight = -1.0f;
    ASSERT_TRUE(f.SeekUVVis(g) && v.store(f));
  }
  ASSERT_TRUE(f.Close()) << f.Error();
}

}  // namespace

TEST_F(MSExport, CasacoreReadsBackEveryColumnAndSubtable) {
  const AMObservation obs = MSObservation(dir_.string());
  WriteTask1File(obs);
  FlagSomeEntries(obs.output_path);
  const std::string out = Path("out.ms");
  std::string error;
  UVFitsSummary sum;
  MSExportOptions options = Stored();
  options.dish_diameters = {{"MK", 25.0}, {"EF", 100.0}, {"XX", 1.0}};  // PA, SC unknown: 0
  ASSERT_TRUE(ExportMS(obs.output_path, out, nullptr, nullptr, nullptr, error, &sum, options)) << error;
  EXPECT_FALSE(std::filesystem::exists(out + ".part"));
  mscheck::MainRows m;
  mscheck::SubTables s;
  ASSERT_TRUE(mscheck::ReadMS(out, m, s, error)) << error;

  AUVXFile in;
  ASSERT_TRUE(in.Open(obs.output_path, AUVXFile::modeRead)) << in.Error();
  const AUVXHeader& h = in.Header();
  const int n_if = 2, n_chan = 16, n_corr = 2;
  ASSERT_EQ(in.NIF(), n_if);
  ASSERT_EQ(in.NChannels(), n_chan);
  ASSERT_EQ(m.rows, in.Groups() * n_if);
  EXPECT_EQ(sum.groups, in.Groups());
  EXPECT_TRUE(sum.j2000);
  EXPECT_EQ(sum.telescopes, 4);
  const std::vector<long> cell = {n_corr, n_chan};
  for (const char* c : {"DATA", "FLAG", "WEIGHT_SPECTRUM"}) EXPECT_EQ(m.cell_shape[c], cell) << c;
  for (const char* c : {"WEIGHT", "SIGMA"}) EXPECT_EQ(m.cell_shape[c], std::vector<long>{n_corr}) << c;
  EXPECT_EQ(m.cell_shape["UVW"], std::vector<long>{3});
  EXPECT_EQ(m.uvw_ref, "J2000");
  EXPECT_EQ(m.time_ref, "UTC");

  AUVXGroup g;
  AUVXVisibility v(in);
  int bad = 0;
  for (std::int64_t gi = 0; gi < in.Groups() && bad < 3; ++gi) {
    ASSERT_TRUE(in.SeekUVGroup(gi) && g.load(in) && v.load(in));
    const double mjd_s = (h.jd0 - 2400000.5) * 86400.0 + h.time + g.time;
    for (int i = 0; i < n_if; ++i) {
      const std::size_t r = std::size_t(gi * n_if + i);
      bool same = m.antenna1[r] == g.tel1 - 1 && m.antenna2[r] == g.tel2 - 1 && m.data_desc[r] == i &&
                  m.field[r] == 0 && m.observation[r] == 0 && m.state[r] == 0 && m.processor[r] == 0 &&
                  std::fabs(m.time[r] - mjd_s) < 1e-6 && m.time_centroid[r] == m.time[r] &&
                  m.interval[r] == h.time_step_s && m.exposure[r] == h.time_step_s;
      bool all_flagged = true;
      for (int c = 0; c < n_corr; ++c) {
        double sum_w = 0;
        int used = 0;
        for (int ch = 0; ch < n_chan; ++ch) {
          const AUVXVisEntry& e = v.Entry(i, ch, c);
          const std::size_t k = (r * n_chan + std::size_t(ch)) * n_corr + std::size_t(c);
          // The MS holds the conjugate (its UVW is the negated vector; see src/ms/ms_uvw.h).
          same = same && m.data[k] == std::complex<float>(e.re, -e.im) && m.weight_spectrum[k] == e.weight &&
                 bool(m.flag[k]) == !(e.weight > 0);
          if (e.weight > 0) sum_w += e.weight, ++used;
          all_flagged = all_flagged && !(e.weight > 0);
        }
        const float w = used ? float(sum_w / used) : 0.0f;
        same = same && std::fabs(m.weight[r * n_corr + std::size_t(c)] - w) < 1e-6f &&
               std::fabs(m.sigma[r * n_corr + std::size_t(c)] - (w > 0 ? 1 / std::sqrt(w) : 0.0f)) < 1e-6f;
      }
      same = same && bool(m.flag_row[r]) == all_flagged;
      if (!same) ++bad;
      EXPECT_TRUE(same) << "group " << gi << " IF " << i;
    }
  }
  EXPECT_TRUE(m.flag_row[4]);  // group 2, IF 1: every entry flagged
  EXPECT_EQ(m.scan.front(), 1);
  EXPECT_EQ(m.scan.back(), 1);  // one interval without gaps: one scan

  EXPECT_EQ(s.ms_version, 2.0);
  ASSERT_EQ(s.antenna_name.size(), 4u);
  for (int a = 0; a < 4; ++a) {
    const AMTlscItem& t = obs.telescopes[a];
    EXPECT_EQ(s.antenna_name[std::size_t(a)], t.name);
    EXPECT_EQ(s.antenna_mount[std::size_t(a)], "alt-az");
    EXPECT_EQ(s.antenna_type[std::size_t(a)], "GROUND-BASED");
    const double itrf[3] = {t.params[tlsc::kX], -t.params[tlsc::kY], t.params[tlsc::kZ]};
    for (int k = 0; k < 3; ++k) EXPECT_EQ(s.antenna_xyz[std::size_t(3 * a + k)], itrf[k]);
  }
  EXPECT_EQ(s.dish_diameter, (std::vector<double>{25.0, 0.0, 100.0, 0.0}));
  ASSERT_EQ(s.num_chan, (std::vector<int>{n_chan, n_chan}));
  for (int i = 0; i < n_if; ++i)
    for (int k = 0; k < n_chan; ++k) {
      EXPECT_NEAR(s.chan_freq[std::size_t(i)][std::size_t(k)], obs.freq.ChannelFreqHz(0, i, k), 1e-3);
      EXPECT_NEAR(s.chan_width[std::size_t(i)][std::size_t(k)],
                  obs.freq.ChannelFreqHz(0, i, 1) - obs.freq.ChannelFreqHz(0, i, 0), 1e-3);
    }
  EXPECT_EQ(s.ref_freq[1], s.chan_freq[1][0]);
  EXPECT_EQ(s.dd_spw, (std::vector<int>{0, 1}));
  EXPECT_EQ(s.dd_pol, (std::vector<int>{0, 0}));
  EXPECT_EQ(s.corr_type, (std::vector<int>{5, 8}));  // RR, LL
  EXPECT_EQ(s.corr_product, (std::vector<int>{0, 0, 1, 1}));
  const double ra = obs.ra_time_s * kRaTimeToRad, dec = obs.dec_arcsec * kDecArcsecToRad;
  ASSERT_EQ(s.phase_dir.size(), 2u);
  EXPECT_NEAR(s.phase_dir[0], ra, 1e-12);
  EXPECT_NEAR(s.phase_dir[1], dec, 1e-12);
  EXPECT_EQ(s.phase_dir_ref, "J2000");
  EXPECT_EQ(s.field_name, std::vector<std::string>{"3C273"});
  EXPECT_EQ(s.source_name, std::vector<std::string>{"3C273"});
  EXPECT_EQ(s.source_direction, s.phase_dir);
  EXPECT_EQ(s.feed_antenna, (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(s.feed_types, (std::vector<std::string>{"R", "L"}));
  EXPECT_EQ(s.telescope, "VLBI");
  EXPECT_EQ(s.state_rows, 1);
  EXPECT_EQ(s.processor_rows, 1);
  EXPECT_EQ(s.pointing_rows, 0);
  EXPECT_EQ(s.history_rows, 0);
}

// UVW in the MS against casacore's own J2000 geometry for the same antennas and times, for an
// observation 30 years after J2000 of a source near the pole, where the frame of date has turned
// the (u, v) axes by 8e-3 rad: the rotation is needed, the annual aberration that the UVX frame
// holds (up to 1e-4) is all that remains.
TEST_F(MSExport, UVWAgreeWithCasacoreJ2000Geometry) {
  AMObservation obs = MSObservation(dir_.string(), 2030, 23.0);
  obs.source_name = "0716+714";
  obs.ra_time_s = 7 * 3600 + 21 * 60 + 53.4484;
  obs.dec_arcsec = 71 * 3600 + 20 * 60 + 36.363;
  obs.time_step_s = 1800.0;
  WriteTask1File(obs, false);
  std::string error;
  const std::string j2000 = Path("j2000.ms"), date = Path("date.ms");
  ASSERT_TRUE(ExportMS(obs.output_path, j2000, nullptr, nullptr, nullptr, error)) << error;
  ASSERT_TRUE(ExportMS(obs.output_path, date, nullptr, nullptr, nullptr, error, nullptr, DateFrame())) << error;
  std::vector<double> reference;
  if (!mscheck::CasacoreUVW(j2000, reference, error)) {
    if (error.find("TAI_UTC") != std::string::npos) GTEST_SKIP() << "casacore lacks its leap-second table: " << error;
    FAIL() << error;
  }
  mscheck::MainRows good, stored;
  mscheck::SubTables s;
  ASSERT_TRUE(mscheck::ReadMS(j2000, good, s, error)) << error;
  ASSERT_TRUE(mscheck::ReadMS(date, stored, s, error)) << error;
  ASSERT_GT(good.rows, 200);
  EXPECT_LT(WorstRelative(good.uvw, reference), 2e-4);
  EXPECT_GT(WorstRelative(stored.uvw, reference), 2e-3);
}

TEST_F(MSExport, RefusalsAndStopLeaveNoOutputAndKeepAnOlderOne) {
  const AMObservation obs = MSObservation(dir_.string(), 2024, 1.0);
  WriteTask1File(obs);
  const std::string out = Path("out.ms");
  struct Case {
    const char* what;
    std::function<void(AUVXFile&)> edit;
    const char* error;
  };
  const Case cases[] = {
      {"AN without STABXYZ",
       [](AUVXFile& f) {
         AUVXTable an("AN", AUVXTable::toHash("AN", 0));
         an.AddColumn("ANNAME", "", "8A"), an.AddColumn("NOSTA", "", "1J");
         f.AddTable(an);
       },
       "no AN table with ANNAME, STABXYZ (3 values) and NOSTA"},
      {"AN lacking telescope 4",
       [](AUVXFile& f) {
         AUVXTable an = *f.GetTable("AN");
         an.n_rows = 3;
         an.data.resize(std::size_t(3 * an.row_length));
         f.AddTable(an);
       },
       "telescope 4 is not in the AN table"},
      {"FQ of one IF",
       [](AUVXFile& f) {
         AMatrix<AUVXFqTblItem> m(1, 1);
         m(0, 0) = {0.0, 1e6};
         AArray<int> ids;
         ids.Add(1);
         f.AddTable(*std::unique_ptr<AUVXTable>(MakeFqTable(m, ids, 1, 16)));
       },
       "no FQ table describing the file's 2 IFs"},
      {"polarization code 7",
       [](AUVXFile& f) {
         AUVXHeader h = f.Header();
         h.pol[1] = 7;
         f.Write(h);
       },
       "polarization code 7 has no Measurement Set correlation type"},
      {"no phase centre",
       [](AUVXFile& f) {
         AUVXTable su("SU", AUVXTable::toHash("SU", 0));
         su.AddColumn("SOURCE", "", "16A");
         f.AddTable(su);
       },
       "no SU table with RAEPO and DECEPO"},
  };
  for (const Case& c : cases) {
    const std::string bad = Path("bad.uvx");
    std::filesystem::copy_file(obs.output_path, bad, std::filesystem::copy_options::overwrite_existing);
    {
      AUVXFile f;
      ASSERT_TRUE(f.Open(bad, AUVXFile::modeUpdate)) << f.Error();
      c.edit(f);
      ASSERT_TRUE(f.Close()) << f.Error();
    }
    std::string error;
    EXPECT_FALSE(ExportMS(bad, out, nullptr, nullptr, nullptr, error)) << c.what;
    EXPECT_NE(error.find(c.error), std::string::npos) << c.what << ": " << error;
    EXPECT_FALSE(std::filesystem::exists(out)) << c.what;
    EXPECT_FALSE(std::filesystem::exists(out + ".part")) << c.what;
  }

  // An older output stays as it was when the export is stopped, and is replaced when one completes.
  std::filesystem::create_directories(out);
  std::ofstream(out + "/older") << "older";
  StopFlag stop{1};
  ProgressRecorder progress;
  std::string error;
  EXPECT_FALSE(ExportMS(obs.output_path, out, &progress, &stop, nullptr, error));
  EXPECT_EQ(error, "stopped");
  EXPECT_TRUE(std::filesystem::exists(out + "/older"));
  EXPECT_FALSE(std::filesystem::exists(out + ".part"));
  stop = 0;
  ASSERT_TRUE(ExportMS(obs.output_path, out, &progress, &stop, nullptr, error)) << error;
  EXPECT_FALSE(std::filesystem::exists(out + "/older"));
  EXPECT_TRUE(std::filesystem::exists(out + "/table.dat"));
  EXPECT_EQ(progress.position, progress.range_high);
  EXPECT_FALSE(ExportMS(obs.output_path, Path("no/such/folder/x.ms"), nullptr, nullptr, nullptr, error));
  EXPECT_FALSE(std::filesystem::exists(Path("no/such/folder/x.ms.part")));
}
