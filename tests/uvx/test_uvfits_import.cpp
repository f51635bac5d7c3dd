// The UVFITS import: round trips through the export, files written through cfitsio's group API in
// other layouts (parameter order, scaling, BITPIX, axis order, encodings), and everything that
// must be refused with a clear message and no output.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "uvfits_mini.h"
#include "uvx/fq_table.h"
#include "uvx/uvfits_export.h"
#include "uvx/uvfits_import.h"
#include "uvx/uvfits_layout.h"

using namespace uvfits_mini;

TEST(UVFitsImport, RoundTripGivesBackGroupsVisibilitiesAndTables) {
  TempDir dir;
  const std::string a = dir.File("a.uvx"), fits = dir.File("a.uvfits"), b = dir.File("b.uvx");
  WriteSampleFile(a, 9);
  std::string error;
  ASSERT_TRUE(ExportAsStored(a, fits, error)) << error;
  UVFitsSummary sum;
  ASSERT_TRUE(ImportUVFITS(fits, b, nullptr, nullptr, nullptr, error, &sum, UVFitsFrame::Date)) << error;
  EXPECT_EQ(sum.groups, 9);
  EXPECT_FALSE(std::filesystem::exists(b + ".part"));
  ExpectSameGroups(a, b, 1e-9);

  AUVXFile fa, fb;
  ASSERT_TRUE(fa.Open(a, AUVXFile::modeRead) && fb.Open(b, AUVXFile::modeRead));
  const AUVXHeader &ha = fa.Header(), &hb = fb.Header();
  // The sample's JD0 is noon; the import counts from 0h of DATE-OBS: the same instants.
  EXPECT_EQ(hb.jd0, ha.jd0 - 0.5);
  EXPECT_EQ(hb.time, ha.time + 43200.0);
  // Group times count from the start time: their extremes are unchanged.
  EXPECT_EQ((std::vector<double>{hb.time_step_s, hb.ref_freq_hz, hb.extremes.amp_max, hb.extremes.weight_min,
                                 hb.extremes.time_max, double(hb.n_pol), double(hb.pol[1])}),
            (std::vector<double>{ha.time_step_s, ha.ref_freq_hz, ha.extremes.amp_max, ha.extremes.weight_min,
                                 ha.extremes.time_max, 2, -2}));
  EXPECT_EQ(hb.Object(), ha.Object());
  EXPECT_EQ(hb.FluxUnit(), "Jy");
  AUVXFqTbl qa(fa), qb(fb);
  ASSERT_EQ(qb.GetFreqSels(), 1);
  for (int i = 0; i < 2; ++i)
    for (int c = 0; c < 3; ++c) EXPECT_EQ(qb.GetFreq(0, i, c), qa.GetFreq(0, i, c));
  AUVXAntenns ta(*fa.GetTable("AN")), tb(*fb.GetTable("AN"));
  ASSERT_EQ(tb.GetSize(), 4);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(tb[i].Name(), ta[i].Name());
    EXPECT_EQ((std::vector<double>{double(tb[i].number), tb[i].x, tb[i].y, tb[i].z}),
              (std::vector<double>{double(ta[i].number), ta[i].x, ta[i].y, ta[i].z}));
  }
  AUVXSources sb(*fb.GetTable("SU"));
  ASSERT_EQ(sb.GetSize(), 1);
  EXPECT_EQ(sb[0].Name(), "3C84");
  EXPECT_EQ(sb[0].ra_epo_deg, 49.95);
  // BL and PS are rebuilt from the groups as the task-1 writer builds them.
  for (const char* t : {"BL", "PS"}) {
    const AUVXTable *x = fa.GetTable(t), *y = fb.GetTable(t);
    ASSERT_TRUE(x && y) << t;
    EXPECT_EQ(x->data, y->data) << t;
  }
}

