#pragma once
// Polarization and Stokes codes (AIPS convention): 1..4 = I Q U V; -1..-8 = RR LL RL LR XX YY XY YX.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Name of a code ("RR"), or nothing for a code outside the two ranges.
std::optional<std::string> PolarizationName(std::int16_t code);
// Code of a name (case-insensitive), or nothing.
std::optional<std::int16_t> PolarizationCode(std::string_view name);
