#pragma once
// The orbit table of one orbital telescope and the reader of its orbit file.
//
// Record layout (AMOrbTXYZ): time as whole seconds from the observation's reference Julian day
// (int64), then x, y, z in metres (doubles), in the Earth-centred inertial frame of the file.

#include <cstdint>
#include <istream>
#include <string>

#include "core/containers.h"

struct AMOrbTXYZ {
  std::int64_t t_s = 0;
  double x = 0, y = 0, z = 0;
};

// The table keeps a cursor (the segment used last). Lookups run forward only: a time before the
// cursor's segment is not found even when the table covers it, so times must be asked in
// non-decreasing order.
class AMOrbTXYZArray : public AArray<AMOrbTXYZ> {
 public:
  // Linear interpolation at tau (seconds from the reference day). Starting with the cursor's
  // segment, the segments [t_k, t_k+1] are tried in order; the first that holds tau gives
  // f = (tau - t_k) / (t_k+1 - t_k) (0 when tau equals t_k) and leaves the cursor at k.
  // Returns 0 (cursor and xyz untouched) when no segment from the cursor on holds tau.
  int Interpolate(std::int64_t tau, double xyz[3]);

  int Cursor() const { return cursor_; }
  void ResetCursor() { cursor_ = 0; }

 private:
  int cursor_ = 0;
};

// Reads an orbit file: every line up to and including the first one containing "META_STOP" is
// skipped, then one more line; each further line is read like a C line of a 1024-byte buffer and
// parsed with "%4d-%2d-%2dT%2d:%2d:%lg%lg%lg%lg" (year, month, day, hour, minute, seconds, x, y,
// z in km). Time = (JulianDay(day, month, year) - ref_jd) * 86400 + h*3600 + min*60 + s,
// truncated to whole seconds; positions are scaled to metres. The fields live across lines, so a
// line that does not parse (or parses only in part) repeats the previous values, and the read
// that meets the end of the file is processed too: a file ending with a line feed repeats its
// last record. Appends to `table`; returns non-zero on success.
// A time or position that is not a finite number, or more than kMaxOrbitRecords records, refuse
// the file: 0 is returned with the reason ("record 12: position is not a finite number") in
// *error, and the table keeps the records read before.
inline constexpr int kMaxOrbitRecords = 1 << 22;
int ReadOrbitFile(std::istream& in, double ref_jd, AMOrbTXYZArray& table, std::string* error = nullptr);
