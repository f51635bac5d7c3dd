// The checks run before a UV plane is created, the coordinate fields, the interval order and
// the change test.
#include <gtest/gtest.h>

#include "core/messages.h"
#include "obs_test_util.h"

TEST(IntervalOrder, ByStartThenFrequencyId) {
  EXPECT_EQ(CompareTimeItems({10, 20, 1, 0}, {20, 30, 1, 0}), -1);
  EXPECT_EQ(CompareTimeItems({20, 30, 1, 0}, {10, 20, 1, 0}), 1);
  EXPECT_EQ(CompareTimeItems({10, 20, 1, 0}, {10, 99, 2, 0}), -1);
  EXPECT_EQ(CompareTimeItems({10, 20, 3, 0}, {10, 5, 2, 0}), 1);
  EXPECT_EQ(CompareTimeItems({10, 20, 2, 0}, {10, 50, 2, 0}), 0);  // stop does not order

  AArray<AMTimeItem> items;
  items.Add({300, 400, 2, 0});
  items.Add({100, 200, 3, 0});
  items.Add({100, 150, 1, 0});
  items.Add({0, 50, 1, 0});
  SortTimeItems(items);
  const double starts[] = {0, 100, 100, 300};
  const int ids[] = {1, 1, 3, 2};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(items[i].start, starts[i]);
    EXPECT_EQ(items[i].freq_id, ids[i]);
  }
}

TEST(CreateChecks, EachMessageInOrderWithItsPassingNeighbour) {
  MessageRecorder rec;
  AMObservation obs = SampleObservation();
  AMCreateCheck c = CheckForCreate(obs, &rec);
  EXPECT_TRUE(c.ok);
  EXPECT_TRUE(rec.shown.empty());

  // 300: one telescope fails, two pass (checked before the missing intervals).
  AMObservation one = SampleObservation();
  one.telescopes.RemoveAt(1);
  one.intervals = AArray<AMTimeItem>();
  c = CheckForCreate(one, &rec);
  EXPECT_FALSE(c.ok);
  EXPECT_STREQ(c.message, msg::kTooFewTelescopes);
  EXPECT_STREQ(c.message, "Select telescopes must be greater 1.");
  ASSERT_EQ(rec.shown.size(), 1u);
  EXPECT_EQ(rec.shown[0], "Select telescopes must be greater 1.");

  // 301 before 306.
  AMObservation none = SampleObservation();
  none.intervals = AArray<AMTimeItem>();
  none.polarizations = AArray<std::int16_t>();
  c = CheckForCreate(none);
  EXPECT_STREQ(c.message, "Time interval(s) not found.");
  none.intervals.Add({0, 10, 1, 0});
  c = CheckForCreate(none);
  EXPECT_STREQ(c.message, "Please select one or more polarization/Stokes.");
  none.polarizations.Add(1);
  EXPECT_TRUE(CheckForCreate(none).ok);

  // 302: reported on the sorted row, third column; the largest valid ID passes.
  AMObservation ids = SampleObservation();
  ids.intervals[0] = {5000, 6000, 3, 0};  // sorts after the interval starting at 0
  ids.intervals[1] = {0, 100, 1, 0};
  c = CheckForCreate(ids);
  EXPECT_FALSE(c.ok);
  EXPECT_STREQ(c.message, "Time interval contains invalid Freq. ID. ");
  EXPECT_EQ(c.row, 1);
  EXPECT_EQ(c.column, 2);
  EXPECT_EQ(ids.intervals[0].start, 0.0);  // sorted in place
  ids.intervals[1].freq_id = 2;
  EXPECT_TRUE(CheckForCreate(ids).ok);
  ids.intervals[1].freq_id = 0;
  EXPECT_EQ(CheckForCreate(ids).row, 1);

  // 303: stop before start, second column; equal times pass.
  AMObservation times = SampleObservation();
  times.intervals[1] = {7200, 7199.5, 1, 0};
  c = CheckForCreate(times);
  EXPECT_STREQ(c.message, "Start time must be less or equal stop time.");
  EXPECT_EQ(c.row, 1);
  EXPECT_EQ(c.column, 1);
  times.intervals[1].stop = 7200;
  EXPECT_TRUE(CheckForCreate(times).ok);

  // 302 of an earlier row wins over 303 of a later one; within a row the ID is checked first.
  times.intervals[0] = {0, -5, 9, 0};
  c = CheckForCreate(times);
  EXPECT_STREQ(c.message, msg::kInvalidFreqId);
  EXPECT_EQ(c.row, 0);

  // Right ascension, then declination.
  AMObservation coords = SampleObservation();
  coords.ra_time_s = 86400.001;
  coords.dec_arcsec = 700000;
  c = CheckForCreate(coords);
  EXPECT_STREQ(c.message, "Invalid Right ascension.");
  EXPECT_EQ(c.row, -1);
  coords.ra_time_s = 86400.0;
  EXPECT_STREQ(CheckForCreate(coords).message, "Invalid Declination.");
  coords.dec_arcsec = -648000.0;
  EXPECT_TRUE(CheckForCreate(coords).ok);
}

