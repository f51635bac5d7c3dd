// The .obs file: byte layout, round trips, line buffers and damaged input.
#include <gtest/gtest.h>

#include <cstring>

#include <fstream>

#include "core/file.h"
#include "obs_test_util.h"
#include "rlimit_child.h"

namespace {

std::string Stored(const AMObservation& obs) {
  AMemoryFile mem;
  EXPECT_TRUE(obs.Store(mem));
  return mem.Bytes();
}

// The sample observation laid out by hand, field by field.
std::string HandBuiltSample() {
  ByteBuilder b;
  b.Line("3C273");
  b.Put(45000.5);
  b.Put(-1234.25);
  b.Put<std::int32_t>(15);
  b.Put<std::int32_t>(3);
  b.Put<std::int32_t>(2024);
  b.Put<std::int32_t>(2);  // rows
  b.Put<std::int32_t>(2);  // cols
  for (double v : {0.0, 1.0e6, 16.0e6, 1.0e6, -8.0e6, 0.5e6, 0.0, 0.5e6}) b.Put(v);
  b.Put<std::int32_t>(2);
  b.Put<std::int32_t>(1);
  b.Put<std::int32_t>(2);
  b.Put<std::int32_t>(2);   // n_if
  b.Put<std::int32_t>(16);  // channels
  b.Put(4.99e9);
  b.Put(60.0);
  b.Put<std::int32_t>(2);
  b.Put(0.0), b.Put(3600.0), b.Put<std::int32_t>(1), b.Put<std::int32_t>(0);
  b.Put(7200.0), b.Put(10800.5), b.Put<std::int32_t>(2), b.Put<std::int32_t>(0);
  b.Put<std::int32_t>(2);
  b.Put<std::int16_t>(-1);
  b.Put<std::int16_t>(-2);
  b.Put<std::int32_t>(2);
  for (double v : {2607861.476, 5488096.343, 1932748.638, 25.0, 0.0, 360.0, 0.0, 80.0}) b.Put(v);
  b.Line("VLBA_SC");
  b.Line("SC");
  b.Put<std::int32_t>(1);
  b.Put<std::int32_t>(0);
  b.Line("");
  for (double v : {180000.0, 0.95, 51.5, 120.0, 280.0, 2460000.5, 0.0, 0.0}) b.Put(v);
  b.Line("SpaceHEO");
  b.Line("HE");
  b.Put<std::int32_t>(0);
  b.Put<std::int32_t>(1);
  b.Line("orbits/heo.org");
  b.Line("out/3C273_mdl.uvx");
  return b.bytes;
}

void ExpectSameObservation(const AMObservation& a, const AMObservation& b) {
  EXPECT_EQ(Stored(a), Stored(b));
  EXPECT_EQ(a.source_name, b.source_name);
  EXPECT_EQ(a.telescopes.count, b.telescopes.count);
  EXPECT_EQ(a.output_path, b.output_path);
}

}  // namespace

TEST(ObsFileLayout, StoreMatchesHandBuiltBytes) {
  const std::string bytes = Stored(SampleObservation());
  const std::string expected = HandBuiltSample();
  ASSERT_EQ(bytes.size(), expected.size());
  EXPECT_EQ(bytes, expected);
}

TEST(ObsFileLayout, EmptyArraysWriteOnlyTheirCounts) {
  AMObservation obs(std::string("/b/"));
  obs.source_name = "S";
  obs.day = 2, obs.month = 1, obs.year = 2000;
  obs.freq.table.Resize(0, 0);
  obs.freq.freq_ids = AArray<int>();
  obs.freq.n_if = 0;
  obs.polarizations = AArray<std::int16_t>();
  ByteBuilder b;
  b.Line("S");
  b.Put(0.0), b.Put(0.0);
  b.Put<std::int32_t>(2), b.Put<std::int32_t>(1), b.Put<std::int32_t>(2000);
  b.Put<std::int32_t>(0), b.Put<std::int32_t>(0);  // empty matrix: no items
  b.Put<std::int32_t>(0);                          // no identifiers
  b.Put<std::int32_t>(0), b.Put<std::int32_t>(16), b.Put(1.6e9);
  b.Put(20.0);
  b.Put<std::int32_t>(0), b.Put<std::int32_t>(0), b.Put<std::int32_t>(0);
  b.Line("/b/Model_mdl.uvx");
  EXPECT_EQ(Stored(obs), b.bytes);

  AMObservation back(std::string("/x/"));
  AMemoryFile mem(b.bytes);
  ASSERT_TRUE(LoadObservation(mem, back));
  EXPECT_EQ(back.intervals.count, 0);
  EXPECT_EQ(back.intervals.data, nullptr);
  EXPECT_EQ(back.polarizations.count, 0);
  EXPECT_EQ(back.telescopes.count, 0);
  EXPECT_EQ(back.freq.Rows(), 0);
  EXPECT_EQ(back.output_path, "/b/Model_mdl.uvx");
}

