// The Measurement Set import: UVX -> MS -> UVX gives the file back, rows in any order give the
// same file, and what a UVX file cannot represent is refused with one message and no output.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>

#include "ms/ms_export.h"
#include "ms/ms_import.h"
#include "ms_test_util.h"
#include "uvx/fq_table.h"

namespace {

using MSImport = MSDir;

// Some entries flagged (weight 0 and negative), as the later tasks and real data have them.
void FlagSomeEntries(const std::string& path) {
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeUpdate)) << f.Error();
  AUVXVisibility v(f);
  for (int g = 0; g < 2; ++g) {
    ASSERT_TRUE(f.SeekUVVis(g) && v.load(f));
    v.entries[3 * g + 1].weight = g == 0 ? 0.0f : -2.5f;
    ASSERT_TRUE(f.SeekUVVis(g) && v.store(f));
  }
  ASSERT_TRUE(f.Close()) << f.Error();
}

// The tables and header fields the import rebuilds, against the original file's.
void ExpectSameDescription(const std::string& a_path, const std::string& b_path) {
  AUVXFile a, b;
  ASSERT_TRUE(a.Open(a_path, AUVXFile::modeRead) && b.Open(b_path, AUVXFile::modeRead));
  const AUVXHeader &ha = a.Header(), &hb = b.Header();
  EXPECT_EQ(ha.jd0, hb.jd0);
  EXPECT_NEAR(ha.time, hb.time, 1e-6);
  EXPECT_EQ(ha.time_step_s, hb.time_step_s);
  EXPECT_EQ(ha.ref_freq_hz, hb.ref_freq_hz);
  EXPECT_EQ(ha.Object(), hb.Object());
  ASSERT_EQ(ha.n_pol, hb.n_pol);
  for (int s = 0; s < ha.n_pol; ++s) EXPECT_EQ(ha.pol[s], hb.pol[s]);
  AUVXFqTbl fa(a), fb(b);
  for (int i = 0; i < a.NIF(); ++i)
    for (int k = 0; k < a.NChannels(); ++k) EXPECT_NEAR(fa.GetFreq(0, i, k), fb.GetFreq(0, i, k), 1e-3);
  AUVXAntenns an_a(*a.GetTable("AN")), an_b(*b.GetTable("AN"));
  ASSERT_EQ(an_a.GetSize(), an_b.GetSize());
  for (int t = 0; t < an_a.GetSize(); ++t) {
    EXPECT_EQ(an_a[t].Name(), an_b[t].Name());
    EXPECT_EQ(an_a[t].number, an_b[t].number);
    EXPECT_EQ(an_a[t].x, an_b[t].x);
    EXPECT_EQ(an_a[t].z, an_b[t].z);
  }
  AUVXSources su_a(*a.GetTable("SU")), su_b(*b.GetTable("SU"));
  ASSERT_EQ(su_b.GetSize(), 1);
  EXPECT_NEAR(su_a[0].ra_epo_deg, su_b[0].ra_epo_deg, 1e-10);
  EXPECT_NEAR(su_a[0].dec_epo_deg, su_b[0].dec_epo_deg, 1e-10);
  for (const char* t : {"BL", "PS"}) {
    const AUVXTable *ta = a.GetTable(t), *tb = b.GetTable(t);
    ASSERT_TRUE(ta && tb) << t;
    EXPECT_EQ(ta->n_rows, tb->n_rows) << t;
    if (std::string(t) == "BL") {
      EXPECT_EQ(ta->data, tb->data);
    }
  }
}

}  // namespace

TEST_F(MSImport, RoundTripGivesTheUVXFileBack) {
  const AMObservation obs = MSObservation(dir_.string(), 2030);
  WriteTask1File(obs);
  FlagSomeEntries(obs.output_path);
  std::string error;
  UVFitsSummary sum;
  const std::string ms = Path("rt.ms"), back = Path("back.uvx"), date_ms = Path("date.ms"), date_back = Path("date.uvx");
  ASSERT_TRUE(ExportMS(obs.output_path, ms, nullptr, nullptr, nullptr, error, nullptr, Stored())) << error;
  ASSERT_TRUE(ImportMS(ms, back, nullptr, nullptr, nullptr, error, &sum)) << error;
  EXPECT_TRUE(sum.j2000);
  EXPECT_EQ(sum.telescopes, 4);
  // J2000 and back: u, v, w rounded to float twice.
  ExpectSameGroups(obs.output_path, back, 1e-6, 3e-7);
  ExpectSameDescription(obs.output_path, back);
  // Without the rotation only the sign and unit change: the same floats.
  ASSERT_TRUE(ExportMS(obs.output_path, date_ms, nullptr, nullptr, nullptr, error, nullptr, DateFrame(Stored()))) << error;
  ASSERT_TRUE(ImportMS(date_ms, date_back, nullptr, nullptr, nullptr, error, nullptr, UVFitsFrame::Date)) << error;
  ExpectSameGroups(obs.output_path, date_back, 1e-6, 0.0);
}

