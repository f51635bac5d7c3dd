#pragma once
// What the user looks at before accepting a UV plane: points per baseline, the time span and the
// longest projected baseline, read from a UV-point file.

#include <cstdint>
#include <string>
#include <vector>

struct AMUVBaselineCount {
  int tel1 = 0, tel2 = 0;
  std::int64_t points = 0;
};

struct AMUVReview {
  std::int64_t points = 0;
  std::vector<AMUVBaselineCount> baselines;  // ordered by (tel1, tel2)
  double first_time_s = 0, last_time_s = 0;  // seconds from 0h of the observation date
  double max_uv_s = 0;                       // longest sqrt(u^2 + v^2), seconds of light travel
  int max_tel1 = 0, max_tel2 = 0;            // its baseline
};

// Reads the whole UV-point file; non-zero on success.
int ReviewUVFile(const std::string& uv_path, AMUVReview& review);
