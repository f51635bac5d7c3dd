#include "core/text.h"

#include <cstdarg>
#include <cstdio>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Reads 1..maxDigits digits as an integer.
bool TakeInt(std::string_view& s, int minDigits, int maxDigits, int& value) {
  int n = 0;
  value = 0;
  while (n < static_cast<int>(s.size()) && IsDigit(s[n]) && n < maxDigits) value = value * 10 + (s[n++] - '0');
  if (n < minDigits || (n < static_cast<int>(s.size()) && IsDigit(s[n]))) return false;
  s.remove_prefix(n);
  return true;
}

// Reads "SS" or "SS.fff" (two integer digits) as a double.
bool TakeSeconds(std::string_view& s, double& value) {
  int whole = 0;
  if (!TakeInt(s, 2, 2, whole)) return false;
  double frac = 0, scale = 0.1;
  if (!s.empty() && s.front() == '.') {
    s.remove_prefix(1);
    int digits = 0;
    while (!s.empty() && IsDigit(s.front())) {
      frac += (s.front() - '0') * scale;
      scale *= 0.1;
      s.remove_prefix(1);
      ++digits;
    }
    if (digits == 0) return false;
  }
  value = whole + frac;
  return value < 60.0;
}

// Parses "H:MM[:SS.s]" with hours of 1..3 digits; returns the total in units of the first field
// times 3600 (seconds for times, arc-seconds for angles).
bool ParseSexagesimal(std::string_view s, int maxFirst, double& total) {
  int first = 0, minutes = 0;
  double seconds = 0;
  if (!TakeInt(s, 1, 3, first) || first > maxFirst) return false;
  if (s.empty() || s.front() != ':') return false;
  s.remove_prefix(1);
  if (!TakeInt(s, 2, 2, minutes) || minutes > 59) return false;
  if (!s.empty()) {
    if (s.front() != ':') return false;
    s.remove_prefix(1);
    if (!TakeSeconds(s, seconds)) return false;
  }
  if (!s.empty()) return false;
  total = first * 3600.0 + minutes * 60.0 + seconds;
  return true;
}

int DefaultPrecision(int precision, int fallback) { return precision < 0 ? fallback : std::min(precision, 9); }


// Largest number of ticks the formatting counts in a long long (with room for the rounding).
constexpr double kMaxTicks = 9.0e18;

// Splits |value| rounded to `precision` decimals into whole units of 3600, of 60, and the rest.
// A value whose ticks no integer holds prints as a plain number.
std::string FormatSexagesimal(double value, int precision, int firstWidth, bool alwaysSign) {
  const double scale = std::pow(10.0, precision);
  if (!std::isfinite(value) || !(std::fabs(value) * scale < kMaxTicks)) return valToStr(value);
  const long long ticks = std::llround(std::fabs(value) * scale);
  const long long perSecond = static_cast<long long>(scale);
  const long long wholeSeconds = ticks / perSecond;
  const long long fraction = ticks % perSecond;
  const long long first = wholeSeconds / 3600, minutes = wholeSeconds / 60 % 60, seconds = wholeSeconds % 60;
  char text[96];
  precision = std::clamp(precision, 0, 9);
  const char* sign = (value < 0 && ticks != 0) ? "-" : (alwaysSign ? "+" : "");
  int n = std::snprintf(text, sizeof text, "%s%0*lld:%02lld:%02lld", sign, firstWidth, first, minutes, seconds);
  if (precision > 0) std::snprintf(text + n, sizeof text - n, ".%0*lld", precision, fraction);
  return text;
}

}  // namespace