TEST_F(MSImport, RowsInAnyOrderGiveTheSameFile) {
  const AMObservation obs = MSObservation(dir_.string(), 2024, 2.0);
  WriteTask1File(obs);
  std::string error;
  const std::string ms = Path("in.ms"), shuffled = Path("shuffled.ms");
  ASSERT_TRUE(ExportMS(obs.output_path, ms, nullptr, nullptr, nullptr, error, nullptr, Stored())) << error;
  mscheck::MainRows m;
  mscheck::SubTables s;
  ASSERT_TRUE(mscheck::ReadMS(ms, m, s, error)) << error;
  // The second IF's rows first, each half backwards in time.
  std::vector<std::int64_t> order;
  for (int i : {1, 0})
    for (std::int64_t r = m.rows - 2 + i; r >= 0; r -= 2) order.push_back(r);
  ASSERT_TRUE(mscheck::CopyWithRows(ms, shuffled, order, error)) << error;
  MessageRecorder messages;
  const std::string back = Path("back.uvx");
  ASSERT_TRUE(ImportMS(shuffled, back, nullptr, nullptr, &messages, error)) << error;
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_NE(messages.shown[0].find("not in time order"), std::string::npos);
  // Inside a time sample the baselines come in order of first appearance: reversed here.
  AUVXFile a, b;
  ASSERT_TRUE(a.Open(obs.output_path, AUVXFile::modeRead) && b.Open(back, AUVXFile::modeRead));
  ASSERT_EQ(a.Groups(), b.Groups());
  AUVXGroup ga, gb;
  AUVXVisibility va(a), vb(b);
  const std::int64_t n = a.Groups();
  for (std::int64_t i = 0; i < n; ++i) {
    ASSERT_TRUE(b.SeekUVGroup(i) && gb.load(b) && vb.load(b));
    std::int64_t j = 0;  // the group of a with the same time and baseline
    for (; j < n; ++j) {
      ASSERT_TRUE(a.SeekUVGroup(j) && ga.load(a));
      if (ga.tel1 == gb.tel1 && ga.tel2 == gb.tel2 && std::fabs(ga.time - gb.time) < 1e-6) break;
    }
    ASSERT_LT(j, n) << "group " << i;
    ASSERT_TRUE(va.load(a));
    EXPECT_EQ(std::memcmp(&va.entries[0], &vb.entries[0], std::size_t(va.Bytes())), 0) << "group " << i;
    EXPECT_NEAR(ga.u, gb.u, 3e-7 * std::fabs(ga.u) + 1e-12);
  }
}

TEST_F(MSImport, RefusesWhatAUVXFileCannotHold) {
  const AMObservation obs = MSObservation(dir_.string(), 2024, 1.0);
  WriteTask1File(obs);
  std::string error;
  const std::string good = Path("good.ms"), bad = Path("bad.ms"), out = Path("imported.uvx");
  ASSERT_TRUE(ExportMS(obs.output_path, good, nullptr, nullptr, nullptr, error)) << error;
  struct Case {
    mscheck::Damage damage;
    const char* error;
  };
  const Case cases[] = {
      {mscheck::Damage::SecondField, "rows of 2 fields (FIELD_ID 0, 1): a UVX file holds one field"},
      {mscheck::Damage::SecondPolarization, "rows of 2 polarization set-ups (0, 1): a UVX file holds one"},
      {mscheck::Damage::WiderWindow, "spectral windows of different shapes (16 and 17 channels)"},
      {mscheck::Damage::ManyAntennas, "300 antennas in the ANTENNA table: a UVX file holds at most 255"},
      {mscheck::Damage::RepeatedRow, "baseline 0-1 has two rows for spectral window 1 of the set at one time"},
      {mscheck::Damage::TimeInTAI, "TIME is in 'TAI': only UTC is understood"},
  };
  for (const Case& c : cases) {
    std::filesystem::remove_all(bad);
    std::filesystem::copy(good, bad, std::filesystem::copy_options::recursive);
    ASSERT_TRUE(mscheck::DamageMS(bad, c.damage, error)) << error;
    EXPECT_FALSE(ImportMS(bad, out, nullptr, nullptr, nullptr, error)) << c.error;
    EXPECT_NE(error.find(c.error), std::string::npos) << error;
    EXPECT_TRUE(NoFileLeft(out)) << c.error;
  }
  std::filesystem::create_directories(Path("empty.ms"));
  EXPECT_FALSE(ImportMS(Path("empty.ms"), out, nullptr, nullptr, nullptr, error));
  EXPECT_NE(error.find("not a readable Measurement Set"), std::string::npos) << error;
  // A main-table descriptor on which casacore terminates the process (found by fuzzing; the first
  // byte of the kept input chooses the table, 0 the main one): refused, and this process lives on.
  std::filesystem::remove_all(bad);
  std::filesystem::copy(good, bad, std::filesystem::copy_options::recursive);
  {
    std::ifstream in(QVL_FUZZ_REGRESS "/ms_tables/descriptor_terminates_casacore", std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ASSERT_GT(bytes.size(), 1u);
    ASSERT_EQ(bytes[0], 0);
    std::ofstream(bad + "/table.dat", std::ios::binary | std::ios::trunc) << bytes.substr(1);
  }
  EXPECT_FALSE(ImportMS(bad, out, nullptr, nullptr, nullptr, error));
  EXPECT_NE(error.find("not a readable Measurement Set (damaged tables: casacore ended"), std::string::npos) << error;
  EXPECT_TRUE(NoFileLeft(out));
  EXPECT_FALSE(ImportMS(good, out, nullptr, nullptr, nullptr, error, nullptr, UVFitsFrame::J2000, "CORRECTED_DATA"));
  EXPECT_NE(error.find("no CORRECTED_DATA column"), std::string::npos) << error;
  StopFlag stop{1};
  EXPECT_FALSE(ImportMS(good, out, nullptr, &stop, nullptr, error));
  EXPECT_EQ(error, "stopped");
  EXPECT_TRUE(NoFileLeft(out));
}
