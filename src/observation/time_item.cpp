#include "observation/time_item.h"

#include <algorithm>

int CompareTimeItems(const AMTimeItem& a, const AMTimeItem& b) {
  if (a.start < b.start) return -1;
  if (a.start > b.start) return 1;
  if (a.freq_id < b.freq_id) return -1;
  if (a.freq_id > b.freq_id) return 1;
  return 0;
}

void SortTimeItems(AArray<AMTimeItem>& items) {
  if (items.count > 1)
    std::stable_sort(items.begin(), items.end(),
                     [](const AMTimeItem& a, const AMTimeItem& b) { return CompareTimeItems(a, b) < 0; });
}
