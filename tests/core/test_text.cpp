#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

#include "core/text.h"

namespace {

struct ParseCase {
  const char* text;
  bool ok;
  double value;
};

TEST(TimeText, AcceptanceTable) {
  const ParseCase cases[] = {
      {"12:34:56.7", true, 12 * 3600 + 34 * 60 + 56.7},
      {"00:00:00", true, 0},
      {"24:00:00", true, 86400},
      {"26:30:00", true, 95400},  // intervals may pass midnight
      {"  01:02:03  ", true, 3723},
      {"1:02:03", true, 3723},
      {"05:30", true, 19800},  // seconds may be left out
      {"00:00:59.999", true, 59.999},
      {"12:60:00", false, 0},
      {"12:34:60", false, 0},
      {"12:34:61.5", false, 0},
      {"12:3:00", false, 0},
      {"12", false, 0},
      {"", false, 0},
      {"   ", false, 0},
      {"-01:00:00", false, 0},
      {"+01:00:00", false, 0},
      {"12:34:56.", false, 0},
      {"12:34:56.7x", false, 0},
      {"12 34 56", false, 0},
      {"12:34: 56", false, 0},
      {"1e1:00:00", false, 0},
      {"abc", false, 0},
      {"1234:00:00", false, 0},
      {"12::00", false, 0},
  };
  for (const auto& c : cases) {
    double v = -123;
    EXPECT_EQ(strToTime(c.text, v) != 0, c.ok) << '"' << c.text << '"';
    if (c.ok) EXPECT_NEAR(v, c.value, 1e-9) << c.text;
    else EXPECT_EQ(v, -123) << "value touched on failure: " << c.text;
  }
}

TEST(AngleText, AcceptanceTableWithSigns) {
  const ParseCase cases[] = {
      {"+12:34:56.7", true, 12 * 3600 + 34 * 60 + 56.7},
      {"12:34:56.7", true, 12 * 3600 + 34 * 60 + 56.7},
      {"-12:34:56.7", true, -(12 * 3600 + 34 * 60 + 56.7)},
      {"-00:30:00", true, -1800},  // negative zero degrees stays negative
      {"-00:00:01.5", true, -1.5},
      {"+90:00:00", true, 324000},
      {"100:00:00", true, 360000},
      {"360:00:00", true, 1296000},
      {"-45:30", true, -163800},
      {"361:00:00", false, 0},
      {"360:00:01", false, 0},
      {"--10:00:00", false, 0},
      {"+-10:00:00", false, 0},
      {"- 10:00:00", false, 0},
      {"10:75:00", false, 0},
      {"10:00:60", false, 0},
      {"", false, 0},
      {"-", false, 0},
      {"10.5", false, 0},
      {"10:00:00 N", false, 0},
  };
  for (const auto& c : cases) {
    double v = 7;
    EXPECT_EQ(strToAngle(c.text, v) != 0, c.ok) << '"' << c.text << '"';
    if (c.ok) EXPECT_NEAR(v, c.value, 1e-9) << c.text;
    else EXPECT_EQ(v, 7) << c.text;
  }
  double v = 0;
  ASSERT_TRUE(strToAngle("-00:00:00", v));
  EXPECT_TRUE(std::signbit(v));
}

TEST(TimeAndAngleFormatting, RoundingCarriesAndRoundTrips) {
  EXPECT_EQ(timeToStr(45296.7), "12:34:56.7000");
  EXPECT_EQ(timeToStr(59.96, 1), "00:01:00.0");  // rollover at 59.9 s
  EXPECT_EQ(timeToStr(3599.99996), "01:00:00.0000");
  EXPECT_EQ(timeToStr(86399.99999, 2), "24:00:00.00");
  EXPECT_EQ(timeToStr(0, 0), "00:00:00");
  EXPECT_EQ(timeToStr(-90, 0), "-00:01:30");
  EXPECT_EQ(angleToStr(-1800), "-00:30:00.000");
  EXPECT_EQ(angleToStr(324000), "+90:00:00.000");
  EXPECT_EQ(angleToStr(-0.0001), "+00:00:00.000");  // rounds to zero: no minus sign
  EXPECT_EQ(angleToStr(-0.0), "+00:00:00.000");
  EXPECT_EQ(angleToStr(1296000, 1), "+360:00:00.0");

  for (double s = 0; s < 86400; s += 1234.56789) {
    double back = -1;
    ASSERT_TRUE(strToTime(timeToStr(s), back)) << timeToStr(s);
    EXPECT_NEAR(back, s, 0.5e-4);
  }
  for (double a = -324000; a <= 324000; a += 7777.777) {
    double back = 1e9;
    ASSERT_TRUE(strToAngle(angleToStr(a), back)) << angleToStr(a);
    EXPECT_NEAR(back, a, 0.5e-3);
  }
}

TEST(ObservationTimeText, DaysFromTheSecondDayOn) {
  EXPECT_EQ(dateTimeToStr(3723.25), "01:02:03.3");  // half rounds away from zero
  EXPECT_EQ(dateTimeToStr(86400 + 3723, 0), "1d 01:02:03");
  EXPECT_EQ(dateTimeToStr(86399.96), "24:00:00.0");
  // Times no day count holds print as numbers (a damaged file, not a crash or a wrapped count).
  EXPECT_EQ(dateTimeToStr(1e300), "1e+300");
  EXPECT_EQ(dateTimeToStr(-1e300), "-1e+300");
  EXPECT_EQ(dateTimeToStr(9.3e17, 2), "9.3e+17");
  EXPECT_EQ(timeToStr(1e19), "1e+19");
  EXPECT_EQ(angleToStr(-1e200), "-1e+200");
  EXPECT_EQ(dateTimeToStr(1e12), "11574074d 01:46:40.0");
}

TEST(MessageText, EscapesWhatATerminalWouldActOn) {
  const struct {
    std::string in;
    std::string out;
  } cases[] = {
      {"3C345 ok", "3C345 ok"},
      {"tab\there", "tab\\there"},
      {"a\tb\nc\rd", "a\\tb\\nc\\rd"},
      {"\x1b[31mred\x1b[0m", "\\x1B[31mred\\x1B[0m"},
      {std::string("nul\0byte", 8), "nul\\x00byte"},
      {"\x7f\xff\xc0\xaf", "\\x7F\\xFF\\xC0\\xAF"},          // DEL, never valid, overlong
      {"Onsala \xc3\xa5 \xe2\x82\xac \xf0\x9f\x93\xa1", "Onsala \xc3\xa5 \xe2\x82\xac \xf0\x9f\x93\xa1"},
      {"c1 \xc2\x9b", "c1 \\xC2\\x9B"},                            // C1 control (CSI)
      {"cut \xe2\x82", "cut \\xE2\\x82"},                           // sequence cut short
      {"\xed\xa0\x80", "\\xED\\xA0\\x80"},                         // surrogate
  };
  for (const auto& c : cases) EXPECT_EQ(EscapeText(c.in), c.out) << c.in;
  EXPECT_EQ(EscapeText(std::string(500, 'x'), 10), std::string(10, 'x') + "...");
  EXPECT_EQ(EscapeText(std::string(5, '\x01'), 8), "\\x01\\x01...");
}

TEST(NumberText, ValToStrReadsBackExactly) {
  const double values[] = {0.1, 1.0 / 3.0, 2451544.5, -6478.000000000001, 1e-300, 5e-324,
                           std::numeric_limits<double>::max(), 86400.0, -0.0};
  for (double v : values) {
    const std::string text = valToStr(v);
    EXPECT_EQ(std::atof(text.c_str()), v) << text;
  }
  EXPECT_EQ(valToStr(0.1), "0.1");
  EXPECT_EQ(toStr(5, "(%d)"), "(5)");
  EXPECT_EQ(toStr(-42), "-42");
  EXPECT_EQ(toStr(2.5, "%.3f"), "2.500");
}

TEST(NameFromDateTime, IsAFileNameOfDigits) {
  const std::string name = GetNameAsDT();
  ASSERT_EQ(name.size(), 19u);
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (i == 8 || i == 15) EXPECT_EQ(name[i], '_');
    else EXPECT_TRUE(name[i] >= '0' && name[i] <= '9') << name;
  }
}

TEST(TextHelpers, TrimAndUpper) {
  EXPECT_EQ(trim("  a b \t\r\n"), "a b");
  EXPECT_EQ(trim("   "), "");
  EXPECT_EQ(toUpper("Effelsberg-100m"), "EFFELSBERG-100M");
}

}  // namespace
