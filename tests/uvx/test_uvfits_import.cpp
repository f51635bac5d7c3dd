// The UVFITS import: round trips through the export, files written through cfitsio's group API in
// other layouts (parameter order, scaling, BITPIX, axis order, encodings), and everything that
// must be refused with a clear message and no output.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "uvfits_test_util.h"
#include "uvx/fq_table.h"
#include "uvx/uvfits_export.h"
#include "uvx/uvfits_import.h"
#include "uvx/uvfits_layout.h"

namespace {

constexpr double kJd0 = 2460384.5;  // 2024-03-15 0h UTC, the DATE-OBS of MiniUVFits

// Parameters of group g of the mini files: baselines 1-2, 1-3, 2-3, times 675 s (2^-7 day, exact
// in float32) apart from 6 h.
constexpr double kStep = 675.0;
double MiniParam(int g, const std::string& name, int occurrence) {
  const int a1 = g % 3 == 2 ? 2 : 1, a2 = g % 3 == 0 ? 2 : 3;
  const double days = (21600.0 + kStep * (g / 3)) / 86400.0;
  if (name.rfind("UU", 0) == 0) return 1e-3 * (g + 1);
  if (name.rfind("VV", 0) == 0) return -2e-3 * (g + 1);
  if (name.rfind("WW", 0) == 0) return 5e-4 * (g + 1);
  if (name == "DATE") return occurrence == 0 ? kJd0 + days : 0.0;
  if (name == "BASELINE") return 256 * a1 + a2;
  if (name == "ANTENNA1") return a1;
  if (name == "ANTENNA2") return a2;
  if (name == "SUBARRAY") return 1;
  if (name == "FREQSEL") return 1;
  if (name == "INTTIM") return kStep;
  return 0;
}

MiniUVFits Mini() {
  MiniUVFits m;
  m.param = MiniParam;
  m.pzero = {0, 0, 0, kJd0};  // the first DATE: days from 0h of DATE-OBS
  return m;
}

std::string Import(const std::string& fits, const std::string& uvx, std::string& error) {
  error.clear();
  ImportUVFITS(fits, uvx, nullptr, nullptr, nullptr, error);
  return error;
}

// Imports and expects a refusal whose message holds `words`; nothing may be left behind.
void ExpectRefused(const std::string& fits, const std::string& uvx, const std::string& words) {
  std::string error;
  EXPECT_FALSE(ImportUVFITS(fits, uvx, nullptr, nullptr, nullptr, error));
  EXPECT_NE(error.find(words), std::string::npos) << "message: " << error;
  EXPECT_EQ(error.find('\n'), std::string::npos) << error;
  EXPECT_TRUE(NoFileLeft(uvx));
}

}  // namespace

