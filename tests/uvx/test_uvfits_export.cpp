// The UVFITS export, read back with cfitsio's own group and table API (not the export's block
// writer): header, group parameters, visibilities, AN/FQ/SU tables, refusals and the stop flag.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "uvfits_test_util.h"
#include "uvx/uvfits_export.h"

namespace {

struct FitsReader {
  fitsfile* f = nullptr;
  int st = 0;
  explicit FitsReader(const std::string& path) { fits_open_diskfile(&f, path.c_str(), READONLY, &st); }
  ~FitsReader() {
    int s = 0;
    if (f) fits_close_file(f, &s);
  }
  double Real(const char* key) {
    double v = 0;
    fits_read_key(f, TDOUBLE, key, &v, nullptr, &st);
    return v;
  }
  long long Int(const char* key) {
    long long v = 0;
    fits_read_key(f, TLONGLONG, key, &v, nullptr, &st);
    return v;
  }
  std::string Text(const char* key) {
    char v[FLEN_VALUE] = {};
    fits_read_key(f, TSTRING, key, v, nullptr, &st);
    return v;
  }
  void Move(const char* extname) { fits_movnam_hdu(f, BINARY_TBL, const_cast<char*>(extname), 0, &st); }
  int Column(const char* name) {
    int c = 0;
    fits_get_colnum(f, CASEINSEN, const_cast<char*>(name), &c, &st);
    return c;
  }
  // `n` numbers of a column from row `row` (1-based) on; the text of a character column.
  std::vector<double> Numbers(const char* name, long row, long n) {
    std::vector<double> v(static_cast<std::size_t>(n));
    int any = 0;
    fits_read_col(f, TDOUBLE, Column(name), row, 1, n, nullptr, v.data(), &any, &st);
    return v;
  }
  std::string Chars(const char* name, long row) {
    char text[80] = {}, *p = text;
    int any = 0;
    fits_read_col_str(f, Column(name), row, 1, 1, nullptr, &p, &any, &st);
    return text;
  }
};

// One group of RR, LL and a third code, with the FQ and AN tables of the sample file.
void WriteThreePolFile(const std::string& path, short third) {
  const std::string sample = path + ".sample";
  WriteSampleFile(sample, 1);
  AUVXFile s, f;
  ASSERT_TRUE(s.Open(sample, AUVXFile::modeRead));
  ASSERT_TRUE(f.Open(path, AUVXFile::modeCreate));
  AUVXHeader h = s.Header();
  h.n_pol = 3;
  h.pol[2] = third;
  ASSERT_TRUE(f.Write(h));
  AUVXGroup g = SampleGroup(0);
  AUVXVisibility v(2, 3, 3);
  ASSERT_TRUE(f.SeekUVGroup(0) && g.store(f) && v.store(f));
  f.AddTable(*s.GetTable("FQ")).AddTable(*s.GetTable("AN"));
  ASSERT_TRUE(f.Close()) << f.Error();
  std::filesystem::remove(sample);
}

// A sample file whose FQ table has two set-ups and whose groups alternate between them.
void WriteTwoSetupFile(const std::string& path) {
  WriteSampleFile(path, 6);
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeUpdate));
  AMatrix<AUVXFqTblItem> m(2, 2);
  m(0, 0) = {0.0, 8e6}, m(0, 1) = {16e6, 8e6}, m(1, 0) = {-32e6, 4e6}, m(1, 1) = {-16e6, 4e6};
  AArray<int> ids;
  ids.Add(1), ids.Add(2);
  std::unique_ptr<AUVXTable> fq(MakeFqTable(m, ids, 2, 3));
  f.AddTable(*fq);
  AUVXGroup g;
  for (int i = 0; i < 6; ++i) {
    ASSERT_TRUE(f.SeekUVGroup(i) && g.load(f));
    g.freq_id = std::int8_t(1 + i % 2);
    ASSERT_TRUE(f.SeekUVGroup(i) && g.store(f));
  }
  ASSERT_TRUE(f.Close());
}

}  // namespace

