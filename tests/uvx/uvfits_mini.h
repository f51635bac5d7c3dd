#pragma once
// The small random-groups files of the import tests: what each group holds, and the check of a
// refusal.

#include <functional>
#include <string>

#include "uvfits_test_util.h"
#include "uvx/uvfits_import.h"

namespace uvfits_mini {

constexpr double kJd0 = 2460384.5;  // 2024-03-15 0h UTC, the DATE-OBS of MiniUVFits

// Parameters of group g of the mini files: baselines 1-2, 1-3, 2-3, times 675 s (2^-7 day, exact
// in float32) apart from 6 h.
constexpr double kStep = 675.0;
inline double MiniParam(int g, const std::string& name, int occurrence) {
  const int a1 = g % 3 == 2 ? 2 : 1, a2 = g % 3 == 0 ? 2 : 3;
  const double days = (21600.0 + kStep * (g / 3)) / 86400.0;
  if (name.rfind("UU", 0) == 0) return 1e-3 * (g + 1);
  if (name.rfind("VV", 0) == 0) return -2e-3 * (g + 1);
  if (name.rfind("WW", 0) == 0) return 5e-4 * (g + 1);
  if (name == "DATE") return occurrence == 0 ? kJd0 + days : 0.0;
  if (name == "BASELINE") return 256 * a1 + a2;
  if (name == "ANTENNA1") return a1;
  if (name == "ANTENNA2") return a2;
  if (name == "SUBARRAY") return 1;
  if (name == "FREQSEL") return 1;
  if (name == "INTTIM") return kStep;
  return 0;
}

inline MiniUVFits Mini() {
  MiniUVFits m;
  m.param = MiniParam;
  m.pzero = {0, 0, 0, kJd0};  // the first DATE: days from 0h of DATE-OBS
  return m;
}

inline std::string Import(const std::string& fits, const std::string& uvx, std::string& error) {
  error.clear();
  ImportUVFITS(fits, uvx, nullptr, nullptr, nullptr, error, nullptr, UVFitsFrame::Date);
  return error;
}

// Imports and expects a refusal whose message holds `words`; nothing may be left behind.
inline void ExpectRefused(const std::string& fits, const std::string& uvx, const std::string& words) {
  std::string error;
  EXPECT_FALSE(ImportUVFITS(fits, uvx, nullptr, nullptr, nullptr, error));
  EXPECT_NE(error.find(words), std::string::npos) << "message: " << error;
  EXPECT_EQ(error.find('\n'), std::string::npos) << error;
  EXPECT_TRUE(NoFileLeft(uvx));
}

// Writes a mini file changed by `change` and expects its import refused as above.
inline void ExpectMiniRefused(const std::string& fits, const std::string& uvx,
                              const std::function<void(MiniUVFits&)>& change, const std::string& words) {
  MiniUVFits m = Mini();
  change(m);
  m.Write(fits);
  ExpectRefused(fits, uvx, words);
}

}  // namespace uvfits_mini
