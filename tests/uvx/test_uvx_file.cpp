// Whole files: layout on disk, exact round trips of records and tables, seeks, update in place,
// the lists read back from the tables, the sequential reader and the file copy.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "uvx/fast_read.h"
#include "uvx/uvx_copy.h"
#include "uvx_test_util.h"

TEST(UvxFileLayout, PreambleAndRecordsAtDocumentedOffsets) {
  TempDir dir;
  const std::string path = dir.File("a.uvx");
  WriteSampleFile(path, 7);
  const std::string bytes = ReadAll(path);
  EXPECT_EQ(bytes.compare(0, 8, std::string("QVLUVX\0\x1a", 8)), 0);
  const std::int64_t record = 24 + 12 * 12;
  // Version, preamble size, group and entry bytes, IFs, channels, Stokes, table count; the header
  // image (groups first) at 64.
  for (auto [offset, value] : {std::pair{8, 1}, {12, 1024}, {16, 24}, {20, 12}, {24, 2}, {28, 3}, {32, 2},
                               {56, 5}, {64, 7}})
    EXPECT_EQ(At<std::int32_t>(bytes, offset), value) << offset;
  EXPECT_EQ(At<std::int64_t>(bytes, 40), 7);
  EXPECT_EQ(At<std::int64_t>(bytes, 48), 1024 + 7 * record);
  EXPECT_EQ(At<double>(bytes, 64 + 152), 3600.0);
  // Group 4 and entry 5 of its visibility.
  const std::size_t g4 = std::size_t(1024 + 4 * record);
  unsigned char want[24];
  SampleGroup(4).ToBytes(want);
  EXPECT_EQ(std::memcmp(bytes.data() + g4, want, 24), 0);
  EXPECT_TRUE(SameEntry(bytes.data() + g4 + 24 + 5 * 12, SampleEntry(4, 5)));
  // The first table chunk: name, counts, length.
  const std::size_t t0 = std::size_t(1024 + 7 * record);
  EXPECT_EQ(bytes.compare(t0, 3, std::string("FQ\0", 3)), 0);
  // Type code, rows, columns, row length.
  for (auto [offset, value] : {std::pair{8, AUVXTable::toHash("FQ", 1)}, {12, 1}, {16, 5}, {20, 44}})
    EXPECT_EQ(At<std::int32_t>(bytes, t0 + offset), value) << offset;
  EXPECT_EQ(At<std::int64_t>(bytes, t0 + 32), 40 + 5 * 36 + 44);
  EXPECT_EQ(bytes.compare(t0 + 40, 7, std::string("FRQSEL\0", 7)), 0);
  EXPECT_EQ(bytes.compare(t0 + 40 + 18, 6, "      "), 0);
  EXPECT_EQ(bytes.compare(t0 + 40 + 28, 3, std::string("1J\0", 3)), 0);
}