std::string_view trim(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

std::string toUpper(std::string_view text) {
  std::string out(text);
  for (char& c : out)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return out;
}

int strToTime(std::string_view text, double& seconds) {
  double value = 0;
  if (!ParseSexagesimal(trim(text), 999, value)) return 0;
  seconds = value;
  return 1;
}

int strToAngle(std::string_view text, double& arcsec) {
  std::string_view s = trim(text);
  double sign = 1.0;
  if (!s.empty() && (s.front() == '+' || s.front() == '-')) {
    sign = s.front() == '-' ? -1.0 : 1.0;
    s.remove_prefix(1);
  }
  double value = 0;
  if (!ParseSexagesimal(s, 360, value) || value > 360.0 * 3600.0) return 0;
  arcsec = sign * value;
  return 1;
}

std::string timeToStr(double seconds, int precision) {
  return FormatSexagesimal(seconds, DefaultPrecision(precision, 4), 2, false);
}

std::string angleToStr(double arcsec, int precision) {
  return FormatSexagesimal(arcsec, DefaultPrecision(precision, 3), 2, true);
}

std::string dateTimeToStr(double seconds, int precision) {
  const int p = DefaultPrecision(precision, 1);
  if (!std::isfinite(seconds) || seconds < 86400.0) return FormatSexagesimal(seconds, p, 2, false);
  const double scale = std::pow(10.0, p);
  if (!(seconds * scale < kMaxTicks)) return valToStr(seconds);  // no day count holds it
  const double rounded = std::round(seconds * scale) / scale;
  const long long days = static_cast<long long>(rounded / 86400.0);
  return std::to_string(days) + "d " + FormatSexagesimal(rounded - days * 86400.0, p, 2, false);
}

namespace {

// Length of the well-formed UTF-8 sequence at the start of `s` (2 to 4), 0 when there is none.
// C1 controls (U+0080 to U+009F) count as not well-formed: terminals act on them.
std::size_t Utf8Sequence(std::string_view s) {
  const auto b = [&](std::size_t i) { return static_cast<unsigned char>(s[i]); };
  const auto cont = [&](std::size_t i) { return i < s.size() && (b(i) & 0xC0) == 0x80; };
  const unsigned char c = b(0);
  if (c >= 0xC2 && c <= 0xDF) return cont(1) && !(c == 0xC2 && b(1) < 0xA0) ? 2 : 0;
  if (c >= 0xE0 && c <= 0xEF) {
    if (!cont(1) || !cont(2)) return 0;
    if (c == 0xE0 && b(1) < 0xA0) return 0;  // overlong
    if (c == 0xED && b(1) > 0x9F) return 0;  // surrogates
    return 3;
  }
  if (c >= 0xF0 && c <= 0xF4) {
    if (!cont(1) || !cont(2) || !cont(3)) return 0;
    if (c == 0xF0 && b(1) < 0x90) return 0;  // overlong
    if (c == 0xF4 && b(1) > 0x8F) return 0;  // beyond U+10FFFF
    return 4;
  }
  return 0;
}

}  // namespace

std::string EscapeText(std::string_view text, std::size_t max_bytes) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(std::min(text.size(), max_bytes) + 8);
  std::size_t i = 0;
  while (i < text.size()) {
    if (out.size() >= max_bytes) return out + "...";
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c < 0x7F) {
      if (c == '\\') out += '\\';
      out += static_cast<char>(c);
      ++i;
      continue;
    }
    if (c == '\t' || c == '\n' || c == '\r') {
      out += c == '\t' ? "\\t" : c == '\n' ? "\\n" : "\\r";
      ++i;
      continue;
    }
    if (const std::size_t n = c >= 0x80 ? Utf8Sequence(text.substr(i)) : 0) {
      out.append(text.substr(i, n));
      i += n;
      continue;
    }
    out += "\\x";
    out += kHex[c >> 4];
    out += kHex[c & 15];
    ++i;
  }
  return out;
}

std::string GetNameAsDT() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t t = std::chrono::system_clock::to_time_t(now);
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm tm{};
  localtime_r(&t, &tm);
  char text[48];
  const std::size_t n = std::strftime(text, sizeof text, "%Y%m%d_%H%M%S", &tm);
  std::snprintf(text + n, sizeof text - n, "_%03lld", static_cast<long long>(ms));
  return text;
}

std::string valToStr(double value) {
  char text[64];
  const auto result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}

std::string toStr(int value, const char* format) {
  char text[128];
  const int n = std::snprintf(text, sizeof text, format, value);
  return n < 0 ? std::string() : std::string(text, std::min<std::size_t>(n, sizeof text - 1));
}

std::string toStr(double value, const char* format) {
  char text[128];
  const int n = std::snprintf(text, sizeof text, format, value);
  return n < 0 ? std::string() : std::string(text, std::min<std::size_t>(n, sizeof text - 1));
}

std::string StringPrintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  va_list copy;
  va_copy(copy, args);
  const int n = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  std::string out(n > 0 ? std::size_t(n) : 0, '\0');
  if (n > 0) std::vsnprintf(out.data(), out.size() + 1, format, args);
  va_end(args);
  return out;
}
