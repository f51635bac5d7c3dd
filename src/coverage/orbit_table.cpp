#include "coverage/orbit_table.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/astro_time.h"

int AMOrbTXYZArray::Interpolate(std::int64_t tau, double xyz[3]) {
  const int n = GetSize();
  for (int k = cursor_ < 0 ? 0 : cursor_; k + 1 < n; ++k) {
    const AMOrbTXYZ& a = (*this)[k];
    const AMOrbTXYZ& b = (*this)[k + 1];
    if (tau < a.t_s || tau > b.t_s) continue;
    // In double: the times of a damaged file may lie so far apart that their difference overflows.
    const double f = tau == a.t_s ? 0.0 : (double(tau) - double(a.t_s)) / (double(b.t_s) - double(a.t_s));
    xyz[0] = a.x + f * (b.x - a.x);
    xyz[1] = a.y + f * (b.y - a.y);
    xyz[2] = a.z + f * (b.z - a.z);
    cursor_ = k;
    return 1;
  }
  return 0;
}

namespace {

constexpr std::size_t kLineBuffer = 1024;

// One read of a C line buffer: up to and including a line feed, at most kLineBuffer - 1 bytes.
// When nothing is left, `line` keeps its previous text and false is returned. `eof` becomes true
// once a read ran into the end of the stream.
bool ReadBufferLine(std::istream& in, std::string& line, bool& eof) {
  std::string got;
  while (got.size() < kLineBuffer - 1) {
    const int c = in.get();
    if (c == std::char_traits<char>::eof()) {
      eof = true;
      break;
    }
    got.push_back(static_cast<char>(c));
    if (c == '\n') break;
  }
  if (got.empty()) return false;
  line = std::move(got);
  return true;
}

// Truncation toward zero; a value no int64 holds (a damaged file) is clamped instead.
std::int64_t WholeSeconds(double t) {
  constexpr double kLimit = 9.0e18;
  if (!(t > -kLimit)) return t != t ? 0 : static_cast<std::int64_t>(-kLimit);
  if (t > kLimit) return static_cast<std::int64_t>(kLimit);
  return static_cast<std::int64_t>(t);
}

}  // namespace

int ReadOrbitFile(std::istream& in, double ref_jd, AMOrbTXYZArray& table, std::string* error) {
  auto fail = [error](long record, const char* what) {
    if (error) *error = "record " + std::to_string(record) + ": " + what;
    return 0;
  };
  std::string line;
  bool eof = false;
  while (ReadBufferLine(in, line, eof))
    if (line.find("META_STOP") != std::string::npos) break;
  ReadBufferLine(in, line, eof);  // the line after the header end

  int year = 0, month = 0, day = 0, hour = 0, minute = 0;
  double seconds = 0, x_km = 0, y_km = 0, z_km = 0;
  long record = 0;
  while (!eof) {
    ReadBufferLine(in, line, eof);
    std::sscanf(line.c_str(), "%4d-%2d-%2dT%2d:%2d:%lg%lg%lg%lg", &year, &month, &day, &hour, &minute,
                &seconds, &x_km, &y_km, &z_km);
    ++record;
    if (!std::isfinite(seconds)) return fail(record, "time is not a finite number");
    if (!std::isfinite(x_km * 1000.0) || !std::isfinite(y_km * 1000.0) || !std::isfinite(z_km * 1000.0))
      return fail(record, "position is not a finite number");
    if (table.GetSize() >= kMaxOrbitRecords) return fail(record, "more records than an orbit table holds (4194304)");
    AMOrbTXYZ rec;
    rec.t_s = WholeSeconds((JulianDay(day, month, year) - ref_jd) * 86400.0 + hour * 3600.0 + minute * 60.0 +
                           seconds);
    rec.x = x_km * 1000.0;
    rec.y = y_km * 1000.0;
    rec.z = z_km * 1000.0;
    GrowWithCount(table);
    table.Add(rec);
  }
  return 1;
}