TEST(UVFitsExport, PrimaryHeaderGroupsDateWordsAndVisibilities) {
  TempDir dir;
  const std::string uvx = dir.File("s.uvx"), fits = dir.File("s.uvfits");
  WriteSampleFile(uvx, 7);
  std::string error;
  UVFitsSummary sum;
  ASSERT_TRUE(ExportAsStored(uvx, fits, error, &sum)) << error;
  EXPECT_EQ(sum.groups, 7);
  EXPECT_EQ(sum.telescopes, 4);
  EXPECT_EQ(sum.bytes % 2880, 0);
  EXPECT_FALSE(std::filesystem::exists(fits + ".part"));

  FitsReader r(fits);
  int groups = 0;
  fits_read_key(r.f, TLOGICAL, "GROUPS", &groups, nullptr, &r.st);
  EXPECT_TRUE(groups);
  // One set-up: no FREQSEL parameter. Axes: complex, 2 Stokes, 3 channels, 2 IFs, RA, DEC.
  for (auto [key, value] : {std::pair{"BITPIX", -32}, {"NAXIS", 7}, {"PCOUNT", 7}, {"GCOUNT", 7}})
    EXPECT_EQ(r.Int(key), value) << key;
  const long long naxis[7] = {0, 3, 2, 3, 2, 1, 1};
  const char* ctype[7] = {"", "COMPLEX", "STOKES", "FREQ", "IF", "RA", "DEC"};
  for (int a = 1; a <= 7; ++a) {
    EXPECT_EQ(r.Int(("NAXIS" + std::to_string(a)).c_str()), naxis[a - 1]) << a;
    if (a > 1) {
      EXPECT_EQ(r.Text(("CTYPE" + std::to_string(a)).c_str()), ctype[a - 1]);
    }
  }
  // RR, then LL; the first channel at the reference frequency; the JD at 0h of the observation date.
  for (auto [key, value] : {std::pair{"CRVAL3", -1.0}, {"CDELT3", -1.0}, {"CRVAL4", 22.2e9}, {"CDELT4", 8e6},
                            {"CRPIX4", 1.0}, {"EPOCH", 2000.0}, {"PZERO4", 2451545.0}, {"PZERO5", 0.0}})
    EXPECT_EQ(r.Real(key), value) << key;
  EXPECT_NEAR(r.Real("CRVAL6"), 49.95, 1e-12);  // RA of the SU table
  EXPECT_EQ(r.Text("OBJECT"), "3C84");
  EXPECT_EQ(r.Text("DATE-OBS"), "2000-01-01");
  EXPECT_EQ(r.Text("BUNIT"), "JY");
  const char* ptype[7] = {"UU", "VV", "WW", "DATE", "DATE", "BASELINE", "INTTIM"};
  for (int p = 1; p <= 7; ++p) EXPECT_EQ(r.Text(("PTYPE" + std::to_string(p)).c_str()), ptype[p - 1]);
  ASSERT_EQ(r.st, 0);

  for (int g = 0; g < 7; ++g) {
    float p[7];
    int any = 0;
    fits_read_grppar_flt(r.f, g + 1, 1, 7, p, &r.st);
    const AUVXGroup s = SampleGroup(g);
    EXPECT_EQ((std::vector<float>{p[0], p[1], p[2], p[5], p[6]}),
              (std::vector<float>{s.u, s.v, s.w, float(256 * s.tel1 + s.tel2), 10.0f}));
    // cfitsio leaves PZERO to the reader: the two words are the days from JD0, far below a
    // microsecond; the second word holds what float32 drops.
    EXPECT_NEAR(double(p[3]) + double(p[4]), (3600.0 + s.time) / 86400.0, 1e-14);
    EXPECT_NE(p[4], 0.0f);
    float v[36];
    fits_read_img_flt(r.f, g + 1, 1, 36, 0.0f, v, &any, &r.st);
    for (int e = 0; e < 12; ++e) EXPECT_TRUE(SameEntry(&v[3 * e], SampleEntry(g, e))) << g << " " << e;
  }
  ASSERT_EQ(r.st, 0);
}

TEST(UVFitsExport, TablesCarryOverWithAbsoluteRightHandedStations) {
  TempDir dir;
  const std::string uvx = dir.File("s.uvx"), fits = dir.File("s.uvfits");
  WriteSampleFile(uvx, 4);
  {  // an array centre that the export must fold into the station positions
    AUVXFile f;
    ASSERT_TRUE(f.Open(uvx, AUVXFile::modeUpdate));
    AUVXTable an = *f.GetTable("AN");
    for (auto [key, value] : {std::pair{"ARRAYX", 100.0}, {"ARRAYY", -200.0}, {"ARRAYZ", 0.5}})
      an.AddKeywordReal(key, value);
    f.AddTable(an);
    ASSERT_TRUE(f.Close());
  }
  std::string error;
  ASSERT_TRUE(ExportAsStored(uvx, fits, error)) << error;
  FitsReader r(fits);
  r.Move("AIPS AN");
  ASSERT_EQ(r.st, 0);
  EXPECT_EQ(r.Real("ARRAYX"), 0.0);
  EXPECT_EQ(r.Real("ARRAYY"), 0.0);
  for (auto [key, value] : {std::pair{"XYZHAND", "RIGHT"}, {"TIMSYS", "UTC"}, {"RDATE", "2000-01-01"}})
    EXPECT_EQ(r.Text(key), value) << key;
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(r.Numbers("STABXYZ", i + 1, 3), (std::vector<double>{4e6 + i + 100.0, 5e5 - i - 200.0, 4.9e6 + 0.5}))
        << i;
  EXPECT_EQ(r.Chars("ANNAME", 3), "MEDICINA");
  EXPECT_EQ(r.Chars("POLTYA", 1), "R");  // added: RR/LL data -> circular feeds
  EXPECT_GT(r.Column("STAXOF"), 0);
  EXPECT_GT(r.Column("POLAB"), 0);

  r.Move("AIPS FQ");
  EXPECT_EQ(r.Int("NO_IF"), 2);
  EXPECT_EQ(r.Numbers("IF FREQ", 1, 2), (std::vector<double>{0.0, 16e6}));
  EXPECT_EQ(r.Numbers("CH WIDTH", 1, 2), (std::vector<double>{8e6, 8e6}));

  r.Move("AIPS SU");
  EXPECT_EQ(r.Int("NO_IF"), 2);
  EXPECT_EQ(r.Numbers("RAEPO", 1, 1)[0], 49.95);
  EXPECT_EQ(r.Numbers("EPOCH", 1, 1)[0], 2000.0);  // added column
  EXPECT_GT(r.Column("RESTFREQ"), 0);
  ASSERT_EQ(r.st, 0);
}