TEST(ObsFileRoundTrip, LoadGivesBackEveryField) {
  const AMObservation obs = SampleObservation();
  AMemoryFile mem(Stored(obs));
  AMObservation back(std::string("/elsewhere/"));
  ASSERT_TRUE(LoadObservation(mem, back));
  ExpectSameObservation(obs, back);
  EXPECT_EQ(back.ra_time_s, 45000.5);
  EXPECT_EQ(back.dec_arcsec, -1234.25);
  EXPECT_EQ(back.freq.table(1, 0).if_offset_hz, -8.0e6);
  EXPECT_EQ(back.intervals[1].stop, 10800.5);
  EXPECT_EQ(back.intervals[1].freq_id, 2);
  EXPECT_EQ(back.polarizations[1], -2);
  EXPECT_EQ(back.telescopes[1].orbit_file, "orbits/heo.org");
  EXPECT_EQ(back.telescopes[1].kind, kTlscOrbital);
  EXPECT_EQ(back.telescopes[1].use_orbit_file, 1);
  EXPECT_EQ(back.telescopes[0].params[1], 5488096.343);
}

TEST(ObsFileRoundTrip, FileOnDiskIsWrittenWholeAndReadBack) {
  TempFolder tmp;
  const AMObservation obs = SampleObservation();
  const std::string path = tmp.Path("sample.obs");
  ASSERT_TRUE(SaveObservationFile(path, obs));
  EXPECT_FALSE(std::filesystem::exists(path + ".part"));
  AMObservation back(std::string("/"));
  ASSERT_TRUE(LoadObservationFile(path, back));
  EXPECT_EQ(Stored(back), Stored(obs));
  EXPECT_FALSE(LoadObservationFile(tmp.Path("missing.obs"), back));
  EXPECT_FALSE(SaveObservationFile(tmp.Path("no/such/folder/x.obs"), obs));
  EXPECT_EQ(Stored(back), Stored(obs));
}

TEST(ObsFileLines, SourceNameBufferIs32BytesAndOtherLines128) {
  AMObservation obs = SampleObservation();
  const std::string name31(31, 'A');
  obs.source_name = name31;
  AMObservation back(std::string("/"));
  AMemoryFile mem(Stored(obs));
  ASSERT_TRUE(LoadObservation(mem, back));
  EXPECT_EQ(back.source_name, name31);

  obs.source_name = std::string(31, 'B') + "CUT_AWAY";
  obs.output_path = std::string(127, 'p');
  obs.telescopes[0].name = std::string(127, 'n') + "xyz";
  const std::string bytes = Stored(obs);
  // The writer does not limit the text.
  EXPECT_NE(bytes.find("BCUT_AWAY\n"), std::string::npos);
  AMemoryFile mem2(bytes);
  ASSERT_TRUE(LoadObservation(mem2, back));
  EXPECT_EQ(back.source_name, std::string(31, 'B'));
  EXPECT_EQ(back.output_path, std::string(127, 'p'));
  EXPECT_EQ(back.telescopes[0].name, std::string(127, 'n'));
  EXPECT_EQ(back.telescopes[0].id_name, "SC");  // the rest of the long line was skipped
}

TEST(ObsFileDamaged, EveryTruncationFailsAndLeavesTheTargetUntouched) {
  const std::string bytes = Stored(SampleObservation());
  AMObservation target(std::string("/keep/"));
  target.source_name = "Untouched";
  const std::string before = Stored(target);
  for (std::size_t n = 0; n < bytes.size(); ++n) {
    AMemoryFile mem(bytes.substr(0, n));
    ASSERT_FALSE(LoadObservation(mem, target)) << "prefix of " << n << " bytes";
    ASSERT_EQ(Stored(target), before);
  }
  AMemoryFile whole(bytes);
  EXPECT_TRUE(LoadObservation(whole, target));
}

TEST(ObsFileDamaged, TruncatedFileOnDiskIsRefused) {
  TempFolder tmp;
  const std::string bytes = Stored(SampleObservation());
  const std::string path = tmp.Path("cut.obs");
  for (std::size_t n : {std::size_t{0}, std::size_t{7}, bytes.size() / 2, bytes.size() - 1}) {
    AFile f;
    ASSERT_TRUE(f.Open(path, AFile::modeWrite | AFile::modeBinary));
    ASSERT_TRUE(n == 0 || f.Write(bytes.data(), n));
    f.Close();
    AMObservation target(std::string("/"));
    EXPECT_FALSE(LoadObservationFile(path, target)) << n;
  }
}