TEST(UVFitsImport, AipsLayoutsFoundByNameScaledAndReordered) {
  TempDir dir;
  const std::string fits = dir.File("m.uvfits"), uvx = dir.File("m.uvx"), ref = dir.File("ref.uvx");
  std::string error;
  // Reference: the plain layout.
  MiniUVFits plain = Mini();
  plain.Write(fits);
  ASSERT_EQ(Import(fits, ref, error), "");
  {
    AUVXFile f;
    ASSERT_TRUE(f.Open(ref, AUVXFile::modeRead));
    EXPECT_EQ(f.Header().jd0, kJd0);
    EXPECT_EQ(f.Header().time, 21600.0);
    EXPECT_EQ(f.Header().time_step_s, kStep);  // INTTIM
    AUVXGroup g;
    for (int i = 0; i < plain.groups; ++i) {
      ASSERT_TRUE(f.SeekUVGroup(i) && g.load(f));
      EXPECT_EQ((std::vector<double>{256.0 * g.tel1 + g.tel2, g.u, g.v, g.w, g.time, double(g.freq_id)}),
                (std::vector<double>{MiniParam(i, "BASELINE", 0), float(MiniParam(i, "UU", 0)),
                                     float(MiniParam(i, "VV", 0)), float(MiniParam(i, "WW", 0)), kStep * (i / 3), 1}))
          << i;
    }
  }

  // Same content: other parameter order, AIPS names, PSCAL/PZERO, two DATE words, 16-bit data
  // with BSCALE/BZERO, FREQ before STOKES, ANTENNA1/ANTENNA2/SUBARRAY instead of BASELINE.
  MiniUVFits m = Mini();
  m.params = {"INTTIM", "ANTENNA2", "DATE", "WW---SIN", "SUBARRAY", "UU---SIN", "VV---SIN", "ANTENNA1", "DATE"};
  constexpr double kPart = 1.0 / 1024;  // days, exact in float32
  m.pscal = {1, 1, kPart, 1e-7, 1, 1e-6, 1e-6, 1, kPart};  // 16-bit words: every value an integer
  m.pzero = {0, 0, kJd0, 0, 0, 0, 0, 0, 0};
  m.param = [](int g, const std::string& name, int occurrence) {
    // The second DATE (scaled) holds 1/1024 day, the first that much less: the sum is unchanged.
    if (name == "DATE") return occurrence == 0 ? MiniParam(g, name, 0) - kPart : kPart;
    return MiniParam(g, name, occurrence);
  };
  m.bitpix = 16;
  m.bscale = 0.125, m.bzero = 4.0;
  std::swap(m.axes[1], m.axes[2]);  // FREQ, then STOKES
  m.datum = [](int g, long e) {
    // The same physical values as the plain file: element e of the plain order.
    const long cplx = e % 3, freq = (e / 3) % 4, stokes = (e / 12) % 2;
    return 0.5 * g + 0.25 * double((freq * 2 + stokes) * 3 + cplx);
  };
  m.Write(fits);
  ASSERT_EQ(Import(fits, uvx, error), "");
  ExpectSameGroups(ref, uvx, 1e-9);

  // A single DATE word holding the whole Julian date resolves a quarter of a day (float32): the
  // file is still read, times rounded as stored.
  MiniUVFits single = Mini();
  single.params = {"UU", "VV", "WW", "BASELINE", "DATE"};
  single.pzero.clear();
  single.Write(fits);
  ASSERT_EQ(Import(fits, uvx, error), "");
  AUVXFile f;
  ASSERT_TRUE(f.Open(uvx, AUVXFile::modeRead));
  EXPECT_EQ(f.Header().jd0, kJd0);
  EXPECT_EQ(std::fmod(f.Header().time, 21600.0), 0.0);
}

TEST(UVFitsImport, DirectDecodingMatchesCfitsioAndTheGeneralPath) {
  TempDir dir;
  const std::string fits = dir.File("m.uvfits"), uvx = dir.File("m.uvx"), general = dir.File("g.uvx");
  MiniUVFits m = Mini();
  m.axes[3].length = 2;  // two IFs
  AMatrix<AUVXFqTblItem> q(1, 2);
  q(0, 0) = {0, 1e6}, q(0, 1) = {32e6, 1e6};
  AArray<int> ids;
  ids.Add(1);
  std::unique_ptr<AUVXTable> fq(MakeFqTable(q, ids, 2, 4));
  m.fq = *fq;
  m.groups = 40;
  m.Write(fits);
  std::string error;
  ASSERT_EQ(Import(fits, uvx, error), "");
  ASSERT_TRUE(ImportUVFITSGeneral(fits, general, error)) << error;
  EXPECT_EQ(ReadAll(uvx), ReadAll(general));
  // Against cfitsio's own reading of each group.
  fitsfile* ff = nullptr;
  int st = 0, any = 0;
  ASSERT_EQ(fits_open_diskfile(&ff, fits.c_str(), READONLY, &st), 0);
  AUVXFile f;
  ASSERT_TRUE(f.Open(uvx, AUVXFile::modeRead));
  AUVXVisibility v(f);
  std::vector<float> ref(48);
  for (int g = 0; g < 40; ++g) {
    fits_read_img_flt(ff, g + 1, 1, 48, 0.0f, ref.data(), &any, &st);
    ASSERT_TRUE(f.SeekUVVis(g) && v.load(f));
    for (int e = 0; e < 16; ++e) EXPECT_TRUE(SameEntry(&ref[std::size_t(3 * e)], v.entries[e])) << g << " " << e;
  }
  fits_close_file(ff, &st);
  EXPECT_EQ(st, 0);
  AUVXFqTbl t(f);
  EXPECT_EQ(t.GetFreq(0, 1, 3), 22e9 + 32e6 + 3e6);
}

