#include <gtest/gtest.h>

#include <sstream>

#include "core/astro_time.h"
#include "coverage/orbit_table.h"

namespace {

AMOrbTXYZArray Table(std::initializer_list<AMOrbTXYZ> rows) {
  AMOrbTXYZArray t;
  for (const auto& r : rows) t.Add(r);
  return t;
}

TEST(OrbitTableLookup, InterpolatesLinearlyAndMovesForwardOnly) {
  auto t = Table({{0, 0, 0, 0}, {10, 100, -10, 1}, {30, 300, -30, 5}, {40, 300, -30, 5}});
  double p[3] = {};
  ASSERT_TRUE(t.Interpolate(0, p));
  EXPECT_DOUBLE_EQ(p[0], 0);
  ASSERT_TRUE(t.Interpolate(4, p));
  EXPECT_DOUBLE_EQ(p[0], 40);
  EXPECT_DOUBLE_EQ(p[1], -4);
  EXPECT_DOUBLE_EQ(p[2], 0.4);
  EXPECT_EQ(t.Cursor(), 0);
  // Exactly at a table time: that row (t = 10 ends segment 0, which is tried first).
  ASSERT_TRUE(t.Interpolate(10, p));
  EXPECT_DOUBLE_EQ(p[0], 100);
  EXPECT_EQ(t.Cursor(), 0);
  ASSERT_TRUE(t.Interpolate(25, p));
  EXPECT_DOUBLE_EQ(p[0], 250);
  EXPECT_DOUBLE_EQ(p[1], -25);
  EXPECT_DOUBLE_EQ(p[2], 4);
  EXPECT_EQ(t.Cursor(), 1);
  // A time before the cursor's segment is not found although the table covers it; the cursor
  // and the output stay as they were.
  p[0] = -1;
  EXPECT_FALSE(t.Interpolate(5, p));
  EXPECT_EQ(p[0], -1);
  EXPECT_EQ(t.Cursor(), 1);
  ASSERT_TRUE(t.Interpolate(40, p));
  EXPECT_DOUBLE_EQ(p[0], 300);
  EXPECT_EQ(t.Cursor(), 2);
  EXPECT_FALSE(t.Interpolate(41, p));
  t.ResetCursor();
  EXPECT_TRUE(t.Interpolate(5, p));
  EXPECT_DOUBLE_EQ(p[0], 50);
}

TEST(OrbitTableLookup, TablesWithoutASegmentFindNothing) {
  double p[3] = {};
  AMOrbTXYZArray empty;
  EXPECT_FALSE(empty.Interpolate(0, p));
  auto one = Table({{5, 1, 2, 3}});
  EXPECT_FALSE(one.Interpolate(5, p));
  // A repeated time (a zero-length segment) is found without dividing by zero.
  auto twice = Table({{5, 1, 2, 3}, {5, 1, 2, 3}});
  ASSERT_TRUE(twice.Interpolate(5, p));
  EXPECT_DOUBLE_EQ(p[2], 3);
  // Times of a damaged file clamped to +-9e18 s: their difference does not fit an int64.
  auto far = Table({{-9000000000000000000, 0, 0, 0}, {9000000000000000000, 2, 4, 6}});
  ASSERT_TRUE(far.Interpolate(0, p));
  EXPECT_DOUBLE_EQ(p[2], 3);
}

constexpr const char* kHeader =
    "CCSDS_OEM_VERS = 2.0\n"
    "META_START\n"
    "OBJECT_NAME = RADIOASTRON\n"
    "META_STOP\n"
    "COMMENT this line is skipped too\n";

TEST(OrbitFileReader, ParsesTimesAndKilometresAfterTheHeader) {
  const double ref = JulianDay(15, 3, 2024);
  std::istringstream in(std::string(kHeader) +
                        "2024-03-15T00:00:00.000 7000.0 -1.5 0.25\n"
                        "2024-03-15T01:02:03.900 7100.5 2 3\n"
                        "2024-03-16T00:00:10 1 2 3");  // no final line feed
  AMOrbTXYZArray t;
  ASSERT_TRUE(ReadOrbitFile(in, ref, t));
  ASSERT_EQ(t.GetSize(), 3);
  EXPECT_EQ(t[0].t_s, 0);
  EXPECT_DOUBLE_EQ(t[0].x, 7000000.0);
  EXPECT_DOUBLE_EQ(t[0].y, -1500.0);
  EXPECT_DOUBLE_EQ(t[0].z, 250.0);
  EXPECT_EQ(t[1].t_s, 3723);  // 1 h 2 min 3.9 s truncated
  EXPECT_DOUBLE_EQ(t[1].x, 7100500.0);
  EXPECT_EQ(t[2].t_s, 86410);
  EXPECT_DOUBLE_EQ(t[2].z, 3000.0);
}

TEST(OrbitFileReader, EndOfFileAndBadLinesRepeatThePreviousValues) {
  const double ref = JulianDay(1, 1, 2020);
  // A final line feed: the read that meets the end of the file repeats the last line.
  std::istringstream in(std::string(kHeader) +
                        "2019-12-31T23:59:50 1 2 3\n"
                        "garbage\n"
                        "2020-01-01T00:00:10 4 5 6\n");
  AMOrbTXYZArray t;
  ReadOrbitFile(in, ref, t);
  ASSERT_EQ(t.GetSize(), 4);
  EXPECT_EQ(t[0].t_s, -10);
  EXPECT_EQ(t[1].t_s, -10);  // "garbage" keeps the previous fields
  EXPECT_DOUBLE_EQ(t[1].x, 1000.0);
  EXPECT_EQ(t[2].t_s, 10);
  EXPECT_EQ(t[3].t_s, 10);
  EXPECT_DOUBLE_EQ(t[3].y, 5000.0);

  // A line that parses only in part updates the leading fields only.
  std::istringstream partial(std::string(kHeader) + "2020-01-01T00:00:20 7 8 9\n2020-01-02T\n");
  AMOrbTXYZArray p;
  ReadOrbitFile(partial, ref, p);
  ASSERT_GE(p.GetSize(), 2);
  EXPECT_EQ(p[1].t_s, 86400 + 20);
  EXPECT_DOUBLE_EQ(p[1].x, 7000.0);
}

TEST(OrbitFileReader, FilesWithoutDataGiveNoRecords) {
  AMOrbTXYZArray t;
  std::istringstream no_marker("2020-01-01T00:00:20 7 8 9\n2020-01-01T00:00:30 7 8 9\n");
  ReadOrbitFile(no_marker, 2458849.5, t);
  EXPECT_EQ(t.GetSize(), 0);
  std::istringstream empty;
  ReadOrbitFile(empty, 2458849.5, t);
  EXPECT_EQ(t.GetSize(), 0);
  // Only the header and its extra line: the end-of-file read repeats that (unparsable) line once.
  std::istringstream header_only(kHeader);
  ReadOrbitFile(header_only, 2458849.5, t);
  EXPECT_EQ(t.GetSize(), 1);
  // A damaged time far outside any int64 does not overflow.
  AMOrbTXYZArray d;
  std::istringstream huge(std::string(kHeader) + "2020-01-01T00:00:1e300 1 2 3");
  ReadOrbitFile(huge, 2458849.5, d);
  ASSERT_EQ(d.GetSize(), 1);
  EXPECT_GT(d[0].t_s, 0);
}

TEST(OrbitFileReader, ValuesThatAreNotFiniteRefuseTheFile) {
  const struct {
    const char* record;
    const char* error;
  } cases[] = {
      {"2020-01-01T00:00:20 nan 8 9", "record 2: position is not a finite number"},
      {"2020-01-01T00:00:20 7 -inf 9", "record 2: position is not a finite number"},
      {"2020-01-01T00:00:20 7 8 1e306", "record 2: position is not a finite number"},  // in metres
      {"2020-01-01T00:00:inf 7 8 9", "record 2: time is not a finite number"},
  };
  for (const auto& c : cases) {
    std::istringstream in(std::string(kHeader) + "2020-01-01T00:00:10 1 2 3\n" + c.record + "\n");
    AMOrbTXYZArray t;
    std::string error;
    EXPECT_FALSE(ReadOrbitFile(in, 2458849.5, t, &error)) << c.record;
    EXPECT_EQ(error, c.error);
    EXPECT_EQ(t.GetSize(), 1);  // the records before stay
  }
}

}  // namespace