TEST(UvxFileRoundTrip, HeaderRecordsAndTablesComeBackExactly) {
  TempDir dir;
  const std::string path = dir.File("a.uvx");
  WriteSampleFile(path, 7);
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeRead)) << f.Error();
  AUVXHeader h(f);
  EXPECT_EQ((std::vector<int>{h.groups, h.n_if, h.n_channels, h.nStokes(), h.pol[1]}),
            (std::vector<int>{7, 2, 3, 2, -2}));
  EXPECT_EQ(h.ref_freq_hz, 22.2e9);
  EXPECT_EQ(h.Object(), "3C84");
  EXPECT_EQ((std::vector<double>{h.extremes.u_min, h.extremes.u_max, h.extremes.time_max}),
            (std::vector<double>{SampleGroup(0).u, SampleGroup(6).u, SampleGroup(6).time}));
  // Random access in reverse order.
  AUVXVisibility vis(f);
  for (int g = 6; g >= 0; --g) {
    AUVXGroup grp;
    ASSERT_TRUE(f.SeekUVGroup(g) && grp.load(f));
    unsigned char a[24], b[24];
    grp.ToBytes(a);
    SampleGroup(g).ToBytes(b);
    EXPECT_EQ(std::memcmp(a, b, 24), 0) << g;
    ASSERT_TRUE(f.SeekUVVis(g) && vis.load(f));
    for (int e = 0; e < vis.Count(); ++e) ASSERT_TRUE(SameEntry(&vis.entries[e], SampleEntry(g, e))) << g << " " << e;
  }
  EXPECT_FALSE(f.SeekUVGroup(7));
  EXPECT_FALSE(f.SeekUVGroup(-1));
  EXPECT_EQ(f.TableCount(), 5);
  EXPECT_EQ(f.GetTable("XX"), nullptr);
  AUVXTable* an = f.GetTable("AN");
  ASSERT_NE(an, nullptr);
  EXPECT_EQ(an->type, AUVXTable::toHash("AN", 0));
  EXPECT_STREQ(an->FindKeyword("RDATE")->value, "2000-01-01");
  AUVXAntenns ants(*an);
  ASSERT_EQ(ants.GetSize(), 4);
  EXPECT_EQ(ants[2].Name(), "MEDICINA");
  EXPECT_EQ(ants[2].number, 3);
  EXPECT_EQ((std::vector<double>{ants[2].x, ants[2].y, ants[2].z}), (std::vector<double>{4e6 + 2, 5e5 - 2, 4.9e6}));
  EXPECT_EQ(ants.FindNumber(4)->Name(), "NOTO");
  AUVXSources su(*f.GetTable("SU"));
  ASSERT_EQ(su.GetSize(), 1);
  EXPECT_EQ(su[0].Name(), "3C84");
  EXPECT_EQ(su[0].ra_epo_deg, 49.95);
  AUVXFqTbl fq(f);
  EXPECT_EQ(fq.GetFreqSels(), 1);
  EXPECT_DOUBLE_EQ(fq.GetFreq(0, 1, 2), 22.2e9 + 16e6 + 2 * 8e6);
  AUVXBaseLines bl;
  ASSERT_TRUE(bl.Load(*f.GetTable("BL")));
  ASSERT_EQ(bl.GetSize(), 3);
  EXPECT_EQ(bl[0].tel1, 1);
  EXPECT_EQ((std::vector<int>{bl[0].groups, bl[1].groups, bl[2].groups}), (std::vector<int>{3, 2, 2}));
  AUVXPosition pos;
  ASSERT_TRUE(pos.Load(*f.GetTable("PS")));
  EXPECT_EQ(pos.StartTime(), 3600.0);
  ASSERT_EQ(pos.Items().GetSize(), 3);  // times 0, 10, 20 in runs of 3, 3, 1
  EXPECT_EQ(pos.Items()[1].first, 3);
  EXPECT_EQ(pos.Items()[2].count, 1);
  f.Close();

  // A file written from the tables read back is byte for byte the same.
  AUVXFile in;
  AUVXFile out;
  const std::string copy = dir.File("b.uvx");
  ASSERT_TRUE(in.Open(path, AUVXFile::modeRead) && out.Open(copy, AUVXFile::modeCreate));
  AUVXHeader hh(in);
  ASSERT_TRUE(out.Write(hh));
  std::vector<unsigned char> recs(std::size_t(7 * in.RecordBytes()));
  ASSERT_TRUE(in.ReadRecords(0, 7, recs.data()) && out.WriteRecords(0, 7, recs.data()));
  for (int i = 0; i < in.TableCount(); ++i) out.AddTable(*in.TableAt(i));
  ASSERT_TRUE(out.Close());
  EXPECT_EQ(ReadAll(copy), ReadAll(path));
}