TEST(UVFitsImport, RoundTripGivesBackGroupsVisibilitiesAndTables) {
  TempDir dir;
  const std::string a = dir.File("a.uvx"), fits = dir.File("a.uvfits"), b = dir.File("b.uvx");
  WriteSampleFile(a, 9);
  std::string error;
  ASSERT_TRUE(ExportUVFITS(a, fits, nullptr, nullptr, nullptr, error)) << error;
  UVFitsSummary sum;
  ASSERT_TRUE(ImportUVFITS(fits, b, nullptr, nullptr, nullptr, error, &sum)) << error;
  EXPECT_EQ(sum.groups, 9);
  EXPECT_FALSE(std::filesystem::exists(b + ".part"));
  ExpectSameGroups(a, b, 1e-9);

  AUVXFile fa, fb;
  ASSERT_TRUE(fa.Open(a, AUVXFile::modeRead) && fb.Open(b, AUVXFile::modeRead));
  const AUVXHeader &ha = fa.Header(), &hb = fb.Header();
  // The sample's JD0 is noon; the import counts from 0h of DATE-OBS: the same instants.
  EXPECT_EQ(hb.jd0, ha.jd0 - 0.5);
  EXPECT_EQ(hb.time, ha.time + 43200.0);
  EXPECT_EQ(hb.time_step_s, ha.time_step_s);
  EXPECT_EQ(hb.ref_freq_hz, ha.ref_freq_hz);
  EXPECT_EQ(hb.Object(), ha.Object());
  EXPECT_EQ(hb.FluxUnit(), "Jy");
  EXPECT_EQ(hb.n_pol, 2);
  EXPECT_EQ(hb.pol[1], -2);
  EXPECT_EQ(hb.extremes.amp_max, ha.extremes.amp_max);
  EXPECT_EQ(hb.extremes.weight_min, ha.extremes.weight_min);
  EXPECT_EQ(hb.extremes.time_max, ha.extremes.time_max);  // group times: from the start time
  AUVXFqTbl qa(fa), qb(fb);
  ASSERT_EQ(qb.GetFreqSels(), 1);
  for (int i = 0; i < 2; ++i)
    for (int c = 0; c < 3; ++c) EXPECT_EQ(qb.GetFreq(0, i, c), qa.GetFreq(0, i, c));
  AUVXAntenns ta(*fa.GetTable("AN")), tb(*fb.GetTable("AN"));
  ASSERT_EQ(tb.GetSize(), 4);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(tb[i].Name(), ta[i].Name());
    EXPECT_EQ(tb[i].number, ta[i].number);
    EXPECT_EQ(tb[i].x, ta[i].x);
    EXPECT_EQ(tb[i].y, ta[i].y);
    EXPECT_EQ(tb[i].z, ta[i].z);
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

  // The element-by-element decoding gives the same file as the direct one.
  const std::string c = dir.File("c.uvx");
  ASSERT_TRUE(ImportUVFITSGeneral(fits, c, error)) << error;
  EXPECT_EQ(ReadAll(c), ReadAll(b));
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
      EXPECT_EQ(256 * g.tel1 + g.tel2, MiniParam(i, "BASELINE", 0));
      EXPECT_EQ(g.u, float(MiniParam(i, "UU", 0)));
      EXPECT_EQ(g.v, float(MiniParam(i, "VV", 0)));
      EXPECT_EQ(g.w, float(MiniParam(i, "WW", 0)));
      EXPECT_EQ(g.time, kStep * (i / 3));
      EXPECT_EQ(g.freq_id, 1);
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
    for (int e = 0; e < 16; ++e) {
      EXPECT_EQ(v.entries[e].re, ref[std::size_t(3 * e)]) << g << " " << e;
      EXPECT_EQ(v.entries[e].im, ref[std::size_t(3 * e + 1)]);
      EXPECT_EQ(v.entries[e].weight, ref[std::size_t(3 * e + 2)]);
    }
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
  m.an.AddKeywordReal("ARRAYX", 10.0);
  m.an.AddKeywordReal("ARRAYY", 20.0);
  m.an.AddKeywordReal("ARRAYZ", 30.0);
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
  EXPECT_EQ(ants[1].x, 2e6 + 10.0);
  EXPECT_EQ(ants[1].y, -(2e6 + 1 + 20.0));  // left-handed Y turned round
  EXPECT_EQ(ants[1].z, 2e6 + 2 + 30.0);
  EXPECT_EQ(uvfits::KeywordReal(*an, "ARRAYX", -1), 0.0);
  EXPECT_EQ(uvfits::KeywordText(*an, "TIMSYS"), "UTC");
  AUVXFqTbl q(f);
  EXPECT_EQ(q.GetFreq(0, 0, 0), 22e9 - 2e6);
  EXPECT_EQ(q.GetFreq(0, 0, 2), 22e9);
  const AUVXTable* su = f.GetTable("SU");  // built from OBJECT and the RA/DEC axes
  AUVXSources s(*const_cast<AUVXTable*>(su));
  ASSERT_EQ(s.GetSize(), 1);
  EXPECT_EQ(s[0].Name(), "MINI");
  EXPECT_EQ(s[0].ra_epo_deg, 10.0);
  EXPECT_EQ(s[0].dec_epo_deg, 20.0);
}

