#pragma once
// Julian days, calendar dates and Greenwich mean sidereal time.
//
// Julian days are doubles counted from noon; a civil day starts at a value ending in .5 (0h UT).
// Sidereal time is in radians. Calendar dates are Gregorian, also before 1582 (proleptic).

#include <optional>
#include <string>
#include <string_view>

struct ACalendarDate {
  int day = 0;
  int month = 0;
  int year = 0;
};

// Julian day at 0h UT of the Gregorian date (day, month, year).
double JulianDay(int day, int month, int year);

// Calendar date of the Julian day jd, or nothing when it falls before 1900 or is not a valid
// date; dates before 1900 cannot be formatted.
std::optional<ACalendarDate> CalendarFromJulianDay(double jd);

// The date of jd formatted with "%Y-%m-%d", "%d-%m-%Y" or "%d/%m/%y" (strftime conversions of the
// date at local midnight); nothing when the date cannot be formatted.
std::optional<std::string> CalendarFromJulianDay(double jd, const char* format);

// Greenwich mean sidereal time (1982 IAU expression at 0h UT without the cubic term, plus the
// Earth's rotation since 0h) in radians for the instant jd (UT). Not reduced to [0, 2 pi).
double GreenwichSiderealTime(double jd);

// Degrees of Earth rotation per mean solar day, written to the antenna table.
inline constexpr double kDegreesPerDay = 360.98564497371694;

// Parses "YYYY-MM-DD" (four-digit year, a day that exists in that month of the Gregorian
// calendar); nothing on any other text.
std::optional<ACalendarDate> ParseIsoDate(std::string_view text);