TEST(UvxFileRoundTrip, BaselineCodesAndPositionRuns) {
  AUVXBaseLines bl(0, 128);
  AUVXGroup g{.tel1 = 2, .tel2 = 5};
  AUVXBaseLineItem a(g);
  EXPECT_EQ(bl.checkBase(a), 2 * 256 + 5);
  EXPECT_EQ(bl.checkBase(a), 2 * 256 + 5);
  g.tel1 = 1;
  AUVXBaseLineItem b(g);
  EXPECT_EQ(bl.checkBase(b), 256 + 5);
  ASSERT_EQ(bl.GetSize(), 2);
  EXPECT_EQ(bl[0].groups, 2);
  std::unique_ptr<AUVXTable> t(bl.ToUVXTable());
  EXPECT_STREQ(t->name, "BL");
  EXPECT_EQ(t->n_rows, 2);
  EXPECT_EQ(t->GetInt(1, t->FindColumn("BASELINE")), 261);
  EXPECT_STREQ(t->FindKeyword("NO_BASE")->value, "2");

  AUVXPosition pos;
  pos.AddStartTime(100);
  const double times[] = {0, 0, 30, 0};  // the same time again later is a new run
  for (int i = 0; i < 4; ++i) pos.CheckUVGroup(AUVXGroup{.time = times[i]}, i);
  std::unique_ptr<AUVXTable> ps(pos.ToUVXTable());
  ASSERT_EQ(ps->n_rows, 3);
  EXPECT_EQ(ps->GetDouble(1, 0), 30.0);
  EXPECT_EQ(ps->GetInt(2, 1), 3);
  EXPECT_EQ(ps->GetInt(0, 2), 2);
  EXPECT_DOUBLE_EQ(ps->FindKeyword("STARTTIM")->AsReal(), 100.0);
}

TEST(UvxFileUpdate, RecordsAndHeaderRewrittenInPlace) {
  TempDir dir;
  const std::string path = dir.File("a.uvx");
  WriteSampleFile(path, 7);
  const std::string before = ReadAll(path);
  {
    AUVXFile f;
    ASSERT_TRUE(f.Open(path, AUVXFile::modeUpdate)) << f.Error();
    AUVXVisibility vis(f);
    ASSERT_TRUE(f.SeekUVVis(5) && vis.load(f));
    vis.entries[0].re = 99.0f;
    ASSERT_TRUE(f.SeekUVVis(5) && vis.store(f));
    AUVXHeader h(f);
    h.ref_freq_hz = 1.0e9;
    ASSERT_TRUE(f.Write(h));
    h.groups = 8;
    EXPECT_FALSE(f.Write(h));  // the group count of an existing file is fixed
    ASSERT_TRUE(f.SeekUVVis(6) && vis.load(f));
    ASSERT_TRUE(f.SeekUVVis(6) && vis.store(f));  // the last record, unchanged
    EXPECT_FALSE(vis.store(f));  // one more would run into the tables
    AUVXVisibility other(3, 3, 2);
    ASSERT_TRUE(f.SeekUVVis(2));
    EXPECT_FALSE(other.store(f));  // counts of another file
    EXPECT_FALSE(other.load(f));
    ASSERT_TRUE(f.Close());
  }
  const std::string after = ReadAll(path);
  ASSERT_EQ(after.size(), before.size());
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeRead)) << f.Error();
  EXPECT_EQ(f.Header().ref_freq_hz, 1.0e9);
  AUVXVisibility vis(f);
  ASSERT_TRUE(f.SeekUVVis(5) && vis.load(f));
  EXPECT_EQ(vis.entries[0].re, 99.0f);
  EXPECT_EQ(vis.entries[1].re, SampleEntry(5, 1).re);
  ASSERT_TRUE(f.SeekUVVis(4) && vis.load(f));
  EXPECT_EQ(vis.entries[0].re, SampleEntry(4, 0).re);
  // Only the changed bytes differ: the header image and one float of group 5.
  int differing = 0;
  for (std::size_t i = 1024; i < before.size(); ++i) differing += before[i] != after[i];
  EXPECT_GE(differing, 1);
  EXPECT_LE(differing, 4);
  EXPECT_NE(f.GetTable("AN"), nullptr);
}

