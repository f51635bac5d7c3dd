#pragma once
// Telescope identifier -> entry of a per-telescope list, for the identifiers a UV group can carry
// (one byte). Built once before the copy; the hot loop does one array read per telescope.

#include <array>
#include <cstdint>

class ATlscLookup {
 public:
  ATlscLookup() { entry_.fill(-1); }
  // Registers entry `index` for identifier `id`; a later entry with the same identifier wins.
  // Identifiers outside 0..255 can never match a group and are ignored.
  void Add(int id, int index) {
    if (id >= 0 && id < 256) entry_[std::size_t(id)] = index;
  }
  // The entry for a group's telescope number, or -1.
  int Find(std::uint8_t id) const { return entry_[id]; }

 private:
  std::array<int, 256> entry_;
};