TEST(UVFitsImport, StationsTimesAndChannelsAreNormalised) {
  TempDir dir;
  const std::string fits = dir.File("m.uvfits"), uvx = dir.File("m.uvx");
  MiniUVFits m = Mini();
  m.an = MiniUVFits::DefaultAntennas(3);
  for (auto [key, value] : {std::pair{"ARRAYX", 10.0}, {"ARRAYY", 20.0}, {"ARRAYZ", 30.0}})
    m.an.AddKeywordReal(key, value);
  m.an.AddKeywordChar("XYZHAND", "LEFT");
  m.an.AddKeywordChar("TIMSYS", "IAT");
  m.an.AddKeywordReal("IATUTC", 37.0);
  m.axes[2].crpix = 3.0;  // FREQ reference pixel: channel 0 lies two widths below CRVAL
  m.Write(fits);
  MessageRecorder messages;
  std::string error;
  ASSERT_TRUE(ImportUVFITS(fits, uvx, nullptr, nullptr, &messages, error)) << error;
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_NE(messages.shown[0].find("IAT to UTC"), std::string::npos);
  AUVXFile f;
  ASSERT_TRUE(f.Open(uvx, AUVXFile::modeRead));
  EXPECT_EQ(f.Header().time, 21600.0 - 37.0);
  const AUVXTable* an = f.GetTable("AN");
  AUVXAntenns ants(*const_cast<AUVXTable*>(an));
  ASSERT_EQ(ants.GetSize(), 3);
  // Absolute positions; the left-handed Y turned round.
  EXPECT_EQ((std::vector<double>{ants[1].x, ants[1].y, ants[1].z}),
            (std::vector<double>{2e6 + 10.0, -(2e6 + 1 + 20.0), 2e6 + 2 + 30.0}));
  EXPECT_EQ(uvfits::KeywordReal(*an, "ARRAYX", -1), 0.0);
  EXPECT_EQ(uvfits::KeywordText(*an, "TIMSYS"), "UTC");
  AUVXFqTbl q(f);
  EXPECT_EQ(q.GetFreq(0, 0, 0), 22e9 - 2e6);
  EXPECT_EQ(q.GetFreq(0, 0, 2), 22e9);
  const AUVXTable* su = f.GetTable("SU");  // built from OBJECT and the RA/DEC axes
  AUVXSources s(*const_cast<AUVXTable*>(su));
  ASSERT_EQ(s.GetSize(), 1);
  EXPECT_EQ(s[0].Name(), "MINI");
  EXPECT_EQ((std::vector<double>{s[0].ra_epo_deg, s[0].dec_epo_deg}), (std::vector<double>{10.0, 20.0}));
}

TEST(UVFitsImport, StopLeavesNoFileAndProgressReachesTheEnd) {
  TempDir dir;
  const std::string fits = dir.File("m.uvfits"), uvx = dir.File("m.uvx");
  MiniUVFits m = Mini();
  m.groups = 30;
  m.Write(fits);
  StopFlag stop{1};
  std::string error;
  EXPECT_FALSE(ImportUVFITS(fits, uvx, nullptr, &stop, nullptr, error));
  EXPECT_EQ(error, "stopped");
  EXPECT_TRUE(NoFileLeft(uvx));
  stop = 0;
  ProgressRecorder progress;
  ASSERT_TRUE(ImportUVFITS(fits, uvx, &progress, &stop, nullptr, error)) << error;
  EXPECT_EQ(progress.range_high, 30);
  EXPECT_EQ(progress.position, 30);
  AUVXFile f;
  ASSERT_TRUE(f.Open(uvx, AUVXFile::modeRead));
  EXPECT_EQ(f.Groups(), 30);
  EXPECT_EQ(f.Header().time_step_s, kStep);  // no INTTIM: the smallest step between times
}
