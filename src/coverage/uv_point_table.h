#pragma once
// AMUVPointTable: random access to the records of a UV-point file (".$uv", uv_point.h) for the
// table and the plot of the UV-plane review. Rows are read from the file on demand through a
// small cache of record blocks, so a file of millions of points costs a few hundred kilobytes of
// memory. Each row has the texts of the review table:
//
//   "Time"             seconds from 0h of the observation date as dateTimeToStr ("HH:MM:SS.s",
//                      "Nd HH:MM:SS.s" from the second day on)
//   "Baseline"         the two telescopes' ID names joined by '-' ("BR-FD"); the name when the ID
//                      name is empty, the 1-based number when the observation has no such telescope
//   "Projection [ED]"  projected baseline length sqrt(u^2 + v^2) in Earth diameters (12756 km)
//   "U [km]", "V [km]", "W [km]"   the record's u, v, w (seconds of light travel) in kilometres

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "core/file.h"
#include "coverage/uv_point.h"
#include "observation/observation.h"
#include "uvx/uvx_header.h"

inline constexpr double kLightKmPerSecond = 299792.458;
inline constexpr double kEarthDiameterKm = 12756.0;  // twice the 6378 km radius of the orbit code

// The points of one baseline in kilometres, for the plot.
struct AMUVBaselinePoints {
  int tel1 = 0, tel2 = 0;  // 1-based telescope numbers, tel1 < tel2 in files of the UV plane
  std::string label;       // as the "Baseline" column shows it
  std::vector<float> u_km, v_km;
};

class AMUVPointTable {
 public:
  enum Column { kTime = 0, kBaseline, kProjection, kU, kV, kW, kColumnCount };
  static constexpr int kBlockRecords = 512;  // records read at a time
  static constexpr int kCachedBlocks = 8;    // blocks kept (128 KiB)

  AMUVPointTable() = default;
  AMUVPointTable(const AMUVPointTable&) = delete;
  AMUVPointTable& operator=(const AMUVPointTable&) = delete;

  // The column titles: "Time", "Baseline", "Projection [ED]", "U [km]", "V [km]", "W [km]".
  static const char* ColumnTitle(int column);

  // Opens a UV-point file; its header must declare no more records than the file holds. The
  // telescope names of `obs` label the baselines. Non-zero on success.
  int Open(const std::string& uv_path, const AMObservation& obs);
  void Close();
  bool IsOpen() const { return file_.IsOpen(); }

  std::int64_t Rows() const { return rows_; }
  const AUVXHeader& Header() const { return header_; }
  const std::string& Path() const { return path_; }

  // The record of a row (0-based). Non-zero on success; 0 (p untouched) for a row out of range
  // or a failed read.
  int Row(std::int64_t row, AMUVPoint& p) const;
  // The text of one cell; empty for a row out of range or a failed read.
  std::string Text(std::int64_t row, int column) const;
  // The text of one cell of a record.
  std::string CellText(const AMUVPoint& p, int column) const;
  std::string BaselineText(int tel1, int tel2) const;
  // The longest text the column can hold in this file (from the header's extremes, the first and
  // last rows and the telescope names), to size a column without reading every row.
  std::string WidestText(int column) const;

  // Every point grouped by baseline, ordered by (tel1, tel2), read in one sequential pass.
  // Non-zero on success.
  int Baselines(std::vector<AMUVBaselinePoints>& out) const;

 private:
  struct Block {
    std::int64_t first = -1;  // first row held, -1 when empty
    std::uint64_t used = 0;   // last use, for the replacement of the least recently used
    std::vector<unsigned char> bytes;
  };
  const Block* Fetch(std::int64_t block_index) const;

  std::string path_;
  std::int64_t rows_ = 0;
  AUVXHeader header_;
  std::vector<std::string> names_;  // per telescope, what "Baseline" shows
  mutable AFile file_;
  mutable std::array<Block, kCachedBlocks> cache_;
  mutable std::uint64_t clock_ = 0;
};