// Each failure names its message number and what a page selects; the typed coordinate texts are
// checked (and taken) at the coordinate step.
TEST(CreateChecks, NumberAndPlaceOfEachFailure) {
  struct Case {
    const char* what;
    void (*spoil)(AMObservation&);
    int id;
    AMCreateField field;
    int row, column;
  };
  const Case cases[] = {
      {"one telescope", [](AMObservation& o) { o.telescopes.RemoveAt(0); }, 300, AMCreateField::Telescopes, -1, -1},
      {"no interval", [](AMObservation& o) { o.intervals = AArray<AMTimeItem>(); }, 301, AMCreateField::Intervals, -1, -1},
      {"no polarization", [](AMObservation& o) { o.polarizations = AArray<std::int16_t>(); }, 306,
       AMCreateField::Polarizations, -1, -1},
      {"bad ID", [](AMObservation& o) { o.intervals[1].freq_id = 3; }, 302, AMCreateField::Intervals, 1, 2},
      {"stop first", [](AMObservation& o) { o.intervals[0].stop = -1; }, 303, AMCreateField::Intervals, 0, 1},
      {"ra", [](AMObservation& o) { o.ra_time_s = -1; }, 0, AMCreateField::RightAscension, -1, -1},
      {"dec", [](AMObservation& o) { o.dec_arcsec = 648000.5; }, 0, AMCreateField::Declination, -1, -1},
  };
  for (const Case& k : cases) {
    AMObservation obs = SampleObservation();
    k.spoil(obs);
    const AMCreateCheck c = CheckForCreate(obs);
    EXPECT_FALSE(c.ok) << k.what;
    EXPECT_EQ(c.id, k.id) << k.what;
    EXPECT_EQ(c.field, k.field) << k.what;
    EXPECT_EQ(c.row, k.row) << k.what;
    EXPECT_EQ(c.column, k.column) << k.what;
  }

  AMObservation obs = SampleObservation();
  AMSourceFieldTexts typed{"24:00:00.5", "+10:00:00"};
  MessageRecorder rec;
  AMCreateCheck c = CheckForCreate(obs, &rec, &typed);
  EXPECT_EQ(c.field, AMCreateField::RightAscension);
  EXPECT_EQ(rec.shown, std::vector<std::string>{"Invalid Right ascension."});
  EXPECT_EQ(obs.ra_time_s, 45000.5);  // refused text: the stored value stays
  typed.ra_text = "12:30:00";
  typed.dec_text = "45:00";  // no seconds field is fine; a missing minute field is not
  EXPECT_TRUE(CheckForCreate(obs, nullptr, &typed).ok);
  EXPECT_EQ(obs.ra_time_s, 45000.0);
  EXPECT_EQ(obs.dec_arcsec, 162000.0);
  typed.dec_text = "45";
  EXPECT_EQ(CheckForCreate(obs, nullptr, &typed).field, AMCreateField::Declination);
}

TEST(CoordinateFields, RangesOfRightAscensionAndDeclination) {
  double ra = 123;
  EXPECT_TRUE(ParseRightAscensionField("24:00:00", ra));
  EXPECT_EQ(ra, 86400.0);
  EXPECT_FALSE(ParseRightAscensionField("24:00:00.001", ra));
  EXPECT_EQ(ra, 86400.0);
  EXPECT_TRUE(ParseRightAscensionField("00:00:00", ra));
  EXPECT_EQ(ra, 0.0);
  EXPECT_FALSE(ParseRightAscensionField("12h30m", ra));
  EXPECT_TRUE(IsValidRightAscension(86400.0));
  EXPECT_FALSE(IsValidRightAscension(86400.001));
  EXPECT_FALSE(IsValidRightAscension(-0.001));

  double dec = 1;
  EXPECT_TRUE(ParseDeclinationField("+100:00:00", dec));  // wider than a declination, on purpose
  EXPECT_EQ(dec, 360000.0);
  EXPECT_TRUE(ParseDeclinationField("-180:00:00", dec));
  EXPECT_EQ(dec, -648000.0);
  EXPECT_FALSE(ParseDeclinationField("180:00:00.1", dec));
  EXPECT_EQ(dec, -648000.0);
  EXPECT_FALSE(ParseDeclinationField("north", dec));
}

TEST(ChangeTest, StepCountAndIntervalFieldsAgainstTheCopy) {
  AMObservation obs = SampleObservation();
  AMObsChangeTracker tracker;
  tracker.Take(obs);
  EXPECT_FALSE(tracker.IsModified(obs, false));
  EXPECT_TRUE(tracker.IsModified(obs, true));

  AMObservation step = obs;
  step.time_step_s = 30;
  EXPECT_TRUE(tracker.IsModified(step, false));
  AMObservation count = obs;
  count.intervals.Add({1, 2, 1, 0});
  EXPECT_TRUE(tracker.IsModified(count, false));
  AMObservation start = obs;
  start.intervals[1].start += 1;
  EXPECT_TRUE(tracker.IsModified(start, false));
  AMObservation stop = obs;
  stop.intervals[0].stop -= 1;
  EXPECT_TRUE(tracker.IsModified(stop, false));
  AMObservation id = obs;
  id.intervals[1].freq_id = 1;
  EXPECT_TRUE(tracker.IsModified(id, false));
  // Other fields are not part of the test (their edits set the flag instead).
  AMObservation other = obs;
  other.source_name = "Other";
  other.intervals[0].padding = 7;
  EXPECT_FALSE(tracker.IsModified(other, false));
  tracker.Take(step);
  EXPECT_FALSE(tracker.IsModified(step, false));
}
