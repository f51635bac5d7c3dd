#pragma once
// The lists a UVX file carries in its tables: sources ("SU"), telescopes ("AN"), the baselines met
// while writing ("BL") and the time positions of the groups ("PS").

#include <cstdint>
#include <string>

#include "core/containers.h"
#include "uvx/uvx_records.h"
#include "uvx/uvx_table.h"

struct AUVXSourceItem {
  std::int32_t id = 0;
  char name[17] = {};
  double ra_epo_deg = 0, dec_epo_deg = 0;  // at the catalogue epoch
  double epoch = 2000.0;
  double ra_app_deg = 0, dec_app_deg = 0;  // apparent
  double bandwidth_hz = 0;
  std::string Name() const;
  void SetName(const std::string& text);
};

// The sources of an "SU" table.
class AUVXSources : public AArray<AUVXSourceItem> {
 public:
  AUVXSources() = default;
  explicit AUVXSources(AUVXTable& table) { Load(table); }
  // Reads the rows; non-zero when the table has the SU columns this needs (ID. NO., SOURCE).
  int Load(const AUVXTable& table);
  void GrowBy(int n) { growBy = n > 0 ? n : growBy; }
};

struct AUVXTlscItem {
  char name[9] = {};
  std::int32_t number = 0;    // NOSTA
  std::int32_t mount = 0;     // MNTSTA
  double x = 0, y = 0, z = 0; // STABXYZ, metres
  std::string Name() const { return name; }
};

// The telescopes of an "AN" table.
class AUVXAntenns : public AArray<AUVXTlscItem> {
 public:
  AUVXAntenns() = default;
  explicit AUVXAntenns(AUVXTable& table) { Load(table); }
  int Load(const AUVXTable& table);  // non-zero when ANNAME and NOSTA are present
  // The telescope with that NOSTA number, or null.
  const AUVXTlscItem* FindNumber(int number) const;
};

struct AUVXBaseLineItem {
  std::uint8_t tel1 = 0, tel2 = 0;
  std::int32_t groups = 0;  // groups met on this baseline
  AUVXBaseLineItem() = default;
  explicit AUVXBaseLineItem(const AUVXGroup& group) : tel1(group.tel1), tel2(group.tel2) {}
  // The AIPS-style baseline number 256 * tel1 + tel2.
  std::uint16_t Number() const { return std::uint16_t(256 * tel1 + tel2); }
};

// The set of baselines met while writing, in order of first appearance.
// Table "BL": BASELINE 1J, ANTENNA1 1J, ANTENNA2 1J, NGROUPS 1J; keyword NO_BASE.
class AUVXBaseLines : public AArray<AUVXBaseLineItem> {
 public:
  AUVXBaseLines() = default;
  AUVXBaseLines(int size, int grow_by);  // the writers use (0, 128)
  // Registers the baseline (counting its groups) and returns its number 256 * tel1 + tel2.
  std::uint16_t checkBase(AUVXBaseLineItem& item);
  int Find(std::uint8_t tel1, std::uint8_t tel2) const;  // index or -1
  AUVXTable* ToUVXTable() const;                          // new table; the caller deletes it
  int Load(const AUVXTable& table);                       // from a "BL" table

 private:
  int lookup_[256 * 256 / 32] = {};  // bit set of baselines already met
};

// The time positions of the groups: one entry per run of consecutive groups with the same time.
// Table "PS": TIME 1D (seconds from the start time), FIRST 1J (first group index), NGROUPS 1J;
// keyword STARTTIM (start time, seconds from 0h of the observation date).
class AUVXPosition {
 public:
  struct Item {
    double time;
    std::int32_t first;
    std::int32_t count;
  };
  AUVXPosition() = default;
  void AddStartTime(double start_s) { start_time_ += start_s; }
  double StartTime() const { return start_time_; }
  // Registers group `index`; a new entry starts when its time differs from the previous group's.
  void CheckUVGroup(const AUVXGroup& group, int index);
  AUVXTable* ToUVXTable() const;  // new table; the caller deletes it
  int Load(const AUVXTable& table);
  const AArray<Item>& Items() const { return items_; }

 private:
  double start_time_ = 0;
  AArray<Item> items_;
};
