#include "core/astro_time.h"

#include <cmath>
#include <ctime>
#include <numbers>

double JulianDay(int day, int month, int year) {
  int leap = 0;
  if (year % 4 == 0) leap = 1;
  if (year % 100 == 0) leap -= 1;
  if (year % 400 == 0) leap += 1;
  const int k = (month == 1 || month == 2) ? 2 - leap : 0;
  const long days = 1721028L + 365L * year + year / 4 - year / 100 + year / 400 +
                    static_cast<long>(std::trunc(30.57 * month)) + k + day;
  return static_cast<double>(days) - 0.5;
}

std::optional<ACalendarDate> CalendarFromJulianDay(double jd) {
  if (!std::isfinite(jd) || std::fabs(jd) > 1e9) return std::nullopt;
  const long long z = static_cast<long long>(std::trunc(jd + 0.5));
  long long a = z;
  if (z >= 2299161) {
    const long long alpha = static_cast<long long>(std::trunc((100.0 * z - 186721625.0) / 3652425.0));
    a = z + 1 + alpha - alpha / 4;
  }
  const long long b = a + 1524;
  const long long c = static_cast<long long>(std::trunc((100.0 * b - 12210.0) / 36525.0));
  const long long d = static_cast<long long>(std::trunc(36525.0 * c / 100.0));
  const long long e = static_cast<long long>(std::trunc(10000.0 * (b - d) / 306001.0));
  ACalendarDate out;
  out.day = static_cast<int>(b - d - static_cast<long long>(std::trunc(306001.0 * e / 10000.0)));
  out.month = static_cast<int>(e <= 13 ? e - 1 : e - 13);
  out.year = static_cast<int>(out.month > 2 ? c - 4716 : c - 4715);
  if (out.year < 1900 || out.month < 1 || out.month > 12 || out.day < 1 || out.day > 31)
    return std::nullopt;
  return out;
}

std::optional<std::string> CalendarFromJulianDay(double jd, const char* format) {
  const auto date = CalendarFromJulianDay(jd);
  if (!date) return std::nullopt;
  std::tm tm{};
  tm.tm_mday = date->day;
  tm.tm_mon = date->month - 1;
  tm.tm_year = date->year - 1900;
  tm.tm_isdst = -1;
  char text[64];
  const std::size_t n = std::strftime(text, sizeof text, format, &tm);
  if (n == 0) return std::nullopt;
  return std::string(text, n);
}

double GreenwichSiderealTime(double jd) {
  constexpr double kTwoPi = 2.0 * std::numbers::pi;
  const double f = jd - std::floor(jd);
  const double jd0 = f >= 0.5 ? std::floor(jd) + 0.5 : std::floor(jd) - 0.5;
  const double t = (jd0 - 2451545.0) * 2.7378507871321012e-05;
  double g0 = std::fmod((6.763150851478026e-06 * t + 628.3319704804195) * t + 1.7533686748613282, kTwoPi);
  if (g0 < 0) g0 += kTwoPi;
  return g0 + (jd - jd0) * 6.300387731018544;
}

std::optional<ACalendarDate> ParseIsoDate(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return std::nullopt;
  int fields[3] = {0, 0, 0};
  const int starts[3] = {0, 5, 8}, lengths[3] = {4, 2, 2};
  for (int f = 0; f < 3; ++f)
    for (int i = 0; i < lengths[f]; ++i) {
      const char c = text[starts[f] + i];
      if (c < '0' || c > '9') return std::nullopt;
      fields[f] = fields[f] * 10 + (c - '0');
    }
  const ACalendarDate date{fields[2], fields[1], fields[0]};
  if (date.month < 1 || date.month > 12 || date.day < 1) return std::nullopt;
  static constexpr int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (date.year % 4 == 0 && date.year % 100 != 0) || date.year % 400 == 0;
  const int last = kDays[date.month - 1] + (date.month == 2 && leap ? 1 : 0);
  if (date.day > last) return std::nullopt;
  return date;
}
