#pragma once
// AMTimeItem: one observing interval, 24 bytes in memory and in the .obs file.

#include <cstdint>

#include "core/containers.h"

struct AMTimeItem {
  double start = 0;          // seconds from 0h UT of the observation date
  double stop = 0;           // seconds from 0h UT of the observation date
  std::int32_t freq_id = 1;  // 1-based row of the frequency set-up used in this interval
  std::int32_t padding = 0;  // not used; written as zero
};
static_assert(sizeof(AMTimeItem) == 24, "AMTimeItem is a 24-byte file record");

// Order of intervals: by start time, ties by frequency ID; returns -1, 0 or +1.
int CompareTimeItems(const AMTimeItem& a, const AMTimeItem& b);

// Sorts the intervals in place with CompareTimeItems (stable).
void SortTimeItems(AArray<AMTimeItem>& items);
