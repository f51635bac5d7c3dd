#pragma once
// Text conversions of times, angles and numbers.
//
// Grammar of the parsers (surrounding blanks are ignored, anything else left over is refused):
//   time   "H:MM:SS.s" or "H:MM"   hours: 1 to 3 digits, no sign; minutes 0..59 (two digits);
//                                  seconds 0 <= s < 60 (two digits, optional fraction).
//                                  Hours are not limited to 23: interval times may pass midnight.
//   angle  "[+-]D:MM:SS.s" or "[+-]D:MM"  degrees: 1 to 3 digits, at most 360; minutes and
//                                  seconds as for times. The sign applies to the whole angle, so
//                                  "-00:30:00" is -1800 arc-seconds.
// Fields out of range, empty fields, a missing minute field, exponents, blanks inside and
// trailing characters all make the parser return 0 and leave the value untouched.

#include <cstdint>
#include <string>
#include <string_view>

// Parses a time into seconds; non-zero on success.
int strToTime(std::string_view text, double& seconds);
// Parses an angle into arc-seconds; non-zero on success.
int strToAngle(std::string_view text, double& arcsec);

// "HH:MM:SS.ssss": precision is the number of decimals of the seconds, -1 for the default (4).
// Rounding carries into minutes and hours (59.99996 s prints as the next minute). Negative
// times get a leading '-'.
std::string timeToStr(double seconds, int precision = -1);
// "+DD:MM:SS.sss": always signed; precision -1 gives the default (3 decimals). A value that
// rounds to zero prints with '+'.
std::string angleToStr(double arcsec, int precision = -1);
// A time of the observation (seconds from 0h of its date): "HH:MM:SS.s", and "Nd HH:MM:SS.s"
// from the second day on. precision -1 gives 1 decimal.
std::string dateTimeToStr(double seconds, int precision = -1);
// A name made of the current local date and time, "YYYYMMDD_HHMMSS_mmm", safe in file names.
std::string GetNameAsDT();

// Shortest text of a double that strtod/atof read back to the same value ("nan", "inf" for those).
std::string valToStr(double value);
// printf-style formatting of one integer, e.g. toStr(5, "(%d)") gives "(5)".
std::string toStr(int value, const char* format = "%d");
// printf-style formatting of one double.
std::string toStr(double value, const char* format);

// Text taken from a file, made safe to print inside a message: printable ASCII and well-formed
// UTF-8 stay, a backslash doubles, a tab, line feed or carriage return becomes \t, \n, \r and
// every other byte (control characters, escape sequences, C1 controls, broken UTF-8) \xHH. Text
// longer than max_bytes is cut there (at a character boundary) and ends with "...".
std::string EscapeText(std::string_view text, std::size_t max_bytes = 160);

// Upper-case copy (ASCII).
std::string toUpper(std::string_view text);
// Leading and trailing blanks (spaces, tabs, CR, LF) removed.
std::string_view trim(std::string_view text);

// printf into a std::string.
std::string StringPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));