TEST(UVFitsImport, BadFilesGiveOneClearErrorAndNoOutput) {
  TempDir dir;
  const std::string fits = dir.File("bad.uvfits"), uvx = dir.File("out.uvx");
  ExpectRefused(dir.File("missing.uvfits"), uvx, "cannot open");
  WriteAllBytes(fits, "SIMPLE  = not really a FITS file\n");
  ExpectRefused(fits, uvx, "not a FITS file");
  {  // a FITS image
    std::remove(fits.c_str());
    fitsfile* f = nullptr;
    int st = 0;
    long naxes[2] = {4, 4};
    fits_create_diskfile(&f, fits.c_str(), &st);
    fits_create_img(f, FLOAT_IMG, 2, naxes, &st);
    float zero[16] = {};
    fits_write_img_flt(f, 1, 1, 16, zero, &st);
    fits_close_file(f, &st);
    ASSERT_EQ(st, 0);
  }
  ExpectRefused(fits, uvx, "not a random-groups UVFITS file");

  MiniUVFits m = Mini();
  m.params = {"VV", "WW", "DATE", "BASELINE"};
  m.Write(fits);
  ExpectRefused(fits, uvx, "no UU parameter");
  m = Mini();
  m.params = {"UU", "VV", "WW", "DATE", "ANTENNA1"};
  m.Write(fits);
  ExpectRefused(fits, uvx, "no BASELINE parameter");
  m = Mini();
  m.params = {"UU", "VV", "WW", "BASELINE"};
  m.Write(fits);
  ExpectRefused(fits, uvx, "no DATE parameter");

  // Inconsistent axes.
  m = Mini();
  m.axes[4].length = 2;
  m.Write(fits);
  ExpectRefused(fits, uvx, "axis 6 (RA) has length 2 (1 expected)");
  m = Mini();
  m.axes[0].length = 4;
  m.Write(fits);
  ExpectRefused(fits, uvx, "axis 2 (COMPLEX) has length 4 (2 or 3 expected)");
  m = Mini();
  m.axes[1].crval = 1.0;  // codes 1, 0
  m.Write(fits);
  ExpectRefused(fits, uvx, "is not a polarization code");
  m = Mini();
  m.axes[1].type = "POLAR";
  m.Write(fits);
  ExpectRefused(fits, uvx, "axis 3 (POLAR) of length 2 cannot be represented");
  m = Mini();
  m.axes[3].length = 2;  // two IFs, no FQ table
  m.Write(fits);
  ExpectRefused(fits, uvx, "2 IFs but no AIPS FQ table");
  m = Mini();
  m.telescopes = 0;
  m.Write(fits);
  ExpectRefused(fits, uvx, "no AIPS AN table");

  // Truncated: in the groups, and in a table after them.
  m = Mini();
  m.Write(fits);
  const std::string whole = ReadAll(fits);
  const std::size_t data = whole.find("END     ") / 2880 * 2880 + 2880;
  WriteAllBytes(fits, whole.substr(0, data + 100));
  ExpectRefused(fits, uvx, "truncated: 5 groups");
  WriteAllBytes(fits, whole.substr(0, whole.size() - 2880));
  ExpectRefused(fits, uvx, "truncated: extension 1 (AIPS AN)");

  // A header card damaged by hand: GROUPS = F.
  std::string patched = whole;
  ASSERT_TRUE(PatchCard(patched, "GROUPS", "GROUPS  =                    F"));
  WriteAllBytes(fits, patched);
  ExpectRefused(fits, uvx, "not a random-groups UVFITS file");
}

TEST(UVFitsImport, WhatAUVXFileCannotHoldIsRefused) {
  TempDir dir;
  const std::string fits = dir.File("m.uvfits"), uvx = dir.File("m.uvx");
  MiniUVFits m = Mini();
  m.telescopes = 256;
  m.Write(fits);
  ExpectRefused(fits, uvx, "256 telescopes in the AIPS AN table: a UVX file holds at most 255");

  m = Mini();  // the 2048-based encoding of large telescope numbers
  m.param = [](int g, const std::string& name, int occ) {
    return name == "BASELINE" && g == 3 ? 65536.0 + 2048 * 1 + 300 : MiniParam(g, name, occ);
  };
  m.Write(fits);
  ExpectRefused(fits, uvx, "group 4: telescope number 300 does not fit a UVX group (1..255)");

  m = Mini();  // subarray 2 in the fraction of BASELINE
  m.param = [](int g, const std::string& name, int occ) {
    return name == "BASELINE" && g == 2 ? 256 * 2 + 3 + 0.01 : MiniParam(g, name, occ);
  };
  m.Write(fits);
  ExpectRefused(fits, uvx, "group 3: subarray 2: a UVX file holds one array");

  m = Mini();  // a SOURCE parameter that changes
  m.params.push_back("SOURCE");
  m.param = [](int g, const std::string& name, int occ) { return name == "SOURCE" ? 1 + g / 4 : MiniParam(g, name, occ); };
  m.Write(fits);
  ExpectRefused(fits, uvx, "group 5: source 2 after source 1: a UVX file holds one source");

  m = Mini();  // two sources in the SU table
  m.su = AUVXTable("SU", 0);
  const int c_id = m.su.AddColumn("ID. NO.", "", "1J"), c_name = m.su.AddColumn("SOURCE", "", "16A");
  for (int i = 0; i < 2; ++i) {
    const int r = m.su.AddRow();
    m.su.SetInt(r, c_id, i + 1);
    m.su.SetChars(r, c_name, i ? "3C279" : "3C273");
  }
  m.Write(fits);
  ExpectRefused(fits, uvx, "2 sources in the AIPS SU table: a UVX file holds one source");

  m = Mini();  // a second AN table
  m.an_tables = 2;
  m.Write(fits);
  ExpectRefused(fits, uvx, "several AIPS AN tables (subarrays)");

  m = Mini();  // FREQSEL beyond what a group's byte holds
  m.params.push_back("FREQSEL");
  m.param = [](int g, const std::string& name, int occ) { return name == "FREQSEL" ? 200.0 : MiniParam(g, name, occ); };
  m.Write(fits);
  ExpectRefused(fits, uvx, "FREQSEL 200 does not fit a UVX group");
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