TEST(ObsFileDamaged, AbsurdCountsAndForeignBytesAreRefused) {
  const std::string good = Stored(SampleObservation());
  // Offsets of the counts in the sample layout.
  const std::size_t rows_at = 6 + 8 + 8 + 12;
  const std::size_t matrix_end = rows_at + 8 + 4 * 16;
  const std::size_t intervals_at = matrix_end + 4 + 8 + 4 + 4 + 8 + 8;
  const std::size_t pols_at = intervals_at + 4 + 48;
  const std::size_t tel_at = pols_at + 4 + 4;
  ASSERT_EQ(std::memcmp(good.data() + tel_at, "\x02\0\0\0", 4), 0);
  TempFolder dir;
  for (std::size_t at : {rows_at, rows_at + 4, matrix_end, intervals_at, pols_at, tel_at}) {
    for (std::int32_t bad : {std::int32_t{-1}, std::int32_t{0x7fffffff}, std::int32_t{1000000}}) {
      std::string bytes = good;
      std::memcpy(bytes.data() + at, &bad, 4);
      AMemoryFile mem(bytes);
      AMObservation target(std::string("/"));
      EXPECT_FALSE(LoadObservation(mem, target)) << "count at " << at << " = " << bad;
#ifndef QVL_TEST_ADDRESS_SANITIZER
      // From a file, with 32 MB of address space to spare: refused before anything is allocated.
      const std::string path = dir.Path("bad.obs");
      std::ofstream(path, std::ios::binary) << bytes;
      EXPECT_EQ(RunWithMemoryLimit(32 << 20, [&] {
                  AMObservation t(std::string("/"));
                  return LoadObservationFile(path, t);
                }),
                0)
          << "count at " << at << " = " << bad;
#endif
    }
  }
  // Rows without columns hold no cells but are looped over: bounded too (found by fuzzing).
  std::string no_columns = good;
  const std::int32_t rows = 8388608, cols = 0;
  std::memcpy(no_columns.data() + rows_at, &rows, 4);
  std::memcpy(no_columns.data() + rows_at + 4, &cols, 4);
  no_columns.erase(rows_at + 8, 4 * 16);
  AMemoryFile cut(no_columns);
  AMObservation none(std::string("/"));
  EXPECT_FALSE(LoadObservation(cut, none));

  // Text and random bytes.
  std::mt19937 gen(12345);
  for (int trial = 0; trial < 200; ++trial) {
    std::string junk(static_cast<std::size_t>(gen() % 400), '\0');
    for (char& c : junk) c = static_cast<char>(gen());
    AMemoryFile mem(junk);
    AMObservation target(std::string("/"));
    LoadObservation(mem, target);  // must not crash or allocate absurdly; the result may be either
  }
  AMemoryFile text(std::string("1 SC VLBA_SC\t1\t2\t3\t25\t0\t360\t0\t80\t0\n"));
  AMObservation target(std::string("/"));
  EXPECT_FALSE(LoadObservation(text, target));
}

TEST(ObsDefaults, FreshObservationTakesTheDocumentedDefaults) {
  const AMObservation obs(std::string("/base/"));
  EXPECT_EQ(obs.source_name, "Model");
  EXPECT_EQ(obs.ra_time_s, 0.0);
  EXPECT_EQ(obs.dec_arcsec, 0.0);
  EXPECT_EQ(obs.time_step_s, 20.0);
  EXPECT_EQ(obs.intervals.count, 0);
  ASSERT_EQ(obs.polarizations.count, 1);
  EXPECT_EQ(obs.polarizations[0], -1);
  EXPECT_EQ(obs.telescopes.count, 0);
  EXPECT_EQ(obs.output_path, "/base/Model_mdl.uvx");
  EXPECT_GE(obs.year, 2024);
  EXPECT_TRUE(obs.month >= 1 && obs.month <= 12 && obs.day >= 1 && obs.day <= 31);
  const AMTimeItem t;
  EXPECT_EQ(t.start, 0.0);
  EXPECT_EQ(t.stop, 0.0);
  EXPECT_EQ(t.freq_id, 1);

  // Copies are deep.
  AMObservation a = SampleObservation();
  AMObservation b = a;
  b.intervals[0].start = 99;
  b.telescopes[0].name = "Other";
  b.freq.table(0, 0).if_offset_hz = 5;
  EXPECT_EQ(a.intervals[0].start, 0.0);
  EXPECT_EQ(a.telescopes[0].name, "VLBA_SC");
  EXPECT_EQ(a.freq.table(0, 0).if_offset_hz, 0.0);
  EXPECT_EQ(ResolveOutputPath("/data/obs/x.obs", "out.uvx"), "/data/obs/out.uvx");
  EXPECT_EQ(ResolveOutputPath("/data/obs/x.obs", "/abs/out.uvx"), "/abs/out.uvx");
  EXPECT_EQ(ResolveOutputPath("x.obs", "out.uvx"), "out.uvx");
}