TEST(UvxFileCreate, LayoutFromFirstVisibilityReadOnlyRefusalsAndDiscard) {
  TempDir dir;
  const std::string path = dir.File("c.uvx");
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeCreate));
  EXPECT_FALSE(f.SeekUVGroup(1));  // the record size is unknown yet
  ASSERT_TRUE(f.SeekUVGroup(0));
  AUVXGroup g;
  AUVXVisibility v(1, 2, 1);
  ASSERT_TRUE(g.store(f) && v.store(f));
  EXPECT_EQ(f.RecordBytes(), 24 + 24);
  AUVXVisibility other(2, 2, 1);
  EXPECT_FALSE(other.store(f));  // a record of another size would break the layout
  ASSERT_TRUE(f.SeekUVGroup(2) && g.store(f) && v.store(f));
  EXPECT_EQ(f.Groups(), 3);
  AUVXHeader h;
  h.n_if = 2;
  h.n_channels = 2;
  h.n_pol = 1;
  EXPECT_FALSE(f.Write(h));  // disagrees with the records already written
  ASSERT_TRUE(f.Close());
  AUVXFile r;
  ASSERT_TRUE(r.Open(path, AUVXFile::modeRead)) << r.Error();
  EXPECT_EQ(r.Groups(), 3);
  EXPECT_EQ(r.Header().groups, 3);
  EXPECT_FALSE(g.store(r));
  AUVXTable t("XX", 1);
  r.AddTable(t);
  EXPECT_FALSE(r.Error().empty());
  AUVXFile missing;
  EXPECT_FALSE(missing.Open(dir.File("none.uvx"), AUVXFile::modeRead));
  EXPECT_FALSE(missing.Error().empty());
  // A discarded file is removed.
  AUVXFile d;
  ASSERT_TRUE(d.Open(dir.File("d.uvx"), AUVXFile::modeCreate) && d.SeekUVGroup(0) && g.store(d));
  d.Discard();
  EXPECT_FALSE(std::filesystem::exists(dir.File("d.uvx")));
}

TEST(FastRead, SequentialPassWithProgress) {
  TempDir dir;
  const std::string path = dir.File("a.uvx");
  WriteSampleFile(path, 600);
  AUVXFile f;
  ASSERT_TRUE(f.Open(path, AUVXFile::modeRead));
  ProgressRecorder progress;
  AUVXFastRead reader(&f, &progress);
  AUVXGroup g;
  AUVXVisibility v;
  int status = 0, n = 0;
  while (reader.GetUVGVis(g, v, status)) {
    ASSERT_EQ(status, n);
    ASSERT_EQ(g.time, SampleGroup(n).time);
    ASSERT_EQ(v.Count(), 12);
    ASSERT_EQ(v.entries[11].im, SampleEntry(n, 11).im);
    ++n;
  }
  EXPECT_EQ(n, 600);
  EXPECT_EQ(status, -1);
  EXPECT_EQ(progress.range_high, 600);
  EXPECT_EQ(progress.position, 600);
  EXPECT_GT(progress.updates, 2);
}

TEST(FileCopy, CopiesAndRemovesOutputWhenStopped) {
  TempDir dir;
  const std::string path = dir.File("a.uvx");
  WriteSampleFile(path, 50);
  ProgressRecorder progress;
  StopFlag stop{0};
  ASSERT_TRUE(CopyUVXFile(path, dir.File("b.uvx"), &progress, &stop));
  EXPECT_EQ(ReadAll(dir.File("b.uvx")), ReadAll(path));
  EXPECT_EQ(progress.position, std::int64_t(ReadAll(path).size()));
  stop = 1;
  EXPECT_FALSE(CopyUVXFile(path, dir.File("c.uvx"), nullptr, &stop));
  EXPECT_FALSE(std::filesystem::exists(dir.File("c.uvx")));
  EXPECT_FALSE(CopyUVXFile(dir.File("none.uvx"), dir.File("e.uvx"), nullptr, nullptr));
  EXPECT_FALSE(std::filesystem::exists(dir.File("e.uvx")));
  EXPECT_FALSE(CopyUVXFile(path, dir.File("no/such/dir/f.uvx"), nullptr, nullptr));
}
