#include "observation/polarization.h"

#include "core/text.h"

namespace {
constexpr const char* kStokes[] = {"I", "Q", "U", "V"};                              // 1..4
constexpr const char* kCorrelations[] = {"RR", "LL", "RL", "LR", "XX", "YY", "XY", "YX"};  // -1..-8
}  // namespace

std::optional<std::string> PolarizationName(std::int16_t code) {
  if (code >= 1 && code <= 4) return std::string(kStokes[code - 1]);
  if (code <= -1 && code >= -8) return std::string(kCorrelations[-code - 1]);
  return std::nullopt;
}

std::optional<std::int16_t> PolarizationCode(std::string_view name) {
  const std::string upper = toUpper(name);
  for (int i = 0; i < 4; ++i)
    if (upper == kStokes[i]) return static_cast<std::int16_t>(i + 1);
  for (int i = 0; i < 8; ++i)
    if (upper == kCorrelations[i]) return static_cast<std::int16_t>(-(i + 1));
  return std::nullopt;
}