TEST(UVFitsExport, SeveralSetupsGetAFreqselParameter) {
  TempDir dir;
  const std::string uvx = dir.File("s.uvx"), fits = dir.File("s.uvfits");
  WriteTwoSetupFile(uvx);
  std::string error;
  UVFitsSummary sum;
  ASSERT_TRUE(ExportAsStored(uvx, fits, error, &sum)) << error;
  EXPECT_EQ(sum.freq_setups, 2);
  FitsReader r(fits);
  EXPECT_EQ(r.Int("PCOUNT"), 8);
  EXPECT_EQ(r.Text("PTYPE8"), "FREQSEL");
  for (int g = 0; g < 6; ++g) {
    float p = 0;
    fits_read_grppar_flt(r.f, g + 1, 8, 1, &p, &r.st);
    EXPECT_EQ(p, float(1 + g % 2));
  }
  r.Move("AIPS FQ");
  long long rows = 0;
  fits_get_num_rowsll(r.f, &rows, &r.st);
  EXPECT_EQ(rows, 2);
  ASSERT_EQ(r.st, 0);
}

TEST(UVFitsExport, RefusesWhatUVFITSCannotDescribeAndLeavesNothing) {
  TempDir dir;
  const std::string uvx = dir.File("s.uvx"), fits = dir.File("out.uvfits");
  std::string error;
  EXPECT_FALSE(ExportAsStored(dir.File("missing.uvx"), fits, error));
  EXPECT_NE(error.find("cannot open"), std::string::npos) << error;

  WriteThreePolFile(uvx, -4);  // RR, LL, LR: not evenly spaced
  EXPECT_FALSE(ExportAsStored(uvx, fits, error));
  EXPECT_NE(error.find("evenly spaced"), std::string::npos) << error;
  EXPECT_TRUE(NoFileLeft(fits));
  WriteThreePolFile(uvx, -3);  // RR, LL, RL
  EXPECT_TRUE(ExportAsStored(uvx, fits, error)) << error;
  std::filesystem::remove(fits);
  // On J2000 axes (the default) the phase centre of the SU table is needed.
  EXPECT_FALSE(ExportUVFITS(uvx, fits, nullptr, nullptr, nullptr, error));
  EXPECT_NE(error.find("phase centre is unknown"), std::string::npos) << error;
  EXPECT_TRUE(NoFileLeft(fits));

  WriteSampleFile(uvx, 3);
  {  // an FQ table for one IF while the data has two
    AUVXFile f;
    ASSERT_TRUE(f.Open(uvx, AUVXFile::modeUpdate));
    AMatrix<AUVXFqTblItem> m(1, 1);
    AArray<int> ids;
    std::unique_ptr<AUVXTable> fq(MakeFqTable(m, ids, 1, 3));
    f.AddTable(*fq);
    ASSERT_TRUE(f.Close());
  }
  EXPECT_FALSE(ExportAsStored(uvx, fits, error));
  EXPECT_NE(error.find("describes 1 IFs, the data 2"), std::string::npos) << error;
  EXPECT_TRUE(NoFileLeft(fits));

  WriteSampleFile(uvx, 3);
  EXPECT_FALSE(ExportAsStored(uvx, dir.File("no/such/folder/x.uvfits"), error));
  EXPECT_NE(error.find("cannot create"), std::string::npos) << error;
}

TEST(UVFitsExport, StopRemovesTheOutputAndKeepsAnOldFile) {
  TempDir dir;
  const std::string uvx = dir.File("s.uvx"), fits = dir.File("s.uvfits");
  WriteSampleFile(uvx, 50);
  WriteAllBytes(fits, "an older file");
  StopFlag stop{1};
  ProgressRecorder progress;
  std::string error;
  EXPECT_FALSE(ExportAsStored(uvx, fits, error, nullptr, &progress, &stop));
  EXPECT_EQ(error, "stopped");
  EXPECT_FALSE(std::filesystem::exists(fits + ".part"));
  EXPECT_EQ(ReadAll(fits), "an older file");  // replaced only by a complete export
  stop = 0;
  ASSERT_TRUE(ExportAsStored(uvx, fits, error, nullptr, &progress, &stop)) << error;
  EXPECT_EQ(progress.range_high, 50);
  EXPECT_EQ(progress.position, 50);
}
