#pragma once
// AMSIMap: the spectral-index map, 32-bit float spectral indices with one row per (frequency
// set-up, IF) pair (IF fastest: set-up 0 IF 0, set-up 0 IF 1, ..., set-up 1 IF 0, ...) and one
// column per component.
//
// Text file (Load/Save; docs/maps.md):
//   # comment lines and blank lines anywhere; '#' also ends a data line
//   SIMAP <rows> <columns>
//   <columns values separated by commas and/or blanks>      (one line per row, exactly <rows> lines)
// Values are finite decimal numbers; Save writes the shortest text that reads back to the same
// float. Loading checks everything before the map is replaced.
//
// Settings form: key "ROW-COL" = "%d\t%d" (rows, columns) and, per row r (0-based), key "ROW<r>"
// = the valToStr text of each value joined with ", ". Reading it back, a row with fewer values
// than columns (or a missing row) leaves the rest 0, extra values are ignored, and a value that
// does not read as a finite number is 0.

#include <cstdint>
#include <functional>
#include <istream>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "core/containers.h"

class AMSIMap : public AMatrix<float> {
 public:
  static constexpr std::uint32_t kMaxAxis = 65536;
  static constexpr std::uint64_t kMaxValues = std::uint64_t{1} << 24;

  AMSIMap() = default;

  // The shape (rows x columns) with every value `value`; the menu's "Initialize".
  void Initialize(std::uint32_t n_rows, std::uint32_t n_cols, float value = 0.0f);

  // Text file. Load replaces the map only when the whole text is valid; non-zero on success,
  // *error ("line 4: ...") otherwise.
  int Load(std::istream& in, std::string* error);
  void Save(std::ostream& out) const;
  int LoadFile(const std::string& path, std::string* error);
  // Complete or absent: written beside the target and renamed.
  int SaveFile(const std::string& path, std::string* error) const;

  // Settings form, in key order: "ROW-COL", "ROW0", "ROW1", ...
  std::vector<std::pair<std::string, std::string>> ToSettings() const;
  // Reads the settings form through `get` (a missing key gives no value). A missing or unreadable
  // "ROW-COL", negative or absurd sizes give an empty map.
  using SettingsGetter = std::function<std::optional<std::string>(const std::string& key)>;
  void FromSettings(const SettingsGetter& get);
};
